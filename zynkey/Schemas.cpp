#include "zynkey/Schemas.h"

#include <algorithm>
#include <iterator>
#include <memory>
#include <utility>

#include "yaml/Yaml.h"
#include "yang/Yang.h"
#include "zynkey/ExampleSchema.h"
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

Source loadYang(SchemaOptions const& options) {
  auto loaded = Yang::load(options.folders, options.modules, {.allFeatures = options.allFeatures});
  if (!loaded) {
    throw BadSchema(loaded.error());
  }
  Model::Schema schema = std::move(loaded->schema);
  auto const modules = std::make_shared<Yang::Loaded const>(*std::move(loaded));
  return {std::move(schema), [modules](Zyn::ZynAttr attr) { return modules->moduleOf(attr); }};
}

}  // namespace

BadSchema::BadSchema(std::vector<std::string> const& problems) {
  for (std::string const& problem : problems) {
    lines_ += problem + '\n';
  }
}

Source loadSource(SchemaOptions const& options) {
  if (!options.folders.empty()) {
    return loadYang(options);
  }
  if (!options.file.empty()) {
    return {loaded(Yaml::loadFile(options.file == standardInput ? "/dev/stdin" : options.file,
                                  {.importFolders = options.importFolders}))};
  }
  if (!options.importFolders.empty()) {
    throw UsageError("--import-from requires --schema");
  }
  return {loaded(Yaml::loadText(exampleSchema, "examples/network.yaml"))};
}

Model::Schema loadSchema(SchemaOptions const& options) { return std::move(loadSource(options).schema); }

}  // namespace ZynKey
