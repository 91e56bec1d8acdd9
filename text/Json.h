// Texts as strings of JSON.
#pragma once

#include <string>
#include <string_view>

namespace Text {

/** Appends `text` in quotes. Bytes that are not UTF-8 become U+FFFD, one for each part of a character. */
void appendJson(std::string_view text, std::string& out);

}  // namespace Text
