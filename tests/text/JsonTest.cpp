#include "text/Json.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

namespace {

TEST(AppendJson, QuotesEscapesAndReplaces) {
  struct Row {
    std::string_view text;
    std::string_view json;
  };
  using namespace std::string_view_literals;
  std::vector<Row> const rows = {
      {"", R"("")"},
      {"a b/c~", R"("a b/c~")"},
      {"a\"b\\c", R"("a\"b\\c")"},
      {"\0\x1F\b\f\n\r\t"sv, R"("\u0000\u001f\b\f\n\r\t")"},
      {"\x7F", "\"\x7F\""},
      {"Z\xC3\xBCrich", "\"Z\xC3\xBCrich\""},
      {"\xFF\xE2\x82x", "\"\xEF\xBF\xBD\xEF\xBF\xBDx\""},
  };
  for (Row const& row : rows) {
    std::string out = "before";
    Text::appendJson(row.text, out);
    EXPECT_EQ(out, "before" + std::string(row.json));
  }
}

}  // namespace
