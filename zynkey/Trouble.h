// What ends the command with status 2: wrong usage, a file that cannot be read, output that cannot be written.
#pragma once

#include <stdexcept>
#include <string>
#include <string_view>

namespace ZynKey {

/** `what()` is one line for stderr, without the command's name. */
class Trouble : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/** In single quotes, cut after 64 bytes: for messages about names, which may be of any length. */
inline std::string inQuotes(std::string_view name) {
  constexpr std::size_t shown = 64;
  std::string text = "'";
  text += name.substr(0, shown);
  text += name.size() > shown ? "...'" : "'";
  return text;
}

}  // namespace ZynKey
