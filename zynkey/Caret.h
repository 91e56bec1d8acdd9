// Where in a text: the text and a caret below one of its characters.
//
//   caret("/vrf//route", 5)    "  /vrf//route\n"
//                              "       ^\n"
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ZynKey {

/**
 * Two lines, each with its end. The caret stands below the character of UTF-8 that the byte at `offset` belongs to;
 * `offset` may be the text's length, for what is missing at its end. Columns are counted as a terminal does: wide
 * characters take two, combining ones none. A control character, and a byte that is no UTF-8, show as '?'. A long text
 * is cut to what stands around the caret.
 */
std::string caret(std::string_view text, std::size_t offset);

}  // namespace ZynKey
