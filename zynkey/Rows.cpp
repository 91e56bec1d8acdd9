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
  return {.text = (error.inPrefix ? "in the prefix: " : "") + sentence(error),
          .kind = nameOf(error.kind),
          .offset = hasText && !error.inPrefix ? error.offset : std::nullopt};
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
  std::optional<std::string> path = {};
};

std::string_view kindOf(Gnmi::Selection const& selection) {
  if (std::holds_alternative<ZynKeyDecoder::Single>(selection)) {
    return "one";
  }
  return std::get<ZynKeyDecoder::Multiple>(selection).values.empty() ? "every" : "some";
}

/** The text of the path, and for each element where it ends there. */
std::string formatElements(Gnmi::Path const& path, std::vector<std::size_t>& ends) {
  std::string text;
  ends.clear();
  for (Gnmi::Element const& element : path.elements()) {
    Gnmi::Path one;
    one.origin = ends.empty() ? path.origin : "";
    one.add(element.name);
    for (Gnmi::Key const& key : path.keys(element)) {
      one.addKey(key.name, key.value);
    }
    text += Gnmi::formatPath(one);
    ends.push_back(text.size());
  }
  return text;
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
    start(noRecord_, {});
    if (line.ends_with('\r')) {
      line.remove_suffix(1);
    }
    bool const isTooLong = line.size() > plan_.options.maxLine;
    if (line.empty()) {
      failed(badLine("the line is empty"));
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

  /** Rows are of that record, which is there until the next, from here on. */
  void start(Record const& record, PathText given) {
    record_ = &record;
    given_ = given;
    firstRow_ = rows_.size();
    isCut_ = false;
    entries_.clear();
    seen_.clear();
    passed_.clear();
  }

  void pathLine(std::string_view line, bool isTooLong) {
    if (isTooLong) {
      failed(badLine(tooLong(plan_.options.maxLine)));
      return;
    }
    given_ = line;
    if (std::size_t const at = utf8Prefix(line); at != line.size()) {
      failed(badLine(std::string(noUtf8), at));
    } else {
      typed(Gnmi::parsePath(line), true);
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
                    start(record, {});
                    isEvent() ? event() : path();
                  }
                });
    start(noRecord_, {});
  }

  bool isEvent() const { return plan_.options.input == RowInput::Event; }

  void path() {
    bool const isText = record_->path && record_->path->isText;
    if (isText) {
      given_ = record_->path->text;
    }
    if (!record_->flaw.empty() || !record_->path) {
      failed(badLine(record_->flaw, record_->flawAt));
      return;
    }
    auto path = readPath(*record_->path);
    std::string const text = path && !isText ? Gnmi::formatPath(*path) : "";
    if (path && !isText) {
      given_ = text;
    }
    typed(behindPrefix(std::move(path), record_->prefix ? &*record_->prefix : nullptr), isText);
  }

  void typed(std::expected<Gnmi::Path, Gnmi::Error> const& path, bool isText) {
    if (!path) {
      failed(rowError(path.error(), isText));
      return;
    }
    auto const done = gather(*path);
    finish(done ? std::nullopt : std::optional(rowError(explained(done.error(), *path), isText)));
  }

  /** Without `collection`, writes the rows of what the path means. */
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
    std::string const text = canonical ? formatElements(*canonical, ends_) : "";
    auto const entryOf = [&](Gnmi::Selected const& one) {
      Entry entry{.collection = one.collection, .selection = one.selection};
      if (canonical) {
        entry.path = text.substr(0, ends_[one.node]);
      }
      return entry;
    };
    if (plan_.collection.empty()) {
      for (Gnmi::Selected const& one : found.selections) {
        if (Entry const entry = entryOf(one); !entry.path || seen_.insert(*entry.path).second) {
          row(entry);
        }
        if (isCut_) {
          return false;
        }
      }
      return true;
    }
    auto const innermost = std::ranges::find(found.selections.rbegin(), found.selections.rend(), plan_.collection,
                                             &Gnmi::Selected::collection);
    if (innermost == found.selections.rend()) {
      for (Gnmi::Selected const& one : found.selections) {
        passed_.insert(fullName(one.collection));
      }
    } else if (Entry entry = entryOf(*innermost); !entry.path || seen_.insert(*entry.path).second) {
      entries_.push_back(std::move(entry));
    }
    return entries_.size() < 2;
  }

  /** Writes what else there is to say of the record. */
  void finish(std::optional<RowError> const& error) {
    if (entries_.size() > 1) {
      failed({.text = std::string(isEvent() ? "the event" : "the path") + " means more than one entry of " +
                      Text::inQuotes(plan_.collectionName) + ", such as " + entries_[0].path.value_or("") + " and " +
                      entries_[1].path.value_or(""),
              .kind = "SeveralEntries"});
    } else if (error) {
      failed(*error);
    } else if (!plan_.collection.empty()) {
      entries_.empty() ? failed(otherCollection()) : row(entries_.front());
    } else if (rows_.size() == firstRow_) {
      write(nullptr, nullptr);
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

  void event() {
    if (!record_->flaw.empty()) {
      failed(badLine(record_->flaw, record_->flawAt));
      return;
    }
    Tags tags(record_->tags);
    // Ways of which the schema knows something, each once, and the first of the others.
    KnownWays known;
    absl::flat_hash_set<std::string_view, Text::NameHash> names;
    std::shared_ptr<Way const> unknown;
    auto const look = [&](std::vector<std::string> const& paths, PathKind kind) {
      for (std::string const& path : paths) {
        std::shared_ptr<Way const> way = ways_.of(path, kind);
        if (way->error() != nullptr) {
          unknown = unknown ? unknown : way;
        } else if (names.insert(way->name()).second) {
          known.emplace_back(std::move(way), path);
        }
      }
    };
    look(record_->values, PathKind::Value);
    look(record_->deletes, PathKind::Delete);
    if (known.empty()) {
      withoutPath(tags, unknown.get());
    } else if (plan_.collection.empty()) {
      eachEntry(tags, known);
    } else {
      ownEntry(tags, known);
    }
    way_ = nullptr;
  }

  using KnownWays = std::vector<std::pair<std::shared_ptr<Way const>, std::string_view>>;

  /** Names of values may have been cut short on the way: then tags alone say what the event is of. */
  void withoutPath(Tags& tags, Way const* unknown) {
    if (!plan_.collection.empty()) {
      auto const hasTag = [&](std::string const& name) { return tags.find(name) != nullptr; };
      if (std::ranges::any_of(plan_.way->tagsOf(plan_.collection), hasTag)) {
        finish(follow(*plan_.way, tags));
      } else {
        failed(noTags(*plan_.way, plan_.collection));
      }
    } else if (unknown != nullptr) {
      failed(rowError(*unknown->error(), false));
    } else {
      failed(badLine("the event has no values and no deletes, and so no path"));
    }
  }

  void eachEntry(Tags& tags, KnownWays const& known) {
    for (auto const& [way, path] : known) {
      // Where other paths have entries, one without says nothing.
      if ((!way->collections().empty() || known.size() == 1) && !isCut_) {
        given_ = path;
        finish(follow(*way, tags));
      }
    }
  }

  void ownEntry(Tags& tags, KnownWays const& known) {
    std::optional<RowError> error;
    for (auto const& [way, path] : known) {
      if (std::ranges::find(way->collections(), plan_.collection) == way->collections().end()) {
        std::ranges::transform(way->collections(), std::inserter(passed_, passed_.end()), fullName);
      } else if (!error && entries_.size() < 2) {
        given_ = given_ ? given_ : PathText(path);
        error = follow(*way, tags);
      }
    }
    finish(error);
  }

  std::optional<RowError> follow(Way const& way, Tags& tags) {
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

  /** Why an event says nothing of the key. */
  RowError noTags(Way const& way, Zyn::ZynAttr collection) const {
    std::vector<std::string> const tags = way.tagsOf(collection);
    for (std::string const& name : tags) {
      if (auto const* const value = Tags(record_->tags).find(name); value != nullptr && *value == "*") {
        return {.text = "tag " + Text::inQuotes(name) + " is '*'", .kind = nameOf(Gnmi::ErrorClass::WildcardRefused)};
      }
    }
    return {.text = "the event has no tag for the key of " + Text::inQuotes(fullName(collection)) + ": " +
                    Text::list(tags, Text::inQuotes),
            .kind = "NoTags"};
  }

  // One row.

  /**
   * Every row repeats the fields: rows times fields are bounded, so that a line of many entries is no flood. The first
   * row of a record is always written.
   */
  bool isFull() {
    bool const isOver = (out_->size() - lineBegin_) / mostTimes > plan_.options.maxLine;
    if (isOver && rows_.size() != firstRow_ && !std::exchange(isCut_, true)) {
      RowError const error{
          .text = "the rows of the line are more than " + std::to_string(mostTimes) + " times --max-line",
          .kind = nameOf(Gnmi::ErrorClass::BoundPassed)};
      write(nullptr, &error);
    }
    return isCut_;
  }

  void failed(RowError const& error) {
    if (!isFull()) {
      write(nullptr, &error);
    }
  }

  void row(Entry const& entry) {
    if (way_ != nullptr && kindOf(entry.selection) == "every") {
      failed(noTags(*way_, entry.collection));
    } else if (!isFull()) {
      write(&entry, nullptr);
    }
  }

  /** Neither entry nor error: of a path without a keyed collection. */
  void write(Entry const* entry, RowError const* error) {
    std::size_t const begin = out_->size();
    cells_.start(*out_);
    cell("id", record_->field("id"));
    if (plan_.rest == Rest::EachByName) {
      fieldsByName();
    } else if (plan_.rest == Rest::OneColumn) {
      fieldsAsOne();
    }
    for (std::size_t i = 0; i != plan_.options.fields.size(); ++i) {
      cell(plan_.fieldColumns[i], record_->field(plan_.options.fields[i]));
    }
    given_ ? cells_.text("path", *given_) : cells_.none("path");
    keyCells(entry);
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
    rows_.push_back({.begin = begin, .end = out_->size(), .failed = error != nullptr});
  }

  void cell(std::string_view name, Field const* field) {
    field != nullptr ? ZynKey::write(name, *field, cells_) : cells_.none(name);
  }

  void fieldsByName() {
    absl::flat_hash_set<std::string_view, Text::NameHash> names;
    for (Field const& field : record_->fields) {
      // A name may stand twice where something is wrong with the record.
      if (field.name != "id" && (record_->flaw.empty() || names.insert(field.name).second)) {
        plan_.isColumn(field.name) ? ZynKey::write(plan_.columnOf(field.name), field, cells_)
                                   : ZynKey::write(field.name, field, cells_);
      }
    }
  }

  void fieldsAsOne() {
    cells_.json("fields", jsonObject([&](CellWriter& object) {
                  for (Field const& field : record_->fields) {
                    if (field.name != "id") {
                      ZynKey::write(field.name, field, object);
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
        ZynKey::write(partOf(entry.selection, column), column, object);
      }
    });
  }

  /** The columns between `path` and `error`. */
  void keyCells(Entry const* entry) {
    entry != nullptr && entry->path ? cells_.text("entry", *entry->path) : cells_.none("entry");
    bool const isOwn = !plan_.collection.empty();
    if (!isOwn) {
      entry != nullptr ? cells_.text("collection", fullName(entry->collection)) : cells_.none("collection");
    }
    entry != nullptr ? cells_.text("kind", kindOf(entry->selection)) : cells_.none("kind");
    if (isOwn) {
      for (KeyColumn const& column : plan_.columns) {
        ZynKey::write(entry != nullptr ? partOf(entry->selection, column) : nullptr, column, cells_);
      }
    } else if (entry != nullptr) {
      cells_.json("key", keyObject(*entry));
    } else {
      cells_.none("key");
    }
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
  // Of one record.
  Record const noRecord_ = {};
  Record const* record_ = &noRecord_;
  PathText given_;
  std::size_t firstRow_ = 0;
  /** Whether its rows ended before there was no more to say. */
  bool isCut_ = false;
  Gnmi::Resolved found_;
  /** Where the elements of a path end in its text. */
  std::vector<std::size_t> ends_;
  /** With `collection`: those that the record is about, up to two. */
  std::vector<Entry> entries_;
  /** The paths of all entries. */
  absl::flat_hash_set<std::string> seen_;
  /** Other collections that were passed. */
  std::set<std::string> passed_;
  /** Of an event: the way to the last entries; null else. */
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
    plan->way.emplace(Gnmi::formatPath(path), PathKind::Value, plan->resolver);
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
