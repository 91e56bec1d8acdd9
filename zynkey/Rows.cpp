#include "zynkey/Rows.h"

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <optional>
#include <set>
#include <utility>

#include "gnmi/ModelValues.h"
#include "text/Messages.h"
#include "text/NameHash.h"
#include "zynkey/Jobs.h"
#include "zynkey/KeyColumns.h"
#include "zynkey/Lines.h"
#include "zynkey/Names.h"
#include "zynkey/PathJob.h"
#include "zynkey/Records.h"
#include "zynkey/Ways.h"

namespace ZynKey {
namespace {

using Drovan::ZynKeyDecoder;

/** The column `fields`, and no columns but the named ones. */
enum class Rest : std::uint8_t { EachByName, OneColumn, None };

/** What an error row says. */
struct RowError {
  std::string text;
  std::string_view kind;
  std::optional<std::size_t> offset = {};
};

RowError badLine(std::string text, std::optional<std::size_t> offset = {}) {
  return {.text = std::move(text), .kind = "BadLine", .offset = offset};
}

RowError rowError(Gnmi::Error const& error, bool hasText) {
  return {.text = sentence(error), .kind = nameOf(error.kind), .offset = hasText ? error.offset : std::nullopt};
}

/** The enumerator of that name, in the order of the names. */
template <typename Enum>
std::expected<Enum, std::string> named(std::string_view name, std::vector<std::string> const& names,
                                       std::string_view what) {
  auto const found = std::ranges::find(names, name);
  if (found == names.end()) {
    return std::unexpected("unknown " + std::string(what) + " " + Text::inQuotes(name) + suggestion(name, names));
  }
  return static_cast<Enum>(found - names.begin());
}

struct Entry {
  Zyn::ZynAttr collection;
  Gnmi::Selection selection;
  std::optional<std::string> path;
};

std::string_view kindOf(Gnmi::Selection const& selection) {
  if (std::holds_alternative<ZynKeyDecoder::Single>(selection)) {
    return "one";
  }
  return std::get<ZynKeyDecoder::Multiple>(selection).values.empty() ? "every" : "some";
}

/** The text of the first `size` elements. */
std::string formatFront(Gnmi::Path const& path, std::size_t size) {
  Gnmi::Path front;
  front.origin = path.origin;
  for (Gnmi::Element const& element : path.elements().first(size)) {
    front.add(element.name);
    for (Gnmi::Key const& key : path.keys(element)) {
      front.addKey(key.name, key.value);
    }
  }
  return Gnmi::formatPath(front);
}

template <typename WriteCells>
std::string jsonObject(WriteCells writeCells) {
  std::string json;
  CellWriter cells(RowFormat::Json);
  cells.start(json);
  writeCells(cells);
  cells.end();
  json.pop_back();
  return json;
}

constexpr std::string_view inputMark = "input_";

std::vector<KeyColumn> columnsOf(Zyn::ZynAttr collection, Gnmi::Resolver const& resolver) {
  auto const names = resolver.keyNames(collection);
  return keyColumns(collection.keyType(), names.size() == 1 ? names.front() : "");
}

/**
 * A way from the root to the collection, nearest first; empty where there is none. Entities may lead back to
 * themselves.
 */
std::vector<Zyn::ZynAttr> wayTo(Zyn::ZynAttr collection, Zyn::ZynType root) {
  struct Step {
    Zyn::ZynType type;
    std::size_t before;
    Zyn::ZynAttr attr;
  };
  auto const idOf = [](Zyn::ZynType type) { return std::pair(type.module(), type.index()); };
  std::vector<Step> steps = {{root, 0, {}}};
  absl::flat_hash_set<std::pair<Zyn::ZynModule const*, std::uint32_t>> seen = {idOf(root)};
  for (std::size_t at = 0; at != steps.size(); ++at) {
    for (Zyn::AttributeQIterator attr(steps[at].type); attr; ++attr) {
      if (*attr == collection) {
        std::vector<Zyn::ZynAttr> way = {collection};
        for (std::size_t step = at; step != 0; step = steps[step].before) {
          way.push_back(steps[step].attr);
        }
        std::ranges::reverse(way);
        return way;
      }
      Zyn::ZynType const below = (*attr).attrType();
      if (!below.empty() && Model::kindOf(below) == Model::Kind::Entity && seen.insert(idOf(below)).second) {
        steps.push_back({below, at, *attr});
      }
    }
  }
  return {};
}

}  // namespace

struct Rows::Plan {
  RowOptions options;
  Gnmi::Resolver resolver;
  /** Empty for all. */
  Zyn::ZynAttr collection;
  std::string collectionName = {};
  std::vector<KeyColumn> columns = {};
  /** Those that are there whatever the input is. */
  std::set<std::string, std::less<>> columnNames = {};
  Rest rest = Rest::EachByName;
  /** Of `options.fields`, as columns. */
  std::vector<std::string> fieldColumns = {};
  /** To `collection`. */
  std::optional<Way> way = {};

  /** Says what the columns are called, or what is wrong with the fields. */
  std::optional<std::string> nameColumns();
  /** With the types that they have in ClickHouse. */
  std::vector<std::pair<std::string, std::string_view>> allColumns() const;

  bool isColumn(std::string_view name) const {
    while (name.starts_with(inputMark)) {
      name.remove_prefix(inputMark.size());
    }
    return columnNames.contains(name);
  }
  std::string columnOf(std::string_view field) const {
    return (isColumn(field) ? std::string(inputMark) : "") + std::string(field);
  }
};

std::optional<std::string> Rows::Plan::nameColumns() {
  columnNames = {"id", "path", "entry", "kind", "error", "class", "offset"};
  rest = !options.fields.empty() || options.input == RowInput::Path ? Rest::None
         : options.output == RowFormat::Json                        ? Rest::EachByName
                                                                    : Rest::OneColumn;
  if (rest == Rest::OneColumn) {
    columnNames.insert("fields");
  }
  if (collection.empty()) {
    columnNames.insert({"collection", "key"});
  } else {
    columns = columnsOf(collection, resolver);
    for (KeyColumn& column : columns) {
      while (!columnNames.insert(column.name).second) {
        column.name.insert(0, "key__");
      }
    }
  }
  for (std::string const& field : options.fields) {
    bool const isPath = options.input == RowInput::Json && (field == "path" || field == "elem");
    if (field == "id" || isPath || options.input == RowInput::Path) {
      return "field " + Text::inQuotes(field) +
             (options.input == RowInput::Path ? " cannot be asked for: paths as lines have no fields"
                                              : " cannot be asked for: 'id' and 'path' are columns anyway");
    }
    if (std::ranges::find(fieldColumns, columnOf(field)) != fieldColumns.end()) {
      return "field " + Text::inQuotes(field) + " is asked for twice";
    }
    fieldColumns.push_back(columnOf(field));
  }
  return std::nullopt;
}

std::vector<std::pair<std::string, std::string_view>> Rows::Plan::allColumns() const {
  constexpr std::string_view text = "String";
  std::vector<std::pair<std::string, std::string_view>> all = {{"id", text}};
  if (rest == Rest::OneColumn) {
    all.emplace_back("fields", text);
  }
  for (std::string const& field : fieldColumns) {
    all.emplace_back(field, text);
  }
  all.emplace_back("path", text);
  all.emplace_back("entry", text);
  if (collection.empty()) {
    all.emplace_back("collection", text);
  }
  all.emplace_back("kind", text);
  if (collection.empty()) {
    all.emplace_back("key", text);
  }
  for (KeyColumn const& column : columns) {
    all.emplace_back(column.name, clickHouseType(column.kind));
  }
  all.insert(all.end(), {{"error", text}, {"class", text}, {"offset", "UInt64"}});
  return all;
}

/** What one thread needs for a line. */
class Rows::Worker {
 public:
  explicit Worker(Plan const& plan) : plan_(plan), cells_(plan.options.output), ways_(plan.resolver) {}

  std::span<Row const> rows(std::string_view line, std::string& out) {
    rows_.clear();
    out_ = &out;
    lineBegin_ = out.size();
    isFull_ = false;
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    bool const isTooLong = line.size() > plan_.options.maxLine;
    if (line.empty()) {
      failed({}, {}, badLine("the line is empty"));
    } else if (plan_.options.input == RowInput::Path) {
      pathLine(line, isTooLong);
    } else {
      jsonLine(line, isTooLong);
    }
    return rows_;
  }

 private:
  /** What the record says its path is; nothing where it says none. */
  using PathText = std::optional<std::string_view>;

  void pathLine(std::string_view line, bool isTooLong) {
    if (isTooLong) {
      failed({}, {}, badLine(tooLong(plan_.options.maxLine)));
    } else if (std::size_t const at = utf8Prefix(line); at != line.size()) {
      failed({}, line, badLine(std::string(noUtf8), at));
    } else {
      typed({}, line, Gnmi::parsePath(line), true);
    }
  }

  void jsonLine(std::string_view line, bool isTooLong) {
    bool isFirst = true;
    readRecords(line.substr(0, plan_.options.maxLine), isEvent() ? RecordKind::Event : RecordKind::Path,
                [&](Record& record) {
                  if (isTooLong) {
                    record.flaw = tooLong(plan_.options.maxLine);
                    record.flawAt.reset();
                  }
                  if (!isTooLong || std::exchange(isFirst, false)) {
                    isEvent() ? event(record) : path(record);
                  }
                });
  }

  bool isEvent() const { return plan_.options.input == RowInput::Event; }

  void path(Record const& record) {
    if (!record.path) {
      failed(record, {}, badLine(record.flaw, record.flawAt));
      return;
    }
    auto const path = readPath(*record.path);
    std::string const text = record.path->isText ? record.path->text : path ? Gnmi::formatPath(*path) : "";
    PathText const given = record.path->isText || path ? PathText(text) : PathText();
    if (record.flaw.empty()) {
      typed(record, given, path, record.path->isText);
    } else {
      failed(record, given, badLine(record.flaw, record.flawAt));
    }
  }

  void typed(Record const& record, PathText text, std::expected<Gnmi::Path, Gnmi::Error> const& path, bool isText) {
    entries_.clear();
    seen_.clear();
    passed_.clear();
    if (!path) {
      failed(record, text, rowError(path.error(), isText));
      return;
    }
    auto const done = gather(*path);
    finish(record, text, done ? std::nullopt : std::optional(rowError(explained(done.error(), *path), isText)));
  }

  std::expected<void, Gnmi::Error> gather(Gnmi::Path const& path) {
    if (hasWildcards(path)) {
      return plan_.resolver.expand(path, [this](Gnmi::Resolved const& found) { return add(found); });
    }
    auto done = plan_.resolver.resolve(path, found_);
    if (done) {
      add(found_);
    }
    return done;
  }

  /** Whether it matters what else there is. */
  bool add(Gnmi::Resolved const& found) {
    auto const canonical = plan_.resolver.canonical(found, Gnmi::ModelValues());
    auto const addOne = [&](Gnmi::Selected const& one) {
      auto path = canonical ? std::optional(formatFront(*canonical, one.node + 1)) : std::nullopt;
      if (!path || seen_.insert(*path).second) {
        entries_.push_back({one.collection, one.selection, std::move(path)});
      }
    };
    if (plan_.collection.empty()) {
      std::ranges::for_each(found.selections, addOne);
      return true;
    }
    auto const innermost = std::ranges::find(found.selections.rbegin(), found.selections.rend(), plan_.collection,
                                             &Gnmi::Selected::collection);
    if (innermost != found.selections.rend()) {
      addOne(*innermost);
    } else {
      for (Gnmi::Selected const& one : found.selections) {
        passed_.insert(fullName(one.collection));
      }
    }
    return entries_.size() < 2;
  }

  void finish(Record const& record, PathText path, std::optional<RowError> error) {
    if (plan_.collection.empty()) {
      for (Entry const& entry : entries_) {
        row(record, path, entry);
      }
      if (error) {
        failed(record, path, *error);
      } else if (entries_.empty() && !isFull()) {
        start(record, path);
        end({}, nullptr);
      }
    } else if (entries_.size() > 1) {
      failed(record, path,
             {.text = "the path means more than one entry of " + Text::inQuotes(plan_.collectionName) + ", such as " +
                      entries_[0].path.value_or("") + " and " + entries_[1].path.value_or(""),
              .kind = "SeveralEntries"});
    } else if (error) {
      failed(record, path, *error);
    } else if (entries_.empty()) {
      failed(record, path, otherCollection());
    } else {
      row(record, path, entries_.front());
    }
  }

  RowError otherCollection() const {
    std::vector<std::string> const names(passed_.begin(), passed_.end());
    return {.text = "the path does not pass " + Text::inQuotes(plan_.collectionName) +
                    (names.empty() ? ", and no other keyed collection"
                                   : "; it passes " + Text::list(names, Text::inQuotes)),
            .kind = "OtherCollection"};
  }

  // Events.

  void event(Record const& record) {
    entries_.clear();
    seen_.clear();
    passed_.clear();
    if (!record.flaw.empty()) {
      failed(record, {}, badLine(record.flaw, record.flawAt));
      return;
    }
    // Ways of which the schema knows something, each once, and the first of the others.
    std::vector<std::pair<std::shared_ptr<Way const>, std::string_view>> known;
    absl::flat_hash_set<std::string_view, Text::NameHash> names;
    std::shared_ptr<Way const> unknown;
    for (std::string const& path : record.paths) {
      std::shared_ptr<Way const> way = ways_.of(path);
      if (way->error() != nullptr) {
        unknown = unknown ? unknown : way;
      } else if (names.insert(way->name()).second) {
        known.emplace_back(std::move(way), path);
      }
    }
    if (known.empty()) {
      withoutPath(record, unknown.get());
    } else if (plan_.collection.empty()) {
      eachEntry(record, known);
    } else {
      ownEntry(record, known);
    }
  }

  /** Names of values may have been cut short on the way: then tags alone say what the event is of. */
  void withoutPath(Record const& record, Way const* unknown) {
    if (!plan_.collection.empty()) {
      auto const hasTag = [&](std::string const& name) {
        return std::ranges::binary_search(record.tags, name, {}, &NamedTexts::value_type::first);
      };
      if (std::ranges::any_of(plan_.way->tagsOf(plan_.collection), hasTag)) {
        finish(record, {}, follow(*plan_.way, record.tags));
      } else {
        failed(record, {}, noTags(*plan_.way, plan_.collection));
      }
    } else if (unknown != nullptr) {
      failed(record, {}, rowError(*unknown->error(), false));
    } else {
      failed(record, {}, badLine("the event has no values and no deletes, and so no path"));
    }
  }

  template <typename Known>
  void eachEntry(Record const& record, Known const& known) {
    for (auto const& [way, path] : known) {
      // Where other paths have entries, one without says nothing.
      if (!way->collections().empty() || known.size() == 1) {
        entries_.clear();
        auto error = follow(*way, record.tags);
        if (error || !entries_.empty() || way->collections().empty()) {
          finish(record, path, std::move(error));
        }
      }
    }
  }

  template <typename Known>
  void ownEntry(Record const& record, Known const& known) {
    PathText first;
    std::optional<RowError> error;
    for (auto const& [way, path] : known) {
      if (std::ranges::find(way->collections(), plan_.collection) == way->collections().end()) {
        std::ranges::transform(way->collections(), std::inserter(passed_, passed_.end()), fullName);
      } else if (!error && entries_.size() < 2) {
        first = first ? first : PathText(path);
        error = follow(*way, record.tags);
      }
    }
    finish(record, first, std::move(error));
  }

  std::optional<RowError> follow(Way const& way, NamedTexts const& tags) {
    Gnmi::Path path;
    if (auto const tag = way.fill(tags, path)) {
      return RowError{
          .text = "two elements of the path make the tag " + Text::inQuotes(*tag) + ", which has the key of one alone",
          .kind = "TagsCollide"};
    }
    way_ = &way;
    auto const done = gather(path);
    return done ? std::nullopt : std::optional(rowError(done.error(), false));
  }

  RowError noTags(Way const& way, Zyn::ZynAttr collection) const {
    return {.text = "the event has no tag for the key of " + Text::inQuotes(fullName(collection)) + ": " +
                    Text::list(way.tagsOf(collection), Text::inQuotes),
            .kind = "NoTags"};
  }

  // One row.

  /** Every row repeats the fields: rows times fields are bounded, so that a line of many entries is no flood. */
  bool isFull() {
    if (!isFull_ && (out_->size() - lineBegin_) / mostTimes > plan_.options.maxLine) {
      isFull_ = true;
      start({}, {});
      RowError const error{
          .text = "the rows of the line are more than " + std::to_string(mostTimes) + " times --max-line",
          .kind = nameOf(Gnmi::ErrorClass::BoundPassed)};
      end({}, &error);
    }
    return isFull_;
  }

  void failed(Record const& record, PathText path, RowError const& error) {
    if (!isFull()) {
      start(record, path);
      end({}, &error);
    }
  }

  void row(Record const& record, PathText path, Entry const& entry) {
    if (way_ != nullptr && kindOf(entry.selection) == "every") {
      failed(record, path, noTags(*way_, entry.collection));
    } else if (!isFull()) {
      start(record, path);
      end(&entry, nullptr);
    }
  }

  /** The columns up to `path`. */
  void start(Record const& record, PathText path) {
    begin_ = out_->size();
    cells_.start(*out_);
    cell("id", record.field("id"));
    if (plan_.rest == Rest::EachByName) {
      fieldsByName(record);
    } else if (plan_.rest == Rest::OneColumn) {
      fieldsAsOne(record);
    }
    for (std::size_t i = 0; i != plan_.options.fields.size(); ++i) {
      cell(plan_.fieldColumns[i], record.field(plan_.options.fields[i]));
    }
    path ? cells_.text("path", *path) : cells_.none("path");
  }

  void cell(std::string_view name, Field const* field) {
    field != nullptr ? write(name, *field, cells_) : cells_.none(name);
  }

  void fieldsByName(Record const& record) {
    absl::flat_hash_set<std::string_view, Text::NameHash> names;
    for (Field const& field : record.fields) {
      // A name may stand twice where something is wrong with the record.
      if (field.name != "id" && (record.flaw.empty() || names.insert(field.name).second)) {
        plan_.isColumn(field.name) ? write(plan_.columnOf(field.name), field, cells_)
                                   : write(field.name, field, cells_);
      }
    }
  }

  void fieldsAsOne(Record const& record) {
    cells_.json("fields", jsonObject([&](CellWriter& object) {
                  for (Field const& field : record.fields) {
                    if (field.name != "id") {
                      write(field.name, field, object);
                    }
                  }
                }));
  }

  std::string keyObject(Entry const& entry) {
    auto [columns, isNew] = keyColumns_.try_emplace(entry.collection);
    if (isNew) {
      columns->second = columnsOf(entry.collection, plan_.resolver);
    }
    return jsonObject([&](CellWriter& object) {
      for (KeyColumn const& column : columns->second) {
        write(partOf(entry.selection, column), column, object);
      }
    });
  }

  /** The columns behind `path`. Neither entry nor error: of a path without a keyed collection. */
  void end(Entry const* entry, RowError const* error) {
    entry != nullptr && entry->path ? cells_.text("entry", *entry->path) : cells_.none("entry");
    bool const isOwn = !plan_.collection.empty();
    if (!isOwn) {
      entry != nullptr ? cells_.text("collection", fullName(entry->collection)) : cells_.none("collection");
    }
    entry != nullptr ? cells_.text("kind", kindOf(entry->selection)) : cells_.none("kind");
    if (isOwn) {
      for (KeyColumn const& column : plan_.columns) {
        write(entry != nullptr ? partOf(entry->selection, column) : nullptr, column, cells_);
      }
    } else if (entry != nullptr) {
      cells_.json("key", keyObject(*entry));
    } else {
      cells_.none("key");
    }
    if (error != nullptr) {
      cells_.text("error", error->text);
      cells_.text("class", error->kind);
    } else {
      cells_.none("error");
      cells_.none("class");
    }
    error != nullptr && error->offset ? cells_.literal("offset", std::to_string(*error->offset))
                                      : cells_.none("offset");
    cells_.end();
    rows_.push_back({.begin = begin_, .end = out_->size(), .failed = error != nullptr});
  }

  Plan const& plan_;
  CellWriter cells_;
  Ways ways_;
  absl::flat_hash_map<Zyn::ZynAttr, std::vector<KeyColumn>> keyColumns_;
  std::vector<Row> rows_;
  // Of one line.
  static constexpr std::size_t mostTimes = 128;
  std::string* out_ = nullptr;
  std::size_t lineBegin_ = 0;
  bool isFull_ = false;
  /** Of the row that is written. */
  std::size_t begin_ = 0;
  // Of one record.
  Gnmi::Resolved found_;
  std::vector<Entry> entries_;
  /** Their paths. */
  absl::flat_hash_set<std::string> seen_;
  /** Other collections that were passed. */
  std::set<std::string> passed_;
  /** Of an event: the way to the last entries. */
  Way const* way_ = nullptr;
};

std::expected<RowInput, std::string> rowInput(std::string_view name) {
  return named<RowInput>(name, {"path", "json", "event"}, "form of lines");
}

std::expected<RowFormat, std::string> rowFormat(std::string_view name) {
  return named<RowFormat>(name, {"json", "tsv", "csv"}, "form of rows");
}

std::expected<Rows, std::string> Rows::make(Model::Schema const& schema, Gnmi::SchemaFacts facts, RowOptions options) {
  Names names(schema);
  auto const root = names.root(options.root);
  if (!root) {
    return std::unexpected(root.error());
  }
  Zyn::ZynAttr collection;
  if (!options.collection.empty()) {
    auto const found = names.collection(options.collection);
    if (!found) {
      return std::unexpected(found.error());
    }
    Request request;
    request.collection = collection = *found;
    if (auto flaw = validate(request, schema)) {
      return std::unexpected(*std::move(flaw));
    }
  }
  auto plan = std::make_shared<Plan>(Plan{.options = std::move(options),
                                          .resolver = Gnmi::Resolver(*root, {.facts = std::move(facts)}),
                                          .collection = collection});
  if (!collection.empty()) {
    Gnmi::Resolved resolved;
    resolved.nodes = wayTo(collection, *root);
    plan->collectionName = fullName(collection);
    auto const path = resolved.nodes.empty() ? Gnmi::Path() : *plan->resolver.canonical(resolved, Gnmi::ModelValues());
    if (resolved.nodes.empty()) {
      return std::unexpected("paths from " + Text::inQuotes(nameOf(schema, *root)) + " do not pass " +
                             Text::inQuotes(plan->collectionName));
    }
    plan->way.emplace(Gnmi::formatPath(path), plan->resolver);
  }
  if (auto flaw = plan->nameColumns()) {
    return std::unexpected(*std::move(flaw));
  }
  return Rows(std::move(plan));
}

Rows::Rows(std::shared_ptr<Plan const> plan) : plan_(std::move(plan)), worker_(std::make_unique<Worker>(*plan_)) {}
Rows::Rows(Rows const& other) : Rows(other.plan_) {}
Rows::Rows(Rows&&) noexcept = default;
Rows& Rows::operator=(Rows const& other) { return *this = Rows(other); }
Rows& Rows::operator=(Rows&&) noexcept = default;
Rows::~Rows() = default;

std::span<Row const> Rows::rows(std::string_view line, std::string& out) { return worker_->rows(line, out); }

std::string Rows::clickHouseColumns() const {
  std::string lines;
  for (auto const& [name, type] : plan_->allColumns()) {
    std::string quoted;
    for (char const byte : name) {
      quoted.append(byte == '`' || byte == '\\' ? "\\" : "").push_back(byte);
    }
    lines += (lines.empty() ? "`" : ",\n`") + quoted + "` Nullable(" + std::string(type) + ")";
  }
  return lines + '\n';
}

}  // namespace ZynKey
