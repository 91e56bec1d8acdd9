#include "Drovan/ZynKeyDecoder.h"

#include <alloca.h>
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <boost/beast/core/detail/base64.hpp>
#include <cstddef>
#include <iterator>
#include <type_traits>

#include "Velko/Assert.h"
#include "Velko/Exception.h"
#include "Velko/Pb.h"
#include "Velko/Trace.h"

namespace Drovan {
namespace {

using Done = KvStd::Expected<void, Velko::String>;
using Value = KvStd::Expected<Velko::Ptr<Zyn::GenericIf>, Velko::String>;
using KeyElemNode = ZynKeyDecoder::KeyElemNode;

constexpr char const* sourceFile = "Drovan/ZynKeyDecoder";
constexpr unsigned short traceLevel = 7;
constexpr std::string_view separator = "__";
constexpr std::string_view wildcard = "*";
/** Elements of a path that need no second block; counting them first costs more than it saves. */
constexpr std::size_t usualDepth = 4;

/** Inline wherever a trace may be: while there is none, a look at the flag is all that it costs. */
[[gnu::always_inline]] inline Velko::Platform::DebugHandler const& traceHandle() noexcept {
  static Velko::Platform::DebugHandler const* const handle =
      Velko::Platform::_getRawDebugHandler(Velko::String("ZynKeyDecoder"), false);
  return *handle;
}

// A macro, for the function's name and line; nothing is formatted unless the handle is enabled.
#define TRACE(handle, className, ...)                                                             \
  do {                                                                                            \
    if ((handle).enabled()) [[unlikely]] {                                                        \
      Velko::fmtrace(handle, traceLevel, sourceFile, __func__, __LINE__, className, __VA_ARGS__); \
    }                                                                                             \
  } while (false)

template <typename... Args>
KvStd::Unexpected<Velko::String> error(fmt::format_string<Args const&...> format, Args const&... args) {
  return KvStd::Unexpected(KvFmt::Detail::formatVelkoString(format, fmt::make_format_args(args...)));
}

/** Whether anybody will read why something failed: nobody does while a union has further alternatives to try. */
enum class Reason : bool { Unread, Read };

/**
 * What `call` returns, or the text of the `Exception` that it throws; no other exception is caught. A small function of
 * its own, with nothing to clean up in it: so an exception, which every failed alternative of a union costs, finds its
 * way without a stop.
 */
template <typename Exception = Velko::Exception, typename Call>
[[gnu::noinline]] auto textOf(Call const& call, Reason reason = Reason::Read)
    -> KvStd::Expected<decltype(call()), Velko::String> {
  try {
    if constexpr (std::is_void_v<decltype(call())>) {
      call();
      return {};
    } else {
      return call();
    }
  } catch (Exception const& exception) {
    return KvStd::Unexpected(reason == Reason::Read ? exception.what() : Velko::String());
  }
}

/**
 * As `path.find(separator)`, without a call for each of the short names that paths are made of. Looks at the second
 * character of a place first: where that is no underscore, neither this place nor the next one is a separator.
 */
std::size_t findSeparator(std::string_view path) {
  for (std::size_t at = 0; at + 1 < path.size();) {
    if (path[at + 1] != separator.back()) {
      at += separator.size();
    } else if (path[at] == separator.front()) {
      return at;
    } else {
      ++at;
    }
  }
  return std::string_view::npos;
}

// ---- one text to one value

/** A short text gets its quotes on the stack, so that one string is made, which need not grow. */
Velko::String quoted(char quote, std::string_view value) {
  constexpr std::size_t shortLength = 62;
  if (value.size() > shortLength) {
    std::string_view const oneQuote(&quote, 1);
    return Velko::String(oneQuote) + value + oneQuote;
  }
  std::array<char, shortLength + 2> buffer;
  buffer[0] = quote;
  std::copy(value.begin(), value.end(), buffer.begin() + 1);
  buffer[value.size() + 1] = quote;
  return {buffer.data(), value.size() + 2};
}

/** A long text is decoded in slices, so that no value can exhaust the stack. Whole groups of four characters. */
constexpr std::size_t sliceLength = 4096;

/** Three bytes for each group of four, two more for a group that is cut short, rounded up to 16. */
constexpr std::size_t scratchSize(std::size_t length) {
  constexpr std::size_t alignment = 16;
  return (length / 4 * 3 + 2 + alignment - 1) / alignment * alignment;
}

/**
 * The bytes of a base64 text up to its end, or to the first character that is not in the alphabet; padding is none. A
 * function of its own, so that the scratch buffer is gone when the bytes are used.
 */
Velko::String decodeBase64(std::string_view text) {
  void* const scratch = alloca(scratchSize(std::min(text.size(), sliceLength)));
  Velko::String bytes;
  for (;;) {
    std::string_view const slice = text.substr(0, sliceLength);
    auto const [written, read] = boost::beast::detail::base64::decode(scratch, slice.data(), slice.size());
    bytes = std::move(bytes) + std::string_view(static_cast<char const*>(scratch), written);
    text.remove_prefix(slice.size());
    if (read < slice.size() || text.empty()) {
      return bytes;
    }
  }
}

Value createS4SyncKey(Zyn::ZynType const& type, std::string_view value, Reason reason) noexcept {
  Velko::String const message = decodeBase64(value);
  Velko::Pb::ReadCursor cursor{message.data(), 0, message.size()};
  Value read = textOf<Velko::Pb::PbReadException>([&] { return type.genericIfFromPbMessage(&cursor, false); }, reason);
  if (read && !*read) {
    Velko::Impl::vfmassert(traceHandle(), "value", sourceFile, __func__, __LINE__,
                           "Unexpectedly failed to decode an s4 encoded value", {});
  }
  return read;
}

Value enumFromGnmiString(Zyn::ZynType const& enumType, std::string_view value, Reason reason) noexcept {
  if (!enumType.isEnumType()) {
    Velko::Impl::vfmassert("enumType.isEnumType()", sourceFile, __func__, __LINE__, "", {});
  }
  Velko::String const literal = quoted('\'', value);
  return textOf([&] { return enumType.genericIf(literal, false); }, reason);
}

Value defaultZynObject(Zyn::ZynType const& zynType, Reason reason) noexcept {
  if (!zynType.isValue()) {
    Velko::Impl::vfmassert("zynType.isValue()", sourceFile, __func__, __LINE__, "", {});
  }
  return textOf([&] { return zynType.genericIf(static_cast<void const*>(nullptr), false); }, reason);
}

// The text of a value: a view, or a string that a caller already has, which goes on to the type system uncopied.

std::string_view viewOf(std::string_view text) { return text; }
std::string_view viewOf(Velko::String const& text) { return text.view(); }
Velko::String stringOf(std::string_view text) { return Velko::String(text); }
Velko::String const& stringOf(Velko::String const& text) { return text; }

template <typename Text>
Value createScalarKey(Zyn::ZynType const& type, Text const& value, bool useS4Encoding,
                      Reason reason = Reason::Read) noexcept;

/** The value goes in as it is, as the wrapper's one constructor argument. */
template <typename Text>
Value createWrapper(Zyn::ZynType const& type, Zyn::ZynType const& inner, Text const& value, bool useS4Encoding,
                    Reason reason) {
  Value wrapped = createScalarKey(inner, value, useS4Encoding, reason);
  if (!wrapped) {
    return wrapped;
  }
  Zyn::GenericIfArgs args;
  args.push_back(*std::move(wrapped));
  return textOf([&] { return type.genericIf(args, false); }, reason);
}

/** The first alternative that decodes wins, also when the union then rejects it. */
template <typename Text>
Value createUnion(Zyn::ZynType const& type, Text const& value, bool useS4Encoding, Reason reason) {
  Value object = defaultZynObject(type, reason);
  if (!object) {
    return object;
  }
  for (Zyn::AttributeQIterator alternative(type); alternative; ++alternative) {
    Value decoded = createScalarKey((*alternative).attrType(), value, useS4Encoding, Reason::Unread);
    if (!decoded) {
      continue;
    }
    Velko::Ptr<Zyn::GenericIf const> const held = *std::move(decoded);
    Velko::Ptr<Zyn::GenericIf const> const noKey;
    Done const set = textOf([&] { (*alternative).genericIfSet(*object, noKey, held); }, reason);
    return set ? std::move(object) : Value(KvStd::Unexpected(set.error()));
  }
  if (reason == Reason::Unread) {
    return KvStd::Unexpected(Velko::String());
  }
  return error("'{}' doesn't match any alternatives of Union type '{}'", value, type);
}

/** Turns one text into a value of `type`: the type's kind decides how the text reaches the type system. */
template <typename Text>
Value createScalarKey(Zyn::ZynType const& type, Text const& value, bool useS4Encoding, Reason reason) noexcept {
  TRACE(traceHandle(), nullptr, "Creating scalar key of type '{}'", type);
  if (useS4Encoding && type.hasS4Encoding() && type.valAttr().empty()) {
    return createS4SyncKey(type, viewOf(value), reason);
  }
  if (type.hasGnmiStringForm()) {
    Velko::String const& text = stringOf(value);
    return textOf([&] { return type.genericIfFromGnmiString(text, false); }, reason);
  }
  if (Zyn::ZynAttr const valAttr = type.valAttr(); !valAttr.empty()) {
    return createWrapper(type, valAttr.attrType(), value, useS4Encoding, reason);
  }
  if (type.isEnumType()) {
    return enumFromGnmiString(type, viewOf(value), reason);
  }
  if (type.isFundamentalString()) {
    Velko::String const literal = quoted('"', viewOf(value));
    return textOf([&] { return type.genericIf(literal, false); }, reason);
  }
  if (!type.isUnionType()) {
    Velko::String const& literal = stringOf(value);
    return textOf([&] { return type.genericIf(literal, false); }, reason);
  }
  return createUnion(type, value, useS4Encoding, reason);
}

// ---- what a collection says of its keys

/**
 * The attribute of the collection's entries that holds the key; empty where the collection declares none, and then no
 * path or key name is checked against it. An empty name counts as none only for callers that say so.
 */
Zyn::ZynAttr keyAttr(Zyn::ZynAttr const& collection, bool emptyNameIsNone) {
  if (!collection.isKeyed()) {
    return {};
  }
  char const* const name = collection.internalKeyName();
  if (name == nullptr || (emptyNameIsNone && *name == '\0')) {
    return {};
  }
  return collection.attrType().attr(name);
}

/** As `text == name`, without a walk to the name's end for its length: once for every path. */
bool isNamed(std::string_view text, char const* name) {
  std::size_t same = 0;
  while (same < text.size() && text[same] == name[same] && name[same] != '\0') {
    ++same;
  }
  return same == text.size() && name[same] == '\0';
}

/** The attribute of that name; no type, no attribute. */
Zyn::ZynAttr attrOf(Zyn::ZynType const& type, std::string_view name) {
  return type.empty() ? Zyn::ZynAttr() : type.attr(name);
}

// ---- building a key from a node's children

/** A type that is being built on a node, and how many children the node had when that began; innermost first. */
struct Building {
  Zyn::ZynType type;
  std::size_t childrenAtEntry;
  Building const* outer;
};

/**
 * Whether building `type` on the node again would only repeat itself: it is being built already, and no child has been
 * used up since. Without this, arguments that lead back to each other would recurse until the stack is gone, for want
 * of one path.
 */
bool goesInCircles(KeyElemNode const& node, Zyn::ZynType type, Building const* building) {
  while (building != nullptr && building->type != type) {
    building = building->outer;
  }
  return building != nullptr && building->childrenAtEntry == node.children.size();
}

Zyn::ArgNameQIterator argNames(Zyn::ZynType const& type) {
  return type.empty() ? Zyn::ArgNameQIterator() : type.module()->argNameQIterator(type.argListIndex());
}

Value construct(KeyElemNode& node, Zyn::ZynType type, Building const* outer) {
  TRACE(traceHandle(), "KeyElemNode", "Constructing type: '{}'", type);
  Building const building{type, node.children.size(), outer};
  Zyn::GenericIfArgs args;
  for (Zyn::ArgNameQIterator name = argNames(type); name; ++name) {
    // On the node's own type, also when another type is being built on it: that is where the children come from.
    Zyn::ZynAttr const attr = node.type.attr(*name);
    if (attr.empty()) {
      return error("Missing attribute '{}' in the key", std::string_view(*name));
    }
    if (auto const child = node.children.find(attr); child != node.children.end()) {
      if (Done done = child->second.instantiate(); !done) {
        return KvStd::Unexpected(std::move(done).error());
      }
      args.push_back(std::move(child->second.value));
      node.children.erase(child);
      continue;
    }
    Zyn::ZynType const argType = attr.attrType();
    if (isScalarKeyType(argType, node.useS4Encoding) || goesInCircles(node, argType, &building)) {
      return error("Missing attribute '{}' in the key", std::string_view(attr.name()));
    }
    Value built = construct(node, argType, &building);
    if (!built) {
      return built;
    }
    args.push_back(*std::move(built));
  }
  return textOf([&] { return type.genericIf(args, false); });
}

// ---- the way down a path

/** The child of `node` for an attribute, and whether it is new. The first one brings room for as many as most keys
 * have. */
std::pair<KeyElemNode*, bool> childOf(KeyElemNode& node, Zyn::ZynAttr attr) {
  constexpr std::size_t usualChildren = 7;
  if (node.children.capacity() == 0) {
    node.children.reserve(usualChildren);
  }
  auto const [child, isNew] = node.children.try_emplace(attr, Zyn::ZynType(), node.useS4Encoding);
  if (isNew) {
    child->second.type = attr.attrType();
  }
  return {&child->second, isNew};
}

}  // namespace

// ---- the tree

ZynKeyDecoder::KeyElemNode::KeyElemNode(Zyn::ZynType type, bool useS4Encoding) noexcept
    : type(type), useS4Encoding(useS4Encoding) {}

Done ZynKeyDecoder::KeyElemNode::insertPathSuffix(PathIter begin, PathIter end, Velko::String const& value) noexcept {
  Velko::Platform::DebugHandler const& trace = traceHandle();
  KeyElemNode* node = this;
  for (;; ++begin) {
    TRACE(trace, "KeyElemNode", "KeyElem type: '{}'", node->type);
    if (begin == end) {
      break;
    }
    Zyn::ZynAttr const attr = node->type.attr(*begin);
    if (attr.empty()) {
      return error("Attribute '{}' not found on Type '{}'", *begin, node->type);
    }
    // The trace comes before the child, so only a trace needs a look beforehand; making the child looks once.
    if (trace.enabled() && !node->children.contains(attr)) {
      TRACE(trace, "KeyElemNode", "Inserting a new KeyElemNode '{}' under '{}'", *begin, node->type);
    }
    auto const [child, isNew] = childOf(*node, attr);
    if (isNew && std::next(begin) == end && !isScalarKeyType(child->type, node->useS4Encoding)) {
      // Names the composite that holds the attribute: that is where the caller's path stopped too early.
      return error("Expecting a scalar at leaf element '{}'; found composite of type '{}'", *begin, node->type);
    }
    node = child;
  }
  Value decoded = createScalarKey(node->type, value, node->useS4Encoding);
  if (!decoded) {
    return KvStd::Unexpected(std::move(decoded).error());
  }
  node->value = *std::move(decoded);
  return {};
}

Value ZynKeyDecoder::KeyElemNode::construct(Zyn::ZynType type) noexcept {
  return Drovan::construct(*this, type, nullptr);
}

Done ZynKeyDecoder::KeyElemNode::instantiate() noexcept {
  TRACE(traceHandle(), "KeyElemNode", "KeyElem type: '{}'", type);
  if (value) {
    return {};
  }
  Value built = construct(type);
  if (!built) {
    return KvStd::Unexpected(std::move(built).error());
  }
  value = *std::move(built);
  Velko::Ptr<Zyn::GenericIf const> const noKey;
  for (auto& [attr, child] : children) {
    if (Done done = child.instantiate(); !done) {
      return done;
    }
    Velko::Ptr<Zyn::GenericIf const> const held = child.value;
    if (Done set = textOf([&] { attr.genericIfSet(value, noKey, held); }); !set) {
      return set;
    }
  }
  return {};
}

// ---- the decoder

ZynKeyDecoder::PathElements ZynKeyDecoder::splitPath(std::string_view path) noexcept {
  PathElements elements;
  elements.reserve(usualDepth);
  for (;;) {
    std::size_t const found = findSeparator(path);
    if (found == std::string_view::npos) {
      elements.push_back(path);
      return elements;
    }
    elements.emplace_back(path.data(), found);
    path.remove_prefix(found + separator.size());
  }
}

KvStd::Expected<std::variant<ZynKeyDecoder::Single, ZynKeyDecoder::Multiple>, Velko::String>
ZynKeyDecoder::decodeScalarKey(Zyn::ZynType type, std::string_view keyName, std::string_view value) const noexcept {
  // Asked of the collection's entries, not of `type`: the name says where the key is held, not what it is.
  if (Zyn::ZynAttr const key = keyAttr(collectionAttr, true); !key.empty() && !isNamed(keyName, key.name())) {
    return error("Expected key name for '{}' is '{}'; found '{}'", std::string_view(collectionAttr.name()),
                 std::string_view(key.name()), keyName);
  }
  if (value == wildcard) {
    TRACE(traceHandle(), nullptr, "Found a wildcard");
    return Multiple{};
  }
  Value decoded = createScalarKey(type, value, useS4Encoding);
  if (!decoded) {
    return KvStd::Unexpected(std::move(decoded).error());
  }
  return Single{*std::move(decoded)};
}

Done ZynKeyDecoder::processKeyPath(KeyElemNode& node, std::string_view keyPath, std::string_view value) const noexcept {
  TRACE(traceHandle(), nullptr, "Processing key path '{}', and value '{}'", keyPath, value);
  PathElements const elements = splitPath(keyPath);
  PathIter begin = elements.begin();
  if (Zyn::ZynAttr const key = keyAttr(collectionAttr, false); !key.empty()) {
    if (isNamed(*begin, key.name())) {
      ++begin;
    } else if (attrOf(collectionAttr.attrType(), *begin).empty() || attrOf(collectionAttr.keyType(), *begin).empty()) {
      return error("Expecting key path '{}' to start with the internal key name '{}'", keyPath,
                   std::string_view(key.name()));
    }
  }
  return node.insertPathSuffix(begin, elements.end(), Velko::String(value));
}

Done ZynKeyDecoder::updateFilter(FilterMap& filter, std::string_view keyPath, std::string_view value) const noexcept {
  if (value == wildcard) {
    return {};
  }
  TRACE(traceHandle(), nullptr, "Found a filter on '{}' with value '{}'", keyPath, value);
  PathElements const elements = splitPath(keyPath);
  if (elements.size() > 1) {
    return error("Filtering nested key '{}' is not supported", keyPath);
  }
  if (elements.empty()) {
    Velko::Impl::vfmassert(traceHandle(), "!elements.empty()", sourceFile, __func__, __LINE__, "Invalid keyPath {}",
                           fmt::make_format_args(keyPath));
  }
  Zyn::ZynType const keyType = collectionAttr.keyType();
  if (keyType.empty()) {
    return error("Attribute '{}' is not a keyed collection", std::string_view(collectionAttr.name()));
  }
  Zyn::ZynAttr const attr = keyType.attr(elements.front());
  if (attr.empty()) {
    return error("Attribute '{}' not found on Type '{}'", elements.front(), keyType);
  }
  Value decoded = createScalarKey(attr.attrType(), value, useS4Encoding);
  if (!decoded) {
    return KvStd::Unexpected(std::move(decoded).error());
  }
  filter.insert_or_assign(attr, *std::move(decoded));
  return {};
}

}  // namespace Drovan
