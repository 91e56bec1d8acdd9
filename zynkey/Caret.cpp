#include "zynkey/Caret.h"

#include <algorithm>

namespace ZynKey {

std::string caret(std::string_view text, std::size_t offset) {
  constexpr std::size_t width = 72;
  constexpr std::string_view cut = "...";
  std::size_t const last = text.size() <= width ? 0 : text.size() - width;
  std::size_t const begin = std::min(offset <= width / 2 ? 0 : offset - width / 2, last);
  std::string line(begin == 0 ? "" : cut);
  std::size_t const column = line.size() + offset - begin;
  for (char const byte : text.substr(begin, width)) {
    line += ' ' <= byte && byte <= '~' ? byte : '?';
  }
  line += begin == last ? "" : cut;
  return "  " + line + "\n  " + std::string(column, ' ') + "^\n";
}

}  // namespace ZynKey
