#include "gnmi/Error.h"

#include <array>

namespace Gnmi {
namespace {

struct Row {
  std::string_view name;
  /** By `Call`. */
  std::array<StatusCode, 3> codes;
};

constexpr StatusCode invalid = StatusCode::InvalidArgument;
constexpr StatusCode unimplemented = StatusCode::Unimplemented;
constexpr StatusCode exhausted = StatusCode::ResourceExhausted;

/** By `ErrorClass`. */
constexpr std::array<Row, 12> rows = {{
    {"Malformed", {invalid, invalid, invalid}},
    {"UnknownNode", {unimplemented, StatusCode::NotFound, unimplemented}},
    {"UnknownOrigin", {invalid, invalid, invalid}},
    {"Ambiguous", {invalid, invalid, invalid}},
    {"KeyMissing", {invalid, invalid, invalid}},
    {"KeyUnknown", {invalid, invalid, invalid}},
    {"KeyTwice", {invalid, invalid, invalid}},
    {"ValueRefused", {invalid, invalid, invalid}},
    {"WildcardRefused", {invalid, invalid, invalid}},
    {"Conflict", {invalid, invalid, invalid}},
    {"Unsupported", {unimplemented, unimplemented, unimplemented}},
    {"BoundPassed", {exhausted, exhausted, exhausted}},
}};
static_assert(rows.size() == static_cast<std::size_t>(ErrorClass::BoundPassed) + 1);

}  // namespace

std::string_view nameOf(ErrorClass kind) noexcept { return rows[static_cast<std::size_t>(kind)].name; }

StatusCode codeOf(ErrorClass kind, Call call) noexcept {
  return rows[static_cast<std::size_t>(kind)].codes[static_cast<std::size_t>(call)];
}

std::string_view nameOf(StatusCode code) noexcept {
  switch (code) {
    case StatusCode::InvalidArgument:
      return "INVALID_ARGUMENT";
    case StatusCode::NotFound:
      return "NOT_FOUND";
    case StatusCode::ResourceExhausted:
      return "RESOURCE_EXHAUSTED";
    case StatusCode::Unimplemented:
      return "UNIMPLEMENTED";
  }
  return "";
}

}  // namespace Gnmi
