// Names of types and collections: how much work a hostile one makes.
#include "zynkey/Names.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <string>
#include <vector>

namespace {

using ZynKey::cutsOf;
using Cuts = std::vector<std::size_t>;

TEST(Cuts, AreTheDotsInsideLastOneFirst) {
  EXPECT_EQ(cutsOf("Network.Vrf.route", 100), (Cuts{11, 7}));
  EXPECT_EQ(cutsOf("Vrf.", 100), (Cuts{3}));
  EXPECT_EQ(cutsOf("Vrf", 100), Cuts{});
  EXPECT_EQ(cutsOf(".route", 100), Cuts{});
  EXPECT_EQ(cutsOf("", 100), Cuts{});
}

TEST(Cuts, LeaveNoMoreInFrontThanTheLongestTypeHas) {
  EXPECT_EQ(cutsOf("Vrf.route", 3), (Cuts{3}));
  EXPECT_EQ(cutsOf("Vrf.route", 2), Cuts{});
  EXPECT_EQ(cutsOf("a.b.c.d", 3), (Cuts{3, 1}));
}

TEST(Cuts, AreNoMoreInALongerName) {
  for (std::size_t const size : {100U, 10'000U, 1'000'000U}) {
    EXPECT_EQ(cutsOf(std::string(size, '.'), 30).size(), 30U) << size << " dots";
  }
}

TEST(Names, ManyDotsAreNoCollection) {
  Model::Schema schema;
  schema.module("M").entity("E").list("x", Model::core(Model::Kind::U8));
  ZynKey::Names names(schema);
  EXPECT_TRUE(names.collection("E.x").has_value());
  EXPECT_TRUE(names.collection("M.E.x").has_value());
  EXPECT_TRUE(names.collection("M::E.x").has_value());
  EXPECT_EQ(names.collection("E.x" + std::string(1'000'000, '.')).error(),
            "unknown collection 'E.x" + std::string(61, '.') + "'...");
}

TEST(Names, ATypeHasDotsOfItsOwn) {
  Model::Schema schema;
  Model::Module& module = schema.module("M");
  module.entity("a.b").list("x", Model::core(Model::Kind::U8));
  module.entity("a").list("b.x", Model::core(Model::Kind::U16));
  module.entity("a.b.c").list("d.e", Model::core(Model::Kind::U32));
  ZynKey::Names names(schema);
  EXPECT_EQ(names.collection("a.b.x")->attrType(), Model::core(Model::Kind::U8));
  EXPECT_EQ(names.collection("M::a.b.c.d.e")->attrType(), Model::core(Model::Kind::U32));
}

TEST(Names, OfSeveralModulesAreListed) {
  Model::Schema schema;
  schema.module("M").wrapper("Id", Model::core(Model::Kind::U8));
  schema.module("N").wrapper("Id", Model::core(Model::Kind::U8));
  EXPECT_EQ(ZynKey::Names(schema).type("Id").error(), "several modules have a type 'Id': 'M::Id', 'N::Id'");
  EXPECT_EQ(ZynKey::Names(schema).type("N::Idd").error(), "unknown type 'N::Idd'; did you mean 'N::Id', 'M::Id'?");
}

}  // namespace
