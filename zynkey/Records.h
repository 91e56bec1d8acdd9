// Records in a line of JSON: a path with whatever else is known of it, or events of a collector.
//
//   a path     {"id": 7, "path": "/vrf[name=red]", "source": "r1"}
//              {"id": 8, "elem": [{"name": "vrf", "key": {"name": "red"}}], "origin": "openconfig"}
//              {"id": 9, "path": "/route", "prefix": {"path": "/vrf[name=red]"}}
//              {"id": 9, "path": "/route", "prefix": {"elem": [...], "origin": "openconfig", "target": "r1"}}
//   an event   {"name": "sub1", "timestamp": 1700000000000000000, "tags": {"source": "r1", "interface_name": "eth0"},
//               "values": {"/interfaces/interface/state/mtu": 1500}, "deletes": ["/interfaces/interface/state"]}
//   events     [{...}, {...}]
//
// The line is read once, and no document is built of it: time and memory are linear in it however it nests. What is
// wrong with a record is a text in it, and the fields that were read before stay: a record is told by its `id`. Not
// JSON at all, a line ends in a record with what was read of it; where the reason is a byte that is no UTF-8, with all
// of it, and so says each record of the line. A null is as good as no field, but for `path` and `elem`.
#pragma once

#include <cstddef>
#include <cstdint>
#include <forward_list>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "zynkey/Cells.h"
#include "zynkey/PathJob.h"

namespace ZynKey {

struct Field {
  enum class Shape : std::uint8_t { None, Text, Literal, Json };

  std::string name;
  Shape shape = Shape::None;
  /**
   * A text as it is; all else as JSON in one line, numbers digit for digit; -0 is 0. One that no double comes near,
   * such as 1e400, is not JSON.
   */
  std::string value = {};
};

void write(std::string_view name, Field const& field, CellWriter& cells);

struct Record {
  /** All but `path` and `elem`, in the order given. */
  std::vector<Field> fields;
  /** Of a path: text, or elements with an origin. */
  std::optional<PathInput> path;
  /** The same, and a target. */
  std::optional<PathInput> prefix;
  /** Of an event, sorted by name. */
  NamedTexts tags;
  /** Of an event: the paths of its values, and its deletes. */
  std::vector<std::string> values;
  std::vector<std::string> deletes;
  /** The texts of `path` and `prefix`. */
  std::forward_list<std::string> owned;
  /** Why there is no path, or no event; empty where there is one. */
  std::string flaw;
  /** Where the line is no JSON: the byte. */
  std::optional<std::size_t> flawAt;

  /** Null where there is none. */
  Field const* field(std::string_view name) const;
};

enum class RecordKind : std::uint8_t { Path, Event };

/** Shows each record of a line; a path is one object, and so one record whatever the line is. */
void readRecords(std::string_view line, RecordKind kind, std::function<void(Record&)> const& take);

}  // namespace ZynKey
