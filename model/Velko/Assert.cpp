#include "Velko/Assert.h"

#include <fmt/core.h>

#include <cstdlib>
#include <functional>
#include <string>
#include <string_view>
#include <utility>

#include "model/Runtime.h"
#include "model/Velko/Handle.h"
#include "model/Velko/Sink.h"

namespace Model {
namespace {

// Never destroyed: assertions may fail in destructors of static objects.
Sink<Assertion>& assertionSink() {
  static auto& sink = *new Sink<Assertion>;
  return sink;
}

void print(Assertion const& assertion) {
  writeToStderr(fmt::format("{}{}assertion failed: {}{}{} ({}:{} {})\n", assertion.handle,
                            assertion.handle.empty() ? "" : ": ", assertion.condition,
                            assertion.text.empty() ? "" : ": ", assertion.text, assertion.file, assertion.line,
                            assertion.function));
}

[[noreturn]] void fail(Assertion assertion, fmt::string_view format, fmt::format_args args) noexcept {
  std::string text;
  try {
    text = fmt::vformat(format, args);
    assertion.text = text;
  } catch (...) {
    // Without its message the report still has the place and the condition.
  }
  try {
    if (!assertionSink().call(assertion)) {
      print(assertion);
    }
  } catch (...) {
    writeToStderr("assertion failed, and so did its report\n");
  }
  std::abort();
}

}  // namespace

void setAssertionSink(std::function<void(Assertion const&)> sink) { assertionSink().set(std::move(sink)); }

}  // namespace Model

namespace Velko::Impl {

void vfmassert(char const* condition, char const* file, char const* function, int line, fmt::string_view format,
               fmt::format_args args) noexcept {
  Model::fail({.handle = {}, .condition = condition, .file = file, .function = function, .line = line, .text = {}},
              format, args);
}

void vfmassert(Platform::DebugHandler const& handle, char const* condition, char const* file, char const* function,
               int line, fmt::string_view format, fmt::format_args args) noexcept {
  Model::fail({.handle = Model::nameOf(handle),
               .condition = condition,
               .file = file,
               .function = function,
               .line = line,
               .text = {}},
              format, args);
}

}  // namespace Velko::Impl
