#include "text/Json.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace Text {

void appendJson(std::string_view text, std::string& out) {
  auto const standsForItself = [](char byte) { return ' ' <= byte && byte <= '~' && byte != '"' && byte != '\\'; };
  if (std::ranges::all_of(text, standsForItself)) {
    out.append(1, '"').append(text).append(1, '"');
  } else {
    out += nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
  }
}

}  // namespace Text
