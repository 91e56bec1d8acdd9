#include "zynkey/Schemas.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "gnmi/ModelValues.h"
#include "gnmi/YangFacts.h"
#include "yaml/Yaml.h"
#include "yang/Yang.h"
#include "zynkey/ExampleSchema.h"
#include "zynkey/Output.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

Model::Schema loaded(Yaml::Loaded schema) {
  if (!schema) {
    std::vector<std::string> lines;
    std::ranges::transform(schema.error(), std::back_inserter(lines), &Yaml::Problem::text);
    throw BadSchema(lines);
  }
  return *std::move(schema);
}

Source loadYang(SchemaOptions const& options, void (*warn)(std::string_view)) {
  auto loaded = Yang::load(
      options.folders, options.modules,
      {.allFeatures = options.allFeatures, .implementImports = options.implementImports, .isStrict = options.isStrict});
  if (!loaded) {
    throw BadSchema(loaded.error());
  }
  for (std::string const& choice : loaded->choices) {
    warn("note: " + choice);
  }
  for (std::string const& warning : loaded->warnings) {
    warn("warning: " + warning);
  }
  Model::Schema schema = std::move(loaded->schema);
  auto const modules = std::make_shared<Yang::Loaded const>(*std::move(loaded));
  return {std::move(schema), Gnmi::yangFacts(modules)};
}

}  // namespace

BadSchema::BadSchema(std::vector<std::string> const& problems) {
  for (std::string const& problem : problems) {
    lines_ += problem + '\n';
  }
}

void warnOnStandardError(std::string_view line) { writeError("zynkey: " + std::string(line) + '\n'); }

Source loadSource(SchemaOptions const& options, void (*warn)(std::string_view)) {
  if (!options.folders.empty()) {
    return loadYang(options, warn);
  }
  if (!options.file.empty()) {
    return {loaded(Yaml::loadFile(options.file == standardInput ? "/dev/stdin" : options.file,
                                  {.importFolders = options.importFolders})),
            Gnmi::modelFacts()};
  }
  if (!options.importFolders.empty()) {
    throw UsageError("--import-from requires --schema");
  }
  return {loaded(Yaml::loadText(exampleSchema, "examples/network.yaml")), Gnmi::modelFacts()};
}

Model::Schema loadSchema(SchemaOptions const& options, void (*warn)(std::string_view)) {
  return std::move(loadSource(options, warn).schema);
}

}  // namespace ZynKey
