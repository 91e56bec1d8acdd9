// What YANG modules are as types: names and shapes, what each kind of key takes, and what a module that does not load
// says.
#include <set>
#include <utility>

#include "tests/support/PagesRead.h"
#include "tests/support/TypeNames.h"
#include "tests/yang/Loaded.h"

namespace YangTest {
namespace {

using namespace std::string_literals;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

std::string const modules = YANG_MODULES "/modules";
std::string const bad = YANG_MODULES "/bad";

Yang::Loaded const& shapes() {
  static Yang::Loaded const all = loaded({modules}, {"shape", "more"});
  return all;
}

TEST(Shape, TypesAreNamedByTheirSchemaPath) {
  struct Row {
    std::vector<std::string_view> way;
    std::string name;
  };
  std::vector<Row> const rows = {
      {{"shape:top"}, "Yang::/shape:top"},
      {{"shape:top", "two", "inner"}, "Yang::/shape:top/two/inner"},
      {{"shape:top", "dotted.name"}, "Yang::/shape:top/dotted.name"},
      {{"shape:top", "extra", "deep"}, "Yang::/shape:top/more:extra/deep"},
      {{"shape:top", "more:one"}, "Yang::/shape:top/more:one"},
      {{"more:top", "own"}, "Yang::/more:top/own"},
      {{"part", "counted"}, "Yang::/shape:part/counted"},
      {{"part", "counted", "n"}, "Yang::shape:count"},
      {{"shape:top", "more:one", "id"}, "Yang::kinds:vlan"},
      {{"shape:top", "shape:one", "size"}, "Yang::uint8"},
      {{"shape:top", "tags"}, "Yang::/shape:top/tags"},
      {{"title"}, "Zyn::String"},
  };
  for (Row const& row : rows) {
    Zyn::ZynType const type = attrAt(shapes().root, row.way).attrType();
    EXPECT_STREQ(type.name(), row.name.c_str());
    EXPECT_EQ(shapes().schema.find(row.name), type) << row.name;
  }
  EXPECT_STREQ(shapes().root.name(), "Yang::/");
}

TEST(Shape, HoldsNeitherChoicesNorRpcsNorNotifications) {
  EXPECT_THAT(attrNames(shapes().root), testing::UnorderedElementsAre("shape:top", "more:top", "title", "part"));
  EXPECT_THAT(attrNames(attrAt(shapes().root, {"shape:top"}).attrType()),
              ElementsAre("shape:one", "two", "dotted.name", "unkeyed", "tags", "road", "rail", "none", "other",
                          "more:one", "extra"));
}

TEST(Shape, OneKeyIsTheLeaf) {
  Zyn::ZynAttr const list = attrAt(shapes().root, {"shape:top", "shape:one"});
  EXPECT_TRUE(list.isKeyed());
  EXPECT_STREQ(list.internalKeyName(), "name");
  EXPECT_EQ(list.keyType(), list.attrType().attr("name").attrType());
  EXPECT_THAT(attrNames(list.attrType()), ElementsAre("name", "size"));
}

TEST(Shape, SeveralKeysAreAValueInTheOrderOfTheKeyStatement) {
  Zyn::ZynAttr const inner = attrAt(shapes().root, {"shape:top", "two", "inner"});
  EXPECT_STREQ(inner.internalKeyName(), "KEY");
  EXPECT_THAT(argNames(inner.keyType()), ElementsAre("b", "a"));
  EXPECT_EQ(inner.attrType().attr("KEY").attrType(), inner.keyType());
  EXPECT_THAT(attrNames(inner.attrType()), ElementsAre("b", "a", "c", "KEY"));
}

TEST(Shape, NamesThatTwoModulesUseAreQualifiedButForKeys) {
  Zyn::ZynAttr const two = attrAt(shapes().root, {"shape:top", "two"});
  EXPECT_THAT(attrNames(two.attrType()),
              ElementsAre("size", "name", "KEY", "shape:note", "inner", "more:name", "more:note", "KEY-"));
  EXPECT_STREQ(two.internalKeyName(), "KEY-") << "a leaf has the name KEY";
  EXPECT_THAT(argNames(two.keyType()), ElementsAre("size", "name"));
}

TEST(Shape, WhatHoldsTheWholeKeyHasANameOfItsOwn) {
  // In `two`, both modules have a KEY, so that no attribute has that name; but the container's type has it.
  Yang::Loaded const odd = loaded({modules}, {"odd-more"});
  Zyn::ZynAttr const two = attrAt(odd.root, {"top", "two"});
  EXPECT_STREQ(two.internalKeyName(), "KEY");
  EXPECT_STREQ(two.keyType().name(), "Yang::/odd:top/two/KEY-");
  EXPECT_EQ(odd.moduleOf(two.attrType().attr("odd-more:KEY")), "odd-more");
  EXPECT_STREQ(attrAt(odd.root, {"top", "two", "odd:KEY"}).attrType().name(), "Yang::/odd:top/two/KEY");
  EXPECT_STREQ(attrAt(odd.root, {"top", "key-is-key"}).internalKeyName(), "KEY--");
}

TEST(Shape, AugmentsOfAugmentsAndDeviationsAreIn) {
  Yang::Loaded const odd = loaded({modules}, {"odd-more", "odd"});
  Zyn::ZynAttr const more = attrAt(odd.root, {"top", "two", "deeper", "more"});
  EXPECT_STREQ(more.attrType().name(), "Yang::/odd:top/two/odd-more:deeper/more");
  EXPECT_STREQ(more.keyType().name(), "Yang::odd:number");
  EXPECT_THAT(attrNames(attrAt(odd.root, {"top", "changed"}).attrType()), ElementsAre("id"));
  EXPECT_STREQ(attrAt(odd.root, {"top", "tail"}).keyType().name(), "Yang::uint8");
}

TEST(Shape, OtherListsArePlain) {
  for (std::string_view const name : {"unkeyed", "tags"}) {
    Zyn::ZynAttr const list = attrAt(shapes().root, {"shape:top", name});
    EXPECT_TRUE(Model::isList(list)) << name;
    EXPECT_FALSE(list.isKeyed()) << name;
  }
}

TEST(Shape, AttributesKnowTheirModule) {
  Yang::Loaded const& all = shapes();
  EXPECT_EQ(all.moduleOf(attrAt(all.root, {"shape:top"})), "shape");
  EXPECT_EQ(all.moduleOf(attrAt(all.root, {"more:top"})), "more");
  EXPECT_EQ(all.moduleOf(attrAt(all.root, {"part"})), "shape") << "a submodule's node is its module's";
  EXPECT_EQ(all.moduleOf(attrAt(all.root, {"shape:top", "extra"})), "more");
  EXPECT_EQ(all.moduleOf(attrAt(all.root, {"shape:top", "extra", "deep", "x"})), "more");
  EXPECT_EQ(all.moduleOf(attrAt(all.root, {"shape:top", "two", "KEY-"})), "shape");
  EXPECT_EQ(all.moduleOf(attrAt(all.root, {"shape:top", "two"}).keyType().attr("size")), "");
  EXPECT_EQ(all.moduleOf({}), "");
}

TEST(Shape, ATypeHasTheNameOfTheTypedefThatMakesIt) {
  Yang::Loaded const odd = loaded({modules}, {"odd"});
  EXPECT_STREQ(attrAt(odd.root, {"top", "two", "a"}).attrType().name(), "Yang::odd:number");
  EXPECT_STREQ(attrAt(odd.root, {"top", "two", "b"}).attrType().name(), "Yang::odd:number") << "of an alias";
  EXPECT_STREQ(attrAt(odd.root, {"top", "two", "c"}).attrType().name(), "Yang::odd:narrow");
}

TEST(Shape, ATypeWithoutATypedefHasTheNameOfItsLeaf) {
  Yang::Loaded const odd = loaded({modules}, {"odd"});
  Zyn::ZynType const early = attrAt(odd.root, {"top", "early"}).keyType();
  EXPECT_STREQ(early.attr("string").attrType().name(), "Yang::/odd:top/late/id") << "also where a union comes first";
}

TEST(Shape, ATypedefIsOneType) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  auto const keyOf = [&](std::string_view list) { return attrAt(kinds.root, {"kinds", list}).keyType(); };
  EXPECT_EQ(keyOf("leafref"), keyOf("label")) << "references are of the type of their target";
  EXPECT_EQ(keyOf("leafref-chain"), keyOf("label"));
  EXPECT_STREQ(keyOf("label").name(), "Yang::kinds:label");
  EXPECT_STREQ(keyOf("ip-address").name(), "Yang::ietf-inet-types:ip-address");
  EXPECT_STREQ(keyOf("uint16-again").name(), "Yang::/kinds:kinds/uint16-again/id");
  EXPECT_EQ(keyOf("string"), Model::core(Model::Kind::String));
  EXPECT_EQ(keyOf("boolean"), Model::core(Model::Kind::Bool));
  EXPECT_THAT(attrNames(keyOf("union")),
              ElementsAre("uint8", "enumeration", "ipv4-address", "label", "identityref", "string", "uint8-2"));
}

/** `fits`: the canonical text; nothing for a text that is refused. */
struct Text {
  char const* list;
  std::string text;
  std::optional<std::string> fits;
};

std::optional<std::string> const no;

std::vector<Text> const texts = {
    // Integers: blanks, a sign, zeros; the widths and the ranges.
    {"int8", "-128", "-128"},
    {"int8", "127", "127"},
    {"int8", "-129", no},
    {"int8", "128", no},
    {"int8", " \t\n5\v\f\r", "5"},
    {"int8", "+5", "5"},
    {"int8", "010", "10"},
    {"int8", "-007", "-7"},
    {"int8", "-0", "0"},
    {"int8", "", no},
    {"int8", " ", no},
    {"int8", "-", no},
    {"int8", "+", no},
    {"int8", "+-5", no},
    {"int8", "- 5", no},
    {"int8", "5 5", no},
    {"int8", "0x5", no},
    {"int8", "5.0", no},
    {"int8", "5\0"s, no},
    {"int8", std::string(1000, '0') + "7", "7"},
    {"int8", std::string(1000, '7'), no},
    {"int16", "-301", no},
    {"int16", "-300", "-300"},
    {"int16", "-299", no},
    {"int16", "-3", no},
    {"int16", "-2", "-2"},
    {"int16", "2", "2"},
    {"int16", "3", no},
    {"int16", "300", "300"},
    {"int16", "32767", "32767"},
    {"int16", "32768", no},
    {"int32", "-2147483648", "-2147483648"},
    {"int32", "-2147483649", no},
    {"int32", "2147483647", "2147483647"},
    {"int32", "2147483648", no},
    {"int64", "-9223372036854775808", "-9223372036854775808"},
    {"int64", "-9223372036854775809", no},
    {"int64", "-5", "-5"},
    {"int64", "-4", no},
    {"int64", "0", "0"},
    {"int64", "1", no},
    {"int64", "18446744073709551616", no},
    {"int64", "9223372036854775808", no},
    {"uint8", "255", "255"},
    {"uint8", "256", no},
    {"uint8", "-0", "0"},
    {"uint8", "-1", no},
    {"uint16", "0", no},
    {"uint16", "1", "1"},
    {"uint16", "4094", "4094"},
    {"uint16", "4095", no},
    {"uint16-again", "9", no},
    {"uint16-again", "10", "10"},
    {"uint16-again", "20", "20"},
    {"uint16-again", "21", no},
    {"uint32", "4294967295", "4294967295"},
    {"uint32", "4294967296", no},
    {"uint64", "18446744073709551615", "18446744073709551615"},
    {"uint64", "18446744073709551616", no},
    {"uint64", "4", no},
    {"uint64", "5", "5"},
    {"boolean", "true", "true"},
    {"boolean", "false", "false"},
    {"boolean", " true", no},
    {"boolean", "1", no},
    {"decimal64", "1.50", "1.5"},
    {"decimal64", " +01.5 ", "1.5"},
    {"decimal64", "-0", "0.0"},
    {"decimal64", "10", "10.0"},
    {"decimal64", "1.51", no},
    {"decimal64", "1.555", no},
    {"decimal64", ".5", no},
    {"decimal64", "1e1", no},
    // Strings: characters are counted, not bytes.
    {"string", "", ""},
    {"string", "a\0\xFF\""s, "a\0\xFF\""s},
    {"length", "a", no},
    {"length", "ab", "ab"},
    {"length", "abcd", "abcd"},
    {"length", "abcde", no},
    {"length", "abcdef", "abcdef"},
    {"length", "\u00e9\u00e9", "\u00e9\u00e9"},
    {"length", "\u00e9", no},
    {"length", "a\0b"s, no},
    {"label", "a-b", "a-b"},
    {"label", "a-", no},
    {"label", "A", no},
    {"label", "abcdefgh", "abcdefgh"},
    {"label", "abcdefghi", no},
    {"label", "", no},
    {"label", "ab\n", no},
    {"label", "a\0"s, no},
    {"label-again", "abc", "abc"},
    {"label-again", "abcd", no},
    {"label-again", "a--", no},
    {"inverted", "xmlish", no},
    {"inverted", "yaml", "yaml"},
    {"inverted", "\xFF", no},
    {"inverted", "y\0"s, no},
    {"letters", "\u00e9\u00df", "\u00e9\u00df"},
    {"letters", "a1", no},
    {"letters", "\xC3", no},
    {"letters", "\xC0\x80", no},
    // What libyang makes canonical.
    {"ip-address", "10.0.0.1", "10.0.0.1"},
    {"ip-address", "FE80::1%eth0", "fe80::1%eth0"},
    {"ip-address", "10.0.0", no},
    {"ip-address", "10.0.0.1\0"s, no},
    {"ip-prefix", "10.1.2.3/8", "10.0.0.0/8"},
    {"ip-prefix", "2001:DB8::1/32", "2001:db8::/32"},
    {"ip-prefix", "10.0.0.0/33", no},
    {"ipv4-address", "10.0.0.1%eth0", "10.0.0.1%eth0"},
    {"ipv4-address", "::1", no},
    {"ipv4-address", "0.0.0.0", "0.0.0.0"},
    {"ipv4-address", "255.255.255.255", "255.255.255.255"},
    {"ipv4-address", "10.0.0.256", no},
    {"ipv4-address", "10.0.0.01", no},
    {"ipv4-address", "10.0.0.1.", no},
    {"ipv4-address", "10.0.0.1/32", no},
    {"ipv4-address", "10.0.0,1", no},
    {"ipv4-address", "1000.0.0.1", no},
    {"ipv4-prefix", "0.0.0.0/0", "0.0.0.0/0"},
    {"ipv4-prefix", "128.0.0.0/0", "0.0.0.0/0"},
    {"ipv4-prefix", "10.0.0.2/31", "10.0.0.2/31"},
    {"ipv4-prefix", "10.0.0.3/31", "10.0.0.2/31"},
    {"ipv4-prefix", "10.0.0.3/32", "10.0.0.3/32"},
    {"ipv4-prefix", "10.0.0.0/33", no},
    {"ipv4-prefix", "10.0.0.0/08", no},
    {"ipv4-prefix", "10.0.0.0/", no},
    {"ipv4-prefix", "10.0.0.0/8 ", no},
    {"ipv4-prefix", "10.0.0.0", no},
    {"ten", "10.0.0.1", "10.0.0.1"},
    {"ten", "11.0.0.1", no},
    {"ten-prefix", "10.0.0.0/8", "10.0.0.0/8"},
    {"ten-prefix", "10.0.0.0/16", no},
    {"ipv6-no-zone", "0:0::1", "::1"},
    {"ipv6-no-zone", "::1%eth0", no},
    {"mac-address", "02:00:5e:10:00:ff", "02:00:5e:10:00:ff"},
    {"mac-address", "02:00:5e:10:00", no},
    {"date", "2020-01-01T00:00:00Z", "2020-01-01T00:00:00+00:00"},
    {"date", "2020-01-01", no},
    {"host", "example.com", "example.com"},
    {"host", "::0", "::"},
    {"host", "-", no},
    {"enumeration", "half open", "half open"},
    {"enumeration", "down", "down"},
    {"enumeration", "half", no},
    {"enumeration", "seldom", no},
    {"enumeration", "", no},
    // Identities: of the leaf's module, the only one of its name, or with a module in front.
    {"identity", "animals:cow", "animals:cow"},
    {"identity", "cow", "animals:cow"},
    {"identity", "bee", "kinds:bee"},
    {"identity", ":bee", "kinds:bee"},
    {"identity", ":cow", no},
    {"identity", "ant", "kinds:ant"},
    {"identity", "animals:ant", "animals:ant"},
    {"identity", "beetle", "animals:beetle"},
    {"identity", "animal", no},
    {"identity", "animals:animal", no},
    {"identity", "dog", no},
    {"identity", "a:cow", no},
    {"identity", " cow", no},
    {"identity", "nowhere:cow", no},
    {"identity", "animals:", no},
    {"identity", "", no},
    // Unions: the first alternative that takes the text.
    {"union", "7", "7"},
    {"union", "+7", "7"},
    {"union", "any", "any"},
    {"union", "10.0.0.1", "10.0.0.1"},
    {"union", "abc", "abc"},
    {"union", "animals:cow", "animals:cow"},
    {"union", "AB", "AB"},
    {"union", "ABCDE", no},
    {"union", "300", "300"},
    {"union", "30000", no},
    {"bare-first", "cow", "cow"},
    {"bare-first", "bee", "kinds:bee"},
    {"bare-first", "animals:cow", "animals:cow"},
    {"bare-last", "cow", "animals:cow"},
    {"bare-last", "7", "7"},
    {"bare-last", "dog", no},
    {"leafref", "abc", "abc"},
    {"leafref", "ABC", no},
    {"leafref-chain", "abc", "abc"},
    {"leafref-chain", "ABC", no},
    {"bits", "run  read", "read run"},
    {"bits", "", ""},
    {"bits", "read read", no},
    {"bits", "walk", no},
    {"binary", "QUI=", "QUI="},
    {"binary", "QUJD", "QUJD"},
    {"binary", "", ""},
    {"binary", "QQ==", no},
    {"binary", "QUJDRA==", no},
    {"binary", "QUI", no},
    {"instance", "/kinds:kinds/int8[id='5']/id", "/kinds:kinds/int8[id='5']/id"},
    {"instance", "/nowhere:x", no},
    {"instance", "", no},
};

TEST(Text, IsTakenAsLibyangTakesIt) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  for (Text const& row : texts) {
    Zyn::ZynAttr const list = attrAt(kinds.root, {"kinds", row.list});
    ASSERT_TRUE(list.isKeyed()) << row.list;
    auto const value = read(list.keyType(), row.text);
    EXPECT_EQ(value ? std::optional(canonical(value)) : std::nullopt, row.fits)
        << row.list << ": " << testing::PrintToString(row.text);
  }
}

TEST(Text, ThatDoesNotFitIsToldWhatWould) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  struct Row {
    char const* list;
    std::string fits;
  };
  std::vector<Row> const rows = {
      {"int8", "Yang::int8: '/' does not fit: a decimal number from -128 to 127"},
      {"int16", "Yang::/kinds:kinds/int16/id: '/' does not fit: a decimal number from -300, -2 to 2, 300 to 32767"},
      {"uint64", "Yang::/kinds:kinds/uint64/id: '/' does not fit: a decimal number from 0, 5 to 18446744073709551615"},
      {"boolean", "Zyn::Bool: '/' does not fit: true or false"},
      {"decimal64",
       "Yang::/kinds:kinds/decimal64/id: '/' does not fit: a decimal number with at most 2 digits after the point, "
       "from "
       "-1.5 to 1.5, 10.0"},
      {"length", "Yang::/kinds:kinds/length/id: '/' does not fit: a text of 2 to 4, 6 characters"},
      {"label", "Yang::kinds:label: '/' does not fit: a text of 1 to 8 characters like '[a-z]+(-[a-z]+)*'"},
      {"ipv4-address", "Yang::ietf-inet-types:ipv4-address: '/' does not fit: an ipv4-address"},
      {"enumeration", "Yang::/kinds:kinds/enumeration/id: '/' does not fit: 'down', 'up', 'half open'"},
      {"identity",
       "Yang::animals:animal: '/' does not fit: an identity derived from animals:animal: animals:ant, animals:beetle, "
       "animals:cow, kinds:ant, kinds:bee"},
      {"union",
       "Yang::/kinds:kinds/union/id: '/' does not fit: uint8: a decimal number from 0 to 255; enumeration: 'any', "
       "'none'; "
       "ipv4-address: an ipv4-address; label: a text of 1 to 8 characters like '[a-z]+(-[a-z]+)*'; identityref: an "
       "identity derived from animals:animal: animals:ant, animals:beetle, animals:cow, kinds:ant, kinds:bee; string: "
       "a "
       "text of 2 to 4, 6 characters; uint8-2: a decimal number from 0"},
      {"bits", "Yang::/kinds:kinds/bits/id: '/' does not fit: none or some of read, write, run, with blanks between"},
      {"binary", "Yang::/kinds:kinds/binary/id: '/' does not fit: base64, padded with '=', of 0, 2 to 3 bytes"},
      {"instance",
       "Yang::/kinds:kinds/instance/id: '/' does not fit: a path like /module:container/list[key='value']/leaf"},
  };
  for (Row const& row : rows) {
    std::string error;
    EXPECT_FALSE(read(attrAt(kinds.root, {"kinds", row.list}).keyType(), "/", &error)) << row.list;
    EXPECT_EQ(error, row.fits);
  }
}

TEST(Text, OfALengthIsToldInWords) {
  Yang::Loaded const odd = loaded({modules}, {"odd"});
  for (auto const& [leaf, expectation] : {std::pair("some", "a text of at least 1 character"),
                                          {"one", "a text of 1 character"},
                                          {"several", "a text of 0, 2, at least 4 characters"},
                                          {"any-length", "a text of at least 0 characters"},
                                          {"many",
                                           "a decimal number from 0, 2, 4, 6, 8, 10, 12, 14, 16, 18, 20, 22 and 1 "
                                           "more"}}) {
    EXPECT_EQ(Model::textRule(attrAt(odd.root, {"top", leaf}).attrType())->expectation(), expectation);
  }
}

TEST(Text, OfAnIdentityOrEnumeratorLeadsToTheNearest) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  struct Row {
    char const* list;
    char const* text;
    char const* ending;
  };
  std::vector<Row> const rows = {
      {"identity", "CWO", "; did you mean 'animals:cow'?"},
      {"identity", "COW", "; did you mean 'animals:cow'?"},
      {"identity", "animals:beetel", "; did you mean 'animals:beetle'?"},
      {"identity", "animal:beetel", "; did you mean 'animals:beetle'?"},
      {"identity", "elephant", "kinds:ant, kinds:bee"},
      {"enumeration", "Half Open", "; did you mean 'half open'?"},
      {"bare-last", "beetel", "; did you mean 'animals:beetle'?"},
  };
  for (Row const& row : rows) {
    std::string error;
    EXPECT_FALSE(read(attrAt(kinds.root, {"kinds", row.list}).keyType(), row.text, &error)) << row.text;
    EXPECT_THAT(error, testing::EndsWith(row.ending));
  }
}

TEST(Text, OfAnIdentityThatNeedsAFeatureSaysSo) {
  Yang::Loaded const odd = loaded({modules}, {"odd"});
  std::string error;
  EXPECT_FALSE(read(attrAt(odd.root, {"top", "both"}).keyType(), "rarely", &error));
  EXPECT_THAT(error, testing::EndsWith("; 'odd:rarely' needs a feature that is off"));
  Yang::Loaded const all = loaded({modules}, {"odd"}, {.allFeatures = true});
  EXPECT_TRUE(read(attrAt(all.root, {"top", "both"}).keyType(), "rarely"));
}

TEST(Shape, IdentityrefsWithTheSameBasesAreOneTypeThatKnowsItsIdentities) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  Zyn::ZynType const type = attrAt(kinds.root, {"kinds", "identity"}).keyType();
  EXPECT_STREQ(type.name(), "Yang::animals:animal");
  EXPECT_EQ(Model::kindOf(type), Model::Kind::Enum);
  std::vector<std::string> names;
  for (Model::Enumerator const& identity : Model::enumerators(type)) {
    names.push_back(identity.name);
  }
  EXPECT_THAT(names, ElementsAre("animals:ant", "animals:beetle", "animals:cow", "kinds:ant", "kinds:bee"));
  EXPECT_EQ(attrAt(kinds.root, {"kinds", "bare-last"}).keyType().attr("identityref").attrType(), type);
  EXPECT_STREQ(attrAt(loaded({modules}, {"odd"}).root, {"top", "both"}).keyType().name(),
               "Yang::odd:left or odd:right");
}

TEST(Shape, PrefixesAndAddressesWithoutAZoneAreOfTheirKinds) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  struct Row {
    char const* list;
    Model::Kind kind;
  };
  for (auto const& [list, kind] : {Row{"ipv4-prefix", Model::Kind::IpPrefix},
                                   {"ten-prefix", Model::Kind::IpPrefix},
                                   {"ipv6-no-zone", Model::Kind::IpAddress},
                                   {"ipv4-address", Model::Kind::String},
                                   {"mac-address", Model::Kind::String}}) {
    EXPECT_EQ(Model::kindOf(attrAt(kinds.root, {"kinds", list}).keyType()), kind) << list;
  }
  Zyn::ZynType const prefix = attrAt(kinds.root, {"kinds", "ip-prefix"}).keyType();
  EXPECT_EQ(Model::kindOf(prefix.attr("ipv6-prefix").attrType()), Model::Kind::IpPrefix);
  auto const before = [](Zyn::ZynType type, char const* a, char const* b) {
    return Model::compare(*read(type, a), *read(type, b)) < 0;
  };
  EXPECT_TRUE(before(prefix, "9.0.0.0/8", "10.0.0.0/8")) << "by number";
  EXPECT_EQ(Model::print(*read(prefix, "2001:DB8::1/32")),
            "Yang::ietf-inet-types:ip-prefix(ipv6-prefix=2001:db8::/32)");
}

TEST(Text, OfAnIdentityMayBeDerivedFromAnyOfSeveralBases) {
  Yang::Loaded const odd = loaded({modules}, {"odd"});
  Zyn::ZynType const both = attrAt(odd.root, {"top", "both"}).keyType();
  for (char const* const name : {"only-left", "only-right", "from-both"}) {
    EXPECT_EQ(canonical(read(both, name)), "odd:"s + name);
  }
  std::string error;
  EXPECT_FALSE(read(both, "left", &error));
  EXPECT_THAT(error,
              testing::EndsWith(
                  "an identity derived from odd:left or odd:right: odd:from-both, odd:only-left, odd:only-right"));
}

TEST(Text, OfAnIdentityThatNothingIsDerivedFromIsNone) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  std::string error;
  EXPECT_FALSE(read(attrAt(kinds.root, {"kinds", "lonely"}).attrType(), "cow", &error));
  EXPECT_EQ(error, "Yang::animals:beetle: 'cow' does not fit: an identity derived from animals:beetle: there is none");
}

TEST(Text, OnWhichAPatternIsSlowIsRefused) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  Zyn::ZynType const slow = attrAt(kinds.root, {"kinds", "slow"}).keyType();
  EXPECT_TRUE(read(slow, "ababc"));
  std::string error;
  EXPECT_FALSE(read(slow, std::string(60, 'a') + "cd", &error));
  EXPECT_THAT(error, HasSubstr("does not fit: a text like '((a|b|ab)*)*c'; whether it is like '((a|b|ab)*)*c' takes "
                               "more than 1000000 steps or 64 MiB to tell"));
  EXPECT_TRUE(read(slow, "ababc")) << "and the next one is matched as before";
}

TEST(Text, OnWhichAPatternIsSlowMayBeLong) {
  Yang::Loaded const odd = loaded({modules}, {"odd"});
  auto const keyOf = [&](std::string_view list) { return attrAt(odd.root, {"top", list}).keyType(); };
  EXPECT_TRUE(read(keyOf("steps"), std::string(10000, 'a')));
  std::string error;
  EXPECT_FALSE(read(keyOf("steps"), std::string(200000, 'a'), &error));
  EXPECT_THAT(error, HasSubstr("takes more than 5000 steps"));
  EXPECT_FALSE(read(keyOf("tail"), std::string(std::size_t{16} << 20, 'a'), &error));
  EXPECT_THAT(error, HasSubstr("steps"));
  // The length decides, and no pattern is asked.
  EXPECT_FALSE(read(keyOf("short"), std::string(60, 'a') + "cd", &error));
  EXPECT_THAT(error, testing::EndsWith("a text of 1 to 8 characters like '((a|b|ab)*)*c'"));
}

TEST(Text, ThatIsAnExpressionHasALimit) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  Zyn::ZynType const instance = attrAt(kinds.root, {"kinds", "instance"}).keyType();
  std::string const start = "/kinds:kinds/string[id='";
  std::string const end = "']";
  std::string const longest = start + std::string(16384 - start.size() - end.size(), 'a') + end;
  EXPECT_TRUE(read(instance, longest));
  std::string error;
  EXPECT_FALSE(read(instance, "/kinds:kinds/string[id='a" + longest.substr(start.size()), &error));
  EXPECT_THAT(error, HasSubstr("; more than 16384 bytes are too many"));
  EXPECT_FALSE(read(instance, std::string(std::size_t{64} << 20, '-'), &error));
}

TEST(Text, OfManyBytesIsReadAFewTimes) {
  Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"});
  Velko::String const text(std::string(std::size_t{1} << 20, 'a'));
  for (std::string_view const list : {"int8", "label", "letters", "ip-address", "identity", "bits", "binary", "slow"}) {
    KeyElemNode node(attrAt(kinds.root, {"kinds", list}).keyType(), false);
    Support::PagesRead const pages(text.view());
    EXPECT_EQ(node.insertPathSuffix({}, {}, text).has_value(), list == "letters") << list;
    // Checks, copies and the alternatives of a union look once each.
    EXPECT_LE(pages.count(), 10 * pages.pages()) << list;
  }
}

TEST(Key, IsDecodedByTheLeavesNamesAndByTheWholeKeys) {
  Zyn::ZynAttr const two = attrAt(shapes().root, {"shape:top", "two"});
  for (auto const& [size, name] : {std::pair("size", "name"), {"KEY-__size", "KEY-__name"}, {"size", "KEY-__name"}}) {
    ZynKeyDecoder const decoder(two, false);
    KeyElemNode root(two.keyType(), false);
    EXPECT_TRUE(decoder.processKeyPath(root, size, " 07"));
    EXPECT_TRUE(decoder.processKeyPath(root, name, "x"));
    ASSERT_TRUE(root.instantiate());
    EXPECT_EQ(Model::print(*root.value), "Yang::/shape:top/two/KEY-(size=7, name=\"x\")");
  }
}

TEST(Schema, OutlivesWhatItWasLoadedBy) {
  Model::Schema const schema = std::move(loaded({modules}, {"kinds", "animals"}).schema);
  Zyn::ZynType const label = schema.find("kinds:label");
  EXPECT_TRUE(read(label, "a-b"));
  EXPECT_FALSE(read(label, "a-"));
  EXPECT_TRUE(read(schema.find("ietf-inet-types:ip-prefix"), "10.0.0.0/8"));
}

TEST(Features, AreOffUnlessAskedFor) {
  struct Row {
    Yang::Options features;
    bool isOn;
  };
  std::vector<Row> const rows = {{{}, false},
                                 {{.allFeatures = true}, true},
                                 {{.features = {{"kinds", {"rare"}}}}, true},
                                 {{.features = {{"kinds", {}}}}, false}};
  for (Row const& row : rows) {
    Yang::Loaded const kinds = loaded({modules}, {"kinds", "animals"}, row.features);
    EXPECT_EQ(!attrAt(kinds.root, {"kinds", "rare"}).empty(), row.isOn);
    EXPECT_EQ(read(attrAt(kinds.root, {"kinds", "enumeration"}).keyType(), "seldom") != nullptr, row.isOn);
  }
}

TEST(Load, SaysWhatIsWrong) {
  struct Row {
    std::vector<std::string> folders;
    std::vector<std::string> names;
    Yang::Options features;
    std::vector<std::string> problems;
  };
  std::string const keyword = bad + "/keyword.yang:5: Invalid character sequence \"foo\", expected a keyword.";
  std::vector<Row> const rows = {
      {{bad}, {"keyword"}, {}, {keyword}},
      {{bad}, {"importer"}, {}, {bad + "/importer.yang: what it needs does not load: " + keyword}},
      {{bad},
       {"whole"},
       {},
       {bad + "/whole.yang: what it needs does not load: " + bad +
        "/part.yang:4: Invalid character sequence \"foo\", expected a keyword."}},
      {{bad},
       {"revised@2020-01-01"},
       {},
       {bad + "/revised@2020-01-01.yang:5: Invalid character sequence \"foo\", expected a keyword."}},
      {{bad}, {"no-type"}, {}, {bad + "/no-type.yang: Referenced type \"strng\" not found. (/no-type:l/id)"}},
      {{bad},
       {"no-import"},
       {},
       {bad + "/no-import.yang: no folder has the module 'nowhere'; add the folder that it is in"}},
      {{bad, modules}, {"nowhere"}, {}, {"no folder has a module 'nowhere'"}},
      {{bad, modules}, {"animal"}, {}, {"no folder has a module 'animal'; did you mean 'animals'?"}},
      {{modules, "/no/such/folder", modules + "/kinds.yang"},
       {"kinds"},
       {},
       {"'/no/such/folder' is no folder to look for YANG modules in",
        "'" + modules + "/kinds.yang' is no folder to look for YANG modules in"}},
      {{bad},
       {"underscores"},
       {},
       {"/underscores:c/one: the name of the key 'a__b' holds '__', which stands between the elements of a key path",
        "/underscores:c/two: the name of the key 'c__' holds '__', which stands between the elements of a key path"}},
      {{modules},
       {"kinds"},
       {.features = {{"animals", {"x"}}}},
       {"features of 'animals' are asked for, but not the module"}},
  };
  for (Row const& row : rows) {
    auto const result = Yang::load(row.folders, row.names, row.features);
    ASSERT_FALSE(result);
    EXPECT_EQ(result.error(), row.problems);
  }
}

TEST(Load, TellsWhatLibyangSays) {
  for (std::string const name : {"pattern", "keyword@2020-01-01", "", "..", "no/such"}) {
    auto const result = Yang::load(std::vector{bad}, std::vector{name});
    ASSERT_FALSE(result) << name;
    EXPECT_THAT(result.error(), testing::Not(IsEmpty())) << name;
  }
  EXPECT_FALSE(
      Yang::load(std::vector{modules}, std::vector<std::string>{"kinds"}, {.features = {{"kinds", {"unknown"}}}}));
}

}  // namespace
}  // namespace YangTest
