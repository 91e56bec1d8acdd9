// One scalar key by name and text: which names are accepted, and the wildcard.
#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

class ScalarEntry : public DecoderTest {
 protected:
  Zyn::ZynType const vlanId = module.wrapper("VlanId", core(Kind::U16));
  Zyn::ZynType const entry = module.entity("Vlan").attr("id", vlanId).attr("name", core(Kind::String));
  Zyn::ZynType const bridge = module.entity("Bridge")
                                  .keyed("vlan", entry, "id")
                                  .keyed("nameless", entry, std::nullopt, vlanId)
                                  .keyed("blank", entry, "", vlanId)
                                  .keyed("stray", entry, "number", vlanId)
                                  .list("event", entry);
  ZynKeyDecoder decoder{bridge.attr("vlan"), false};

  std::string decode(std::string_view collection, std::string_view name, std::string_view value) {
    return shown(ZynKeyDecoder(bridge.attr(collection), false).decodeScalarKey(vlanId, name, value));
  }
};

TEST_F(ScalarEntry, TheNameOfTheKeyAttributeIsAccepted) { EXPECT_EQ(decode("vlan", "id", "7"), "Test::VlanId(7)"); }

TEST_F(ScalarEntry, AnyOtherNameIsRefused) {
  for (std::string const name : {"", "ID", "i", "id ", "idx", "name", "{}"}) {
    EXPECT_EQ(decode("vlan", name, "7"), "error: Expected key name for 'vlan' is 'id'; found '" + name + "'");
  }
  using namespace std::string_view_literals;
  EXPECT_EQ(decode("vlan", "id\0"sv, "7"), "error: Expected key name for 'vlan' is 'id'; found 'id\0'"sv);
}

TEST_F(ScalarEntry, TheNameIsCheckedBeforeTheWildcard) {
  EXPECT_EQ(decode("vlan", "id", "*"), "*");
  EXPECT_EQ(decode("vlan", "name", "*"), "error: Expected key name for 'vlan' is 'id'; found 'name'");
}

TEST_F(ScalarEntry, WithoutADeclaredKeyAttributeAnyNameWillDo) {
  for (std::string_view const collection : {"nameless", "blank", "stray", "event"}) {
    for (std::string_view const name : {"", "id", "whatever"}) {
      EXPECT_EQ(decode(collection, name, "7"), "Test::VlanId(7)") << collection << ' ' << name;
      EXPECT_EQ(decode(collection, name, "*"), "*") << collection << ' ' << name;
    }
  }
}

TEST_F(ScalarEntry, TheNameIsLookedUpOnTheEntriesNotOnTheTypeGiven) {
  // A string has no attribute `id`; the entries have.
  EXPECT_EQ(shown(decoder.decodeScalarKey(core(Kind::String), "id", "x")), "\"x\"");
  EXPECT_EQ(shown(decoder.decodeScalarKey(core(Kind::String), "value", "x")),
            "error: Expected key name for 'vlan' is 'id'; found 'value'");
}

TEST_F(ScalarEntry, OnlyOneStarAloneIsTheWildcard) {
  EXPECT_EQ(shown(decoder.decodeScalarKey(core(Kind::String), "id", "**")), "\"**\"");
  EXPECT_EQ(shown(decoder.decodeScalarKey(core(Kind::String), "id", " *")), "\" *\"");
  EXPECT_EQ(shown(decoder.decodeScalarKey(core(Kind::String), "id", "*a")), "\"*a\"");
  EXPECT_EQ(shown(decoder.decodeScalarKey(core(Kind::String), "id", "")), "\"\"");
}

TEST_F(ScalarEntry, ErrorsOfTheValueComeBackUnchanged) {
  EXPECT_EQ(decode("vlan", "id", "x"), scalar(vlanId, "x"));
  EXPECT_EQ(decode("vlan", "id", "x").substr(0, 5), "error");
}

TEST_F(ScalarEntry, TheDecodersModeIsPassedOn) {
  Zyn::ZynType const flag = module.value("Flag").attr("on", core(Kind::Bool)).args({"on"}).s4({{"on", 1}});
  EXPECT_EQ(shown(ZynKeyDecoder(bridge.attr("vlan"), true).decodeScalarKey(flag, "id", "CAE=")), "Test::Flag(on=true)");
  EXPECT_EQ(shown(ZynKeyDecoder(bridge.attr("vlan"), false).decodeScalarKey(flag, "id", "CAE=")).substr(0, 5), "error");
}

TEST_F(ScalarEntry, Traces) {
  traceCalls();
  (void)decode("vlan", "id", "*");
  EXPECT_THAT(taken(), ElementsAre("decodeScalarKey: Found a wildcard"));
  (void)decode("vlan", "id", "7");
  EXPECT_THAT(taken(), ElementsAre("createScalarKey: Creating scalar key of type 'Test::VlanId'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::U16'"));
  (void)decode("vlan", "name", "*");
  EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(ScalarEntry, TheDecoderHoldsItsTwoValues) {
  EXPECT_EQ(decoder.collectionAttr, bridge.attr("vlan"));
  EXPECT_FALSE(decoder.useS4Encoding);
  EXPECT_TRUE(ZynKeyDecoder(Zyn::ZynAttr(), true).useS4Encoding);
}

static_assert(noexcept(std::declval<ZynKeyDecoder const&>().decodeScalarKey({}, {}, {})));

}  // namespace
}  // namespace Test
