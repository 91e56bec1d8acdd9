#include "text/Messages.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

std::vector<std::string> names(std::size_t count) {
  std::vector<std::string> names;
  for (std::size_t i = 0; i != count; ++i) {
    names.push_back("n" + std::to_string(i));
  }
  return names;
}

TEST(InQuotes, ShowsUpTo64BytesOfAName) {
  EXPECT_EQ(Text::inQuotes(""), "''");
  EXPECT_EQ(Text::inQuotes("red"), "'red'");
  EXPECT_EQ(Text::inQuotes(std::string(64, 'a')), "'" + std::string(64, 'a') + "'");
  EXPECT_EQ(Text::inQuotes(std::string(65, 'a')), "'" + std::string(64, 'a') + "'...");
}

TEST(List, JoinsNames) {
  EXPECT_EQ(Text::list(names(0)), "");
  EXPECT_EQ(Text::list(names(1)), "n0");
  EXPECT_EQ(Text::list(names(3)), "n0, n1, n2");
  EXPECT_EQ(Text::list(names(2), Text::inQuotes, " or "), "'n0' or 'n1'");
}

TEST(List, ShowsTwelveAndCountsTheRest) {
  EXPECT_EQ(Text::list(names(12)), "n0, n1, n2, n3, n4, n5, n6, n7, n8, n9, n10, n11");
  EXPECT_EQ(Text::list(names(13)), "n0, n1, n2, n3, n4, n5, n6, n7, n8, n9, n10, n11 and 1 more");
  EXPECT_EQ(Text::list(names(100000)), "n0, n1, n2, n3, n4, n5, n6, n7, n8, n9, n10, n11 and 99988 more");
}

TEST(List, MakesTheNameOfAnItem) {
  std::vector<int> const numbers = {1, 2};
  EXPECT_EQ(Text::list(numbers, [](int number) { return std::to_string(number * 10); }), "10, 20");
}

TEST(ListNames, EndsAMessage) {
  EXPECT_EQ(Text::listNames(names(0)), "");
  EXPECT_EQ(Text::listNames(names(1)), "; there is 'n0'");
  EXPECT_EQ(Text::listNames(names(2)), "; there are 'n0', 'n1'");
  EXPECT_TRUE(Text::listNames(names(14)).ends_with("'n11' and 2 more"));
}

}  // namespace
