#include "Velko/Trace.h"

#include <fmt/core.h>

#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>

#include "model/Runtime.h"
#include "model/Velko/Handle.h"
#include "model/Velko/Sink.h"

namespace Model {
namespace {

// Neither is ever destroyed: code may trace in destructors of static objects.

Sink<Trace>& traceSink() {
  static auto& sink = *new Sink<Trace>;
  return sink;
}

Handle& handleOf(std::string_view name) {
  static auto& mutex = *new std::mutex;
  static auto& handles = *new std::map<std::string, Handle, std::less<>>;
  std::lock_guard const lock(mutex);
  auto found = handles.find(name);
  if (found == handles.end()) {
    found = handles.try_emplace(std::string(name), name).first;
  }
  return found->second;
}

}  // namespace

std::string toLine(Trace const& trace) {
  return fmt::format("{}/{} {}:{} {}{}{}: {}\n", trace.handle, trace.level, trace.file, trace.line, trace.className,
                     trace.className.empty() ? "" : "::", trace.function, trace.text);
}

void enableTraces(std::string_view handle, bool on) { handleOf(handle).enable(on); }

void setTraceSink(std::function<void(Trace const&)> sink) { traceSink().set(std::move(sink)); }

}  // namespace Model

namespace Velko {

Platform::DebugHandler* Platform::_getRawDebugHandler(String const& name, bool /*mode*/) {
  return &Model::handleOf(name.view());
}

void Impl::vfmtrace(Platform::DebugHandler const& handle, unsigned short level, char const* file, char const* function,
                    int line, char const* className, fmt::string_view format, fmt::format_args args) noexcept {
  try {
    std::string const text = fmt::vformat(format, args);
    Model::Trace const trace{.handle = Model::nameOf(handle),
                             .level = level,
                             .file = file,
                             .function = function,
                             .line = line,
                             .className = className == nullptr ? "" : className,
                             .text = text};
    if (!Model::traceSink().call(trace)) {
      Model::writeToStderr(Model::toLine(trace));
    }
  } catch (...) {
    // A trace for which memory runs out is lost: traces never change what the program does.
  }
}

}  // namespace Velko
