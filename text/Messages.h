// Names in messages: quoted, cut where they are long, listed where they are many.
//
//   inQuotes("red")                    'red'
//   inQuotes(a name of 80 bytes)       'the first 64 bytes'...
//   list(names)                        a, b, c and 7 more
//   listNames(names)                   ; there are 'a', 'b' and 7 more
//
// Names may be hostile: any bytes, any length, any number. A result has at most 64 bytes of a name and 12 names. All
// functions may be called from any thread, copy what they return, and throw `std::bad_alloc` only. Not checked: what
// the bytes are; who prints to a terminal escapes them.
#pragma once

#include <algorithm>
#include <cstddef>
#include <functional>
#include <ranges>
#include <span>
#include <string>
#include <string_view>

namespace Text {

inline constexpr std::size_t longestShown = 64;
inline constexpr std::size_t mostShown = 12;

/** In single quotes. A name of more than 64 bytes is cut there; the dots that say so stand behind the quotes. */
inline std::string inQuotes(std::string_view name) {
  std::string text = "'";
  text += name.substr(0, longestShown);
  text += name.size() > longestShown ? "'..." : "'";
  return text;
}

/** The first 12 of `items`, each as `nameOf` makes of it, and how many more there are. Empty for none. */
template <std::ranges::input_range Items, typename NameOf = std::identity>
  requires std::ranges::sized_range<Items>
std::string list(Items const& items, NameOf const& nameOf = {}, std::string_view separator = ", ") {
  std::string text;
  auto const count = static_cast<std::size_t>(std::ranges::size(items));
  for (auto const& item : std::views::take(items, static_cast<std::ptrdiff_t>(mostShown))) {
    text += text.empty() ? "" : separator;
    text += std::invoke(nameOf, item);
  }
  return count > mostShown ? text + " and " + std::to_string(count - mostShown) + " more" : text;
}

/** To end a message with: what there is instead of a name that does not exist. Nothing for no names. */
inline std::string listNames(std::span<std::string const> names) {
  return names.empty() ? "" : (names.size() == 1 ? "; there is " : "; there are ") + list(names, inQuotes);
}

}  // namespace Text
