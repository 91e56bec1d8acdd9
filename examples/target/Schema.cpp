#include "Schema.h"

#include <Drovan/ZynKeyDecoder.h>
#include <fmt/core.h>
#include <gnmi/YangFacts.h>
#include <libyang/libyang.h>

#include <algorithm>
#include <array>
#include <set>
#include <stdexcept>
#include <utility>

#include "Status.h"

namespace Target {
namespace {

std::shared_ptr<Yang::Loaded const> load(std::string const& folder) {
  auto loaded = Yang::load(std::array{folder}, {});
  if (!loaded) {
    std::string lines;
    for (std::string const& line : loaded.error()) {
      lines += line + '\n';
    }
    throw std::runtime_error(lines);
  }
  return std::make_shared<Yang::Loaded const>(*std::move(loaded));
}

/** How values of a built-in type stand in JSON, where they are no strings. */
constexpr std::array<std::pair<LY_DATA_TYPE, Form>, 13> forms{{{LY_TYPE_BOOL, Form::Boolean},
                                                               {LY_TYPE_INT8, Form::Number},
                                                               {LY_TYPE_INT16, Form::Number},
                                                               {LY_TYPE_INT32, Form::Number},
                                                               {LY_TYPE_UINT8, Form::Number},
                                                               {LY_TYPE_UINT16, Form::Number},
                                                               {LY_TYPE_UINT32, Form::Number},
                                                               {LY_TYPE_INT64, Form::Number64},
                                                               {LY_TYPE_UINT64, Form::Number64},
                                                               {LY_TYPE_DEC64, Form::Decimal},
                                                               {LY_TYPE_EMPTY, Form::Empty},
                                                               {LY_TYPE_BINARY, Form::Binary},
                                                               {LY_TYPE_UNION, Form::Any}}};

Form formOf(lysc_type const& type) {
  if (type.basetype == LY_TYPE_LEAFREF) {
    return formOf(*reinterpret_cast<lysc_type_leafref const&>(type).realtype);
  }
  auto const* const row = std::ranges::find(forms, type.basetype, &std::pair<LY_DATA_TYPE, Form>::first);
  return row == forms.end() ? Form::Text : row->second;
}

}  // namespace

Refused::Refused(Gnmi::Error const& error, Gnmi::Call call)
    : Refused(static_cast<grpc::StatusCode>(Gnmi::codeOf(error.kind, call)),
              fmt::format("{} ({}, element {}{})", error.text, error.inPrefix ? "prefix" : "path", error.element,
                          error.key.empty() ? "" : fmt::format(", key '{}'", error.key))) {}

grpc::Status Refused::status() const {
  constexpr std::size_t most = 1000;
  std::size_t length = std::min(text.size(), most);
  while (length < text.size() && length > 0 && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
    --length;  // Not within a character.
  }
  return {code, text.size() > length ? text.substr(0, length) + "..." : text};
}

Value readText(Zyn::ZynType type, std::string_view text) {
  // A key that is this one value, whatever its text: for the decoder of collections "*" would be every key.
  Drovan::ZynKeyDecoder::KeyElemNode whole(type, false);
  Drovan::ZynKeyDecoder::PathElements const none;
  if (auto const done = whole.insertPathSuffix(none.begin(), none.end(), Velko::String(text)); !done) {
    refuse(std::string(done.error().view()));
  }
  return whole.value;
}

Schema::Schema(std::string const& folder)
    : modules_(load(folder)), resolver_(modules_->root, {.facts = Gnmi::yangFacts(modules_)}) {
  root_ = add({}, modules_->root, nullptr, nullptr);
  std::set<lys_module const*> served;
  for (lysc_node const* const node : modules_->nodes) {
    if (node != nullptr && served.insert(node->module).second) {
      gnmi::ModelData& model = models_.emplace_back();
      model.set_name(node->module->name);
      model.set_organization(node->module->org == nullptr ? "" : node->module->org);
      model.set_version(node->module->revision == nullptr ? "" : node->module->revision);
    }
  }
  std::ranges::sort(models_, {}, &gnmi::ModelData::name);
}

DataNode* Schema::add(Zyn::ZynAttr attr, Zyn::ZynType type, DataNode const* parent, DataNode* entry) {
  DataNode& node = nodes_.emplace_back(DataNode{.attr = attr});
  if (parent != nullptr) {
    byIndex_.resize(std::max<std::size_t>(byIndex_.size(), attr.index() + 1));
    byIndex_[attr.index()] = &node;
    describe(node);
    node.way = parent->way;
    node.way.push_back(&node);
    node.presence = parent == entry ? nullptr : parent->isPresence ? parent : parent->presence;
  }
  if (node.isLeaf()) {
    entry->leaves.push_back(&node);
    return &node;
  }
  if (node.kind == Gnmi::NodeKind::List) {
    entry->lists.push_back(&node);
  }
  entry = parent == nullptr || node.kind == Gnmi::NodeKind::List ? &node : entry;
  for (Zyn::AttributeQIterator it(type); it; ++it) {
    if (!modules_->isWholeKey(*it)) {
      DataNode const* const child = node.children.emplace_back(add(*it, (*it).attrType(), &node, entry));
      node.names[child->module + ":" + child->name] = child;
      node.names[child->plainName()] = child;
      if (!child->isQualified) {
        node.names[child->name] = child;
      }
    }
  }
  if (attr.isKeyed()) {
    for (std::string const& name : resolver_.keyNames(attr)) {
      DataNode* const key = byIndex_[type.attr(name).index()];
      key->isKey = true;
      node.keys.push_back(key);
    }
    DataNode const* const state = node.child("state");
    DataNode const* const changes = state == nullptr ? nullptr : state->child("changes");
    if (changes != nullptr && changes->isState && changes->kind == Gnmi::NodeKind::Leaf &&
        Model::kindOf(changes->type()) == Model::Kind::U64) {
      node.counter = changes;
    }
  }
  return &node;
}

void Schema::describe(DataNode& node) const {
  lysc_node const& yang = *modules_->nodes[node.attr.index()];
  node.name = yang.name;
  node.module = yang.module->name;
  node.isQualified = node.module != modules_->parentModuleOf(node.attr);
  node.isState = modules_->isState(node.attr);
  auto const addDefault = [&](lyd_value const* value) {
    // One of a case is in use only while its case is, which nobody here keeps count of.
    if (value != nullptr && (yang.parent == nullptr || yang.parent->nodetype != LYS_CASE)) {
      node.defaults.emplace_back(&node, readText(node.type(), lyd_value_get_canonical(yang.module->ctx, value)));
    }
  };
  if (yang.nodetype == LYS_LEAF) {
    auto const& leaf = reinterpret_cast<lysc_node_leaf const&>(yang);
    node.kind = Gnmi::NodeKind::Leaf;
    node.form = formOf(*leaf.type);
    addDefault(leaf.dflt);
  } else if (yang.nodetype == LYS_LEAFLIST) {
    auto const& leaves = reinterpret_cast<lysc_node_leaflist const&>(yang);
    node.kind = Gnmi::NodeKind::LeafList;
    node.form = formOf(*leaves.type);
    LY_ARRAY_COUNT_TYPE i = 0;
    LY_ARRAY_FOR(leaves.dflts, i) { addDefault(leaves.dflts[i]); }
  } else if (yang.nodetype == LYS_LIST) {
    node.kind = Gnmi::NodeKind::List;
  } else {
    node.isPresence = (yang.flags & LYS_PRESENCE) != 0;
  }
}

}  // namespace Target
