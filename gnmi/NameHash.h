// Names as keys of hash maps. Not installed.
//
// Abseil's hash is seeded for each process, so nobody can choose names that collide. For `std::string_view` it would
// ask `std::hash`, which is not; Debian builds Abseil with a string view of its own.
#pragma once

#include <absl/hash/hash.h>
#include <absl/strings/string_view.h>

#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

namespace Gnmi {

struct NameHash {
  std::size_t operator()(std::string_view name) const noexcept {
    return absl::HashOf(absl::string_view(name.data(), name.size()));
  }
  /** A name within a type, by its index. */
  std::size_t operator()(std::pair<std::uint32_t, std::string_view> const& name) const noexcept {
    return absl::HashOf(name.first, absl::string_view(name.second.data(), name.second.size()));
  }
};

}  // namespace Gnmi
