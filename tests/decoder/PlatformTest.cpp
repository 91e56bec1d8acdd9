// What the contract itself promises: handles, pointers, strings, the allocator.
#include <absl/hash/hash.h>

#include <functional>
#include <list>
#include <type_traits>

#include "decoder/Fixture.h"

namespace Test {
namespace {

using Platform = DecoderTest;

static_assert(std::is_trivially_copyable_v<Zyn::ZynType> && std::is_trivially_copyable_v<Zyn::ZynAttr>);

TEST_F(Platform, AttributesAreEqualWhateverTheirOwner) {
  Zyn::ZynType const type = module.value("T").attr("a", core(Kind::U8)).attr("b", core(Kind::U8));
  Zyn::ZynAttr const a = type.attr("a");
  Zyn::ZynAttr const inherited(a.module(), a.owner() + 7, a.index());
  EXPECT_TRUE(std::equal_to<Zyn::ZynAttr>()(a, inherited));
  EXPECT_EQ(absl::Hash<Zyn::ZynAttr>()(a), absl::Hash<Zyn::ZynAttr>()(inherited));
  EXPECT_FALSE(std::equal_to<Zyn::ZynAttr>()(a, type.attr("b")));
  EXPECT_NE(absl::Hash<Zyn::ZynAttr>()(a), absl::Hash<Zyn::ZynAttr>()(type.attr("b")));
  Zyn::ZynAttr const elsewhere(&Velko::_Velko_FundamentalTypes_Module(), a.owner(), a.index());
  EXPECT_NE(a, elsewhere);
}

TEST_F(Platform, PointersCountTheirUsers) {
  for (bool const threads : {false, true}) {
    Model::setThreadSafe(threads);
    Velko::Ptr<Zyn::GenericIf> one = core(Kind::U8).genericIf(Velko::String("1"), false);
    EXPECT_EQ(one->useCount(), 1U);
    {
      Velko::Ptr<Zyn::GenericIf const> const copied = one;
      EXPECT_EQ(one->useCount(), 2U);
      Velko::Ptr<Zyn::GenericIf> two = one;
      EXPECT_EQ(one->useCount(), 3U);
      Velko::Ptr<Zyn::GenericIf const> const moved = std::move(two);
      EXPECT_EQ(one->useCount(), 3U);
      EXPECT_FALSE(two);  // NOLINT(bugprone-use-after-move): a pointer moved from is null
      Velko::Ptr<Zyn::GenericIf> three;
      three = one;
      three = std::move(three);
      auto& same = three;
      three = same;
      EXPECT_EQ(one->useCount(), 4U);
      EXPECT_TRUE(three == one);
    }
    EXPECT_EQ(one->useCount(), 1U);
    one = nullptr;
    EXPECT_TRUE(one == nullptr);
  }
}

TEST_F(Platform, StringsHoldAnyBytes) {
  using namespace std::string_view_literals;
  EXPECT_EQ(Velko::String("abc").view(), "abc");
  EXPECT_EQ(Velko::String("a\0b"sv).size(), 3U);
  EXPECT_EQ(Velko::String("a\0bc", 3).view(), "a\0b"sv);
  Velko::String const tail("!");
  EXPECT_EQ((Velko::String("a") + "b\0"sv + tail).view(), "ab\0!"sv);
  EXPECT_TRUE(Velko::String().empty());
}

struct SomeTag;

TEST_F(Platform, AnAllocatorCountsUnderItsTag) {
  auto const mine = [] {
    for (Model::Memory const& memory : Model::memory()) {
      if (memory.tag.find("SomeTag") != std::string::npos) {
        return memory;
      }
    }
    return Model::Memory();
  };
  Velko::Allocator<int, false, SomeTag> ints;
  int* const three = ints.allocate(3);
  EXPECT_EQ(mine().elements, 3);
  EXPECT_EQ(mine().bytes, 3 * static_cast<std::int64_t>(sizeof(int)));
  {
    // Rebound to its own node type, a container counts under the same tag.
    std::list<int, Velko::Allocator<int, false, SomeTag>> list(2, 0);
    EXPECT_EQ(mine().elements, 5);
    EXPECT_EQ(mine().allocations, 3U);
  }
  ints.deallocate(three, 3);
  EXPECT_EQ(mine().elements, 0);
  EXPECT_EQ(mine().bytes, 0);
  EXPECT_THROW((void)ints.allocate(std::numeric_limits<std::size_t>::max() / 2), std::bad_array_new_length);
}

TEST_F(Platform, MessagesKeepTheirArgumentsAsTheyAre) {
  std::string_view const braces = "{}{0}";
  Zyn::ZynType const type = core(Kind::String);
  Velko::String const text("x");
  EXPECT_EQ(KvFmt::Detail::formatVelkoString("'{}' '{}' '{}'", fmt::make_format_args(braces, type, text)).view(),
            "'{}{0}' 'Zyn::String' 'x'");
}

TEST_F(Platform, CoreTypesHaveTheirNames) {
  EXPECT_STREQ(core(Kind::String).name(), "Zyn::String");
  EXPECT_STREQ(core(Kind::Bytes).name(), "Zyn::Bytes");
  EXPECT_STREQ(core(Kind::Seconds).name(), "Zyn::Seconds");
  EXPECT_STREQ(core(Kind::Time).name(), "Zyn::Time");
  EXPECT_EQ(core(Kind::String).module(), &Velko::_Velko_FundamentalTypes_Module());
  EXPECT_STREQ(static_cast<Zyn::ZynType>(module.value("T")).name(), "Test::T");
}

}  // namespace
}  // namespace Test
