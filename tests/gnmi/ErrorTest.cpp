// The code that each class of error leads to, for each call.
#include "gnmi/Error.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>

namespace Gnmi {
namespace {

TEST(ErrorClass, LeadsToACode) {
  struct Row {
    ErrorClass kind;
    std::string_view name;
    StatusCode get;
    StatusCode set;
    StatusCode subscribe;
  };
  using enum StatusCode;
  Row const rows[] = {
      {ErrorClass::Malformed, "Malformed", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::UnknownNode, "UnknownNode", Unimplemented, NotFound, Unimplemented},
      {ErrorClass::UnknownOrigin, "UnknownOrigin", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::Ambiguous, "Ambiguous", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::KeyMissing, "KeyMissing", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::KeyUnknown, "KeyUnknown", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::KeyTwice, "KeyTwice", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::ValueRefused, "ValueRefused", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::WildcardRefused, "WildcardRefused", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::Conflict, "Conflict", InvalidArgument, InvalidArgument, InvalidArgument},
      {ErrorClass::Unsupported, "Unsupported", Unimplemented, Unimplemented, Unimplemented},
      {ErrorClass::BoundPassed, "BoundPassed", ResourceExhausted, ResourceExhausted, ResourceExhausted},
  };
  for (std::size_t i = 0; i != std::size(rows); ++i) {
    Row const& row = rows[i];
    EXPECT_EQ(static_cast<std::size_t>(row.kind), i);
    EXPECT_EQ(nameOf(row.kind), row.name);
    EXPECT_EQ(codeOf(row.kind, Call::Get), row.get) << row.name;
    EXPECT_EQ(codeOf(row.kind, Call::Set), row.set) << row.name;
    EXPECT_EQ(codeOf(row.kind, Call::Subscribe), row.subscribe) << row.name;
  }
}

TEST(StatusCode, HasTheNumberAndNameOfGrpc) {
  EXPECT_EQ(static_cast<int>(StatusCode::InvalidArgument), 3);
  EXPECT_EQ(static_cast<int>(StatusCode::NotFound), 5);
  EXPECT_EQ(static_cast<int>(StatusCode::ResourceExhausted), 8);
  EXPECT_EQ(static_cast<int>(StatusCode::Unimplemented), 12);
  EXPECT_EQ(nameOf(StatusCode::InvalidArgument), "INVALID_ARGUMENT");
  EXPECT_EQ(nameOf(StatusCode::NotFound), "NOT_FOUND");
  EXPECT_EQ(nameOf(StatusCode::ResourceExhausted), "RESOURCE_EXHAUSTED");
  EXPECT_EQ(nameOf(StatusCode::Unimplemented), "UNIMPLEMENTED");
}

}  // namespace
}  // namespace Gnmi
