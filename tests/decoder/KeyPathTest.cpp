// Whole keys from paths and values: what a path may start with, and where it leads.
#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

class KeyPath : public DecoderTest {
 protected:
  Zyn::ZynType const place = module.value("Place").attr("row", core(Kind::U8)).attr("seat", core(Kind::U8));
  Zyn::ZynType const keyType = module.value("Key")
                                   .attr("vrf", core(Kind::String))
                                   .attr("place", place)
                                   .attr("tag", core(Kind::U32))
                                   .args({"vrf"});
  // `vrf` and `place` are fields of key and entry, `tag` of the key alone, `cost` of the entry alone.
  Zyn::ZynType const entry = module.entity("Entry")
                                 .attr("key", keyType)
                                 .attr("vrf", core(Kind::String))
                                 .attr("place", place)
                                 .attr("cost", core(Kind::U32));
  Zyn::ZynType const named = module.entity("Named").attr("name", core(Kind::String));
  Zyn::ZynType const owner = module.entity("Owner")
                                 .keyed("route", entry, "key")
                                 .keyed("nameless", entry, std::nullopt, keyType)
                                 .keyed("blank", entry, "", keyType)
                                 .keyed("stray", entry, "number", keyType)
                                 .keyed("port", named, "name")
                                 .list("event", entry);
  KeyElemNode root{keyType, false};

  std::string process(std::string_view collection, std::string_view path, std::string_view value) {
    return shown(ZynKeyDecoder(owner.attr(collection), false).processKeyPath(root, path, value));
  }
  std::string process(std::string_view path, std::string_view value) { return process("route", path, value); }
  std::string notTheKey(std::string const& path) {
    return "error: Expecting key path '" + path + "' to start with the internal key name 'key'";
  }
  /** Before the check that all memory went back. */
  void TearDown() override { root = KeyElemNode(keyType, false); }
};

TEST_F(KeyPath, TheInternalKeyNameIsDropped) {
  EXPECT_EQ(process("key__vrf", "red"), "done");
  EXPECT_EQ(process("key__place__row", "1"), "done");
  EXPECT_EQ(shown(childOf(root, "vrf")->value), "\"red\"");
  EXPECT_EQ(process("key__tag", "7"), "done");
  ASSERT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(shown(root.value), "Test::Key(vrf=\"red\", place=Test::Place(row=1), tag=7)");
}

TEST_F(KeyPath, TheBareKeyNameMeansTheKeyItself) {
  KeyElemNode scalar(core(Kind::String), false);
  EXPECT_EQ(shown(ZynKeyDecoder(owner.attr("port"), false).processKeyPath(scalar, "name", "eth0")), "done");
  EXPECT_EQ(shown(scalar.value), "\"eth0\"");
  EXPECT_TRUE(scalar.children.empty());
  EXPECT_EQ(process("key", "red").substr(0, 5), "error");  // a composite key has no text of its own
}

TEST_F(KeyPath, AFieldOfKeyAndEntriesMayStartAPath) {
  EXPECT_EQ(process("vrf", "red"), "done");
  EXPECT_EQ(process("place__row", "1"), "done");
  ASSERT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(shown(root.value), "Test::Key(vrf=\"red\", place=Test::Place(row=1))");
}

TEST_F(KeyPath, AFieldOfOnlyOneOfThemMayNot) {
  EXPECT_EQ(process("tag", "7"), notTheKey("tag"));
  EXPECT_EQ(process("cost", "7"), notTheKey("cost"));
  EXPECT_EQ(process("cost__x", "7"), notTheKey("cost__x"));
}

TEST_F(KeyPath, AnythingElseIsRefusedWithTheWholePath) {
  for (std::string const path :
       {"nothing", "nothing__vrf", "KEY__vrf", "Key", "keys", "ke", "", "__key", "__", "{}__x"}) {
    EXPECT_EQ(process(path, "red"), notTheKey(path));
  }
  EXPECT_TRUE(root.children.empty());
  EXPECT_FALSE(root.value);
  using namespace std::string_view_literals;
  EXPECT_EQ(process("key\0"sv, "red"), "error: Expecting key path 'key\0' to start with the internal key name 'key'"sv);
}

TEST_F(KeyPath, TheKeyNameWithATrailingSeparatorNamesAnEmptyField) {
  EXPECT_EQ(process("key__", "red"), "error: Attribute '' not found on Type 'Test::Key'");
}

TEST_F(KeyPath, TheKeyNameIsDroppedOnce) {
  EXPECT_EQ(process("key__key", "red"), "error: Attribute 'key' not found on Type 'Test::Key'");
}

TEST_F(KeyPath, WithoutADeclaredKeyAttributeAPathGoesInWhole) {
  for (std::string_view const collection : {"nameless", "blank", "stray", "event"}) {
    EXPECT_EQ(process(collection, "tag", "7"), "done") << collection;
    EXPECT_EQ(process(collection, "key__vrf", "x"), "error: Attribute 'key' not found on Type 'Test::Key'");
    EXPECT_EQ(process(collection, "", "x"), "error: Attribute '' not found on Type 'Test::Key'");
  }
  EXPECT_EQ(shown(ZynKeyDecoder(Zyn::ZynAttr(), false).processKeyPath(root, "tag", "8")), "done");
}

TEST_F(KeyPath, AnEmptyKeyTypeHasNoFields) {
  // The entries hold their key in `key`, but the collection does not say what type it has.
  Zyn::ZynType const odd = module.entity("Odd").attr("vrf", core(Kind::String));
  Zyn::ZynType const collection = module.entity("Late").keyed("c", odd, "key");
  ASSERT_TRUE(collection.attr("c").keyType().empty());
  module.extend(odd).attr("key", core(Kind::String));
  KeyElemNode node(core(Kind::String), false);
  ZynKeyDecoder const decoder(collection.attr("c"), false);
  EXPECT_EQ(shown(decoder.processKeyPath(node, "vrf", "x")),
            "error: Expecting key path 'vrf' to start with the internal key name 'key'");
  EXPECT_EQ(shown(decoder.processKeyPath(node, "key", "x")), "done");
}

TEST_F(KeyPath, TheRootsModeCountsNotTheDecoders) {
  Zyn::ZynType const flag = module.value("Flag").attr("on", core(Kind::Bool)).args({"on"}).s4({{"on", 1}});
  Zyn::ZynType const flagged = module.entity("Flagged").attr("flag", flag);
  Zyn::ZynType const flags = module.entity("Flags").keyed("c", flagged, "flag");
  for (bool const mode : {false, true}) {
    KeyElemNode s4(flag, true);
    EXPECT_EQ(shown(ZynKeyDecoder(flags.attr("c"), mode).processKeyPath(s4, "flag", "CAE=")), "done");
    EXPECT_EQ(shown(s4.value), "Test::Flag(on=true)");
    KeyElemNode plain(flag, false);
    EXPECT_EQ(shown(ZynKeyDecoder(flags.attr("c"), mode).processKeyPath(plain, "flag", "CAE=")).substr(0, 5), "error");
  }
}

TEST_F(KeyPath, ErrorsFromBelowComeBackUnchangedAndUndoNothing) {
  EXPECT_EQ(process("key__place", "1"),
            "error: Expecting a scalar at leaf element 'place'; found composite of type 'Test::Key'");
  EXPECT_NE(childOf(root, "place"), nullptr);
  EXPECT_EQ(process("key__tag", "x"), scalar(core(Kind::U32), "x"));
  EXPECT_NE(childOf(root, "tag"), nullptr);
}

TEST_F(KeyPath, EveryCallIsTracedBeforeAnyCheck) {
  traceCalls();
  (void)process("nothing", "{}");
  EXPECT_THAT(taken(), ElementsAre("processKeyPath: Processing key path 'nothing', and value '{}'"));
  (void)process("key__tag", "7");
  EXPECT_THAT(taken(), ElementsAre("processKeyPath: Processing key path 'key__tag', and value '7'",
                                   "KeyElemNode::insertPathSuffix: KeyElem type: 'Test::Key'",
                                   "KeyElemNode::insertPathSuffix: Inserting a new KeyElemNode 'tag' under 'Test::Key'",
                                   "KeyElemNode::insertPathSuffix: KeyElem type: 'Zyn::U32'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::U32'"));
}

TEST_F(KeyPath, ViewsNeedNoTerminator) {
  std::string_view const path = std::string_view("key__vrfXYZ").substr(0, 8);
  std::string_view const value = std::string_view("redXYZ").substr(0, 3);
  EXPECT_EQ(process(path, value), "done");
  EXPECT_EQ(shown(childOf(root, "vrf")->value), "\"red\"");
}

TEST_F(KeyPath, OneDecoderServesManyKeys) {
  ZynKeyDecoder const decoder(owner.attr("route"), false);
  for (int i = 0; i < 3; ++i) {
    KeyElemNode node(decoder.collectionAttr.keyType(), false);
    ASSERT_TRUE(decoder.processKeyPath(node, "key__vrf", std::to_string(i)));
    ASSERT_TRUE(node.instantiate());
    EXPECT_EQ(shown(node.value), "Test::Key(vrf=\"" + std::to_string(i) + "\")");
  }
}

static_assert(noexcept(std::declval<ZynKeyDecoder const&>().processKeyPath(std::declval<KeyElemNode&>(), {}, {})));

}  // namespace
}  // namespace Test
