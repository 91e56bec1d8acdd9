// The decoder's behaviour a second time, in the plainest way: vectors instead of maps, searching from the front, plain
// recursion, nothing done ahead or kept. It is what the real decoder is compared with, so it reads like the rules and
// shares no line with it.
//
// It runs on the same platform: results, error texts, traces and calls to the type system can be compared one by one.
// Queries are asked as often as the rules say; the real decoder may ask less often.
//
// Ownership: nodes and filters belong to the caller; values are shared. Threads: one at a time for a node or filter.
// Errors come back as texts; what the platform throws beyond its declared exceptions passes through.
//
//   accepted   processKeyPath(...)   of a path that starts with the key's name, or with one of its fields
//   refused    processKeyPath(...)   of any other path
//
// Not checked: what the real decoder does not check either.
#pragma once

#include <optional>
#include <span>
#include <string_view>
#include <utility>
#include <vector>

#include "KvStd/Expected.h"
#include "Velko/Ptr.h"
#include "Velko/String.h"
#include "Zyn/Zyn.h"

namespace Naive {

using Value = Velko::Ptr<Zyn::GenericIf>;
template <typename T>
using Result = KvStd::Expected<T, Velko::String>;
using Elements = std::vector<std::string_view>;
using Filter = std::vector<std::pair<Zyn::ZynAttr, Value>>;

struct Child;

struct Node {
  Node(Zyn::ZynType type, bool useS4Encoding);

  Zyn::ZynType type;
  bool useS4Encoding;
  Value value;
  /** Those that are left after construction are set on the value in this order. */
  std::vector<Child> children;
};

struct Child {
  Zyn::ZynAttr attr;
  Node node;
};

struct Decoder {
  Zyn::ZynAttr collectionAttr;
  bool useS4Encoding;
};

/** No value stands for every key. */
Result<std::optional<Value>> decodeScalarKey(Decoder const& decoder, Zyn::ZynType type, std::string_view keyName,
                                             std::string_view value);
Result<void> processKeyPath(Decoder const& decoder, Node& node, std::string_view keyPath, std::string_view value);
Result<void> updateFilter(Decoder const& decoder, Filter& filter, std::string_view keyPath, std::string_view value);

Result<void> insertPathSuffix(Node& node, std::span<std::string_view const> path, std::string_view value);
Result<Value> construct(Node& node, Zyn::ZynType type);
Result<void> instantiate(Node& node);

}  // namespace Naive
