// A host's string as bare as the contract allows: what the decoder's sources are compiled with once, to show that they
// use nothing of platform/Velko/String.h that is there for C++ users.
#pragma once

#include <compare>
#include <cstddef>
#include <string>
#include <string_view>
#include <utility>

namespace Velko {

class String {
 public:
  String() = default;
  explicit String(char const* text) : bytes_(text) {}
  explicit String(std::string_view text) : bytes_(text) {}
  String(char const* bytes, std::size_t length) : bytes_(bytes, length) {}

  char const* data() const noexcept { return bytes_.data(); }
  std::size_t size() const noexcept { return bytes_.size(); }
  bool empty() const noexcept { return bytes_.empty(); }
  std::string_view view() const noexcept { return bytes_; }

  friend String operator+(String&& left, std::string_view right) {
    left.bytes_.append(right);
    return std::move(left);
  }
  friend String operator+(String&& left, String const& right) { return std::move(left) + right.view(); }
  friend bool operator==(String const&, String const&) = default;
  friend std::strong_ordering operator<=>(String const&, String const&) = default;

 private:
  std::string bytes_;
};

}  // namespace Velko
