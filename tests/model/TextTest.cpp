// Values from text and back: literals and the gNMI string form, kind by kind.
#include <arpa/inet.h>
#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "tests/model/Network.h"
#include "tests/support/PagesRead.h"

namespace ModelTest {
namespace {

using namespace std::string_literals;

struct Accepted {
  Kind kind;
  std::string text;
  std::string prints;
  std::string json;
};

std::vector<Accepted> const accepted = {
    {Kind::Bool, "true", "true", "true"},
    {Kind::Bool, "false", "false", "false"},
    {Kind::S8, "-128", "-128", "-128"},
    {Kind::S8, "127", "127", "127"},
    {Kind::S8, "-0", "0", "0"},
    {Kind::S16, "-32768", "-32768", "-32768"},
    {Kind::S16, "32767", "32767", "32767"},
    {Kind::S32, "-2147483648", "-2147483648", "-2147483648"},
    {Kind::S32, "2147483647", "2147483647", "2147483647"},
    {Kind::S64, "-9223372036854775808", "-9223372036854775808", R"("-9223372036854775808")"},
    {Kind::S64, "9223372036854775807", "9223372036854775807", R"("9223372036854775807")"},
    {Kind::U8, "0", "0", "0"},
    {Kind::U8, "255", "255", "255"},
    {Kind::U8, "010", "10", "10"},
    {Kind::U16, "65535", "65535", "65535"},
    {Kind::U32, "4294967295", "4294967295", "4294967295"},
    {Kind::U64, "18446744073709551615", "18446744073709551615", R"("18446744073709551615")"},
    {Kind::U64, "0", "0", R"("0")"},
    {Kind::Float, "0.1", "0.1", "0.1"},
    {Kind::Float, "-0", "-0", "-0.0"},
    {Kind::Float, "3.4028234663852886e+38", "3.4028235e+38", "3.4028235e+38"},
    {Kind::Float, "1e-45", "1e-45", "1e-45"},
    {Kind::Double, "0.1", "0.1", "0.1"},
    {Kind::Double, "15E-1", "1.5", "1.5"},
    {Kind::Double, "-2", "-2", "-2.0"},
    {Kind::Double, "0e5", "0", "0.0"},
    {Kind::Double, "1.7976931348623157e308", "1.7976931348623157e+308", "1.7976931348623157e+308"},
    {Kind::Double, "5e-324", "5e-324", "5e-324"},
    {Kind::String, R"("red")", R"("red")", R"("red")"},
    {Kind::String, R"("")", R"("")", R"("")"},
    {Kind::String, R"("a"b\n")", R"("a"b\n")", R"("a\"b\\n")"},
    {Kind::String, R"(""")", R"(""")", R"("\"")"},
    {Kind::String, "\"a\0b\nc{}\""s, "\"a\0b\nc{}\""s, R"("a\u0000b\nc{}")"},
    {Kind::Bytes, "", "", R"("")"},
    {Kind::Bytes, "AA==", "AA==", R"("AA==")"},
    {Kind::Bytes, "+/8=", "+/8=", R"("+/8=")"},
    {Kind::Bytes, "AAEC", "AAEC", R"("AAEC")"},
    {Kind::Seconds, "0", "0", "0"},
    {Kind::Seconds, "-0", "0", "0"},
    {Kind::Seconds, "007.500", "7.5", "7.5"},
    {Kind::Seconds, "-0.000000001", "-0.000000001", "-1e-09"},
    {Kind::Seconds, "9223372036.854775807", "9223372036.854775807", "9223372036.854776"},
    {Kind::Seconds, "-9223372036.854775808", "-9223372036.854775808", "-9223372036.854776"},
    {Kind::Seconds, "-60", "-60", "-60"},
    {Kind::Time, "1970-01-01T00:00:00Z", "1970-01-01T00:00:00Z", R"("1970-01-01T00:00:00Z")"},
    {Kind::Time, "2024-02-29t12:34:56.500z", "2024-02-29T12:34:56.5Z", R"("2024-02-29T12:34:56.5Z")"},
    {Kind::Time, "2024-03-01T00:30:00+01:30", "2024-02-29T23:00:00Z", R"("2024-02-29T23:00:00Z")"},
    {Kind::Time, "1999-12-31T23:59:59-23:59", "2000-01-01T23:58:59Z", R"("2000-01-01T23:58:59Z")"},
    {Kind::Time, "1969-12-31T23:59:59.999999999Z", "1969-12-31T23:59:59.999999999Z",
     R"("1969-12-31T23:59:59.999999999Z")"},
    {Kind::Time, "1677-09-21T00:12:43.145224192Z", "1677-09-21T00:12:43.145224192Z",
     R"("1677-09-21T00:12:43.145224192Z")"},
    {Kind::Time, "2262-04-11T23:47:16.854775807Z", "2262-04-11T23:47:16.854775807Z",
     R"("2262-04-11T23:47:16.854775807Z")"},
    {Kind::IpAddress, "192.0.2.1", "192.0.2.1", R"("192.0.2.1")"},
    {Kind::IpAddress, "2001:DB8:0:0::1", "2001:db8::1", R"("2001:db8::1")"},
    {Kind::IpAddress, "::ffff:192.0.2.1", "::ffff:192.0.2.1", R"("::ffff:192.0.2.1")"},
    {Kind::IpAddress, "0000:0000:0000:0000:0000:ffff:192.168.100.228", "::ffff:192.168.100.228",
     R"("::ffff:192.168.100.228")"},
    {Kind::IpPrefix, "10.1.2.3/8", "10.0.0.0/8", R"("10.0.0.0/8")"},
    {Kind::IpPrefix, "10.255.255.255/9", "10.128.0.0/9", R"("10.128.0.0/9")"},
    {Kind::IpPrefix, "10.1.2.3/0", "0.0.0.0/0", R"("0.0.0.0/0")"},
    {Kind::IpPrefix, "10.1.2.3/32", "10.1.2.3/32", R"("10.1.2.3/32")"},
    {Kind::IpPrefix, "2001:db8:ffff::1/33", "2001:db8:8000::/33", R"("2001:db8:8000::/33")"},
    {Kind::IpPrefix, "::1/128", "::1/128", R"("::1/128")"},
    {Kind::MacAddress, "02:00:5E:10:00:fF", "02:00:5e:10:00:ff", R"("02:00:5e:10:00:ff")"},
};

TEST(Literal, PrintsInOneForm) {
  for (Accepted const& row : accepted) {
    Zyn::ZynType const type = Model::core(row.kind);
    SCOPED_TRACE(std::string(type.name()) + " " + row.text);
    Value const value = literal(type, row.text);
    EXPECT_EQ(Model::print(*value), row.prints);
    EXPECT_EQ(Model::toJson(*value).dump(), row.json);
    EXPECT_EQ(jsonText(*value), row.json);
    EXPECT_EQ(Model::typeOf(*value), type);
    Value const again = literal(type, row.prints);
    EXPECT_TRUE(Model::equal(*value, *again));
    EXPECT_EQ(Model::hash(*value), Model::hash(*again));
  }
}

TEST(GnmiString, IsTheLiteralWithoutQuotes) {
  for (Accepted const& row : accepted) {
    Zyn::ZynType const type = Model::core(row.kind);
    SCOPED_TRACE(std::string(type.name()) + " " + row.text);
    bool const isString = row.kind == Kind::String;
    Value const value = gnmi(type, isString ? std::string_view(row.text).substr(1, row.text.size() - 2) : row.text);
    EXPECT_EQ(Model::print(*value), row.prints);
  }
}

/** The text of an address of which the first bits, so many, are set. */
std::string leadingOnes(int family, std::size_t count) {
  std::array<unsigned char, 16> bytes{};
  for (std::size_t bit = 0; bit < count; ++bit) {
    bytes[bit / 8] = static_cast<unsigned char>(bytes[bit / 8] | 0x80U >> bit % 8);
  }
  std::array<char, INET6_ADDRSTRLEN> text{};
  return inet_ntop(family, bytes.data(), text.data(), text.size());
}

TEST(GnmiString, APrefixOfAnyLengthKeepsTheBitsBeforeItsLength) {
  for (auto const& [family, bits] : {std::pair(AF_INET, 32U), std::pair(AF_INET6, 128U)}) {
    for (std::size_t length = 0; length <= bits; ++length) {
      std::string const end = "/" + std::to_string(length);
      Value const all = gnmi(Model::core(Kind::IpPrefix), leadingOnes(family, bits) + end);
      Value const kept = gnmi(Model::core(Kind::IpPrefix), leadingOnes(family, length) + end);
      EXPECT_EQ(Model::print(*all), leadingOnes(family, length) + end);
      EXPECT_TRUE(Model::equal(*all, *kept));
      EXPECT_EQ(Model::hash(*all), Model::hash(*kept));
    }
  }
}

struct Refused {
  Kind kind;
  std::string text;
  std::string fits;
};

std::string const floatText = "a finite decimal number, not too small to be told from 0";
std::string const secondsText =
    "seconds as a decimal number like -1.5, from -9223372036.854775808 to 9223372036.854775807, with at most 9 digits "
    "after the point";
std::string const timeText =
    "a time like 2024-02-29T12:34:56.5Z or 2024-02-29T12:34:56+01:00, from 1677-09-21T00:12:43.145224192Z to "
    "2262-04-11T23:47:16.854775807Z, with at most 9 digits after the point";
std::string const bytesText = "base64, padded with '='";
std::string const addressText = "an IPv4 or IPv6 address";
std::string const prefixText = "a prefix like 10.0.0.0/8 or 2001:db8::/32";
std::string const macText = "an address like 02:00:5e:10:00:ff";
std::string const s8Text = "a decimal number from -128 to 127";
std::string const u8Text = "a decimal number from 0 to 255";
std::string const stringText = "a text in double quotes";

std::vector<Refused> const refused = {
    {Kind::Bool, "", "true or false"},
    {Kind::Bool, "True", "true or false"},
    {Kind::Bool, "1", "true or false"},
    {Kind::Bool, "true ", "true or false"},
    {Kind::Bool, "true\0"s, "true or false"},
    {Kind::S8, "-129", s8Text},
    {Kind::S8, "128", s8Text},
    {Kind::S8, "", s8Text},
    {Kind::S8, "-", s8Text},
    {Kind::S8, "--1", s8Text},
    {Kind::S8, "+1", s8Text},
    {Kind::S8, " 1", s8Text},
    {Kind::S8, "1 ", s8Text},
    {Kind::S8, "1\0"s, s8Text},
    {Kind::S8, "0x1", s8Text},
    {Kind::S8, "1.0", s8Text},
    {Kind::S16, "-32769", "a decimal number from -32768 to 32767"},
    {Kind::S16, "32768", "a decimal number from -32768 to 32767"},
    {Kind::S32, "-2147483649", "a decimal number from -2147483648 to 2147483647"},
    {Kind::S32, "2147483648", "a decimal number from -2147483648 to 2147483647"},
    {Kind::S64, "-9223372036854775809", "a decimal number from -9223372036854775808 to 9223372036854775807"},
    {Kind::S64, "9223372036854775808", "a decimal number from -9223372036854775808 to 9223372036854775807"},
    {Kind::U8, "256", u8Text},
    {Kind::U8, "-1", u8Text},
    {Kind::U8, "-0", u8Text},
    {Kind::U8, "+0", u8Text},
    {Kind::U16, "65536", "a decimal number from 0 to 65535"},
    {Kind::U32, "4294967296", "a decimal number from 0 to 4294967295"},
    {Kind::U64, "18446744073709551616", "a decimal number from 0 to 18446744073709551615"},
    {Kind::Float, "3.5e38", floatText},
    {Kind::Float, "1e-46", floatText},
    {Kind::Float, "nan", floatText},
    {Kind::Double, "inf", floatText},
    {Kind::Double, "-infinity", floatText},
    {Kind::Double, "nan(1)", floatText},
    {Kind::Double, "1e309", floatText},
    {Kind::Double, "-1e-400", floatText},
    {Kind::Double, "0x1p3", floatText},
    {Kind::Double, "1,5", floatText},
    {Kind::Double, "+1", floatText},
    {Kind::Double, "", floatText},
    {Kind::Double, ".", floatText},
    {Kind::Double, "1e", floatText},
    {Kind::String, "red", stringText},
    {Kind::String, "", stringText},
    {Kind::String, "\"", stringText},
    {Kind::String, "\"red", stringText},
    {Kind::String, "red\"", stringText},
    {Kind::String, "'red'", stringText},
    {Kind::Bytes, "AA", bytesText},
    {Kind::Bytes, "AA=", bytesText},
    {Kind::Bytes, "A", bytesText},
    {Kind::Bytes, "AB==", bytesText},
    {Kind::Bytes, "AA==AA==", bytesText},
    {Kind::Bytes, "AA ==", bytesText},
    {Kind::Bytes, "AAEC\n", bytesText},
    {Kind::Bytes, "-_8=", bytesText},
    {Kind::Bytes, "AA..", bytesText},
    {Kind::Seconds, "", secondsText},
    {Kind::Seconds, "-", secondsText},
    {Kind::Seconds, ".5", secondsText},
    {Kind::Seconds, "1.", secondsText},
    {Kind::Seconds, "1.0000000000", secondsText},
    {Kind::Seconds, "1.-5", secondsText},
    {Kind::Seconds, "1.5s", secondsText},
    {Kind::Seconds, "+1", secondsText},
    {Kind::Seconds, "--1", secondsText},
    {Kind::Seconds, "1e3", secondsText},
    {Kind::Seconds, "9223372036.854775808", secondsText},
    {Kind::Seconds, "-9223372036.854775809", secondsText},
    {Kind::Seconds, "9223372037", secondsText},
    {Kind::Seconds, "18446744073709551616", secondsText},
    {Kind::Time, "", timeText},
    {Kind::Time, "now", timeText},
    {Kind::Time, "infinite-past", timeText},
    {Kind::Time, "2024-02-29", timeText},
    {Kind::Time, "2024-02-29T12:34:56", timeText},
    {Kind::Time, "2024-02-29 12:34:56Z", timeText},
    {Kind::Time, " 2024-02-29T12:34:56Z", timeText},
    {Kind::Time, "2024-02-29T12:34:56Z ", timeText},
    {Kind::Time, "2023-02-29T12:34:56Z", timeText},
    {Kind::Time, "2024-04-31T12:34:56Z", timeText},
    {Kind::Time, "2024-00-01T12:34:56Z", timeText},
    {Kind::Time, "2024-13-01T12:34:56Z", timeText},
    {Kind::Time, "2024-01-00T12:34:56Z", timeText},
    {Kind::Time, "2024-02-29T24:00:00Z", timeText},
    {Kind::Time, "2024-02-29T12:60:00Z", timeText},
    {Kind::Time, "2016-12-31T23:59:60Z", timeText},
    {Kind::Time, "2024-02-29T12:34:56.Z", timeText},
    {Kind::Time, "2024-02-29T12:34:56.1234567890Z", timeText},
    {Kind::Time, "2024-02-29T12:34:56+24:00", timeText},
    {Kind::Time, "2024-02-29T12:34:56+01:60", timeText},
    {Kind::Time, "2024-02-29T12:34:56+0100", timeText},
    {Kind::Time, "2024-02-29T12:34:56ZZ", timeText},
    {Kind::Time, "24-02-29T12:34:56Z", timeText},
    {Kind::Time, "1677-09-21T00:12:43.145224191Z", timeText},
    {Kind::Time, "2262-04-11T23:47:16.854775808Z", timeText},
    {Kind::Time, "0000-01-01T00:00:00Z", timeText},
    {Kind::Time, "9999-12-31T23:59:59Z", timeText},
    {Kind::IpAddress, "", addressText},
    {Kind::IpAddress, "192.0.2", addressText},
    {Kind::IpAddress, "192.0.2.256", addressText},
    {Kind::IpAddress, "192.0.2.01", addressText},
    {Kind::IpAddress, "192.0.2.1 ", addressText},
    {Kind::IpAddress, "192.0.2.1\0"s, addressText},
    {Kind::IpAddress, "192.0.2.1/32", addressText},
    {Kind::IpAddress, "1::2::3", addressText},
    {Kind::IpAddress, "fe80::1%lo", addressText},
    {Kind::IpAddress, "0000:0000:0000:0000:0000:ffff:192.168.100.2280", addressText},
    {Kind::IpPrefix, "10.0.0.0", prefixText},
    {Kind::IpPrefix, "10.0.0.0/", prefixText},
    {Kind::IpPrefix, "10.0.0.0/33", prefixText},
    {Kind::IpPrefix, "::/129", prefixText},
    {Kind::IpPrefix, "10.0.0.0/08", prefixText},
    {Kind::IpPrefix, "10.0.0.0/+8", prefixText},
    {Kind::IpPrefix, "10.0.0.0/-8", prefixText},
    {Kind::IpPrefix, "10.0.0.0/8/8", prefixText},
    {Kind::IpPrefix, "10.0.0.0/18446744073709551624", prefixText},
    {Kind::IpPrefix, "/8", prefixText},
    {Kind::IpPrefix, "10.0.0.0\0/8"s, prefixText},
    {Kind::MacAddress, "02:00:5e:10:00", macText},
    {Kind::MacAddress, "02:00:5e:10:00:ff:00", macText},
    {Kind::MacAddress, "02-00-5e-10-00-ff", macText},
    {Kind::MacAddress, "2:00:5e:10:00:0ff", macText},
    {Kind::MacAddress, "02:00:5e:10:00:fg", macText},
    {Kind::MacAddress, "02:00:5e:10:00:-f", macText},
    {Kind::MacAddress, "02005e1000ff", macText},
};

TEST(Literal, RefusesWhatIsNoValue) {
  for (Refused const& row : refused) {
    Zyn::ZynType const type = Model::core(row.kind);
    EXPECT_EQ(errorOf([&] { literal(type, row.text); }),
              std::string(type.name()) + ": '" + row.text + "' does not fit: " + row.fits);
  }
}

TEST(GnmiString, RefusesWhatIsNoValue) {
  for (Refused const& row : refused) {
    if (row.kind != Kind::String) {
      Zyn::ZynType const type = Model::core(row.kind);
      EXPECT_EQ(errorOf([&] { gnmi(type, row.text); }),
                std::string(type.name()) + ": '" + row.text + "' does not fit: " + row.fits);
    }
  }
}

TEST(GnmiString, OfAStringIsAnyText) {
  for (std::string const& text : {""s, "red"s, "\""s, R"("red")"s, "a\0\n\xFF{}"s, std::string(65536, '"')}) {
    Value const value = gnmi(Model::core(Kind::String), text);
    EXPECT_EQ(Model::as<std::string>(*value), text);
    EXPECT_EQ(Model::print(*value), "\"" + text + "\"");
  }
}

TEST(Literal, LongHostileTextIsRefusedWithItsBeginning) {
  std::string const begin = "a\0'{}\xFF\n"s;
  for (Kind kind = Kind::Bool; kind <= Kind::MacAddress; kind = static_cast<Kind>(static_cast<int>(kind) + 1)) {
    std::string const error = errorOf([&] { literal(Model::core(kind), begin + std::string(65536, '1')); });
    std::string const wanted = std::string(Model::core(kind).name()) + ": '" + begin +
                               std::string(64 - begin.size(), '1') + "'... does not fit: ";
    EXPECT_EQ(error.substr(0, wanted.size()), wanted);
  }
}

TEST(Literal, TextIsCutAfter64Bytes) {
  Zyn::ZynType const type = Model::core(Kind::Bool);
  std::string const full(64, 'x');
  EXPECT_EQ(errorOf([&] { literal(type, full); }), "Zyn::Bool: '" + full + "' does not fit: true or false");
  EXPECT_EQ(errorOf([&] { literal(type, full + 'x'); }), "Zyn::Bool: '" + full + "'... does not fit: true or false");
}

TEST(Literal, ManyDigitsAreReadAFewTimes) {
  std::string const zeros(1'000'000, '0');
  struct Row {
    Kind kind;
    std::string text;
    std::string_view prints;
  };
  for (Row const& row : {Row{Kind::U8, zeros + "7", "7"}, Row{Kind::Double, "1." + zeros + "1", "1"},
                         Row{Kind::Seconds, zeros + "7.5", "7.5"}}) {
    Velko::String const text(row.text);
    Support::PagesRead const read(text.view());
    Value const value = Model::core(row.kind).genericIf(text, false);
    EXPECT_LE(read.count(), 3 * read.pages()) << Model::kindName(row.kind);
    EXPECT_EQ(Model::print(*value), row.prints);
  }
}

TEST(Enumeration, LiteralIsANameInSingleQuotes) {
  Network const network;
  for (std::string const name : {"connected", "bgp", "it's"}) {
    EXPECT_EQ(Model::print(*literal(network.protocol, "'" + name + "'")), "'" + name + "'");
    EXPECT_EQ(Model::print(*gnmi(network.protocol, name)), "'" + name + "'");
    EXPECT_EQ(Model::toJson(*gnmi(network.protocol, name)).dump(), "\"" + name + "\"");
  }
  std::string const names = " does not fit: 'connected', 'bgp', 'it's'";
  for (std::string_view const text : {"bgp", "'", "", "9", R"("bgp")"}) {
    EXPECT_EQ(errorOf([&] { literal(network.protocol, text); }),
              fmt::format("Network::Protocol: '{}'{}, in single quotes", text, names));
  }
  for (std::string_view const text : {"'bgp", "bgp'"}) {
    EXPECT_EQ(errorOf([&] { literal(network.protocol, text); }),
              fmt::format("Network::Protocol: '{}'{}, in single quotes; did you mean 'bgp'?", text, names));
  }
  // Its own quotes are not at fault, and not shown.
  EXPECT_EQ(errorOf([&] { literal(network.protocol, "'BGP'"); }),
            "Network::Protocol: 'BGP'" + names + "; did you mean 'bgp'?");
  EXPECT_EQ(errorOf([&] { literal(network.protocol, "''"); }), "Network::Protocol: ''" + names);
  EXPECT_EQ(errorOf([&] { gnmi(network.protocol, "BPG"); }),
            "Network::Protocol: 'BPG'" + names + "; did you mean 'bgp'?");
  EXPECT_EQ(errorOf([&] { gnmi(network.protocol, "'bgp'"); }), "Network::Protocol: ''bgp''" + names);
}

TEST(Enumeration, MessageNamesTwelveOfMany) {
  Network network;
  std::vector<Model::Enumerator> enumerators;
  for (char c = 'a'; c < 'm'; ++c) {
    enumerators.push_back({std::string(1, c), c});
  }
  Zyn::ZynType const twelve = network.module.enumeration("Twelve", enumerators);
  enumerators.push_back({"m", 'm'});
  Zyn::ZynType const thirteen = network.module.enumeration("Thirteen", enumerators);
  std::string const names = "'a', 'b', 'c', 'd', 'e', 'f', 'g', 'h', 'i', 'j', 'k', 'l'";
  EXPECT_EQ(errorOf([&] { gnmi(twelve, "other"); }), "Network::Twelve: 'other' does not fit: " + names);
  EXPECT_EQ(errorOf([&] { gnmi(thirteen, "other"); }),
            "Network::Thirteen: 'other' does not fit: " + names + " and 1 more");
}

TEST(Wrapper, ReadsTheTextOfWhatItWraps) {
  Network network;
  Value const value = literal(network.vlanId, "7");
  EXPECT_EQ(Model::print(*value), "Network::VlanId(7)");
  EXPECT_EQ(Model::toJson(*value).dump(), "7");
  EXPECT_EQ(errorOf([&] { literal(network.vlanId, "70000"); }),
            "Network::VlanId: '70000' does not fit: a decimal number from 0 to 65535");
  Zyn::ZynType const name = network.module.wrapper("Name", Model::core(Kind::String));
  Zyn::ZynType const alias = network.module.wrapper("Alias", name);
  EXPECT_EQ(Model::print(*literal(alias, R"("x")")), R"(Network::Alias(Network::Name("x")))");
  EXPECT_EQ(Model::print(*gnmi(alias, "x")), R"(Network::Alias(Network::Name("x")))");
  EXPECT_EQ(errorOf([&] { literal(alias, "x"); }), "Network::Alias: 'x' does not fit: a text in double quotes");
}

TEST(Union, TakesTheFirstAlternativeThatReads) {
  Network const network;
  EXPECT_EQ(Model::print(*gnmi(network.portName, "7")), "Network::PortName(number=7)");
  EXPECT_EQ(Model::print(*gnmi(network.portName, "x7")), R"(Network::PortName(name="x7"))");
  EXPECT_EQ(Model::print(*literal(network.portName, "\"7\"")), R"(Network::PortName(name="7"))");
  EXPECT_EQ(Model::toJson(*gnmi(network.portName, "7")).dump(), R"({"number":7})");
  EXPECT_EQ(Model::print(*gnmi(network.anyPort, "bgp")), "Network::AnyPort(protocol='bgp')");
  EXPECT_EQ(Model::print(*gnmi(network.anyPort, "1-2")), "Network::AnyPort(range=Network::PortRange(low=1, high=2))");
  EXPECT_EQ(Model::print(*gnmi(network.anyPort, "1-x")), R"(Network::AnyPort(port=Network::PortName(name="1-x")))");
  EXPECT_EQ(errorOf([&] { literal(network.portName, "x"); }),
            "Network::PortName: 'x' does not fit: a Zyn::U32 or Zyn::String");
}

TEST(Union, SaysWhatEachAlternativeTakes) {
  Network network;
  EXPECT_EQ(errorOf([&] {
              gnmi(network.module.unionOf(
                       "Small",
                       {{"byte", Model::core(Kind::U8)}, {"port", network.portRange}, {"protocol", network.protocol}}),
                   "bgb");
            }),
            "Network::Small: 'bgb' does not fit: byte: a decimal number from 0 to 255; port: {low}-{high}; protocol: "
            "'connected', 'bgp', 'it's'; did you mean 'bgp'?");
}

TEST(Union, MessageEndsWhereAlternativesAreManyOrNested) {
  Network network;
  Zyn::ZynType inner = Model::core(Kind::Bool);
  for (int depth = 0; depth < 100; ++depth) {
    Model::TypeBuilder made = network.module.unionOf("Nested" + std::to_string(depth));
    for (int i = 0; i < 100; ++i) {
      made.attr("a" + std::to_string(i), i == 0 ? inner : Model::core(Kind::Bool));
    }
    inner = made;
  }
  std::string const message = errorOf([&] { gnmi(network.module.find("Nested0"), "x"); });
  EXPECT_TRUE(message.starts_with("Network::Nested0: 'x' does not fit: a0: true or false; a1: true or false; "));
  EXPECT_TRUE(message.ends_with(" more")) << message;
  EXPECT_LT(message.size(), 1200U);
  EXPECT_LT(errorOf([&] { gnmi(inner, "x"); }).size(), 4000U);
  Model::TypeBuilder outer = network.module.unionOf("OuterUnion");
  outer.attr("none", network.module.unionOf("None"))
      .attr("nested", network.module.find("Nested0"))
      .attr("last", Model::core(Kind::U8));
  std::string const nested = errorOf([&] { gnmi(outer, "x"); });
  EXPECT_TRUE(
      nested.starts_with("Network::OuterUnion: 'x' does not fit: none: (nothing, as it has no alternatives); nested: "
                         "(a0: true or false; "))
      << nested;
  EXPECT_TRUE(nested.ends_with(" more); and 1 more")) << nested;
}

TEST(Union, WithoutAlternativesTakesNothing) {
  Network network;
  Zyn::ZynType const type = network.module.unionOf("None");
  EXPECT_EQ(errorOf([&] { gnmi(type, "x"); }), "Network::None: 'x' does not fit: nothing, as it has no alternatives");
}

TEST(Pattern, CutsAtTheFirstOfEachSeparator) {
  Network const network;
  struct Row {
    Zyn::ZynType type;
    std::string text;
    std::string prints;
  };
  std::vector<Row> const rows = {
      {network.portRange, "1-2", "Network::PortRange(low=1, high=2)"},
      {network.portRange, "00-65535", "Network::PortRange(low=0, high=65535)"},
      {network.rangeBox, "1-2", "Network::RangeBox(Network::PortRange(low=1, high=2))"},
      {network.endpoint, "<a>:1-2/bgp!",
       R"(Network::Endpoint(host="a", ports=Network::RangeBox(Network::PortRange(low=1, high=2)), protocol='bgp'))"},
      {network.endpoint, "<\0<>:1-2/bgp!"s,
       "Network::Endpoint(host=\"\0<\", ports=Network::RangeBox(Network::PortRange(low=1, high=2)), "
       "protocol='bgp')"s},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(Model::print(*gnmi(row.type, row.text)), row.prints);
    EXPECT_EQ(Model::print(*literal(row.type, row.text)), row.prints);
  }
  EXPECT_EQ(Model::toJson(*gnmi(network.endpoint, rows[3].text)).dump(),
            R"({"host":"a","ports":{"low":1,"high":2},"protocol":"bgp"})");
}

TEST(Pattern, NamesThePieceThatDoesNotFit) {
  Network const network;
  std::string const number = "a decimal number from 0 to 65535";
  struct Row {
    Zyn::ZynType type;
    std::string text;
    std::string fits;
  };
  std::vector<Row> const rows = {
      {network.portRange, "", "{low}-{high}"},
      {network.portRange, "1", "{low}-{high}"},
      {network.portRange, "-", "{low}-{high}; low takes " + number},
      {network.portRange, "1-", "{low}-{high}; high takes " + number},
      {network.portRange, "1-65536", "{low}-{high}; high takes " + number},
      {network.portRange, "1--2", "{low}-{high}; high takes " + number},
      {network.rangeBox, "x-2", "{low}-{high}; low takes " + number},
      {network.endpoint, "a>:1-2/bgp!", "<{host}>:{ports}/{protocol}!"},
      {network.endpoint, "<a>:1-2/bgp", "<{host}>:{ports}/{protocol}!"},
      {network.endpoint, "<a>:1-2/bgp!!", "<{host}>:{ports}/{protocol}!"},
      {network.endpoint, "<a>:>:1-2/bgp!", "<{host}>:{ports}/{protocol}!; ports takes {low}-{high}"},
      {network.endpoint, "<a>:1-2/x!", "<{host}>:{ports}/{protocol}!; protocol takes 'connected', 'bgp', 'it's'"},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(errorOf([&] { gnmi(row.type, row.text); }),
              std::string(row.type.name()) + ": '" + row.text + "' does not fit: " + row.fits);
  }
}

TEST(Text, TypesThatAreNotReadFromTextSaySo) {
  Network const network;
  EXPECT_EQ(errorOf([&] { literal(network.routeKey, "x"); }),
            "Network::RouteKey: 'x' does not fit: it is built from its attributes, not from text");
  EXPECT_EQ(errorOf([&] { gnmi(network.routeKey, ""); }),
            "Network::RouteKey: '' does not fit: it is built from its attributes, not from text");
  EXPECT_EQ(errorOf([&] { gnmi(network.vrf, "x"); }), "Network::Vrf: 'x' does not fit: an entity has no values");
  EXPECT_EQ(errorOf([&] { literal({}, "x"); }), "An empty type has no values");
  EXPECT_EQ(errorOf([&] { gnmi({}, "x"); }), "An empty type has no values");
}

/** Takes texts that begin with "=", which is left out of the canonical text; and those of digits without a change. */
class Marked final : public Model::TextRule {
 public:
  bool canonical(std::string_view& text, std::string& buffer) const override {
    EXPECT_TRUE(buffer.empty());
    if (text.starts_with('=')) {
      buffer = text.substr(1);
      text = buffer;
      return true;
    }
    return !text.empty() && text.find_first_not_of("0123456789") == std::string_view::npos;
  }
  std::string expectation() const override { return "a marked text"; }
  std::string hint(std::string_view text) const override { return text == "slow" ? "; that was slow" : ""; }
};

TEST(Text, ARuleIsAskedBeforeTheKind) {
  Network network;
  auto const rule = std::make_shared<Marked>();
  auto const typeOf = [&](Kind kind) {
    std::string const name = "Marked" + std::string(Model::kindName(kind));
    Zyn::ZynType const found = network.module.find(name);
    return found.empty() ? network.module.scalar(name, kind, rule) : found;
  };
  struct Row {
    Kind kind;
    std::string literal;
    std::string prints;
  };
  std::vector<Row> const accepted = {
      {Kind::U8, "=7", "7"},           {Kind::U8, "7", "7"},
      {Kind::S8, "=-7", "-7"},         {Kind::Bool, "=true", "true"},
      {Kind::Bytes, "=AA==", "AA=="},  {Kind::String, "\"=red\"", "\"red\""},
      {Kind::String, "\"=\"", "\"\""}, {Kind::IpAddress, "=::0", "::"},
  };
  for (Row const& row : accepted) {
    EXPECT_EQ(Model::print(*literal(typeOf(row.kind), row.literal)), row.prints) << row.literal;
  }
  struct Refused {
    Kind kind;
    std::string literal;
    std::string fits;
  };
  std::vector<Refused> const refused = {
      {Kind::S8, "-7", "a marked text"},
      {Kind::U8, "=256", "a marked text"},
      {Kind::U8, "256", "a marked text"},
      {Kind::U8, "==7", "a marked text"},
      {Kind::Bool, "true", "a marked text"},
      {Kind::Bool, "slow", "a marked text; that was slow"},
      {Kind::String, "=red", "a marked text, in double quotes"},
  };
  for (Refused const& row : refused) {
    Zyn::ZynType const type = typeOf(row.kind);
    EXPECT_EQ(errorOf([&] { literal(type, row.literal); }),
              std::string(type.name()) + ": '" + row.literal + "' does not fit: " + row.fits);
  }
  // A string that has its quotes is not told to have them, and the rule is asked about the text between them.
  EXPECT_EQ(errorOf([&] { literal(typeOf(Kind::String), "\"red\""); }),
            "Network::MarkedString: 'red' does not fit: a marked text");
  EXPECT_EQ(errorOf([&] { literal(typeOf(Kind::String), "\"slow\""); }),
            "Network::MarkedString: 'slow' does not fit: a marked text; that was slow");
  EXPECT_EQ(Model::print(*gnmi(typeOf(Kind::String), "=red")), "\"red\"");
  EXPECT_EQ(errorOf([&] { gnmi(typeOf(Kind::String), "red"); }),
            "Network::MarkedString: 'red' does not fit: a marked text");
  EXPECT_EQ(Model::textRule(typeOf(Kind::U8)), rule.get());
  EXPECT_EQ(Model::textRule(Model::core(Kind::U8)), nullptr);
}

TEST(Enumeration, TakesWhatItsRuleMakesOfAText) {
  Network network;
  std::vector<Model::Enumerator> const enumerators = {{"true", 0}, {"red", 1}};
  Zyn::ZynType const type = network.module.enumeration("Marked", enumerators, std::make_shared<Marked>());
  EXPECT_EQ(Model::print(*gnmi(type, "=red")), "'red'");
  EXPECT_EQ(Model::print(*literal(type, "'=red'")), "'red'");
  EXPECT_EQ(errorOf([&] { gnmi(type, "red"); }), "Network::Marked: 'red' does not fit: a marked text");
  EXPECT_EQ(errorOf([&] { gnmi(type, "=blue"); }), "Network::Marked: '=blue' does not fit: a marked text");
}

TEST(Text, ADefaultValueGoesByTheRuleToo) {
  Network network;
  auto const rule = std::make_shared<Marked>();
  EXPECT_EQ(
      Model::print(*network.module.scalar("Number", Kind::U8, rule).operator Zyn::ZynType().genericIf(nullptr, false)),
      "0");
  Zyn::ZynType const boolean = network.module.scalar("Boolean", Kind::Bool, rule);
  EXPECT_EQ(errorOf([&] { boolean.genericIf(nullptr, false); }),
            "Network::Boolean: it has no default value: a marked text");
}

TEST(Text, MarksDoNotChangeWhatIsRead) {
  Network network;
  Zyn::ZynType const odd = network.module.scalar("Odd", Kind::U8)
                               .mark(Model::Mark::Enum)
                               .mark(Model::Mark::GnmiString)
                               .mark(Model::Mark::Union)
                               .mark(Model::Mark::Value, false);
  EXPECT_EQ(Model::print(*literal(odd, "7")), "7");
  EXPECT_EQ(Model::print(*gnmi(odd, "7")), "7");
  EXPECT_EQ(errorOf([&] { literal(odd, "'7'"); }), "Network::Odd: ''7'' does not fit: a decimal number from 0 to 255");
}

}  // namespace
}  // namespace ModelTest
