#include "yang/Yang.h"

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>
#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <string_view>
#include <thread>
#include <utility>

#include "text/NameHash.h"
#include "yang/Rules.h"
#include "yang/Types.h"

namespace Yang {
namespace {

using Problems = std::vector<std::string>;

// ---- loading

/**
 * Errors are kept in the context, and nothing gets to stderr. For the whole process: libyang drops the options of a
 * thread half-way, while it checks a default value. So there is one load at a time.
 */
class KeepErrors {
 public:
  KeepErrors() : lock_(oneAtATime), before_(ly_log_options(LY_LOSTORE)) {}
  ~KeepErrors() { ly_log_options(before_); }
  KeepErrors(KeepErrors const&) = delete;
  KeepErrors& operator=(KeepErrors const&) = delete;

 private:
  static inline std::mutex oneAtATime;
  std::lock_guard<std::mutex> lock_;
  std::uint32_t before_;
};

struct SearchPaths {
  std::vector<std::string> folders;
  /** By module, where one is asked for. */
  std::map<std::string, std::string> revisions = {};

  /** Where libyang finds the module; its name where it does not. */
  std::string fileOf(std::string const& module) const {
    std::vector<char const*> paths;
    for (std::string const& folder : folders) {
      paths.push_back(folder.c_str());
    }
    paths.push_back(nullptr);
    char* file = nullptr;
    LYS_INFORMAT format = LYS_IN_UNKNOWN;
    auto const revision = revisions.find(module);
    lys_search_localfile(paths.data(), 0, module.c_str(),
                         revision == revisions.end() ? nullptr : revision->second.c_str(), &file, &format);
    std::unique_ptr<char, void (*)(void*)> const owned(file, std::free);
    return file == nullptr ? module : file;
  }
};

/** What stands between the first two quotes. */
std::string quotedName(std::string_view message) {
  std::string_view const rest = message.substr(message.find('"') + 1);
  return std::string(rest.substr(0, rest.find('"')));
}

/**
 * libyang's errors, in the order in which they were found. An error in a text has a line; a message after it says in
 * which module or submodule: that is where the file comes from. An error in what was compiled has a path instead.
 */
Problems problemsIn(ly_ctx const* context, SearchPaths const& paths) {
  constexpr std::string_view lineStart = "Line number ";
  Problems problems;
  std::vector<std::size_t> withoutFile;
  for (ly_err_item const* item = ly_err_first(context); item != nullptr; item = item->next) {
    if (item->level != LY_LLERR) {
      continue;
    }
    std::string_view const message = item->msg == nullptr ? "" : item->msg;
    std::string_view const place = item->path == nullptr ? "" : item->path;
    std::string text(message);
    if (place.starts_with(lineStart)) {
      std::string_view const line = place.substr(lineStart.size());
      text = fmt::format("{}: {}", line.substr(0, line.find_first_not_of("0123456789")), message);
      withoutFile.push_back(problems.size());
    } else if (place.starts_with('/')) {
      std::string const module(place.substr(1, place.find(':') - 1));
      text = fmt::format("{}: {} ({})", paths.fileOf(module), message, place);
    } else if (message.starts_with("Parsing module ") || message.starts_with("Including ")) {
      for (std::size_t const problem : withoutFile) {
        problems[problem] = fmt::format("{}:{}", paths.fileOf(quotedName(message)), problems[problem]);
      }
      withoutFile.clear();
    }
    problems.push_back(std::move(text));
  }
  return problems;
}

/** NULL-terminated names, as libyang takes them. */
std::vector<char const*> featuresOf(std::string const& module, Features const& features) {
  std::vector<char const*> names;
  if (features.all) {
    names.push_back("*");
  } else if (auto const found = features.on.find(module); found != features.on.end()) {
    for (std::string const& name : found->second) {
      names.push_back(name.c_str());
    }
  }
  names.push_back(nullptr);
  return names;
}

/** Implemented modules, in the order in which they were loaded. */
std::vector<lys_module const*> implemented(ly_ctx const* context) {
  std::vector<lys_module const*> found;
  std::uint32_t at = 0;
  while (lys_module const* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->implemented != 0) {
      found.push_back(module);
    }
  }
  return found;
}

struct Modules {
  Context context;
  std::vector<lys_module const*> inTree;
};

std::expected<Modules, Problems> loadModules(std::span<std::string const> folders, std::span<std::string const> modules,
                                             Features const& features) {
  SearchPaths paths;
  Problems problems;
  for (std::string const& folder : folders) {
    std::error_code ignored;
    if (std::filesystem::is_directory(folder, ignored)) {
      paths.folders.push_back(folder);
    } else {
      problems.push_back(fmt::format("'{}' is no folder to look for YANG modules in", folder));
    }
  }
  for (auto const& [module, names] : features.on) {
    if (std::ranges::none_of(modules,
                             [&](std::string_view name) { return name.substr(0, name.find('@')) == module; })) {
      problems.push_back(fmt::format("features of '{}' are asked for, but not the module", module));
    }
  }
  if (!problems.empty()) {
    return std::unexpected(std::move(problems));
  }
  KeepErrors const keepErrors;
  unsigned const options =
      LY_CTX_DISABLE_SEARCHDIR_CWD | LY_CTX_NO_YANGLIBRARY | (features.all ? LY_CTX_ENABLE_IMP_FEATURES : 0U);
  ly_ctx* raw = nullptr;
  if (ly_ctx_new(nullptr, static_cast<std::uint16_t>(options), &raw) != LY_SUCCESS) {
    return std::unexpected(Problems{"libyang cannot be started: its own modules do not load"});
  }
  Modules loaded{Context(raw, ly_ctx_destroy), {}};
  for (std::string const& folder : paths.folders) {
    ly_ctx_set_searchdir(raw, folder.c_str());
  }
  auto const own = implemented(raw);
  absl::flat_hash_set<lys_module const*> const notAskedFor(own.begin(), own.end());
  absl::flat_hash_set<lys_module const*> askedFor;
  bool isGood = true;
  for (std::string const& nameAndRevision : modules) {
    std::size_t const at = nameAndRevision.find('@');
    std::string const name = nameAndRevision.substr(0, at);
    std::string const revision = at == std::string::npos ? "" : nameAndRevision.substr(at + 1);
    if (!revision.empty()) {
      paths.revisions[name] = revision;
    }
    auto names = featuresOf(name, features);
    lys_module const* const module =
        ly_ctx_load_module(raw, name.c_str(), revision.empty() ? nullptr : revision.c_str(), names.data());
    askedFor.insert(module);
    isGood = isGood && module != nullptr;
  }
  if (!isGood) {
    problems = problemsIn(raw, paths);
    return std::unexpected(problems.empty() ? Problems{"libyang refuses the modules, and does not say why"}
                                            : std::move(problems));
  }
  for (lys_module const* const module : implemented(raw)) {
    if (askedFor.contains(module) || !notAskedFor.contains(module)) {
      loaded.inTree.push_back(module);
    }
  }
  ly_err_clean(raw, nullptr);
  return loaded;
}

// ---- the tree

bool holdsData(lysc_node const& node) { return (node.nodetype & (LYS_RPC | LYS_ACTION | LYS_NOTIF)) == 0; }
bool isKey(lysc_node const& node) { return (node.flags & LYS_KEY) != 0 && node.nodetype == LYS_LEAF; }

/** The data nodes from `first` on; choices and cases give way to what they hold. */
void collect(lysc_node const* first, std::vector<lysc_node const*>& nodes) {
  for (lysc_node const* node = first; node != nullptr; node = node->next) {
    if ((node->nodetype & (LYS_CHOICE | LYS_CASE)) != 0) {
      collect(lysc_node_child(node), nodes);
    } else if (holdsData(*node)) {
      nodes.push_back(node);
    }
  }
}

class Tree {
 public:
  explicit Tree(Modules const& modules)
      : modules_(modules), module_(loaded_.schema.module("Yang")), types_(modules.context, modules.inTree, module_) {}

  std::expected<Loaded, Problems> build() {
    std::vector<lysc_node const*> nodes;
    for (lys_module const* const module : modules_.inTree) {
      collect(module->compiled->data, nodes);
    }
    try {
      loaded_.root = entity("/", "", nullptr, nodes);
    } catch (Model::SchemaError const& error) {
      problems_.emplace_back(error.what());
    }
    if (!problems_.empty()) {
      return std::unexpected(std::move(problems_));
    }
    loaded_.context = modules_.context;
    return std::move(loaded_);
  }

 private:
  /** `path` is that of the nodes, and of the type but for the root. */
  Zyn::ZynType entity(std::string_view name, std::string const& path, lys_module const* parentModule,
                      std::vector<lysc_node const*> const& nodes) {
    Zyn::ZynType const type = module_.entity(name);
    Text::NameMap<unsigned> uses;
    for (lysc_node const* const node : nodes) {
      ++uses[node->name];
    }
    for (lysc_node const* const node : nodes) {
      std::string const qualified = fmt::format("{}:{}", node->module->name, node->name);
      std::string const attr = uses[node->name] > 1 && !isKey(*node) ? qualified : node->name;
      add(type, attr, *node, path + "/" + (node->module == parentModule ? node->name : qualified));
      belongs(type.attr(attr), *node);
    }
    return type;
  }

  void add(Zyn::ZynType owner, std::string const& attr, lysc_node const& node, std::string const& path) {
    if (node.nodetype == LYS_LEAF) {
      module_.extend(owner).attr(attr, types_.of(node));
      return;
    }
    if (node.nodetype == LYS_LEAFLIST) {
      module_.extend(owner).list(attr, types_.of(node));
      return;
    }
    std::vector<lysc_node const*> children;
    collect(lysc_node_child(&node), children);
    Zyn::ZynType const type = entity(path, path, node.module, children);
    if (node.nodetype != LYS_LIST) {
      module_.extend(owner).attr(attr, type);
    } else if (std::vector<std::string_view> const keys = keysOf(children, path); keys.empty()) {
      module_.extend(owner).list(attr, type);
    } else {
      module_.extend(owner).keyed(attr, type,
                                  keys.size() == 1 ? std::string(keys.front()) : wholeKey(type, keys, node));
    }
  }

  /** In the order of the `key` statement, as libyang keeps them. */
  std::vector<std::string_view> keysOf(std::vector<lysc_node const*> const& children, std::string const& path) {
    std::vector<std::string_view> keys;
    for (lysc_node const* const child : children) {
      if (isKey(*child)) {
        keys.emplace_back(child->name);
        if (keys.back().contains("__")) {
          problems_.push_back(
              fmt::format("{}: the name of the key '{}' holds '__', which stands between the elements of a key path",
                          path, keys.back()));
        }
      }
    }
    return keys;
  }

  /** Adds an attribute that holds all keys of an entry. Its name. */
  std::string wholeKey(Zyn::ZynType entry, std::vector<std::string_view> const& keys, lysc_node const& node) {
    std::string name = "KEY";
    while (!entry.attr(name).empty()) {
      name += '-';
    }
    // Where two modules use the name, no attribute has it, but a type may.
    std::string typeName = fmt::format("{}/{}", Model::shortName(entry), name);
    while (!module_.find(typeName).empty()) {
      typeName += '-';
    }
    Model::TypeBuilder key = module_.value(typeName);
    for (std::string_view const leaf : keys) {
      key.attr(leaf, entry.attr(leaf).attrType());
    }
    key.args(keys);
    module_.extend(entry).attr(name, key);
    belongs(entry.attr(name), node);
    return name;
  }

  void belongs(Zyn::ZynAttr attr, lysc_node const& node) {
    if (attr.index() >= loaded_.modules.size()) {
      loaded_.modules.resize(attr.index() + 1);
    }
    loaded_.modules[attr.index()] = node.module->name;
  }

  Modules const& modules_;
  Loaded loaded_;
  Model::Module& module_;
  Types types_;
  Problems problems_;
};

/**
 * What texts leave behind in a thread's memory of places points into the modules, and is read at the thread's next
 * error, whoever's modules that one is in. So modules that texts are checked against are never freed.
 */
void keepForEver(Context const& context) {
  static std::mutex mutex;
  static auto& kept = *new std::vector<Context>;
  std::scoped_lock const lock(mutex);
  kept.push_back(context);
}

}  // namespace

std::string_view Loaded::moduleOf(Zyn::ZynAttr attr) const noexcept {
  return attr.module() == root.module() && attr.index() < modules.size() ? modules[attr.index()] : std::string_view();
}

std::expected<Loaded, std::vector<std::string>> load(std::span<std::string const> folders,
                                                     std::span<std::string const> modules, Features const& features) {
  // libyang keeps for each thread the place that an error is in, and does not always take it back: what one load leaves
  // behind must not be read by the next one.
  std::expected<Modules, Problems> loaded = std::unexpected(Problems());
  std::thread([&] { loaded = loadModules(folders, modules, features); }).join();
  if (!loaded) {
    return std::unexpected(loaded.error());
  }
  keepForEver(loaded->context);
  return Tree(*loaded).build();
}

}  // namespace Yang
