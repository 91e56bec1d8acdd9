#include "gnmi/Resolve.h"

#include <algorithm>
#include <utility>

#include "gnmi/KeyParts.h"
#include "text/Messages.h"

namespace Gnmi {
namespace {

using Drovan::ZynKeyDecoder;

constexpr std::string_view separator = "__";
constexpr std::string_view wildcard = "*";

/** Of one key. The decoder recurses for each level, and types that need each other twice over double its work. */
constexpr std::size_t mostLevels = 1000;
constexpr std::size_t mostArguments = 1'000'000;

bool takesKeys(Zyn::ZynAttr attr) { return attr.isKeyed() && !attr.keyType().empty(); }

std::vector<std::string> attributeNames(Zyn::ZynType type, bool onlyKeyed = false) {
  std::vector<std::string> names;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    if (!onlyKeyed || takesKeys(*attr)) {
      names.emplace_back((*attr).name());
    }
  }
  return names;
}

/** The attribute that holds an entry's key; empty where none is recorded. */
std::string_view internalKeyName(Zyn::ZynAttr collection) {
  char const* const name = collection.internalKeyName();
  return name == nullptr ? std::string_view() : name;
}

std::string unknownKey(std::string_view name, Zyn::ZynAttr collection) {
  return "unknown key " + Text::inQuotes(name) + " of " + Text::inQuotes(collection.name());
}

// ---- keys of several parts

/** Where the name of a key leads to. */
struct KeyTarget {
  /** Below the key type: the name without the attribute that holds the key. */
  std::string_view path;
  ZynKeyDecoder::PathElements elements;
  KeyParts::Index part = KeyParts::root;
  /** Of the part. */
  Zyn::ZynType type = {};
};

std::expected<KeyTarget, KeyError> targetOf(std::string_view name, Zyn::ZynAttr collection, KeyParts& parts) {
  KeyTarget target{.path = name, .elements = ZynKeyDecoder::splitPath(name), .type = collection.keyType()};
  std::string_view const holder = internalKeyName(collection);
  // The name may start with the attribute that holds the key. Where the key type has an attribute of that name itself,
  // what follows decides: it is the key type's as well, or not.
  if (!holder.empty() && target.elements.size() > 1 && target.elements[0] == holder &&
      (!target.type.attr(target.elements[1]).empty() || target.type.attr(holder).empty())) {
    target.path.remove_prefix(holder.size() + separator.size());
    target.elements.erase(target.elements.begin());
  }
  for (std::string_view const element : target.elements) {
    Zyn::ZynAttr const attr = target.type.attr(element);
    if (attr.empty()) {
      bool const isNested = target.elements.size() > 1;
      return std::unexpected(
          KeyError{.text = unknownKey(name, collection) +
                           (isNested ? ": no " + Text::inQuotes(element) + " in " + target.type.name() : ""),
                   .unknown = std::string(element),
                   .names = attributeNames(target.type)});
    }
    target.part = parts.add(target.part, attr);
    target.type = attr.attrType();
  }
  return target;
}

/** Adds what the keys give to `parts`. No part is given twice, neither by itself nor as a part of another. */
std::expected<std::vector<KeyTarget>, KeyError> targetsOf(std::span<Key const> keys, Zyn::ZynAttr collection,
                                                          KeyParts& parts) {
  std::vector<KeyTarget> targets;
  targets.reserve(keys.size());
  for (std::size_t i = 0; i != keys.size(); ++i) {
    auto target = targetOf(keys[i].name, collection, parts);
    if (!target) {
      target.error().key = i;
      return std::unexpected(std::move(target).error());
    }
    std::size_t const earlier = std::exchange(parts[target->part].key, i);
    if (earlier != KeyParts::none) {
      std::string const& name = keys[earlier].name;
      return std::unexpected(KeyError{.key = i,
                                      .text = "key " + Text::inQuotes(keys[i].name) + " is given twice" +
                                              (name == keys[i].name ? "" : ", first as " + Text::inQuotes(name)),
                                      .names = keyNames(collection, false)});
    }
    targets.push_back(*std::move(target));
  }
  // The decoder would take the value of the whole and ignore the part.
  for (std::size_t i = 0; i != keys.size(); ++i) {
    for (auto whole = parts[targets[i].part].parent; whole != KeyParts::none; whole = parts[whole].parent) {
      if (std::size_t const key = parts[whole].key; key != KeyParts::none) {
        return std::unexpected(KeyError{.key = i,
                                        .text = "key " + Text::inQuotes(keys[i].name) + " is a part of " +
                                                Text::inQuotes(keys[key].name) + ", which is given, too"});
      }
    }
  }
  return targets;
}

// ---- what the decoder makes of keys

KeyError refused(std::size_t key, bool ofValue, Velko::String const& text) {
  return {.key = key, .ofValue = ofValue, .text = std::string(text.view())};
}

std::expected<Selection, KeyError> selectScalar(ZynKeyDecoder const& decoder, std::span<Key const> keys) {
  Zyn::ZynAttr const collection = decoder.collectionAttr;
  std::string_view const holder = internalKeyName(collection);
  if (!holder.empty() && keys[0].name != holder) {
    return std::unexpected(KeyError{
        .text = unknownKey(keys[0].name, collection), .unknown = keys[0].name, .names = {std::string(holder)}});
  }
  if (keys.size() > 1) {
    bool const twice = keys[1].name == keys[0].name;
    return std::unexpected(KeyError{.key = 1,
                                    .text = "key " + Text::inQuotes(keys[1].name) +
                                            (twice ? " is given twice" : " is one too many: the key is one value"),
                                    .names = keyNames(collection, decoder.useS4Encoding)});
  }
  auto decoded = decoder.decodeScalarKey(collection.keyType(), keys[0].name, keys[0].value);
  if (!decoded) {
    return std::unexpected(refused(0, true, decoded.error()));
  }
  return *std::move(decoded);
}

std::expected<Selection, KeyError> selectExact(ZynKeyDecoder const& decoder, std::span<Key const> keys,
                                               std::span<KeyTarget const> targets, ShowTree const& showTree) {
  ZynKeyDecoder::KeyElemNode root(decoder.collectionAttr.keyType(), decoder.useS4Encoding);
  for (std::size_t i = 0; i != keys.size(); ++i) {
    auto const& elements = targets[i].elements;
    if (auto const done = root.insertPathSuffix(elements.begin(), elements.end(), Velko::String(keys[i].value));
        !done) {
      return std::unexpected(refused(i, Drovan::isScalarKeyType(targets[i].type, decoder.useS4Encoding), done.error()));
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

std::expected<Selection, KeyError> selectFilter(ZynKeyDecoder const& decoder, std::span<Key const> keys,
                                                std::span<KeyTarget const> targets) {
  ZynKeyDecoder::Multiple filter;
  for (std::size_t i = 0; i != keys.size(); ++i) {
    auto const& [path, elements, part, type] = targets[i];
    if (auto const done = decoder.updateFilter(filter.values, path, keys[i].value); !done) {
      bool const ofValue = elements.size() == 1 && Drovan::isScalarKeyType(type, decoder.useS4Encoding);
      return std::unexpected(refused(i, ofValue, done.error()));
    }
  }
  return filter;
}

std::expected<Selection, KeyError> selectParts(ZynKeyDecoder const& decoder, std::span<Key const> keys,
                                               ShowTree const& showTree) {
  KeyParts parts(decoder.collectionAttr.keyType(), decoder.useS4Encoding);
  auto const targets = targetsOf(keys, decoder.collectionAttr, parts);
  if (!targets) {
    return std::unexpected(targets.error());
  }
  bool const hasWildcard = std::ranges::find(keys, wildcard, &Key::value) != keys.end();
  KeyParts::Result const built = hasWildcard ? KeyParts::Result() : parts.build(mostArguments);
  if (!built.complete) {
    return selectFilter(decoder, keys, *targets);
  }
  if (built.levels > mostLevels || built.arguments > mostArguments) {
    std::string const much = built.levels > mostLevels
                                 ? "nests more than " + std::to_string(mostLevels) + " levels deep"
                                 : "takes more than " + std::to_string(mostArguments) + " arguments";
    return std::unexpected(KeyError{
        .key = keys.size(), .text = "the key of " + Text::inQuotes(decoder.collectionAttr.name()) + " " + much});
  }
  return selectExact(decoder, keys, *targets, showTree);
}

PathError inPath(KeyError error, Element const& element) {
  std::size_t const offset = error.key == element.keys.size() ? element.at
                             : error.ofValue                  ? element.keys[error.key].valueAt
                                                              : element.keys[error.key].nameAt;
  return {.offset = offset,
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
                 .names = attributeNames(Zyn::ZynType(collection.module(), collection.owner()), true)});
  }
  ZynKeyDecoder const decoder(collection, options.useS4Encoding);
  return Drovan::isScalarKeyType(collection.keyType(), options.useS4Encoding)
             ? selectScalar(decoder, keys)
             : selectParts(decoder, keys, options.showTree);
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
