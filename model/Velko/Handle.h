// What a trace handle is inside.
#pragma once

#include <string>
#include <string_view>
#include <utility>

#include "Velko/Trace.h"

namespace Model {

class Handle final : public Velko::Platform::DebugHandler {
 public:
  explicit Handle(std::string_view handleName) : name(handleName) {}
  ~Handle() = default;

  void enable(bool on) noexcept { enabled_.store(on, std::memory_order_relaxed); }

  std::string const name;
};

/** Every handle of this provider is one. */
inline std::string_view nameOf(Velko::Platform::DebugHandler const& handle) {
  return static_cast<Handle const&>(handle).name;
}

}  // namespace Model
