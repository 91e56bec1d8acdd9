#include "text/NameHash.h"

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "tests/support/Collisions.h"

namespace {

std::size_t comparisons = 0;

struct CountingEqual {
  bool operator()(std::string_view a, std::string_view b) const {
    ++comparisons;
    return a == b;
  }
};

TEST(NameHash, TellsNamesApartThatTheStandardLibraryHashesAlike) {
  std::vector<std::string> const names = Tests::Collisions::names(100);
  absl::flat_hash_map<std::string_view, int, Text::NameHash, CountingEqual> map;
  for (std::string const& name : names) {
    ASSERT_EQ(std::hash<std::string>()(name), std::hash<std::string>()(names.front()));
    map.emplace(name, 0);
  }
  EXPECT_EQ(map.size(), 10000U);
  // A name is compared with those that share 7 bits of the hash and a place, and with itself in builds with assertions.
  EXPECT_LT(comparisons, 50000U);
}

}  // namespace
