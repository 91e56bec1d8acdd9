// Filling a filter, attribute by attribute.
#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

class Filter : public DecoderTest {
 protected:
  Zyn::ZynType const color = module.enumeration("Color", {{"red", 1}, {"blue", 2}});
  Zyn::ZynType const place = module.value("Place").attr("row", core(Kind::U8)).args({"row"});
  Zyn::ZynType const flag = module.value("Flag").attr("on", core(Kind::Bool)).args({"on"}).s4({{"on", 1}});
  Zyn::ZynType const keyType = module.value("Key")
                                   .attr("vrf", core(Kind::String))
                                   .attr("tag", core(Kind::U32))
                                   .attr("color", color)
                                   .attr("place", place)
                                   .attr("flag", flag)
                                   .args({"vrf", "tag", "color", "place", "flag"});
  Zyn::ZynType const entry = module.entity("Entry").attr("key", keyType).attr("vrf", core(Kind::String));
  Zyn::ZynType const owner = module.entity("Owner").keyed("route", entry, "key").list("event", entry);
  ZynKeyDecoder decoder{owner.attr("route"), false};
  ZynKeyDecoder::FilterMap filter;

  std::string update(std::string_view path, std::string_view value) {
    return shown(decoder.updateFilter(filter, path, value));
  }
  std::string held(std::string_view name) {
    auto const entry = filter.find(keyType.attr(name));
    return entry == filter.end() ? "nothing" : shown(entry->second);
  }
  /** Before the check that all memory went back. */
  void TearDown() override { filter = ZynKeyDecoder::FilterMap(); }
};

TEST_F(Filter, StoresTheValueUnderTheAttribute) {
  EXPECT_EQ(update("vrf", "red"), "done");
  EXPECT_EQ(update("color", "blue"), "done");
  EXPECT_EQ(filter.size(), 2U);
  EXPECT_EQ(held("vrf"), "\"red\"");
  EXPECT_EQ(held("color"), "'blue'");
}

TEST_F(Filter, ALaterValueReplacesAnEarlierOne) {
  ASSERT_EQ(update("tag", "1"), "done");
  Velko::Ptr<Zyn::GenericIf> const first = filter.begin()->second;
  ASSERT_EQ(first->useCount(), 2U);
  EXPECT_EQ(update("tag", "2"), "done");
  EXPECT_EQ(filter.size(), 1U);
  EXPECT_EQ(held("tag"), "2");
  EXPECT_EQ(first->useCount(), 1U);
  EXPECT_EQ(filter.begin()->second->useCount(), 1U);
}

TEST_F(Filter, TheWildcardChangesNothingAndLooksAtNothing) {
  ASSERT_EQ(update("tag", "1"), "done");
  traceCalls();
  for (std::string_view const path : {"tag", "place__row", "", "nothing", "__"}) {
    EXPECT_EQ(update(path, "*"), "done") << path;
  }
  EXPECT_EQ(shown(ZynKeyDecoder(Zyn::ZynAttr(), false).updateFilter(filter, "x", "*")), "done");
  EXPECT_EQ(filter.size(), 1U);
  EXPECT_EQ(held("tag"), "1");
  EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(Filter, OnlyOneStarAloneIsTheWildcard) {
  for (std::string const value : {"**", " *", "*x"}) {
    EXPECT_EQ(update("vrf", value), "done");
    EXPECT_EQ(held("vrf"), '"' + value + '"');
  }
}

TEST_F(Filter, NestedPathsAreRefusedWhole) {
  for (std::string const path : {"place__row", "vrf__", "__vrf", "__", "key__vrf", "a__b__c", "{}__{}"}) {
    EXPECT_EQ(update(path, "1"), "error: Filtering nested key '" + path + "' is not supported");
  }
  EXPECT_TRUE(filter.empty());
}

TEST_F(Filter, TheInternalKeyNameIsNothingSpecial) {
  EXPECT_EQ(update("key", "red"), "error: Attribute 'key' not found on Type 'Test::Key'");
}

TEST_F(Filter, UnknownAttributesAreRefused) {
  EXPECT_EQ(update("nothing", "1"), "error: Attribute 'nothing' not found on Type 'Test::Key'");
  EXPECT_EQ(update("", "1"), "error: Attribute '' not found on Type 'Test::Key'");
  EXPECT_EQ(update("VRF", "1"), "error: Attribute 'VRF' not found on Type 'Test::Key'");
  EXPECT_TRUE(filter.empty());
}

TEST_F(Filter, ACollectionWithoutKeysHasNoFilter) {
  traceCalls();
  EXPECT_EQ(shown(ZynKeyDecoder(owner.attr("event"), false).updateFilter(filter, "vrf", "red")),
            "error: Attribute 'event' is not a keyed collection");
  EXPECT_TRUE(filter.empty());
  EXPECT_THAT(taken(), ElementsAre("updateFilter: Found a filter on 'vrf' with value 'red'"));
}

TEST_F(Filter, AValueThatDoesNotDecodeLeavesTheOldOne) {
  ASSERT_EQ(update("tag", "1"), "done");
  EXPECT_EQ(update("tag", "x"), scalar(core(Kind::U32), "x"));
  EXPECT_EQ(update("tag", "x").substr(0, 5), "error");
  EXPECT_EQ(held("tag"), "1");
  EXPECT_EQ(update("color", "green").substr(0, 5), "error");
  EXPECT_EQ(filter.size(), 1U);
}

TEST_F(Filter, TheDecodersModeIsPassedOn) {
  EXPECT_EQ(shown(ZynKeyDecoder(owner.attr("route"), true).updateFilter(filter, "flag", "CAE=")), "done");
  EXPECT_EQ(held("flag"), "Test::Flag(on=true)");
  EXPECT_EQ(update("flag", "CAE=").substr(0, 5), "error");
}

TEST_F(Filter, EveryOtherCallIsTracedAlsoWhenItFails) {
  traceCalls();
  (void)update("vrf", "red");
  EXPECT_THAT(taken(), ElementsAre("updateFilter: Found a filter on 'vrf' with value 'red'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::String'"));
  (void)update("a__b", "{}");
  EXPECT_THAT(taken(), ElementsAre("updateFilter: Found a filter on 'a__b' with value '{}'"));
  (void)update("nothing", "1");
  EXPECT_THAT(taken(), ElementsAre("updateFilter: Found a filter on 'nothing' with value '1'"));
}

TEST_F(Filter, SelectsTheKeysThatMatch) {
  ASSERT_EQ(update("vrf", "red"), "done");
  KeyElemNode root(keyType, false);
  for (auto const& [path, value] :
       Fields{{"vrf", "red"}, {"tag", "1"}, {"color", "red"}, {"place__row", "1"}, {"flag__on", "true"}}) {
    ASSERT_EQ(shown(insert(root, path, value)), "done");
  }
  ASSERT_EQ(shown(root.instantiate()), "done");
  EXPECT_TRUE(Model::matches(filter, *root.value));
  ASSERT_EQ(update("tag", "2"), "done");
  EXPECT_FALSE(Model::matches(filter, *root.value));
}

static_assert(noexcept(std::declval<ZynKeyDecoder const&>().updateFilter(std::declval<ZynKeyDecoder::FilterMap&>(), {},
                                                                         {})));

}  // namespace
}  // namespace Test
