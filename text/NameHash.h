// A hash of names, and a map by it, that no choice of names makes slow.
//
// The standard library's hash has a fixed seed: who writes the names can choose thousands that all have one hash.
// Abseil's has a seed of its own in each process, but hands `std::string_view` to the standard library's, so it is
// given its own kind of view.
#pragma once

#include <absl/container/flat_hash_map.h>
#include <absl/hash/hash.h>
#include <absl/strings/string_view.h>

#include <cstddef>
#include <string_view>

namespace Text {

struct NameHash {
  std::size_t operator()(std::string_view name) const noexcept {
    return absl::HashOf(absl::string_view(name.data(), name.size()));
  }
};

/** The map views its names: their owner keeps them for as long as the map uses them. */
template <typename Value>
using NameMap = absl::flat_hash_map<std::string_view, Value, NameHash>;

}  // namespace Text
