// One file of a schema. Not installed: only yaml/ looks in here.
#pragma once

#include <absl/container/flat_hash_set.h>

#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "model/Schema.h"
#include "yaml/Problems.h"

namespace Yaml {

struct File {
  File(std::string name, Told& told) : problems(std::move(name), told) {}

  std::string const& name() const { return problems.file(); }
  /** Whether its types can be named: its module has the name that the file says. */
  bool hasModule() const { return module != nullptr && !standIn; }

  Problems problems;
  Model::Module* module = nullptr;
  /** Holds the module when its name is unusable, so that the types are checked all the same. */
  std::optional<Model::Schema> standIn = {};
  /** By the names of their modules. */
  std::map<std::string_view, File const*> imports = {};
  /** The modules of some imports are unknown: of a `Module.Type` that is not found, nothing can be said. */
  bool lacksImports = false;
  /** The names of types whose declarations are at fault. */
  absl::flat_hash_set<std::string> failed = {};
};

}  // namespace Yaml
