#include "yaml/Types.h"

#include <fmt/format.h>

#include <array>
#include <charconv>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <span>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "Zyn/Zyn.h"
#include "model/Schema.h"
#include "text/Messages.h"
#include "yaml/Declarations.h"
#include "yaml/Problems.h"

namespace Yaml {
namespace {

constexpr std::size_t mostRefusals = 20;

constexpr std::array<std::string_view, 4> collectionKeys = {"keyed", "by", "type", "list"};

constexpr std::string_view pathSeparator = "__";

/** What `Model::TypeBuilder` takes a list of, with the places of the items. */
template <typename Item>
struct Placed {
  std::vector<Item> items;
  std::vector<Place> places;

  void add(Item item, Place place) {
    items.push_back(std::move(item));
    places.push_back(place);
  }
  void remove(std::size_t index) {
    items.erase(items.begin() + static_cast<std::ptrdiff_t>(index));
    places.erase(places.begin() + static_cast<std::ptrdiff_t>(index));
  }
};

/** A key of the type comes as the values of its attributes: no text stands for it as a whole. */
bool isAssembled(Zyn::ZynType type) {
  return !type.empty() && Model::kindOf(type) == Model::Kind::Value && !Model::hasMark(type, Model::Mark::GnmiString) &&
         !Model::hasMark(type, Model::Mark::S4);
}

class Builder {
 public:
  Builder(File& file, Node const& types)
      : problems_(file.problems), module_(*file.module), declarations_(file, types) {}

  /** All names are declared first, then filled: any type may name any other. */
  void build() {
    for (Declaration& first : declarations_.all()) {
      std::vector<Declaration*> const chain = declarations_.wrapperChain(first);
      for (auto each = chain.rbegin(); each != chain.rend(); ++each) {
        (*each)->type = declare(**each);
      }
    }
    for (Declaration* const declaration : declarations_.innerFirst()) {
      fill(*declaration);
    }
    // An entity's collections look at other entities' attributes, and all attributes keep their order: so the types of
    // all attributes come first.
    for (Declaration& declaration : declarations_.all()) {
      if (declaration.kind == "entity") {
        readPlainAttrs(declaration);
      }
    }
    for (Declaration const& declaration : declarations_.all()) {
      if (declaration.kind == "entity") {
        fillEntity(declaration);
      }
    }
    declarations_.markFailed();
  }

 private:
  /** Reports what `build` refuses. */
  template <typename Build>
  bool tryBuild(Place place, Build const& build) {
    try {
      build();
      return true;
    } catch (Model::SchemaError const& e) {
      problems_.add(place, e.what());
      return false;
    }
  }

  /**
   * Hands all items to `build`, and again without each that it refuses, which it reports: `list` keeps what it took.
   * False when it refused any.
   */
  template <typename Item, typename Build>
  bool buildFrom(Place whole, Placed<Item>& list, Build const& build) {
    for (std::size_t refusals = 0; refusals < mostRefusals; ++refusals) {
      try {
        build(std::span<Item const>(list.items));
        return refusals == 0;
      } catch (Model::SchemaError const& e) {
        if (e.item()) {
          problems_.add(list.places[*e.item()], e.what());
          list.remove(*e.item());
          continue;
        }
        // That nothing is left is no fault of its own.
        if (refusals == 0) {
          problems_.add(whole, e.what());
        }
        return false;
      }
    }
    return false;
  }

  /** Empty when it cannot be; that has been reported. */
  Zyn::ZynType declare(Declaration const& declaration) {
    std::string_view const name = declaration.node->key;
    if (declaration.kind == "enum") {
      return declareEnum(declaration);
    }
    if (declaration.kind == "union") {
      return module_.unionOf(name);
    }
    if (declaration.kind == "value") {
      return module_.value(name);
    }
    if (declaration.kind == "entity") {
      return module_.entity(name);
    }
    Zyn::ZynType type;
    if (Zyn::ZynType const inner = declarations_.typeNamed(*declaration.content); !inner.empty()) {
      tryBuild(declaration.content->place, [&] { type = module_.wrapper(name, inner); });
    }
    return type;
  }

  Zyn::ZynType declareEnum(Declaration const& declaration) {
    Node const& content = *declaration.content;
    Placed<Model::Enumerator> enumerators;
    std::int32_t position = 0;
    for (Node const& item : content.items) {
      if (content.shape == Shape::Map) {
        if (auto const number = numberIn<std::int32_t>(item)) {
          enumerators.add({std::string(item.key), *number}, item.keyPlace);
        }
      } else if (problems_.expect(item, Shape::Text, "the name of an enumerator")) {
        enumerators.add({std::string(item.text), position}, item.place);
      }
      ++position;
    }
    Zyn::ZynType type;
    if (content.items.empty() || !enumerators.items.empty()) {
      buildFrom(content.place, enumerators, [&](std::span<Model::Enumerator const> some) {
        type = module_.enumeration(declaration.node->key, some);
      });
    }
    return type;
  }

  template <typename Number>
  std::optional<Number> numberIn(Node const& node) {
    if (!problems_.expect(node, Shape::Text, "a whole number")) {
      return std::nullopt;
    }
    Number number{};
    char const* const end = node.text.data() + node.text.size();
    if (auto const read = std::from_chars(node.text.data(), end, number); read.ec == std::errc() && read.ptr == end) {
      return number;
    }
    using Limits = std::numeric_limits<Number>;
    problems_.add(node.place, fmt::format("{} is no whole number; write one from {} to {}", Text::inQuotes(node.text),
                                          Limits::min(), Limits::max()));
    return std::nullopt;
  }

  /** Where an attribute's type is unknown, another one stands in: what names the attribute is right all the same. */
  Zyn::ZynType attrType(Node const& attr) {
    Zyn::ZynType const type = namedIn(&attr);
    return type.empty() ? Model::core(Model::Kind::String) : type;
  }

  /** The type that an optional text names; empty when there is none, or no such type. */
  Zyn::ZynType namedIn(Node const* node) {
    return node != nullptr && problems_.expect(*node, Shape::Text, "the name of a type")
               ? declarations_.typeNamed(*node)
               : Zyn::ZynType();
  }

  void addAttr(Model::TypeBuilder builder, Node const& attr, Zyn::ZynType type) {
    if (!tryBuild(attr.keyPlace, [&] { builder.attr(attr.key, type); })) {
      try {
        builder.attr(attr.key, Model::core(Model::Kind::String));
      } catch (Model::SchemaError const&) {  // The name was at fault, which has been reported.
      }
    }
  }

  /**
   * Adds them all at once, so that the types that contain the type grow once. Where one is refused, another type stands
   * in, unless the fault is that of its name. False when so many are refused that none is added.
   */
  bool addAttrs(Model::TypeBuilder builder, Node const& content, bool areInPaths) {
    Placed<Model::Attribute> attrs;
    for (Node const& attr : content.items) {
      Zyn::ZynType const type = attrType(attr);
      attrs.add({std::string(attr.key), type}, attr.keyPlace);
      if (areInPaths) {
        checkPathElement(attr.keyPlace, attr.key, type);
      }
    }
    std::size_t refusals = 0;
    for (std::size_t replaced = attrs.items.size(); refusals < mostRefusals;) {
      try {
        builder.attrs(attrs.items);
        return true;
      } catch (Model::SchemaError const& e) {
        std::size_t const refused = *e.item();
        if (refused == replaced) {
          attrs.remove(refused);
          replaced = attrs.items.size();
        } else {
          problems_.add(attrs.places[refused], e.what());
          attrs.items[refused].type = Model::core(Model::Kind::String);
          replaced = refused;
          ++refusals;
        }
      }
    }
    return false;
  }

  /**
   * Reports a name of an element of key paths that no path can hold. A path is cut at the leftmost "__", again and
   * again: so a name with "__" in it falls apart, and one that ends in '_' loses that byte to the separator behind it,
   * where the names of the parts of its value follow.
   */
  void checkPathElement(Place place, std::string_view name, Zyn::ZynType type) {
    if (name.contains(pathSeparator)) {
      problems_.add(place, fmt::format("no key path can hold the name {}: '__' stands between the names of a path; "
                                       "choose another name",
                                       Text::inQuotes(name)));
    } else if (name.ends_with('_') && isAssembled(type)) {
      problems_.add(place, fmt::format("no key path can hold the name {} and behind it one of '{}': '___' is cut after "
                                       "its first two bytes; choose another name",
                                       Text::inQuotes(name), type.name()));
    }
  }

  void fill(Declaration const& declaration) {
    Model::TypeBuilder const builder = module_.extend(declaration.type);
    bool const isValue = declaration.kind == "value";
    bool const isFilled = addAttrs(builder, *declaration.content, isValue);
    if (isValue && isFilled) {
      fillValue(*declaration.node, builder);
    } else if (declaration.content->items.empty()) {
      problems_.add(declaration.content->place, "a union without alternatives; give it at least one");
    }
  }

  void fillValue(Node const& node, Model::TypeBuilder builder) {
    Placed<std::string_view> args;
    if (Node const* const list = child(node, "args");
        list != nullptr && problems_.expect(*list, Shape::List, "a list of attribute names")) {
      for (Node const& item : list->items) {
        if (problems_.expect(item, Shape::Text, "the name of an attribute")) {
          args.add(item.text, item.place);
        }
      }
    }
    auto const buildArgs = [&] {
      return buildFrom(node.place, args, [&](std::span<std::string_view const> names) { builder.args(names); });
    };

    // The arguments are checked by themselves, and once more against numbers and pattern, unless those are wrong.
    bool ok = buildArgs();
    builder.args({});
    if (Node const* const s4 = child(node, "s4")) {
      ok &= problems_.expect(*s4, Shape::Map, "a map of attribute names to numbers") && fillS4(*s4, builder);
    }
    if (Node const* const gnmi = child(node, "gnmi")) {
      ok &= problems_.expect(*gnmi, Shape::Text, "a pattern such as \"{low}-{high}\"") &&
            tryBuild(gnmi->place, [&] { builder.gnmi(gnmi->text); });
    }
    if (ok) {
      buildArgs();
    }
  }

  bool fillS4(Node const& node, Model::TypeBuilder builder) {
    Placed<std::pair<std::string_view, std::uint32_t>> numbers;
    bool ok = true;
    for (Node const& item : node.items) {
      if (auto const number = numberIn<std::uint32_t>(item)) {
        numbers.add({item.key, *number}, item.keyPlace);
      } else {
        ok = false;
      }
    }
    return buildFrom(node.place, numbers, [&](auto some) { builder.s4(some); }) && ok;
  }

  void readPlainAttrs(Declaration& declaration) {
    for (Node const& attr : declaration.content->items) {
      if (attr.shape != Shape::Map) {
        declaration.plain.emplace(attr.key, attrType(attr));
      }
    }
  }

  void fillEntity(Declaration const& declaration) {
    Model::TypeBuilder const builder = module_.extend(declaration.type);
    for (Node const& attr : declaration.content->items) {
      if (attr.shape == Shape::Map) {
        addCollection(builder, attr);
      } else {
        addAttr(builder, attr, declaration.plain.at(attr.key));
      }
    }
  }

  void addCollection(Model::TypeBuilder builder, Node const& node) {
    problems_.checkKeys(node, collectionKeys);
    Node const* const keyed = child(node, "keyed");
    Node const* const list = child(node, "list");
    Node const* const by = child(node, "by");
    Node const* const type = child(node, "type");
    if ((keyed == nullptr) == (list == nullptr)) {
      problems_.add(node.keyPlace,
                    fmt::format("{} has {} 'keyed' {} 'list'; a collection has one of them", Text::inQuotes(node.key),
                                keyed == nullptr ? "neither" : "both", keyed == nullptr ? "nor" : "and"));
      return;
    }
    if (list != nullptr) {
      for (Node const* const extra : {by, type}) {
        if (extra != nullptr) {
          problems_.add(extra->keyPlace,
                        fmt::format("'{}' stands beside 'list'; it goes with 'keyed' only", extra->key));
        }
      }
      if (Zyn::ZynType const entries = namedIn(list); !entries.empty()) {
        tryBuild(node.keyPlace, [&] { builder.list(node.key, entries); });
      }
      return;
    }
    if (by == nullptr && type == nullptr) {
      problems_.add(node.keyPlace, fmt::format("nothing says what the keys of {} are; give 'by', an attribute of the "
                                               "entries, or 'type'",
                                               Text::inQuotes(node.key)));
    }
    Zyn::ZynType const entries = namedIn(keyed);
    Zyn::ZynType keyType = namedIn(type);
    bool const byIsText =
        by != nullptr && problems_.expect(*by, Shape::Text, "the name of an attribute of the entries");
    if (entries.empty() || (by == nullptr ? keyType.empty() : !byIsText) || (type != nullptr && keyType.empty())) {
      return;
    }
    if (type == nullptr) {
      keyType = plainAttrType(keyed->text, entries, by->text);
    }
    if (!tryBuild(node.keyPlace, [&] {
          builder.keyed(node.key, entries, by == nullptr ? std::nullopt : std::optional(by->text), keyType);
        })) {
      return;
    }
    if (keyType.empty()) {
      problems_.add(by->place,
                    fmt::format("'{}' has no plain attribute {}; name one that it has, or give the key's 'type'",
                                entries.name(), Text::inQuotes(by->text)));
    } else if (by != nullptr && isAssembled(keyType)) {
      checkPathElement(by->place, by->text, keyType);
    }
  }

  /** Of an entity of this file, whose attributes may not have been built yet, or of any other type. */
  Zyn::ZynType plainAttrType(std::string_view typeName, Zyn::ZynType type, std::string_view name) const {
    Declaration const* const own = declarations_.own(typeName);
    if (own != nullptr && own->kind == "entity") {
      auto const found = own->plain.find(name);
      return found == own->plain.end() ? Zyn::ZynType() : found->second;
    }
    Zyn::ZynAttr const attr = type.attr(name);
    return attr.isKeyed() || (!attr.empty() && Model::isList(attr)) ? Zyn::ZynType() : attr.attrType();
  }

  Problems& problems_;
  Model::Module& module_;
  Declarations declarations_;
};

}  // namespace

void buildTypes(File& file, Node const& types) { Builder(file, types).build(); }

}  // namespace Yaml
