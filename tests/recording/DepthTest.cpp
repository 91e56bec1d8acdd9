// Types that contain themselves: a path may be as deep as it likes, and the stack must bear it. A program of its own,
// so that every build has it, the thread sanitizer's with its larger frames included.
#include <gtest/gtest.h>

#include <string>

#include "Drovan/ZynKeyDecoder.h"
#include "tests/support/Provider.h"

namespace Recording {
namespace {

using Drovan::ZynKeyDecoder;

TEST(Depth, AThousandLevelsAreInsertedInstantiatedAndDropped) {
  constexpr int levels = 1000;
  World world;
  Zyn::ZynType const number = world.type({.name = "Number", .isValue = true, .isScalarKind = true});
  Zyn::ZynType const node = world.type({.name = "Node", .args = {"v"}});
  world.attr(node, {.name = "n", .type = node});
  world.attr(node, {.name = "v", .type = number});
  {
    ZynKeyDecoder::KeyElemNode root(node, false);
    std::string path = "v";
    for (int level = 0; level < levels; ++level) {
      auto const elements = ZynKeyDecoder::splitPath(path);
      ASSERT_TRUE(root.insertPathSuffix(elements.begin(), elements.end(), Velko::String("1")));
      path.insert(0, "n__");
      world.forget();
    }
    ASSERT_TRUE(root.instantiate());
    EXPECT_TRUE(root.value);
    EXPECT_EQ(world.count("n.genericIfSet"), levels - 1U);
  }
}

}  // namespace
}  // namespace Recording
