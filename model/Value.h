// Value objects of the embedded type system, as their user sees them: read, printed, compared, matched.
//
// Values are shared by `Velko::Ptr` and are not changed by anything here; any number of threads may read one value at
// once, as long as nobody sets an attribute of it. Functions throw `Model::Error` where they say so, and
// `std::bad_alloc` when memory runs out; what they return belongs to the caller.
//
//   accepted   get<std::uint32_t>(key, "tag")      for a `Network::RouteKey` that holds tag=7: 7
//   refused    get<std::uint32_t>(key, "vrf")      throws: vrf holds a string
//
// Not checked: that every `value` is one that the embedded type system made.
#pragma once

#include <compare>
#include <concepts>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

#include "model/Schema.h"

namespace Model {

using ValuePtr = Velko::Ptr<Zyn::GenericIf const>;

Zyn::ZynType typeOf(Zyn::GenericIf const& value) noexcept;

// Texts of the scalar kinds, as the type system reads them; each prints in the one form given last.
//
//   Bool                `true`, `false`
//   integers            decimal and in range; `010` is 10, `-0` is 0 where there are negative numbers; no `+`, no blanks
//   Float, Double       decimal and finite, `1.5` or `15e-1`; refused when too small to be told from 0. Prints with the
//                       fewest digits that read back the same; `-0` stays `-0`
//   String              any bytes in double quotes, without escapes: `"a"b"` holds `a"b`
//   Bytes               base64 with padding, and no other text for the same bytes
//   Seconds             `-1.5`, at most 9 digits after the point, in 64 bits of nanoseconds. Prints no trailing zeros
//   Time                `2024-02-29T12:34:56.5+01:00`, at most 9 digits after the point, in 64 bits of nanoseconds since
//                       1970; a leap second is refused, having no number. Prints in UTC: `2024-02-29T11:34:56.5Z`
//   IpAddress           as inet_pton reads it and inet_ntop prints it
//   IpPrefix            an address, `/` and a length; prints with the bits after the prefix length cleared
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
 * Bytes that are not UTF-8 stay as they are: dump with an error handler that replaces them. Include
 * `<nlohmann/json.hpp>` to use the result.
 */
nlohmann::ordered_json toJson(Zyn::GenericIf const& value);
/** Appends the same as text without blanks; bytes that are not UTF-8 become U+FFFD. No document is built for it. */
void appendJson(Zyn::GenericIf const& value, std::string& out);

/**
 * A total order over all values: by type name, then by content. Addresses by number, IPv4 first; strings by unsigned
 * bytes; enumerators by number; -0 before 0; attributes in declaration order, unset ones first.
 */
std::strong_ordering compare(Zyn::GenericIf const& a, Zyn::GenericIf const& b) noexcept;
bool equal(Zyn::GenericIf const& a, Zyn::GenericIf const& b) noexcept;
/** Equal values hash alike within one process. */
std::size_t hash(Zyn::GenericIf const& value) noexcept;

/**
 * A value as a key of maps and sets, ordered or hashed: keys are equal when their values are, not when they are one
 * object. A pointer that is never null; copying it shares the value, moving it costs two words. A key that was moved
 * from may only be assigned to or destroyed.
 *
 *   std::map<Model::Key, int> ordered;
 *   std::unordered_map<Model::Key, int> hashed;
 *   absl::flat_hash_map<Model::Key, int> flat;
 *   flat[vlan.genericIf(Velko::String("7"), false)] = 1;
 *   flat.contains(vlan.genericIf(Velko::String("7"), false));  // true: another object, the same value
 *
 * Not checked: that nobody sets an attribute of a value while it is a key.
 */
class Key {
 public:
  /** From a pointer to a value, as the type system returns it. Throws `Model::Error` when it is null. */
  template <typename Value>
    requires std::convertible_to<Velko::Ptr<Value>, ValuePtr>
  Key(Velko::Ptr<Value> value) : value_(std::move(value)) {
    if (!value_) {
      refuseNull();
    }
  }

  Zyn::GenericIf const& operator*() const noexcept { return *value_; }
  ValuePtr const& pointer() const noexcept { return value_; }

  friend bool operator==(Key const& a, Key const& b) noexcept { return equal(*a, *b); }
  friend std::strong_ordering operator<=>(Key const& a, Key const& b) noexcept { return compare(*a, *b); }
  template <typename H>
  friend H AbslHashValue(H state, Key const& key) {
    return H::combine(std::move(state), hash(*key));
  }

 private:
  [[noreturn]] static void refuseNull();

  ValuePtr value_;
};

/**
 * An attribute's value; null when it was never set. Throws `Model::Error` when the type has no such attribute. A
 * wrapper holds its inner value as the attribute `value`. A union holds one alternative, and all others are null.
 *
 * A small scalar lies in the memory of the value that was built from it: who keeps the scalar keeps that memory, also
 * when the value itself has gone.
 */
ValuePtr attribute(Zyn::GenericIf const& value, std::string_view name);
/** The same by handle. Null when the attribute is not one of the value's type. */
ValuePtr attribute(Zyn::GenericIf const& value, Zyn::ZynAttr attr) noexcept;

namespace Detail {

bool asBool(Zyn::GenericIf const& value);
/** `bits` are those of the result, of which the limits are given. */
std::int64_t asSigned(Zyn::GenericIf const& value, std::int64_t min, std::int64_t max, int bits);
std::uint64_t asUnsigned(Zyn::GenericIf const& value, std::uint64_t max, int bits);
double asDouble(Zyn::GenericIf const& value);
std::string asString(Zyn::GenericIf const& value);

template <typename T, typename... Others>
concept oneOf = (std::same_as<T, Others> || ...);

}  // namespace Detail

/**
 * What a scalar holds, or a wrapper of one. Throws `Model::Error` when the value holds something else or does not fit
 * in the result. Of a union, ask for the alternative that is set: `get<int>(port, "number")`.
 *
 *   bool             from Bool
 *   integers         of every width, from integers, and from Seconds, Time (nanoseconds) and enumerators (numbers)
 *   double           from Float and Double
 *   std::string      strings as their bytes, Bytes decoded, enumerators by name, all other scalars as they print
 */
template <typename T>
T as(Zyn::GenericIf const& value) {
  if constexpr (std::same_as<T, bool>) {
    return Detail::asBool(value);
  } else if constexpr (Detail::oneOf<T, signed char, short, int, long, long long>) {
    using Limits = std::numeric_limits<T>;
    return static_cast<T>(Detail::asSigned(value, Limits::min(), Limits::max(), Limits::digits + 1));
  } else if constexpr (Detail::oneOf<T, unsigned char, unsigned short, unsigned, unsigned long, unsigned long long>) {
    using Limits = std::numeric_limits<T>;
    return static_cast<T>(Detail::asUnsigned(value, Limits::max(), Limits::digits));
  } else if constexpr (std::same_as<T, double>) {
    return Detail::asDouble(value);
  } else if constexpr (std::same_as<T, std::string>) {
    return Detail::asString(value);
  } else {
    static_assert(Detail::oneOf<T>,
                  "Model::as<T> and Model::get<T> read a scalar: write bool, an integer type such as std::uint32_t, "
                  "double or std::string for T");
  }
}

/** `get<std::uint32_t>(key, "tag")`: what the attribute holds. Throws `Model::Error` as above, or when never set. */
template <typename T>
T get(Zyn::GenericIf const& value, std::string_view name) {
  ValuePtr const part = attribute(value, name);
  if (!part) {
    throw Error(Velko::String("Attribute '") + name + "' of '" + typeOf(value).name() + "' is not set");
  }
  return as<T>(*part);
}

/**
 * Whether every attribute that the filter names has the filter's value in `key`; an empty filter matches every key.
 * `Filter` is a map from `Zyn::ZynAttr` to a pointer to a value.
 */
template <typename Filter>
bool matches(Filter const& filter, Zyn::GenericIf const& key) {
  for (auto const& [attr, wanted] : filter) {
    ValuePtr const part = attribute(key, attr);
    if (!part || !equal(*part, *wanted)) {
      return false;
    }
  }
  return true;
}

/**
 * The value's s4 text: its protobuf message in base64, the same for equal values. Attributes that have no field number
 * are left out. Throws `Model::Error` when the type has no s4 encoding, and for a value that could not be read
 * again: a constructor argument, a union's alternative or what a wrapper holds was never set.
 */
std::string s4Text(Zyn::GenericIf const& value);

/**
 * The messages of every type of the schema that has an s4 encoding, and of the types inside them, as one `.proto` file
 * (proto2, so that a missing field is told from a zero). A module is an outer message: `Network.RouteKey`; an
 * enumeration is `Network.Protocol.Enum`. Bytes of a name that protobuf does not allow become `_`, and names that are
 * equal then get a number.
 *
 * A type that is no message by itself is one with the only field `value = 1`. A nested value type without numbers of
 * its own has fields from 1 in declaration order. Readers of these messages skip unknown fields, take the last
 * occurrence of a repeated one, also where it is a message, and refuse numbers out of range.
 */
std::string protoFile(Schema const& schema);

}  // namespace Model

template <>
struct std::hash<Model::Key> {
  std::size_t operator()(Model::Key const& key) const noexcept { return Model::hash(*key); }
};
