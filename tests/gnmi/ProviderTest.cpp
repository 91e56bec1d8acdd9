// Selections over a second provider: which of the decoder's jobs does the work, and that no other provider is needed.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "gnmi/Resolve.h"
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

  /** The jobs that the decoder was given, as its traces tell. */
  std::vector<std::string> jobs(std::string_view path) {
    trace();
    world.forget();
    EXPECT_TRUE(Gnmi::resolve(root, path, {})) << path;
    std::vector<std::string> found;
    for (std::string const& line : world.lines("trace ")) {
      for (std::string const job : {"Processing key path", "KeyElemNode::insertPathSuffix: KeyElem type",
                                    "KeyElemNode::instantiate", "Found a wildcard", "Found a filter"}) {
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
              ElementsAre("KeyElemNode::insertPathSuffix: KeyElem type", "KeyElemNode::insertPathSuffix: KeyElem type",
                          "KeyElemNode::insertPathSuffix: KeyElem type", "KeyElemNode::insertPathSuffix: KeyElem type",
                          "KeyElemNode::instantiate", "KeyElemNode::instantiate", "KeyElemNode::instantiate"));
  EXPECT_THAT(jobs("/list[a=1]"), ElementsAre("Found a filter"));
  EXPECT_THAT(jobs("/list[a=1][b=*]"), ElementsAre("Found a filter"));
  EXPECT_THAT(jobs("/list[a=*][b=*]"), ElementsAre());
  EXPECT_THAT(jobs("/list"), ElementsAre());
  EXPECT_THAT(jobs("/name[x=*]"), ElementsAre("Found a wildcard"));
}

TEST_F(Selections, ValuesGoToTheTypeSystemOnceAndInOrder) {
  EXPECT_TRUE(Gnmi::resolve(root, "/list[b=2][a=1]", {}));
  EXPECT_THAT(world.lines(".genericIf("),
              ElementsAre("Text.genericIf(\"\"2\"\", false)", "Text.genericIf(\"\"1\"\", false)",
                          "Key.genericIf([v2(1), v1(1)], false)"));
}

TEST_F(Selections, ANameThatIsWrongDecodesNothing) {
  EXPECT_FALSE(Gnmi::resolve(root, "/list[a=1][c=2]", {}));
  EXPECT_FALSE(Gnmi::resolve(root, "/list[a=1][a=2]", {}));
  EXPECT_EQ(world.count("genericIf"), 0U);
}

TEST_F(Selections, WhatTheTypeSystemSaysIsTheError) {
  world.fault("Text.genericIf(\"\"2", 1, [] { throw Velko::Exception(Velko::String("too {} \xff")); });
  auto const found = Gnmi::resolve(root, "/list[a=1][b=2]", {});
  ASSERT_FALSE(found);
  EXPECT_EQ(found.error().text, "too {} \xff");
  EXPECT_EQ(found.error().offset, 13U);
  // A key that cannot be built is a matter of the element.
  world.fault("Key.genericIf", 1, [] { throw Velko::Exception(Velko::String("no such key")); });
  auto const built = Gnmi::resolve(root, "/name/../list[a=1][b=2]", {});
  ASSERT_FALSE(built);
  EXPECT_EQ(built.error().text, "unknown element '..' of Entry");
  auto const whole = Gnmi::resolve(root, "/list[a=1][b=2]", {});
  ASSERT_FALSE(whole);
  EXPECT_EQ(whole.error().text, "no such key");
  EXPECT_EQ(whole.error().offset, 1U);
}

TEST_F(Selections, TypesThatLeadBackToThemselvesAreNeverWhole) {
  // A is built from a B, which is built from an A; both are looked for on the key.
  Zyn::ZynType const first = world.type({.name = "First", .isValue = true, .args = {"second"}});
  Zyn::ZynType const second = world.type({.name = "Second", .isValue = true, .args = {"first"}});
  world.attr(first, {.name = "second", .type = second});
  world.attr(first, {.name = "first", .type = first});
  world.attr(first, {.name = "x", .type = text});
  world.attr(root, {.name = "round", .type = entry, .keyed = true, .keyName = std::nullopt, .keyType = first});
  auto const found = Gnmi::resolve(root, "/round[x=1]", {});
  ASSERT_TRUE(found);
  EXPECT_EQ(std::get<Drovan::ZynKeyDecoder::Multiple>(found->front().selection).values.size(), 1U);
}

}  // namespace
}  // namespace Recording
