// Growing the tree by one path, and decoding its value at the end.
#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

class InsertPathSuffix : public DecoderTest {
 protected:
  Zyn::ZynType const flag = module.value("Flag").attr("on", core(Kind::Bool)).args({"on"}).s4({{"on", 1}});
  Zyn::ZynType const place = module.value("Place").attr("row", core(Kind::U8)).attr("seat", core(Kind::U8));
  Zyn::ZynType const hall =
      module.value("Hall").attr("place", place).attr("name", core(Kind::String)).attr("flag", flag);
  Zyn::ZynType const vlanId = module.wrapper("VlanId", core(Kind::U16));
  Zyn::ZynType const keyType = module.value("Key").attr("hall", hall).attr("tag", core(Kind::U32)).attr("vlan", vlanId);
  KeyElemNode root{keyType, false};

  std::string insert(std::string_view path, std::string_view value) { return shown(::Test::insert(root, path, value)); }
  /** The node at a path, or null. */
  KeyElemNode const* at(std::string_view path) const {
    KeyElemNode const* node = &root;
    for (std::string_view const name : ZynKeyDecoder::splitPath(path)) {
      node = node == nullptr ? nullptr : childOf(*node, name);
    }
    return node;
  }
  /** What the node holds: "none" where there is no node, "null" where it has no value. */
  std::string held(std::string_view path) const {
    KeyElemNode const* const node = at(path);
    return node == nullptr ? "none" : shown(node->value);
  }
  /** Before the check that all memory went back. */
  void TearDown() override { root = KeyElemNode(keyType, false); }
};

TEST_F(InsertPathSuffix, AnEmptyRangeDecodesIntoTheNodeItself) {
  KeyElemNode leaf(core(Kind::U32), false);
  EXPECT_EQ(shown(leaf.insertPathSuffix({}, {}, Velko::String("7"))), "done");
  EXPECT_EQ(shown(leaf.value), "7");
  EXPECT_TRUE(leaf.children.empty());
}

TEST_F(InsertPathSuffix, OneElementMakesOneLeaf) {
  traceCalls();
  EXPECT_EQ(insert("tag", "7"), "done");
  EXPECT_THAT(taken(), ElementsAre("KeyElemNode::insertPathSuffix: KeyElem type: 'Test::Key'",
                                   "KeyElemNode::insertPathSuffix: Inserting a new KeyElemNode 'tag' under 'Test::Key'",
                                   "KeyElemNode::insertPathSuffix: KeyElem type: 'Zyn::U32'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::U32'"));
  ASSERT_NE(at("tag"), nullptr);
  EXPECT_EQ(at("tag")->type, core(Kind::U32));
  EXPECT_TRUE(at("tag")->children.empty());
  EXPECT_EQ(held("tag"), "7");
  EXPECT_EQ(root.children.size(), 1U);
  EXPECT_FALSE(root.value);
}

TEST_F(InsertPathSuffix, TheSamePathTwiceKeepsTheSecondValue) {
  ASSERT_EQ(insert("tag", "7"), "done");
  Velko::Ptr<Zyn::GenericIf> const first = at("tag")->value;
  ASSERT_EQ(first->useCount(), 2U);
  EXPECT_EQ(insert("tag", "8"), "done");
  EXPECT_EQ(held("tag"), "8");
  EXPECT_EQ(root.children.size(), 1U);
  EXPECT_EQ(first->useCount(), 1U);
  EXPECT_EQ(at("tag")->value->useCount(), 1U);
}

TEST_F(InsertPathSuffix, ASharedPrefixIsWalkedNotMade) {
  ASSERT_EQ(insert("hall__place__row", "1"), "done");
  traceCalls();
  EXPECT_EQ(insert("hall__place__seat", "2"), "done");
  EXPECT_THAT(taken(),
              ElementsAre("KeyElemNode::insertPathSuffix: KeyElem type: 'Test::Key'",
                          "KeyElemNode::insertPathSuffix: KeyElem type: 'Test::Hall'",
                          "KeyElemNode::insertPathSuffix: KeyElem type: 'Test::Place'",
                          "KeyElemNode::insertPathSuffix: Inserting a new KeyElemNode 'seat' under 'Test::Place'",
                          "KeyElemNode::insertPathSuffix: KeyElem type: 'Zyn::U8'",
                          "createScalarKey: Creating scalar key of type 'Zyn::U8'"));
  EXPECT_EQ(root.children.size(), 1U);
  EXPECT_EQ(at("hall__place")->children.size(), 2U);
  EXPECT_EQ(held("hall__place__row"), "1");
  EXPECT_EQ(held("hall__place__seat"), "2");
}

TEST_F(InsertPathSuffix, AnUnknownNameIsReportedWithTheTypeItWasLookedUpOn) {
  EXPECT_EQ(insert("nothing", "1"), "error: Attribute 'nothing' not found on Type 'Test::Key'");
  EXPECT_EQ(insert("Tag", "1"), "error: Attribute 'Tag' not found on Type 'Test::Key'");
  EXPECT_EQ(insert("hall__nothing__row", "1"), "error: Attribute 'nothing' not found on Type 'Test::Hall'");
  EXPECT_EQ(insert("{}", "1"), "error: Attribute '{}' not found on Type 'Test::Key'");
  using namespace std::string_view_literals;
  EXPECT_EQ(insert("tag\0"sv, "1"), "error: Attribute 'tag\0' not found on Type 'Test::Key'"sv);
}

TEST_F(InsertPathSuffix, AnEmptyElementIsANameThatNothingHas) {
  EXPECT_EQ(insert("", "1"), "error: Attribute '' not found on Type 'Test::Key'");
  EXPECT_EQ(insert("hall____row", "1"), "error: Attribute '' not found on Type 'Test::Hall'");
  EXPECT_EQ(insert("tag__", "1"), "error: Attribute '' not found on Type 'Zyn::U32'");
}

TEST_F(InsertPathSuffix, NodesMadeBeforeAnErrorStay) {
  EXPECT_EQ(insert("hall__place__nothing", "1"), "error: Attribute 'nothing' not found on Type 'Test::Place'");
  EXPECT_EQ(held("hall"), "null");
  EXPECT_EQ(held("hall__place"), "null");
  EXPECT_TRUE(at("hall__place")->children.empty());
}

TEST_F(InsertPathSuffix, APathThatEndsAtANewCompositeNamesTheParentsType) {
  traceCalls();
  EXPECT_EQ(insert("hall__place", "1"),
            "error: Expecting a scalar at leaf element 'place'; found composite of type 'Test::Hall'");
  EXPECT_THAT(taken(),
              ElementsAre("KeyElemNode::insertPathSuffix: KeyElem type: 'Test::Key'",
                          "KeyElemNode::insertPathSuffix: Inserting a new KeyElemNode 'hall' under 'Test::Key'",
                          "KeyElemNode::insertPathSuffix: KeyElem type: 'Test::Hall'",
                          "KeyElemNode::insertPathSuffix: Inserting a new KeyElemNode 'place' under 'Test::Hall'"));
  EXPECT_EQ(held("hall__place"), "null");
  EXPECT_TRUE(at("hall__place")->children.empty());
}

TEST_F(InsertPathSuffix, APathThatEndsAtAnExistingCompositeGoesToTheType) {
  ASSERT_EQ(insert("hall__place__row", "1"), "done");
  EXPECT_EQ(insert("hall__place", "1"), scalar(place, "1"));
  EXPECT_EQ(insert("hall__place", "1").substr(0, 5), "error");
  EXPECT_EQ(held("hall__place__row"), "1");
}

TEST_F(InsertPathSuffix, BelowAScalarTheScalarsTypeIsAsked) {
  EXPECT_EQ(insert("tag__x", "1"), "error: Attribute 'x' not found on Type 'Zyn::U32'");
  EXPECT_EQ(held("tag"), "null");
  // A wrapper has an attribute of its own, which is a leaf like any other.
  EXPECT_EQ(insert("vlan__value", "7"), "done");
  EXPECT_EQ(held("vlan__value"), "7");
  EXPECT_EQ(held("vlan"), "null");
}

TEST_F(InsertPathSuffix, AValueThatDoesNotDecodeLeavesTheOldOne) {
  ASSERT_EQ(insert("tag", "7"), "done");
  EXPECT_EQ(insert("tag", "x"), scalar(core(Kind::U32), "x"));
  EXPECT_EQ(held("tag"), "7");
  EXPECT_EQ(insert("hall__place__row", "x").substr(0, 5), "error");
  EXPECT_EQ(held("hall__place__row"), "null");
}

TEST_F(InsertPathSuffix, ChildrenTakeOverTheMode) {
  // With the s4 encoding a value type that has one is a scalar: a path may end there.
  EXPECT_EQ(insert("hall__flag", "CAE="),
            "error: Expecting a scalar at leaf element 'flag'; found composite of type 'Test::Hall'");
  KeyElemNode s4(keyType, true);
  EXPECT_EQ(shown(::Test::insert(s4, "hall__flag", "CAE=")), "done");
  KeyElemNode const* const made = childOf(*childOf(s4, "hall"), "flag");
  EXPECT_TRUE(made->useS4Encoding);
  EXPECT_EQ(shown(made->value), "Test::Flag(on=true)");
  ASSERT_EQ(insert("tag", "1"), "done");
  EXPECT_FALSE(at("tag")->useS4Encoding);
}

TEST_F(InsertPathSuffix, TheModeIsEachNodesOwn) {
  ASSERT_EQ(insert("hall__name", "x"), "done");
  root.children.begin()->second.useS4Encoding = true;
  EXPECT_EQ(insert("hall__flag", "CAE="), "done");
  EXPECT_EQ(held("hall__flag"), "Test::Flag(on=true)");
}

TEST_F(InsertPathSuffix, WhatIsScalarEndsAPath) {
  // Each type alone under a root: a leaf when one text supplies it whole.
  Zyn::ZynType const color = module.enumeration("Color", {{"red", 1}});
  Zyn::ZynType const either = module.unionOf("Either", {{"number", core(Kind::U8)}});
  Zyn::ZynType const range = module.value("Range").attr("low", core(Kind::U8)).args({"low"}).gnmi("{low}");
  Zyn::ZynType const marked = module.value("Marked").attr("low", core(Kind::U8)).valAttr("low").args({"low"});
  Zyn::ZynType const valueless = module.value("Valueless").attr("on", core(Kind::Bool)).s4({{"on", 1}});
  module.extend(valueless).mark(Mark::Value, false);
  struct {
    Zyn::ZynType type;
    bool s4;
    bool scalar;
  } const rows[] = {
      {color, false, true},
      {either, false, true},
      {range, false, true},
      {marked, false, true},
      {vlanId, false, true},
      {place, false, false},
      {flag, false, false},
      {flag, true, true},
      {place, true, false},
      {valueless, true, false},
      {core(Kind::String), false, true},
      {core(Kind::IpAddress), false, true},
  };
  for (auto const& row : rows) {
    std::string const name = std::string("In") + std::to_string(&row - rows);
    KeyElemNode node(module.value(name).attr("x", row.type), row.s4);
    bool const refused = shown(::Test::insert(node, "x", "")) ==
                         "error: Expecting a scalar at leaf element 'x'; found composite of type 'Test::" + name + "'";
    EXPECT_EQ(!refused, row.scalar) << row.type.name() << " s4=" << row.s4;
  }
}

TEST_F(InsertPathSuffix, AttributesAreToldApartByIdentity) {
  // Two handles that differ only in the owner are one attribute.
  Zyn::ZynAttr const attr = keyType.attr("tag");
  Zyn::ZynAttr const inherited(attr.module(), attr.owner() + 1, attr.index());
  ASSERT_EQ(insert("tag", "7"), "done");
  EXPECT_TRUE(root.children.contains(inherited));
  EXPECT_FALSE(root.children.contains(keyType.attr("hall")));
}

TEST_F(InsertPathSuffix, LongPathsAreRefusedAtTheFirstUnknownName) {
  std::string path = "hall";
  for (int i = 0; i < 1'000'000; ++i) {
    path += "__x";
  }
  EXPECT_EQ(insert(path, "1"), "error: Attribute 'x' not found on Type 'Test::Hall'");
}

static_assert(noexcept(std::declval<KeyElemNode&>().insertPathSuffix({}, {}, std::declval<Velko::String const&>())));

}  // namespace
}  // namespace Test
