// IPv4 addresses and the lengths of prefixes, read from text: for model/ and yang/.
//
//   accepted   10.0.0.1      0.0.0.0      /32
//   refused    010.0.0.1     10.1         10.0.0.256     /08     /33
//
// Written out, as most addresses are IPv4 and `inet_pton` takes twice the time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace Model {

/** Four numbers up to 255, no zero in front; the first becomes the most significant byte. Changes it either way. */
inline bool readIpv4(std::string_view text, std::uint32_t& address) {
  constexpr auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
  char const* at = text.data();
  char const* const end = at + text.size();
  address = 0;
  for (std::size_t i = 0; i < 4; ++i) {
    if (i != 0) {
      if (at == end || *at != '.') {
        return false;
      }
      ++at;
    }
    if (at == end || !isDigit(*at)) {
      return false;
    }
    auto number = static_cast<unsigned>(*at++ - '0');
    for (; at != end && isDigit(*at); ++at) {
      if (number == 0 || number > 25) {
        return false;
      }
      number = number * 10 + static_cast<unsigned>(*at - '0');
    }
    if (number > 255) {
      return false;
    }
    address = address << 8U | number;
  }
  return at == end;
}

/** A decimal number up to `max`, no zero in front. */
inline bool readPrefixLength(std::string_view digits, std::size_t max, std::size_t& length) {
  if (digits.empty() || digits.size() > 3 || (digits.size() > 1 && digits.front() == '0')) {
    return false;
  }
  length = 0;
  for (char const c : digits) {
    if (c < '0' || c > '9') {
      return false;
    }
    length = length * 10 + static_cast<std::size_t>(c - '0');
  }
  return length <= max;
}

}  // namespace Model
