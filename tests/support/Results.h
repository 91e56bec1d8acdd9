// Results of the decoder as one readable text, and the short ways to get them, over whatever provider a test has.
#pragma once

#include <string>
#include <string_view>
#include <variant>

#include "Drovan/ZynKeyDecoder.h"

namespace Test {

using Drovan::ZynKeyDecoder;
using KeyElemNode = ZynKeyDecoder::KeyElemNode;

/** Null shows as "null". Defined where the provider is known: support/DecoderTest.h, support/Calls.h. */
inline std::string shown(Velko::Ptr<Zyn::GenericIf> const& value);

/** An error shows as "error: text". */
inline std::string shown(Velko::String const& error) { return "error: " + std::string(error.view()); }

inline std::string shown(KvStd::Expected<void, Velko::String> const& done) {
  return done ? "done" : shown(done.error());
}

inline std::string shown(KvStd::Expected<Velko::Ptr<Zyn::GenericIf>, Velko::String> const& value) {
  return value ? shown(*value) : shown(value.error());
}

/** Every key shows as "*". */
inline std::string shown(
    KvStd::Expected<std::variant<ZynKeyDecoder::Single, ZynKeyDecoder::Multiple>, Velko::String> const& key) {
  if (!key) {
    return shown(key.error());
  }
  if (auto const* const all = std::get_if<ZynKeyDecoder::Multiple>(&*key)) {
    return all->values.empty() ? "*" : "a filter";
  }
  return shown(std::get<ZynKeyDecoder::Single>(*key).value);
}

/** A path below `node`. */
inline KvStd::Expected<void, Velko::String> insert(KeyElemNode& node, std::string_view path, std::string_view value) {
  ZynKeyDecoder::PathElements const elements = ZynKeyDecoder::splitPath(path);
  return node.insertPathSuffix(elements.begin(), elements.end(), Velko::String(value));
}

/** Null where there is none. `Node` is a `KeyElemNode`, constant or not. */
template <typename Node>
Node* childOf(Node& node, std::string_view name) {
  auto const child = node.children.find(node.type.attr(name));
  return child == node.children.end() ? nullptr : &child->second;
}

}  // namespace Test
