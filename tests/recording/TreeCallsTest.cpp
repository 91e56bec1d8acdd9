// Call by call: trees, paths and filters. What is looked up, built, set and dropped, in which order, and what stays
// behind when something fails.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <type_traits>

#include "tests/support/Calls.h"

namespace Recording {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

// ---- what the types promise

static_assert(std::is_same_v<ZynKeyDecoder::PathIter, ZynKeyDecoder::PathElements::const_iterator>);
static_assert(std::is_same_v<ZynKeyDecoder::PathElements::value_type, std::string_view>);
static_assert(std::is_same_v<decltype(ZynKeyDecoder::Multiple::values), ZynKeyDecoder::FilterMap>);
static_assert(std::is_same_v<ZynKeyDecoder::FilterMap::key_type, Zyn::ZynAttr>);
static_assert(std::is_same_v<ZynKeyDecoder::FilterMap::mapped_type, Velko::Ptr<Zyn::GenericIf>>);
static_assert(std::is_same_v<ZynKeyDecoder::FilterMap::hasher, absl::Hash<Zyn::ZynAttr>>);
static_assert(std::is_same_v<ZynKeyDecoder::FilterMap::key_equal, std::equal_to<Zyn::ZynAttr>>);
static_assert(std::is_same_v<KeyElemNode::Children::key_type, Zyn::ZynAttr>);
static_assert(std::is_same_v<KeyElemNode::Children::mapped_type, KeyElemNode>);
static_assert(std::is_same_v<KeyElemNode::Children::hasher, absl::Hash<Zyn::ZynAttr>>);
static_assert(std::is_same_v<KeyElemNode::Children::key_equal, std::equal_to<Zyn::ZynAttr>>);
static_assert(std::is_same_v<decltype(KeyElemNode::children), KeyElemNode::Children>);
static_assert(std::is_same_v<decltype(KeyElemNode::value), Velko::Ptr<Zyn::GenericIf>>);
static_assert(std::is_nothrow_constructible_v<KeyElemNode, Zyn::ZynType, bool>);

std::string missing(std::string const& name) { return "error: Missing attribute '" + name + "' in the key"; }

class TreeCalls : public testing::Test {
 protected:
  /** Lookups, constructors, setters, drops and traces: what happens, without the questions that lead to it. */
  std::vector<std::string> steps() {
    std::vector<std::string> kept;
    for (std::string const& line : world.log) {
      if (line.find(".attr(") != std::string::npos || line.find(".generic") != std::string::npos ||
          line.starts_with("trace") || line.starts_with("drop")) {
        kept.push_back(line);
      }
    }
    return kept;
  }
  /** Calls to the type system alone. */
  std::vector<std::string> asked() { return world.calls(services); }

  /** The latest constructor or setter; empty when there was none. */
  std::string lastMade() {
    std::vector<std::string> const lines = world.lines(".generic");
    return lines.empty() ? "" : lines.back();
  }

  /** A collection in a type of its own. */
  Zyn::ZynAttr collection(Attr attr) { return world.attr(world.type({.name = "Owner"}), std::move(attr)); }

  World world;
  Zyn::ZynType const number = world.type({.name = "Number", .isValue = true, .isScalarKind = true});
  Zyn::ZynType const string = world.type({.name = "String", .isScalarKind = true, .isString = true});
};

// ---- what is supplied whole by one text

/** Each type is told by the marks alone: the type system's own word on scalar kinds is not second-guessed. */
struct ScalarRow {
  Type type;
  bool s4;
  bool scalar;
};

std::vector<ScalarRow> scalarRows() {
  return {
      {{.name = "Enum", .isEnum = true}, false, true},
      {{.name = "Kind", .isScalarKind = true}, false, true},
      {{.name = "Wrapper", .valAttr = "held"}, false, true},
      {{.name = "S4Value", .isValue = true, .hasS4 = true}, true, true},
      {{.name = "S4Value", .isValue = true, .hasS4 = true}, false, false},
      {{.name = "S4Alone", .hasS4 = true}, true, false},
      {{.name = "S4Kind", .hasS4 = true, .isScalarKind = true}, true, true},
      {{.name = "Value", .isValue = true}, true, false},
      {{.name = "GnmiAlone", .hasGnmi = true}, false, false},
      {{.name = "UnionAlone", .isValue = true, .isUnion = true}, false, false},
      {{.name = "StringAlone", .isString = true}, false, false},
      {{.name = "Nothing"}, false, false},
  };
}

TEST_F(TreeCalls, AnAbsentArgumentIsMissingWhenItsTypeIsScalarAndBuiltWhenItIsNot) {
  for (ScalarRow const& row : scalarRows()) {
    Zyn::ZynType const type = world.type(row.type);
    world.attr(type, {.name = "held", .type = number});
    Zyn::ZynType const key = world.type({.name = "Key", .args = {"x"}});
    world.attr(key, {.name = "x", .type = type});
    KeyElemNode root(key, row.s4);
    EXPECT_EQ(shown(root.instantiate()), row.scalar ? missing("x") : "done") << row.type.name << " s4=" << row.s4;
    EXPECT_EQ(world.count(row.type.name + ".genericIf([], false)"), row.scalar ? 0U : 1U);
    world.forget();
  }
}

TEST_F(TreeCalls, APathMayEndAtANewChildOfAScalarTypeOnly) {
  for (ScalarRow const& row : scalarRows()) {
    Zyn::ZynType const type = world.type(row.type);
    world.attr(type, {.name = "held", .type = number});
    Zyn::ZynType const key = world.type({.name = "Key"});
    world.attr(key, {.name = "x", .type = type});
    KeyElemNode root(key, row.s4);
    EXPECT_EQ(insert(root, "x", "CAE="),
              row.scalar ? "done" : "error: Expecting a scalar at leaf element 'x'; found composite of type 'Key'")
        << row.type.name << " s4=" << row.s4;
    ASSERT_NE(childOf(root, "x"), nullptr);
    EXPECT_EQ(childOf(root, "x")->value != nullptr, row.scalar);
  }
}

TEST_F(TreeCalls, TheModeOfTheNodeDecidesNotThatOfTheRoot) {
  Zyn::ZynType const flag = world.type({.name = "Flag", .isValue = true, .hasS4 = true});
  Zyn::ZynType const inner = world.type({.name = "Inner", .args = {"flag"}});
  world.attr(inner, {.name = "flag", .type = flag});
  world.attr(inner, {.name = "n", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"inner"}});
  world.attr(key, {.name = "inner", .type = inner});
  for (bool const mode : {false, true}) {
    KeyElemNode root(key, !mode);
    ASSERT_EQ(insert(root, "inner__n", "1"), "done");
    EXPECT_EQ(childOf(root, "inner")->useS4Encoding, !mode);
    EXPECT_EQ(childOf(*childOf(root, "inner"), "n")->useS4Encoding, !mode);
    childOf(root, "inner")->useS4Encoding = mode;
    EXPECT_EQ(shown(root.instantiate()), mode ? missing("flag") : "done");
  }
}

// ---- construct

TEST_F(TreeCalls, ConstructBuildsTheTypeGivenFromTheNodesOwnAttributes) {
  Zyn::ZynType const place = world.type({.name = "Place", .args = {"row", "seat"}});
  world.attr(place, {.name = "row", .type = string});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"nothing"}});
  world.attr(key, {.name = "seat", .type = number});
  world.attr(key, {.name = "row", .type = number});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "seat", "1"), "done");
  ASSERT_EQ(insert(root, "row", "2"), "done");
  world.forget();
  trace();
  EXPECT_EQ(shown(root.construct(place)), "v3");
  std::vector<std::string> all = steps();
  std::erase_if(all, [](std::string const& line) { return line.starts_with("drop"); });
  EXPECT_THAT(all, ElementsAre("trace KeyElemNode::construct: Constructing type: 'Place'", "Key.attr(\"row\"z)",
                               "trace KeyElemNode::instantiate: KeyElem type: 'Number'", "Key.attr(\"seat\"z)",
                               "trace KeyElemNode::instantiate: KeyElem type: 'Number'",
                               "Place.genericIf([v2(1), v1(1)], false)"));
  EXPECT_EQ(world.values(), 0);
  EXPECT_EQ(world.count("Key.argNames"), 0U);
  EXPECT_FALSE(root.value);
}

TEST_F(TreeCalls, ConstructLeavesTheNodesValueAlone) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  KeyElemNode root(key, false);
  ASSERT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(shown(root.construct(key)), "v2");
  EXPECT_EQ(nameOf(root.value.get()), "v1");
}

TEST_F(TreeCalls, WithoutArgumentsTheListIsEmptyAndEveryChildStays) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "a", .type = number});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "a", "1"), "done");
  world.forget();
  ASSERT_TRUE(root.construct(key));
  EXPECT_THAT(world.lines(".generic"), ElementsAre("Key.genericIf([], false)"));
  EXPECT_EQ(world.count(".attr("), 0U);
  EXPECT_EQ(root.children.size(), 1U);
  EXPECT_EQ(nameOf(childOf(root, "a")->value.get()), "v1");
}

TEST_F(TreeCalls, AnArgumentIsCompletedAndItsSubtreeDroppedBeforeTheNextIsLookedUp) {
  Zyn::ZynType const inner = world.type({.name = "Inner", .args = {"x"}});
  world.attr(inner, {.name = "x", .type = number});
  world.attr(inner, {.name = "rest", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"inner", "last"}});
  world.attr(key, {.name = "inner", .type = inner});
  world.attr(key, {.name = "last", .type = number});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "inner__x", "1"), "done");
  ASSERT_EQ(insert(root, "inner__rest", "2"), "done");
  ASSERT_EQ(insert(root, "last", "3"), "done");
  world.forget();
  EXPECT_EQ(shown(root.instantiate()), "done");
  std::vector<std::string> all = steps();
  ASSERT_EQ(all.size(), 10U);
  all.resize(8);                                                   // the end is the list's: v3 and v4, in either order
  EXPECT_THAT(all, ElementsAre("Key.attr(\"inner\"z)",             //
                               "Inner.attr(\"x\"z)",               //
                               "Inner.genericIf([v1(1)], false)",  //
                               "drop v1",                          // the list's reference was the last
                               "rest.genericIfSet(v4(1), null, v2(2))",  //
                               "drop v2",                                // with the node of `inner`
                               "Key.attr(\"last\"z)",                    //
                               "Key.genericIf([v4(1), v3(1)], false)"));
}

TEST_F(TreeCalls, AnArgumentNamedTwiceIsMissingTheSecondTime) {
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a", "a"}});
  world.attr(key, {.name = "a", .type = number});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "a", "1"), "done");
  EXPECT_EQ(shown(root.instantiate()), missing("a"));
  EXPECT_EQ(world.count("Key.genericIf"), 0U);
}

TEST_F(TreeCalls, ANameThatTheNodeDoesNotHaveIsMissingAndNoEmptyHandleIsAsked) {
  Zyn::ZynType const place = world.type({.name = "Place", .args = {"row"}});
  world.attr(place, {.name = "row", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"first", "place", "last"}});
  world.attr(key, {.name = "place", .type = place});
  for (std::string const name : {"first", "last", "extra"}) {
    world.attr(key, {.name = name, .type = number});
  }
  KeyElemNode root(key, false);
  for (std::string const name : {"first", "last", "extra"}) {
    ASSERT_EQ(insert(root, name, "1"), "done");
  }
  world.forget();
  EXPECT_EQ(shown(root.instantiate()), missing("row"));
  EXPECT_EQ(world.count("none."), 0U);
  EXPECT_EQ(world.count(".genericIf"), 0U);
  // What came before is used up, what comes after is untouched.
  EXPECT_EQ(root.children.size(), 2U);
  EXPECT_EQ(childOf(root, "first"), nullptr);
  EXPECT_EQ(world.values(), 2);
}

TEST_F(TreeCalls, ArgumentsAreUsedUpHoweverManyAndWhateverElseThereIs) {
  for (std::size_t const count : {1U, 3U, 7U, 8U, 9U, 10U, 20U}) {
    for (bool const isMissing : {false, true}) {
      for (bool const isMore : {false, true}) {
        std::vector<std::string> names;
        for (std::size_t i = 0; i < count; ++i) {
          names.push_back("a" + std::to_string(i));
        }
        std::vector<std::string> args = names;
        if (isMissing) {
          args.emplace_back("last");
        }
        Zyn::ZynType const key = world.type({.name = "Key", .args = args});
        for (std::string const name : {"last", "more"}) {
          world.attr(key, {.name = name, .type = number});
        }
        KeyElemNode root(key, false);
        for (std::string const& name : names) {
          world.attr(key, {.name = name, .type = number});
          ASSERT_EQ(insert(root, name, "1"), "done");
        }
        if (isMore) {
          ASSERT_EQ(insert(root, "more", "1"), "done");
        }
        world.forget();
        EXPECT_EQ(shown(root.construct(key)).starts_with(missing("last")), isMissing) << count;
        EXPECT_EQ(root.children.size(), isMore ? 1U : 0U) << count;
        EXPECT_EQ(childOf(root, "more") != nullptr, isMore);
        EXPECT_EQ(world.values(), isMore ? 1 : 0) << count << " and what was made is dropped";
        // A tree that was built from serves again.
        EXPECT_EQ(insert(root, "last", "1"), "done");
        EXPECT_NE(childOf(root, "last"), nullptr);
      }
    }
  }
}

TEST_F(TreeCalls, AnArgumentThatWasUsedUpIsMissingForTheTypeThatIsBuiltNext) {
  for (std::string const again : {"a", "b"}) {
    Zyn::ZynType const inner = world.type({.name = "Inner", .args = {again}});
    Zyn::ZynType const key = world.type({.name = "Key", .args = {"a", "b", "inner"}});
    world.attr(key, {.name = "a", .type = number});
    world.attr(key, {.name = "b", .type = number});
    world.attr(key, {.name = "inner", .type = inner});
    KeyElemNode root(key, false);
    ASSERT_EQ(insert(root, "a", "1"), "done");
    ASSERT_EQ(insert(root, "b", "1"), "done");
    EXPECT_EQ(shown(root.instantiate()), missing(again));
    EXPECT_TRUE(root.children.empty());
  }
}

TEST_F(TreeCalls, TheMissingAttributeIsTheInnermostOne) {
  // Three types deep on one node; what is left out is named by the attribute and not by the type that wanted it.
  Zyn::ZynType const seat = world.type({.name = "Seat", .args = {"row", "column"}});
  Zyn::ZynType const place = world.type({.name = "Place", .args = {"seat"}});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"place"}});
  world.attr(key, {.name = "place", .type = place});
  world.attr(key, {.name = "seat", .type = seat});
  world.attr(key, {.name = "row", .type = number});
  world.attr(key, {.name = "column", .type = number});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "row", "1"), "done");
  EXPECT_EQ(shown(root.instantiate()), missing("column"));
  EXPECT_EQ(world.count("format"), 1U);
  EXPECT_TRUE(root.children.empty());  // `row` was used up and stays gone
  EXPECT_EQ(world.values(), 0);
}

TEST_F(TreeCalls, ErrorsOfConstructReleaseTheArgumentsAlsoFromTheHeap) {
  struct {
    std::string fault;
    std::string error;
  } const rows[] = {
      {"Key.genericIf", "error: refused"},
      {"Last.genericIf", "error: refused"},
      {"", missing("scalar")},
  };
  for (auto const& row : rows) {
    Zyn::ZynType const empty = world.type({.name = "Empty"});
    Zyn::ZynType const last = world.type({.name = "Last"});
    Zyn::ZynType const wide =
        world.type({.name = "Key",
                    .args = {"a", "e", "e", "e", "e", "e", "e", "e", "e", "e", row.fault.empty() ? "scalar" : "last"}});
    world.attr(wide, {.name = "a", .type = number});
    world.attr(wide, {.name = "e", .type = empty});
    world.attr(wide, {.name = "last", .type = last});
    world.attr(wide, {.name = "scalar", .type = number});
    KeyElemNode root(wide, false);
    ASSERT_EQ(insert(root, "a", "1"), "done");
    if (!row.fault.empty()) {
      world.fault(row.fault, 1, throws<Velko::Exception>("refused"));
    }
    world.forget();
    EXPECT_EQ(shown(root.instantiate()), row.error);
    EXPECT_EQ(world.values(), 0);
    EXPECT_GT(world.count("alloc Velko::SmallVectorOf"), 0U);
    EXPECT_EQ(world.lines("alloc Velko::SmallVectorOf").size(), 2 * world.count("dealloc Velko::SmallVectorOf"));
    EXPECT_TRUE(root.children.empty());
    EXPECT_FALSE(root.value);
  }
}

TEST_F(TreeCalls, TheListGrowsToTheHeapWithTheNinthArgument) {
  for (std::size_t const count : {8U, 9U, 30U}) {
    Zyn::ZynType const empty = world.type({.name = "Empty"});
    Zyn::ZynType const key = world.type({.name = "Key", .args = std::vector<std::string>(count, "e")});
    world.attr(key, {.name = "e", .type = empty});
    world.forget();
    KeyElemNode root(key, false);
    ASSERT_EQ(shown(root.instantiate()), "done");
    EXPECT_EQ(world.count("alloc Velko::SmallVectorOf") > 0, count > 8) << count;
    std::string const call = lastMade();
    EXPECT_EQ(static_cast<std::size_t>(std::count(call.begin(), call.end(), 'v')), count);
  }
}

TEST_F(TreeCalls, ANestedErrorComesBackAsItIs) {
  Zyn::ZynType const place = world.type({.name = "Place"});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"place", "after"}});
  world.attr(key, {.name = "place", .type = place});
  world.attr(key, {.name = "after", .type = number});
  KeyElemNode root(key, false);
  world.fault("Place.genericIf", 1, throws<Velko::Exception>("{} is no place"));
  EXPECT_EQ(shown(root.instantiate()), "error: {} is no place");
  EXPECT_EQ(world.count("\"after\""), 0U);
  EXPECT_EQ(world.count("Key.genericIf"), 0U);
  EXPECT_EQ(world.count("format"), 0U);
}

TEST_F(TreeCalls, ANullArgumentBuiltOnTheSameNodeTravels) {
  Zyn::ZynType const place = world.type({.name = "Place"});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"place"}});
  world.attr(key, {.name = "place", .type = place});
  KeyElemNode root(key, false);
  world.fault("Place.genericIf", 1, null);
  EXPECT_EQ(shown(root.instantiate()), "done");
  EXPECT_THAT(world.lines(".generic"), ElementsAre("Place.genericIf([], false)", "Key.genericIf([null], false)"));
}

TEST_F(TreeCalls, ArgumentsInACircleEndWithoutTheTraceOfAnotherRound) {
  // a -> b -> c -> a, all on one node, entered at every place.
  for (std::string const start : {"a", "b", "c"}) {
    Zyn::ZynType const a = world.type({.name = "A", .args = {"b"}});
    Zyn::ZynType const b = world.type({.name = "B", .args = {"c"}});
    Zyn::ZynType const c = world.type({.name = "C", .args = {"a"}});
    Zyn::ZynType const key = world.type({.name = "Key", .args = {start}});
    world.attr(key, {.name = "a", .type = a});
    world.attr(key, {.name = "b", .type = b});
    world.attr(key, {.name = "c", .type = c});
    KeyElemNode root(key, false);
    world.forget();
    trace();
    EXPECT_EQ(shown(root.instantiate()), missing(start));
    EXPECT_EQ(world.count("Constructing type"), 4U);
    trace(false);
  }
}

TEST_F(TreeCalls, ACircleThatUsesUpAChildEveryRoundRunsUntilItIsDone) {
  // Loop is built on its own node again, as long as there is an x to take: the first round takes it.
  Zyn::ZynType const loop = world.type({.name = "Loop", .args = {"x", "loop"}});
  world.attr(loop, {.name = "loop", .type = loop});
  Zyn::ZynType const x = world.type({.name = "X"});
  world.attr(loop, {.name = "x", .type = x});
  world.attr(x, {.name = "n", .type = number});
  KeyElemNode root(loop, false);
  ASSERT_EQ(insert(root, "x__n", "1"), "done");
  trace();
  world.forget();
  EXPECT_EQ(shown(root.instantiate()), missing("loop"));
  // Loop takes x; Loop again builds an X of nothing; a third round would repeat the second.
  EXPECT_THAT(world.lines("Constructing"),
              ElementsAre(HasSubstr("'Loop'"), HasSubstr("'X'"), HasSubstr("'Loop'"), HasSubstr("'X'")));
}

TEST_F(TreeCalls, TheSameTypeTwiceSideBySideIsNoCircle) {
  Zyn::ZynType const place = world.type({.name = "Place"});
  Zyn::ZynType const pair = world.type({.name = "Pair", .args = {"first", "second"}});
  world.attr(pair, {.name = "first", .type = place});
  world.attr(pair, {.name = "second", .type = place});
  KeyElemNode root(pair, false);
  EXPECT_EQ(shown(root.instantiate()), "done");
  EXPECT_THAT(world.lines(".generic"), ElementsAre("Place.genericIf([], false)", "Place.genericIf([], false)",
                                                   "Pair.genericIf([v1(1), v2(1)], false)"));
}

TEST_F(TreeCalls, ATypeIsBuiltAgainOnAChildOfItsOwn) {
  // The same type further up, but on another node: that is no circle.
  Zyn::ZynType const node = world.type({.name = "Node", .args = {"n", "v"}});
  Zyn::ZynType const end = world.type({.name = "End", .args = {"node"}});
  world.attr(node, {.name = "n", .type = end});
  world.attr(node, {.name = "v", .type = number});
  world.attr(end, {.name = "node", .type = node});
  world.attr(end, {.name = "n", .type = world.type({.name = "Empty"})});
  world.attr(end, {.name = "v", .type = number});
  KeyElemNode root(node, false);
  ASSERT_EQ(insert(root, "n__v", "1"), "done");
  ASSERT_EQ(insert(root, "v", "2"), "done");
  EXPECT_EQ(shown(root.instantiate()), "done");
}

// ---- instantiate

TEST_F(TreeCalls, ANodeWithAValueAsksNothing) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "a", .type = world.type({.name = "Inner"})});
  KeyElemNode root(key, false);
  root.children.try_emplace(key.attr("a"), number, false);
  ASSERT_EQ(shown(root.instantiate()), "done");
  world.forget();
  trace();
  EXPECT_EQ(shown(root.instantiate()), "done");
  EXPECT_THAT(world.log, ElementsAre("Key.name", "trace KeyElemNode::instantiate: KeyElem type: 'Key'"));
}

TEST_F(TreeCalls, EachLeftoverIsCompletedThenSet) {
  Zyn::ZynType const inner = world.type({.name = "Inner", .args = {"x"}});
  world.attr(inner, {.name = "x", .type = number});
  world.attr(inner, {.name = "y", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "inner", .type = inner});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "inner__y", "1"), "done");
  ASSERT_EQ(insert(root, "inner__x", "2"), "done");
  world.forget();
  trace();
  EXPECT_EQ(shown(root.instantiate()), "done");
  EXPECT_THAT(steps(),
              ElementsAre("trace KeyElemNode::instantiate: KeyElem type: 'Key'",
                          "trace KeyElemNode::construct: Constructing type: 'Key'", "Key.genericIf([], false)",
                          "trace KeyElemNode::instantiate: KeyElem type: 'Inner'",
                          "trace KeyElemNode::construct: Constructing type: 'Inner'", "Inner.attr(\"x\"z)",
                          "trace KeyElemNode::instantiate: KeyElem type: 'Number'", "Inner.genericIf([v2(1)], false)",
                          "drop v2", "trace KeyElemNode::instantiate: KeyElem type: 'Number'",
                          "y.genericIfSet(v4(1), null, v1(2))", "inner.genericIfSet(v3(1), null, v4(2))"));
  ASSERT_EQ(root.children.size(), 1U);  // leftovers stay, each with its value
  EXPECT_EQ(nameOf(childOf(root, "inner")->value.get()), "v4");
  EXPECT_EQ(childOf(root, "inner")->children.size(), 1U);
}

TEST_F(TreeCalls, TheFirstLeftoverThatFailsEndsTheWalk) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  for (std::string const name : {"a", "b", "c"}) {
    world.attr(key, {.name = name, .type = number});
    world.fault(name + ".genericIfSet", 1, throws<Velko::Exception>("refused"));
  }
  KeyElemNode root(key, false);
  for (std::string const name : {"a", "b", "c"}) {
    ASSERT_EQ(insert(root, name, "1"), "done");
  }
  EXPECT_EQ(shown(root.instantiate()), "error: refused");
  EXPECT_EQ(world.count("genericIfSet"), 1U);
  EXPECT_TRUE(root.value);
  EXPECT_EQ(root.value->useCount(), 1U);
  for (auto const& [attr, child] : root.children) {
    EXPECT_EQ(child.value->useCount(), 1U);
  }
  EXPECT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(world.count("genericIfSet"), 1U);
}

TEST_F(TreeCalls, ALeftoverThatCannotBeBuiltIsNotSet) {
  Zyn::ZynType const inner = world.type({.name = "Inner", .args = {"x"}});
  world.attr(inner, {.name = "x", .type = number});
  world.attr(inner, {.name = "y", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "inner", .type = inner});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "inner__y", "1"), "done");
  EXPECT_EQ(shown(root.instantiate()), missing("x"));
  EXPECT_EQ(world.count("genericIfSet"), 0U);
  EXPECT_TRUE(root.value);
  EXPECT_FALSE(childOf(root, "inner")->value);
}

TEST_F(TreeCalls, AKeyThatCannotBeBuiltIsNotCompleted) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "a", .type = number});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "a", "1"), "done");
  world.fault("Key.genericIf", 1, throws<Velko::Exception>("no key"));
  EXPECT_EQ(shown(root.instantiate()), "error: no key");
  EXPECT_FALSE(root.value);
  EXPECT_EQ(world.count("genericIfSet"), 0U);
  EXPECT_EQ(root.children.size(), 1U);
}

TEST_F(TreeCalls, ANullLeftoverIsSetAsNull) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "a", .type = number});
  KeyElemNode root(key, false);
  world.fault("Number.genericIf", 1, null);
  ASSERT_EQ(insert(root, "a", "1"), "done");
  world.fault("Number.genericIf", 1, null);
  EXPECT_EQ(shown(root.instantiate()), "done");
  EXPECT_THAT(world.lines("genericIfSet"), ElementsAre("a.genericIfSet(v1(1), null, null)"));
}

TEST_F(TreeCalls, DroppingATreeReleasesEveryValue) {
  Zyn::ZynType const inner = world.type({.name = "Inner"});
  world.attr(inner, {.name = "x", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "inner", .type = inner});
  world.attr(key, {.name = "a", .type = number});
  {
    KeyElemNode root(key, false);
    ASSERT_EQ(insert(root, "inner__x", "1"), "done");
    ASSERT_EQ(insert(root, "a", "2"), "done");
    EXPECT_EQ(world.values(), 2);
  }
  EXPECT_EQ(world.values(), 0);
  EXPECT_EQ(world.elements(), 0);
}

// ---- insertPathSuffix

TEST_F(TreeCalls, APathIsWalkedStepByStep) {
  Zyn::ZynType const inner = world.type({.name = "Inner"});
  world.attr(inner, {.name = "x", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "inner", .type = inner});
  KeyElemNode root(key, false);
  trace();
  EXPECT_EQ(insert(root, "inner__x", "1"), "done");
  EXPECT_THAT(
      steps(),
      ElementsAre("trace KeyElemNode::insertPathSuffix: KeyElem type: 'Key'", "Key.attr(\"inner\")",
                  "trace KeyElemNode::insertPathSuffix: Inserting a new KeyElemNode 'inner' under 'Key'",
                  "trace KeyElemNode::insertPathSuffix: KeyElem type: 'Inner'", "Inner.attr(\"x\")",
                  "trace KeyElemNode::insertPathSuffix: Inserting a new KeyElemNode 'x' under 'Inner'",
                  "trace KeyElemNode::insertPathSuffix: KeyElem type: 'Number'",
                  "trace createScalarKey: Creating scalar key of type 'Number'", "Number.genericIf(\"1\", false)"));
}

TEST_F(TreeCalls, TheTraceOfANewChildComesBeforeItsMemory) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "x", .type = number});
  KeyElemNode root(key, false);
  auto const elements = ZynKeyDecoder::splitPath("x");
  trace();
  world.forget();
  ASSERT_TRUE(root.insertPathSuffix(elements.begin(), elements.end(), Velko::String("1")));
  auto const at = [&](std::string_view text) {
    return std::ranges::find_if(world.log,
                                [&](std::string const& line) { return line.find(text) != std::string::npos; });
  };
  ASSERT_NE(at("alloc Velko::AbslFlatHashMapOfTag"), world.log.end());
  EXPECT_LT(at("Inserting"), at("alloc Velko::AbslFlatHashMapOfTag"));
}

TEST_F(TreeCalls, ANewChildIsThereOnlyOnceItHasItsType) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "x", .type = number});
  KeyElemNode root(key, false);
  int asked = 0;
  world.fault("x.attrType", 1, [&] {
    ++asked;
    EXPECT_TRUE(root.children.empty());
  });
  EXPECT_EQ(insert(root, "x", "1"), "done");
  EXPECT_EQ(asked, 1);
}

TEST_F(TreeCalls, OnlyTheLastElementAndOnlyANewChildIsTestedForAScalar) {
  Zyn::ZynType const inner = world.type({.name = "Inner"});
  world.attr(inner, {.name = "x", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "inner", .type = inner});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "inner__x", "1"), "done");
  EXPECT_EQ(world.count("Inner.isScalarKind"), 0U);
  EXPECT_EQ(world.count("Number.isScalarKind"), 1U);
  world.forget();
  ASSERT_EQ(insert(root, "inner__x", "2"), "done");
  EXPECT_EQ(world.count("isScalarKind"), 0U);
  // A composite that an earlier path has made: what its type says is the result.
  EXPECT_EQ(insert(root, "inner", "3"), "done");
  EXPECT_EQ(world.count("isScalarKind"), 0U);
  EXPECT_EQ(lastMade(), "Inner.genericIf(\"3\", false)");
  EXPECT_TRUE(childOf(root, "inner")->value);
  EXPECT_EQ(childOf(root, "inner")->children.size(), 1U);
}

TEST_F(TreeCalls, AChildMadeByAPathThatEndedTooEarlyIsThereForTheNextOne) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "inner", .type = world.type({.name = "Inner"})});
  KeyElemNode root(key, false);
  EXPECT_EQ(insert(root, "inner", "1"),
            "error: Expecting a scalar at leaf element 'inner'; found composite of type 'Key'");
  EXPECT_EQ(world.count(".generic"), 0U);  // not decoded
  EXPECT_EQ(insert(root, "inner", "1"), "done");
  EXPECT_EQ(lastMade(), "Inner.genericIf(\"1\", false)");
}

TEST_F(TreeCalls, AChildKeepsTheTypeThatItWasMadeFor) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  Zyn::ZynAttr const x = world.attr(key, {.name = "x", .type = number});
  KeyElemNode root(key, false);
  EXPECT_EQ(insert(root, "x", "1"), "done");
  // The values below it were made for that type: what the attribute says later is for children made later.
  world.of(x).type = string;
  world.forget();
  EXPECT_EQ(insert(root, "x", "2"), "done");
  EXPECT_EQ(lastMade(), "Number.genericIf(\"2\", false)");
  EXPECT_THAT(world.lines(".attrType"), IsEmpty());
}

TEST_F(TreeCalls, ElementsOutsideTheRangeAreNotLookedAt) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "x", .type = number});
  KeyElemNode root(key, false);
  auto const elements = ZynKeyDecoder::splitPath("before__x__after");
  EXPECT_EQ(shown(root.insertPathSuffix(elements.begin() + 1, elements.end() - 1, Velko::String("1"))), "done");
  EXPECT_THAT(world.lines(".attr("), ElementsAre("Key.attr(\"x\")"));
  // Nothing of the path left: the value is the node's own, whatever its type.
  KeyElemNode leaf(number, false);
  EXPECT_EQ(shown(leaf.insertPathSuffix(elements.end(), elements.end(), Velko::String("2"))), "done");
  EXPECT_EQ(lastMade(), "Number.genericIf(\"2\", false)");
  EXPECT_EQ(shown(root.insertPathSuffix(elements.end(), elements.end(), Velko::String("3"))), "done");
  EXPECT_EQ(lastMade(), "Key.genericIf(\"3\", false)");
  EXPECT_TRUE(root.value);
}

TEST_F(TreeCalls, AValueGoesDownByteForByte) {
  using namespace std::string_view_literals;
  std::string const hostile("a\"'\\{}__\0\n\xff*"sv);
  Zyn::ZynType const inner = world.type({.name = "Inner"});
  world.attr(inner, {.name = "x", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "inner", .type = inner});
  KeyElemNode root(key, false);
  EXPECT_EQ(insert(root, "inner__x", hostile), "done");
  EXPECT_EQ(insert(root, "inner__x", "*"), "done");  // no wildcard inside a key
  EXPECT_THAT(world.lines(".generic"),
              ElementsAre("Number.genericIf(\"" + hostile + "\", false)", "Number.genericIf(\"*\", false)"));
}

TEST_F(TreeCalls, ANewValueReplacesTheOldOneAndAFailureDoesNot) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "x", .type = number});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "x", "1"), "done");
  world.forget();
  ASSERT_EQ(insert(root, "x", "2"), "done");
  EXPECT_THAT(steps(), ElementsAre("Key.attr(\"x\")", "Number.genericIf(\"2\", false)", "drop v1"));
  world.fault("Number.genericIf", 1, throws<Velko::Exception>("no number"));
  EXPECT_EQ(insert(root, "x", "3"), "error: no number");
  EXPECT_EQ(nameOf(childOf(root, "x")->value.get()), "v2");
  EXPECT_EQ(childOf(root, "x")->value->useCount(), 1U);
  // Null is a value like any other: it takes the place of the old one.
  world.fault("Number.genericIf", 1, null);
  EXPECT_EQ(insert(root, "x", "4"), "done");
  EXPECT_FALSE(childOf(root, "x")->value);
  EXPECT_EQ(world.values(), 0);
}

TEST_F(TreeCalls, TheVeryObjectThatANodeHoldsMayComeAgain) {
  // A type system may hand out one object for equal values.
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "x", .type = number});
  KeyElemNode root(key, false);
  ASSERT_EQ(insert(root, "x", "1"), "done");
  world.answer = childOf(root, "x")->value;
  EXPECT_EQ(insert(root, "x", "1"), "done");
  EXPECT_EQ(childOf(root, "x")->value.get(), world.answer.get());
  EXPECT_EQ(world.answer->useCount(), 2U);
  world.answer = nullptr;
  EXPECT_EQ(childOf(root, "x")->value->useCount(), 1U);
  EXPECT_EQ(world.count("drop"), 0U);
}

TEST_F(TreeCalls, AnUnknownElementEndsTheWalkUndecoded) {
  Zyn::ZynType const inner = world.type({.name = "Inner"});
  world.attr(inner, {.name = "x", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "inner", .type = inner});
  KeyElemNode root(key, false);
  trace();
  EXPECT_EQ(insert(root, "inner__nothing__x", "1"), "error: Attribute 'nothing' not found on Type 'Inner'");
  EXPECT_THAT(steps(),
              ElementsAre("trace KeyElemNode::insertPathSuffix: KeyElem type: 'Key'", "Key.attr(\"inner\")",
                          "trace KeyElemNode::insertPathSuffix: Inserting a new KeyElemNode 'inner' "
                          "under 'Key'",
                          "trace KeyElemNode::insertPathSuffix: KeyElem type: 'Inner'", "Inner.attr(\"nothing\")"));
  EXPECT_EQ(world.count("none."), 0U);
  ASSERT_NE(childOf(root, "inner"), nullptr);
  EXPECT_TRUE(childOf(root, "inner")->children.empty());
}

TEST_F(TreeCalls, ManyChildrenKeepTheirValuesWhileTheMapGrows) {
  Zyn::ZynType const inner = world.type({.name = "Inner"});
  world.attr(inner, {.name = "x", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key"});
  constexpr int count = 100;
  for (int i = 0; i < count; ++i) {
    world.attr(key, {.name = "f" + std::to_string(i), .type = inner});
  }
  KeyElemNode root(key, false);
  for (int i = 0; i < count; ++i) {
    ASSERT_EQ(insert(root, "f" + std::to_string(i) + "__x", "1"), "done");
  }
  EXPECT_EQ(world.values(), count);
  for (int i = 0; i < count; ++i) {
    KeyElemNode* const child = childOf(*childOf(root, "f" + std::to_string(i)), "x");
    ASSERT_NE(child, nullptr);
    EXPECT_EQ(nameOf(child->value.get()), "v" + std::to_string(i + 1));
    EXPECT_EQ(child->value->useCount(), 1U);
  }
}

// ---- processKeyPath

class PathCalls : public TreeCalls {
 protected:
  /** `key` holds the key; `both` is a field of key and entries, `mine` of the key alone, `cost` of the entries. */
  Zyn::ZynType const key = world.type({.name = "Key"});
  Zyn::ZynType const entry = world.type({.name = "Entry"});
  Zyn::ZynAttr const keyAttr = world.attr(entry, {.name = "key", .type = key});
  Zyn::ZynAttr const route =
      collection({.name = "route", .type = entry, .keyed = true, .keyName = "key", .keyType = key});
  KeyElemNode root{key, false};

  PathCalls() {
    world.attr(key, {.name = "both", .type = number});
    world.attr(key, {.name = "mine", .type = number});
    world.attr(entry, {.name = "both", .type = string});
    world.attr(entry, {.name = "cost", .type = string});
  }
  void TearDown() override { root = KeyElemNode(key, false); }

  std::string process(Zyn::ZynAttr attr, std::string_view path, std::string_view value = "1") {
    world.forget();
    return shown(ZynKeyDecoder(attr, false).processKeyPath(root, path, value));
  }
  /** Lookups before the tree's own. */
  std::vector<std::string> lookups() { return world.lines(".attr("); }
};

TEST_F(PathCalls, TheTraceComesFirstThenThePathThenTheQuestions) {
  trace();
  EXPECT_EQ(process(route, "key__mine", "{}"), "done");
  ASSERT_GE(world.log.size(), 4U);
  EXPECT_EQ(world.log[0], "trace processKeyPath: Processing key path 'key__mine', and value '{}'");
  EXPECT_THAT(world.log[1], HasSubstr("alloc Velko::VectorOf"));
  std::vector<std::string> const asked = this->asked();
  EXPECT_EQ(asked.front(), "route.isKeyed");
}

TEST_F(PathCalls, TheKeyNameIsLookedUpOnTheEntriesAlone) {
  EXPECT_EQ(process(route, "key__mine"), "done");
  EXPECT_THAT(lookups(), ElementsAre("Entry.attr(\"key\"z)", "Key.attr(\"mine\")"));
}

TEST_F(PathCalls, AnythingElseIsLookedUpOnBoth) {
  EXPECT_EQ(process(route, "both"), "done");
  EXPECT_THAT(lookups(),
              ElementsAre("Entry.attr(\"key\"z)", "Entry.attr(\"both\")", "Key.attr(\"both\")", "Key.attr(\"both\")"));
  EXPECT_EQ(nameOf(childOf(root, "both")->value.get()), "v1");
}

TEST_F(PathCalls, ARefusedPathTouchesNothing) {
  for (std::string const path : {"mine", "cost", "nothing", "", "__key", "Key__mine", "mine__key"}) {
    EXPECT_EQ(process(route, path),
              "error: Expecting key path '" + path + "' to start with the internal key name 'key'");
    EXPECT_TRUE(root.children.empty());
    EXPECT_EQ(world.count(".generic"), 0U);
    EXPECT_EQ(world.count("format"), 1U);
    EXPECT_EQ(world.elements(), 0);
  }
}

TEST_F(PathCalls, ErrorsAreNotTraced) {
  trace();
  EXPECT_NE(process(route, "nothing"), "done");
  EXPECT_THAT(world.lines("trace"), ElementsAre("trace processKeyPath: Processing key path 'nothing', and value '1'"));
}

TEST_F(PathCalls, TheNameOfTheAttributeCountsNotTheRecordedOne) {
  // A platform may find an attribute by a name that is not the one it shows.
  world.fault("key.name", 1, [this] { world.of(keyAttr).name = "id"; });
  EXPECT_EQ(process(route, "id__mine"), "done");
  world.of(keyAttr).name = "key";
  world.fault("key.name", 1, [this] { world.of(keyAttr).name = "id"; });
  EXPECT_EQ(process(route, "key__mine"),
            "error: Expecting key path 'key__mine' to start with the internal key name 'id'");
}

TEST_F(PathCalls, ACollectionThatIsNotKeyedIsAskedNothingElse) {
  Zyn::ZynAttr const event = collection({.name = "event", .type = entry, .keyName = "key", .keyType = key});
  EXPECT_EQ(process(event, "mine"), "done");
  EXPECT_EQ(asked().front(), "event.isKeyed");
  EXPECT_EQ(world.count("event."), 1U);
  EXPECT_THAT(lookups(), ElementsAre("Key.attr(\"mine\")"));
  EXPECT_EQ(process(event, ""), "error: Attribute '' not found on Type 'Key'");
}

TEST_F(PathCalls, ACollectionWithoutARecordedKeyNameTakesAnyPath) {
  Zyn::ZynAttr const nameless = collection({.name = "nameless", .type = entry, .keyed = true, .keyType = key});
  EXPECT_EQ(process(nameless, "mine"), "done");
  EXPECT_THAT(lookups(), ElementsAre("Key.attr(\"mine\")"));
  EXPECT_EQ(process(nameless, "key__mine"), "error: Attribute 'key' not found on Type 'Key'");
  EXPECT_EQ(process(nameless, ""), "error: Attribute '' not found on Type 'Key'");
}

TEST_F(PathCalls, AKeyNameThatTheEntriesDoNotHaveTakesAnyPath) {
  Zyn::ZynAttr const stray =
      collection({.name = "stray", .type = entry, .keyed = true, .keyName = "id", .keyType = key});
  EXPECT_EQ(process(stray, "mine"), "done");
  EXPECT_THAT(lookups(), ElementsAre("Entry.attr(\"id\"z)", "Key.attr(\"mine\")"));
  EXPECT_EQ(process(stray, "id__mine"), "error: Attribute 'id' not found on Type 'Key'");
}

TEST_F(PathCalls, AnEmptyKeyNameIsLookedUpLikeAnyOther) {
  Zyn::ZynAttr const blank = collection({.name = "blank", .type = entry, .keyed = true, .keyName = "", .keyType = key});
  EXPECT_EQ(process(blank, "mine"), "done");
  EXPECT_THAT(lookups(), ElementsAre("Entry.attr(\"\"z)", "Key.attr(\"mine\")"));
  // Entries that have an attribute without a name: then an empty element is the key's name.
  world.attr(entry, {.name = "", .type = key});
  EXPECT_EQ(process(blank, "__mine"), "done");
  EXPECT_EQ(process(blank, "mine"), "error: Expecting key path 'mine' to start with the internal key name ''");
  EXPECT_EQ(process(blank, ""), "done");  // the whole key
  EXPECT_EQ(lastMade(), "Key.genericIf(\"1\", false)");
}

TEST_F(PathCalls, AnEmptyKeyTypeIsNotAsked) {
  Zyn::ZynAttr const late = collection({.name = "late", .type = entry, .keyed = true, .keyName = "key"});
  EXPECT_EQ(process(late, "both"), "error: Expecting key path 'both' to start with the internal key name 'key'");
  EXPECT_EQ(world.count("none."), 0U);
  EXPECT_EQ(process(late, "key__both"), "done");
}

TEST_F(PathCalls, TheDecodersModeIsNotThatOfTheTree) {
  Zyn::ZynType const flag = world.type({.name = "Flag", .isValue = true, .hasS4 = true});
  for (bool const mode : {false, true}) {
    world.forget();
    KeyElemNode leaf(flag, mode);
    EXPECT_EQ(shown(ZynKeyDecoder(route, !mode).processKeyPath(leaf, "key", "CAE=")), "done");
    EXPECT_EQ(leaf.useS4Encoding, mode);
    EXPECT_THAT(world.lines(".generic"), ElementsAre(mode ? "Flag.genericIfFromPbMessage(0801 at 0, false)"
                                                          : "Flag.genericIf(\"CAE=\", false)"));
  }
}

TEST_F(PathCalls, APathMayStartWithAnAttributeOfTheSameNameAsTheKey) {
  // The key has a field called `key` too: the first element is the key's name, the second its field.
  world.attr(key, {.name = "key", .type = number});
  EXPECT_EQ(process(route, "key__key"), "done");
  EXPECT_EQ(nameOf(childOf(root, "key")->value.get()), "v1");
  EXPECT_EQ(process(route, "key"), "done");
  EXPECT_TRUE(root.value);
}

// ---- updateFilter

class FilterCalls : public PathCalls {
 protected:
  ZynKeyDecoder const decoder{route, false};
  ZynKeyDecoder::FilterMap filter;

  void TearDown() override {
    filter = ZynKeyDecoder::FilterMap();
    PathCalls::TearDown();
  }
  std::string update(std::string_view path, std::string_view value) {
    world.forget();
    return shown(decoder.updateFilter(filter, path, value));
  }
};

TEST_F(FilterCalls, TheTraceComesFirstThenThePathThenTheKeyType) {
  trace();
  EXPECT_EQ(update("mine", "{}"), "done");
  EXPECT_EQ(world.log.at(0), "trace updateFilter: Found a filter on 'mine' with value '{}'");
  EXPECT_THAT(world.log.at(1), HasSubstr("alloc Velko::VectorOf"));
  EXPECT_THAT(steps(), ElementsAre("trace updateFilter: Found a filter on 'mine' with value '{}'", "Key.attr(\"mine\")",
                                   "trace createScalarKey: Creating scalar key of type 'Number'",
                                   "Number.genericIf(\"{}\", false)"));
  // Neither the entries nor the name of their key matter.
  EXPECT_EQ(asked().front(), "route.keyType");
  EXPECT_EQ(world.count("route."), 1U);
  EXPECT_EQ(world.count("Entry"), 0U);
}

TEST_F(FilterCalls, ANestedPathAsksNothing) {
  for (std::string const path : {"mine__x", "mine__", "__mine", "__", "key__mine"}) {
    EXPECT_EQ(update(path, "1"), "error: Filtering nested key '" + path + "' is not supported");
    EXPECT_THAT(asked(), IsEmpty());
  }
  EXPECT_TRUE(filter.empty());
}

TEST_F(FilterCalls, AnUnknownAttributeIsNotDecoded) {
  for (std::string const path : {"cost", "key", "", "Mine"}) {
    EXPECT_EQ(update(path, "1"), "error: Attribute '" + path + "' not found on Type 'Key'");
    EXPECT_EQ(world.count("none."), 0U);
    EXPECT_EQ(world.count(".generic"), 0U);
  }
  EXPECT_TRUE(filter.empty());
}

TEST_F(FilterCalls, AnEmptyKeyTypeIsNotAsked) {
  Zyn::ZynAttr const event = collection({.name = "event", .type = entry});
  world.forget();
  EXPECT_EQ(shown(ZynKeyDecoder(event, false).updateFilter(filter, "mine", "1")),
            "error: Attribute 'event' is not a keyed collection");
  EXPECT_EQ(world.count("none."), 0U);
  EXPECT_EQ(world.count(".attr("), 0U);
  // Even a decoder without a collection.
  EXPECT_EQ(shown(ZynKeyDecoder(Zyn::ZynAttr(), false).updateFilter(filter, "mine", "1")),
            "error: Attribute '' is not a keyed collection");
  EXPECT_TRUE(filter.empty());
}

TEST_F(FilterCalls, ANewValueReplacesTheOldOneAndAFailureDoesNot) {
  ASSERT_EQ(update("mine", "1"), "done");
  EXPECT_EQ(update("mine", "2"), "done");
  EXPECT_THAT(steps(), ElementsAre("Key.attr(\"mine\")", "Number.genericIf(\"2\", false)", "drop v1"));
  EXPECT_EQ(filter.begin()->second->useCount(), 1U);
  world.fault("Number.genericIf", 1, throws<Velko::Exception>("{} is no number"));
  EXPECT_EQ(update("mine", "3"), "error: {} is no number");
  EXPECT_EQ(world.count("format"), 0U);
  world.fault("Number.genericIf", 1, throws<Velko::Exception>("no number"));
  EXPECT_EQ(update("both", "3"), "error: no number");
  ASSERT_EQ(filter.size(), 1U);
  EXPECT_EQ(nameOf(filter.begin()->second.get()), "v2");
  world.fault("Number.genericIf", 1, null);
  EXPECT_EQ(update("mine", "4"), "done");
  ASSERT_EQ(filter.size(), 1U);
  EXPECT_FALSE(filter.begin()->second);
}

TEST_F(FilterCalls, OnlyOneStarAloneIsTheWildcard) {
  using namespace std::string_view_literals;
  for (std::string_view const value : {"**"sv, " *"sv, "*x"sv, "*\0"sv, ""sv, "\0*"sv}) {
    EXPECT_EQ(update("mine", value), "done");
    EXPECT_THAT(world.lines(".generic"), ElementsAre("Number.genericIf(\"" + std::string(value) + "\", false)"));
  }
  EXPECT_EQ(update("mine", "*x"sv.substr(0, 1)), "done");
  EXPECT_THAT(world.log, IsEmpty());
}

TEST_F(FilterCalls, ACompositeGoesToItsTypeAsText) {
  // No test for a scalar here: the attribute's type decides what a text means.
  world.attr(key, {.name = "place", .type = world.type({.name = "Place", .isValue = true})});
  EXPECT_EQ(update("place", "1"), "done");
  EXPECT_THAT(world.lines(".generic"), ElementsAre("Place.genericIf(\"1\", false)"));
}

TEST_F(FilterCalls, TheDecodersModeIsPassedOn) {
  world.attr(key, {.name = "flag", .type = world.type({.name = "Flag", .isValue = true, .hasS4 = true})});
  for (bool const mode : {false, true}) {
    world.forget();
    EXPECT_EQ(shown(ZynKeyDecoder(route, mode).updateFilter(filter, "flag", "CAE=")), "done");
    EXPECT_THAT(world.lines(".generic"), ElementsAre(mode ? "Flag.genericIfFromPbMessage(0801 at 0, false)"
                                                          : "Flag.genericIf(\"CAE=\", false)"));
  }
}

TEST_F(FilterCalls, EveryPathGivesItsMemoryBack) {
  struct {
    std::string path;
    bool done;
  } const rows[] = {{"mine", true}, {"a__b__c", false}, {"nothing", false}};
  for (auto const& row : rows) {
    ZynKeyDecoder::FilterMap one;
    world.forget();
    EXPECT_EQ(decoder.updateFilter(one, row.path, "1").has_value(), row.done);
    std::size_t const released = world.count("dealloc Velko::VectorOf");
    EXPECT_GT(released, 0U);
    EXPECT_EQ(world.count("alloc Velko::VectorOf"), 2 * released);  // counts both kinds of lines
  }
}

// ---- all of it

TEST_F(FilterCalls, TracesChangeNothing) {
  Zyn::ZynType const inner = world.type({.name = "Inner", .args = {"x"}});
  world.attr(inner, {.name = "x", .type = number});
  world.attr(key, {.name = "inner", .type = inner});
  auto const run = [&] {
    world.forget();
    std::vector<std::string> results;
    KeyElemNode tree(key, false);
    for (std::string const path :
         {"key__inner__x", "both", "nothing", "key__inner__y", "key__nothing", "key", "key__inner__x"}) {
      results.push_back(shown(decoder.processKeyPath(tree, path, "1")));
    }
    tree.value = nullptr;
    tree.children.erase(key.attr("both"));  // one leftover, for the order of two is not fixed
    results.push_back(shown(tree.instantiate()));
    KeyElemNode broken(key, false);
    results.push_back(insert(broken, "inner", "1"));
    results.push_back(shown(broken.instantiate()));
    ZynKeyDecoder::FilterMap map;
    for (std::string const path : {"mine", "a__b", "nothing"}) {
      results.push_back(shown(decoder.updateFilter(map, path, "1")));
      results.push_back(shown(decoder.updateFilter(map, path, "*")));
    }
    results.emplace_back(decoder.decodeScalarKey(number, "key", "1") ? "done" : "error");
    results.emplace_back(decoder.decodeScalarKey(number, "key", "*") ? "done" : "error");
    results.emplace_back(decoder.decodeScalarKey(number, "nothing", "*") ? "done" : "error");
    // Names are asked for messages and traces; the numbers of values go on from one run to the next.
    for (std::string const& line : world.calls({"trace", "drop", "handle"})) {
      if (!line.ends_with(".name") && line.find("[v") == std::string::npos && line.find("(v") == std::string::npos) {
        results.push_back(line);
      }
    }
    return results;
  };
  std::vector<std::string> const without = run();
  EXPECT_EQ(world.count("trace"), 0U);
  trace();
  EXPECT_EQ(run(), without);
  EXPECT_GT(world.count("trace"), 10U);
}

TEST_F(FilterCalls, TracesSayWhereTheyComeFrom) {
  // Any that is not the usual handle, level 7, file and a line shows in brackets.
  trace();
  ASSERT_EQ(process(route, "key__mine"), "done");
  EXPECT_EQ(world.count("trace ["), 0U);
  ASSERT_EQ(shown(root.instantiate()), "done");
  EXPECT_EQ(world.count("trace ["), 0U);
  ASSERT_EQ(update("mine", "1"), "done");
  EXPECT_EQ(world.count("trace ["), 0U);
}

TEST_F(FilterCalls, RunningOutOfMemoryEndsTheProcess) {
  testing::FLAGS_gtest_death_test_style = "fast";
  auto const elements = ZynKeyDecoder::splitPath("mine");
  Zyn::ZynType const empty = world.type({.name = "Empty"});
  Zyn::ZynType const wide = world.type({.name = "Wide", .args = std::vector<std::string>(9, "e")});
  world.attr(wide, {.name = "e", .type = empty});
  KeyElemNode node(wide, false);
  std::function<void()> const rows[] = {
      [&] { (void)ZynKeyDecoder::splitPath("a"); },
      [&] { (void)process(route, "key__mine"); },
      [&] { (void)update("mine", "1"); },
      [&] { (void)root.insertPathSuffix(elements.begin(), elements.end(), Velko::String("1")); },
      [&] { (void)node.construct(wide); },
      [&] { (void)node.instantiate(); },
  };
  for (auto const& row : rows) {
    EXPECT_DEATH(
        {
          world.outOfMemory = true;
          row();
        },
        "terminate called.*bad_alloc");
  }
  // The filter map is the last to ask for memory.
  EXPECT_DEATH(
      {
        world.fault("Number.genericIf", 1, [this] { world.outOfMemory = true; });
        (void)decoder.updateFilter(filter, "mine", "1");
      },
      "terminate called.*bad_alloc");
}

}  // namespace
}  // namespace Recording
