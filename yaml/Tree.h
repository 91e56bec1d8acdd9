// A YAML file as a plain tree. Not installed: only yaml/ looks in here.
//
// What no schema file may hold anywhere is refused here: a key written twice, a bare null, an alias, a tag, a second
// document. A node with such a fault has the shape Bad, so that whoever reads on can tell it from a fault of its own.
//
// Lists and maps are nested at most 20 deep, a text has at most 1,000 bytes. A node takes 80 bytes, and a file of n
// bytes has at most n / 2 nodes; the parser keeps up to 100 bytes for each byte of a list in brackets until it knows
// whether the list is a key.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <forward_list>
#include <functional>
#include <string>
#include <string_view>

namespace Yaml {

/** Both counted from 1, the column in bytes; 0 for a file as a whole. */
struct Place {
  std::uint32_t line = 0;
  std::uint32_t column = 0;
};

enum class Shape : std::uint8_t { Bad, Text, List, Map };

struct Node {
  Shape shape = Shape::Bad;
  Place place;
  /** Of a text: its bytes, whether or not it stood in quotes. */
  std::string_view text = {};
  /** Of a list or map: what it holds, in the order of the file. */
  std::forward_list<Node> items = {};
  /** Within a map: what the node is called, and where the name stands. */
  std::string_view key = {};
  Place keyPlace = {};
};

/** Keeps the texts that its nodes refer to. */
struct Tree {
  Node root = {};
  std::deque<std::string> texts = {};
};

/** Told of each fault, in the order found. */
using Report = std::function<void(Place, std::string what)>;

/** The one document of `text`; Bad when it is no YAML. */
Tree readTree(std::string_view text, Report const& report);

}  // namespace Yaml
