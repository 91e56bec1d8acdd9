// Call by call: what the decoder asks of its platform, in which order, how often, and what it makes of the answers.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <new>
#include <set>
#include <stdexcept>

#include "tests/support/Calls.h"

namespace Recording {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::StartsWith;

class Calls : public testing::Test {
 protected:
  /** Calls to the type system alone. */
  std::vector<std::string> asked() { return world.calls(services); }

  std::string scalar(Zyn::ZynType type, std::string_view value, bool s4 = false) {
    return shown(ZynKeyDecoder(Zyn::ZynAttr(), s4).decodeScalarKey(type, "", value));
  }

  World world;
  Zyn::ZynType const number = world.type({.name = "Number", .isValue = true, .isScalarKind = true});
  Zyn::ZynType const string = world.type({.name = "String", .isScalarKind = true, .isString = true});
};

// ---- one text to one value

TEST_F(Calls, AMarkWinsOverAllThatComeLater) {
  // All marks at once; each row clears the winner of the row before.
  Zyn::ZynType const type = world.type({.name = "All",
                                        .isValue = true,
                                        .isEnum = true,
                                        .hasS4 = true,
                                        .hasGnmi = true,
                                        .isUnion = true,
                                        .isScalarKind = true,
                                        .isString = true});
  Zyn::ZynAttr const held = world.attr(type, {.name = "held", .type = number});
  struct {
    void (*clear)(Type&);
    std::string call;
  } const rows[] = {
      {[](Type&) {}, "All.genericIfFromPbMessage(0801 at 0, false)"},
      {[](Type& row) { row.hasS4 = false; }, "All.genericIfFromGnmiString(\"CAE=\", false)"},
      {[](Type& row) { row.valAttr = "held", row.hasGnmi = false; }, "All.genericIf([v3(1)], false)"},
      {[](Type& row) { row.valAttr = ""; }, R"(All.genericIf("'CAE='", false))"},
      {[](Type& row) { row.isEnum = false; }, R"(All.genericIf(""CAE="", false))"},
      {[](Type& row) { row.isString = false; }, "held.genericIfSet(v7(1), null, v8(1))"},
      {[](Type& row) { row.isUnion = false; }, R"(All.genericIf("CAE=", false))"},
  };
  for (auto const& row : rows) {
    row.clear(world.of(type));
    world.forget();
    EXPECT_THAT(scalar(type, "CAE=", true), StartsWith("v"));
    EXPECT_EQ(world.count(".genericIf"), row.call.starts_with("held")              ? 3U
                                         : row.call.find('[') != std::string::npos ? 2U
                                                                                   : 1U);
    EXPECT_EQ(world.lines(".genericIf").back(), row.call);
  }
  EXPECT_EQ(held.index(), 0U);
}

TEST_F(Calls, S4NeedsTheModeTheMarkAndNoHeldAttribute) {
  Zyn::ZynType const type = world.type({.name = "T", .isValue = true, .hasS4 = true});
  world.attr(type, {.name = "held", .type = number});
  (void)scalar(type, "CAE=", false);
  EXPECT_EQ(world.lines(".genericIf"), std::vector<std::string>{"T.genericIf(\"CAE=\", false)"});
  world.forget();
  world.of(type).valAttr = "held";
  (void)scalar(type, "CAE=", true);
  EXPECT_THAT(world.lines(".genericIf"),
              ElementsAre("Number.genericIf(\"CAE=\", false)", "T.genericIf([v2(1)], false)"));
}

TEST_F(Calls, S4HandsOverTheBytesOfTheText) {
  Zyn::ZynType const type = world.type({.name = "T", .hasS4 = true});
  struct {
    std::string_view text;
    std::string_view hex;
  } const rows[] = {
      {"", ""},           {"=", ""},          {"C", ""},          {"CA", "08"},        {"CAE", "0801"},
      {"CAE=", "0801"},   {"CA E=", "08"},    {"CAEC", "080102"}, {"CAECA", "080102"}, {"AAAA", "000000"},
      {"////", "ffffff"}, {"++++", "fbefbe"}, {"CA-E", "08"},     {"CAE_", "0801"},    {"CA==CAE=", "08"},
      {"\nCAE=", ""},     {"zZ9a", "cd9f5a"},
  };
  for (auto const& row : rows) {
    world.forget();
    EXPECT_THAT(scalar(type, row.text, true), StartsWith("v"));
    EXPECT_EQ(world.lines(".generic").front(), "T.genericIfFromPbMessage(" + std::string(row.hex) + " at 0, false)");
  }
}

TEST_F(Calls, TextsAreHandedOverByteForByte) {
  using namespace std::string_view_literals;
  Zyn::ZynType const color = world.type({.name = "Color", .isEnum = true});
  Zyn::ZynType const range = world.type({.name = "Range", .hasGnmi = true});
  std::string const hostile("a\"'\\{}\0\n\xff", 9);
  for (Zyn::ZynType const type : {string, color, range, number}) {
    (void)scalar(type, hostile);
  }
  (void)scalar(string, "");
  (void)scalar(color, "");
  EXPECT_THAT(
      world.lines(".generic"),
      ElementsAre("String.genericIf(\"\"" + hostile + "\"\", false)", "Color.genericIf(\"'" + hostile + "'\", false)",
                  "Range.genericIfFromGnmiString(\"" + hostile + "\", false)",
                  "Number.genericIf(\"" + hostile + "\", false)", "String.genericIf(\"\"\"\", false)",
                  "Color.genericIf(\"''\", false)"));
}

TEST_F(Calls, AUnionAsksItsAlternativesInOrderAndStopsAtTheFirst) {
  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true});
  world.attr(either, {.name = "first", .type = number});
  world.attr(either, {.name = "second", .type = string});
  world.attr(either, {.name = "third", .type = number});
  world.fault("Number.genericIf", 1, throws<Velko::Exception>("no number"));
  EXPECT_EQ(scalar(either, "x"), "v1");
  EXPECT_THAT(world.lines(".generic"),
              ElementsAre("Either.genericIf(null, false)", "Number.genericIf(\"x\", false)",
                          "String.genericIf(\"\"x\"\", false)", "second.genericIfSet(v1(1), null, v2(1))"));
}

TEST_F(Calls, AnAlternativeThatTheUnionRejectsIsAnError) {
  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true});
  world.attr(either, {.name = "first", .type = number});
  world.attr(either, {.name = "second", .type = string});
  world.fault("first.genericIfSet", 1, throws<Velko::Exception>("rejected {}"));
  EXPECT_EQ(scalar(either, "x"), "error: rejected {}");
  EXPECT_EQ(world.count("String."), 0U);
  EXPECT_EQ(world.count("second"), 0U);
}

TEST_F(Calls, AUnionThatNothingFitsAsksEveryAlternative) {
  Zyn::ZynType const inner = world.type({.name = "Inner", .isValue = true, .isUnion = true});
  Zyn::ZynType const outer = world.type({.name = "Outer", .isValue = true, .isUnion = true});
  world.attr(inner, {.name = "a", .type = number});
  world.attr(outer, {.name = "b", .type = inner});
  world.attr(outer, {.name = "c", .type = string});
  world.fault("Number.genericIf", 1, throws<Velko::Exception>("no"));
  world.fault("String.genericIf", 1, throws<Velko::Exception>("no"));
  EXPECT_EQ(scalar(outer, "x"), "error: 'x' doesn't match any alternatives of Union type 'Outer'");
  EXPECT_THAT(world.lines(".generic"),
              ElementsAre("Outer.genericIf(null, false)", "Inner.genericIf(null, false)",
                          "Number.genericIf(\"x\", false)", "String.genericIf(\"\"x\"\", false)"));
}

TEST_F(Calls, AUnionWhoseDefaultFailsAsksNoAlternative) {
  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true});
  world.attr(either, {.name = "first", .type = number});
  world.fault("Either.genericIf(null", 1, throws<Velko::Exception>("no default"));
  EXPECT_EQ(scalar(either, "x"), "error: no default");
  EXPECT_EQ(world.count("Number."), 0U);
}

TEST_F(Calls, AWrapperWithoutAnInnerValueIsNotBuilt) {
  Zyn::ZynType const wrapper = world.type({.name = "Wrapper", .valAttr = "held"});
  world.attr(wrapper, {.name = "held", .type = number});
  world.fault("Number.genericIf", 1, throws<Velko::Exception>("no number"));
  EXPECT_EQ(scalar(wrapper, "x"), "error: no number");
  EXPECT_EQ(world.count("Wrapper.genericIf"), 0U);
}

TEST_F(Calls, NullValuesTravel) {
  // A constructor that answers null has succeeded: what it means is the type system's business.
  Zyn::ZynType const range = world.type({.name = "Range", .hasGnmi = true});
  world.fault("Range.genericIfFromGnmiString", 1, null);
  EXPECT_EQ(scalar(range, "x"), "null");

  Zyn::ZynType const wrapper = world.type({.name = "Wrapper", .valAttr = "held"});
  world.attr(wrapper, {.name = "held", .type = number});
  world.fault("Number.genericIf", 1, null);
  (void)scalar(wrapper, "x");
  EXPECT_EQ(world.lines("Wrapper.genericIf"), std::vector<std::string>{"Wrapper.genericIf([null], false)"});

  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true});
  world.attr(either, {.name = "first", .type = number});
  world.fault("Either.genericIf", 1, null);
  world.fault("Number.genericIf", 1, null);
  EXPECT_EQ(scalar(either, "x"), "null");
  EXPECT_EQ(world.lines("first.genericIfSet"), std::vector<std::string>{"first.genericIfSet(null, null, null)"});
}

TEST_F(Calls, ANullMessageIsABrokenPromise) {
  Zyn::ZynType const type = world.type({.name = "T", .hasS4 = true});
  world.fault("T.genericIfFromPbMessage", 1, null);
  EXPECT_DEATH((void)scalar(type, "CAE=", true),
               "with its handle: assertion failed: value in createS4SyncKey \\(Drovan/ZynKeyDecoder:1\\): "
               "Unexpectedly failed to decode an s4 encoded value");
}

TEST_F(Calls, AUnionThatIsNoValueTypeIsABrokenPromise) {
  Zyn::ZynType const either = world.type({.name = "Either", .isUnion = true});
  EXPECT_DEATH((void)scalar(either, "x"), "assertion failed: zynType\\.isValue\\(\\) in defaultZynObject");
}

TEST_F(Calls, AnEnumerationThatChangesItsMindIsABrokenPromise) {
  Zyn::ZynType const color = world.type({.name = "Color", .isEnum = true});
  // Asked once to choose the rule, and once more before the rule is applied.
  world.fault("Color.isEnumType", 2, [this, color] { world.of(color).isEnum = false; });
  EXPECT_DEATH((void)scalar(color, "x"), "assertion failed: enumType\\.isEnumType\\(\\) in enumFromGnmiString");
}

// ---- how often

TEST_F(Calls, QueriesAreFew) {
  Zyn::ZynType const wrapper = world.type({.name = "Wrapper", .hasS4 = true, .valAttr = "held"});
  world.attr(wrapper, {.name = "held", .type = number});
  (void)scalar(wrapper, "1", true);
  EXPECT_LE(world.count("Wrapper.valAttr"), 2U);
  EXPECT_LE(world.count("Wrapper.hasS4Encoding"), 1U);
  EXPECT_LE(world.count("Wrapper.hasGnmiStringForm"), 1U);
  EXPECT_EQ(world.count("Wrapper.genericIf"), 1U);
  EXPECT_EQ(world.count("Number.genericIf"), 1U);
}

TEST_F(Calls, SuccessWithoutTracesAsksNoTypeForItsName) {
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a"}});
  world.attr(key, {.name = "a", .type = number});
  world.attr(key, {.name = "b", .type = string});
  Zyn::ZynType const entry = world.type({.name = "Entry"});
  world.attr(entry, {.name = "key", .type = key});
  Zyn::ZynAttr const route = world.attr(
      world.type({.name = "Owner"}), {.name = "route", .type = entry, .keyed = true, .keyName = "key", .keyType = key});
  ZynKeyDecoder const decoder(route, false);
  KeyElemNode root(key, false);
  ASSERT_TRUE(decoder.processKeyPath(root, "key__a", "1"));
  ASSERT_TRUE(decoder.processKeyPath(root, "key__b", "1"));
  ASSERT_TRUE(root.instantiate());
  ZynKeyDecoder::FilterMap filter;
  ASSERT_TRUE(decoder.updateFilter(filter, "a", "1"));
  ASSERT_TRUE(decoder.decodeScalarKey(number, "key", "1"));
  for (std::string const type : {"Key", "Number", "String", "Entry"}) {
    EXPECT_EQ(world.count(type + ".name"), 0U) << type;
  }
  EXPECT_EQ(world.count("format"), 0U);
  EXPECT_EQ(world.count("trace"), 0U);
}

TEST_F(Calls, AKeyPathAsksForAtMostThreeNames) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "a", .type = number});
  Zyn::ZynType const entry = world.type({.name = "Entry"});
  world.attr(entry, {.name = "key", .type = key});
  world.attr(entry, {.name = "a", .type = number});
  Zyn::ZynAttr const route = world.attr(
      world.type({.name = "Owner"}), {.name = "route", .type = entry, .keyed = true, .keyName = "key", .keyType = key});
  KeyElemNode root(key, false);
  ASSERT_TRUE(ZynKeyDecoder(route, false).processKeyPath(root, "a", "1"));
  EXPECT_THAT(world.lines(".attr("), ElementsAre("Entry.attr(\"key\"z)", "Entry.attr(\"a\")", "Key.attr(\"a\")",
                                                 "Key.attr(\"a\")"));  // the last one is the tree's own
}

TEST_F(Calls, ALevelOfThePathIsOneLookup) {
  Zyn::ZynType const inner = world.type({.name = "Inner"});
  Zyn::ZynType const outer = world.type({.name = "Outer"});
  world.attr(outer, {.name = "inner", .type = inner});
  world.attr(inner, {.name = "a", .type = number});
  KeyElemNode root(outer, false);
  EXPECT_EQ(insert(root, "inner__a", "1"), "done");
  EXPECT_THAT(world.lines(".attr("), ElementsAre("Outer.attr(\"inner\")", "Inner.attr(\"a\")"));
  EXPECT_EQ(world.count("Number.genericIf"), 1U);
}

TEST_F(Calls, AWildcardFilterAsksNothing) {
  ZynKeyDecoder::FilterMap filter;
  trace();
  ASSERT_TRUE(ZynKeyDecoder(Zyn::ZynAttr(), false).updateFilter(filter, "a__b", "*"));
  EXPECT_THAT(world.log, IsEmpty());
}

TEST_F(Calls, AnUnkeyedCollectionIsAskedNothingElse) {
  Zyn::ZynAttr const route =
      world.attr(world.type({.name = "Owner"}), {.name = "route", .type = number, .keyName = "key"});
  (void)ZynKeyDecoder(route, false).decodeScalarKey(number, "x", "*");
  EXPECT_THAT(asked(), ElementsAre("route.isKeyed"));
}

// ---- the tree

TEST_F(Calls, ArgumentsArriveInOrderEachWithTheListsReferenceAlone) {
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"b", "a"}});
  world.attr(key, {.name = "a", .type = number});
  world.attr(key, {.name = "b", .type = string});
  world.attr(key, {.name = "c", .type = number});
  KeyElemNode root(key, false);
  EXPECT_EQ(insert(root, "a", "1"), "done");
  EXPECT_EQ(insert(root, "b", "2"), "done");
  EXPECT_EQ(insert(root, "c", "3"), "done");
  world.forget();
  EXPECT_EQ(instantiate(root), "done");
  EXPECT_THAT(world.lines(".generic"),
              ElementsAre("Key.genericIf([v2(1), v1(1)], false)", "c.genericIfSet(v4(1), null, v3(2))"));
  EXPECT_EQ(root.value->useCount(), 1U);
  EXPECT_EQ(root.children.size(), 1U);
  EXPECT_EQ(root.children.begin()->second.value->useCount(), 1U);
}

TEST_F(Calls, NamesOfArgumentsAreLookedUpOnTheNodesType) {
  Zyn::ZynType const place = world.type({.name = "Place", .args = {"row"}});
  world.attr(place, {.name = "row", .type = string});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"place"}});
  world.attr(key, {.name = "place", .type = place});
  world.attr(key, {.name = "row", .type = number});
  KeyElemNode root(key, false);
  EXPECT_EQ(insert(root, "row", "1"), "done");
  world.forget();
  EXPECT_EQ(instantiate(root), "done");
  EXPECT_THAT(world.lines(".attr("), ElementsAre("Key.attr(\"place\"z)", "Key.attr(\"row\"z)"));
  EXPECT_THAT(world.lines(".generic"), ElementsAre("Place.genericIf([v1(1)], false)", "Key.genericIf([v2(1)], false)"));
}

TEST_F(Calls, TheFirstErrorInArgumentOrderEnds) {
  Zyn::ZynType const inner = world.type({.name = "Inner", .args = {"x"}});
  world.attr(inner, {.name = "x", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a", "b", "c"}});
  world.attr(key, {.name = "a", .type = number});
  world.attr(key, {.name = "b", .type = inner});
  world.attr(key, {.name = "c", .type = inner});
  KeyElemNode root(key, false);
  EXPECT_EQ(insert(root, "a", "1"), "done");
  EXPECT_EQ(insert(root, "b__x", "2"), "done");
  EXPECT_EQ(insert(root, "c__x", "3"), "done");
  world.fault("Inner.genericIf", 1, throws<Velko::Exception>("not this one"));
  world.forget();
  EXPECT_EQ(instantiate(root), "error: not this one");
  EXPECT_EQ(world.count("\"c\""), 0U);
  EXPECT_EQ(world.count("Key.genericIf"), 0U);
  EXPECT_EQ(root.children.size(), 2U);  // a is used up; b failed and stays, without its own x
  EXPECT_FALSE(root.value);
}

TEST_F(Calls, ANullKeyIsCompletedAllTheSame) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "a", .type = number});
  KeyElemNode root(key, false);
  EXPECT_EQ(insert(root, "a", "1"), "done");
  world.fault("Key.genericIf", 1, null);
  EXPECT_EQ(instantiate(root), "done");
  EXPECT_EQ(world.lines("a.genericIfSet"), std::vector<std::string>{"a.genericIfSet(null, null, v1(2))"});
}

TEST_F(Calls, ANullLeafIsNoValueYet) {
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a"}});
  world.attr(key, {.name = "a", .type = number});
  KeyElemNode root(key, false);
  world.fault("Number.genericIf", 1, null);
  EXPECT_EQ(insert(root, "a", "1"), "done");
  world.forget();
  EXPECT_EQ(instantiate(root), "done");
  EXPECT_THAT(world.lines(".generic"), ElementsAre("Number.genericIf([], false)", "Key.genericIf([v1(1)], false)"));
}

TEST_F(Calls, HandlesThatDifferInTheOwnerAreOneChildAndOneFilterEntry) {
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a"}});
  world.attr(key, {.name = "a", .type = number});
  Zyn::ZynAttr const route =
      world.attr(world.type({.name = "Owner"}), {.name = "route", .type = key, .keyed = true, .keyType = key});
  KeyElemNode root(key, false);
  ZynKeyDecoder::FilterMap filter;
  ZynKeyDecoder const decoder(route, false);
  for (std::uint32_t const owner : {7U, 8U}) {
    world.owner = owner;
    EXPECT_EQ(insert(root, "a", "1"), "done");
    ASSERT_TRUE(decoder.updateFilter(filter, "a", "1"));
  }
  EXPECT_EQ(root.children.size(), 1U);
  EXPECT_EQ(filter.size(), 1U);
  world.owner = 9;
  EXPECT_EQ(instantiate(root), "done");
  EXPECT_TRUE(root.children.empty());
}

TEST_F(Calls, AnArgumentOfItsOwnTypeEnds) {
  Zyn::ZynType const node = world.type({.name = "Node", .args = {"n"}});
  world.attr(node, {.name = "n", .type = node});
  KeyElemNode root(node, false);
  EXPECT_EQ(instantiate(root), "error: Missing attribute 'n' in the key");
  EXPECT_EQ(world.count("Node.argNames"), 1U);
}

// ---- nothing is remembered

TEST_F(Calls, AnswersThatChangeAreFollowed) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "a", .type = number});
  Zyn::ZynType const entry = world.type({.name = "Entry"});
  world.attr(entry, {.name = "key", .type = key});
  world.attr(entry, {.name = "id", .type = key});
  Zyn::ZynAttr const route = world.attr(
      world.type({.name = "Owner"}), {.name = "route", .type = entry, .keyed = true, .keyName = "key", .keyType = key});
  ZynKeyDecoder const decoder(route, false);
  KeyElemNode root(key, false);
  EXPECT_TRUE(decoder.processKeyPath(root, "key__a", "1"));
  world.of(route).keyName = "id";
  EXPECT_FALSE(decoder.processKeyPath(root, "key__a", "1"));
  EXPECT_TRUE(decoder.processKeyPath(root, "id__a", "1"));
  EXPECT_FALSE(decoder.decodeScalarKey(number, "key", "1"));
  world.of(route).keyed = false;
  EXPECT_TRUE(decoder.decodeScalarKey(number, "key", "1"));
  EXPECT_FALSE(decoder.processKeyPath(root, "id__a", "1"));
  EXPECT_TRUE(decoder.processKeyPath(root, "a", "1"));
  world.of(number).hasGnmi = true;
  world.forget();
  EXPECT_TRUE(decoder.processKeyPath(root, "a", "1"));
  EXPECT_EQ(world.count("Number.genericIfFromGnmiString"), 1U);
}

// ---- the words of exceptions, and which are caught

TEST_F(Calls, WordsOfTheTypeSystemAreNeverAFormat) {
  world.fault("Number.genericIf", 1, throws<Velko::Exception>("{} {0} {"));
  EXPECT_EQ(scalar(number, "x"), "error: {} {0} {");
  EXPECT_EQ(world.count("format"), 0U);
}

TEST_F(Calls, AMessageOfThePbReaderIsAnError) {
  Zyn::ZynType const type = world.type({.name = "T", .hasS4 = true});
  world.fault("T.genericIfFromPbMessage", 1, throws<Velko::Pb::PbReadException>("cut short"));
  EXPECT_EQ(scalar(type, "CAE=", true), "error: cut short");
}

/** Every call that may throw, reached from every entry point. */
class Uncaught : public Calls {
 protected:
  Zyn::ZynType const range = world.type({.name = "Range", .isValue = true, .hasGnmi = true, .isScalarKind = true});
  Zyn::ZynType const s4 = world.type({.name = "S4", .isValue = true, .hasS4 = true});
  Zyn::ZynType const color = world.type({.name = "Color", .isEnum = true});
  Zyn::ZynType const wrapper = world.type({.name = "Wrapper", .valAttr = "held"});
  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true, .isScalarKind = true});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"number"}});
  Zyn::ZynAttr const held = world.attr(wrapper, {.name = "held", .type = number});
  Zyn::ZynAttr const first = world.attr(either, {.name = "first", .type = number});

  struct Row {
    std::string attr;
    Zyn::ZynType type;
    std::string call;
  };
  std::vector<Row> const rows = {
      {"number", number, "Number.genericIf("},     {"string", string, "String.genericIf("},
      {"range", range, "Range.genericIfFromGnmi"}, {"s4", s4, "S4.genericIfFromPb"},
      {"color", color, "Color.genericIf("},        {"wrapper", wrapper, "Wrapper.genericIf("},
      {"either", either, "Either.genericIf(null"}, {"either", either, "first.genericIfSet("},
  };
  Zyn::ZynAttr route;

  Uncaught() {
    std::set<std::string> added;
    for (Row const& row : rows) {
      if (added.insert(row.attr).second) {
        world.attr(key, {.name = row.attr, .type = row.type});
      }
    }
    route = world.attr(world.type({.name = "Owner"}), {.name = "route", .type = key, .keyed = true, .keyType = key});
  }

  void scalarKey(Row const& row) { (void)ZynKeyDecoder(route, true).decodeScalarKey(row.type, "", "CAE="); }
  void keyPath(Row const& row) {
    KeyElemNode root(key, true);
    (void)ZynKeyDecoder(route, true).processKeyPath(root, row.attr, "CAE=");
  }
  void filter(Row const& row) {
    ZynKeyDecoder::FilterMap map;
    (void)ZynKeyDecoder(route, true).updateFilter(map, row.attr, "CAE=");
  }
  void suffix(Row const& row) {
    KeyElemNode root(key, true);
    (void)insert(root, row.attr, "CAE=");
  }
  void (Uncaught::* const entries[4])(Row const&) = {&Uncaught::scalarKey, &Uncaught::keyPath, &Uncaught::filter,
                                                     &Uncaught::suffix};
};

TEST_F(Uncaught, TheDeclaredExceptionIsCaughtEverywhere) {
  int thrown = 0;
  for (Row const& row : rows) {
    for (auto const entry : entries) {
      world.fault(row.call, 1, [&row, &thrown] {
        ++thrown;
        if (row.call.find("Pb") != std::string::npos) {
          throw Velko::Pb::PbReadException(Velko::String("no"));
        }
        throw Velko::Exception(Velko::String("no"));
      });
      (this->*entry)(row);
    }
  }
  EXPECT_EQ(thrown, static_cast<int>(rows.size() * std::size(entries)));
}

TEST_F(Uncaught, EveryOtherExceptionEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "fast";
  Fault const others[] = {[] { throw std::runtime_error("other"); }, [] { throw std::bad_alloc(); }, [] { throw 1; }};
  for (Row const& row : rows) {
    for (auto const entry : entries) {
      for (Fault const& other : others) {
        EXPECT_DEATH(
            {
              world.fault(row.call, 1, other);
              (this->*entry)(row);
            },
            "terminate called")
            << row.call;
      }
      // Each of the platform's two exceptions is expected around its own calls only.
      EXPECT_DEATH(
          {
            world.fault(row.call, 1, [&row] {
              if (row.call.find("Pb") == std::string::npos) {
                throw Velko::Pb::PbReadException(Velko::String("other"));
              }
              throw Velko::Exception(Velko::String("other"));
            });
            (this->*entry)(row);
          },
          "terminate called")
          << row.call;
    }
  }
}

TEST_F(Uncaught, ConstructAndInstantiateEndTheProcessToo) {
  testing::FLAGS_gtest_death_test_style = "fast";
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "number", "1"), "done");
  ASSERT_EQ(insert(root, "color", "1"), "done");
  for (std::string const call : {"Key.genericIf", "color.genericIfSet"}) {
    EXPECT_DEATH(
        {
          world.fault(call, 1, [] { throw std::runtime_error("other"); });
          (void)root.instantiate();
        },
        "terminate called");
    EXPECT_DEATH(
        {
          world.fault(call, 1, throws<Velko::Pb::PbReadException>("other"));
          (void)root.instantiate();
        },
        "terminate called");
  }
  EXPECT_DEATH(
      {
        world.fault("Key.genericIf", 1, [] { throw std::runtime_error("other"); });
        (void)root.construct(key);
      },
      "terminate called");
  world.fault("color.genericIfSet", 1, throws<Velko::Exception>("rejected"));
  EXPECT_EQ(instantiate(root), "error: rejected");
  EXPECT_TRUE(root.value);
}

// ---- memory

TEST_F(Calls, ContainersCountUnderTheirTags) {
  (void)ZynKeyDecoder::splitPath("a__b");
  EXPECT_EQ(world.count("alloc Velko::VectorOf<std::basic_string_view<char, std::char_traits<char> > >* 4x16"), 1U);
  world.forget();
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a", "a", "a", "a", "a", "a", "a", "a", "a"}});
  world.attr(key, {.name = "a", .type = world.type({.name = "Empty"})});
  KeyElemNode root(key, false);
  EXPECT_EQ(insert(root, "a", "1"), "error: Expecting a scalar at leaf element 'a'; found composite of type 'Key'");
  EXPECT_EQ(world.count("alloc Velko::AbslFlatHashMapOfTag<Zyn::ZynAttr, Drovan::ZynKeyDecoder::KeyElemNode, "
                        "Drovan::ZynKeyDecoder::KeyElemNode::KeyElemNodeMapType>* "),
            1U);
  world.forget();
  // Nine arguments: the ninth moves the list to the heap.
  EXPECT_EQ(instantiate(root), "done");
  EXPECT_EQ(world.lines("alloc Velko::SmallVectorOf<Velko::Ptr<Zyn::GenericIf const> >*").size(), 2U);
  world.forget();
  ZynKeyDecoder::FilterMap filter;
  filter.try_emplace(key.attr("a"));
  EXPECT_EQ(world.count("alloc Velko::AbslFlatHashMapOf<Zyn::ZynAttr, Velko::Ptr<Zyn::GenericIf> >*"), 1U);
}

/** Most keys have no more fields, and then their children lie in one block from first to last. */
TEST_F(Calls, FourteenChildrenTakeOneBlock) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  KeyElemNode root(key, false);
  for (int i = 0; i < 15; ++i) {
    std::string const name = "f" + std::to_string(i);
    world.attr(key, {.name = name, .type = world.type({.name = "Number", .isScalarKind = true})});
    EXPECT_EQ(insert(root, name, "1"), "done");
    EXPECT_EQ(world.count("dealloc Velko::AbslFlatHashMapOfTag"), i < 14 ? 0U : 1U) << i;  // of the block before
  }
}

TEST_F(Calls, EightArgumentsTakeNoMemory) {
  Zyn::ZynType const empty = world.type({.name = "Empty"});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a", "a", "a", "a", "a", "a", "a", "a"}});
  world.attr(key, {.name = "a", .type = empty});
  KeyElemNode root(key, false);
  EXPECT_EQ(instantiate(root), "done");
  EXPECT_EQ(world.count("alloc"), 0U);
}

}  // namespace
}  // namespace Recording
