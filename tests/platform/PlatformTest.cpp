// What the contract itself promises: handles, pointers, strings, the allocator.
#include <absl/hash/hash.h>

#include <cstddef>
#include <functional>
#include <list>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

using Platform = DecoderTest;

static_assert(std::is_trivially_copyable_v<Zyn::ZynType> && std::is_trivially_copyable_v<Zyn::ZynAttr>);

// Values are read through a pointer to const, never changed through one.
static_assert(std::is_convertible_v<Velko::Ptr<Zyn::GenericIf>, Velko::Ptr<Zyn::GenericIf const>>);
static_assert(!std::is_constructible_v<Velko::Ptr<Zyn::GenericIf>, Velko::Ptr<Zyn::GenericIf const>>);
static_assert(std::is_nothrow_move_constructible_v<Velko::Ptr<Zyn::GenericIf>> &&
              std::is_nothrow_copy_constructible_v<Velko::Ptr<Zyn::GenericIf>>);
static_assert(std::is_copy_constructible_v<Velko::String> && std::is_copy_assignable_v<Velko::String>);
static_assert(std::is_same_v<KvStd::Expected<int, Velko::String>, std::expected<int, Velko::String>>);
// A catch of one does not catch the other.
static_assert(!std::is_base_of_v<Velko::Exception, Velko::Pb::PbReadException> &&
              !std::is_base_of_v<Velko::Pb::PbReadException, Velko::Exception>);

// Every container under a tag of its own.
template <typename Container, typename T, typename Tag>
constexpr bool allocatesUnder = std::is_same_v<typename Container::allocator_type, Velko::Allocator<T, false, Tag>>;
using Value = Velko::Ptr<Zyn::GenericIf>;
static_assert(allocatesUnder<ZynKeyDecoder::PathElements, std::string_view, Velko::VectorOf<std::string_view>>);
static_assert(allocatesUnder<ZynKeyDecoder::FilterMap, std::pair<Zyn::ZynAttr const, Value>,
                             Velko::AbslFlatHashMapOf<Zyn::ZynAttr, Value>>);
static_assert(allocatesUnder<KeyElemNode::Children, std::pair<Zyn::ZynAttr const, KeyElemNode>,
                             Velko::AbslFlatHashMapOfTag<Zyn::ZynAttr, KeyElemNode, KeyElemNode::KeyElemNodeMapType>>);
using Arg = Velko::Ptr<Zyn::GenericIf const>;
static_assert(
    std::is_same_v<Zyn::GenericIfArgs,
                   boost::container::small_vector<Arg, 8, Velko::Allocator<Arg, false, Velko::SmallVectorOf<Arg>>>>);

TEST_F(Platform, EmptyHandlesAreAlike) {
  EXPECT_TRUE(Zyn::ZynType().empty());
  EXPECT_TRUE(Zyn::ZynAttr().empty());
  EXPECT_EQ(Zyn::ZynAttr(), Zyn::ZynAttr(nullptr, 7, 0));
  EXPECT_EQ(absl::Hash<Zyn::ZynAttr>()(Zyn::ZynAttr()), absl::Hash<Zyn::ZynAttr>()(Zyn::ZynAttr(nullptr, 7, 0)));
  EXPECT_EQ(Zyn::ZynType(), Zyn::ZynType());
}

TEST_F(Platform, AnAttributeIsFoundAlikeByBothKindsOfName) {
  Zyn::ZynType const type = module.value("T").attr("ab", core(Kind::U8));
  EXPECT_EQ(type.attr("ab"), type.attr(std::string_view("abc").substr(0, 2)));
  using namespace std::string_view_literals;
  for (std::string_view const name : {""sv, "a"sv, "AB"sv, "abc"sv, "ab\0"sv}) {
    EXPECT_TRUE(type.attr(name).empty()) << name;
  }
  EXPECT_TRUE(Zyn::ZynType().attr("ab").empty());
  EXPECT_TRUE(Zyn::ZynType().attr("ab"sv).empty());
}

TEST_F(Platform, AttributesAreWalkedAsDeclared) {
  Zyn::ZynType const type = module.value("T").attr("b", core(Kind::U8)).attr("a", core(Kind::U8)).args({"a"});
  std::vector<std::string> names;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    names.emplace_back((*attr).name());
  }
  EXPECT_THAT(names, ElementsAre("b", "a"));
  EXPECT_FALSE(Zyn::AttributeQIterator(core(Kind::U8)));
  Zyn::ArgNameQIterator arg = type.module()->argNameQIterator(type.argListIndex());
  ASSERT_TRUE(arg);
  EXPECT_STREQ(*arg, "a");
  EXPECT_FALSE(++arg);
}

TEST_F(Platform, ScalarKindsAreTheBuiltInOnesThoseInGnmiFormAndUnions) {
  struct {
    Zyn::ZynType type;
    bool scalar;
  } const rows[] = {
      {core(Kind::Bool), true},
      {core(Kind::Time), true},
      {core(Kind::IpPrefix), true},
      {module.unionOf("Either", {{"number", core(Kind::U8)}}), true},
      {module.value("Pattern").attr("a", core(Kind::U8)).gnmi("{a}"), true},
      {module.value("Plain").attr("a", core(Kind::U8)), false},
      {module.enumeration("Color", {{"red", 1}}), false},
      {module.wrapper("Id", core(Kind::U8)), false},
      {module.entity("Thing"), false},
      {Zyn::ZynType(), false},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(row.type.isScalarKind(), row.scalar) << row.type.name();
  }
}

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

/** Short ones are copied in other ways than long ones: none reads beyond its text, or leaves anything behind it. */
TEST_F(Platform, StringsOfEveryLengthAreCopiedWhole) {
  for (std::size_t size = 0; size <= 64; ++size) {
    std::vector<char> text(size);
    for (std::size_t i = 0; i < size; ++i) {
      text[i] = static_cast<char>(0x81 + 7 * i);
    }
    std::string_view const view(text.data(), size);
    Velko::String const copy(view);
    EXPECT_EQ(copy.view(), view) << size;
    EXPECT_EQ(copy.data()[size], '\0') << size;
    EXPECT_EQ(copy, Velko::String(text.data(), size));
    EXPECT_EQ(std::string(copy), std::string(view));
    Velko::String moved = Velko::String(view);
    EXPECT_EQ((std::move(moved) + "!").view(), std::string(view) + "!") << size;
  }
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
    std::list<int, Velko::Allocator<int, false, SomeTag>> const list(2, 0);
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
