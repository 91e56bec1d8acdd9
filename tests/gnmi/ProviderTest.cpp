// Selections over a second provider: which of the decoder's jobs does the work, and that no other provider is needed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "gnmi/Resolver.h"
#include "tests/support/Provider.h"

namespace Recording {
namespace {

using testing::ElementsAre;

class Selections : public testing::Test {
 protected:
  World world;
  Zyn::ZynType const text = world.type({.name = "Text", .isScalarKind = true, .isString = true});
  Zyn::ZynType const key = world.type({.name = "Key", .isValue = true, .args = {"a", "b"}});
  Zyn::ZynAttr const a = world.attr(key, {.name = "a", .type = text});
  Zyn::ZynAttr const b = world.attr(key, {.name = "b", .type = text});
  Zyn::ZynType const entry = world.type({.name = "Entry"});
  Zyn::ZynAttr const held = world.attr(entry, {.name = "key", .type = key});
  Zyn::ZynType const root = world.type({.name = "Root"});
  Zyn::ZynAttr const list =
      world.attr(root, {.name = "list", .type = entry, .keyed = true, .keyName = "key", .keyType = key});
  Zyn::ZynAttr const names =
      world.attr(root, {.name = "name", .type = entry, .keyed = true, .keyName = std::nullopt, .keyType = text});

  /** What a path means, with a resolver that is made before anything is counted. */
  std::expected<Gnmi::Resolved, Gnmi::Error> resolve(std::string_view path) {
    Gnmi::Resolver const resolver(root);
    Gnmi::Resolved found;
    auto const parsed = Gnmi::parsePath(path);
    auto const done = parsed ? resolver.resolve(*parsed, found) : std::unexpected(parsed.error());
    return done ? std::expected<Gnmi::Resolved, Gnmi::Error>(found) : std::unexpected(done.error());
  }

  /** The jobs that the decoder was given, as its traces tell. */
  std::vector<std::string> jobs(std::string_view path) {
    trace();
    world.forget();
    EXPECT_TRUE(resolve(path)) << path;
    std::vector<std::string> found;
    for (std::string const& line : world.lines("trace ")) {
      for (std::string const job :
           {"Inserting a new KeyElemNode", "KeyElemNode::instantiate", "Found a wildcard", "Found a filter"}) {
        if (line.contains(job)) {
          found.push_back(job);
        }
      }
    }
    return found;
  }
};

TEST_F(Selections, EachIsOneJobOfTheDecoder) {
  EXPECT_THAT(jobs("/list[a=1][b=2]"),
              ElementsAre("Inserting a new KeyElemNode", "Inserting a new KeyElemNode", "KeyElemNode::instantiate",
                          "KeyElemNode::instantiate", "KeyElemNode::instantiate"));
  EXPECT_THAT(jobs("/list[a=1]"), ElementsAre("Found a filter"));
  EXPECT_THAT(jobs("/list[a=1][b=*]"), ElementsAre("Found a filter"));
  EXPECT_THAT(jobs("/list[a=*][b=*]"), ElementsAre());
  EXPECT_THAT(jobs("/list"), ElementsAre());
  EXPECT_THAT(jobs("/name[x=*]"), ElementsAre("Found a wildcard"));
}

TEST_F(Selections, ValuesGoToTheTypeSystemOnceAndInOrder) {
  EXPECT_TRUE(resolve("/list[b=2][a=1]"));
  EXPECT_THAT(world.lines(".genericIf("),
              ElementsAre("Text.genericIf(\"\"2\"\", false)", "Text.genericIf(\"\"1\"\", false)",
                          "Key.genericIf([v2(1), v1(1)], false)"));
}

TEST_F(Selections, ANameThatIsWrongDecodesNothing) {
  EXPECT_FALSE(resolve("/list[a=1][c=2]"));
  EXPECT_FALSE(resolve("/list[a=1][a=2]"));
  EXPECT_EQ(world.count("genericIf"), 0U);
}

TEST_F(Selections, WhatTheTypeSystemSaysIsTheError) {
  world.fault("Text.genericIf(\"\"2", 1, [] { throw Velko::Exception(Velko::String("too {} \xff")); });
  auto const found = resolve("/list[a=1][b=2]");
  ASSERT_FALSE(found);
  EXPECT_EQ(found.error().text, "too {} \xff");
  EXPECT_EQ(found.error().offset, 13U);
  // A key that cannot be built is a matter of the element.
  world.fault("Key.genericIf", 1, [] { throw Velko::Exception(Velko::String("no such key")); });
  auto const built = resolve("/name/../list[a=1][b=2]");
  ASSERT_FALSE(built);
  EXPECT_EQ(built.error().text, "unknown element '..' of Entry");
  auto const whole = resolve("/list[a=1][b=2]");
  ASSERT_FALSE(whole);
  EXPECT_EQ(whole.error().text, "no such key");
  EXPECT_EQ(whole.error().offset, 1U);
}

TEST_F(Selections, WorkGrowsAsThePathDoes) {
  world.attr(entry, {.name = "root", .type = root});
  Gnmi::Resolver const resolver(root);
  auto const calls = [&](std::size_t lists) {
    std::string text;
    for (std::size_t i = 0; i != lists; ++i) {
      text += i % 2 == 0 ? "/list[a=1][b=2]/root" : "/list[a=1]/root/name[x=1]/root";
    }
    Gnmi::Path const path = *Gnmi::parsePath(text);
    Gnmi::Resolved found;
    world.forget();
    EXPECT_TRUE(resolver.resolve(path, found));
    return world.log.size();
  };
  // Of the last node, its type is asked for as well.
  EXPECT_EQ(calls(1000) - calls(100), 9 * (calls(200) - calls(100)));
}

TEST_F(Selections, MakingAResolverGrowsAsTheSchemaDoesAndResolvingDoesNot) {
  struct Calls {
    std::size_t making, resolving;
  };
  auto const calls = [this](std::size_t lists) {
    Zyn::ZynType const large = world.type({.name = "Large" + std::to_string(lists)});
    for (std::size_t i = 0; i != lists; ++i) {
      std::string const number = std::to_string(i);
      Zyn::ZynType const below = world.type({.name = "Below" + number});
      world.attr(below, {.name = "leaf", .type = text});
      world.attr(large, {.name = "list" + number, .type = below, .keyed = true, .keyName = "key", .keyType = key});
    }
    world.forget();
    Gnmi::Resolver const resolver(large);
    std::size_t const making = world.log.size();
    world.forget();
    Gnmi::Resolved found;
    EXPECT_TRUE(resolver.resolve(*Gnmi::parsePath("/list7[a=1][b=2]/leaf"), found));
    return Calls{making, world.log.size()};
  };
  // The types of keys and leaves are the same ones in all of them.
  auto const [few, resolvingInFew] = calls(100);
  auto const [twice, resolvingInTwice] = calls(200);
  auto const [many, resolvingInMany] = calls(1100);
  EXPECT_EQ(many - few, 10 * (twice - few));
  EXPECT_EQ(resolvingInTwice, resolvingInFew);
  EXPECT_EQ(resolvingInMany, resolvingInFew);
}

TEST_F(Selections, PartsThatTheTypeInheritsNeedNotBeWalked) {
  Zyn::ZynType const derived = world.type({.name = "Derived", .isValue = true, .args = {"own", "base"}});
  world.attr(derived, {.name = "own", .type = text});
  world.attr(derived, {.name = "base", .type = text, .isInherited = true});
  world.attr(root, {.name = "derived", .type = entry, .keyed = true, .keyName = "key", .keyType = derived});
  for (std::string_view const path : {"/derived[own=1][base=2]", "/derived[own=1][key__base=2]"}) {
    auto const exact = resolve(path);
    ASSERT_TRUE(exact) << path;
    EXPECT_TRUE(std::holds_alternative<Drovan::ZynKeyDecoder::Single>(exact->selections.front().selection)) << path;
  }
  for (std::string_view const path : {"/derived[base=2]", "/derived[key__base=2]", "/derived[own=*][base=2]"}) {
    auto const some = resolve(path);
    ASSERT_TRUE(some) << path;
    EXPECT_EQ(std::get<Drovan::ZynKeyDecoder::Multiple>(some->selections.front().selection).values.size(), 1U) << path;
  }
  EXPECT_FALSE(resolve("/derived[base=1][key__base=2]"));
}

TEST_F(Selections, TypesThatLeadBackToThemselvesAreNeverWhole) {
  // A is built from a B, which is built from an A; both are looked for on the key.
  Zyn::ZynType const first = world.type({.name = "First", .isValue = true, .args = {"second"}});
  Zyn::ZynType const second = world.type({.name = "Second", .isValue = true, .args = {"first"}});
  world.attr(first, {.name = "second", .type = second});
  world.attr(first, {.name = "first", .type = first});
  world.attr(first, {.name = "x", .type = text});
  world.attr(root, {.name = "round", .type = entry, .keyed = true, .keyName = std::nullopt, .keyType = first});
  auto const found = resolve("/round[x=1]");
  ASSERT_TRUE(found);
  EXPECT_EQ(std::get<Drovan::ZynKeyDecoder::Multiple>(found->selections.front().selection).values.size(), 1U);
}

}  // namespace
}  // namespace Recording
