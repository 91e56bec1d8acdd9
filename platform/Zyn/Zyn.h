// The reflective type system: types, their attributes, and value objects that are made from text, from constructor
// arguments or from a protobuf message.
//
// Types and attributes are handles: small values, copied freely, compared cheaply, valid until the process ends. An
// empty handle stands for "none". Nothing is undefined on it: each query below says what an empty handle answers, so a
// lookup that fails can be carried along and tested where it matters.
//
// Threads: every query is read-only and may be called from any thread. Making values is free of shared state. Setting
// an attribute changes the object: one thread at a time for one object.
//
// Errors: queries never fail and never throw. The `genericIf` family and `genericIfSet` throw what they name below
// when the input does not fit, and `std::bad_alloc` when memory runs out; nothing else.
//
//   accepted   type.genericIf(Velko::String("\"red\""), false)   for the core type "Zyn::String"
//   refused    type.genericIf(Velko::String("red"), false)       throws `Velko::Exception`: the quotes are missing
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
 * long as a `Velko::Ptr` holds it. What it holds is the provider's business.
 */
class GenericIf : public Velko::Node {
 protected:
  GenericIf() noexcept = default;
  ~GenericIf() override;
};

/** Constructor arguments in declared order; a null one stays null. Eight fit without an allocation. */
using GenericIfArgs = boost::container::small_vector<
    Velko::Ptr<GenericIf const>, 8,
    Velko::Allocator<Velko::Ptr<GenericIf const>, false, Velko::SmallVectorOf<Velko::Ptr<GenericIf const>>>>;

/** Walks names in order: `for (; names; ++names) use(*names);`. The names live until the process ends. */
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

/** A named set of types. Only the provider makes modules, and they live until the process ends. */
class ZynModule {
 public:
  ZynModule(ZynModule const&) = delete;
  ZynModule& operator=(ZynModule const&) = delete;

  /**
   * The names of a type's constructor arguments, in declared order; `index` is the type's `argListIndex()`. No names
   * for a type without constructor arguments.
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
  /** For the provider. */
  ZynTypeBase(ZynModule const* module, std::uint32_t index) noexcept : module_(module), index_(index) {}

  bool empty() const noexcept { return module_ == nullptr; }
  /** Null for an empty handle. */
  ZynModule const* module() const noexcept { return module_; }
  std::uint32_t index() const noexcept { return index_; }

  /**
   * The attribute of exactly this name (byte for byte), inherited ones included. An empty handle when the type has
   * none, and on an empty type. The first form takes a NUL-terminated name, which is not null.
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
   * The printable name, NUL-terminated, alive until the process ends. The core types of strings, bytes, seconds and
   * time print as "Zyn::String", "Zyn::Bytes", "Zyn::Seconds" and "Zyn::Time"; every other type by the name that its
   * module recorded. For messages and traces only: compare handles, not names.
   */
  char const* name() const noexcept;

  /** A value type: it can be default-constructed as a value object. */
  bool isValue() const noexcept;
  /** An enumeration: an enumerator is written as its name in single quotes. */
  bool isEnumType() const noexcept;
  /** Values also exist as a protobuf message, base64-encoded. */
  bool hasS4Encoding() const noexcept;
  /** The type reads its gNMI string form itself, by `genericIfFromGnmiString`. */
  bool hasGnmiStringForm() const noexcept;
  /** A union: its attributes, in order, are its alternatives. */
  bool isUnionType() const noexcept;
  /** Always supplied whole by one text: the built-in scalars, types with gNMI string form, and unions. */
  bool isScalarKind() const noexcept;
  /** The core string type of `Velko::_Velko_FundamentalTypes_Module`: its literal is a text in double quotes. */
  bool isFundamentalString() const noexcept;
  /** The one attribute through which a wrapper type holds its value; empty for every other type. */
  ZynAttr valAttr() const noexcept;
  /** Where the type's constructor arguments are listed: for `ZynModule::argNameQIterator` of the type's module. */
  std::uint32_t argListIndex() const noexcept;

  // Each of the following returns a new value object, never null for the first three. `mode` is a mode flag of the
  // type system; this library passes false. Arguments are only read, and only for the call. An empty handle throws as
  // for input that does not fit.

  /**
   * From the type's literal: strings in double quotes, enumerators in single quotes, other scalars bare. Text that is
   * no value of the type, whatever bytes it holds, throws `Velko::Exception`.
   *
   * Always pass a `Velko::String`: a text in quotes would turn into the `void const*` of the next overload.
   */
  Velko::Ptr<GenericIf> genericIf(Velko::String const& text, bool mode) const;
  /** The default value, for null `data`; nothing else is ever passed. Throws `Velko::Exception` where there is none. */
  Velko::Ptr<GenericIf> genericIf(void const* data, bool mode) const;
  /** From constructor arguments, which the value may keep. Throws `Velko::Exception` when number or types differ. */
  Velko::Ptr<GenericIf> genericIf(GenericIfArgs const& args, bool mode) const;
  /** From the gNMI string form. Text that is no value of the type throws `Velko::Exception`. */
  Velko::Ptr<GenericIf> genericIfFromGnmiString(Velko::String const& text, bool mode) const;
  /**
   * Reads one serialised value. `cursor` is a `Velko::Pb::ReadCursor`. A malformed message throws
   * `Velko::Pb::PbReadException`, never `Velko::Exception`. Never returns null.
   */
  Velko::Ptr<GenericIf> genericIfFromPbMessage(void* cursor, bool mode) const;
};

/**
 * An attribute of a type. Two handles are equal, and hash alike, when module and attribute index are: the index is the
 * attribute's within the module, so the owner that it was found through does not matter.
 *
 * Queries on an empty handle answer an empty name, false, an empty handle, or null.
 */
class ZynAttr {
 public:
  ZynAttr() noexcept = default;
  /** For the provider: the module, the index of the owning type and the index of the attribute, both in the module. */
  ZynAttr(ZynModule const* module, std::uint32_t owner, std::uint32_t index) noexcept
      : module_(module), owner_(owner), index_(index) {}

  bool empty() const noexcept { return module_ == nullptr; }
  /** Null for an empty handle. */
  ZynModule const* module() const noexcept { return module_; }
  std::uint32_t owner() const noexcept { return owner_; }
  std::uint32_t index() const noexcept { return index_; }

  /** The declared name, NUL-terminated, alive until the process ends; never empty but for an empty handle. */
  char const* name() const noexcept;
  /** The declared type. For a collection: the type of its entries. */
  ZynType attrType() const noexcept;
  /** A keyed collection that records key information. */
  bool isKeyed() const noexcept;
  /**
   * The name of the attribute of the entries' type that holds an entry's key, NUL-terminated, alive until the process
   * ends. Null when the attribute is not keyed or records no such name. That the attribute exists is not promised.
   */
  char const* internalKeyName() const noexcept;
  /** The type of the collection's keys; empty when not keyed. */
  ZynType keyType() const noexcept;

  /**
   * Sets this attribute of `object` to `value`, of which the object keeps a reference. `key` is the key of an entry
   * when the attribute is a collection; this library sets plain attributes only and passes null. A value or object
   * that does not fit, null ones included, throws `Velko::Exception` and leaves the object as it was.
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

/** Walks a type's attributes in declaration order: `for (AttributeQIterator it(type); it; ++it) use(*it);`. */
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
  std::uint32_t position_ = 0;
  ZynAttr current_;
};

}  // namespace Zyn

namespace Velko {

/** The module of the core types: fundamental scalars, strings, bytes, seconds and time. */
Zyn::ZynModule const& _Velko_FundamentalTypes_Module();  // NOLINT(bugprone-reserved-identifier)

}  // namespace Velko

template <>
struct fmt::formatter<Zyn::ZynType> : KvFmt::TextFormatter {
  template <typename Context>
  auto format(Zyn::ZynType const& type, Context& context) const {
    return write(type.name(), context);
  }
};
