// How messages are made: a {fmt} format text with "{}" placeholders, and its packed arguments.
//
// Format texts are constants of the program. Text from outside of the program (a path, a value, an exception's message)
// is only ever an argument, so braces in it mean nothing.
#pragma once

#include <fmt/core.h>

#include <algorithm>
#include <string_view>

#include "Velko/String.h"

namespace KvFmt {

/** For types that print as a text which they already hold: "{}" is the only placeholder they know. */
struct TextFormatter {
  constexpr auto parse(fmt::format_parse_context& context) { return context.begin(); }

 protected:
  template <typename Context>
  static auto write(std::string_view text, Context& context) {
    return std::copy(text.begin(), text.end(), context.out());
  }
};

namespace Detail {

/** The text with its placeholders filled. Any thread. Throws `std::bad_alloc` when memory runs out. */
Velko::String formatVelkoString(fmt::string_view format, fmt::format_args args);

}  // namespace Detail
}  // namespace KvFmt

template <>
struct fmt::formatter<Velko::String> : KvFmt::TextFormatter {
  template <typename Context>
  auto format(Velko::String const& text, Context& context) const {
    return write(text.view(), context);
  }
};
