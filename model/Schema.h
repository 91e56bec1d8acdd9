// Types of the embedded type system, built in code.
//
//   Model::Schema schema;
//   Model::Module& network = schema.module("Network");
//   Zyn::ZynType const protocol = network.enumeration("Protocol", {{"connected", 1}, {"bgp", 9}});
//   Zyn::ZynType const vlanId = network.wrapper("VlanId", Model::core(Model::Kind::U16));
//   Zyn::ZynType const routeKey = network.value("RouteKey")
//                                     .attr("vrf", Model::core(Model::Kind::String))
//                                     .attr("protocol", protocol)
//                                     .args({"vrf", "protocol"});
//   Zyn::ZynType const route = network.entity("Route").attr("key", routeKey);
//   network.entity("Vrf").keyed("route", route, "key");
//
// Value types are those that have values; keys are of value types. Entities have no values: they are the types whose
// attributes are collections, containers and leaves of a tree of data.
//
// Refused: a name that is empty, taken or holds a NUL byte, the name of a module that holds '.' or ':', a value type
// that would contain itself, a wrapper or union that leads back to itself, a constructor argument that is no
// attribute, and what the functions below refuse. Each throws `SchemaError` and leaves the type as it was.
//
// Wrappers, unions and value types nest at most 1,000 levels (`mostLevels`), so that reading, printing and dropping a
// value takes a bounded part of the stack: less than 1 MiB as users build it. Refused is what would make any type
// deeper: also an attribute that is added to a type when others use it, and one of a type that another schema uses.
// A value type with several attributes of value types is as many levels, since a key may be built from one that is
// built from the next.
// Entities do not count: they have no values, and their attributes may lead back to them.
//
// A wrapper, union or value type leads to the types of its attributes, to theirs, and so on: to at most 100,000
// (`mostTypesBelow`), each counted once for each way there. So many are tried at most to read one text, or built for
// one key of which only a part is given.
//
//   accepted   a union of 100,000 alternatives
//   refused    U17, where U0 has two alternatives of type U8, and each further union two that are the union before
//
// Building takes time in proportion to the attributes, where types are complete before others use them. An attribute
// that a type gets when others use it takes a step for each of those; `TypeBuilder::attrs` takes it once for a list.
// Not checked: how many types a type of another schema leads to when it has used this one before it grew.
//
// Lifetime: handles point into the schema; it outlives every handle, value and decoder that was made from it, and every
// exception that its types threw and whose text is still asked for. Threads: build on one thread; once built, any
// number of threads may use the types. Not checked: that building has ended when use begins.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Zyn/Zyn.h"
#include "model/Error.h"

namespace Model {

/** How values of a type are stored, read and printed. */
enum class Kind : std::uint8_t {
  Bool,
  S8,
  S16,
  S32,
  S64,
  U8,
  U16,
  U32,
  U64,
  Float,
  Double,
  String,
  Bytes,
  Seconds,
  Time,
  IpAddress,
  IpPrefix,
  MacAddress,
  Enum,
  Wrapper,
  Union,
  Value,
  Entity,
};

/**
 * What the queries of a type answer, `isValue()` and others: each mark stands for one. The marks of a new type:
 *
 *   every kind but Entity   Value (it has a default value; that a key type is assembled from parts is no mark)
 *   Enum                    Enum
 *   Union                   Union, ScalarKind
 *   the core scalars        ScalarKind
 *   addresses, a value type with a gNMI pattern
 *                           GnmiString, ScalarKind
 *   a type with s4 numbers  S4
 */
enum class Mark : std::uint8_t { Value, Enum, S4, GnmiString, Union, ScalarKind };

/** How deep wrappers, unions and value types nest. */
inline constexpr std::uint32_t mostLevels = 1000;

/** How many types a type leads to, each counted once for each way there. */
inline constexpr std::uint32_t mostTypesBelow = 100'000;

/** What cannot be built; `what()` says what is wrong and what would be right. */
class SchemaError final : public Error {
 public:
  explicit SchemaError(std::string_view message, std::optional<std::size_t> item = std::nullopt)
      : Error(Velko::String(message)), item_(item) {}
  SchemaError(SchemaError const&) = default;
  ~SchemaError() override;

  /**
   * The index of the refused item in the list that the function was given: of attributes, arguments, s4 numbers,
   * enumerators or alternatives; the first one, where several are wrong. Empty where the error is about no item of a
   * list.
   */
  std::optional<std::size_t> item() const noexcept { return item_; }

 private:
  std::optional<std::size_t> item_;
};

struct Enumerator {
  std::string name;
  std::int32_t number;
};

struct Attribute {
  std::string name;
  Zyn::ZynType type;
};

/**
 * Which texts a scalar type or an enumeration takes, where its kind alone says too little: a range, a pattern, other
 * ways to write the same value.
 *
 *   accepted   " +07 " by a rule for numbers from 1 to 10: its canonical text is "7"
 *   refused    "11", and whatever the kind does not read
 *
 * Every value of the type has gone through the rule: a text without its quotes, and the text of what a protobuf message
 * or a default value gives. The kind reads what the rule makes of it. Called from any thread, and throws
 * `std::bad_alloc` only. Not checked: that the rule takes its own canonical texts as they are.
 */
class TextRule {
 public:
  virtual ~TextRule();

  /** False to refuse. `text` becomes the canonical one: it stays as it is, or points into `buffer`, which is empty. */
  virtual bool canonical(std::string_view& text, std::string& buffer) const = 0;
  /** What the rule takes, to end a message with: "a text of 1 to 8 characters". */
  virtual std::string expectation() const = 0;
  /** What there is to say of one refused text besides, beginning with "; "; mostly nothing. */
  virtual std::string hint(std::string_view text) const;
};

class Module;

/** Adds to a type and stands for it. Refers to the type: keep the `Zyn::ZynType`, not the builder. */
class TypeBuilder {
 public:
  operator Zyn::ZynType() const noexcept { return type_; }

  /**
   * An attribute of a value type or an entity; for a union an alternative, tried in the order added. Only an entity has
   * attributes of entity type, and those may lead back to it.
   */
  TypeBuilder& attr(std::string_view name, Zyn::ZynType type);
  /** The same for each of a list, in its order; adds none when one is refused. */
  TypeBuilder& attrs(std::span<Attribute const> attributes);
  /**
   * A collection of an entity, keyed by the attribute `by` of its `entries`, which are of an entity or a value type.
   * The key type is that of `by` unless given, and no entity. Without `by`, the collection records no internal key
   * name. That `by` exists is not checked: where neither it nor `keyType` says, the key type stays empty.
   */
  TypeBuilder& keyed(std::string_view name, Zyn::ZynType entries, std::optional<std::string_view> by,
                     Zyn::ZynType keyType = {});
  /** A collection of an entity, of `entries` of any type, without keys. */
  TypeBuilder& list(std::string_view name, Zyn::ZynType entries);
  /** The constructor arguments of a value type, in order: names of attributes that it has. Replaces former ones. */
  TypeBuilder& args(std::span<std::string_view const> names);
  TypeBuilder& args(std::initializer_list<std::string_view> names);
  /**
   * The gNMI string form of a value type, such as "{low}-{high}": each attribute named once, with text between any two.
   * Reading cuts the text at the first occurrence of each separator, left to right. Every constructor argument is
   * named, and each attribute named reads its own text form; not checked: that its type has one.
   */
  TypeBuilder& gnmi(std::string_view pattern);
  /**
   * Protobuf field numbers of a value type by attribute name; the type gets the mark S4. Attributes left out have no
   * field; constructor arguments cannot be left out. Replaces former numbers.
   */
  TypeBuilder& s4(std::span<std::pair<std::string_view, std::uint32_t> const> numbers);
  TypeBuilder& s4(std::initializer_list<std::pair<std::string_view, std::uint32_t>> numbers);
  /** Sets or clears a mark, whatever the kind. */
  TypeBuilder& mark(Mark mark, bool on = true);
  /** Makes the named attribute the type's `valAttr()`, whatever the kind; it is no collection and of no entity type. */
  TypeBuilder& valAttr(std::string_view name);

 private:
  friend class Module;
  explicit TypeBuilder(Zyn::ZynType type) noexcept : type_(type) {}

  Zyn::ZynType type_;
};

/** A named set of types, of a schema. Types keep the order in which they were added. */
class Module : public Zyn::ZynModule {
 public:
  std::string_view name() const noexcept;

  /**
   * Of at least one enumerator; no two have the same name or number. What a rule makes of a text is the name of one,
   * and the rule takes all of these.
   */
  TypeBuilder enumeration(std::string_view name, std::span<Enumerator const> enumerators,
                          std::shared_ptr<TextRule const> rule = nullptr);
  TypeBuilder enumeration(std::string_view name, std::initializer_list<Enumerator> enumerators);
  /** Holds one inner value in its attribute `value`, which is its `valAttr()` and its one constructor argument. */
  TypeBuilder wrapper(std::string_view name, Zyn::ZynType inner);
  /** With no alternatives yet: add them by `attr`. */
  TypeBuilder unionOf(std::string_view name, std::initializer_list<Attribute> alternatives = {});
  /** With no attributes yet: add them by `attr`. */
  TypeBuilder value(std::string_view name);
  TypeBuilder entity(std::string_view name);
  /**
   * A further type of a scalar kind, which differs from the core type by name and marks, and by its rule where it has
   * one. A String whose text comes without quotes needs the mark GnmiString.
   */
  TypeBuilder scalar(std::string_view name, Kind kind, std::shared_ptr<TextRule const> rule = nullptr);
  /** Adds to a type of this module; any other is refused. */
  TypeBuilder extend(Zyn::ZynType type);

  /** In the order added. */
  std::vector<Zyn::ZynType> types() const;
  /** Empty when the module has none of that name. */
  Zyn::ZynType find(std::string_view name) const noexcept;
  /** The same, but throws `Model::Error` when there is none, and names the nearest ones. */
  Zyn::ZynType type(std::string_view name) const;

 protected:
  // Made by Schema; what a module holds is in model/Zyn/.
  Module() = default;
  ~Module() = default;
};

class Schema {
 public:
  Schema();
  Schema(Schema&&) noexcept;
  Schema& operator=(Schema&&) noexcept;
  ~Schema();

  /** A new module; "Zyn" is the module of the core types, and no other may have its name. */
  Module& module(std::string_view name);
  /** Null when there is none. */
  Module* findModule(std::string_view name) const noexcept;
  /** The same, but throws `Model::Error` when there is none, and names the nearest ones. */
  Module& existingModule(std::string_view name) const;
  std::vector<Module const*> modules() const;

  /**
   * By "Module::Type" or "Module.Type", or else by the type's own name alone where only one type has it; core types
   * are found like all others. Empty when there is none, or more than one.
   */
  Zyn::ZynType find(std::string_view name) const;
  /**
   * The same, but throws `Model::Error` when there is none, and names the nearest ones; when there are more, it says
   * how to name each.
   */
  Zyn::ZynType type(std::string_view name) const;
  /** Every printable name, core types first. */
  std::vector<std::string> names() const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/** The core type of a scalar kind: Bool to MacAddress. Empty for other kinds. */
Zyn::ZynType core(Kind kind);
/** The name of a kind: "Bool", ..., "Entity". */
std::string_view kindName(Kind kind) noexcept;

/**
 * The entities that no other entity is made of, from which paths start; every one where each is a part of another. In
 * the order in which they were added.
 */
std::vector<Zyn::ZynType> topEntities(Schema const& schema);

/** An attribute by its name. Throws `Model::Error` when the type has none of it, and names the nearest ones. */
Zyn::ZynAttr attr(Zyn::ZynType type, std::string_view name);

// What a type is made of, beyond what the type system's own queries tell. `type` and `attr` are not empty.

Kind kindOf(Zyn::ZynType type) noexcept;
/** Without its module. */
std::string_view shortName(Zyn::ZynType type) noexcept;
bool hasMark(Zyn::ZynType type, Mark mark) noexcept;
/** Empty for all but enumerations. */
std::span<Enumerator const> enumerators(Zyn::ZynType type) noexcept;
/** Null where there is none. */
TextRule const* textRule(Zyn::ZynType type) noexcept;
/** Empty where there is none. */
std::string_view gnmiPattern(Zyn::ZynType type) noexcept;
/** The field number that `s4` gave the attribute as a part of `owner`; 0 where it gave none. */
std::uint32_t s4Number(Zyn::ZynType owner, Zyn::ZynAttr attr) noexcept;
/** A collection without keys. */
bool isList(Zyn::ZynAttr attr) noexcept;

}  // namespace Model
