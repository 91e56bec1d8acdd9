// The assertion sink: where a broken internal assumption ends the process.
#pragma once

#include <fmt/core.h>

#include "Velko/Trace.h"

namespace Velko::Impl {

/**
 * Reports and does not return. `condition` is the text of what should have been true; file and function say where. The
 * message is made from `format` and `args`, and may be empty. How the process ends is the provider's business.
 */
[[noreturn]] void vfmassert(char const* condition, char const* file, char const* function, int line,
                            fmt::string_view format, fmt::format_args args) noexcept;

/** The same, for code that has a trace handle: the report names it. */
[[noreturn]] void vfmassert(Platform::DebugHandler const& handle, char const* condition, char const* file,
                            char const* function, int line, fmt::string_view format, fmt::format_args args) noexcept;

}  // namespace Velko::Impl
