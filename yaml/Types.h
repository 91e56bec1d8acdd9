// Declarations to types of the model. Not installed: only yaml/ looks in here.
#pragma once

#include "yaml/File.h"
#include "yaml/Tree.h"

namespace Yaml {

/** Builds what `types`, a map of names to declarations, says in the file's module. What is wrong is reported. */
void buildTypes(File& file, Node const& types);

}  // namespace Yaml
