// How often the map of a node's children is searched: counted by the hashes of attributes, of which each search takes
// one. Hashing is inline code of `platform/`, so this program compiles the decoder itself, with a hash that counts.
#include <gtest/gtest.h>

#include <concepts>
#include <utility>

#include "Zyn/Zyn.h"
#include "tests/support/Provider.h"

namespace {

int hashes = 0;

}  // namespace

namespace Zyn {

/** Taken instead of the attribute's own, because it is more constrained. The map looks for it in this namespace. */
template <typename H>
  requires std::movable<H>
H AbslHashValue(H state, ZynAttr const& attr) {  // NOLINT(misc-use-internal-linkage)
  ++hashes;
  return H::combine(std::move(state), attr.index());
}

}  // namespace Zyn

#include "Drovan/ZynKeyDecoder.cpp"  // NOLINT(bugprone-suspicious-include): its inline code is to use the hash above

namespace Recording {
namespace {

using Drovan::ZynKeyDecoder;

#ifdef NDEBUG
constexpr int forNewChild = 2;
#else
constexpr int forNewChild = 3;  // an assertion of Abseil finds what was inserted
#endif

TEST(Lookups, OneForAChildThatExistsAndTwoForANewOneTracedOrNot) {
  World world;
  Zyn::ZynType const number = world.type({.name = "Number", .isScalarKind = true});
  Zyn::ZynType const inner = world.type({.name = "Inner", .args = {"x", "y"}});
  world.attr(inner, {.name = "x", .type = number});
  world.attr(inner, {.name = "y", .type = number});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"inner"}});
  world.attr(key, {.name = "inner", .type = inner});
  for (bool const traced : {false, true}) {
    trace(traced);
    ZynKeyDecoder::KeyElemNode root(key, false);
    auto const lookups = [&](std::string_view path) {
      ZynKeyDecoder::PathElements const elements = ZynKeyDecoder::splitPath(path);
      hashes = 0;
      EXPECT_TRUE(root.insertPathSuffix(elements.begin(), elements.end(), Velko::String("1")));
      return hashes;
    };
    EXPECT_LE(lookups("inner__x"), 2 * forNewChild) << "two new children, traced: " << traced;
    EXPECT_LE(lookups("inner__y"), 1 + forNewChild) << "one of them new, traced: " << traced;
    EXPECT_EQ(lookups("inner__y"), 2) << "none new, traced: " << traced;
    hashes = 0;
    EXPECT_TRUE(root.instantiate());
    EXPECT_EQ(hashes, 3) << "each argument once, traced: " << traced;
  }
}

}  // namespace
}  // namespace Recording
