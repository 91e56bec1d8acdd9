#include "tests/naive/Decoder.h"

#include <algorithm>
#include <cstdint>
#include <ranges>
#include <string>

#include "KvFmt/Format.h"
#include "Velko/Assert.h"
#include "Velko/Exception.h"
#include "Velko/Pb.h"
#include "Velko/Trace.h"
#include "tests/support/Plain.h"

namespace Naive {
namespace {

template <typename... Args>
std::unexpected<Velko::String> error(char const* format, Args const&... args) {
  return std::unexpected(KvFmt::Detail::formatVelkoString(format, fmt::make_format_args(args...)));
}

template <typename... Args>
void trace(char const* className, char const* function, fmt::format_string<Args const&...> format,
           Args const&... args) {
  Velko::Platform::DebugHandler const& handle =
      *Velko::Platform::_getRawDebugHandler(Velko::String("ZynKeyDecoder"), false);
  if (handle.enabled()) {
    Velko::fmtrace(handle, 7, "Drovan/ZynKeyDecoder", function, 1, className, format, args...);
  }
}

/** What the call into the type system answers, or what it refuses with. */
template <typename Call>
Result<Value> tried(Call&& call) {
  try {
    return call();
  } catch (Velko::Exception const& refusal) {
    return std::unexpected(refusal.what());
  }
}

Result<void> set(Zyn::ZynAttr attr, Value const& object, Value const& value) {
  try {
    attr.genericIfSet(object, nullptr, value);
    return {};
  } catch (Velko::Exception const& refusal) {
    return std::unexpected(refusal.what());
  }
}

Result<Value> fromText(Zyn::ZynType type, std::string const& text) {
  return tried([&] { return type.genericIf(Velko::String(std::string_view(text)), false); });
}

void assertThat(bool holds, char const* condition, char const* function) {
  if (!holds) {
    Velko::Impl::vfmassert(condition, "Drovan/ZynKeyDecoder", function, 1, "", {});
  }
}

// ---- one text, one value

Result<Value> fromS4(Zyn::ZynType type, std::string_view value) {
  std::string const message = Plain::decodeBase64(value);
  Velko::Pb::ReadCursor cursor{.data = message.data(), .position = 0, .length = message.size()};
  try {
    return type.genericIfFromPbMessage(&cursor, false);
  } catch (Velko::Pb::PbReadException const& refusal) {
    return std::unexpected(refusal.what());
  }
}

Result<Value> createScalarKey(Zyn::ZynType type, std::string_view value, bool useS4Encoding);

Result<Value> wrapped(Zyn::ZynType type, std::string_view value, bool useS4Encoding) {
  Result<Value> const inner = createScalarKey(type.valAttr().attrType(), value, useS4Encoding);
  if (!inner) {
    return inner;
  }
  Zyn::GenericIfArgs args;
  args.emplace_back(*inner);
  return tried([&] { return type.genericIf(args, false); });
}

Result<Value> defaultZynObject(Zyn::ZynType type) {
  assertThat(type.isValue(), "zynType.isValue()", "defaultZynObject");
  return tried([&] { return type.genericIf(static_cast<void const*>(nullptr), false); });
}

Result<Value> firstAlternative(Zyn::ZynType type, std::string_view value, bool useS4Encoding) {
  Result<Value> const object = defaultZynObject(type);
  if (!object) {
    return object;
  }
  for (Zyn::AttributeQIterator alternative(type); alternative; ++alternative) {
    Result<Value> const decoded = createScalarKey((*alternative).attrType(), value, useS4Encoding);
    if (decoded) {
      Result<void> const done = set(*alternative, *object, *decoded);
      return done ? object : std::unexpected(done.error());
    }
  }
  return error("'{}' doesn't match any alternatives of Union type '{}'", value, type);
}

Result<Value> createScalarKey(Zyn::ZynType type, std::string_view value, bool useS4Encoding) {
  trace(nullptr, "createScalarKey", "Creating scalar key of type '{}'", type);
  std::string const text(value);
  if (useS4Encoding && type.hasS4Encoding() && type.valAttr().empty()) {
    return fromS4(type, value);
  }
  if (type.hasGnmiStringForm()) {
    return tried([&] { return type.genericIfFromGnmiString(Velko::String(value), false); });
  }
  if (!type.valAttr().empty()) {
    return wrapped(type, value, useS4Encoding);
  }
  if (type.isEnumType()) {
    assertThat(type.isEnumType(), "enumType.isEnumType()", "enumFromGnmiString");
    return fromText(type, "'" + text + "'");
  }
  if (type.isFundamentalString()) {
    return fromText(type, "\"" + text + "\"");
  }
  if (!type.isUnionType()) {
    return fromText(type, text);
  }
  return firstAlternative(type, value, useS4Encoding);
}

// ---- the tree

bool isScalarKeyType(Zyn::ZynType type, bool useS4Encoding) {
  return (useS4Encoding && type.hasS4Encoding() && type.isValue()) || type.isEnumType() || type.isScalarKind() ||
         !type.valAttr().empty();
}

std::vector<Child>::iterator find(Node& node, Zyn::ZynAttr attr) {
  return std::ranges::find(node.children, attr, &Child::attr);
}

/** A type that is being built on a node, and how many children the node had when that began. */
struct Entry {
  Zyn::ZynType type;
  std::size_t children;
};

/** Building the type again, with the children there were at its latest entry, would come here again and again. */
bool goesInCircles(std::vector<Entry> const& entries, Zyn::ZynType type, std::size_t children) {
  auto const latest = std::ranges::find(entries | std::views::reverse, type, &Entry::type);
  return latest != entries.rend() && latest->children == children;
}

Result<Value> construct(Node& node, Zyn::ZynType type, std::vector<Entry> entries) {
  trace("KeyElemNode", "construct", "Constructing type: '{}'", type);
  entries.push_back({type, node.children.size()});
  Zyn::GenericIfArgs args;
  for (Zyn::ArgNameQIterator name = type.empty() ? Zyn::ArgNameQIterator()
                                                 : type.module()->argNameQIterator(type.argListIndex());
       name; ++name) {
    // On the node's own type, also where an argument of an argument is looked for.
    Zyn::ZynAttr const attr = node.type.attr(*name);
    if (attr.empty()) {
      return error("Missing attribute '{}' in the key", *name);
    }
    if (auto const child = find(node, attr); child != node.children.end()) {
      if (Result<void> const done = instantiate(child->node); !done) {
        return std::unexpected(done.error());
      }
      args.emplace_back(child->node.value);
      node.children.erase(child);
      continue;
    }
    Zyn::ZynType const argType = attr.attrType();
    if (isScalarKeyType(argType, node.useS4Encoding) || goesInCircles(entries, argType, node.children.size())) {
      return error("Missing attribute '{}' in the key", attr.name());
    }
    Result<Value> const built = construct(node, argType, entries);
    if (!built) {
      return built;
    }
    args.emplace_back(*built);
  }
  return tried([&] { return type.genericIf(args, false); });
}

}  // namespace

Node::Node(Zyn::ZynType type, bool useS4Encoding) : type(type), useS4Encoding(useS4Encoding) {}

Result<Value> construct(Node& node, Zyn::ZynType type) { return construct(node, type, {}); }

Result<void> instantiate(Node& node) {
  trace("KeyElemNode", "instantiate", "KeyElem type: '{}'", node.type);
  if (node.value) {
    return {};
  }
  Result<Value> const built = construct(node, node.type);
  if (!built) {
    return std::unexpected(built.error());
  }
  node.value = *built;
  for (Child& child : node.children) {
    if (Result<void> const done = instantiate(child.node); !done) {
      return done;
    }
    if (Result<void> const done = set(child.attr, node.value, child.node.value); !done) {
      return done;
    }
  }
  return {};
}

Result<void> insertPathSuffix(Node& node, std::span<std::string_view const> path, std::string_view value) {
  trace("KeyElemNode", "insertPathSuffix", "KeyElem type: '{}'", node.type);
  if (path.empty()) {
    Result<Value> const decoded = createScalarKey(node.type, value, node.useS4Encoding);
    if (!decoded) {
      return std::unexpected(decoded.error());
    }
    node.value = *decoded;
    return {};
  }
  Zyn::ZynAttr const attr = node.type.attr(path.front());
  if (attr.empty()) {
    return error("Attribute '{}' not found on Type '{}'", path.front(), node.type);
  }
  if (auto const child = find(node, attr); child != node.children.end()) {
    return insertPathSuffix(child->node, path.subspan(1), value);
  }
  trace("KeyElemNode", "insertPathSuffix", "Inserting a new KeyElemNode '{}' under '{}'", path.front(), node.type);
  node.children.push_back({attr, Node(attr.attrType(), node.useS4Encoding)});
  if (path.size() == 1 && !isScalarKeyType(attr.attrType(), node.useS4Encoding)) {
    return error("Expecting a scalar at leaf element '{}'; found composite of type '{}'", path.front(), node.type);
  }
  return insertPathSuffix(node.children.back().node, path.subspan(1), value);
}

// ---- the decoder

Result<std::optional<Value>> decodeScalarKey(Decoder const& decoder, Zyn::ZynType type, std::string_view keyName,
                                             std::string_view value) {
  Zyn::ZynAttr const collection = decoder.collectionAttr;
  if (collection.isKeyed()) {
    char const* const internal = collection.internalKeyName();
    if (internal != nullptr && *internal != '\0') {
      Zyn::ZynAttr const key = collection.attrType().attr(internal);
      if (!key.empty() && key.name() != keyName) {
        return error("Expected key name for '{}' is '{}'; found '{}'", collection.name(), key.name(), keyName);
      }
    }
  }
  if (value == "*") {
    trace(nullptr, "decodeScalarKey", "Found a wildcard");
    return std::nullopt;
  }
  Result<Value> const decoded = createScalarKey(type, value, decoder.useS4Encoding);
  if (!decoded) {
    return std::unexpected(decoded.error());
  }
  return std::optional(*decoded);
}

Result<void> processKeyPath(Decoder const& decoder, Node& node, std::string_view keyPath, std::string_view value) {
  trace(nullptr, "processKeyPath", "Processing key path '{}', and value '{}'", keyPath, value);
  Elements const elements = Plain::splitPath(keyPath);
  std::string_view const first = elements.front();
  Zyn::ZynAttr const collection = decoder.collectionAttr;
  std::size_t skipped = 0;
  if (collection.isKeyed() && collection.internalKeyName() != nullptr) {
    Zyn::ZynAttr const key = collection.attrType().attr(collection.internalKeyName());
    if (!key.empty()) {
      if (key.name() == first) {
        skipped = 1;
      } else if (collection.attrType().attr(first).empty() || collection.keyType().attr(first).empty()) {
        return error("Expecting key path '{}' to start with the internal key name '{}'", keyPath, key.name());
      }
    }
  }
  return insertPathSuffix(node, std::span(elements).subspan(skipped), value);
}

Result<void> updateFilter(Decoder const& decoder, Filter& filter, std::string_view keyPath, std::string_view value) {
  if (value == "*") {
    return {};
  }
  trace(nullptr, "updateFilter", "Found a filter on '{}' with value '{}'", keyPath, value);
  Elements const elements = Plain::splitPath(keyPath);
  if (elements.size() > 1) {
    return error("Filtering nested key '{}' is not supported", keyPath);
  }
  Zyn::ZynType const keyType = decoder.collectionAttr.keyType();
  if (keyType.empty()) {
    return error("Attribute '{}' is not a keyed collection", decoder.collectionAttr.name());
  }
  Zyn::ZynAttr const attr = keyType.attr(elements.front());
  if (attr.empty()) {
    return error("Attribute '{}' not found on Type '{}'", elements.front(), keyType);
  }
  Result<Value> const decoded = createScalarKey(attr.attrType(), value, decoder.useS4Encoding);
  if (!decoded) {
    return std::unexpected(decoded.error());
  }
  auto const held = std::ranges::find_if(filter, [&](auto const& entry) { return entry.first == attr; });
  if (held != filter.end()) {
    held->second = *decoded;
  } else {
    filter.emplace_back(attr, *decoded);
  }
  return {};
}

}  // namespace Naive
