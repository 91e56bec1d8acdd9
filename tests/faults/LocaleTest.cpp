// A locale with a decimal comma and a zone far from UTC change nothing. Run with both set; `locale` beside this file
// does that.
#include <clocale>
#include <ctime>
#include <locale>

#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

class Comma : public std::numpunct<char> {
  char do_decimal_point() const override { return ','; }
  char do_thousands_sep() const override { return '.'; }
  std::string do_grouping() const override { return "\3"; }
};

using Locale = DecoderTest;

TEST_F(Locale, NumbersAndTimesReadAndPrintAsEverywhere) {
  ASSERT_NE(std::setlocale(LC_ALL, ""), nullptr);
  ASSERT_STREQ(std::localeconv()->decimal_point, ",") << "the locale is to have a decimal comma";
  std::locale::global(std::locale(std::locale::classic(), new Comma));
  tzset();
  ASSERT_NE(timezone, 0) << "the zone is to be another than UTC";
  struct {
    Kind kind;
    std::string_view text;
    std::string_view value;
  } const rows[] = {
      {Kind::Double, "1234567.5", "1234567.5"},
      {Kind::Float, "0.5", "0.5"},
      {Kind::Seconds, "1234.5", "1234.5"},
      {Kind::U64, "18446744073709551615", "18446744073709551615"},
      {Kind::Time, "2026-11-21T10:00:00.5Z", "2026-11-21T10:00:00.5Z"},
      {Kind::Time, "2026-06-21T10:00:00+02:00", "2026-06-21T08:00:00Z"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(scalar(core(row.kind), row.text), row.value);
  }
  EXPECT_EQ(scalar(core(Kind::Double), "0,5").substr(0, 5), "error");
  EXPECT_EQ(scalar(core(Kind::U64), "1.000").substr(0, 5), "error");
}

}  // namespace
}  // namespace Test
