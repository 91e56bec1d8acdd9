#include "gnmi/Resolve.h"

#include <algorithm>
#include <map>
#include <utility>

#include "text/Messages.h"

namespace Gnmi {
namespace {

using Drovan::ZynKeyDecoder;

constexpr std::string_view separator = "__";
constexpr std::string_view wildcard = "*";

template <typename Holds>
std::vector<std::string> attributeNames(Zyn::ZynType type, Holds holds) {
  std::vector<std::string> names;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    if (holds(*attr)) {
      names.emplace_back((*attr).name());
    }
  }
  return names;
}

std::vector<std::string> attributeNames(Zyn::ZynType type) {
  return attributeNames(type, [](Zyn::ZynAttr) { return true; });
}

bool takesKeys(Zyn::ZynAttr attr) { return attr.isKeyed() && !attr.keyType().empty(); }

/** Empty where none is recorded. */
std::string_view internalKeyName(Zyn::ZynAttr collection) {
  char const* const name = collection.internalKeyName();
  return name == nullptr ? std::string_view() : name;
}

// ---- the names of keys

/** A key's path below the key type. */
struct KeyPath {
  std::string_view text;
  ZynKeyDecoder::PathElements elements;
  /** Of the attribute that it leads to. */
  Zyn::ZynType type = {};
};

std::expected<KeyPath, KeyError> keyPathOf(Zyn::ZynAttr collection, std::string_view name) {
  KeyPath path{.text = name, .elements = ZynKeyDecoder::splitPath(name)};
  std::string_view const prefix = internalKeyName(collection);
  // A name that can be read in both ways is read as the decoder does: the attribute that holds the key comes first.
  if (!prefix.empty() && path.elements.size() > 1 && path.elements[0] == prefix &&
      (!collection.keyType().attr(path.elements[1]).empty() || collection.keyType().attr(prefix).empty())) {
    path.text.remove_prefix(prefix.size() + separator.size());
    path.elements.erase(path.elements.begin());
  }
  path.type = collection.keyType();
  for (std::string_view const element : path.elements) {
    Zyn::ZynAttr const attr = path.type.attr(element);
    if (attr.empty()) {
      return std::unexpected(KeyError{
          .text = "unknown key " + Text::inQuotes(name) + " of " + Text::inQuotes(collection.name()) +
                  (path.elements.size() > 1 ? ": no " + Text::inQuotes(element) + " in " + path.type.name() : ""),
          .unknown = std::string(element),
          .names = attributeNames(path.type)});
    }
    path.type = attr.attrType();
  }
  return path;
}

std::expected<std::vector<KeyPath>, KeyError> keyPathsOf(Zyn::ZynAttr collection, std::span<Key const> keys) {
  std::vector<KeyPath> paths;
  // Ordered, and not by hash: nobody can make it slow.
  std::map<std::string_view, std::string_view> given;
  for (Key const& key : keys) {
    auto path = keyPathOf(collection, key.name);
    if (!path) {
      path.error().key = paths.size();
      return std::unexpected(std::move(path).error());
    }
    auto const [first, isNew] = given.emplace(path->text, key.name);
    if (!isNew) {
      return std::unexpected(
          KeyError{.key = paths.size(),
                   .text = "key " + Text::inQuotes(key.name) + " is given twice" +
                           (first->second == key.name ? "" : ", first as " + Text::inQuotes(first->second)),
                   .names = keyNames(collection, false)});
    }
    paths.push_back(*std::move(path));
  }
  // The decoder would take the value of the whole, and say nothing of the part.
  for (std::size_t i = 0; i != paths.size(); ++i) {
    auto const& [text, elements, type] = paths[i];
    for (std::string_view const element : std::span(elements).first(elements.size() - 1)) {
      auto const end = static_cast<std::size_t>(element.data() + element.size() - text.data());
      if (auto const whole = given.find(text.substr(0, end)); whole != given.end()) {
        return std::unexpected(KeyError{.key = i,
                                        .text = "key " + Text::inQuotes(keys[i].name) + " is a part of " +
                                                Text::inQuotes(whole->second) + ", which is given, too"});
      }
    }
  }
  return paths;
}

// ---- is a key whole?

using Rest = std::span<std::string_view const>;

struct Building {
  Zyn::ZynType type;
  Building const* outer;
};

/**
 * Whether the paths `below` a node of type `node` have every part that `type` is built from. As in the decoder, what is
 * itself built from parts may have them below its own name, or directly on the node.
 */
bool isWhole(Zyn::ZynType node, Zyn::ZynType type, std::span<Rest const> below, bool useS4Encoding,
             Building const* outer) {
  for (Building const* building = outer; building != nullptr; building = building->outer) {
    if (building->type == type) {
      return false;
    }
  }
  Building const building{type, outer};
  for (auto name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
    Zyn::ZynAttr const attr = node.attr(*name);
    std::vector<Rest> inside;
    for (Rest const rest : below) {
      if (rest.front() == *name) {
        inside.push_back(rest.subspan(1));
      }
    }
    if (std::ranges::any_of(inside, [](Rest rest) { return rest.empty(); })) {
      continue;
    }
    Zyn::ZynType const argType = attr.attrType();
    bool const whole = !inside.empty() ? isWhole(argType, argType, inside, useS4Encoding, nullptr)
                                       : !argType.empty() && !Drovan::isScalarKeyType(argType, useS4Encoding) &&
                                             isWhole(node, argType, below, useS4Encoding, &building);
    if (!whole) {
      return false;
    }
  }
  return true;
}

// ---- one key, a filter

KeyError refused(std::size_t key, bool ofValue, Velko::String const& text) {
  return {.key = key, .ofValue = ofValue, .text = std::string(text.view())};
}

std::expected<Selection, KeyError> selectOne(ZynKeyDecoder const& decoder, std::span<Key const> keys) {
  std::string_view const name = internalKeyName(decoder.collectionAttr);
  if (!name.empty() && keys[0].name != name) {
    return std::unexpected(KeyError{
        .text = "unknown key " + Text::inQuotes(keys[0].name) + " of " + Text::inQuotes(decoder.collectionAttr.name()),
        .unknown = keys[0].name,
        .names = {std::string(name)}});
  }
  if (keys.size() > 1) {
    bool const twice = keys[1].name == keys[0].name;
    return std::unexpected(KeyError{.key = 1,
                                    .text = "key " + Text::inQuotes(keys[1].name) +
                                            (twice ? " is given twice" : " is one too many: the key is one value"),
                                    .names = keyNames(decoder.collectionAttr, decoder.useS4Encoding)});
  }
  auto decoded = decoder.decodeScalarKey(decoder.collectionAttr.keyType(), keys[0].name, keys[0].value);
  if (!decoded) {
    return std::unexpected(refused(0, true, decoded.error()));
  }
  return *std::move(decoded);
}

std::expected<Selection, KeyError> selectWhole(ZynKeyDecoder const& decoder, std::span<Key const> keys,
                                               std::span<KeyPath const> paths, ShowTree const& showTree) {
  std::string prefix(internalKeyName(decoder.collectionAttr));
  // The decoder knows the prefix where the entries have such an attribute, and takes paths as they are elsewhere.
  bool const hasPrefix = !decoder.collectionAttr.attrType().attr(std::string_view(prefix)).empty();
  prefix = hasPrefix ? prefix.append(separator) : "";
  ZynKeyDecoder::KeyElemNode root(decoder.collectionAttr.keyType(), decoder.useS4Encoding);
  for (std::size_t i = 0; i != keys.size(); ++i) {
    if (auto const done = decoder.processKeyPath(root, prefix + std::string(paths[i].text), keys[i].value); !done) {
      return std::unexpected(refused(i, Drovan::isScalarKeyType(paths[i].type, decoder.useS4Encoding), done.error()));
    }
  }
  if (showTree) {
    showTree(root);
  }
  if (auto const done = root.instantiate(); !done) {
    return std::unexpected(refused(keys.size(), false, done.error()));
  }
  return ZynKeyDecoder::Single{root.value};
}

std::expected<Selection, KeyError> selectSome(ZynKeyDecoder const& decoder, std::span<Key const> keys,
                                              std::span<KeyPath const> paths) {
  ZynKeyDecoder::Multiple some;
  for (std::size_t i = 0; i != keys.size(); ++i) {
    bool const ofValue = paths[i].elements.size() == 1 && Drovan::isScalarKeyType(paths[i].type, decoder.useS4Encoding);
    if (auto const done = decoder.updateFilter(some.values, paths[i].text, keys[i].value); !done) {
      return std::unexpected(refused(i, ofValue, done.error()));
    }
  }
  return some;
}

PathError inPath(KeyError error, Element const& element) {
  std::size_t const at = error.key == element.keys.size() ? element.at
                         : error.ofValue                  ? element.keys[error.key].valueAt
                                                          : element.keys[error.key].nameAt;
  return {.offset = at,
          .text = std::move(error.text),
          .unknown = std::move(error.unknown),
          .names = std::move(error.names)};
}

}  // namespace

std::expected<Selection, KeyError> select(Zyn::ZynAttr collection, std::span<Key const> keys, Options const& options) {
  if (keys.empty()) {
    return ZynKeyDecoder::Multiple{};
  }
  if (!takesKeys(collection)) {
    return std::unexpected(
        KeyError{.text = Text::inQuotes(collection.name()) + " takes no keys and is none of the keyed collections",
                 .names = attributeNames(Zyn::ZynType(collection.module(), collection.owner()), takesKeys)});
  }
  ZynKeyDecoder const decoder(collection, options.useS4Encoding);
  Zyn::ZynType const keyType = collection.keyType();
  if (Drovan::isScalarKeyType(keyType, options.useS4Encoding)) {
    return selectOne(decoder, keys);
  }
  auto const paths = keyPathsOf(collection, keys);
  if (!paths) {
    return std::unexpected(paths.error());
  }
  bool const open = std::ranges::find(keys, wildcard, &Key::value) != keys.end();
  std::vector<Rest> below;
  for (KeyPath const& path : *paths) {
    below.emplace_back(path.elements);
  }
  return !open && isWhole(keyType, keyType, below, options.useS4Encoding, nullptr)
             ? selectWhole(decoder, keys, *paths, options.showTree)
             : selectSome(decoder, keys, *paths);
}

std::vector<std::string> keyNames(Zyn::ZynAttr collection, bool useS4Encoding) {
  if (!takesKeys(collection)) {
    return {};
  }
  if (!Drovan::isScalarKeyType(collection.keyType(), useS4Encoding)) {
    return attributeNames(collection.keyType());
  }
  std::string_view const name = internalKeyName(collection);
  return name.empty() ? std::vector<std::string>() : std::vector{std::string(name)};
}

Zyn::ZynAttr findElement(Zyn::ZynType type, std::string_view name, Options const& options) {
  if (Zyn::ZynAttr const whole = type.attr(name); !whole.empty()) {
    return whole;
  }
  std::size_t const colon = name.find(':');
  if (colon == std::string_view::npos) {
    return {};
  }
  Zyn::ZynAttr const attr = type.attr(name.substr(colon + 1));
  bool const known = !attr.empty() && (!options.moduleOf || options.moduleOf(attr) == name.substr(0, colon));
  return known ? attr : Zyn::ZynAttr();
}

std::expected<std::vector<Resolved>, PathError> resolve(Zyn::ZynType root, Path const& path, Options const& options) {
  std::vector<Resolved> found;
  Zyn::ZynType type = root;
  for (std::size_t i = 0; i != path.elements.size(); ++i) {
    Element const& element = path.elements[i];
    Zyn::ZynAttr const attr = findElement(type, element.name, options);
    if (attr.empty()) {
      return std::unexpected(PathError{.offset = element.at,
                                       .text = "unknown element " + Text::inQuotes(element.name) + " of " + type.name(),
                                       .unknown = element.name,
                                       .names = attributeNames(type)});
    }
    auto selection = select(attr, element.keys, options);
    if (!selection) {
      return std::unexpected(inPath(std::move(selection).error(), element));
    }
    if (attr.isKeyed()) {
      found.push_back({i, attr, *std::move(selection)});
    }
    type = attr.attrType();
  }
  return found;
}

std::expected<std::vector<Resolved>, PathError> resolve(Zyn::ZynType root, std::string_view path,
                                                        Options const& options) {
  auto const parsed = parsePath(path);
  return parsed ? resolve(root, *parsed, options)
                : std::expected<std::vector<Resolved>, PathError>(std::unexpected(parsed.error()));
}

}  // namespace Gnmi
