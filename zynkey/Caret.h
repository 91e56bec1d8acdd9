// Where in a text: the text and a caret below one of its bytes.
//
//   caret("/vrf//route", 5)    "  /vrf//route\n"
//                              "       ^\n"
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace ZynKey {

/**
 * Two lines, each with its end. One byte is one column: what is no printable ASCII shows as '?'. A long text is cut to
 * what stands around the caret. `offset` may be the text's length, for what is missing at its end.
 */
std::string caret(std::string_view text, std::size_t offset);

}  // namespace ZynKey
