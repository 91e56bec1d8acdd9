#include "yang/Size.h"

#include <absl/container/flat_hash_map.h>
#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <map>
#include <string_view>
#include <utility>

#include "yang/Rules.h"

namespace Yang {
namespace {

struct Size {
  /** And alternatives of unions, each once for every way to it. */
  std::uint64_t nodes = 0;
  std::uint64_t levels = 0;

  /** Adds what stands beside it. Too much stays too much. */
  void add(Size const& other) {
    nodes = std::min(nodes + other.nodes, maxNodes + 1);
    levels = std::min(std::max(levels, other.levels), maxLevels + 1);
  }
};

/** A module or a submodule, which begins with the same members. */
using Part = lysp_module;

Part const& partOf(lysp_submodule const& submodule) { return reinterpret_cast<Part const&>(submodule); }

std::string_view prefixOf(Part const& part) {
  return part.is_submod != 0 ? reinterpret_cast<lysp_submodule const&>(part).prefix : part.mod->prefix;
}

/** Calls `visit` with a module and each of its submodules. */
template <typename Visit>
void visitParts(lys_module const& module, Visit visit) {
  if (module.parsed == nullptr) {
    return;
  }
  visit(*module.parsed);
  for (lysp_include const& include : elements(module.parsed->includes)) {
    if (include.submodule != nullptr) {
      visit(partOf(*include.submodule));
    }
  }
}

lysp_node_grp const* named(lysp_node_grp const* grouping, std::string_view name) {
  while (grouping != nullptr && grouping->name != name) {
    grouping = grouping->next;
  }
  return grouping;
}

lysp_tpdf const* named(lysp_tpdf const* typedefs, std::string_view name) {
  auto const all = elements(typedefs);
  auto const found = std::ranges::find(all, name, [](lysp_tpdf const& one) { return std::string_view(one.name); });
  return found == all.end() ? nullptr : &*found;
}

/** A definition, and where names inside of it are looked up. */
template <typename Definition>
struct Found {
  Definition const* definition = nullptr;
  /** Null at the top of a module. */
  lysp_node const* node = nullptr;
  Part const* part = nullptr;
};

/** Groupings, or typedefs, by the names that refer to them. */
template <typename Definition>
class Names {
 public:
  void add(Part const& part, Definition const& definition) {
    top_.try_emplace(std::pair(part.mod, std::string_view(definition.name)),
                     Found<Definition>{&definition, nullptr, &part});
  }

  /** By a name that may have a prefix, as it stands below `node`; `in` gives what a node defines. */
  Found<Definition> find(std::string_view name, lysp_node const* node, Part const& part,
                         Definition const* (*in)(lysp_node const*)) const {
    lys_module const* module = part.mod;
    if (std::size_t const colon = name.find(':'); colon != std::string_view::npos) {
      std::string_view const prefix = name.substr(0, colon);
      name.remove_prefix(colon + 1);
      if (prefix != prefixOf(part)) {
        auto const imports = elements(part.imports);
        auto const import =
            std::ranges::find(imports, prefix, [](lysp_import const& one) { return std::string_view(one.prefix); });
        module = import == imports.end() ? nullptr : import->module;
        node = nullptr;
      }
    }
    for (; node != nullptr; node = node->parent) {
      if (auto const* const definition = named(in(node), name)) {
        return {definition, node, &part};
      }
    }
    auto const found = top_.find(std::pair(module, name));
    return found == top_.end() ? Found<Definition>() : found->second;
  }

 private:
  absl::flat_hash_map<std::pair<lys_module const*, std::string_view>, Found<Definition>> top_;
};

class Sizes {
 public:
  explicit Sizes(ly_ctx const* context) {
    std::uint32_t at = 0;
    while (lys_module const* const module = ly_ctx_get_module_iter(context, &at)) {
      visitParts(*module, [&](Part const& part) {
        for (lysp_node_grp const* grouping = part.groupings; grouping != nullptr; grouping = grouping->next) {
          groupingNames_.add(part, *grouping);
        }
        for (lysp_tpdf const& definition : elements(part.typedefs)) {
          typedefNames_.add(part, definition);
        }
      });
    }
  }

  Size of(lys_module const& module) {
    Size sum;
    visitParts(module, [&](Part const& part) {
      sum.add(all(part.data, part));
      sum.add(all(part.augments, part));
      sum.add(all(part.rpcs, part));
      sum.add(all(part.notifs, part));
    });
    return sum;
  }

  /** Of groupings that nothing uses of what was asked for so far: libyang compiles them as well. */
  Size ofUnused(lys_module const& module) {
    Size sum;
    visitParts(module, [&](Part const& part) {
      for (lysp_node_grp const* grouping = part.groupings; grouping != nullptr; grouping = grouping->next) {
        if (!groupings_.contains(grouping)) {
          sum.add(ofGrouping({grouping, &grouping->node, &part}));
        }
      }
    });
    return sum;
  }

 private:
  template <typename Node>
  Size all(Node const* first, Part const& part) {
    Size sum;
    for (lysp_node const* node = reinterpret_cast<lysp_node const*>(first); node != nullptr; node = node->next) {
      sum.add(of(*node, part));
    }
    return sum;
  }

  Size of(lysp_node const& node, Part const& part) {
    if (deep_ > maxLevels) {
      return {.levels = maxLevels + 1};
    }
    ++deep_;
    Size const size = inside(node, part);
    --deep_;
    if (node.nodetype == LYS_AUGMENT) {
      std::string_view const target = reinterpret_cast<lysp_node_augment const&>(node).nodeid;
      return {size.nodes, size.levels + static_cast<std::uint64_t>(std::ranges::count(target, '/'))};
    }
    return {size.nodes + (node.nodetype == LYS_USES ? 0 : 1), size.levels + 1};
  }

  Size inside(lysp_node const& node, Part const& part) {
    Size sum;
    if (node.nodetype == LYS_LEAF) {
      sum.add(ofType(reinterpret_cast<lysp_node_leaf const&>(node).type, &node, part));
    } else if (node.nodetype == LYS_LEAFLIST) {
      sum.add(ofType(reinterpret_cast<lysp_node_leaflist const&>(node).type, &node, part));
    } else if (node.nodetype == LYS_USES) {
      sum.add(ofGrouping(groupingNames_.find(node.name, &node, part, lysp_node_groupings)));
      sum.add(all(reinterpret_cast<lysp_node_uses const&>(node).augments, part));
    } else if ((node.nodetype & (LYS_RPC | LYS_ACTION)) != 0) {
      auto const& action = reinterpret_cast<lysp_node_action const&>(node);
      sum.add(all(action.input.child, part));
      sum.add(all(action.output.child, part));
    } else {
      sum.add(all(lysp_node_child(&node), part));
      sum.add(all(lysp_node_actions(&node), part));
      sum.add(all(lysp_node_notifs(&node), part));
    }
    return sum;
  }

  Size ofGrouping(Found<lysp_node_grp> const& found) {
    if (found.definition == nullptr) {
      return {};  // libyang says so
    }
    // One that uses itself is an error of libyang's, too.
    auto const [known, isNew] = groupings_.try_emplace(found.definition);
    if (isNew) {
      Size const size = inside(found.definition->node, *found.part);
      groupings_[found.definition] = size;
      return size;
    }
    return known->second;
  }

  Size ofType(lysp_type const& type, lysp_node const* node, Part const& part) {
    if (deep_ > maxLevels) {
      return {.levels = maxLevels + 1};
    }
    ++deep_;
    Size sum;
    for (lysp_type const& alternative : elements(type.types)) {
      sum.add({.nodes = 1});
      sum.add(ofType(alternative, node, part));
    }
    if (auto const found = typedefNames_.find(type.name, node, part, lysp_node_typedefs); found.definition != nullptr) {
      auto const [known, isNew] = typedefs_.try_emplace(found.definition);
      if (isNew) {
        Size const size = ofType(found.definition->type, found.node, *found.part);
        typedefs_[found.definition] = size;
        sum.add(size);
      } else {
        sum.add(known->second);
      }
    }
    --deep_;
    return sum;
  }

  Names<lysp_node_grp> groupingNames_;
  Names<lysp_tpdf> typedefNames_;
  std::map<lysp_node_grp const*, Size> groupings_;
  std::map<lysp_tpdf const*, Size> typedefs_;
  /** How deep this recurses. */
  std::uint64_t deep_ = 0;
};

}  // namespace

TooLarge tooLarge(ly_ctx const* context) {
  Sizes sizes(context);
  Size sum;
  Size largest;
  TooLarge result;
  for (bool const isUsed : {true, false}) {
    std::uint32_t at = 0;
    while (lys_module const* const module = ly_ctx_get_module_iter(context, &at)) {
      Size const size = isUsed ? sizes.of(*module) : sizes.ofUnused(*module);
      sum.add(size);
      if (std::pair(size.levels > maxLevels, size.nodes) > std::pair(largest.levels > maxLevels, largest.nodes)) {
        largest = size;
        result.module = module->name;
      }
    }
  }
  if (sum.levels > maxLevels) {
    result.problem = fmt::format("its groupings lead more than {} levels deep", maxLevels);
  } else if (sum.nodes > maxNodes) {
    result.problem = fmt::format("the modules make more than {} nodes, most of them in this one", maxNodes);
  }
  return result;
}

}  // namespace Yang
