// A YAML file as a plain tree. Not installed: only yaml/ looks in here.
//
// What no schema file may hold anywhere is refused here: a key written twice, a bare null, an alias, a tag, a second
// document. A node with such a fault has the shape Bad, so that whoever reads on can tell it from a fault of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Yaml {

/** Both counted from 1, the column in bytes. */
struct Place {
  std::size_t line = 0;
  std::size_t column = 0;
};

enum class Shape : std::uint8_t { Bad, Text, List, Map };

struct Node {
  Shape shape = Shape::Bad;
  Place place;
  /** Of a text: its bytes, whether or not it stood in quotes. */
  std::string text = {};
  /** Of a list or map: what it holds, in the order of the file. */
  std::vector<Node> items = {};
  /** Within a map: what the node is called, and where the name stands. */
  std::string key = {};
  Place keyPlace = {};
};

/** Told of each fault, in the order found. */
using Report = std::function<void(Place, std::string what)>;

/** The one document of `text`; Bad when it is no YAML. Depth is bounded. */
Node readTree(std::string_view text, Report const& report);

}  // namespace Yaml
