// Schema files: any bytes. One that loads is described in full, and each of its types is tried.
#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"
#include "yaml/Yaml.h"
#include "zynkey/Describe.h"
#include "zynkey/Names.h"

void Fuzz::run(std::string_view bytes) {
  Yaml::Loaded const loaded = Yaml::loadText(bytes, "/nowhere/schema.yaml");
  if (!loaded) {
    require(!loaded.error().empty() && loaded.error().size() <= 1000, "1 to 1,000 problems");
    for (Yaml::Problem const& problem : loaded.error()) {
      require(problem.text().starts_with(problem.file + ":") && !problem.what.empty(), "a problem names its file");
    }
    return;
  }
  Model::Schema const& schema = *loaded;
  require(!ZynKey::describe(schema).empty() && !ZynKey::summary(schema).empty(), "a schema can be shown");
  require(!Model::protoFile(schema).empty(), "a schema has a .proto file");
  ZynKey::collectionNames(schema, true);
  for (std::string const& name : schema.names()) {
    Zyn::ZynType const type = schema.find(name);
    require(!type.empty() && name == type.name(), "a type is found by its name");
    for (std::string_view const text : {"", "7", "red", "10.0.0.1", "1-2"}) {
      if (Made const made = decoded(type, text, false); made.value) {
        check(*made.value);
      }
    }
  }
}
