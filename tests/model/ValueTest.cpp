// Values: made from nothing and from arguments, changed, read, compared, matched.
#include "model/Value.h"

#include <absl/container/flat_hash_map.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <map>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

#include "model/Runtime.h"
#include "tests/model/Network.h"

namespace ModelTest {
namespace {

using Constant = Velko::Ptr<Zyn::GenericIf const>;

TEST(Default, OfEveryKind) {
  Network const network;
  struct Row {
    Zyn::ZynType type;
    std::string_view prints;
    std::string_view json;
  };
  std::vector<Row> const rows = {
      {Model::core(Kind::Bool), "false", "false"},
      {Model::core(Kind::S8), "0", "0"},
      {Model::core(Kind::S64), "0", R"("0")"},
      {Model::core(Kind::U16), "0", "0"},
      {Model::core(Kind::Float), "0", "0.0"},
      {Model::core(Kind::Double), "0", "0.0"},
      {Model::core(Kind::String), R"("")", R"("")"},
      {Model::core(Kind::Bytes), "", R"("")"},
      {Model::core(Kind::Seconds), "0", "0"},
      {Model::core(Kind::Time), "1970-01-01T00:00:00Z", R"("1970-01-01T00:00:00Z")"},
      {Model::core(Kind::IpAddress), "0.0.0.0", R"("0.0.0.0")"},
      {Model::core(Kind::IpPrefix), "0.0.0.0/0", R"("0.0.0.0/0")"},
      {Model::core(Kind::MacAddress), "00:00:00:00:00:00", R"("00:00:00:00:00:00")"},
      {network.protocol, "'connected'", R"("connected")"},
      {network.vlanId, "Network::VlanId()", "null"},
      {network.portName, "Network::PortName()", "{}"},
      {network.routeKey, "Network::RouteKey()", "{}"},
  };
  for (Row const& row : rows) {
    Value const value = initial(row.type);
    EXPECT_EQ(Model::print(*value), row.prints);
    EXPECT_EQ(Model::toJson(*value).dump(), row.json);
    EXPECT_EQ(jsonText(*value), row.json);
    EXPECT_EQ(Model::typeOf(*value), row.type);
  }
}

TEST(Default, IsRefusedWhereThereIsNone) {
  Network const network;
  EXPECT_EQ(errorOf([&] { initial(network.vrf); }), "Network::Vrf: an entity has no values");
  EXPECT_EQ(errorOf([&] { initial({}); }), "An empty type has no values");
  int const data = 0;
  EXPECT_EQ(errorOf([&] { network.routeKey.genericIf(&data, false); }),
            "Network::RouteKey: a default value is made from null data only");
}

TEST(Objects, NumbersOfEverySizeAreKeptWhole) {
  for (std::string_view const number : {"0", "1", "4294967294", "4294967295", "4294967296", "18446744073709551615"}) {
    EXPECT_EQ(Model::print(*literal(Model::core(Kind::U64), number)), number);
  }
  for (std::string_view const number : {"-9223372036854775808", "-1", "4294967295", "9223372036854775807"}) {
    EXPECT_EQ(Model::print(*literal(Model::core(Kind::S64), number)), number);
  }
  EXPECT_EQ(Model::print(*literal(Model::core(Kind::U32), "4294967295")), "4294967295");
}

TEST(Objects, TextsOfEveryLengthAreKeptWhole) {
  // From 2^23 - 1 bytes on the length has a word of its own.
  for (std::size_t const length : {std::size_t{0}, std::size_t{65'536}, (std::size_t{1} << 23U) - 2,
                                   (std::size_t{1} << 23U) - 1, std::size_t{1} << 23U}) {
    std::string text(length, 'x');
    if (length != 0) {
      text.front() = '<';
      text.back() = '>';
    }
    EXPECT_TRUE(Model::as<std::string>(*literal(Model::core(Kind::String), "\"" + text + "\"")) == text) << length;
  }
}

#ifndef __SANITIZE_ADDRESS__
TEST(Objects, AKeyOfThreeFieldsTakesFewBytes) {
  Zyn::ZynType const u32 = Model::core(Kind::U32);
  Network network;
  Zyn::ZynType const type = network.module.value("Key")
                                .attr("vrf", Model::core(Kind::String))
                                .attr("tag", u32)
                                .attr("prefix", Model::core(Kind::IpPrefix))
                                .args({"vrf", "tag", "prefix"});
  constexpr std::size_t count = 100'000;
  std::vector<Value> held;
  held.reserve(count);
  std::size_t const before = Model::slabMemory().used;
  for (std::size_t i = 0; i < count; ++i) {
    held.push_back(build(type, literal(Model::core(Kind::String), "\"customer\""), literal(u32, std::to_string(i)),
                         gnmi(Model::core(Kind::IpPrefix), "10.20.30.0/24")));
  }
  // The key with its hash and three pointers 56, the string 32, the number 24, the prefix 32.
  EXPECT_LE((Model::slabMemory().used - before) / count, 146U);
}
#endif

TEST(Objects, AHashFollowsWhatIsSet) {
  Network const network;
  auto const text = [](std::string_view literalText) { return literal(Model::core(Kind::String), literalText); };
  Zyn::ZynAttr const host = network.endpoint.attr("host");
  Value const value = initial(network.endpoint);
  Value const same = initial(network.endpoint);
  EXPECT_EQ(Model::hash(*value), Model::hash(*same));
  host.genericIfSet(value, nullptr, text("\"a\""));
  EXPECT_NE(Model::hash(*value), Model::hash(*same));
  host.genericIfSet(same, nullptr, text("\"a\""));
  EXPECT_EQ(Model::hash(*value), Model::hash(*same));

  // Of a value in another value, too.
  Value const inner = build(network.routeKey, text("\"red\""), literal(network.protocol, "'bgp'"));
  Value const outer = build(network.outer, inner);
  std::size_t const before = Model::hash(*outer);
  network.routeKey.attr("tag").genericIfSet(inner, nullptr, literal(Model::core(Kind::U32), "7"));
  EXPECT_NE(Model::hash(*outer), before);
  EXPECT_EQ(Model::hash(*outer), Model::hash(*build(network.outer, inner)));
}

TEST(Arguments, FillTheAttributesInTheirOrder) {
  Network network;
  Value const vrf = literal(Model::core(Kind::String), "\"red\"");
  Value const bgp = literal(network.protocol, "'bgp'");
  EXPECT_EQ(Model::print(*build(network.routeKey, vrf, bgp)), R"(Network::RouteKey(vrf="red", protocol='bgp'))");
  EXPECT_EQ(Model::print(*build(network.vlanId, literal(Model::core(Kind::U16), "7"))), "Network::VlanId(7)");
  EXPECT_EQ(Model::print(*build(network.plain)), "Network::Plain()");

  Zyn::ZynType const swapped = network.module.value("Swapped")
                                   .attr("first", Model::core(Kind::U8))
                                   .attr("second", Model::core(Kind::String))
                                   .args({"second", "first"});
  EXPECT_EQ(Model::print(*build(swapped, vrf, literal(Model::core(Kind::U8), "1"))),
            R"(Network::Swapped(first=1, second="red"))");

  Zyn::ZynType const held =
      network.module.value("Held").attr("a", Model::core(Kind::U8)).attr("b", network.protocol).valAttr("b");
  EXPECT_EQ(Model::print(*build(held, bgp)), "Network::Held(b='bgp')");
  Zyn::ZynType const oneOf = network.module.unionOf("OneOf", {{"a", network.protocol}}).valAttr("a");
  EXPECT_EQ(Model::print(*build(oneOf, bgp)), "Network::OneOf(a='bgp')");
}

TEST(Arguments, ThatDoNotFitAreRefused) {
  Network const network;
  Constant const red = literal(Model::core(Kind::String), "\"red\"");
  Constant const seven = literal(Model::core(Kind::U16), "7");
  Constant const null;
  std::string const wanted = "Network::RouteKey: expected arguments (vrf Zyn::String, protocol Network::Protocol)";
  EXPECT_EQ(errorOf([&] { build(network.routeKey); }), wanted + ", found 0 of them");
  EXPECT_EQ(errorOf([&] { build(network.routeKey, red); }), wanted + ", found 1 of them");
  EXPECT_EQ(errorOf([&] { build(network.routeKey, red, red, red); }), wanted + ", found 3 of them");
  EXPECT_EQ(errorOf([&] { build(network.plain, red); }), "Network::Plain: expected arguments (), found 1 of them");
  EXPECT_EQ(errorOf([&] { build(network.routeKey, red, red); }),
            "Network::RouteKey.protocol: expected Network::Protocol, found Zyn::String");
  EXPECT_EQ(errorOf([&] { build(network.routeKey, null, red); }),
            "Network::RouteKey.vrf: expected Zyn::String, found null");
  EXPECT_EQ(errorOf([&] { build(network.vlanId, red); }),
            "Network::VlanId.value: expected Zyn::U16, found Zyn::String");
  EXPECT_EQ(errorOf([&] { build(network.vlanId, null); }), "Network::VlanId.value: expected Zyn::U16, found null");
  EXPECT_EQ(errorOf([&] { build(network.portName, seven); }),
            "Network::PortName: it is built by setting an alternative, not from arguments");
  EXPECT_EQ(errorOf([&] { build(Model::core(Kind::U16), seven); }), "Zyn::U16: it is not built from arguments");
  EXPECT_EQ(errorOf([&] { build(Model::core(Kind::U16)); }), "Zyn::U16: it is not built from arguments");
  EXPECT_EQ(errorOf([&] { build(network.protocol, red); }), "Network::Protocol: it is not built from arguments");
  EXPECT_EQ(errorOf([&] { build(network.vrf); }), "Network::Vrf: it is not built from arguments");
  EXPECT_EQ(errorOf([&] { build({}, red); }), "An empty type has no values");
}

/** A value type with so many strings as constructor arguments. */
Zyn::ZynType strings(Network& network, std::size_t count) {
  auto type = network.module.value("Strings" + std::to_string(count));
  std::vector<std::string> names;
  for (std::size_t i = 0; i < count; ++i) {
    names.push_back("s" + std::to_string(i));
    type.attr(names.back(), Model::core(Kind::String));
  }
  return type.args(std::vector<std::string_view>(names.begin(), names.end()));
}

Value filled(Zyn::ZynType type, std::size_t count, std::string const& text) {
  Zyn::GenericIfArgs args;
  for (std::size_t i = 0; i < count; ++i) {
    args.push_back(literal(Model::core(Kind::String), "\"" + text + std::to_string(i) + "\""));
  }
  return type.genericIf(args, false);
}

TEST(Parts, AreReadWhereverTheyLie) {
  Network network;
  for (std::size_t const count : {1U, 3U, 20U, 60U, 300U}) {
    Zyn::ZynType const type = strings(network, count);
    for (std::size_t const length : {0U, 1U, 5U, 6U, 7U, 8U, 14U, 15U, 22U, 61U, 62U, 63U, 64U, 1000U}) {
      std::string const text(length, 'x');
      Value const value = filled(type, count, text);
      for (std::size_t i = 0; i < count; ++i) {
        EXPECT_EQ(Model::get<std::string>(*value, "s" + std::to_string(i)), text + std::to_string(i));
      }
      EXPECT_TRUE(Model::equal(*value, *filled(type, count, text)));
      EXPECT_EQ(Model::hash(*value), Model::hash(*filled(type, count, text)));
    }
  }
}

TEST(Parts, OutliveTheirValue) {
  Network network;
  // A scalar begins at most 255 words behind the value in whose block it is: the first one behind 251 slots does, and
  // behind 252 slots there is none.
  for (std::size_t const count : {1U, 3U, 60U, 250U, 251U, 252U, 300U}) {
    Zyn::ZynType const type = strings(network, count);
    for (std::size_t const kept : {std::size_t{0}, count / 2, count - 1}) {
      Value value = filled(type, count, "kept");
      Constant part = Model::attribute(*value, "s" + std::to_string(kept));
      Constant const again = Model::attribute(*value, "s" + std::to_string(kept));
      EXPECT_EQ(part, again);
      value = nullptr;
      EXPECT_EQ(Model::as<std::string>(*part), "kept" + std::to_string(kept));
      part = nullptr;
      EXPECT_EQ(Model::as<std::string>(*again), "kept" + std::to_string(kept));
    }
  }
}

TEST(Parts, MayBeArgumentsOfOtherValues) {
  Network network;
  Zyn::ZynType const type = strings(network, 1);
  Value first = filled(type, 1, "shared");
  Value second = build(type, Model::attribute(*first, "s0"));
  first = nullptr;
  Value const third = build(type, Model::attribute(*second, "s0"));
  second = nullptr;
  EXPECT_EQ(Model::get<std::string>(*third, "s0"), "shared0");
}

TEST(Parts, ThatAreReplacedStayForWhoHasThem) {
  Network const network;
  Value key =
      build(network.routeKey, literal(Model::core(Kind::String), "\"red\""), literal(network.protocol, "'bgp'"));
  Constant const vrf = Model::attribute(*key, "vrf");
  set(key, "vrf", literal(Model::core(Kind::String), "\"blue\""));
  set(key, "protocol", literal(network.protocol, "'connected'"));
  EXPECT_EQ(Model::print(*key), R"(Network::RouteKey(vrf="blue", protocol='connected'))");
  key = nullptr;
  EXPECT_EQ(Model::as<std::string>(*vrf), "red");
}

TEST(Set, ChangesOneAttribute) {
  Network const network;
  Value const key = initial(network.routeKey);
  set(key, "tag", literal(Model::core(Kind::U32), "7"));
  EXPECT_EQ(Model::print(*key), "Network::RouteKey(tag=7)");
  set(key, "vrf", literal(Model::core(Kind::String), "\"red\""));
  set(key, "tag", literal(Model::core(Kind::U32), "8"));
  EXPECT_EQ(Model::print(*key), R"(Network::RouteKey(vrf="red", tag=8))");
}

TEST(Set, ReplacesTheFormerAlternativeOfAUnion) {
  Network const network;
  Value const port = initial(network.portName);
  set(port, "number", literal(Model::core(Kind::U32), "7"));
  EXPECT_EQ(Model::print(*port), "Network::PortName(number=7)");
  set(port, "name", literal(Model::core(Kind::String), "\"x\""));
  EXPECT_EQ(Model::print(*port), R"(Network::PortName(name="x"))");
  set(port, "number", literal(Model::core(Kind::U32), "8"));
  EXPECT_EQ(Model::print(*port), "Network::PortName(number=8)");
}

TEST(Set, KeepsAReferenceOfTheValue) {
  Network const network;
  Value const tag = literal(Model::core(Kind::U32), "7");
  {
    Value const key = initial(network.routeKey);
    set(key, "tag", tag);
    EXPECT_EQ(tag->useCount(), 2U);
    set(key, "tag", literal(Model::core(Kind::U32), "8"));
    EXPECT_EQ(tag->useCount(), 1U);
    set(key, "tag", tag);
  }
  EXPECT_EQ(tag->useCount(), 1U);
}

TEST(Set, ThatDoesNotFitLeavesTheObject) {
  Network const network;
  Network const other;
  Constant const null;
  Constant const seven = literal(Model::core(Kind::U32), "7");
  Constant const narrow = literal(Model::core(Kind::U16), "7");
  Value const key = initial(network.routeKey);
  set(key, "tag", seven);
  Zyn::ZynAttr const tag = network.routeKey.attr("tag");

  struct Row {
    Zyn::ZynAttr attr;
    Value object;
    Constant key;
    Constant value;
    std::string_view error;
  };
  std::vector<Row> const rows = {
      {tag, key, null, narrow, "Network::RouteKey.tag: expected Zyn::U32, found Zyn::U16"},
      {tag, key, null, null, "Network::RouteKey.tag: expected Zyn::U32, found null"},
      {tag, key, null, key, "Network::RouteKey.tag: expected Zyn::U32, found Network::RouteKey"},
      {tag, key, seven, seven, "Network::RouteKey.tag: expected no key, found Zyn::U32"},
      {tag, nullptr, null, seven, "Network::RouteKey.tag: expected an object of Network::RouteKey, found null"},
      {network.plain.attr("x"), key, null, seven,
       "Network::Plain.x: expected an object of Network::Plain, found Network::RouteKey"},
      {network.vrf.attr("name"), key, null, seven,
       "Network::Vrf.name: expected an object of Network::Vrf, found Network::RouteKey"},
      {other.routeKey.attr("tag"), key, null, seven,
       "Network::RouteKey.tag: expected an object of Network::RouteKey, found Network::RouteKey"},
      {tag, literal(Model::core(Kind::U32), "7"), null, seven,
       "Network::RouteKey.tag: expected an object of Network::RouteKey, found Zyn::U32"},
      {{}, key, null, seven, "An empty attribute cannot be set"},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(errorOf([&] { row.attr.genericIfSet(row.object, row.key, row.value); }), row.error);
    EXPECT_EQ(Model::print(*key), "Network::RouteKey(tag=7)");
  }

  Value const port = gnmi(network.portName, "7");
  EXPECT_EQ(errorOf([&] { set(port, "name", seven); }), "Network::PortName.name: expected Zyn::String, found Zyn::U32");
  EXPECT_EQ(Model::print(*port), "Network::PortName(number=7)");
}

TEST(Attribute, IsFoundByNameAndByHandle) {
  Network const network;
  Network const other;
  Value const key = initial(network.routeKey);
  Value const tag = literal(Model::core(Kind::U32), "7");
  set(key, "tag", tag);
  EXPECT_EQ(Model::attribute(*key, "tag"), Constant(tag));
  EXPECT_EQ(Model::attribute(*key, network.routeKey.attr("tag")), Constant(tag));
  EXPECT_EQ(Model::attribute(*key, "vrf"), nullptr);
  EXPECT_EQ(Model::attribute(*key, network.outer.attr("note")), nullptr);
  EXPECT_EQ(Model::attribute(*key, other.routeKey.attr("tag")), nullptr);
  EXPECT_EQ(Model::attribute(*key, Zyn::ZynAttr()), nullptr);
  EXPECT_EQ(Model::attribute(*tag, network.routeKey.attr("tag")), nullptr);
  EXPECT_EQ(errorOf([&] { Model::attribute(*key, "tagg"); }),
            "Network::RouteKey: it has no attribute 'tagg'; did you mean 'tag'?");
  EXPECT_EQ(errorOf([&] { Model::attribute(*tag, "value"); }), "Zyn::U32: it has no attribute 'value'");
}

/** "7", or what the exception says. */
template <typename T>
std::string read(Zyn::GenericIf const& value) {
  std::string text;
  std::string const error = errorOf([&] {
    if constexpr (std::is_same_v<T, std::string>) {
      text = Model::as<T>(value);
    } else {
      text = std::to_string(Model::as<T>(value));
    }
  });
  return error == "no exception" ? text : error;
}

TEST(As, ReadsWhatScalarsHold) {
  Network const network;
  using Signed = std::int64_t;
  using Unsigned = std::uint64_t;
  auto const value = [](Kind kind, std::string_view text) { return gnmi(Model::core(kind), text); };

  EXPECT_EQ(read<bool>(*value(Kind::Bool, "true")), "1");
  EXPECT_EQ(read<bool>(*value(Kind::Bool, "false")), "0");
  EXPECT_EQ(read<bool>(*value(Kind::U8, "1")), "Zyn::U8: 1 is no boolean");

  EXPECT_EQ(read<Signed>(*value(Kind::S8, "-128")), "-128");
  EXPECT_EQ(read<Signed>(*value(Kind::U8, "255")), "255");
  EXPECT_EQ(read<Signed>(*value(Kind::S64, "-9223372036854775808")), "-9223372036854775808");
  EXPECT_EQ(read<Signed>(*value(Kind::U64, "9223372036854775807")), "9223372036854775807");
  EXPECT_EQ(read<Signed>(*value(Kind::U64, "9223372036854775808")),
            "Zyn::U64: 9223372036854775808 is no signed 64-bit number");
  EXPECT_EQ(read<Signed>(*value(Kind::Seconds, "-1.5")), "-1500000000");
  EXPECT_EQ(read<Signed>(*value(Kind::Time, "1970-01-01T00:00:01Z")), "1000000000");
  EXPECT_EQ(read<Signed>(*gnmi(network.protocol, "it's")), "-3");
  EXPECT_EQ(read<Signed>(*value(Kind::String, "1")), "Zyn::String: \"1\" is no signed 64-bit number");
  EXPECT_EQ(read<Signed>(*value(Kind::Double, "1")), "Zyn::Double: 1 is no signed 64-bit number");
  EXPECT_EQ(read<Signed>(*value(Kind::Bool, "true")), "Zyn::Bool: true is no signed 64-bit number");

  EXPECT_EQ(read<Unsigned>(*value(Kind::U64, "18446744073709551615")), "18446744073709551615");
  EXPECT_EQ(read<Unsigned>(*value(Kind::S64, "0")), "0");
  EXPECT_EQ(read<Unsigned>(*value(Kind::S8, "-1")), "Zyn::S8: -1 is no unsigned 64-bit number");
  EXPECT_EQ(read<Unsigned>(*gnmi(network.protocol, "bgp")), "9");
  EXPECT_EQ(read<Unsigned>(*gnmi(network.protocol, "it's")), "Network::Protocol: 'it's' is no unsigned 64-bit number");

  EXPECT_EQ(read<std::int8_t>(*value(Kind::S64, "-128")), "-128");
  EXPECT_EQ(read<std::int8_t>(*value(Kind::S64, "-129")), "Zyn::S64: -129 is no signed 8-bit number");
  EXPECT_EQ(read<std::int8_t>(*value(Kind::U8, "128")), "Zyn::U8: 128 is no signed 8-bit number");
  EXPECT_EQ(read<std::uint8_t>(*value(Kind::S16, "255")), "255");
  EXPECT_EQ(read<std::uint8_t>(*value(Kind::S16, "256")), "Zyn::S16: 256 is no unsigned 8-bit number");
  EXPECT_EQ(read<std::int16_t>(*value(Kind::U16, "32767")), "32767");
  EXPECT_EQ(read<std::int16_t>(*value(Kind::U16, "32768")), "Zyn::U16: 32768 is no signed 16-bit number");
  EXPECT_EQ(read<std::uint16_t>(*value(Kind::U32, "65535")), "65535");
  EXPECT_EQ(read<std::uint16_t>(*value(Kind::U32, "65536")), "Zyn::U32: 65536 is no unsigned 16-bit number");
  EXPECT_EQ(read<std::int32_t>(*value(Kind::S64, "-2147483648")), "-2147483648");
  EXPECT_EQ(read<std::int32_t>(*value(Kind::S64, "2147483648")), "Zyn::S64: 2147483648 is no signed 32-bit number");
  EXPECT_EQ(read<std::uint32_t>(*value(Kind::U64, "4294967295")), "4294967295");
  EXPECT_EQ(read<std::uint32_t>(*value(Kind::U64, "4294967296")), "Zyn::U64: 4294967296 is no unsigned 32-bit number");
  EXPECT_EQ(read<std::uint32_t>(*value(Kind::S8, "-1")), "Zyn::S8: -1 is no unsigned 32-bit number");
  EXPECT_EQ(read<long long>(*value(Kind::S8, "-1")), "-1");
  EXPECT_EQ(read<unsigned long long>(*value(Kind::U8, "1")), "1");

  EXPECT_EQ(Model::as<double>(*value(Kind::Double, "0.1")), 0.1);
  EXPECT_EQ(Model::as<double>(*value(Kind::Float, "0.1")), double{0.1F});
  EXPECT_EQ(read<double>(*value(Kind::U8, "1")), "Zyn::U8: 1 is no floating-point number");

  EXPECT_EQ(read<std::string>(*value(Kind::String, "a\"b")), "a\"b");
  EXPECT_EQ(read<std::string>(*value(Kind::Bytes, "AAEC")), std::string("\0\1\2", 3));
  EXPECT_EQ(read<std::string>(*gnmi(network.protocol, "bgp")), "bgp");
  EXPECT_EQ(read<std::string>(*value(Kind::IpPrefix, "10.1.2.3/8")), "10.0.0.0/8");
  EXPECT_EQ(read<std::string>(*value(Kind::U8, "7")), "7");

  EXPECT_EQ(read<Unsigned>(*literal(network.vlanId, "7")), "7");
  EXPECT_EQ(read<std::string>(*literal(network.vlanId, "7")), "7");
  EXPECT_EQ(read<bool>(*literal(network.vlanId, "7")), "Network::VlanId: Network::VlanId(7) is no boolean");
  EXPECT_EQ(read<Unsigned>(*initial(network.vlanId)),
            "Network::VlanId: it holds nothing, and no unsigned 64-bit number");
  EXPECT_EQ(read<std::string>(*gnmi(network.portName, "7")), "Network::PortName: it holds attributes, and no text");
}

TEST(Get, ReadsAnAttribute) {
  Network const network;
  Value const range = gnmi(network.portRange, "1-2");
  EXPECT_EQ(Model::get<std::uint64_t>(*range, "low"), 1U);
  EXPECT_EQ(Model::get<std::string>(*range, "high"), "2");
  EXPECT_EQ(errorOf([&] { Model::get<bool>(*range, "high"); }), "Zyn::U16: 2 is no boolean");
  EXPECT_EQ(errorOf([&] { Model::get<bool>(*range, "mid"); }),
            "Network::PortRange: it has no attribute 'mid'; there are 'low', 'high'");
  EXPECT_EQ(errorOf([&] { Model::get<bool>(*initial(network.portRange), "low"); }),
            "Attribute 'low' of 'Network::PortRange' is not set");
}

/** Maps find a value by another object of the same content, whatever finds places in them. */
template <typename Map>
void findsByContent() {
  Network const network;
  Map map;
  map[gnmi(network.portRange, "1-2")] = 12;
  map[gnmi(network.vlanId, "7")] = 7;
  map.emplace(gnmi(Model::core(Kind::U16), "7"), 16);
  EXPECT_EQ(map.size(), 3U);
  EXPECT_EQ(map.at(gnmi(network.portRange, "1-2")), 12);
  EXPECT_EQ(map.find(gnmi(network.vlanId, "7"))->second, 7);
  EXPECT_EQ(map.find(gnmi(network.vlanId, "8")), map.end());
  Constant const same = gnmi(Model::core(Kind::U16), "7");
  map[same] = 17;
  EXPECT_EQ(map.size(), 3U);
  EXPECT_EQ(map.at(same), 17);
  for (auto const& [key, number] : map) {
    EXPECT_EQ(map.at(key.pointer()), number) << Model::print(*key);
  }
}

TEST(Key, FindsInEveryKindOfMap) {
  findsByContent<std::map<Model::Key, int>>();
  findsByContent<std::unordered_map<Model::Key, int>>();
  findsByContent<absl::flat_hash_map<Model::Key, int>>();
}

TEST(Key, IsOrderedAsItsValueIs) {
  Network const network;
  Model::Key const two = gnmi(Model::core(Kind::U16), "2");
  Model::Key const ten = gnmi(Model::core(Kind::U16), "10");
  EXPECT_EQ(two, Model::Key(gnmi(Model::core(Kind::U16), "2")));
  EXPECT_NE(two, ten);
  EXPECT_TRUE(two < ten);
  EXPECT_EQ((two <=> ten), Model::compare(*two, *ten));
}

TEST(Key, IsNeverNullAndSharesItsValue) {
  Value const value = gnmi(Model::core(Kind::U16), "2");
  Model::Key key = value;
  EXPECT_EQ(key.pointer(), Constant(value));
  EXPECT_EQ(value->useCount(), 2U);
  Model::Key const moved = std::move(key);
  EXPECT_EQ(value->useCount(), 2U);
  EXPECT_EQ(&*moved, value.get());
  EXPECT_EQ(errorOf([] { Model::Key{Value()}; }), "A key is a value, and this pointer is null");
  EXPECT_EQ(errorOf([] { Model::Key{Constant()}; }), "A key is a value, and this pointer is null");
}

TEST(Compare, OrdersByTypeThenByContent) {
  Network const network;
  std::vector<Value> ordered;
  auto const add = [&](Zyn::ZynType type, std::initializer_list<std::string_view> texts) {
    for (std::string_view const text : texts) {
      ordered.push_back(gnmi(type, text));
    }
  };
  // By type name first.
  ordered.push_back(initial(network.portName));
  add(network.portName, {"a", "b", "0", "1"});
  add(network.portRange, {"1-2", "1-10", "2-1"});
  add(network.protocol, {"it's", "connected", "bgp"});
  ordered.push_back(initial(network.vlanId));
  add(network.vlanId, {"2", "10"});
  add(Model::core(Kind::Bool), {"false", "true"});
  add(Model::core(Kind::Bytes), {"", "AA==", "AAA=", "/w=="});
  add(Model::core(Kind::Double), {"-1e300", "-1", "-0", "0", "5e-324", "10"});
  add(Model::core(Kind::Float), {"-2", "10"});
  add(Model::core(Kind::IpAddress), {"9.0.0.0", "10.0.0.0", "200.0.0.0", "::", "9::", "10::"});
  add(Model::core(Kind::IpPrefix), {"9.0.0.0/32", "10.0.0.0/8", "10.0.0.0/9", "::/0", "::/128"});
  add(Model::core(Kind::MacAddress), {"00:00:00:00:00:ff", "09:00:00:00:00:00", "ff:00:00:00:00:00"});
  add(Model::core(Kind::S64), {"-9223372036854775808", "-1", "0", "9223372036854775807"});
  add(Model::core(Kind::S8), {"-10", "-9", "9", "10"});
  add(Model::core(Kind::Seconds), {"-0.000000001", "0", "9", "10"});
  add(Model::core(Kind::String), {"", "A", "a", "aa", "b", "\xC3"});
  add(Model::core(Kind::Time), {"1969-12-31T23:59:59Z", "1970-01-01T00:00:00Z"});
  add(Model::core(Kind::U64), {"9", "10", "18446744073709551615"});

  for (std::size_t i = 0; i < ordered.size(); ++i) {
    for (std::size_t j = 0; j < ordered.size(); ++j) {
      SCOPED_TRACE(Model::print(*ordered[i]) + " and " + Model::print(*ordered[j]));
      EXPECT_TRUE(Model::compare(*ordered[i], *ordered[j]) == (i <=> j));
      EXPECT_EQ(Model::equal(*ordered[i], *ordered[j]), i == j);
      // Chance makes two of a hundred alike once in the life of a universe.
      EXPECT_EQ(Model::hash(*ordered[i]) == Model::hash(*ordered[j]), i == j);
    }
  }
}

TEST(Compare, TellsTypesOfOneNameApart) {
  Network const one;
  Network const two;
  Value const a = literal(one.vlanId, "7");
  Value const b = literal(two.vlanId, "7");
  EXPECT_FALSE(Model::equal(*a, *b));
  EXPECT_NE(Model::hash(*a), Model::hash(*b));
  EXPECT_EQ(Model::compare(*a, *b) < 0, Model::compare(*b, *a) > 0);
  EXPECT_TRUE(Model::equal(*a, *literal(one.vlanId, "7")));
}

TEST(Compare, UnsetComesBeforeSet) {
  Network const network;
  Value const none = initial(network.routeKey);
  Value const tag = initial(network.routeKey);
  set(tag, "tag", literal(Model::core(Kind::U32), "0"));
  Value const vrf = initial(network.routeKey);
  set(vrf, "vrf", literal(Model::core(Kind::String), "\"\""));
  EXPECT_TRUE(Model::compare(*none, *tag) < 0);
  EXPECT_TRUE(Model::compare(*tag, *vrf) < 0);
  EXPECT_NE(Model::hash(*none), Model::hash(*tag));
}

TEST(Matches, WhenEveryAttributeOfTheFilterIsAlike) {
  Network const network;
  Value const key =
      build(network.routeKey, literal(Model::core(Kind::String), "\"red\""), literal(network.protocol, "'bgp'"));
  Zyn::ZynAttr const vrf = network.routeKey.attr("vrf");
  Zyn::ZynAttr const protocol = network.routeKey.attr("protocol");
  Zyn::ZynAttr const tag = network.routeKey.attr("tag");
  Value const red = literal(Model::core(Kind::String), "\"red\"");
  Value const blue = literal(Model::core(Kind::String), "\"blue\"");
  Value const bgp = literal(network.protocol, "'bgp'");
  Value const seven = literal(Model::core(Kind::U32), "7");

  using Filter = absl::flat_hash_map<Zyn::ZynAttr, Value>;
  struct Row {
    Filter filter;
    bool matches;
  };
  std::vector<Row> const rows = {
      {{}, true},
      {{{vrf, red}}, true},
      {{{vrf, red}, {protocol, bgp}}, true},
      {{{vrf, blue}}, false},
      {{{vrf, blue}, {protocol, bgp}}, false},
      {{{vrf, red}, {tag, seven}}, false},
      {{{network.plain.attr("x"), seven}}, false},
      {{{vrf, bgp}}, false},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(Model::matches(row.filter, *key), row.matches);
  }
}

TEST(Json, IsInDeclarationOrder) {
  Network const network;
  Value const outer = initial(network.outer);
  set(outer, "note", literal(Model::core(Kind::String), "\"\xFF\""));
  set(outer, "vlan", literal(network.vlanId, "7"));
  set(outer, "ports", gnmi(network.rangeBox, "1-2"));
  set(outer, "key", initial(network.routeKey));
  set(outer, "port", gnmi(network.portName, "x"));
  std::string const json =
      "{\"key\":{},\"port\":{\"name\":\"x\"},\"ports\":{\"low\":1,\"high\":2},\"vlan\":7,\"note\":\"\xEF\xBF\xBD\"}";
  EXPECT_EQ(Model::toJson(*outer).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace), json);
  EXPECT_EQ(jsonText(*outer), json);
}

TEST(Value, DeepOnesAreMadeReadAndDropped) {
  Network network;
  Zyn::ZynType type = Model::core(Kind::U8);
  for (int depth = 0; depth < 1000; ++depth) {
    type = network.module.wrapper("W" + std::to_string(depth), type);
  }
  Value const value = literal(type, "7");
  EXPECT_TRUE(Model::equal(*value, *gnmi(type, "7")));
  EXPECT_EQ(Model::hash(*value), Model::hash(*gnmi(type, "7")));
  EXPECT_EQ(Model::as<std::uint64_t>(*value), 7U);
  EXPECT_TRUE(Model::print(*value).ends_with("W0(7" + std::string(1000, ')')));
}

TEST(Value, MayHaveManyAttributes) {
  Network network;
  auto wide = network.module.value("Wide");
  for (int i = 0; i < 1000; ++i) {
    wide.attr("a" + std::to_string(i), Model::core(Kind::U32));
  }
  Value const value = initial(wide);
  for (int i = 0; i < 1000; ++i) {
    set(value, "a" + std::to_string(i), literal(Model::core(Kind::U32), std::to_string(i)));
  }
  EXPECT_EQ(Model::get<std::uint64_t>(*value, "a999"), 999U);
  EXPECT_EQ(Model::toJson(*value).size(), 1000U);
  EXPECT_EQ(jsonText(*value), Model::toJson(*value).dump());
}

}  // namespace
}  // namespace ModelTest
