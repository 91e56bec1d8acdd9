// How values look in protobuf messages: shared by those who read, write and describe them. Only model/ looks in here.
//
// A value type is a message with its attributes as fields: by their s4 numbers, or from 1 in declaration order where
// the type has none. A union is a message with its alternatives as fields from 1, of which one is there. A wrapper is
// what it wraps. What is no message by itself is the one field of a message of its own, where a message is asked for.
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

/** The type whose values stand in a field of the type. */
inline Zyn::ZynType unwrapped(Zyn::ZynType type) {
  while (rowOf(type).kind == Kind::Wrapper) {
    type = attrRow(type, 0).type;
  }
  return type;
}

/** 0 where the attribute has no field. */
inline std::uint32_t fieldNumber(Zyn::ZynType owner, std::uint32_t slot) {
  return rowOf(owner).hasS4Numbers ? attrRow(owner, slot).s4Number : slot + 1;
}

/** The one field of a message around what is no message by itself. */
constexpr std::uint32_t onlyField = 1;
constexpr std::string_view onlyFieldName = "value";

}  // namespace Model
