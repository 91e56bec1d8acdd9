// What platform/ lets a provider decide: the decoder's results are the same either way. And what it promises a
// provider: what is handed over, and what is never done.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <typeinfo>
#include <vector>

#include "tests/support/Calls.h"

namespace Recording {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::EndsWith;

class Contract : public testing::Test {
 protected:
  std::string scalar(Zyn::ZynType type, std::string_view value, bool s4 = false) {
    return shown(ZynKeyDecoder(Zyn::ZynAttr(), s4).decodeScalarKey(type, "", value));
  }

  using Fields = std::vector<std::pair<std::string_view, std::string_view>>;

  /** "done", or the first error. */
  static std::string build(KeyElemNode& root, Fields const& fields) {
    for (auto const& [path, value] : fields) {
      if (std::string const done = insert(root, path, value); done != "done") {
        return done;
      }
    }
    return instantiate(root);
  }

  Zyn::ZynType wrapperOf(std::string const& name, Zyn::ZynType inner, std::vector<std::string> args) {
    Zyn::ZynType const type = world.type({.name = name, .args = std::move(args), .valAttr = "held"});
    world.attr(type, {.name = "held", .type = inner});
    return type;
  }

  World world;
  Zyn::ZynType const number = world.type({.name = "Number", .isValue = true, .isScalarKind = true});
  Zyn::ZynType const string = world.type({.name = "String", .isScalarKind = true, .isString = true});
  Zyn::ZynType const s4 = world.type({.name = "S4", .isValue = true, .hasS4 = true});
};

// ---- what a provider may rely on

/** Every kind of type once, by each way to a value. */
TEST_F(Contract, TheModeIsFalseAndTheKeyOfASetterNull) {
  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true, .isScalarKind = true});
  world.attr(either, {.name = "number", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a"}});
  world.attr(key, {.name = "a", .type = number});
  world.attr(key, {.name = "b", .type = either});
  (void)scalar(s4, "CAE=", true);
  (void)scalar(world.type({.name = "Gnmi", .hasGnmi = true}), "x");
  (void)scalar(world.type({.name = "Color", .isEnum = true}), "x");
  (void)scalar(wrapperOf("Wrapper", string, {}), "x");
  KeyElemNode root(key, false);
  EXPECT_EQ(build(root, {{"a", "1"}, {"b", "2"}}), "done");
  EXPECT_THAT(world.lines(".genericIf("), Each(EndsWith(", false)")));
  EXPECT_THAT(world.lines(".genericIfFrom"), Each(EndsWith(", false)")));
  EXPECT_THAT(world.lines(".genericIfSet("),
              ElementsAre("number.genericIfSet(v7(1), null, v8(1))", "b.genericIfSet(v9(1), null, v7(2))"));
}

TEST_F(Contract, AWrapperGetsItsInnerValueWhateverItsArgumentsAre) {
  for (std::vector<std::string> const& args : {std::vector<std::string>{}, {"held"}, {"x", "y"}}) {
    world.forget();
    Zyn::ZynType const wrapper = wrapperOf("Wrapper", number, args);
    EXPECT_EQ(scalar(wrapper, "7").front(), 'v');
    EXPECT_EQ(world.count("Wrapper.genericIf([v"), 1U);
    EXPECT_EQ(world.count("argNames"), 0U);
  }
}

/** By its marks the type takes one text; a caller may give its part a text nevertheless. */
TEST_F(Contract, AWrapperIsBuiltByItsArgumentsFromPartsWithTextsOfTheirOwn) {
  for (bool const isArgument : {true, false}) {
    world.forget();
    std::vector<std::string> const args(isArgument ? 1 : 0, "held");
    KeyElemNode root(wrapperOf("Wrapper", number, args), false);
    EXPECT_EQ(build(root, {{"held", "7"}}), "done");
    EXPECT_EQ(world.count("held.genericIfSet"), isArgument ? 0U : 1U);
  }
}

TEST_F(Contract, TextsKeepTheirQuotesAndNothingIsEscaped) {
  (void)scalar(string, "a\"b\\");
  (void)scalar(world.type({.name = "Color", .isEnum = true}), "it's");
  EXPECT_THAT(world.lines(".genericIf("),
              ElementsAre("String.genericIf(\"\"a\"b\\\"\", false)", "Color.genericIf(\"'it's'\", false)"));
}

/** Values from texts may be shared: attributes are set on what was made from arguments or from nothing. */
TEST_F(Contract, AttributesAreSetOnNothingThatATextMade) {
  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true, .isScalarKind = true});
  world.attr(either, {.name = "number", .type = number});
  Zyn::ZynType const inner = world.type({.name = "Inner"});
  world.attr(inner, {.name = "x", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a"}});
  world.attr(key, {.name = "a", .type = either});
  world.attr(key, {.name = "inner", .type = inner});
  KeyElemNode root(key, false);
  EXPECT_EQ(build(root, {{"a", "1"}, {"inner__x", "2"}}), "done");
  // v1 is the union's default, v2 and v3 are numbers, v4 is the key, v5 the value of the attribute `inner`.
  EXPECT_THAT(world.lines(".generic"),
              ElementsAre("Either.genericIf(null, false)", "Number.genericIf(\"1\", false)",
                          "number.genericIfSet(v1(1), null, v2(1))", "Number.genericIf(\"2\", false)",
                          "Key.genericIf([v1(1)], false)", "Inner.genericIf([], false)",
                          "x.genericIfSet(v5(1), null, v3(2))", "inner.genericIfSet(v4(1), null, v5(2))"));
}

TEST_F(Contract, OnlyUnionsAreWalked) {
  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true, .isScalarKind = true});
  world.attr(either, {.name = "number", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a"}});
  world.attr(key, {.name = "a", .type = either});
  world.attr(key, {.name = "b", .type = number});
  Zyn::ZynAttr const route = world.attr(world.type({.name = "Owner"}),
                                        {.name = "route", .type = key, .keyed = true, .keyName = "a", .keyType = key});
  ZynKeyDecoder const decoder(route, false);
  KeyElemNode root(key, false);
  ZynKeyDecoder::FilterMap filter;
  EXPECT_EQ(shown(decoder.processKeyPath(root, "a__a", "1")), "done");
  EXPECT_EQ(shown(decoder.processKeyPath(root, "b", "1")), "done");
  EXPECT_EQ(shown(decoder.updateFilter(filter, "b", "1")), "done");
  EXPECT_EQ(instantiate(root), "done");
  EXPECT_EQ(world.lines(".attributes"), std::vector<std::string>{"Either.attributes"});
}

// ---- what a provider decides

TEST_F(Contract, WhereTheReaderLeavesTheCursorDoesNotMatter) {
  world.spoilCursor = true;
  EXPECT_EQ(scalar(s4, "CAE=", true), "v1");
  EXPECT_EQ(world.message, "\x08\x01");
}

TEST_F(Contract, AMessageMayBeRefusedByOneExceptionOnly) {
  world.fault("S4.genericIfFromPb", 1, throws<Velko::Pb::PbReadException>("out of range"));
  EXPECT_EQ(scalar(s4, "CAE=", true), "error: out of range");
  EXPECT_DEATH(
      {
        world.fault("S4.genericIfFromPb", 1, throws<Velko::Exception>("out of range"));
        (void)scalar(s4, "CAE=", true);
      },
      "terminate called");
}

/** An argument that the type's own look-up does not find is never given. */
TEST_F(Contract, AnArgumentThatIsNoAttributeIsMissing) {
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a", "nowhere"}});
  world.attr(key, {.name = "a", .type = number});
  KeyElemNode root(key, false);
  EXPECT_EQ(build(root, {{"a", "1"}}), "error: Missing attribute 'nowhere' in the key");
}

/** A type may lead back to itself by its attributes, unlike by wrappers and unions. */
TEST_F(Contract, UnionsAndWrappersMayNestDeeply) {
  Zyn::ZynType type = number;
  for (int level = 0; level < 500; ++level) {
    Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true, .isScalarKind = true});
    world.attr(either, {.name = "wrapper", .type = wrapperOf("Wrapper", type, {})});
    type = either;
  }
  EXPECT_EQ(scalar(type, "7"), "v1");
  EXPECT_EQ(world.count("wrapper.genericIfSet"), 500U);
}

// ---- memory, as a provider is told of it

struct SomeTag;

TEST_F(Contract, AnAllocatorTellsWhatItTakesAndGivesBack) {
  Velko::Allocator<std::uint16_t, false, SomeTag> two;
  std::uint16_t* const storage = two.allocate(3);
  two.deallocate(storage, 3);
  std::string const tag = "Recording::(anonymous namespace)::SomeTag*";
  EXPECT_THAT(world.log, ElementsAre("alloc " + tag + " 3x2", "dealloc " + tag + " 3"));
  EXPECT_THAT(world.slab, ElementsAre("take 6", "give " + std::string(typeid(std::uint16_t).name())));
}

/** A map of Abseil's takes one block of words, for its slots and what it notes about them. */
TEST_F(Contract, AMapReportsWordsAndNotItsElements) {
  using Filter = ZynKeyDecoder::FilterMap;
  Zyn::ZynType const key = world.type({.name = "Key"});
  Zyn::ZynAttr const attr = world.attr(key, {.name = "a", .type = number});
  std::size_t bytes = 0;
  std::size_t words = 0;
  {
    Filter filter;
    filter.try_emplace(attr);
    std::vector<std::string> const taken = world.lines("alloc Velko::AbslFlatHashMapOf<");
    ASSERT_EQ(taken.size(), 1U);
    std::size_t wordSize = 0;
    ASSERT_EQ(std::sscanf(taken[0].substr(taken[0].rfind(' ')).c_str(), "%zux%zu", &words, &wordSize), 2);
    bytes = words * wordSize;
    EXPECT_LT(wordSize, sizeof(Filter::value_type));
    EXPECT_GE(bytes, sizeof(Filter::value_type));
  }
  EXPECT_EQ(world.count("dealloc Velko::AbslFlatHashMapOf<Zyn::ZynAttr, Velko::Ptr<Zyn::GenericIf> >* " +
                        std::to_string(words)),
            1U);
  ASSERT_EQ(world.slab.size(), 2U);
  EXPECT_EQ(world.slab[0], "take " + std::to_string(bytes));
  EXPECT_NE(world.slab[1], "give " + std::string(typeid(Filter::value_type).name()));
}

TEST_F(Contract, PointersCountTheSameWithThreadsAndWithout) {
  for (bool const threads : {true, false}) {
    Velko::ThreadControl::tsp_ = threads;
    auto key = ZynKeyDecoder(Zyn::ZynAttr(), false).decodeScalarKey(number, "", "7");
    Velko::Ptr<Zyn::GenericIf const> held = std::get<ZynKeyDecoder::Single>(*key).value;
    EXPECT_EQ(held->useCount(), 2U);
    key = KvStd::Unexpected(Velko::String("gone"));
    EXPECT_EQ(held->useCount(), 1U);
    world.forget();
    held = nullptr;
    EXPECT_EQ(world.count("drop"), 1U);
  }
  Velko::ThreadControl::tsp_ = true;
}

}  // namespace
}  // namespace Recording
