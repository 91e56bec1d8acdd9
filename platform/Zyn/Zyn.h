// The reflective type system: types, their attributes, and value objects that are made from text, from constructor
// arguments or from a protobuf message.
//
// This folder is a contract between two sides. The decoder (`libDrovan.so`) calls; a provider defines every function
// that is declared here without a body. The decoder relies on what the comments promise, and on nothing else: where
// they say that the provider decides, either choice is right.
//
// Types and attributes are handles: small values, copied freely, compared cheaply, valid for as long as the provider
// keeps their module. The decoder keeps handles in decoders, trees and filters only. An empty handle stands
// for "none". Nothing is undefined on it: each query below says what an empty handle answers, so a lookup that fails
// can be carried along and tested where it matters.
//
// A provider derives its own classes from `ZynModule` and `GenericIf`, makes every module and value of the process, and
// so may cast a reference to either down to its own class.
//
// The s4 text of a value is its protobuf message in base64. The caller of the decoder chooses whether types that have
// such a message are read from s4 texts; the decoder undoes the base64.
//
// What the decoder calls to make a value of a type from one text, by the first row that holds:
//
//   the type                               the calls, each with `mode` false
//   hasS4Encoding() and no valAttr(), and  genericIfFromPbMessage(the message that was base64)
//     the caller asks for s4 texts
//   hasGnmiStringForm()                    genericIfFromGnmiString(text)
//   has a valAttr(): a wrapper             those of the inner type, valAttr().attrType(), for the same text; then
//                                          genericIf([the inner value])
//   isEnumType()                           genericIf(the text between single quotes)
//   isFundamentalString()                  genericIf(the text between double quotes)
//   isUnionType()                          genericIf(null data); for each attribute in order the calls of its type for
//                                          the same text, until one of them succeeds; then genericIfSet of that one
//   any other                              genericIf(text)
//
// A value whose parts have texts of their own is built from them: genericIf(constructor arguments), then genericIfSet
// for each attribute that was given and is no argument, in no particular order. The part that has a text is of a type
// that answers `isScalarKind()`, `isEnumType()` or a `valAttr()`, or, where s4 texts are asked for, both
// `hasS4Encoding()` and `isValue()`. Callers may try either way with any type, whatever its queries answer: one that is
// not made so throws.
//
// Depth: a wrapper, or a union, whose value or alternatives lead back to the type itself makes the decoder recurse
// until the stack is gone, so a provider has none. A type that is built from attributes may lead back to itself. The
// decoder uses stack in proportion to how deep wrappers, unions and paths nest.
//
// Threads: every query is read-only and may be called from any thread. Any number of threads make values at once.
// Setting an attribute changes the object: one thread at a time for one object.
//
// Errors: queries never fail and never throw. The `genericIf` family and `genericIfSet` throw what they name below
// when the input does not fit, and `std::bad_alloc` when memory runs out. Any other exception ends the process, for the
// decoder's operations are `noexcept`; so does `std::bad_alloc`.
//
//   accepted   type.genericIf(Velko::String("\"red\""), false)   for the core type "Zyn::String"
//   refused    type.genericIf(Velko::String("red"), false)       throws `Velko::Exception`: the quotes are missing
//
// Building: both sides are compiled as C++23 or later, with the same standard library, Boost.Container, {fmt} and
// Abseil; the last two have their version in the namespace (`fmt::v9`), and so in the names of symbols. The symbols of
// the provider, the type information of the exceptions among them, have default visibility: they are found when
// `libDrovan.so` is loaded, in the program or in a library of the provider's.
//
// Not checked: that a handle was made by the provider that is asked about it.
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <string_view>
#include <utility>

#include "KvFmt/Format.h"
#include "Velko/Allocator.h"
#include "Velko/Exception.h"
#include "Velko/Pb.h"
#include "Velko/Ptr.h"
#include "Velko/String.h"

namespace Zyn {

class ZynAttr;
class ZynType;

/**
 * A value object of any type. It is made by the `genericIf` family only, changed by `genericIfSet` only, and lives as
 * long as a `Velko::Ptr` holds it. A provider derives its own classes, which say what the object holds; the decoder
 * never looks inside.
 */
class GenericIf : public Velko::Node {
 protected:
  GenericIf() noexcept = default;
  ~GenericIf() override;
};

/**
 * Constructor arguments in declared order; eight fit without an allocation. One is null only where the provider itself
 * made it null.
 */
using GenericIfArgs = boost::container::small_vector<
    Velko::Ptr<GenericIf const>, 8,
    Velko::Allocator<Velko::Ptr<GenericIf const>, false, Velko::SmallVectorOf<Velko::Ptr<GenericIf const>>>>;

/**
 * Iterates over names in order: `for (; names; ++names) use(*names);`. It points into the provider's array. Array and
 * names stay where they are, and as they are, for as long as the module of the type: values are made in between.
 */
class ArgNameQIterator {
 public:
  ArgNameQIterator() noexcept = default;
  ArgNameQIterator(char const* const* first, std::size_t count) noexcept : current_(first), end_(first + count) {}

  explicit operator bool() const noexcept { return current_ != end_; }
  /** NUL-terminated. Only while there is a current name. */
  char const* operator*() const noexcept { return *current_; }
  ArgNameQIterator& operator++() noexcept {
    ++current_;
    return *this;
  }

 private:
  char const* const* current_ = nullptr;
  char const* const* end_ = nullptr;
};

/** A set of types, each at an index of its own. Each module lives as long as anybody uses a handle of it. */
class ZynModule {
 public:
  ZynModule(ZynModule const&) = delete;
  ZynModule& operator=(ZynModule const&) = delete;

  /**
   * The names of a type's constructor arguments, in declared order; `index` is the `argListIndex()` of a type of this
   * module. No names for a type without constructor arguments; such types may share an index. The decoder asks for no
   * other index: what an unknown one answers, the provider decides.
   *
   * Each name is one that `ZynTypeBase::attr` finds on the same type. One that it does not find makes every key of the
   * type fail, as if that attribute had not been given.
   */
  ArgNameQIterator argNameQIterator(std::uint32_t index) const noexcept;

 protected:
  ZynModule() noexcept = default;
  ~ZynModule() = default;
};

/** What a type handle is: the module that defines the type, and the type's index there. */
class ZynTypeBase {
 public:
  ZynTypeBase() noexcept = default;
  /** For the provider; the decoder only copies handles by it. */
  ZynTypeBase(ZynModule const* module, std::uint32_t index) noexcept : module_(module), index_(index) {}

  bool empty() const noexcept { return module_ == nullptr; }
  /** Null for an empty handle. */
  ZynModule const* module() const noexcept { return module_; }
  std::uint32_t index() const noexcept { return index_; }

  /**
   * The attribute of exactly this name (byte for byte); no two attributes of a type have one name. An empty handle when
   * the type has none, and on an empty type. Asked again, it answers an equal handle. The first form takes a
   * NUL-terminated name, which is not null. No path reaches an attribute whose name holds "__".
   *
   * Attributes inherited from a base type count as the type's own: paths and constructor arguments may name them. A
   * type system without inheritance has nothing to do for this.
   */
  ZynAttr attr(char const* name) const noexcept;
  ZynAttr attr(std::string_view name) const noexcept;

  /** The same type of the same module. */
  friend bool operator==(ZynTypeBase const&, ZynTypeBase const&) = default;

 private:
  ZynModule const* module_ = nullptr;
  std::uint32_t index_ = 0;
};

/** A type. Queries on an empty handle answer an empty name, false, an empty handle, or 0. */
class ZynType : public ZynTypeBase {
 public:
  using ZynTypeBase::ZynTypeBase;

  /**
   * The printable name, NUL-terminated, alive as long as the module. The core types of strings, bytes, seconds and time
   * print as "Zyn::String", "Zyn::Bytes", "Zyn::Seconds" and "Zyn::Time"; every other type by the name that its module
   * recorded. For messages and traces only: compare handles, not names.
   */
  char const* name() const noexcept;

  /**
   * A value type: `genericIf` of null data makes a default object. Scalars, enumerations, wrappers, unions and the
   * types that keys are built from are value types; an entity, which is a type that may have collections, is none. The
   * decoder asks it of unions and of types with s4 encoding only; other users tell leaves from containers by it.
   */
  bool isValue() const noexcept;
  /** An enumeration: the literal of an enumerator is its name in single quotes. */
  bool isEnumType() const noexcept;
  /** Values also exist as a protobuf message, which `genericIfFromPbMessage` reads. */
  bool hasS4Encoding() const noexcept;
  /** The type reads its gNMI string form itself, by `genericIfFromGnmiString`. */
  bool hasGnmiStringForm() const noexcept;
  /**
   * A union: its attributes, in order, are its alternatives. It answers `isValue()` and `isScalarKind()`, too, and its
   * default object is one in which no alternative is set yet. The decoder ends the process by an assertion where it is
   * to try the alternatives of a union that is no value type.
   */
  bool isUnionType() const noexcept;
  /**
   * Always supplied whole by one text: the built-in scalars (the provider decides which types these are), every type
   * with gNMI string form, and every union. The core string type and numbers are to answer true where keys have such
   * fields: a key path is refused whose last element is of a type that answers false, unless it is an enumeration, a
   * wrapper, or read from an s4 text.
   */
  bool isScalarKind() const noexcept;
  /** The core string type of `Velko::_Velko_FundamentalTypes_Module`: its literal is a text in double quotes. */
  bool isFundamentalString() const noexcept;
  /**
   * The one attribute through which a wrapper type holds its value; empty for every other type. From one text, a
   * wrapper is built with its inner value as the only argument, whatever its argument list says. The list is read only
   * to build the wrapper from parts that have texts of their own.
   */
  ZynAttr valAttr() const noexcept;
  /** Where the type's constructor arguments are listed: for `ZynModule::argNameQIterator` of the type's module. */
  std::uint32_t argListIndex() const noexcept;

  // Each of the following makes a value object of this type, or throws as it says. Arguments are only read, and only
  // for the call. An empty handle throws as for input that does not fit. What `mode` asks for when it is true is the
  // platform's business: the decoder always passes false, and a provider may ignore it.
  //
  // None returns null. Where one does, the decoder takes the null for a value and hands it on, to arguments, to
  // `genericIfSet` and to its caller, without looking at it. A null from a protobuf message ends the process by an
  // assertion.
  //
  // What is made from null data or from arguments has no other owner, for attributes are set on it afterwards. What is
  // made from a text or a message may be an object that has other owners as well: the decoder does not change it.

  /**
   * From the type's literal: strings in double quotes, enumerators in single quotes, other scalars bare. Text that is
   * no value of the type, whatever bytes it holds, throws `Velko::Exception`. Which bare texts a scalar takes ("+7",
   * "007"), the provider decides.
   *
   * Between the outer quotes stands what a remote caller wrote, byte for byte, with nothing escaped: it may hold
   * quotes, backslashes and NUL. A provider takes those bytes as they are (the literal `"a"b"` is the string `a"b`) or
   * refuses them.
   *
   * Always pass a `Velko::String`: a text in quotes would turn into the `void const*` of the next overload.
   */
  Velko::Ptr<GenericIf> genericIf(Velko::String const& text, bool mode) const;
  /** The default value, for null `data`; nothing else is ever passed. Throws `Velko::Exception` where there is none. */
  Velko::Ptr<GenericIf> genericIf(void const* data, bool mode) const;
  /**
   * From constructor arguments, which the value may keep. One list is used by one thread at a time, also for this call:
   * what its pointers alone hold may be counted without a lock. Throws `Velko::Exception` when number or types differ.
   * For a null argument it throws, too, or makes a value that lacks it: the provider decides.
   */
  Velko::Ptr<GenericIf> genericIf(GenericIfArgs const& args, bool mode) const;
  /** From the gNMI string form. Text that is no value of the type throws `Velko::Exception`. */
  Velko::Ptr<GenericIf> genericIfFromGnmiString(Velko::String const& text, bool mode) const;
  /**
   * Reads one serialised value: the bytes from the cursor's position to its end. `cursor` is a `Velko::Pb::ReadCursor`,
   * which the decoder does not look at afterwards: where the reader leaves it, and whether fields that the type does
   * not know are skipped or refused, the provider decides.
   *
   * Whatever is wrong throws `Velko::Pb::PbReadException`: a malformed message, a number out of range, a part that is
   * missing. A `Velko::Exception` from here would end the process.
   */
  Velko::Ptr<GenericIf> genericIfFromPbMessage(void* cursor, bool mode) const;
};

/**
 * An attribute of a type. Two handles are equal, and hash alike, when module and attribute index are. So the index
 * counts the attributes of the module, not those of the type: no two attributes of a module share one.
 *
 * Queries on an empty handle answer an empty name, false, an empty handle, or null.
 */
class ZynAttr {
 public:
  ZynAttr() noexcept = default;
  /**
   * From the module, the index of the owning type and the index of the attribute, both in the module. For the provider;
   * the decoder only copies handles by it.
   */
  ZynAttr(ZynModule const* module, std::uint32_t owner, std::uint32_t index) noexcept
      : module_(module), owner_(owner), index_(index) {}

  bool empty() const noexcept { return module_ == nullptr; }
  /** Null for an empty handle. */
  ZynModule const* module() const noexcept { return module_; }
  /**
   * The index of a type of `module()` that has the attribute. For an inherited one the provider decides: the type that
   * declares it, or the one that it was found through. The decoder only copies it.
   */
  std::uint32_t owner() const noexcept { return owner_; }
  std::uint32_t index() const noexcept { return index_; }

  /** The declared name, NUL-terminated, alive as long as the module; empty for an empty handle only. */
  char const* name() const noexcept;
  /** The declared type, empty for an empty handle only. For a collection: the type of its entries. */
  ZynType attrType() const noexcept;
  /** A keyed collection that records key information. Otherwise it has no internal key name and no key type. */
  bool isKeyed() const noexcept;
  /**
   * The name of the attribute of the entries' type that holds an entry's key, NUL-terminated, alive as long as the
   * module. Null when the attribute is not keyed or records no such name. That the attribute exists, and that its type
   * is `keyType()`, is not promised.
   */
  char const* internalKeyName() const noexcept;
  /** The type of the collection's keys; empty when not keyed. Where a keyed one has none, no key can be decoded. */
  ZynType keyType() const noexcept;

  /**
   * Sets this attribute of `object` to `value`, of which the object keeps a reference. On a union it chooses the
   * alternative. `key` is the key of an entry when the attribute is a collection; the decoder sets plain attributes
   * only and always passes null. A value or object that does not fit throws `Velko::Exception` and leaves the object as
   * it was. `object` and `value` are null only where the provider itself made them null; a provider refuses them, too.
   */
  void genericIfSet(Velko::Ptr<GenericIf> const& object, Velko::Ptr<GenericIf const> const& key,
                    Velko::Ptr<GenericIf const> const& value) const;

  friend bool operator==(ZynAttr const& a, ZynAttr const& b) noexcept {
    return a.module_ == b.module_ && a.index_ == b.index_;
  }

  template <typename H>
  friend H AbslHashValue(H state, ZynAttr const& attr) {
    // One number is mixed in half the time that two take.
    auto const module = reinterpret_cast<std::uintptr_t>(attr.module_);
    return H::combine(std::move(state), module + (std::uint64_t{attr.index_} << 32U));
  }

 private:
  ZynModule const* module_ = nullptr;
  std::uint32_t owner_ = 0;
  std::uint32_t index_ = 0;
};

/**
 * Iterates over a type's attributes in declaration order: `for (AttributeQIterator it(type); it; ++it) use(*it);`.
 *
 * The decoder iterates over those of unions only, where the order is that in which alternatives are tried. Whether
 * inherited attributes are among them, and where they come in the order, the provider decides.
 */
class AttributeQIterator {
 public:
  /** At the first attribute; at the end for a type without attributes and for an empty one. */
  explicit AttributeQIterator(ZynType type) noexcept;

  explicit operator bool() const noexcept { return !current_.empty(); }
  /** An empty handle at the end. */
  ZynAttr operator*() const noexcept { return current_; }
  /** Only while there is a current attribute. */
  AttributeQIterator& operator++() noexcept;

 private:
  ZynType type_;
  /** What the provider makes of it, for its next step. */
  std::uint32_t position_ = 0;
  ZynAttr current_;
};

}  // namespace Zyn

namespace Velko {

/**
 * The module of the core types: fundamental scalars, strings, bytes, seconds and time, as many of them as the provider
 * has. It may hold other types as well. For users of the type system; the decoder asks `isFundamentalString()` instead.
 */
Zyn::ZynModule const& _Velko_FundamentalTypes_Module();  // NOLINT(bugprone-reserved-identifier)

}  // namespace Velko

template <>
struct fmt::formatter<Zyn::ZynType> : KvFmt::TextFormatter {
  template <typename Context>
  auto format(Zyn::ZynType const& type, Context& context) const {
    return write(type.name(), context);
  }
};
