// Types and collections by the names that a person writes.
//
//   accepted   "RouteKey", "Network::RouteKey", "Network.RouteKey"    a type; the module where several have the name
//              "Vrf.route", "Network.Vrf.route"                       a collection: a type's attribute
//   refused    "RuoteKey"      unknown type 'RuoteKey'; did you mean 'RouteKey'?
//              "Vrf"           unknown collection 'Vrf'; ...
//
// Not checked: that the attribute is a collection. The decoder has its own answer for those that are none.
#pragma once

#include <cstddef>
#include <expected>
#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi/Resolve.h"
#include "model/Schema.h"

namespace ZynKey {

/** The path of the data node that an attribute stands for; empty where it stands for none. */
using PathOf = std::function<std::string(Zyn::ZynAttr)>;

/**
 * Looks names up and remembers those that exist. One thread at a time; the schema outlives it. An error is a readable
 * text with the nearest names that exist. Time is linear in the name, beside what the schema has of names.
 */
class Names {
 public:
  explicit Names(Model::Schema const& schema, Gnmi::ModuleOf moduleOf = {}, PathOf pathOf = {});

  std::expected<Zyn::ZynType, std::string> type(std::string_view name);
  std::expected<Zyn::ZynAttr, std::string> collection(std::string_view name);
  /** Where paths start: the entity of that name; without a name, the one entity that no other is made of. */
  std::expected<Zyn::ZynType, std::string> root(std::string_view name);
  /** Empty where the schema has no modules that paths may name. */
  Gnmi::ModuleOf const& moduleOf() const { return moduleOf_; }
  /** Empty where the schema has no paths of its own. */
  PathOf const& pathOf() const { return pathOf_; }

 private:
  Zyn::ZynAttr findCollection(std::string_view name) const;
  std::string unknownType(std::string_view name);

  Model::Schema const& schema_;
  Gnmi::ModuleOf moduleOf_;
  PathOf pathOf_;
  std::size_t longestType_ = 0;
  // Made for the first error that needs them.
  std::vector<std::string> typeNames_;
  std::vector<std::string> collectionNames_;
  std::map<std::string, Zyn::ZynType, std::less<>> types_;
  std::map<std::string, Zyn::ZynAttr, std::less<>> collections_;
  Zyn::ZynType root_;
};

/**
 * The dots at which `name` may be cut into the name of a type, which may hold dots of its own, and that of an
 * attribute; the last one first. As many as `longestType` at most, however long and full of dots a hostile name is.
 */
std::vector<std::size_t> cutsOf(std::string_view name, std::size_t longestType);

/** The one entity that no other entity is made of. */
std::expected<Zyn::ZynType, std::string> rootOf(Model::Schema const& schema);

/** The shortest name under which the schema finds the type. */
std::string nameOf(Model::Schema const& schema, Zyn::ZynType type);

/** "Type.attribute" of each collection of the schema, in declaration order. */
std::vector<std::string> collectionNames(Model::Schema const& schema, bool keyedOnly);

}  // namespace ZynKey
