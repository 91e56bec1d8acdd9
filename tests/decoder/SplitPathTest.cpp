// Cutting key paths at "__".
#include "tests/support/DecoderTest.h"
#include "tests/support/PagesRead.h"
#include "tests/support/Plain.h"

namespace Test {
namespace {

struct SplitRow {
  std::string_view path;
  std::vector<std::string_view> elements;
};

using SplitPath = DecoderTest;

TEST_F(SplitPath, CutsAtTheLeftmostPairOfUnderscores) {
  using namespace std::string_view_literals;
  SplitRow const rows[] = {
      {"", {""}},
      {"a", {"a"}},
      {"_", {"_"}},
      {"a_", {"a_"}},
      {"_a", {"_a"}},
      {"a_b", {"a_b"}},
      {"a__b", {"a", "b"}},
      {"a__b__c", {"a", "b", "c"}},
      {"ab__cd_ef__g", {"ab", "cd_ef", "g"}},
      {"__a", {"", "a"}},
      {"a__", {"a", ""}},
      {"__", {"", ""}},
      {"___", {"", "_"}},
      {"____", {"", "", ""}},
      {"_____", {"", "", "_"}},
      {"a___b", {"a", "_b"}},
      {"a____b", {"a", "", "b"}},
      {"a\0__\0b"sv, {"a\0"sv, "\0b"sv}},
      {"\xff__\xfe", {"\xff", "\xfe"}},
  };
  for (SplitRow const& row : rows) {
    EXPECT_THAT(ZynKeyDecoder::splitPath(row.path), testing::ElementsAreArray(row.elements)) << '"' << row.path << '"';
  }
}

TEST_F(SplitPath, EveryShortPathIsCutAsTheRuleReads) {
  constexpr std::string_view letters("_a\0", 3);
  constexpr std::size_t longest = 10;
  std::vector<std::string> paths = {""};
  for (std::size_t next = 0; next < paths.size(); ++next) {
    std::string const path = paths[next];
    // On the heap at its exact length, so that a read past the end shows under a sanitizer.
    std::vector<char> const bytes(path.begin(), path.end());
    std::string_view const view(bytes.data(), bytes.size());
    auto const elements = ZynKeyDecoder::splitPath(view);
    ASSERT_THAT(elements, testing::ElementsAreArray(Plain::splitPath(view))) << testing::PrintToString(path);
    for (std::string_view const element : elements) {
      ASSERT_TRUE(element.data() >= view.data() && element.data() + element.size() <= view.data() + view.size());
    }
    for (std::size_t i = 0; path.size() < longest && i < letters.size(); ++i) {
      paths.push_back(path + letters[i]);
    }
  }
  EXPECT_EQ(paths.size(), 88573U);  // 3^0 + ... + 3^10
}

TEST_F(SplitPath, ASeparatorIsFoundAnywhereInALongPath) {
  // Runs of one to three underscores at every place of paths up to 40 bytes, on the heap at their exact length.
  for (std::size_t length = 1; length <= 40; ++length) {
    for (std::size_t first = 0; first < length; ++first) {
      for (std::size_t run = 1; run <= 3 && first + run <= length; ++run) {
        std::vector<char> bytes(length, 'a');
        std::fill_n(bytes.begin() + static_cast<std::ptrdiff_t>(first), run, '_');
        std::string_view const path(bytes.data(), length);
        ASSERT_THAT(ZynKeyDecoder::splitPath(path), testing::ElementsAreArray(Plain::splitPath(path))) << path;
      }
    }
  }
}

TEST_F(SplitPath, LongPathsAreReadOnce) {
  constexpr std::size_t length = std::size_t{1} << 18;
  std::string single;
  std::string elements;
  while (single.size() < length) {
    single += "_a";
    elements += "element__";
  }
  // Separators alone, no underscore at all, single ones that each could begin a separator, usual names.
  for (std::string const& path : {std::string(length, '_'), std::string(length, 'a'), single, elements}) {
    Support::PagesRead const read(path);
    (void)ZynKeyDecoder::splitPath(path);
    EXPECT_GE(read.pages(), 60U);
    EXPECT_EQ(read.count(), read.pages());
  }
}

TEST_F(SplitPath, AViewOfNothingIsAnEmptyPath) { EXPECT_THAT(ZynKeyDecoder::splitPath({}), ElementsAre("")); }

TEST_F(SplitPath, ElementsAreViewsIntoThePath) {
  std::string const path = "ab__c";
  auto const elements = ZynKeyDecoder::splitPath(path);
  ASSERT_EQ(elements.size(), 2U);
  EXPECT_EQ(elements[0].data(), path.data());
  EXPECT_EQ(elements[1].data(), path.data() + 4);
}

TEST_F(SplitPath, TheEmptyPathsElementPointsAtItsStart) {
  std::string_view const path = std::string_view("x").substr(0, 0);
  auto const elements = ZynKeyDecoder::splitPath(path);
  ASSERT_EQ(elements.size(), 1U);
  EXPECT_EQ(elements[0].data(), path.data());
}

TEST_F(SplitPath, TheLastElementAfterASeparatorPointsAtThePathsEnd) {
  std::string_view const path = "a__";
  auto const elements = ZynKeyDecoder::splitPath(path);
  ASSERT_EQ(elements.size(), 2U);
  EXPECT_EQ(elements[1].data(), path.data() + path.size());
}

TEST_F(SplitPath, DoesNotReadPastThePath) {
  // The text behind the view would complete a separator.
  std::string_view const path = std::string_view("a__b").substr(0, 2);
  EXPECT_THAT(ZynKeyDecoder::splitPath(path), ElementsAre("a_"));
}

TEST_F(SplitPath, MemoryIsThatOfAVectorOfViews) {
  auto const bytesOf = [] {
    for (Model::Memory const& tag : Model::memory()) {
      if (tag.tag.find("VectorOf<std::basic_string_view") != std::string::npos &&
          tag.tag.find("Small") == std::string::npos) {
        return tag.bytes;
      }
    }
    return std::int64_t{-1};
  };
  {
    auto const elements = ZynKeyDecoder::splitPath("a__b__c");
    EXPECT_EQ(bytesOf(), static_cast<std::int64_t>(elements.capacity() * sizeof(std::string_view)));
  }
  EXPECT_EQ(bytesOf(), 0);
}

TEST_F(SplitPath, TracesNothing) {
  traceCalls();
  (void)ZynKeyDecoder::splitPath("a__b");
  EXPECT_THAT(taken(), IsEmpty());
}

static_assert(noexcept(ZynKeyDecoder::splitPath("")));

}  // namespace
}  // namespace Test
