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
#include <map>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/Schema.h"
#include "zynkey/Resolvers.h"

namespace ZynKey {

/**
 * Looks names up and remembers those that exist. One thread at a time; the schema outlives it. An error is a readable
 * text with the nearest names that exist. Time is linear in the name, beside what the schema has of names.
 */
class Names {
 public:
  /** `resolvers` live longer; only names of paths need them. */
  explicit Names(Model::Schema const& schema, Resolvers* resolvers = nullptr);

  std::expected<Zyn::ZynType, std::string> type(std::string_view name);
  std::expected<Zyn::ZynAttr, std::string> collection(std::string_view name);
  /** Where paths start: the entity of that name; without a name, the one entity that no other is made of. */
  std::expected<Zyn::ZynType, std::string> root(std::string_view name);
  Gnmi::Resolver const& resolver(Zyn::ZynType root, bool useS4Encoding) {
    return resolvers_->from(root, useS4Encoding);
  }

 private:
  Zyn::ZynAttr findCollection(std::string_view name) const;
  std::string unknownType(std::string_view name);
  std::string unknownCollection(std::string_view name);

  Model::Schema const& schema_;
  Resolvers* resolvers_;
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

/** To end a message with: the near ones of `names`, or all of them where none is near. */
std::string suggestion(std::string_view name, std::span<std::string const> names);

/** The shortest name under which the schema finds the type. */
std::string nameOf(Model::Schema const& schema, Zyn::ZynType type);

/** "Module::Type.attribute". */
std::string fullName(Zyn::ZynAttr collection);

/** "Type.attribute" of each collection of the schema, in declaration order. */
std::vector<std::string> collectionNames(Model::Schema const& schema, bool keyedOnly);

}  // namespace ZynKey
