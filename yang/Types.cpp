#include "yang/Types.h"

#include <fmt/core.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <memory>
#include <new>
#include <utility>
#include <vector>

namespace Yang {
namespace {

using Model::Kind;

struct BaseRow {
  LY_DATA_TYPE base;
  std::string_view name;
  /** How a scalar of it is stored. */
  Kind kind;
};

constexpr BaseRow bases[] = {
    {LY_TYPE_UNKNOWN, "", Kind::String},
    {LY_TYPE_BINARY, "binary", Kind::String},
    {LY_TYPE_UINT8, "uint8", Kind::U8},
    {LY_TYPE_UINT16, "uint16", Kind::U16},
    {LY_TYPE_UINT32, "uint32", Kind::U32},
    {LY_TYPE_UINT64, "uint64", Kind::U64},
    {LY_TYPE_STRING, "string", Kind::String},
    {LY_TYPE_BITS, "bits", Kind::String},
    {LY_TYPE_BOOL, "boolean", Kind::Bool},
    {LY_TYPE_DEC64, "decimal64", Kind::String},
    {LY_TYPE_EMPTY, "empty", Kind::String},
    {LY_TYPE_ENUM, "enumeration", Kind::Enum},
    {LY_TYPE_IDENT, "identityref", Kind::String},
    {LY_TYPE_INST, "instance-identifier", Kind::String},
    {LY_TYPE_LEAFREF, "leafref", Kind::String},
    {LY_TYPE_UNION, "union", Kind::Union},
    {LY_TYPE_INT8, "int8", Kind::S8},
    {LY_TYPE_INT16, "int16", Kind::S16},
    {LY_TYPE_INT32, "int32", Kind::S32},
    {LY_TYPE_INT64, "int64", Kind::S64},
};

consteval bool inOrderOfTypes() {
  for (std::size_t i = 0; i < std::size(bases); ++i) {
    if (bases[i].base != static_cast<LY_DATA_TYPE>(i)) {
      return false;
    }
  }
  return std::size(bases) == LY_DATA_TYPE_COUNT;
}
static_assert(inOrderOfTypes());

BaseRow const& baseOf(lysc_type const& type) { return bases[type.basetype]; }

/** The type at the end of a chain of references. */
lysc_type const& target(lysc_type const& type) {
  lysc_type const* found = &type;
  while (found->basetype == LY_TYPE_LEAFREF) {
    found = as<lysc_type_leafref>(*found).realtype;
  }
  return *found;
}

/** Identities without a module in front are those of the leaf's module. */
bool dependsOnNode(lysc_type const& type) {
  if (type.basetype == LY_TYPE_UNION) {
    return std::ranges::any_of(elements(as<lysc_type_union>(type).types),
                               [](lysc_type const* alternative) { return dependsOnNode(target(*alternative)); });
  }
  return type.basetype == LY_TYPE_IDENT || type.basetype == LY_TYPE_INST;
}

/** Nothing tells it from the built-in type, which can then stand for it. */
bool isBuiltIn(lysc_type const& type) {
  switch (type.basetype) {
    case LY_TYPE_BINARY:
      return as<lysc_type_bin>(type).length == nullptr;
    case LY_TYPE_EMPTY:
      return true;
    case LY_TYPE_UINT8:
    case LY_TYPE_UINT16:
    case LY_TYPE_UINT32:
    case LY_TYPE_UINT64:
    case LY_TYPE_INT8:
    case LY_TYPE_INT16:
    case LY_TYPE_INT32:
    case LY_TYPE_INT64:
      return as<lysc_type_num>(type).range == nullptr &&
             (type.plugin->store == lyplg_type_store_int || type.plugin->store == lyplg_type_store_uint);
    default:
      return false;
  }
}

/** Of another type, of which it changes nothing. */
bool isAlias(lysp_tpdf const& definition) {
  return definition.type.flags == 0 &&
         std::ranges::find(bases, definition.type.name, &BaseRow::name) == std::end(bases);
}

void addTypedefs(std::string_view module, lysp_tpdf const* typedefs, bool aliases,
                 std::map<lysc_type const*, std::string>& names) {
  for (lysp_tpdf const& definition : elements(typedefs)) {
    if (definition.type.compiled != nullptr && isAlias(definition) == aliases) {
      names.emplace(definition.type.compiled, fmt::format("{}:{}", module, definition.name));
    }
  }
}

void addTypedefs(ly_ctx const* context, bool aliases, std::map<lysc_type const*, std::string>& names) {
  std::uint32_t at = 0;
  while (lys_module const* const module = ly_ctx_get_module_iter(context, &at)) {
    if (module->parsed == nullptr) {
      continue;
    }
    addTypedefs(module->name, module->parsed->typedefs, aliases, names);
    for (lysp_include const& include : elements(module->parsed->includes)) {
      if (include.submodule != nullptr) {
        addTypedefs(module->name, include.submodule->typedefs, aliases, names);
      }
    }
  }
}

/** An alias is the same compiled type: the name of what it stands for counts. */
std::map<lysc_type const*, std::string> typedefNames(ly_ctx const* context) {
  std::map<lysc_type const*, std::string> names;
  addTypedefs(context, false, names);
  addTypedefs(context, true, names);
  return names;
}

/** Of a leaf or leaf-list; null for every other node. */
lysc_type const* typeOf(lysc_node const& node) {
  return node.nodetype == LYS_LEAF       ? reinterpret_cast<lysc_node_leaf const&>(node).type
         : node.nodetype == LYS_LEAFLIST ? reinterpret_cast<lysc_node_leaflist const&>(node).type
                                         : nullptr;
}

void addOwners(lysc_node const* first, std::map<lysc_type const*, lysc_node const*>& owners) {
  for (lysc_node const* node = first; node != nullptr; node = node->next) {
    if (lysc_type const* const type = typeOf(*node); type != nullptr) {
      owners.emplace(type, node);
    }
    addOwners(lysc_node_child(node), owners);
  }
}

/** `name`, or the first of "name-2", "name-3", ... that is not taken. `tried` is how many are known to be. */
template <typename IsTaken>
std::string unique(std::string const& name, IsTaken isTaken, unsigned& tried) {
  while (true) {
    std::string candidate = ++tried == 1 ? name : fmt::format("{}-{}", name, tried);
    if (!isTaken(candidate)) {
      return candidate;
    }
  }
}

}  // namespace

std::string dataPath(lysc_node const& node) {
  std::unique_ptr<char, void (*)(void*)> const path(lysc_path(&node, LYSC_PATH_DATA, nullptr, 0), std::free);
  if (path == nullptr) {
    throw std::bad_alloc();
  }
  return path.get();
}

Types::Types(Context context, std::span<lys_module const* const> modules, Model::Module& module)
    : context_(std::move(context)), module_(module), typedefs_(typedefNames(context_.get())) {
  for (lys_module const* const loaded : modules) {
    addOwners(loaded->compiled->data, owners_);
  }
}

Zyn::ZynType Types::of(lysc_node const& leaf, std::string const& path) { return of(*typeOf(leaf), leaf, path, true); }

Zyn::ZynType Types::of(lysc_type const& reference, lysc_node const& node, std::string const& path, bool isLast) {
  lysc_type const& type = target(reference);
  if (isPlainString(type)) {
    return Model::core(Kind::String);
  }
  if (type.plugin->store == lyplg_type_store_boolean) {
    return Model::core(Kind::Bool);
  }
  bool const depends = dependsOnNode(type);
  auto const definition = typedefs_.find(&type);
  bool const isIdentity = definition == typedefs_.end() && type.basetype == LY_TYPE_IDENT;
  std::string const base = isIdentity ? identityBase(type) : "";
  // Identityrefs with the same bases are one type.
  std::tuple const key(isIdentity ? nullptr : &type, base, depends ? node.module : nullptr, depends && isLast);
  if (auto const known = made_.find(key); known != made_.end()) {
    return known->second;
  }
  auto const owner = owners_.find(&type);
  std::string name = definition != typedefs_.end() ? definition->second
                     : isIdentity                  ? base
                     : owner != owners_.end()      ? dataPath(*owner->second)
                                                   : path;
  if (definition == typedefs_.end() && isBuiltIn(type)) {
    name = baseOf(type).name;
    if (Zyn::ZynType const same = module_.find(name); !same.empty()) {
      return made_[key] = same;
    }
  }
  auto const isTaken = [&](std::string const& candidate) { return !module_.find(candidate).empty(); };
  // A typedef that depends on its leaf is one type for each module: the further ones go by their leaf.
  unsigned tried = 0;
  return made_[key] = make(type, node, isTaken(name) ? unique(path, isTaken, tried) : name, isLast);
}

Zyn::ZynType Types::make(lysc_type const& type, lysc_node const& node, std::string const& name, bool isLast) {
  if (type.basetype == LY_TYPE_UNION) {
    return makeUnion(type, node, name, isLast);
  }
  if (type.basetype == LY_TYPE_ENUM) {
    std::vector<Model::Enumerator> enumerators;
    for (lysc_type_bitenum_item const& item : elements(as<lysc_type_enum>(type).enums)) {
      enumerators.push_back({item.name, item.value});
    }
    return module_.enumeration(name, enumerators).mark(Model::Mark::GnmiString);
  }
  Rule rule = ruleOf(context_, type, node, isLast);
  if (!rule.names.empty()) {
    std::vector<Model::Enumerator> identities;
    for (std::string const& identity : rule.names) {
      identities.push_back({identity, static_cast<std::int32_t>(identities.size())});
    }
    return module_.enumeration(name, identities, std::move(rule.rule)).mark(Model::Mark::GnmiString);
  }
  Kind const base = baseOf(type).kind;
  Kind const kind = base == Kind::String ? addressKind(type) : base;
  return module_.scalar(name, kind, std::move(rule.rule)).mark(Model::Mark::GnmiString, base == Kind::String);
}

Zyn::ZynType Types::makeUnion(lysc_type const& type, lysc_node const& node, std::string const& name, bool isLast) {
  Model::TypeBuilder made = module_.unionOf(name).mark(Model::Mark::GnmiString);
  Zyn::ZynType const built = made;
  auto const alternatives = elements(as<lysc_type_union>(type).types);
  std::map<std::string, unsigned> tried;
  for (lysc_type const* const reference : alternatives) {
    lysc_type const& alternative = target(*reference);
    auto const definition = typedefs_.find(&alternative);
    std::string const wanted = definition == typedefs_.end()
                                   ? std::string(baseOf(alternative).name)
                                   : definition->second.substr(definition->second.find(':') + 1);
    std::string const attr =
        unique(wanted, [&](std::string const& taken) { return !built.attr(taken).empty(); }, tried[wanted]);
    bool const isLastToo = isLast && reference == alternatives.back();
    made.attr(attr, of(alternative, node, fmt::format("{}/{}", name, attr), isLastToo));
  }
  return built;
}

}  // namespace Yang
