// Value objects of the embedded type system, as their user sees them: read, printed, compared, matched.
//
// Values are shared by `Velko::Ptr` and are not changed by anything here; any number of threads may read one value at
// once, as long as nobody sets an attribute of it. Every `value` is one that the embedded type system made, not null.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

#include "model/Schema.h"

namespace Model {

using ValuePtr = Velko::Ptr<Zyn::GenericIf const>;

Zyn::ZynType typeOf(Zyn::GenericIf const& value) noexcept;

/**
 * The literal: `7`, `"red"`, `'bgp'`, `Network::VlanId(7)`, `Network::PortName(number=7)`,
 * `Network::RouteKey(vrf="red", tag=7)`. Attributes that were never set are left out.
 */
std::string print(Zyn::GenericIf const& value);

/**
 * Booleans and numbers as such, but 64-bit integers as strings, as JSON readers lose their digits; a value type as an
 * object in declaration order; a union as `{"number": 7}`; a wrapper as what it wraps; all else as a string without
 * quotes of its own. Bytes that are not UTF-8 stay as they are: dump with an error handler that replaces them.
 */
nlohmann::ordered_json toJson(Zyn::GenericIf const& value);

/** A total order over all values: by type, then by content; addresses by number, strings by unsigned bytes. */
std::strong_ordering compare(Zyn::GenericIf const& a, Zyn::GenericIf const& b) noexcept;
bool equal(Zyn::GenericIf const& a, Zyn::GenericIf const& b) noexcept;
/** Equal values hash alike within one process. */
std::size_t hash(Zyn::GenericIf const& value) noexcept;

/** An attribute's value; null when it was never set. Throws `Velko::Exception` when the type has no such attribute. */
ValuePtr attribute(Zyn::GenericIf const& value, std::string_view name);
/** The same by handle. Null when the attribute is not one of the value's type. */
ValuePtr attribute(Zyn::GenericIf const& value, Zyn::ZynAttr attr) noexcept;

// What a scalar holds. Wrappers are looked through. Throws `Velko::Exception` when the value holds something else or
// does not fit in the result: integers of every width are read as either 64-bit form.
template <typename T>
T as(Zyn::GenericIf const& value) = delete;
template <>
bool as<bool>(Zyn::GenericIf const& value);
template <>
std::int64_t as<std::int64_t>(Zyn::GenericIf const& value);
template <>
std::uint64_t as<std::uint64_t>(Zyn::GenericIf const& value);
template <>
double as<double>(Zyn::GenericIf const& value);
/** Strings as their bytes, Bytes decoded, enumerators by name, everything else scalar as it prints. */
template <>
std::string as<std::string>(Zyn::GenericIf const& value);

/** `get<std::uint64_t>(key, "tag")`: what the attribute holds. Throws `Velko::Exception` as above, or when unset. */
template <typename T>
T get(Zyn::GenericIf const& value, std::string_view name) {
  ValuePtr const held = attribute(value, name);
  if (!held) {
    throw Velko::Exception(Velko::String("Attribute '") + name + "' of '" + typeOf(value).name() + "' is not set");
  }
  return as<T>(*held);
}

/**
 * Whether every attribute that the filter names has the filter's value in `key`; an empty filter matches every key.
 * `Filter` is a map from `Zyn::ZynAttr` to a pointer to a value.
 */
template <typename Filter>
bool matches(Filter const& filter, Zyn::GenericIf const& key) {
  for (auto const& [attr, wanted] : filter) {
    ValuePtr const held = attribute(key, attr);
    if (!held || !equal(*held, *wanted)) {
      return false;
    }
  }
  return true;
}

/** The value's s4 text: its protobuf message in base64. Throws `Velko::Exception` when the type has no s4 encoding. */
std::string s4Text(Zyn::GenericIf const& value);

/**
 * The messages of every type of the schema that has an s4 encoding, and of the types inside them, as one `.proto` file
 * (proto2, so that a missing field is told from a zero). A module is an outer message: `Network.RouteKey`.
 */
std::string protoFile(Schema const& schema);

}  // namespace Model
