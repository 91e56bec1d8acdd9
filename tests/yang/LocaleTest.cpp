// One answer in every locale and time zone, but for the canonical text of a date-and-time: libyang prints that in the
// time zone of the process.
#include <clocale>
#include <cstdlib>
#include <ctime>

#include "tests/yang/Loaded.h"

namespace YangTest {
namespace {

struct Row {
  char const* list;
  char const* text;
  /** Null for a text that is refused. */
  char const* fits;
};

constexpr Row rows[] = {
    {"int16", " +300", "300"},
    {"decimal64", "1.50", "1.5"},
    {"decimal64", "1,5", nullptr},
    {"length", "\u00e9\u00e9", "\u00e9\u00e9"},
    {"letters", "\u00e9\u00df", "\u00e9\u00df"},
    {"label", "ABC", nullptr},
    {"ip-address", "FE80::1%eth0", "fe80::1%eth0"},
    {"ip-prefix", "10.1.2.3/8", "10.0.0.0/8"},
    {"ipv6-no-zone", "2001:DB8::1", "2001:db8::1"},
    {"mac-address", "02:00:5E:10:00:ff", "02:00:5E:10:00:ff"},
    {"identity", "cow", "animals:cow"},
    {"identity", "COW", nullptr},
    {"union", "+7", "7"},
    {"bits", "run read", "read run"},
};

struct Place {
  char const* zone;
  char const* locale;
  char const* point;
  /** Of 2020-07-01T12:00:00Z, and of a day that July does not have. */
  char const* noon;
  char const* carried;
};

constexpr Place places[] = {
    {"UTC", "C", ".", "2020-07-01T12:00:00+00:00", "2024-03-01T12:34:56+00:00"},
    {"IST-5:30", "de_DE.UTF-8", ",", "2020-07-01T17:30:00+05:30", "2024-03-01T18:04:56+05:30"},
    {"EST5EDT,M3.2.0,M11.1.0", "de_DE", ",", "2020-07-01T08:00:00-04:00", "2024-03-01T07:34:56-05:00"},
};

TEST(Locale, MakesNoDifferenceButForDates) {
  Yang::Loaded const kinds = loaded({YANG_MODULES "/modules"}, {"kinds", "animals"});
  for (Place const& place : places) {
    ::setenv("TZ", place.zone, 1);
    ::tzset();
    ASSERT_NE(std::setlocale(LC_ALL, place.locale), nullptr) << "`locale` beside this file makes " << place.locale;
    EXPECT_STREQ(std::localeconv()->decimal_point, place.point);
    for (Row const& row : rows) {
      auto const value = read(attrAt(kinds.root, {"kinds", row.list}).keyType(), row.text);
      EXPECT_EQ(value != nullptr, row.fits != nullptr) << place.locale << ": " << row.list << " " << row.text;
      if (value && row.fits != nullptr) {
        EXPECT_EQ(canonical(value), row.fits) << place.locale;
      }
    }
    Zyn::ZynType const date = attrAt(kinds.root, {"kinds", "date"}).keyType();
    EXPECT_EQ(canonical(read(date, "2020-07-01T12:00:00Z")), place.noon) << place.zone;
    EXPECT_EQ(canonical(read(date, "2024-02-30T12:34:56Z")), place.carried) << place.zone;
  }
  std::setlocale(LC_ALL, "C");
}

}  // namespace
}  // namespace YangTest
