// How types are stored: a row for each type and for each attribute, found by the index in the handle.
//
// Rows never move and are not changed once building has ended, so queries read them without a lock. Internal to model/.
#pragma once

#include <absl/container/flat_hash_map.h>

#include <boost/container/stable_vector.hpp>
#include <boost/container/static_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "model/Schema.h"
#include "model/Zyn/NameIndex.h"
#include "text/NameHash.h"

namespace Model {

constexpr std::uint8_t bit(Mark mark) { return static_cast<std::uint8_t>(1U << static_cast<unsigned>(mark)); }

enum class Shape : std::uint8_t { Plain, Keyed, List };

struct AttrRow {
  std::string name = {};
  Zyn::ZynType type = {};
  /** Position among its owner's attributes: the slot of a value that holds it. */
  std::uint32_t slot = 0;
  Shape shape = Shape::Plain;
  /** Of a keyed collection; null for none. The name of the entries' attribute itself, where it is of this schema. */
  char const* keyName = nullptr;
  /** The storage of `keyName` where no attribute of this schema has that name. */
  std::string looseKeyName = {};
  Zyn::ZynType keyType = {};
  /** The attribute is a constructor argument of its owner. */
  bool isArgument = false;
  /** Protobuf field number; 0 for none. */
  std::uint32_t s4Number = 0;
};

/** Indexes by name. The map has views only: the names belong to the rows. */
using ByName = Text::NameMap<std::uint32_t>;

/** A gNMI pattern in its parts: texts[0] slots[0] texts[1] slots[1] ... texts[n]. */
struct Pattern {
  std::string whole;
  std::vector<std::string> texts;
  std::vector<std::uint32_t> slots;
};

/** An attribute that is found by the address of its name. */
struct KnownName {
  char const* name;
  std::uint32_t attr;
};

struct TypeRow;

/** A constructor argument: the slot that it goes to, and what it must be. */
struct Argument {
  std::uint32_t slot;
  bool isComposed;
  TypeRow const* type;
};

struct TypeRow {
  static constexpr std::size_t mostKnownNames = 8;

  Zyn::ZynType handle;
  /** "Module::Type". */
  std::string name;
  /** Where the part after "Module::" starts. */
  std::size_t shortNameAt = 0;
  Kind kind = Kind::Value;
  std::uint8_t marks = 0;
  /** Indexes of attributes in the module, in declaration order; the slot is the position here. */
  std::vector<std::uint32_t> attrs;
  /** Indexes in the module. */
  NameIndex attrsByName;
  /**
   * The first eight attributes whose names are handed out, as constructor arguments or as names of keys. Such a name is
   * mostly looked up again by the same pointer, and comparing pointers is faster than hashing the name.
   */
  boost::container::static_vector<KnownName, mostKnownNames> knownNames;
  /** An index in the module. */
  std::optional<std::uint32_t> valAttr;
  /** How deep values nest: its own levels, and what the deepest attribute adds; 0 for what is not composed. */
  std::uint32_t levels = 0;
  /** Of a value type: how many of its attributes are of value types. */
  std::uint32_t parts = 0;
  /** How many types a wrapper, union or value type leads to, each counted once for each way there; else 0. */
  std::uint32_t typesBelow = 0;
  /** Of the constructor arguments; NUL-terminated, owned by the attributes' rows. */
  std::vector<char const*> argNames;
  std::vector<Argument> args;
  std::vector<Enumerator> enumerators;
  // Positions in `enumerators`.
  ByName enumeratorsByName;
  absl::flat_hash_map<std::int32_t, std::uint32_t> enumeratorsByNumber;
  std::optional<Pattern> pattern;
  /** Of a scalar; mostly null. */
  std::shared_ptr<TextRule const> rule;
  bool hasS4Numbers = false;
  /** A type of another schema has an attribute of this wrapper, union or value type, which then gets no deeper. */
  bool isUsedElsewhere = false;
  /**
   * Types of the same schema that have an attribute of this wrapper, union or value type, once for each attribute: they
   * grow with it.
   */
  std::vector<TypeRow*> users;
};

/** The class of every module: what `Module` offers, with its rows. */
class ModuleTables final : public Module {
 public:
  ModuleTables(std::string_view moduleName, void const* itsSchema) : name(moduleName), schema(itsSchema) {}
  ~ModuleTables() = default;

  std::string name;
  // A stable_vector does not move its elements when it grows, so names and rows that were handed out stay valid;
  // reading a row takes two loads.
  boost::container::stable_vector<TypeRow> types;
  boost::container::stable_vector<AttrRow> attrs;
  ByName typesByName;
  /** The identity of the schema that the module belongs to; null for the core types. */
  void const* schema;
  /** How many types, and uses of them, were looked at because a type grew. For tests: it shows that building is linear.
   */
  std::size_t growthSteps = 0;
};

/** The core types: type `i` is that of the scalar kind `i`. Never destroyed. */
ModuleTables const& coreModule();

constexpr bool isScalar(Kind kind) { return kind <= Kind::MacAddress; }
constexpr bool isComposed(Kind kind) { return kind == Kind::Wrapper || kind == Kind::Union || kind == Kind::Value; }

inline ModuleTables const& tablesOf(Zyn::ZynModule const& module) { return static_cast<ModuleTables const&>(module); }

/** The row of a handle that is not empty. */
inline TypeRow const& rowOf(Zyn::ZynTypeBase type) { return tablesOf(*type.module()).types[type.index()]; }
inline AttrRow const& rowOf(Zyn::ZynAttr attr) { return tablesOf(*attr.module()).attrs[attr.index()]; }

}  // namespace Model
