// Tracing: one handle for a name, one flag to look at before each trace, one sink for all of them.
//
// Any thread may trace. A trace never changes what the program does: the sink throws nothing.
#pragma once

#include <fmt/core.h>

#include <atomic>

#include "KvFmt/Format.h"
#include "Velko/String.h"

namespace Velko {

namespace Platform {

/**
 * The trace switch of one name. The provider derives a class of its own, which sets `enabled_`; what it makes lives
 * until the process ends.
 */
class DebugHandler {
 public:
  DebugHandler(DebugHandler const&) = delete;
  DebugHandler& operator=(DebugHandler const&) = delete;

  /** Read before every trace: formatting starts only when it holds. May change at any time. */
  bool enabled() const noexcept { return enabled_.load(std::memory_order_relaxed); }

 protected:
  DebugHandler() noexcept = default;
  ~DebugHandler() = default;

  std::atomic<bool> enabled_ = false;
};

/**
 * The handle of a name, made on first use; never null, and the same for the same name. What `mode` asks for when it is
 * true is the platform's business: the decoder passes false, once in a process, for "ZynKeyDecoder". Any thread. Throws
 * `std::bad_alloc` when memory runs out.
 */
DebugHandler* _getRawDebugHandler(String const& name, bool mode);  // NOLINT(bugprone-reserved-identifier)

}  // namespace Platform

namespace Impl {

/**
 * The sink. All texts are NUL-terminated and live for the call only; `className` is null where the caller names no
 * class. `level` runs from 0 (always wanted) to 9 (details), the decoder's are 7. The arguments are formatted here, if
 * at all.
 */
void vfmtrace(Platform::DebugHandler const& handle, unsigned short level, char const* file, char const* function,
              int line, char const* className, fmt::string_view format, fmt::format_args args) noexcept;

}  // namespace Impl

/** Emits one trace. The caller has found the handle enabled. Cold: its callers do other things nearly always. */
template <typename... Args>
[[gnu::cold]] void fmtrace(Platform::DebugHandler const& handle, unsigned short level, char const* file,
                           char const* function, int line, char const* className,
                           fmt::format_string<Args const&...> format, Args const&... args) noexcept {
  Impl::vfmtrace(handle, level, file, function, line, className, format, fmt::make_format_args(args...));
}

}  // namespace Velko
