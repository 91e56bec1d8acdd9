// Value objects of the embedded type system, as their user sees them: read, printed, compared, matched.
//
// Values are shared by `Velko::Ptr` and are not changed by anything here; any number of threads may read one value at
// once, as long as nobody sets an attribute of it. Functions throw the `Velko::Exception` that they name, and
// `std::bad_alloc` when memory runs out; what they return belongs to the caller.
//
//   accepted   get<std::uint64_t>(key, "tag")      for a `Network::RouteKey` that holds tag=7: 7
//   refused    get<std::uint64_t>(key, "vrf")      throws: vrf holds a string
//
// Not checked: that every `value` is one that the embedded type system made.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

#include "model/Schema.h"

namespace Model {

using ValuePtr = Velko::Ptr<Zyn::GenericIf const>;

Zyn::ZynType typeOf(Zyn::GenericIf const& value) noexcept;

// Texts of the scalar kinds, as the type system reads them; each prints in the one form given last.
//
//   Bool                `true`, `false`
//   integers            decimal and in range; `010` is 10, `-0` is 0 where there are negative numbers; no `+`, no
//   blanks Float, Double       decimal and finite, `1.5` or `15e-1`; refused when too small to be told from 0. Prints
//   with the
//                       fewest digits that read back the same; `-0` stays `-0`
//   String              any bytes in double quotes, without escapes: `"a"b"` holds `a"b`
//   Bytes               base64 with padding, and no other text for the same bytes
//   Seconds             `-1.5`, at most 9 digits after the point, in 64 bits of nanoseconds. Prints without zeros
//   behind Time                `2024-02-29T12:34:56.5+01:00`, at most 9 digits after the point, in 64 bits of
//   nanoseconds since
//                       1970; a leap second is refused, having no number. Prints in UTC: `2024-02-29T11:34:56.5Z`
//   IpAddress           as inet_pton reads it and inet_ntop prints it
//   IpPrefix            an address, `/` and a length; prints with the bits behind the length cleared
//   MacAddress          `02:00:5E:10:00:FF`; prints in lower case
//   enumerations        an enumerator's name in single quotes
//
// The gNMI string form is the same without quotes.

/**
 * The literal: `7`, `"red"`, `'bgp'`, `Network::VlanId(7)`, `Network::PortName(number=7)`,
 * `Network::RouteKey(vrf="red", tag=7)`. Attributes that were never set are left out: `Network::PortName()`.
 */
std::string print(Zyn::GenericIf const& value);

/**
 * The text that stands for the value in a path: the literal without quotes, of a wrapper and a union what they hold, of
 * a value type its gNMI form. Nothing for what was never set, and for a value type without such a form. Not checked:
 * that the type reads it as this value again; an earlier alternative of a union may take it.
 */
std::optional<std::string> gnmiText(Zyn::GenericIf const& value);

/**
 * Booleans and numbers as such, but 64-bit integers as strings, as JSON readers lose their digits; a value type as an
 * object in declaration order, without what is not set; a union as `{"number": 7}`; a wrapper as what it wraps, or
 * null; all else as a string without quotes of its own. Seconds are a number, exact to as many digits as a double has.
 * Bytes that are not UTF-8 stay as they are: dump with an error handler that replaces them.
 */
nlohmann::ordered_json toJson(Zyn::GenericIf const& value);

/**
 * A total order over all values: by type name, then by content. Addresses by number, IPv4 first; strings by unsigned
 * bytes; enumerators by number; -0 before 0; attributes in declaration order, unset ones first.
 */
std::strong_ordering compare(Zyn::GenericIf const& a, Zyn::GenericIf const& b) noexcept;
bool equal(Zyn::GenericIf const& a, Zyn::GenericIf const& b) noexcept;
/** Equal values hash alike within one process. */
std::size_t hash(Zyn::GenericIf const& value) noexcept;

/** An attribute's value; null when it was never set. Throws `Velko::Exception` when the type has no such attribute. */
ValuePtr attribute(Zyn::GenericIf const& value, std::string_view name);
/** The same by handle. Null when the attribute is not one of the value's type. */
ValuePtr attribute(Zyn::GenericIf const& value, Zyn::ZynAttr attr) noexcept;

// What a scalar holds. Wrappers are looked through. Throws `Velko::Exception` when the value holds something else or
// does not fit in the result: integers of every width are read as either 64-bit form, and so are Seconds and Time, in
// nanoseconds, and enumerators, by number. A `double` is read from Float and Double only.
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
    throw Error(Velko::String("Attribute '") + name + "' of '" + typeOf(value).name() + "' is not set");
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

/**
 * The value's s4 text: its protobuf message in base64, the same for equal values. Attributes that have no field number
 * are left out. Throws `Velko::Exception` when the type has no s4 encoding, and for a value that could not be read
 * again: a constructor argument, a union's alternative or what a wrapper holds was never set.
 */
std::string s4Text(Zyn::GenericIf const& value);

/**
 * The messages of every type of the schema that has an s4 encoding, and of the types inside them, as one `.proto` file
 * (proto2, so that a missing field is told from a zero). A module is an outer message: `Network.RouteKey`; an
 * enumeration is `Network.Protocol.Enum`. What is no identifier in a name becomes `_`; a number tells equal names
 * apart.
 *
 * A type that is no message by itself is one with the only field `value = 1`. A nested value type without numbers of
 * its own has fields from 1 in declaration order. Readers of these messages skip unknown fields, take the last
 * occurrence of a repeated one, also where it is a message, and refuse numbers out of range.
 */
std::string protoFile(Schema const& schema);

}  // namespace Model
