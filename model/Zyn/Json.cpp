// Values as JSON.
#include <charconv>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>
#include <utility>

#include "model/Value.h"
#include "model/Zyn/Objects.h"
#include "model/Zyn/Tables.h"
#include "text/Json.h"

namespace Model {
namespace {

nlohmann::ordered_json scalarJson(Scalar const& value) {
  std::string text;
  printScalar(value, TextForm::Gnmi, text);
  switch (value.kind()) {
    case Kind::Bool:
      return value.number() != 0;
    case Kind::S8:
    case Kind::S16:
    case Kind::S32:
      return static_cast<std::int64_t>(value.number());
    case Kind::U8:
    case Kind::U16:
    case Kind::U32:
      return value.number();
    case Kind::Seconds:
      if (auto const nanoseconds = static_cast<std::int64_t>(value.number()); nanoseconds % 1'000'000'000 == 0) {
        return nanoseconds / 1'000'000'000;
      }
      [[fallthrough]];
    case Kind::Float:
    case Kind::Double: {
      // Read back from its text, so that a Float has no digits beyond those of a float.
      double number = 0;
      std::from_chars(text.data(), text.data() + text.size(), number);
      return number;
    }
    default:
      return text;
  }
}

void appendScalar(Scalar const& value, std::string& out) {
  switch (value.kind()) {
    case Kind::Bool:
    case Kind::S8:
    case Kind::S16:
    case Kind::S32:
    case Kind::U8:
    case Kind::U16:
    case Kind::U32:
      printScalar(value, TextForm::Gnmi, out);
      return;
    case Kind::Float:
    case Kind::Double:
    case Kind::Seconds:
      out += scalarJson(value).dump();
      return;
    default: {
      std::string text;
      printScalar(value, TextForm::Gnmi, text);
      Text::appendJson(text, out);
    }
  }
}

}  // namespace

nlohmann::ordered_json toJson(Zyn::GenericIf const& value) {
  ValueObject const& object = valueObject(value);
  if (!isComposed(object.kind())) {
    return scalarJson(static_cast<Scalar const&>(object));
  }
  auto const slots = static_cast<Composed const&>(object).slots();
  if (object.kind() == Kind::Wrapper) {
    return slots[0] ? toJson(*slots[0]) : nlohmann::ordered_json();
  }
  auto json = nlohmann::ordered_json::object();
  for (std::uint32_t slot = 0; slot < slots.size(); ++slot) {
    if (slots[slot]) {
      // The names differ, so no search for an equal one is needed before each.
      json.get_ref<nlohmann::ordered_json::object_t&>().push_back(
          {attrRow(object.type(), slot).name, toJson(*slots[slot])});
    }
  }
  return json;
}

void appendJson(Zyn::GenericIf const& value, std::string& out) {
  ValueObject const& object = valueObject(value);
  if (!isComposed(object.kind())) {
    appendScalar(static_cast<Scalar const&>(object), out);
    return;
  }
  auto const slots = static_cast<Composed const&>(object).slots();
  if (object.kind() == Kind::Wrapper) {
    slots[0] ? appendJson(*slots[0], out) : void(out += "null");
    return;
  }
  char separator = '{';
  for (std::uint32_t slot = 0; slot < slots.size(); ++slot) {
    if (slots[slot]) {
      out += std::exchange(separator, ',');
      Text::appendJson(attrRow(object.type(), slot).name, out);
      out += ':';
      appendJson(*slots[slot], out);
    }
  }
  out += separator == '{' ? "{}" : "}";
}

}  // namespace Model
