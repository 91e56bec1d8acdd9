#include "yang/Yang.h"

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>
#include <fmt/core.h>

#include <algorithm>
#include <iterator>
#include <string_view>
#include <utility>

#include "text/NameHash.h"
#include "yang/Load.h"
#include "yang/Rules.h"
#include "yang/Types.h"

namespace Yang {
namespace {

bool holdsData(lysc_node const& node) { return (node.nodetype & (LYS_RPC | LYS_ACTION | LYS_NOTIF)) == 0; }
bool isKey(lysc_node const& node) { return (node.flags & LYS_KEY) != 0 && node.nodetype == LYS_LEAF; }

class Tree {
 public:
  explicit Tree(Modules const& modules)
      : modules_(modules),
        inTree_(modules.inTree.begin(), modules.inTree.end()),
        module_(loaded_.schema.module("Yang")),
        types_(modules.context, modules.inTree, module_) {}

  std::expected<Loaded, Problems> build() {
    std::vector<lysc_node const*> nodes;
    for (lys_module const* const module : modules_.inTree) {
      collect(module->compiled->data, nodes);
    }
    try {
      loaded_.root = entity("/", "", nullptr, nodes);
    } catch (Model::SchemaError const& error) {
      return std::unexpected(Problems{error.what()});
    }
    if (!problems_.empty() && !modules_.isLenient) {
      return std::unexpected(std::move(problems_));
    }
    loaded_.warnings = modules_.warnings;
    std::ranges::move(problems_, std::back_inserter(loaded_.warnings));
    loaded_.choices = modules_.choices;
    loaded_.context = modules_.context;
    addOrigins();
    return std::move(loaded_);
  }

 private:
  /**
   * The data nodes from `first` on; choices and cases give way to what they hold. What others add that are implemented
   * only because something refers to them is left out.
   */
  void collect(lysc_node const* first, std::vector<lysc_node const*>& nodes) const {
    for (lysc_node const* node = first; node != nullptr; node = node->next) {
      if (!inTree_.contains(node->module)) {
        continue;
      }
      if ((node->nodetype & (LYS_CHOICE | LYS_CASE)) != 0) {
        collect(lysc_node_child(node), nodes);
      } else if (holdsData(*node)) {
        nodes.push_back(node);
      }
    }
  }

  void addOrigins() {
    for (lys_module const* const module : modules_.inTree) {
      std::string const name = module->name;
      loaded_.origins[name].insert(name);
      loaded_.origins["rfc7951"].insert(name);
      if (name.starts_with("openconfig-")) {
        loaded_.origins["openconfig"].insert(name);
      }
    }
  }

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
      module_.extend(owner).attr(attr, types_.of(node, path));
      return;
    }
    if (node.nodetype == LYS_LEAFLIST) {
      module_.extend(owner).list(attr, types_.of(node, path));
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
      }
    }
    for (std::string_view const key : keys) {
      if (key.contains("__")) {
        problems_.push_back(
            fmt::format("{}: the name of the key '{}' holds '__', which stands between the elements of a key path{}",
                        path, key, modules_.isLenient ? "; the list is taken for one without keys" : ""));
        return {};
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
    if (attr.index() >= loaded_.nodes.size()) {
      loaded_.nodes.resize(attr.index() + 1);
    }
    loaded_.nodes[attr.index()] = &node;
  }

  Modules const& modules_;
  absl::flat_hash_set<lys_module const*> inTree_;
  Loaded loaded_;
  Model::Module& module_;
  Types types_;
  Problems problems_;
};

}  // namespace

lysc_node const* Loaded::nodeOf(Zyn::ZynAttr attr) const noexcept {
  return attr.module() == root.module() && attr.index() < nodes.size() ? nodes[attr.index()] : nullptr;
}

std::string_view Loaded::moduleOf(Zyn::ZynAttr attr) const noexcept {
  lysc_node const* const node = nodeOf(attr);
  return node == nullptr ? "" : node->module->name;
}

std::string_view Loaded::parentModuleOf(Zyn::ZynAttr attr) const noexcept {
  lysc_node const* const node = nodeOf(attr);
  lysc_node const* const parent = node == nullptr ? nullptr : lysc_data_parent(node);
  return parent == nullptr ? "" : parent->module->name;
}

bool Loaded::isState(Zyn::ZynAttr attr) const noexcept {
  lysc_node const* const node = nodeOf(attr);
  return node != nullptr && (node->flags & LYS_CONFIG_R) != 0;
}

bool Loaded::isOrderedByUser(Zyn::ZynAttr attr) const noexcept {
  lysc_node const* const node = nodeOf(attr);
  return node != nullptr && (node->nodetype & (LYS_LIST | LYS_LEAFLIST)) != 0 && (node->flags & LYS_ORDBY_USER) != 0;
}

bool Loaded::isWholeKey(Zyn::ZynAttr attr) const noexcept {
  lysc_node const* const node = nodeOf(attr);
  return node != nullptr && node->nodetype == LYS_LIST && Model::kindOf(attr.attrType()) == Model::Kind::Value;
}

std::string Loaded::pathOf(Zyn::ZynAttr attr) const {
  lysc_node const* const node = nodeOf(attr);
  return node == nullptr ? "" : dataPath(*node);
}

std::expected<Loaded, std::vector<std::string>> load(std::span<std::string const> folders,
                                                     std::span<std::string const> modules, Options const& options) {
  auto const loaded = loadModules(folders, modules, options);
  if (!loaded) {
    return std::unexpected(loaded.error());
  }
  return Tree(*loaded).build();
}

}  // namespace Yang
