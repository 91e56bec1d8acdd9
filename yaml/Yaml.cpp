#include "yaml/Yaml.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <expected>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <system_error>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/Schema.h"
#include "text/Nearest.h"
#include "yaml/Tree.h"

namespace Yaml {
namespace {

constexpr std::size_t kLongestFile = 16 << 20;
constexpr std::size_t kDeepestImport = 100;
constexpr std::size_t kMostProblems = 1000;
// Looking for near names takes long where there are many names, and nobody reads hundreds of them.
constexpr std::size_t kMostSuggestions = 100;
constexpr std::size_t kMostRefusals = 20;
constexpr std::size_t kLongestProblem = 5000;

/** Ends the loading: there are more problems than anybody reads. */
struct TooMany {};

constexpr std::array<std::string_view, 3> kFileKeys = {"module", "imports", "types"};
constexpr std::array<std::string_view, 5> kKinds = {"enum", "wraps", "union", "value", "entity"};
constexpr std::array<std::string_view, 3> kExtras = {"args", "gnmi", "s4"};
constexpr std::array<std::string_view, 8> kTypeKeys = {"enum",   "wraps", "union", "value",
                                                       "entity", "args",  "gnmi",  "s4"};
constexpr std::array<std::string_view, 4> kCollectionKeys = {"keyed", "by", "type", "list"};

std::string_view shapeName(Shape shape) {
  return shape == Shape::Map ? "a map" : shape == Shape::List ? "a list" : "a plain text";
}

bool isPlainName(std::string_view name) {
  auto const isLetter = [](char c) { return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || c == '_'; };
  auto const isDigit = [](char c) { return '0' <= c && c <= '9'; };
  return !name.empty() && !isDigit(name.front()) &&
         std::ranges::all_of(name, [&](char c) { return isLetter(c) || isDigit(c); });
}

template <typename Number>
std::optional<Number> toNumber(std::string_view text) {
  Number number{};
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  return error == std::errc() && end == text.data() + text.size() ? std::optional(number) : std::nullopt;
}

/** Null when the map has no such key. Maps that this is asked of have few keys, or are asked once. */
Node const* child(Node const& map, std::string_view key) {
  auto const found = std::ranges::find(map.items, key, &Node::key);
  return found == map.items.end() ? nullptr : &*found;
}

std::expected<std::string, std::string> readFile(std::string const& path) {
  std::error_code ignored;
  if (std::filesystem::is_directory(path, ignored)) {
    return std::unexpected("it is a directory");
  }
  errno = 0;
  std::ifstream file(path, std::ios::binary);
  if (!file) {
    return std::unexpected(std::generic_category().message(errno));
  }
  std::string text;
  std::array<char, 1 << 16> part;
  while (text.size() <= kLongestFile && (file.read(part.data(), part.size()), file.gcount() > 0)) {
    text.append(part.data(), static_cast<std::size_t>(file.gcount()));
  }
  if (file.bad()) {
    return std::unexpected(std::generic_category().message(errno));
  }
  if (text.size() > kLongestFile) {
    return std::unexpected(fmt::format("it is larger than {} MiB", kLongestFile >> 20));
  }
  return text;
}

std::string identityOf(std::string const& path) {
  std::error_code error;
  std::filesystem::path const canonical = std::filesystem::weakly_canonical(path, error);
  return error ? path : canonical.string();
}

/** Types by the name that a file may use; an empty handle for one whose declaration has an error of its own. */
using Types = std::unordered_map<std::string, Zyn::ZynType>;

struct File {
  std::string name;
  std::vector<Problem> problems;
  Model::Module* module = nullptr;
  /** Holds the module when its name is unusable, so that the types are checked all the same. */
  std::optional<Model::Schema> standIn;
  /** Own and core types, and `Module.Type` of those imported. */
  Types types;
  /** The names of `types` in the order of the files: what to suggest. */
  std::vector<std::string> names;
  /** The modules of some imports are unknown: of a `Module.Type` that is not found, nothing can be said. */
  bool lacksImports = false;
};

/** A type as a file declares it. */
struct Declaration {
  Node const* node = nullptr;
  /** What stands after the kind's name. */
  Node const* content = nullptr;
  std::string_view kind = {};
  // Marks of the walks over declarations.
  bool begun = false;
  bool ordered = false;
  /** Of an entity: the types of its plain attributes. */
  std::unordered_map<std::string_view, Zyn::ZynType> plain = {};
};

using ByName = std::unordered_map<std::string_view, Declaration*>;

/** What `Model::TypeBuilder` takes a list of, with the places of the items. */
template <typename Item>
struct Placed {
  std::vector<Item> items;
  std::vector<Place> places;

  void add(Item item, Place place) {
    items.push_back(std::move(item));
    places.push_back(place);
  }
};

class Loader {
 public:
  /** Without a text: reads the file. */
  Loaded load(std::string const& name, std::optional<std::string_view> text) {
    File& file = addFile(name);
    try {
      if (text) {
        loadInto(file, *text);
      } else if (auto const read = readFile(name)) {
        loadInto(file, *read);
      } else {
        report(file, {}, "cannot be read: " + read.error());
      }
    } catch (TooMany const&) {  // The last problem says so.
    }
    std::vector<Problem> problems;
    for (File& each : files_) {
      std::ranges::sort(each.problems, {}, [](Problem const& p) { return std::tie(p.line, p.column, p.what); });
      std::ranges::move(each.problems, std::back_inserter(problems));
    }
    if (problems.empty()) {
      return std::move(schema_);
    }
    return std::unexpected(std::move(problems));
  }

 private:
  // Telling what is wrong.

  void report(File& file, Place place, std::string what) {
    if (++reported_ == kMostProblems) {
      what = fmt::format("more than {} problems; no more are looked for", kMostProblems - 1);
    }
    // A problem is one line that can be read, whatever the names in it hold, and however many they are.
    std::ranges::replace_if(what, [](char byte) { return 0 <= byte && byte < ' '; }, '?');
    if (what.size() > kLongestProblem) {
      what.resize(kLongestProblem);
      what += "...";
    }
    file.problems.push_back({file.name, place.line, place.column, std::move(what)});
    if (reported_ == kMostProblems) {
      throw TooMany();
    }
  }

  /** Whether the node has the shape; if not, says what should stand there. */
  bool expect(File& file, Node const& node, Shape shape, std::string_view what) {
    if (node.shape != shape && node.shape != Shape::Bad) {
      report(file, node.place, fmt::format("expected {}, found {}", what, shapeName(node.shape)));
    }
    return node.shape == shape;
  }

  void checkKeys(File& file, Node const& map, std::span<std::string_view const> known) {
    std::vector<std::string> const names(known.begin(), known.end());
    for (Node const& item : map.items) {
      if (std::ranges::find(known, item.key) == known.end()) {
        std::string const near = Text::didYouMean(item.key, names);
        report(file, item.keyPlace,
               fmt::format("unknown key '{}'{}", item.key,
                           near.empty() ? fmt::format("; known here: {}", fmt::join(known, ", ")) : near));
      }
    }
  }

  /**
   * Hands all items to `build`, and again without each that it refuses, which it reports. False when it refused any;
   * what it was given last is what it took.
   */
  template <typename Item, typename Build>
  bool buildFrom(File& file, Place whole, Placed<Item> list, Build const& build) {
    for (std::size_t refusals = 0; refusals < kMostRefusals; ++refusals) {
      try {
        build(std::span<Item const>(list.items));
        return refusals == 0;
      } catch (Model::SchemaError const& e) {
        if (e.item()) {
          auto const at = static_cast<std::ptrdiff_t>(*e.item());
          report(file, list.places[*e.item()], e.what());
          list.items.erase(list.items.begin() + at);
          list.places.erase(list.places.begin() + at);
        } else {
          if (refusals == 0) {
            report(file, whole, e.what());
          }
          return false;
        }
      }
    }
    return false;
  }

  // Files.

  File& addFile(std::string const& name) {
    File& file = files_.emplace_back();
    file.name = name;
    byIdentity_.emplace(identityOf(name), &file);
    return file;
  }

  void loadInto(File& file, std::string_view text) {
    loading_.push_back(&file);
    Node const root = readTree(text, [&](Place place, std::string what) { report(file, place, std::move(what)); });
    if (expect(file, root, Shape::Map, "a map with 'module' and 'types'")) {
      checkKeys(file, root, kFileKeys);
      nameModule(file, root);
      for (unsigned kind = 0; kind < static_cast<unsigned>(Model::Kind::Enum); ++kind) {
        Zyn::ZynType const type = Model::core(static_cast<Model::Kind>(kind));
        addName(file, std::string(Model::shortName(type)), type);
      }
      if (Node const* const imports = child(root, "imports")) {
        loadImports(file, *imports);
      }
      if (Node const* const types = child(root, "types");
          types != nullptr && expect(file, *types, Shape::Map, "a map of type names to types")) {
        declareTypes(file, *types);
      }
    }
    loading_.pop_back();
  }

  void nameModule(File& file, Node const& root) {
    std::string name = "Module";
    if (Node const* const node = child(root, "module"); node == nullptr) {
      report(file, root.place, "the key 'module' is missing; name the module, as in 'module: Network'");
    } else if (expect(file, *node, Shape::Text, "the name of the module")) {
      if (isPlainName(node->text)) {
        name = node->text;
        try {
          file.module = &schema_.module(name);
        } catch (Model::SchemaError const& e) {
          report(file, node->place, e.what());
        }
      } else {
        reportName(file, node->place, node->text, "module");
      }
    }
    if (file.module == nullptr) {
      file.standIn.emplace();
      file.module = &file.standIn->module(name == "Zyn" ? "Module" : name);
    }
  }

  void reportName(File& file, Place place, std::string_view name, std::string_view ofWhat) {
    report(file, place,
           fmt::format("'{}' is no name for a {}; write letters, digits and '_', not starting with a digit", name,
                       ofWhat));
  }

  static void addName(File& file, std::string const& name, Zyn::ZynType type) {
    if (file.types.insert_or_assign(name, type).second) {
      file.names.push_back(name);
    }
  }

  void loadImports(File& file, Node const& imports) {
    if (!expect(file, imports, Shape::List, "a list of files to import")) {
      file.lacksImports = true;
      return;
    }
    for (Node const& import : imports.items) {
      File const* const imported =
          expect(file, import, Shape::Text, "the name of a file") ? loadImport(file, import) : nullptr;
      if (imported == nullptr || imported->module == nullptr || imported->standIn) {
        file.lacksImports = true;
        continue;
      }
      for (Zyn::ZynType const type : imported->module->types()) {
        addName(file, fmt::format("{}.{}", imported->module->name(), Model::shortName(type)), type);
      }
      for (std::string const& name : imported->names) {
        if (imported->types.at(name).empty()) {
          addName(file, fmt::format("{}.{}", imported->module->name(), name), {});
        }
      }
    }
  }

  /** Null when the file cannot be had. */
  File const* loadImport(File& file, Node const& import) {
    std::string const path = (std::filesystem::path(file.name).parent_path() / import.text).string();
    if (auto const known = byIdentity_.find(identityOf(path)); known != byIdentity_.end()) {
      auto const open = std::ranges::find(loading_, known->second);
      if (open == loading_.end()) {
        return known->second;
      }
      std::string way;
      for (auto at = open; at != loading_.end(); ++at) {
        way += fmt::format("'{}' imports ", (*at)->name);
      }
      report(file, import.place, fmt::format("{}'{}' again; leave one of these imports out", way, (*open)->name));
      return nullptr;
    }
    if (loading_.size() == kDeepestImport) {
      report(file, import.place, fmt::format("imports nested more than {} deep; import fewer files", kDeepestImport));
      return nullptr;
    }
    // Only the file that a person names may be a pipe: one that a schema names could keep the reader waiting for ever.
    std::error_code ignored;
    bool const mayWait = std::filesystem::is_other(path, ignored);
    auto const text = mayWait ? std::unexpected<std::string>("it is no regular file") : readFile(path);
    if (!text) {
      report(file, import.place, fmt::format("cannot read '{}': {}", path, text.error()));
      return nullptr;
    }
    File& imported = addFile(path);
    loadInto(imported, *text);
    return &imported;
  }

  // Types. All names are declared first, then filled: any type may name any other.

  void declareTypes(File& file, Node const& types) {
    std::deque<Declaration> declarations;
    ByName byName;
    for (Node const& node : types.items) {
      if (!isPlainName(node.key)) {
        reportName(file, node.keyPlace, node.key, "type");
        addName(file, node.key, {});
        continue;
      }
      if (file.types.contains(node.key)) {
        report(file, node.keyPlace, fmt::format("'{}' is the name of a core type; choose another name", node.key));
        continue;
      }
      addName(file, node.key, {});
      if (std::optional<Declaration> declaration = readDeclaration(file, node)) {
        byName.emplace(node.key, &declarations.emplace_back(std::move(*declaration)));
      }
    }
    for (Declaration& declaration : declarations) {
      declareWithInner(file, declaration, byName);
    }
    for (Declaration const* const declaration : innerFirst(declarations, byName)) {
      if (Zyn::ZynType const type = file.types.at(declaration->node->key); !type.empty()) {
        fill(file, *declaration, file.module->extend(type));
      }
    }
    // An entity's collections look at other entities' attributes, and all attributes keep their order: so the types of
    // all attributes come first.
    for (Declaration& declaration : declarations) {
      if (declaration.kind == "entity") {
        readPlainAttrs(file, declaration);
      }
    }
    for (Declaration const& declaration : declarations) {
      if (declaration.kind == "entity") {
        fillEntity(file, declaration, byName);
      }
    }
  }

  /**
   * Each after those that it contains: the builder searches for circles only where a type is filled after another one
   * contains it, so it has nothing to search where there are none.
   */
  static std::vector<Declaration const*> innerFirst(std::deque<Declaration>& declarations, ByName const& byName) {
    struct Step {
      Declaration* at;
      std::span<Node const> names;
    };
    std::vector<Declaration const*> order;
    std::vector<Step> steps;
    auto const enter = [&](Declaration& declaration) {
      if (!std::exchange(declaration.ordered, true)) {
        bool const isWrapper = declaration.kind == "wraps";
        bool const contains = declaration.kind == "union" || declaration.kind == "value";
        steps.push_back({&declaration, isWrapper  ? std::span(declaration.content, 1)
                                       : contains ? std::span<Node const>(declaration.content->items)
                                                  : std::span<Node const>()});
      }
    };
    for (Declaration& first : declarations) {
      enter(first);
      while (!steps.empty()) {
        Step& step = steps.back();
        if (step.names.empty()) {
          order.push_back(step.at);
          steps.pop_back();
          continue;
        }
        auto const inner = byName.find(step.names.front().text);
        step.names = step.names.subspan(1);
        if (inner != byName.end()) {
          enter(*inner->second);
        }
      }
    }
    return order;
  }

  std::optional<Declaration> readDeclaration(File& file, Node const& node) {
    if (!expect(file, node, Shape::Map, "a map with a kind, as in '{wraps: U16}'")) {
      return std::nullopt;
    }
    checkKeys(file, node, kTypeKeys);
    Declaration declaration{.node = &node};
    bool ok = true;
    for (Node const& item : node.items) {
      if (std::ranges::find(kKinds, item.key) == kKinds.end()) {
        continue;
      }
      if (declaration.content != nullptr) {
        report(file, item.keyPlace,
               fmt::format("type '{}' is of two kinds, '{}' and '{}'; keep one", node.key, declaration.kind, item.key));
        ok = false;
      } else {
        declaration.content = &item;
        declaration.kind = item.key;
      }
    }
    if (declaration.content == nullptr) {
      report(file, node.keyPlace,
             fmt::format("type '{}' is of no kind; give it one of: {}", node.key, fmt::join(kKinds, ", ")));
      return std::nullopt;
    }
    if (declaration.kind != "value") {
      for (std::string_view const extra : kExtras) {
        if (Node const* const item = child(node, extra)) {
          report(file, item->keyPlace,
                 fmt::format("'{}' stands beside '{}'; it goes with 'value' only", extra, declaration.kind));
        }
      }
    }
    if (declaration.kind == "enum") {
      if (declaration.content->shape != Shape::List) {
        ok &= expect(file, *declaration.content, Shape::Map, "a map of names to numbers, or a list of names");
      }
    } else if (declaration.kind == "wraps") {
      ok &= expect(file, *declaration.content, Shape::Text, "the name of a type");
    } else {
      ok &= expect(file, *declaration.content, Shape::Map, "a map of names to types");
    }
    return ok ? std::optional(std::move(declaration)) : std::nullopt;
  }

  /** What a wrapper wraps is declared before it. A loop, since wrappers can wrap wrappers without end. */
  void declareWithInner(File& file, Declaration& first, ByName const& byName) {
    std::vector<Declaration*> chain;
    for (Declaration* at = &first; at != nullptr && !at->begun;) {
      at->begun = true;
      chain.push_back(at);
      auto const inner = at->kind == "wraps" ? byName.find(at->content->text) : byName.end();
      at = inner == byName.end() ? nullptr : inner->second;
      if (at == nullptr || !at->begun) {
        continue;
      }
      if (auto const again = std::ranges::find(chain, at); again != chain.end()) {
        std::string way;
        for (auto step = again; step != chain.end(); ++step) {
          way += fmt::format("'{}' wraps ", (*step)->node->key);
        }
        report(file, chain.back()->content->place,
               fmt::format("{}'{}' again; wrap another type", way, (*again)->node->key));
      }
    }
    for (auto each = chain.rbegin(); each != chain.rend(); ++each) {
      addName(file, (*each)->node->key, declare(file, **each));
    }
  }

  /** Empty when it cannot be; that has been reported. */
  Zyn::ZynType declare(File& file, Declaration const& declaration) {
    std::string const& name = declaration.node->key;
    if (declaration.kind == "enum") {
      return declareEnum(file, declaration);
    }
    if (declaration.kind == "union") {
      return file.module->unionOf(name);
    }
    if (declaration.kind == "value") {
      return file.module->value(name);
    }
    if (declaration.kind == "entity") {
      return file.module->entity(name);
    }
    Zyn::ZynType const inner = typeNamed(file, *declaration.content);
    if (inner.empty()) {
      return {};
    }
    try {
      return file.module->wrapper(name, inner);
    } catch (Model::SchemaError const& e) {
      report(file, declaration.content->place, e.what());
      return {};
    }
  }

  Zyn::ZynType declareEnum(File& file, Declaration const& declaration) {
    Placed<Model::Enumerator> enumerators;
    for (Node const& item : declaration.content->items) {
      if (declaration.content->shape == Shape::List) {
        if (expect(file, item, Shape::Text, "the name of an enumerator")) {
          enumerators.add({item.text, static_cast<std::int32_t>(&item - declaration.content->items.data())},
                          item.place);
        }
      } else if (auto const number = numberIn<std::int32_t>(file, item)) {
        enumerators.add({item.key, *number}, item.keyPlace);
      }
    }
    if (enumerators.items.empty() && !declaration.content->items.empty()) {
      return {};
    }
    Zyn::ZynType type;
    buildFrom(file, declaration.content->place, enumerators, [&](std::span<Model::Enumerator const> some) {
      type = file.module->enumeration(declaration.node->key, some);
    });
    return type;
  }

  template <typename Number>
  std::optional<Number> numberIn(File& file, Node const& node) {
    if (!expect(file, node, Shape::Text, "a whole number")) {
      return std::nullopt;
    }
    auto const number = toNumber<Number>(node.text);
    if (!number) {
      using Limits = std::numeric_limits<Number>;
      report(file, node.place,
             fmt::format("'{}' is no whole number; write one from {} to {}", node.text, Limits::min(), Limits::max()));
    }
    return number;
  }

  /** Empty when there is none; that has been reported, here or where the type is declared. */
  Zyn::ZynType typeNamed(File& file, Node const& name) {
    if (auto const found = file.types.find(name.text); found != file.types.end()) {
      return found->second;
    }
    if (!file.lacksImports || name.text.find('.') == std::string::npos) {
      report(file, name.place,
             fmt::format("no type '{}'{}", name.text,
                         ++suggested_ > kMostSuggestions ? "" : Text::didYouMean(name.text, file.names)));
    }
    return {};
  }

  /** Where an attribute's type is unknown, another one stands in: what names the attribute is right all the same. */
  Zyn::ZynType attrType(File& file, Node const& attr) {
    Zyn::ZynType const type =
        expect(file, attr, Shape::Text, "the name of a type") ? typeNamed(file, attr) : Zyn::ZynType();
    return type.empty() ? Model::core(Model::Kind::String) : type;
  }

  /** Reports what `build` refuses. */
  template <typename Build>
  bool tryBuild(File& file, Place place, Build const& build) {
    try {
      build();
      return true;
    } catch (Model::SchemaError const& e) {
      report(file, place, e.what());
      return false;
    }
  }

  void addAttr(File& file, Model::TypeBuilder builder, Node const& attr, Zyn::ZynType type) {
    if (!tryBuild(file, attr.keyPlace, [&] { builder.attr(attr.key, type); })) {
      try {
        builder.attr(attr.key, Model::core(Model::Kind::String));
      } catch (Model::SchemaError const&) {  // The name was at fault, which has been reported.
      }
    }
  }

  void fill(File& file, Declaration const& declaration, Model::TypeBuilder builder) {
    if (declaration.kind != "union" && declaration.kind != "value") {
      return;
    }
    for (Node const& attr : declaration.content->items) {
      addAttr(file, builder, attr, attrType(file, attr));
    }
    if (declaration.kind == "value") {
      fillValue(file, *declaration.node, builder);
    } else if (declaration.content->items.empty()) {
      report(file, declaration.content->place, "a union without alternatives; give it at least one");
    }
  }

  void fillValue(File& file, Node const& node, Model::TypeBuilder builder) {
    Placed<std::string_view> args;
    Node const* const argsNode = child(node, "args");
    if (argsNode != nullptr && expect(file, *argsNode, Shape::List, "a list of attribute names")) {
      for (Node const& item : argsNode->items) {
        if (expect(file, item, Shape::Text, "the name of an attribute")) {
          args.add(item.text, item.place);
        }
      }
    }
    auto const buildArgs = [&](std::span<std::string_view const> names) { builder.args(names); };

    // The arguments are checked by themselves, and once more against numbers and pattern, unless those are wrong.
    bool ok = args.items.empty() || buildFrom(file, argsNode->place, args, buildArgs);
    builder.args({});
    if (Node const* const s4 = child(node, "s4")) {
      ok &= expect(file, *s4, Shape::Map, "a map of attribute names to numbers") && fillS4(file, *s4, builder);
    }
    if (Node const* const gnmi = child(node, "gnmi")) {
      ok &= expect(file, *gnmi, Shape::Text, "a pattern such as \"{low}-{high}\"") &&
            tryBuild(file, gnmi->place, [&] { builder.gnmi(gnmi->text); });
    }
    if (ok && !args.items.empty()) {
      buildFrom(file, argsNode->place, args, buildArgs);
    }
  }

  bool fillS4(File& file, Node const& node, Model::TypeBuilder builder) {
    Placed<std::pair<std::string_view, std::uint32_t>> numbers;
    for (Node const& item : node.items) {
      if (auto const number = numberIn<std::uint32_t>(file, item)) {
        numbers.add({item.key, *number}, item.keyPlace);
      }
    }
    bool const ok = numbers.items.size() == node.items.size();
    return buildFrom(file, node.place, numbers, [&](auto some) { builder.s4(some); }) && ok;
  }

  void readPlainAttrs(File& file, Declaration& declaration) {
    for (Node const& attr : declaration.content->items) {
      if (attr.shape != Shape::Map) {
        declaration.plain.emplace(attr.key, attrType(file, attr));
      }
    }
  }

  void fillEntity(File& file, Declaration const& declaration, ByName const& byName) {
    Model::TypeBuilder builder = file.module->extend(file.types.at(declaration.node->key));
    for (Node const& attr : declaration.content->items) {
      if (attr.shape == Shape::Map) {
        addCollection(file, builder, attr, byName);
      } else {
        addAttr(file, builder, attr, declaration.plain.at(attr.key));
      }
    }
  }

  void addCollection(File& file, Model::TypeBuilder builder, Node const& node, ByName const& byName) {
    checkKeys(file, node, kCollectionKeys);
    Node const* const keyed = child(node, "keyed");
    Node const* const list = child(node, "list");
    Node const* const by = child(node, "by");
    Node const* const type = child(node, "type");
    if ((keyed == nullptr) == (list == nullptr)) {
      report(file, node.keyPlace,
             fmt::format("'{}' has {} 'keyed' {} 'list'; a collection has one of them", node.key,
                         keyed == nullptr ? "neither" : "both", keyed == nullptr ? "nor" : "and"));
      return;
    }
    if (list != nullptr) {
      for (Node const* const extra : {by, type}) {
        if (extra != nullptr) {
          report(file, extra->keyPlace,
                 fmt::format("'{}' stands beside 'list'; it goes with 'keyed' only", extra->key));
        }
      }
      if (Zyn::ZynType const entries = namedIn(file, list); !entries.empty()) {
        tryBuild(file, node.keyPlace, [&] { builder.list(node.key, entries); });
      }
      return;
    }
    if (by == nullptr && type == nullptr) {
      report(file, node.keyPlace,
             fmt::format("nothing says what the keys of '{}' are; give 'by', an attribute of the entries, or 'type'",
                         node.key));
    }
    Zyn::ZynType const entries = namedIn(file, keyed);
    Zyn::ZynType keyType = namedIn(file, type);
    bool const byIsText = by != nullptr && expect(file, *by, Shape::Text, "the name of an attribute of the entries");
    if (entries.empty() || (by == nullptr ? keyType.empty() : !byIsText) || (type != nullptr && keyType.empty())) {
      return;
    }
    if (type == nullptr) {
      auto const own = byName.find(keyed->text);
      keyType = plainAttrType(own == byName.end() ? nullptr : own->second, entries, by->text);
    }
    if (!tryBuild(file, node.keyPlace, [&] {
          builder.keyed(node.key, entries, by == nullptr ? std::nullopt : std::optional<std::string_view>(by->text),
                        keyType);
        })) {
      return;
    }
    if (keyType.empty()) {
      report(file, by->place,
             fmt::format("'{}' has no plain attribute '{}'; name one that it has, or give the key's 'type'",
                         entries.name(), by->text));
    }
  }

  /** The type that an optional text names; empty when there is none, or no such type. */
  Zyn::ZynType namedIn(File& file, Node const* node) {
    return node != nullptr && expect(file, *node, Shape::Text, "the name of a type") ? typeNamed(file, *node)
                                                                                     : Zyn::ZynType();
  }

  static Zyn::ZynType plainAttrType(Declaration const* own, Zyn::ZynType type, std::string_view name) {
    if (own != nullptr && own->kind == "entity") {
      auto const found = own->plain.find(name);
      return found == own->plain.end() ? Zyn::ZynType() : found->second;
    }
    Zyn::ZynAttr const attr = type.attr(name);
    return attr.isKeyed() || (!attr.empty() && Model::isList(attr)) ? Zyn::ZynType() : attr.attrType();
  }

  Model::Schema schema_;
  /** In the order met, which is the order of their problems; they stay where they are. */
  std::deque<File> files_;
  std::unordered_map<std::string, File*> byIdentity_;
  /** The file being loaded, after those that import it. */
  std::vector<File const*> loading_;
  std::size_t reported_ = 0;
  std::size_t suggested_ = 0;
};

}  // namespace

std::string Problem::text() const {
  return line == 0 ? fmt::format("{}: {}", file, what) : fmt::format("{}:{}:{}: {}", file, line, column, what);
}

Loaded loadFile(std::string const& path) { return Loader().load(path, std::nullopt); }

Loaded loadText(std::string_view text, std::string const& name) { return Loader().load(name, text); }

}  // namespace Yaml
