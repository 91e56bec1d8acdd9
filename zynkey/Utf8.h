// Texts as characters of UTF-8, for what a person sees on a terminal.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace ZynKey {

struct Character {
  char32_t code;
  std::size_t size;
};

/** The code of a byte that no character of UTF-8 begins with, or that is cut off. */
inline constexpr char32_t noCharacter = 0xFFFFFFFF;

/** What `text`, which is not empty, begins with: a character, or one byte that is none. */
inline Character firstCharacter(std::string_view text) noexcept {
  auto const lead = static_cast<unsigned char>(text.front());
  if (lead < 0x80) {
    return {lead, 1};
  }
  constexpr std::array<char32_t, 5> smallest = {0, 0, 0x80, 0x800, 0x10000};
  std::size_t const size = (lead & 0xE0) == 0xC0 ? 2 : (lead & 0xF0) == 0xE0 ? 3 : (lead & 0xF8) == 0xF0 ? 4 : 0;
  if (size == 0 || size > text.size()) {
    return {noCharacter, 1};
  }
  char32_t code = lead & (0x7FU >> size);
  for (char const byte : text.substr(1, size - 1)) {
    if ((static_cast<unsigned char>(byte) & 0xC0) != 0x80) {
      return {noCharacter, 1};
    }
    code = code << 6U | (static_cast<unsigned char>(byte) & 0x3FU);
  }
  bool const isSurrogate = 0xD800 <= code && code < 0xE000;
  return code < smallest[size] || isSurrogate || code > 0x10FFFF ? Character{noCharacter, 1} : Character{code, size};
}

}  // namespace ZynKey
