// Two rules of the decoder in their plainest form, a byte and a bit at a time: what faster code is compared with.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace Plain {

/** A pair of underscores ends an element, and no underscore belongs to two pairs. The views are into `path`. */
inline std::vector<std::string_view> splitPath(std::string_view path) {
  std::vector<std::string_view> elements;
  std::size_t start = 0;
  for (std::size_t at = 0; at + 1 < path.size(); ++at) {
    if (path[at] == '_' && path[at + 1] == '_') {
      elements.push_back(path.substr(start, at - start));
      start = at + 2;
      ++at;
    }
  }
  elements.push_back(path.substr(start));
  return elements;
}

/** Six bits of each character, up to the first that is not in the alphabet; bits that make no whole byte are lost. */
inline std::string decodeBase64(std::string_view text) {
  constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string bytes;
  unsigned bits = 0;
  unsigned count = 0;
  for (char const letter : text) {
    std::size_t const digit = alphabet.find(letter);
    if (digit == std::string_view::npos) {
      break;
    }
    for (unsigned bit = 6; bit-- > 0;) {
      bits = bits << 1U | (static_cast<unsigned>(digit) >> bit & 1U);
      if (++count == 8) {
        bytes += static_cast<char>(bits & 0xFFU);
        count = 0;
      }
    }
  }
  return bytes;
}

}  // namespace Plain
