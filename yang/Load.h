// Modules in a compiled context of libyang. Only yang/ looks in here.
#pragma once

#include <libyang/libyang.h>

#include <expected>
#include <span>
#include <string>
#include <vector>

#include "yang/Rules.h"
#include "yang/Yang.h"

namespace Yang {

using Problems = std::vector<std::string>;

struct Modules {
  Context context;
  /** Those whose elements count: what was asked for, and what that augments or deviates. Sorted by name. */
  std::vector<lys_module const*> inTree;
  /** What does not load goes into `warnings`, and is no error. */
  bool isLenient = false;
  Problems warnings;
  /** Which revision was chosen where there were several. */
  std::vector<std::string> choices;
};

/** As `Yang::load`. */
std::expected<Modules, Problems> loadModules(std::span<std::string const> folders, std::span<std::string const> modules,
                                             Options const& options);

}  // namespace Yang
