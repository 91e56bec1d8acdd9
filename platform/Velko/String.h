// The base library's string: a sequence of any bytes, with a length. NUL bytes and invalid UTF-8 are kept as they are.
//
// A String owns its bytes; views taken from it die with it or with its next change. It may be used like any value:
// one thread at a time, or read by many. The constructors and `+` throw `std::bad_alloc` when memory runs out, and
// nothing else.
//
// All of it is inline, so a provider has nothing to define here.
//
// For C++ users it streams, and turns into a `std::string` by itself. The decoder uses neither, so that a host's own
// string needs neither:
//
//   std::string error = result.error();
//   std::cerr << result.error() << '\n';
#pragma once

#if __cplusplus < 202100L
#error "C++23 is needed: compile with -std=c++23"
#endif

#include <compare>
#include <cstddef>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Velko {

class String {
 public:
  String() = default;
  /** `text` is NUL-terminated and not null. */
  explicit String(char const* text) : bytes_(text) {}
  explicit String(std::string_view text) : bytes_(text) {}
  String(char const* bytes, std::size_t length) : bytes_(bytes, length) {}

  char const* data() const noexcept { return bytes_.data(); }
  /** In bytes. */
  std::size_t size() const noexcept { return bytes_.size(); }
  bool empty() const noexcept { return bytes_.empty(); }
  std::string_view view() const noexcept { return bytes_; }

  /** Appends to a temporary, which grows geometrically: a chain of `+` is linear in the bytes appended. */
  friend String operator+(String&& left, std::string_view right) {
    left.bytes_.append(right);
    return std::move(left);
  }
  friend String operator+(String&& left, String const& right) { return std::move(left) + right.view(); }

  operator std::string() const { return bytes_; }
  template <typename Traits>
  friend std::basic_ostream<char, Traits>& operator<<(std::basic_ostream<char, Traits>& out, String const& text) {
    return out << std::basic_string_view<char, Traits>(text.data(), text.size());
  }

  friend bool operator==(String const&, String const&) = default;
  /** By unsigned bytes. */
  friend std::strong_ordering operator<=>(String const&, String const&) = default;

 private:
  std::string bytes_;
};

}  // namespace Velko
