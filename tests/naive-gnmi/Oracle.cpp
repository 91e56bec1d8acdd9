#include "tests/naive-gnmi/Oracle.h"

#include <algorithm>

#include "text/Messages.h"

namespace NaiveGnmi {
namespace {

using Drovan::ZynKeyDecoder;
using Gnmi::Error;
using Gnmi::ErrorClass;
using Gnmi::Mode;
using Gnmi::NodeKind;

bool allowsWildcards(Mode mode) { return mode == Mode::Read || mode == Mode::Delete; }

/** Of an element or a key of it. */
Error placed(Error error, Path const& path, std::size_t element, Key const* key = nullptr, bool ofValue = false) {
  error.inPrefix = element < path.prefixSize;
  error.element = error.inPrefix ? element : element - path.prefixSize;
  if (path.isFromText && !error.inPrefix) {
    error.offset = key == nullptr ? path.elements[element].at : ofValue ? key->valueAt : key->nameAt;
  }
  if (key != nullptr) {
    error.key = key->name;
  }
  return error;
}

/** Of the path as a whole. */
Error placed(Error error, Path const& path) {
  error.element = path.elements.size() - path.prefixSize;
  return error;
}

std::vector<std::string> split(std::string const& name) {
  std::vector<std::string> parts = {""};
  for (std::size_t at = 0; at < name.size(); ++at) {
    if (name.compare(at, 2, "__") == 0) {
      parts.emplace_back();
      ++at;
    } else {
      parts.back() += name[at];
    }
  }
  return parts;
}

std::vector<Zyn::ZynAttr> attrsOf(Zyn::ZynType type) {
  std::vector<Zyn::ZynAttr> attrs;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    attrs.push_back(*attr);
  }
  return attrs;
}

std::vector<std::string> namesOf(Zyn::ZynType type) {
  std::vector<std::string> names;
  for (Zyn::ZynAttr const attr : attrsOf(type)) {
    names.emplace_back(attr.name());
  }
  return names;
}

std::vector<std::string> argsOf(Zyn::ZynType type) {
  std::vector<std::string> names;
  for (auto name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
    names.emplace_back(*name);
  }
  return names;
}

/** The parts of a key that are given, as a tree: what the decoder builds from, without values. */
struct Given {
  Zyn::ZynType type;
  bool isValue = false;
  std::vector<std::pair<Zyn::ZynAttr, Given>> parts = {};

  Given* find(Zyn::ZynAttr attr) {
    for (auto& [other, part] : parts) {
      if (other == attr) {
        return &part;
      }
    }
    return nullptr;
  }
};

/** A type that is being built, and how many parts were left when that began. */
using Begun = std::vector<std::pair<Zyn::ZynType, std::size_t>>;

bool isBuilt(Given& node, bool useS4Encoding);

bool isConstructed(Given& node, Zyn::ZynType type, Begun begun, bool useS4Encoding) {
  begun.emplace_back(type, node.parts.size());
  for (std::string const& name : argsOf(type)) {
    Zyn::ZynAttr const attr = node.type.attr(std::string_view(name));
    if (attr.empty()) {
      return false;
    }
    if (Given* const part = node.find(attr); part != nullptr) {
      if (!isBuilt(*part, useS4Encoding)) {
        return false;
      }
      std::erase_if(node.parts, [&](auto const& one) { return one.first == attr; });
      continue;
    }
    Zyn::ZynType const argument = attr.attrType();
    if (Drovan::isScalarKeyType(argument, useS4Encoding) ||
        std::ranges::find(begun, std::pair(argument, node.parts.size())) != begun.end() ||
        !isConstructed(node, argument, begun, useS4Encoding)) {
      return false;
    }
  }
  return true;
}

bool isBuilt(Given& node, bool useS4Encoding) {
  return node.isValue ||
         (isConstructed(node, node.type, {}, useS4Encoding) &&
          std::ranges::all_of(node.parts, [&](auto& part) { return isBuilt(part.second, useS4Encoding); }));
}

ZynKeyDecoder::PathElements elementsOf(std::vector<Zyn::ZynAttr> const& part) {
  ZynKeyDecoder::PathElements elements;
  for (Zyn::ZynAttr const attr : part) {
    elements.emplace_back(attr.name());
  }
  return elements;
}

bool startsWith(std::vector<Zyn::ZynAttr> const& part, std::vector<Zyn::ZynAttr> const& whole) {
  return part.size() > whole.size() && std::equal(whole.begin(), whole.end(), part.begin());
}

bool same(Selected const& a, Selected const& b) {
  if ((a.key == nullptr) != (b.key == nullptr) || a.filter.size() != b.filter.size()) {
    return false;
  }
  return (a.key == nullptr || Model::equal(*a.key, *b.key)) && std::ranges::all_of(a.filter, [&](auto const& one) {
           return std::ranges::any_of(b.filter, [&](auto const& other) {
             return one.first == other.first && Model::equal(*one.second, *other.second);
           });
         });
}

}  // namespace

// ---- the schema

Oracle::Attrs Oracle::nodesOf(Zyn::ZynType type) const {
  Attrs nodes = attrsOf(type);
  if (options_.facts.isHidden) {
    std::erase_if(nodes, options_.facts.isHidden);
  }
  return nodes;
}

std::string Oracle::moduleOf(Zyn::ZynAttr attr) const {
  return options_.facts.moduleOf && !attr.empty() ? std::string(options_.facts.moduleOf(attr)) : "";
}

std::string Oracle::plainName(Zyn::ZynAttr attr) const {
  std::string const name = attr.name();
  std::string const module = moduleOf(attr) + ":";
  return module != ":" && name.starts_with(module) ? name.substr(module.size()) : name;
}

NodeKind Oracle::kindOf(Zyn::ZynAttr attr) const {
  bool const isList = options_.facts.isList && options_.facts.isList(attr);
  if (attr.isKeyed()) {
    return NodeKind::List;
  }
  return attr.attrType().isValue() ? (isList ? NodeKind::LeafList : NodeKind::Leaf)
                                   : (isList ? NodeKind::List : NodeKind::Container);
}

std::optional<Error> Oracle::wrongOrigin(std::string const& origin) const {
  if (origin.ends_with("_cli")) {
    return Error{.kind = ErrorClass::UnknownOrigin,
                 .text = "origin " + Text::inQuotes(origin) + " stands for commands of a device, which name no model"};
  }
  auto const& origins = options_.facts.origins;
  if (origins.empty() || origin.empty() || origins.contains(origin)) {
    return std::nullopt;
  }
  Error error{.kind = ErrorClass::UnknownOrigin, .text = "unknown origin " + Text::inQuotes(origin), .unknown = origin};
  for (auto const& [name, modules] : origins) {
    error.names.push_back(name);
  }
  return error;
}

bool Oracle::countsAtTop(Place const& place, std::string const& module) const {
  auto const origin = options_.facts.origins.find(place.origin.empty() ? "openconfig" : place.origin);
  return !place.isTop || origin == options_.facts.origins.end() || module.empty() ||
         std::ranges::find(origin->second, module) != origin->second.end();
}

Oracle::Attrs Oracle::named(Place const& place, std::string const& name) const {
  Attrs plain;
  for (Zyn::ZynAttr const attr : nodesOf(place.type)) {
    if (plainName(attr) == name) {
      plain.push_back(attr);
    }
  }
  if (!plain.empty()) {
    // The parent's module comes first.
    for (Zyn::ZynAttr const attr : plain) {
      if (!place.isTop && !place.module.empty() && moduleOf(attr) == place.module) {
        return {attr};
      }
    }
    std::erase_if(plain, [&](Zyn::ZynAttr attr) { return !countsAtTop(place, moduleOf(attr)); });
    return plain;
  }
  std::size_t const colon = name.find(':');
  if (colon == std::string::npos) {
    return {};
  }
  for (Zyn::ZynAttr const attr : nodesOf(place.type)) {
    bool const hasModule = !options_.facts.moduleOf || moduleOf(attr) == name.substr(0, colon);
    bool const counts = place.origin.empty() || countsAtTop(place, moduleOf(attr));
    if (plainName(attr) == name.substr(colon + 1) && hasModule && counts) {
      return {attr};
    }
  }
  return {};
}

std::string Oracle::nameAt(Place const& place, Zyn::ZynAttr attr) const {
  std::string const plain = plainName(attr);
  return named(place, plain) == Attrs{attr} ? plain : moduleOf(attr) + ":" + plain;
}

Error Oracle::unknownElement(Place const& place, std::string const& name) const {
  Error error;
  if (Attrs const several = named(place, name); several.size() > 1) {
    error.kind = ErrorClass::Ambiguous;
    for (Zyn::ZynAttr const attr : several) {
      error.names.push_back(moduleOf(attr) + ":" + name);
    }
    error.text = "several modules have an element " + Text::inQuotes(name) + " here";
    return error;
  }
  error.kind = ErrorClass::UnknownNode;
  error.text = "unknown element " + Text::inQuotes(name) + " of " + place.type.name();
  error.unknown = name;
  for (Zyn::ZynAttr const attr : nodesOf(place.type)) {
    if (place.origin.empty() || countsAtTop(place, moduleOf(attr))) {
      error.names.push_back(nameAt(place, attr));
    }
  }
  return error;
}

std::vector<std::string> Oracle::keyedNames(Place const& place) const {
  std::vector<std::string> names;
  for (Zyn::ZynAttr const attr : nodesOf(place.type)) {
    if (attr.isKeyed() && !attr.keyType().empty() && (place.origin.empty() || countsAtTop(place, moduleOf(attr)))) {
      names.push_back(nameAt(place, attr));
    }
  }
  return names;
}

Oracle::Place Oracle::placeBelow(Zyn::ZynAttr attr) const {
  return {.type = attr.attrType(), .module = moduleOf(attr)};
}

// ---- keys

bool Oracle::isScalar(Zyn::ZynType type) const { return Drovan::isScalarKeyType(type, options_.useS4Encoding); }

std::vector<std::string> Oracle::keyNames(Zyn::ZynAttr attr) const {
  if (!isScalar(attr.keyType())) {
    return namesOf(attr.keyType());
  }
  char const* const name = attr.internalKeyName();
  return name == nullptr || *name == '\0' ? std::vector<std::string>() : std::vector<std::string>{name};
}

Oracle::Wrong Oracle::unknownKey(Zyn::ZynAttr attr, std::string const& name) const {
  return {.kind = ErrorClass::KeyUnknown,
          .text = "unknown key " + Text::inQuotes(name) + " of " + Text::inQuotes(attr.name()),
          .unknown = name,
          .names = keyNames(attr)};
}

Oracle::Wrong Oracle::missingKeys(Zyn::ZynAttr attr, std::vector<Attrs> const& parts) {
  // What is built from parts: the key, and what stands on the way to a given part.
  std::vector<Attrs> built = {{}};
  for (Attrs const& part : parts) {
    for (std::size_t size = 1; size < part.size(); ++size) {
      Attrs const outer(part.begin(), part.begin() + static_cast<std::ptrdiff_t>(size));
      if (std::ranges::find(built, outer) == built.end()) {
        built.push_back(outer);
      }
    }
  }
  std::vector<std::string> missing;
  for (Attrs const& outer : built) {
    Zyn::ZynType const type = outer.empty() ? attr.keyType() : outer.back().attrType();
    for (std::string const& name : argsOf(type)) {
      Attrs whole = outer;
      whole.push_back(type.attr(std::string_view(name)));
      if (std::ranges::none_of(parts, [&](Attrs const& part) { return part == whole || startsWith(part, whole); })) {
        std::string text;
        for (Zyn::ZynAttr const step : outer) {
          text += std::string(step.name()) + "__";
        }
        missing.push_back(text + name);
      }
    }
  }
  std::string const what = missing.empty() ? "every part of its key" : "key " + Text::list(missing, Text::inQuotes);
  return {.kind = ErrorClass::KeyMissing,
          .text = Text::inQuotes(attr.name()) + " needs " + what + " to name one entry"};
}

std::expected<Selected, Oracle::Wrong> Oracle::select(Zyn::ZynAttr attr, std::vector<Key> const& keys,
                                                      Mode mode) const {
  Selected every{.collection = attr};
  bool const takesKeys = attr.isKeyed() && !attr.keyType().empty();
  if (keys.empty()) {
    if (!takesKeys || mode != Mode::Write) {
      return every;
    }
    if (!isScalar(attr.keyType())) {
      return std::unexpected(missingKeys(attr, {}));
    }
    std::vector<std::string> const names = keyNames(attr);
    std::string const what = names.empty() ? "its key" : "key " + Text::inQuotes(names.front());
    return std::unexpected(Wrong{.kind = ErrorClass::KeyMissing,
                                 .text = Text::inQuotes(attr.name()) + " needs " + what + " to name one entry"});
  }
  if (!takesKeys) {
    return std::unexpected(
        Wrong{.kind = ErrorClass::KeyUnknown,
              .text = Text::inQuotes(attr.name()) + " takes no keys and is none of the keyed collections",
              .key = 0});
  }
  return isScalar(attr.keyType()) ? selectOne(attr, keys, mode) : selectParts(attr, keys, mode);
}

std::expected<Selected, Oracle::Wrong> Oracle::selectOne(Zyn::ZynAttr attr, std::vector<Key> const& keys,
                                                         Mode mode) const {
  Key const& key = keys.front();
  std::vector<std::string> const names = keyNames(attr);
  auto const isName = [&](std::string const& name) {
    if (names.empty()) {
      return false;
    }
    std::string const module = moduleOf(attr.attrType().attr(std::string_view(names.front())));
    return name == names.front() || (!module.empty() && name == module + ":" + names.front());
  };
  if (!names.empty() && !isName(key.name)) {
    Wrong wrong = unknownKey(attr, key.name);
    wrong.key = 0;
    return std::unexpected(wrong);
  }
  if (keys.size() > 1 && isName(keys[1].name)) {
    return std::unexpected(
        Wrong{.kind = ErrorClass::KeyTwice,
              .text = "key " + Text::inQuotes(keys[1].name) + " is given twice, first as " + Text::inQuotes(key.name),
              .key = 1});
  }
  if (keys.size() > 1) {
    return std::unexpected(
        Wrong{.kind = ErrorClass::KeyUnknown,
              .text = "key " + Text::inQuotes(keys[1].name) + " is one too many: the key is one value",
              .key = 1,
              .names = names});
  }
  if (key.value == "*" && !allowsWildcards(mode)) {
    return std::unexpected(Wrong{
        .kind = ErrorClass::WildcardRefused, .text = "'*' stands for every key; name one", .key = 0, .ofValue = true});
  }
  if (key.value == "*") {
    return Selected{.collection = attr};
  }
  // By a decoder of no collection, which checks no names.
  auto const decoded =
      ZynKeyDecoder(Zyn::ZynAttr(), options_.useS4Encoding).decodeScalarKey(attr.keyType(), "", key.value);
  if (!decoded) {
    return std::unexpected(Wrong{
        .kind = ErrorClass::ValueRefused, .text = std::string(decoded.error().view()), .key = 0, .ofValue = true});
  }
  return Selected{.collection = attr, .key = std::get<ZynKeyDecoder::Single>(*decoded).value};
}

std::expected<Oracle::Attrs, Oracle::Wrong> Oracle::partOf(Zyn::ZynAttr attr, std::string const& name) const {
  for (Zyn::ZynAttr const part : attrsOf(attr.keyType())) {
    if (part.name() == name) {
      return Attrs{part};
    }
  }
  for (Zyn::ZynAttr const part : attrsOf(attr.keyType())) {
    for (Zyn::ZynAttr const leaf : {part, attr.attrType().attr(part.name())}) {
      if (!moduleOf(leaf).empty() && name == moduleOf(leaf) + ":" + leaf.name()) {
        return Attrs{part};
      }
    }
  }
  return partOfPart(attr, name);
}

std::expected<Oracle::Attrs, Oracle::Wrong> Oracle::partOfPart(Zyn::ZynAttr attr, std::string const& name) const {
  std::vector<std::string> names = split(name);
  char const* const by = attr.internalKeyName();
  if (names.size() > 1 && by != nullptr && *by != '\0' && names[0] == by) {
    Zyn::ZynAttr const leaf = attr.attrType().attr(by);
    bool const isHidden = !leaf.empty() && options_.facts.isHidden && options_.facts.isHidden(leaf);
    // Where a part of the key has that name as well, what follows decides.
    bool const isPart = !attr.keyType().attr(by).empty() && attr.keyType().attr(std::string_view(names[1])).empty();
    if (!isHidden && !isPart) {
      names.erase(names.begin());
    }
  }
  Attrs path;
  Zyn::ZynType type = attr.keyType();
  for (std::string const& one : names) {
    Zyn::ZynAttr const part = type.attr(std::string_view(one));
    if (part.empty()) {
      Wrong wrong = unknownKey(attr, name);
      if (names.size() > 1) {
        wrong.text += ": no " + Text::inQuotes(one) + " in " + type.name();
        wrong.unknown = one;
        wrong.names = namesOf(type);
      }
      return std::unexpected(wrong);
    }
    path.push_back(part);
    type = part.attrType();
  }
  return path;
}

std::expected<Selected, Oracle::Wrong> Oracle::selectParts(Zyn::ZynAttr attr, std::vector<Key> const& keys,
                                                           Mode mode) const {
  std::vector<Attrs> parts;
  for (Key const& key : keys) {
    auto part = partOf(attr, key.name);
    if (!part) {
      part.error().key = parts.size();
      return std::unexpected(part.error());
    }
    parts.push_back(*part);
  }
  for (std::size_t i = 0; i != parts.size(); ++i) {
    auto const first = static_cast<std::size_t>(std::ranges::find(parts, parts[i]) - parts.begin());
    if (first != i) {
      return std::unexpected(Wrong{.kind = ErrorClass::KeyTwice,
                                   .text = "key " + Text::inQuotes(keys[i].name) + " is given twice, first as " +
                                           Text::inQuotes(keys[first].name),
                                   .key = i});
    }
  }
  for (std::size_t i = 0; i != parts.size(); ++i) {
    std::optional<std::size_t> whole;
    for (std::size_t j = 0; j != parts.size(); ++j) {
      if (startsWith(parts[i], parts[j]) && (!whole || parts[j].size() > parts[*whole].size())) {
        whole = j;
      }
    }
    if (whole) {
      return std::unexpected(Wrong{.kind = ErrorClass::KeyTwice,
                                   .text = "key " + Text::inQuotes(keys[i].name) + " is a part of " +
                                           Text::inQuotes(keys[*whole].name) + ", which is given, too",
                                   .key = i});
    }
  }
  bool hasWildcard = false;
  for (std::size_t i = 0; i != keys.size(); ++i) {
    if (keys[i].value != "*") {
      continue;
    }
    if (!allowsWildcards(mode)) {
      return std::unexpected(Wrong{.kind = ErrorClass::WildcardRefused,
                                   .text = "'*' stands for every key; name one",
                                   .key = i,
                                   .ofValue = true});
    }
    hasWildcard = true;
  }
  Given given{.type = attr.keyType()};
  for (Attrs const& part : parts) {
    Given* node = &given;
    for (Zyn::ZynAttr const step : part) {
      if (node->find(step) == nullptr) {
        node->parts.emplace_back(step, Given{.type = step.attrType()});
      }
      node = node->find(step);
    }
    node->isValue = true;
  }
  auto const refused = [](std::size_t key, bool ofValue, std::string_view text) {
    return std::unexpected(
        Wrong{.kind = ErrorClass::ValueRefused, .text = std::string(text), .key = key, .ofValue = ofValue});
  };
  if (isBuilt(given, options_.useS4Encoding) && !hasWildcard) {
    ZynKeyDecoder::KeyElemNode root(attr.keyType(), options_.useS4Encoding);
    for (std::size_t i = 0; i != keys.size(); ++i) {
      auto const elements = elementsOf(parts[i]);
      if (auto const done =
              root.insertPathSuffix(elements.begin(), elements.end(), Velko::String(std::string_view(keys[i].value)));
          !done) {
        return refused(i, isScalar(parts[i].back().attrType()), done.error().view());
      }
    }
    if (auto const done = root.instantiate(); !done) {
      return std::unexpected(Wrong{.kind = ErrorClass::ValueRefused, .text = std::string(done.error().view())});
    }
    return Selected{.collection = attr, .key = root.value};
  }
  if (mode == Mode::Write) {
    return std::unexpected(missingKeys(attr, parts));
  }
  Selected some{.collection = attr};
  for (std::size_t i = 0; i != keys.size(); ++i) {
    if (keys[i].value == "*") {
      continue;
    }
    if (parts[i].size() > 1) {
      return std::unexpected(Wrong{.kind = ErrorClass::Unsupported,
                                   .text = "Filtering nested key '" + keys[i].name + "' is not supported",
                                   .key = i});
    }
    Zyn::ZynAttr const part = parts[i].front();
    auto const decoded =
        ZynKeyDecoder(Zyn::ZynAttr(), options_.useS4Encoding).decodeScalarKey(part.attrType(), "", keys[i].value);
    if (!decoded) {
      return refused(i, isScalar(part.attrType()), decoded.error().view());
    }
    some.filter.emplace_back(part, std::get<ZynKeyDecoder::Single>(*decoded).value);
  }
  return some;
}

// ---- one path

Result<Found> Oracle::resolve(Path const& path, Mode mode) const {
  if (auto const wrong = wrongOrigin(path.origin)) {
    return std::unexpected(placed(*wrong, path));
  }
  Found found{.origin = path.origin, .node = {.attr = {}, .type = root_}, .nodes = {}, .selections = {}};
  Place place{.type = root_, .isTop = true, .origin = path.origin};
  for (std::size_t i = 0; i != path.elements.size(); ++i) {
    Element const& element = path.elements[i];
    Attrs const candidates = named(place, element.name);
    if (candidates.size() != 1) {
      bool const isWildcard = element.name == "*" || element.name == "...";
      return std::unexpected(placed(
          isWildcard ? Error{.kind = ErrorClass::WildcardRefused,
                             .text = "element " + Text::inQuotes(element.name) + " stands for many nodes; name one"}
                     : unknownElement(place, element.name),
          path, i));
    }
    Zyn::ZynAttr const attr = candidates.front();
    // A list as a whole can be written.
    bool const isWholeList = i + 1 == path.elements.size() && element.keys.empty();
    auto selected = select(attr, element.keys, isWholeList ? Mode::Read : mode);
    if (!selected) {
      Wrong& wrong = selected.error();
      if (!attr.isKeyed() || attr.keyType().empty()) {
        wrong.names = keyedNames(place);
      }
      return std::unexpected(
          placed({.kind = wrong.kind, .text = wrong.text, .unknown = wrong.unknown, .names = wrong.names}, path, i,
                 wrong.key ? &element.keys[*wrong.key] : nullptr, wrong.ofValue));
    }
    if (attr.isKeyed()) {
      selected->node = i;
      found.selections.push_back(*selected);
    }
    found.nodes.push_back(attr);
    found.node = {attr, attr.attrType(), kindOf(attr)};
    place = placeBelow(attr);
  }
  return found;
}

// ---- wildcards: every way in which the path can be read, then put in order

/** Some nodes down from the root, and how the path is read as them. */
struct Oracle::Way {
  std::size_t next = 0;
  Found found;
  Place place;
  /** Of each node its position among its siblings: what the order of nodes is. */
  std::vector<std::size_t> positions;
  /** How many nodes each "..." stands for. */
  std::vector<std::size_t> lengths;
  /** Whether the last "..." goes on, and the types that it has entered. */
  bool isInside = false;
  std::vector<Zyn::ZynType> entered;
};

/** What happens at a node of the walk, in this order. */
struct Oracle::Event {
  enum class Kind { Refused, TooDeep, Meant, Ambiguous };

  std::vector<std::size_t> positions;
  Kind kind;
  std::vector<std::size_t> lengths;
  std::optional<Error> error = {};
  Found found = {};
};

void Oracle::ways(Path const& path, Mode mode, Way const& way, std::vector<Event>& events) const {
  constexpr std::size_t most = 3000;
  if (events.size() > most) {
    throw TooMany();
  }
  if (way.positions.size() > std::min<std::size_t>(bounds_.depth, 1000)) {
    events.push_back({way.positions, Event::Kind::TooDeep, way.lengths});
    return;
  }
  bool const isEntity = !way.place.type.isValue();
  auto const add = [&](Zyn::ZynAttr attr, std::size_t position, Selected selected) {
    Way longer = way;
    if (attr.isKeyed()) {
      selected.node = way.positions.size();
      longer.found.selections.push_back(std::move(selected));
    }
    longer.found.nodes.push_back(attr);
    longer.found.node = {attr, attr.attrType(), kindOf(attr)};
    longer.place = placeBelow(attr);
    longer.positions.push_back(position);
    return longer;
  };
  // At the top those that the path's origin has.
  Attrs nodes = nodesOf(way.place.type);
  std::erase_if(
      nodes, [&](Zyn::ZynAttr attr) { return !way.place.origin.empty() && !countsAtTop(way.place, moduleOf(attr)); });
  if (way.isInside) {
    // One more node.
    for (std::size_t at = 0; at != nodes.size() && isEntity; ++at) {
      if (std::ranges::find(way.entered, nodes[at].attrType()) == way.entered.end()) {
        Way longer = add(nodes[at], at, {.collection = nodes[at]});
        longer.entered.push_back(nodes[at].attrType());
        ++longer.lengths.back();
        ways(path, mode, longer, events);
      }
    }
    // No more.
    Way ended = way;
    ended.isInside = false;
    ++ended.next;
    ways(path, mode, ended, events);
    return;
  }
  if (way.next == path.elements.size()) {
    events.push_back({way.positions, Event::Kind::Meant, way.lengths, {}, way.found});
    return;
  }
  Element const& element = path.elements[way.next];
  if (element.name == "...") {
    Way inside = way;
    inside.isInside = true;
    inside.entered.clear();
    inside.lengths.push_back(0);
    ways(path, mode, inside, events);
    return;
  }
  Attrs const candidates = element.name != "*" ? named(way.place, element.name) : isEntity ? nodes : Attrs();
  if (element.name != "*" && candidates.size() > 1) {
    events.push_back({way.positions, Event::Kind::Ambiguous, way.lengths,
                      placed(unknownElement(way.place, element.name), path, way.next)});
    return;
  }
  for (Zyn::ZynAttr const attr : candidates) {
    auto const position = static_cast<std::size_t>(std::ranges::find(nodes, attr) - nodes.begin());
    auto selected = select(attr, element.keys, mode);
    if (selected) {
      Way longer = add(attr, position, *selected);
      ++longer.next;
      ways(path, mode, longer, events);
    } else if (selected.error().kind != ErrorClass::KeyUnknown) {
      Wrong const& wrong = selected.error();
      std::vector<std::size_t> positions = way.positions;
      positions.push_back(position);
      events.push_back({positions, Event::Kind::Refused, way.lengths,
                        placed({.kind = wrong.kind, .text = wrong.text, .unknown = wrong.unknown, .names = wrong.names},
                               path, way.next, wrong.key ? &element.keys[*wrong.key] : nullptr, wrong.ofValue)});
    }
  }
}

Oracle::Expanded Oracle::expand(Path const& path, Mode mode, std::size_t most) const {
  Expanded expanded;
  auto const isWildcard = [](Element const& element) { return element.name == "*" || element.name == "..."; };
  if (!allowsWildcards(mode) || std::ranges::none_of(path.elements, isWildcard)) {
    if (auto found = resolve(path, mode)) {
      expanded.nodes.push_back(*found);
    } else {
      expanded.error = found.error();
    }
    return expanded;
  }
  expanded.error = wrongOrigin(path.origin);
  if (expanded.error) {
    expanded.error = placed(*expanded.error, path);
    return expanded;
  }
  std::size_t anyDepths = 0;
  for (std::size_t i = 0; i != path.elements.size(); ++i) {
    Element const& element = path.elements[i];
    anyDepths += element.name == "..." ? 1 : 0;
    if (element.name == "..." && !element.keys.empty()) {
      expanded.error = placed(
          {.kind = ErrorClass::KeyUnknown, .text = "'...' stands for elements with their keys, and takes none itself"},
          path, i, &element.keys.front());
      return expanded;
    }
  }
  auto const bound = [&](std::string const& text) {
    return placed({.kind = ErrorClass::BoundPassed, .text = text + ", which is the bound"}, path);
  };
  std::size_t const depth = std::min<std::size_t>(bounds_.depth, 1000);
  if (anyDepths > depth || path.elements.size() - anyDepths > depth) {
    expanded.error = bound("the path has more than " + std::to_string(depth) + " elements of a kind");
    return expanded;
  }
  Way start;
  start.found.origin = path.origin;
  start.found.node = {.attr = {}, .type = root_};
  start.place = {.type = root_, .isTop = true, .origin = path.origin};
  std::vector<Event> events;
  ways(path, mode, start, events);
  // Depth first, and each node before those below it; of the ways to one node, the one whose first "..." is shortest.
  std::ranges::sort(events, [](Event const& a, Event const& b) {
    return std::tie(a.positions, a.kind, a.lengths) < std::tie(b.positions, b.kind, b.lengths);
  });
  std::optional<Error> refused;
  std::vector<std::size_t> const* last = nullptr;
  for (Event const& event : events) {
    if (event.kind == Event::Kind::TooDeep) {
      expanded.error = bound("the path means nodes more than " + std::to_string(depth) + " elements deep");
      return expanded;
    }
    if (event.kind != Event::Kind::Meant) {
      refused = refused ? refused : event.error;
      continue;
    }
    if (last != nullptr && *last == event.positions) {
      continue;
    }
    last = &event.positions;
    if (expanded.nodes.size() == bounds_.expansions) {
      expanded.error = bound("the path means more than " + std::to_string(bounds_.expansions) + " nodes");
      return expanded;
    }
    expanded.nodes.push_back(event.found);
    if (expanded.nodes.size() == most) {
      return expanded;
    }
  }
  if (expanded.nodes.empty()) {
    expanded.error =
        refused ? *refused
                : placed({.kind = ErrorClass::UnknownNode, .text = "the path means no node of the schema"}, path);
  }
  return expanded;
}

// ---- back to paths

bool Oracle::writeParts(Zyn::GenericIf const& value, std::string const& before, std::vector<Key>& keys) const {
  for (Zyn::ZynAttr const attr : attrsOf(Model::typeOf(value))) {
    Model::ValuePtr const part = Model::attribute(value, attr);
    if (!part) {
      continue;
    }
    if (isScalar(attr.attrType())) {
      auto const text = Model::gnmiText(*part);
      if (!text) {
        return false;
      }
      keys.push_back({.name = before + attr.name(), .value = *text});
    } else if (!writeParts(*part, before + attr.name() + "__", keys)) {
      return false;
    }
  }
  return true;
}

std::optional<std::vector<Key>> Oracle::writeKeys(Selected const& selected) const {
  Zyn::ZynAttr const attr = selected.collection;
  std::vector<Key> keys;
  if (!selected.key) {
    for (auto const& [part, value] : selected.filter) {
      auto const text = Model::gnmiText(*value);
      if (!text) {
        return std::nullopt;
      }
      keys.push_back({.name = part.name(), .value = *text});
    }
  } else if (isScalar(attr.keyType())) {
    auto const text = Model::gnmiText(*selected.key);
    if (!text) {
      return std::nullopt;
    }
    auto const names = keyNames(attr);
    keys.push_back({.name = names.empty() ? "key" : names.front(), .value = *text});
  } else if (!writeParts(*selected.key, "", keys)) {
    return std::nullopt;
  }
  std::ranges::sort(keys, {}, &Key::name);
  auto const again = select(attr, keys, Mode::Read);
  return again && same(*again, selected) ? std::optional(keys) : std::nullopt;
}

Result<Path> Oracle::canonical(Found const& found) const {
  Path path{.origin = found.origin};
  Place place{.type = root_, .isTop = true, .origin = found.origin};
  for (std::size_t i = 0; i != found.nodes.size(); ++i) {
    Zyn::ZynAttr const attr = found.nodes[i];
    Element element{.name = nameAt(place, attr)};
    for (Selected const& selected : found.selections) {
      if (selected.node != i) {
        continue;
      }
      auto const keys = writeKeys(selected);
      if (!keys) {
        return std::unexpected(Error{.kind = ErrorClass::ValueRefused,
                                     .text = "a key of " + Text::inQuotes(attr.name()) +
                                             " cannot be written: no text is read as this value again",
                                     .element = i});
      }
      element.keys = *keys;
    }
    path.elements.push_back(element);
    place = placeBelow(attr);
  }
  return path;
}

Result<Path> Oracle::pathOf(std::vector<std::pair<Zyn::ZynAttr, Model::ValuePtr>> const& entries) const {
  Found found{.origin = "", .node = {}, .nodes = {}, .selections = {}};
  Zyn::ZynType type = root_;
  for (auto const& [collection, key] : entries) {
    // All ways down through so many containers, then through one more.
    std::vector<Attrs> level = {{}};
    Attrs const* way = nullptr;
    std::vector<std::vector<Attrs>> levels;
    for (std::size_t containers = 0; containers != 16 && way == nullptr; ++containers) {
      levels.push_back(level);
      level.clear();
      for (Attrs const& one : levels.back()) {
        Attrs const nodes = nodesOf(one.empty() ? type : one.back().attrType());
        if (std::ranges::find(nodes, collection) != nodes.end()) {
          way = &one;
          break;
        }
        for (Zyn::ZynAttr const attr : nodes) {
          if (kindOf(attr) == NodeKind::Container) {
            level.push_back(one);
            level.back().push_back(attr);
          }
        }
      }
      if (level.size() > 3000) {
        throw TooMany();
      }
    }
    if (way == nullptr) {
      return std::unexpected(
          Error{.kind = ErrorClass::UnknownNode,
                .text = Text::inQuotes(collection.name()) + " cannot be reached through containers alone from " +
                        (found.nodes.empty() ? "the root" : Text::inQuotes(found.nodes.back().name())),
                .element = found.nodes.size()});
    }
    found.nodes.insert(found.nodes.end(), way->begin(), way->end());
    found.selections.push_back({.node = found.nodes.size(), .collection = collection, .key = key});
    found.nodes.push_back(collection);
    type = collection.attrType();
  }
  return canonical(found);
}

}  // namespace NaiveGnmi
