// Types and collections by the names that a person writes.
//
//   accepted   "RouteKey", "Network::RouteKey", "Network.RouteKey"    a type; the module where several have the name
//              "Vrf.route", "Network.Vrf.route"                       a collection: a type's attribute
//   refused    "RuoteKey"      unknown type 'RuoteKey'; did you mean 'RouteKey'?
//              "Vrf"           unknown collection 'Vrf'; ...
//
// Not checked: that the attribute is a collection. The decoder has its own answer for those that are none.
#pragma once

#include <expected>
#include <map>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gnmi/Resolve.h"
#include "model/Schema.h"

namespace ZynKey {

/**
 * Looks names up and remembers those that exist. One thread at a time; the schema outlives it. An error is a readable
 * text with the nearest names that exist.
 */
class Names {
 public:
  explicit Names(Model::Schema const& schema, Gnmi::ModuleOf moduleOf = {})
      : schema_(schema), moduleOf_(std::move(moduleOf)) {}

  std::expected<Zyn::ZynType, std::string> type(std::string_view name);
  std::expected<Zyn::ZynAttr, std::string> collection(std::string_view name);
  /** Where paths start: the entity of that name; without a name, the one entity that no other is made of. */
  std::expected<Zyn::ZynType, std::string> root(std::string_view name);
  /** Empty where the schema has no modules that paths may name. */
  Gnmi::ModuleOf const& moduleOf() const { return moduleOf_; }

 private:
  Model::Schema const& schema_;
  Gnmi::ModuleOf moduleOf_;
  std::map<std::string, Zyn::ZynType, std::less<>> types_;
  std::map<std::string, Zyn::ZynAttr, std::less<>> collections_;
  Zyn::ZynType root_;
};

/** The one entity that no other entity is made of. */
std::expected<Zyn::ZynType, std::string> rootOf(Model::Schema const& schema);

/** The shortest name under which the schema finds the type. */
std::string nameOf(Model::Schema const& schema, Zyn::ZynType type);

/** "Type.attribute" of each collection of the schema, in declaration order. */
std::vector<std::string> collectionNames(Model::Schema const& schema, bool keyedOnly);

}  // namespace ZynKey
