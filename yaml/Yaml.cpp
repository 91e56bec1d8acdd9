#include "yaml/Yaml.h"

#include <fmt/core.h>

#include <array>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/Schema.h"
#include "yaml/Declarations.h"
#include "yaml/File.h"
#include "yaml/Imports.h"
#include "yaml/Problems.h"
#include "yaml/Tree.h"
#include "yaml/Types.h"

namespace Yaml {
namespace {

constexpr std::array<std::string_view, 3> fileKeys = {"module", "imports", "types"};

class Loader {
 public:
  Loaded load(std::string const& name, std::optional<std::string_view> text, Options const& options) {
    try {
      imports_.loadFirst(name, text, options.importFolders);
    } catch (TooManyProblems const&) {
    }
    std::vector<Problem> problems = imports_.takeProblems();
    if (problems.empty()) {
      return std::move(schema_);
    }
    return std::unexpected(std::move(problems));
  }

 private:
  void read(File& file, std::string_view text) {
    Tree const tree = readTree(text, [&](Place place, std::string what) { file.problems.add(place, std::move(what)); });
    if (!file.problems.expect(tree.root, Shape::Map, "a map with 'module' and 'types'")) {
      return;
    }
    file.problems.checkKeys(tree.root, fileKeys);
    nameModule(file, tree.root);
    if (Node const* const imports = child(tree.root, "imports")) {
      import(file, *imports);
    }
    if (Node const* const types = child(tree.root, "types");
        types != nullptr && file.problems.expect(*types, Shape::Map, "a map of type names to types")) {
      buildTypes(file, *types);
    }
  }

  void nameModule(File& file, Node const& root) {
    Node const* const node = child(root, "module");
    if (node == nullptr) {
      file.problems.add(root.place, "the key 'module' is missing; name the module, as in 'module: Network'");
    } else if (file.problems.expect(*node, Shape::Text, "the name of the module") &&
               checkName(file.problems, node->place, node->text, "a module")) {
      try {
        file.module = &schema_.module(node->text);
      } catch (Model::SchemaError const& e) {
        file.problems.add(node->place, e.what());
      }
    }
    if (file.module == nullptr) {
      file.module = &file.standIn.emplace().module("Module");
    }
  }

  void import(File& file, Node const& imports) {
    file.lacksImports = !file.problems.expect(imports, Shape::List, "a list of files to import");
    for (Node const& item : imports.items) {
      File const* const imported =
          file.problems.expect(item, Shape::Text, "the name of a file") ? imports_.load(file, item) : nullptr;
      if (imported != nullptr && imported->hasModule()) {
        file.imports.emplace(imported->module->name(), imported);
      } else {
        file.lacksImports = true;
      }
    }
  }

  Model::Schema schema_;
  Imports imports_{[this](File& file, std::string_view text) { read(file, text); }};
};

}  // namespace

std::string Problem::text() const {
  return line == 0 ? fmt::format("{}: {}", file, what) : fmt::format("{}:{}:{}: {}", file, line, column, what);
}

Loaded loadFile(std::string const& path, Options const& options) { return Loader().load(path, std::nullopt, options); }

Loaded loadText(std::string_view text, std::string const& name, Options const& options) {
  return Loader().load(name, text, options);
}

}  // namespace Yaml
