// The nodes of a schema by name, and the plans of their keys: what a resolver holds.
//
// Not installed. Built once, and never changed: any number of threads may read. It throws `std::bad_alloc` only.
#pragma once

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>

#include <cstddef>
#include <cstdint>
#include <deque>
#include <expected>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gnmi/KeyPlan.h"
#include "gnmi/Resolver.h"
#include "text/NameHash.h"

namespace Gnmi {

/** Of a name within a type, by the type's index; seeded, as that of a name alone. */
struct NameInTypeHash {
  std::size_t operator()(std::pair<std::uint32_t, std::string_view> const& name) const noexcept {
    return absl::HashOf(name.first, absl::string_view(name.second.data(), name.second.size()));
  }
};

/** The modules that the plain names at the top may be of. */
using OriginModules = absl::flat_hash_set<std::string_view, Text::NameHash>;

struct Resolver::Impl {
  using Index = std::uint32_t;
  static constexpr Index none = static_cast<Index>(-1);

  /** An attribute of a type. */
  struct Row {
    Zyn::ZynAttr attr;
    std::string_view module;
    /** Without a module. */
    std::string_view name;
    NodeKind kind = NodeKind::Leaf;
    bool isKeyed = false;
    /** The type of its entries, or its own; `none` where that has no attributes. */
    Index below = none;
    /** Of a keyed collection. */
    Index plan = none;
    /** The next attribute of the type that has the same name alone. */
    Index nextOfName = none;
  };
  struct Type {
    Zyn::ZynType type;
    Index firstRow = 0;
    Index rowCount = 0;
  };
  /** Where in the schema a name is looked up. */
  struct Place {
    Index type = 0;
    /** Of the node that the type was reached by. */
    std::string_view module;
    bool isTop = false;
    /** At the top; null where all modules count. */
    OriginModules const* origin = nullptr;
    /** Whether the path names that origin, so that a name with a module must be of it, too. */
    bool isOriginGiven = false;

    /** Goes to what is below a node. */
    void enter(Row const& row) {
      type = row.below;
      module = row.module;
      isTop = false;
      origin = nullptr;
      isOriginGiven = false;
    }
  };

  Impl(Zyn::ZynType root, Options given);

  std::span<Row const> rowsOf(Index type) const {
    return type < types.size() ? std::span(rows).subspan(types[type].firstRow, types[type].rowCount)
                               : std::span<Row const>();
  }
  /** Without a type where the resolver was made for none. */
  Node root() const { return {.attr = {}, .type = types.empty() ? Zyn::ZynType() : types.front().type}; }
  /** Not returned: what is made member by member and then copied waits until the members are stored. */
  void setNode(Row const& row, Node& into) const {
    into.attr = row.attr;
    into.kind = row.kind;
    if (row.below != none) {
      into.type = types[row.below].type;
    } else {
      into.type = {};
    }
  }
  /** Where a path starts; an error for an origin that the schema does not have. */
  std::expected<Place, Error> top(std::string_view origin) const;
  static Place below(Row const& row) {
    Place place;
    place.enter(row);
    return place;
  }
  /** Whether the row can be named at all, with its module or without. */
  static bool isReachable(Place const& place, Row const& row) {
    return !place.isOriginGiven || counts(place, row.module);
  }
  /** The rows that a name means: none, one, or several of which none counts more than the others. */
  struct Found {
    Index row = none;
    bool isAmbiguous = false;
  };
  Found lookUp(Place const& place, std::string_view name) const;
  /** Why a name means no row; without a place. */
  Error unknown(Place const& place, std::string_view name) const;
  Error ambiguous(Place const& place, std::string_view name) const;
  /** The name alone, or with the module where that is not enough. */
  std::string nameOf(Row const& row, Place const& place) const;
  std::vector<std::string> namesAt(Place const& place) const;
  /** The elements there that take keys. */
  std::vector<std::string> keyedNamesAt(Place const& place) const;
  /** "; the leaf is /a:b/c" for a key of a collection, to end an error with; nothing where the schema does not tell. */
  std::string leafOf(Row const& row, std::string_view key) const;
  std::expected<void, KeyError> select(Row const& row, std::span<Key const> keys, Mode mode, Selection& into) const;
  std::expected<Path, Error> canonical(Resolved const& resolved, Values const& values) const;

  Options options;
  std::vector<Type> types;
  /** Those of one type stand together, in declaration order. */
  std::vector<Row> rows;
  std::vector<KeyPlan> plans;
  absl::flat_hash_map<Zyn::ZynAttr, Index> planOf;
  absl::flat_hash_map<std::pair<Zyn::ZynModule const*, std::uint32_t>, Index> typeIndex;
  /** The first row of a type with that name; `none` where it has none. */
  Index firstOf(Index type, std::string_view name) const;
  /** The same, of types that have more than a few rows. */
  absl::flat_hash_map<std::pair<Index, std::string_view>, Index, NameInTypeHash> rowByName;
  Text::NameMap<OriginModules> origins;

 private:
  void addRows(Index type);
  Index indexOf(Zyn::ZynType type);
  /** Of several rows of one name, the one that counts. */
  Found choose(Place const& place, Index first) const;
  /** Whether a plain name may be of that module. */
  static bool counts(Place const& place, std::string_view module) {
    return place.origin == nullptr || module.empty() || place.origin->contains(module);
  }
};

/** The error of an element with its place. */
Error placed(Error error, Path const& path, std::size_t element);
Error placed(KeyError error, Path const& path, std::size_t element);

inline bool isWildcardElement(std::string_view name) { return name == wildcard || name == "..."; }

}  // namespace Gnmi
