#include "text/Nearest.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

using testing::ElementsAreArray;
using testing::IsEmpty;
using Names = std::vector<std::string>;

TEST(Nearest, FindsWhatIsNearNearestFirst) {
  struct Row {
    char const* why;
    std::string name;
    Names names;
    Names wanted;
  };
  std::vector<Row> const rows = {
      {"one byte is missing", "Strng", {"Bool", "String"}, {"String"}},
      {"one byte is too many", "Boool", {"Bool", "String"}, {"Bool"}},
      {"two bytes are swapped", "naem", {"number", "name"}, {"name"}},
      {"another byte", "U9", {"String", "U8"}, {"U8"}},
      {"neighbours are swapped", "BPG", {"GP", "BGP"}, {"BGP"}},
      {"neighbours are swapped, and in another letter case", "CWO", {"cow"}, {"cow"}},
      {"another letter case", "vlanid", {"VlanId", "Vlan"}, {"VlanId", "Vlan"}},
      {"letter case is less than another byte", "u8", {"x8", "U8"}, {"U8", "x8"}},
      {"the module is missing", "RouteKey", {"Network::RouteKey"}, {"Network::RouteKey"}},
      {"the module is too much", "Network.RouteKey", {"RouteKey"}, {"RouteKey"}},
      {"module and type are misspelt", "Bsae.Pear", {"Base.Peer"}, {"Base.Peer"}},
      {"the nearer module comes first", "Vfr.route", {"Device.route", "Vrf.route"}, {"Vrf.route", "Device.route"}},
      {"'.' and '::' are alike", "Base.Peer", {"Bare::Peer", "Base::Peer"}, {"Base::Peer", "Bare::Peer"}},
      {"the nearest comes first", "abcdef", {"abcdxx", "abcdex"}, {"abcdex", "abcdxx"}},
      {"equally near ones keep their order", "aa", {"ac", "ab"}, {"ac", "ab"}},
      {"three at most", "aa", {"ab", "ac", "ad", "ae"}, {"ab", "ac", "ad"}},
      {"a third may differ", "abcdef", {"abcdxx"}, {"abcdxx"}},
      {"the name itself", "Route", {"Route"}, {"Route"}},
      {"64 bytes are looked at", std::string(64, 'a'), {std::string(63, 'a')}, {std::string(63, 'a')}},
  };
  for (Row const& row : rows) {
    EXPECT_THAT(Text::nearest(row.name, row.names), ElementsAreArray(row.wanted)) << row.why;
  }
}

TEST(Nearest, FindsNothingWhereNothingIsNear) {
  struct Row {
    char const* why;
    std::string name;
    Names names;
  };
  std::vector<Row> const rows = {
      {"there are no names", "U8", {}},
      {"another word", "Colour", {"Route", "U8"}},
      {"more than a third differs", "abcdef", {"abcxxx"}},
      {"one byte, and another one", "a", {"b"}},
      {"an empty name", "", {"a", ""}},
      {"65 bytes are too long", std::string(65, 'a'), {std::string(64, 'a')}},
      {"and so they are among the names", std::string(64, 'a'), {std::string(65, 'a')}},
  };
  for (Row const& row : rows) {
    EXPECT_THAT(Text::nearest(row.name, row.names), IsEmpty()) << row.why;
  }
}

TEST(Nearest, EndsAMessage) {
  Names const names = {"ab", "ac", "xyz"};
  EXPECT_EQ(Text::didYouMean("xy", names), "; did you mean 'xyz'?");
  EXPECT_EQ(Text::didYouMean("aa", names), "; did you mean 'ab', 'ac'?");
  EXPECT_EQ(Text::didYouMean("other", names), "");
}

TEST(Nearest, LooksAtABoundedNumberOfNames) {
  Names names(10000, "other");
  names.back() = "String";
  EXPECT_EQ(Text::didYouMean("Strng", names), "; did you mean 'String'?");
  names.insert(names.begin(), "other");
  EXPECT_EQ(Text::didYouMean("Strng", names), "");
}

}  // namespace
