// Lines of telemetry to rows of typed columns: what `zynkey rows` does to a line, for a program to call.
//
//   auto made = Rows::make(*schema, Gnmi::modelFacts(), {.input = RowInput::Event, .collection = "Device.interface"});
//   if (!made) { ... made.error() ... }                     // such as an unknown collection, with near ones
//   std::string out;
//   for (Row const& row : made->rows(line, out)) {          // appends to `out`; `row` says where, and whether it failed
//     ... std::string_view(out).substr(row.begin, row.end - row.begin), row.failed ...
//   }
//
// Columns, in this order, in each row and of one type in all of them:
//
//   id              the field `id` of the input; none where it has none
//   ...             further fields of the input: with `fields` those, in that order. Without, Json has all of them, each
//                   under its name, and Tsv and Csv have one column `fields`, a JSON object; paths as lines have none
//   path            the path as it was given, without its prefix: of `elem` its text; of an event the path whose keys
//                   these are
//   entry           the canonical path of the entry, down to the collection and its key: equal for equal entries of one
//                   origin, so rows can be joined by it. None where it cannot be written
//   collection      without `collection`: the one that the row is about; none where the path passes none
//   kind            "one" entry, "some" that have the parts given, or "every"
//   parts           with `collection`: a column for each part of its key (zynkey/KeyColumns.h); none where the path
//                   leaves it open. One that has the name of another column gets `key__` in front
//   key             without `collection`: an object of the same
//   error           why there is no key; the columns above from `entry` on are none then
//   class           of the error, as in gnmi/Error.h, or one of the following; WildcardRefused of an event's tag "*" too
//   offset          of the error: the byte in `path`; of a BadLine in the line
//
//   BadLine           what has no path or event in it: not JSON, not UTF-8, empty, too long, a field of the wrong shape
//   OtherCollection   the path does not pass `collection`
//   SeveralEntries    the wildcards of the path mean more than one entry of `collection`
//   NoTags            the event has no tag for any part of the key
//   TagsCollide       the event's path has two elements that make one tag, and so one of the keys is lost
//
// A field of the input that has the name of a column gets `input_` in front, and so does one that is such a name with
// `input_` in front already: no two become one.
//
// With `collection`, a path or an event gives exactly one row: the innermost entry, where the path passes the
// collection more than once. Without, it gives one for each selection, equal ones once, and one without a collection
// where there is none. What `*` and `...` may mean besides is left out where it does not pass `collection`. A line that
// is no path or event gives one row with an error, and so does a list of events that is too long. Where the rows of one
// line pass 128 times `maxLine`, each path or event that is left has one row, and one that is BoundPassed where it
// would have more. An event without a path that the schema knows is taken as one of `collection` where it has a tag for
// it.
//
//   accepted   {"id": 1, "path": "/vrf[name=red]"}    one row
//   refused    {"id": 1, "path": ""                   one row: id is none, error is "not JSON: ..."
//              [] as RowInput::Event                  no row
//
// Threads: one object is used by one thread at a time. Copies are cheap, share what was made of the schema, and each
// may have a thread of its own; then reference counts must be atomic (`Model::setThreadSafe`). The schema lives longer
// than all of them. Nothing is kept from line to line but what speeds up the next. Memory is in proportion to the line
// and its rows. Throws `std::bad_alloc` only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi/Resolver.h"
#include "model/Schema.h"
#include "zynkey/Cells.h"

namespace ZynKey {

/** A path a line; an object with `path` or `elem`, and maybe `prefix`; events of a collector, an object or a list
 * (zynkey/Records.h). */
enum class RowInput : std::uint8_t { Path, Json, Event };

/** "path", "json", "event", and "json", "tsv", "csv"; or that there is none of that name. */
std::expected<RowInput, std::string> rowInput(std::string_view name);
std::expected<RowFormat, std::string> rowFormat(std::string_view name);

struct RowOptions {
  RowInput input = RowInput::Path;
  RowFormat output = RowFormat::Json;
  /** "Type.attribute"; empty for all. */
  std::string collection = {};
  /** Where paths start; empty for the entity that no other is made of. */
  std::string root = {};
  std::vector<std::string> fields = {};
  /** In bytes. Of a longer line only the front is looked at, for its fields. */
  std::size_t maxLine = std::size_t{1} << 20U;
};

/** Its place in the output, with its end; text that was there before counts. */
struct Row {
  std::size_t begin;
  std::size_t end;
  bool failed;
};

class Rows {
 public:
  /** Or what is wrong with the options. */
  static std::expected<Rows, std::string> make(Model::Schema const& schema, Gnmi::SchemaFacts facts,
                                               RowOptions options);

  Rows(Rows const& other);
  Rows(Rows&&) noexcept;
  Rows& operator=(Rows const& other);
  Rows& operator=(Rows&&) noexcept;
  ~Rows();

  /** `line` comes without its end. The result is valid until the next call. */
  std::span<Row const> rows(std::string_view line, std::string& out);

  /** The columns of a table of ClickHouse that the rows fit, "`id` Nullable(String),", one a line. */
  std::string clickHouseColumns() const;

 private:
  struct Plan;
  class Worker;

  explicit Rows(std::shared_ptr<Plan const> plan);

  std::shared_ptr<Plan const> plan_;
  std::unique_ptr<Worker> worker_;
};

}  // namespace ZynKey
