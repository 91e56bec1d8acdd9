// Standard output, byte for byte and checked: an answer that did not arrive is an error.
#pragma once

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>

#include "zynkey/UsageError.h"

namespace ZynKey {

/** Throws `UsageError` when the text cannot be written, such as to a full disk or a closed pipe. */
inline void writeOut(std::string_view text) {
  if (std::fwrite(text.data(), 1, text.size(), stdout) != text.size()) {
    throw UsageError(std::string("cannot write: ") + std::strerror(errno));
  }
}

/** What was written has arrived when this returns. Throws `UsageError` when it cannot. */
inline void flushOut() {
  if (std::fflush(stdout) != 0) {
    throw UsageError(std::string("cannot write: ") + std::strerror(errno));
  }
}

inline void writeError(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); }

}  // namespace ZynKey
