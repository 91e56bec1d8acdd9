// How values are encoded as protobuf messages: for reading, writing and describing them. Internal to model/.
//
// A value type is a message whose fields are its attributes, with their s4 numbers, or numbered from 1 in declaration
// order where the type has no s4 numbers. A union is a message with its alternatives as fields from 1, of which one is
// set. A wrapper is encoded as what it wraps. Where a message is asked for and the type is none by itself (a scalar, an
// enumeration), it is the only field of a message around it.
#pragma once

#include <cstdint>
#include <string_view>

#include "Zyn/Zyn.h"
#include "model/Zyn/Objects.h"
#include "model/Zyn/Tables.h"

namespace Model {

enum class Wire : std::uint8_t { Unsigned, ZigZag, Enum, Fixed32, Fixed64, Bytes, Text, Message };

struct WireRow {
  Wire wire;
  /** As `.proto` files call it; empty for types that have names of their own. */
  std::string_view protoType;
};

/** For every kind but wrappers and entities. */
constexpr WireRow wireOf(Kind kind) {
  switch (kind) {
    case Kind::Bool:
      return {Wire::Unsigned, "bool"};
    case Kind::U8:
    case Kind::U16:
    case Kind::U32:
      return {Wire::Unsigned, "uint32"};
    case Kind::U64:
      return {Wire::Unsigned, "uint64"};
    case Kind::S8:
    case Kind::S16:
    case Kind::S32:
      return {Wire::ZigZag, "sint32"};
    case Kind::S64:
    case Kind::Seconds:
    case Kind::Time:
      return {Wire::ZigZag, "sint64"};
    case Kind::Float:
      return {Wire::Fixed32, "float"};
    case Kind::Double:
      return {Wire::Fixed64, "double"};
    case Kind::Bytes:
      return {Wire::Bytes, "bytes"};
    case Kind::String:
    case Kind::IpAddress:
    case Kind::IpPrefix:
    case Kind::MacAddress:
      return {Wire::Text, "string"};
    case Kind::Enum:
      return {Wire::Enum, ""};
    default:
      return {Wire::Message, ""};
  }
}

/** 0 where the attribute has no field. */
inline std::uint32_t fieldNumber(Zyn::ZynType owner, std::uint32_t slot) {
  return rowOf(owner).hasS4Numbers ? attrRow(owner, slot).s4Number : slot + 1;
}

/** The only field of a message around a type that is no message by itself. */
constexpr std::uint32_t onlyField = 1;
constexpr std::string_view onlyFieldName = "value";

}  // namespace Model
