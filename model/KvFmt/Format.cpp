#include "KvFmt/Format.h"

#include <fmt/format.h>

#include <iterator>

namespace KvFmt::Detail {

Velko::String formatVelkoString(fmt::string_view format, fmt::format_args args) {
  fmt::memory_buffer text;
  fmt::vformat_to(std::back_inserter(text), format, args);
  return Velko::String(text.data(), text.size());
}

}  // namespace KvFmt::Detail
