// The YANG modules of a target: what Get, Set and Subscribe ask of each data node, and the resolver of paths.
//
// A schema never changes; any number of threads may use it. It outlives every value that was read with it.
#pragma once

#include <Zyn/Zyn.h>
#include <gnmi/ModelValues.h>
#include <gnmi/Resolver.h>
#include <model/Value.h>
#include <yang/Yang.h>

#include <deque>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi.pb.h"

namespace Target {

using Value = Model::ValuePtr;

/** How a leaf's values stand in JSON and in messages (RFC 7951, section 6). Any is a union's: the alternatives decide.
 */
enum class Form : std::uint8_t { Boolean, Number, Number64, Decimal, Empty, Binary, Text, Any };

struct DataNode;

/** One value of a leaf or leaf-list. */
struct Leaf {
  DataNode const* node;
  Value value;
};

struct DataNode {
  /** Empty for the root. */
  Zyn::ZynAttr attr = {};
  Gnmi::NodeKind kind = Gnmi::NodeKind::Container;
  /** Without its module. */
  std::string name = {};
  std::string module = {};
  /** Whether JSON_IETF writes the module before the name: it is not the parent's. */
  bool isQualified = false;
  bool isState = false;
  /** A key of the list around it. */
  bool isKey = false;
  /** A container that means something by being there. */
  bool isPresence = false;
  Form form = Form::Text;
  /** What holds while nothing is set. */
  std::vector<Leaf> defaults = {};
  /** From the root, which is left out, to the node itself. */
  std::vector<DataNode const*> way = {};
  /** Without this container the node is not there either; null where the entry around it always has it. */
  DataNode const* presence = nullptr;
  std::vector<DataNode const*> children = {};
  /** By their names: with the module in front, and without it where that is enough (RFC 7951, section 4). */
  std::map<std::string, DataNode const*, std::less<>> names = {};
  /** Of a list, in the order of the `key` statement. */
  std::vector<DataNode const*> keys = {};
  /** Of the root and of a list: what an entry holds, also in containers, but not in lists within. */
  std::vector<DataNode const*> leaves = {};
  std::vector<DataNode const*> lists = {};
  /** Of a list: the leaf `state/changes`, in which the target counts the requests that changed an entry; or null. */
  DataNode const* counter = nullptr;

  bool isLeaf() const noexcept { return kind == Gnmi::NodeKind::Leaf || kind == Gnmi::NodeKind::LeafList; }
  /** Of a leaf or leaf-list a value's type, else that of what is in a container or list entry. */
  Zyn::ZynType type() const noexcept { return attr.attrType(); }
  /** Without its module, unless a sibling of another module has the name as well. */
  std::string plainName() const { return attr.name(); }
  /** The same node, or below it. */
  bool isWithin(DataNode const& other) const noexcept {
    return other.way.empty() || (way.size() >= other.way.size() && way[other.way.size() - 1] == &other);
  }
  /** Null where there is none. */
  DataNode const* child(std::string_view called) const noexcept {
    auto const found = names.find(called);
    return found == names.end() ? nullptr : found->second;
  }
};

class Schema {
 public:
  /** Loads every module in the folder. Throws `std::runtime_error`, with a line for each thing that is wrong. */
  explicit Schema(std::string const& folder);

  DataNode const& root() const noexcept { return *root_; }
  DataNode const& node(Zyn::ZynAttr attr) const noexcept { return attr.empty() ? *root_ : *byIndex_[attr.index()]; }
  Gnmi::Resolver const& resolver() const noexcept { return resolver_; }
  std::vector<gnmi::ModelData> const& models() const noexcept { return models_; }
  std::vector<std::string> const& warnings() const noexcept { return modules_->warnings; }

 private:
  /** Adds a node and all below it. `entry` is the list around it, or the root. */
  DataNode* add(Zyn::ZynAttr attr, Zyn::ZynType type, DataNode const* parent, DataNode* entry);
  void describe(DataNode& node) const;

  std::shared_ptr<Yang::Loaded const> modules_;
  Gnmi::Resolver resolver_;
  std::deque<DataNode> nodes_;
  std::vector<DataNode*> byIndex_;
  DataNode const* root_;
  std::vector<gnmi::ModelData> models_;
};

/** A value of the type from a text, as keys are read. Throws `Refused`: INVALID_ARGUMENT. */
Value readText(Zyn::ZynType type, std::string_view text);

}  // namespace Target
