// Values from protobuf messages and back. Messages are written byte by byte.
#include <absl/strings/escaping.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "Velko/Pb.h"
#include "tests/model/Network.h"

namespace ModelTest {
namespace {

using namespace std::string_literals;

Value fromMessage(Zyn::ZynType type, std::string_view bytes) {
  // A copy of exact size, so that reading beyond it shows.
  std::vector<char> const exact(bytes.begin(), bytes.end());
  Velko::Pb::ReadCursor cursor{exact.data(), 0, exact.size()};
  Value value = type.genericIfFromPbMessage(&cursor, false);
  EXPECT_EQ(cursor.position, exact.size());
  return value;
}

/** What the `PbReadException` says, or what the message reads as. Any other exception fails the test. */
std::string readAs(Zyn::ZynType type, std::string_view bytes) {
  try {
    return Model::print(*fromMessage(type, bytes));
  } catch (Velko::Pb::PbReadException const& exception) {
    return "fault: " + std::string(exception.what().view());
  }
}

std::string messageOf(Zyn::GenericIf const& value) {
  std::string bytes;
  EXPECT_TRUE(absl::Base64Unescape(Model::s4Text(value), &bytes));
  return bytes;
}

/** The core type of a kind, with an s4 encoding. */
Zyn::ZynType withS4(Network& network, Kind kind) {
  std::string const name = "My" + std::string(Model::kindName(kind));
  Zyn::ZynType const found = network.module.find(name);
  return found.empty() ? network.module.scalar(name, kind).mark(Model::Mark::S4) : found;
}

TEST(Pb, ScalarIsTheOneFieldOfAMessage) {
  Network network;
  struct Row {
    Kind kind;
    std::string prints;
    std::string bytes;
  };
  std::vector<Row> const rows = {
      {Kind::Bool, "true", "\x08\x01"s},
      {Kind::Bool, "false", "\x08\x00"s},
      {Kind::S8, "-128", "\x08\xFF\x01"s},
      {Kind::S8, "127", "\x08\xFE\x01"s},
      {Kind::S16, "-1", "\x08\x01"s},
      {Kind::S32, "-2147483648", "\x08\xFF\xFF\xFF\xFF\x0F"s},
      {Kind::S64, "-9223372036854775808", "\x08\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"s},
      {Kind::U8, "255", "\x08\xFF\x01"s},
      {Kind::U16, "300", "\x08\xAC\x02"s},
      {Kind::U32, "4294967295", "\x08\xFF\xFF\xFF\xFF\x0F"s},
      {Kind::U64, "18446744073709551615", "\x08\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"s},
      {Kind::Float, "1.5", "\x0D\x00\x00\xC0\x3F"s},
      {Kind::Double, "-0", "\x09\x00\x00\x00\x00\x00\x00\x00\x80"s},
      {Kind::String, "\"a\0\xFF\"\""s, "\x0A\x04"s + "a\0\xFF\""s},
      {Kind::String, "\"\"", "\x0A\x00"s},
      {Kind::Bytes, "AAE=", "\x0A\x02\x00\x01"s},
      {Kind::Seconds, "-0.000000001", "\x08\x01"s},
      {Kind::Time, "1970-01-01T00:00:00.000000001Z", "\x08\x02"s},
      {Kind::IpAddress, "10.0.0.1", "\x0A\x08"s + "10.0.0.1"},
      {Kind::IpPrefix, "10.0.0.0/8", "\x0A\x0A"s + "10.0.0.0/8"},
      {Kind::MacAddress, "02:00:5e:10:00:ff", "\x0A\x11"s + "02:00:5e:10:00:ff"},
  };
  for (Row const& row : rows) {
    Zyn::ZynType const type = withS4(network, row.kind);
    SCOPED_TRACE(std::string(type.name()) + " " + row.prints);
    EXPECT_EQ(readAs(type, row.bytes), row.prints);
    EXPECT_EQ(messageOf(*fromMessage(type, row.bytes)), row.bytes);
    EXPECT_EQ(readAs(Model::core(row.kind), row.bytes), row.prints);
  }
}

TEST(Pb, ScalarsThatDoNotFitAreFaults) {
  Network const network;
  struct Row {
    Kind kind;
    std::string bytes;
    std::string error;
  };
  std::string const u64 = "\x08\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"s;
  std::vector<Row> const rows = {
      {Kind::Bool, "\x08\x02"s, "Zyn::Bool.value: 2 does not fit: bool from 0 to 1"},
      {Kind::S8, "\x08\x81\x02"s, "Zyn::S8.value: -129 does not fit: sint32 from -128 to 127"},
      {Kind::S8, "\x08\x80\x02"s, "Zyn::S8.value: 128 does not fit: sint32 from -128 to 127"},
      {Kind::S16, "\x08\x80\x80\x04"s, "Zyn::S16.value: 32768 does not fit: sint32 from -32768 to 32767"},
      {Kind::S32, "\x08\x80\x80\x80\x80\x10"s,
       "Zyn::S32.value: 2147483648 does not fit: sint32 from -2147483648 to 2147483647"},
      {Kind::U8, "\x08\x80\x02"s, "Zyn::U8.value: 256 does not fit: uint32 from 0 to 255"},
      {Kind::U16, "\x08\x80\x80\x04"s, "Zyn::U16.value: 65536 does not fit: uint32 from 0 to 65535"},
      {Kind::U32, "\x08\x80\x80\x80\x80\x10"s, "Zyn::U32.value: 4294967296 does not fit: uint32 from 0 to 4294967295"},
      {Kind::U32, u64, "Zyn::U32.value: 18446744073709551615 does not fit: uint32 from 0 to 4294967295"},
      {Kind::Float, "\x0D\x00\x00\x80\x7F"s, "Zyn::Float.value: inf does not fit: a finite float"},
      {Kind::Double, "\x09\x00\x00\x00\x00\x00\x00\xF0\xFF"s, "Zyn::Double.value: -inf does not fit: a finite double"},
      {Kind::Double, "\x09\x00\x00\x00\x00\x00\x00\xF8\x7F"s, "Zyn::Double.value: nan does not fit: a finite double"},
      {Kind::IpAddress, "\x0A\x01x"s, "Zyn::IpAddress.value: 'x' does not fit: a string with an IPv4 or IPv6 address"},
      {Kind::IpPrefix, "\x0A\x00"s,
       "Zyn::IpPrefix.value: '' does not fit: a string with a prefix like 10.0.0.0/8 or 2001:db8::/32"},
      {Kind::MacAddress, "\x0A\x01\0"s,
       "Zyn::MacAddress.value: '\0' does not fit: a string with an address like 02:00:5e:10:00:ff"s},
      {Kind::U8, "\x0A\x00"s, "Zyn::U8.value: wire type 2 does not fit: uint32 from 0 to 255"},
      {Kind::U8, "\x0D\x01\x00\x00\x00"s, "Zyn::U8.value: wire type 5 does not fit: uint32 from 0 to 255"},
      {Kind::String, "\x08\x01"s, "Zyn::String.value: wire type 0 does not fit: a string with any text"},
      {Kind::Float, "\x09\x00\x00\x00\x00\x00\x00\x00\x00"s,
       "Zyn::Float.value: wire type 1 does not fit: a finite float"},
      {Kind::Bytes, "\x08\x01"s, "Zyn::Bytes.value: wire type 0 does not fit: bytes"},
      {Kind::U8, ""s, "Zyn::U8.value: missing from the message: uint32 from 0 to 255"},
      {Kind::Time, "\x10\x01"s,
       "Zyn::Time.value: missing from the message: sint64 from -9223372036854775808 to 9223372036854775807"},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(readAs(Model::core(row.kind), row.bytes), "fault: " + row.error);
  }
}

/** Even numbers, and texts of them; odd ones below 100 become the even one before. */
class Even final : public Model::TextRule {
 public:
  bool canonical(std::string_view& text, std::string& buffer) const override {
    if (text.size() > 2) {
      return text.find_first_of("02468", text.size() - 1) != std::string_view::npos;
    }
    buffer = text;
    if (!buffer.empty() && buffer.back() >= '0' && buffer.back() <= '9') {
      buffer.back() = static_cast<char>(buffer.back() & ~1);
    }
    text = buffer;
    return true;
  }
  std::string expectation() const override { return "an even number"; }
};

TEST(Pb, ScalarsWithARuleGoByIt) {
  Network network;
  auto const rule = std::make_shared<Even>();
  Zyn::ZynType const number = network.module.scalar("EvenNumber", Kind::U8, rule).mark(Model::Mark::S4);
  Zyn::ZynType const text = network.module.scalar("EvenText", Kind::String, rule).mark(Model::Mark::S4);
  Zyn::ZynType const wrapped = network.module.wrapper("Wrapped", number).mark(Model::Mark::S4);
  struct Row {
    Zyn::ZynType type;
    std::string bytes;
    std::string reads;
  };
  std::vector<Row> const rows = {
      {number, "\x08\x07"s, "6"},
      {number, "\x08\x64"s, "100"},
      {number, "\x08\x65"s, "fault: Network::EvenNumber.value: '101' does not fit: an even number"},
      {number, "\x08\x80\x02"s, "fault: Network::EvenNumber.value: 256 does not fit: uint32 from 0 to 255"},
      {text,
       "\x0A\x02"
       "17"s,
       "\"16\""},
      {text,
       "\x0A\x03"
       "101"s,
       "fault: Network::EvenText.value: '101' does not fit: a string with an even number"},
      {wrapped, "\x08\x07"s, "Network::Wrapped(6)"},
      {wrapped, "\x08\x65"s, "fault: Network::Wrapped.value: '101' does not fit: an even number"},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(readAs(row.type, row.bytes), row.reads);
  }
}

TEST(Pb, EnumeratorsAreNumbers) {
  Network network;
  network.module.extend(network.protocol).mark(Model::Mark::S4);
  std::string const minusThree = "\x08\xFD\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"s;
  EXPECT_EQ(readAs(network.protocol, "\x08\x09"s), "'bgp'");
  EXPECT_EQ(readAs(network.protocol, minusThree), "'it's'");
  EXPECT_EQ(messageOf(*gnmi(network.protocol, "it's")), minusThree);
  std::string const fits = " does not fit: an enumerator 1 (connected), 9 (bgp), -3 (it's)";
  EXPECT_EQ(readAs(network.protocol, "\x08\x02"s), "fault: Network::Protocol.value: 2" + fits);
  EXPECT_EQ(readAs(network.protocol, "\x08\x89\x80\x80\x80\x10"s), "fault: Network::Protocol.value: 4294967305" + fits);
}

TEST(Pb, WrapperIsTheFieldOfWhatItWraps) {
  Network network;
  network.module.extend(network.vlanId).mark(Model::Mark::S4);
  network.module.extend(network.rangeBox).mark(Model::Mark::S4);
  EXPECT_EQ(readAs(network.vlanId, "\x08\x07"s), "Network::VlanId(7)");
  EXPECT_EQ(messageOf(*literal(network.vlanId, "7")), "\x08\x07"s);
  EXPECT_EQ(readAs(network.vlanId, ""),
            "fault: Network::VlanId.value: missing from the message: uint32 from 0 to 65535");
  EXPECT_EQ(readAs(network.vlanId, "\x08\x80\x80\x04"s),
            "fault: Network::VlanId.value: 65536 does not fit: uint32 from 0 to 65535");
  EXPECT_EQ(messageOf(*gnmi(network.rangeBox, "1-2")), "\x0A\x04\x08\x01\x10\x02"s);
  EXPECT_EQ(readAs(network.rangeBox, "\x0A\x04\x08\x01\x10\x02"s),
            "Network::RangeBox(Network::PortRange(low=1, high=2))");
}

TEST(Pb, UnionIsAMessageOfItsAlternatives) {
  Network network;
  network.module.extend(network.portName).mark(Model::Mark::S4);
  EXPECT_EQ(readAs(network.portName, "\x08\x07"s), "Network::PortName(number=7)");
  EXPECT_EQ(readAs(network.portName, "\x12\x01x"s), "Network::PortName(name=\"x\")");
  EXPECT_EQ(readAs(network.portName, "\x08\x07\x12\x01x"s), "Network::PortName(name=\"x\")");
  EXPECT_EQ(readAs(network.portName, "\x12\x01x\x08\x07"s), "Network::PortName(number=7)");
  EXPECT_EQ(messageOf(*gnmi(network.portName, "x")), "\x12\x01x"s);
  std::string const none = "fault: Network::PortName: no alternative in the message: a Zyn::U32 or Zyn::String";
  EXPECT_EQ(readAs(network.portName, ""), none);
  EXPECT_EQ(readAs(network.portName, "\x18\x01"s), none);
}

// vrf = 3, protocol = 1, tag = 2; vrf and protocol are constructor arguments.
std::string const keyMessage = "\x08\x09\x10\x07\x1A\x03red"s;
std::string const keyPrints = "Network::RouteKey(vrf=\"red\", protocol='bgp', tag=7)";

TEST(Pb, ValueTypeIsAMessage) {
  Network const network;
  std::string const group = "\xA3\x01\x08\x01\xA4\x01"s;
  struct Row {
    std::string what;
    std::string bytes;
    std::string prints;
  };
  std::vector<Row> const rows = {
      {"in ascending order", keyMessage, keyPrints},
      {"in another order", "\x1A\x03red\x10\x07\x08\x09"s, keyPrints},
      {"without the optional one", "\x08\x09\x1A\x03red"s, "Network::RouteKey(vrf=\"red\", protocol='bgp')"},
      {"the last one of two counts",
       "\x10\x06\x08\x01\x1A\x03"
       "blu"s +
           keyMessage,
       keyPrints},
      {"unknown varint", "\x20\x01"s + keyMessage, keyPrints},
      {"unknown 64 bits", "\x21\x01\x02\x03\x04\x05\x06\x07\x08"s + keyMessage, keyPrints},
      {"unknown bytes", "\x22\x02xx"s + keyMessage, keyPrints},
      {"unknown 32 bits", "\x25\x01\x02\x03\x04"s + keyMessage, keyPrints},
      {"unknown group", group + keyMessage, keyPrints},
      {"unknown field of the greatest number", keyMessage + "\xF8\xFF\xFF\xFF\x0F\x01"s, keyPrints},
      {"a varint longer than needed", "\x08\x89\x80\x00\x1A\x03red"s, "Network::RouteKey(vrf=\"red\", protocol='bgp')"},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(readAs(network.routeKey, row.bytes), row.prints) << row.what;
  }
  EXPECT_EQ(messageOf(*fromMessage(network.routeKey, rows[1].bytes)), keyMessage);
}

std::string malformedAt(std::size_t byte, std::size_t size) {
  return "fault: Network::RouteKey: malformed or cut off in the field at byte " + std::to_string(byte) +
         " of a message of " + std::to_string(size) + " bytes: a protobuf field would fit";
}

TEST(Pb, BrokenMessagesAreFaults) {
  Network const network;
  struct Row {
    std::string bytes;
    std::size_t at;
  };
  std::vector<Row> const rows = {
      {"\x08"s, 0},
      {"\x08\x80"s, 0},
      {"\x80"s, 0},
      {"\x08\x09\x1A\x03re"s, 2},
      {"\x08\x09\x1A\xFF\xFF\xFF\xFF\x0Fred"s, 2},
      {"\x08\x09\x1A\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01red"s, 2},
      {"\x08\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01"s, 0},
      {"\x00"s, 0},
      {"\x00\x01"s, 0},
      {"\x02\x00"s, 0},
      {keyMessage + "$"s, keyMessage.size()},
      {keyMessage + "#"s, keyMessage.size()},
      {keyMessage + "#,"s, keyMessage.size()},
      {keyMessage + "\x26\x01"s, keyMessage.size()},
      {keyMessage + "\x27\x01"s, keyMessage.size()},
      {keyMessage + "\x22\x05x"s, keyMessage.size()},
      {keyMessage + "\x22\xFF\xFF\xFF\xFF\x0F"s, keyMessage.size()},
      {keyMessage + "\x25\x01"s, keyMessage.size()},
      {keyMessage + "\x88\x80\x80\x80\x80\x01\x01"s, keyMessage.size()},
      {std::string(1000, '\x23'), 0},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(readAs(network.routeKey, row.bytes), malformedAt(row.at, row.bytes.size()));
  }
}

TEST(Pb, EveryPrefixOfAMessageIsReadOrRefused) {
  Network const network;
  for (std::size_t size = 0; size < keyMessage.size(); ++size) {
    EXPECT_EQ(readAs(network.routeKey, keyMessage.substr(0, size)).substr(0, 24), "fault: Network::RouteKey") << size;
  }
}

TEST(Pb, FaultsNameTheAttribute) {
  Network const network;
  EXPECT_EQ(readAs(network.routeKey, "\x08\x09"s),
            "fault: Network::RouteKey.vrf: missing from the message: a string with any text");
  EXPECT_EQ(readAs(network.routeKey, "\x1A\x03red"s),
            "fault: Network::RouteKey.protocol: missing from the message: an enumerator 1 (connected), 9 (bgp), -3 "
            "(it's)");
  EXPECT_EQ(readAs(network.routeKey, "\x12\x00"s + keyMessage),
            "fault: Network::RouteKey.tag: wire type 2 does not fit: uint32 from 0 to 4294967295");
  EXPECT_EQ(readAs(network.vrf, ""), "fault: Network::Vrf: an entity has no values");
  EXPECT_EQ(readAs({}, ""), "fault: An empty type has no values");
  EXPECT_EQ(readAs(network.outer, "\x12\x00"s),
            "fault: Network::PortName: no alternative in the message: a Zyn::U32 or Zyn::String");
  EXPECT_EQ(readAs(network.outer, ""),
            "fault: Network::Outer.key: missing from the message: a message of Network::RouteKey");
  EXPECT_EQ(readAs(network.outer, "\x1A\x02\x08\x01"s),
            "fault: Network::PortRange.high: missing from the message: uint32 from 0 to 65535");
  EXPECT_EQ(readAs(network.outer, "\x20\x80\x80\x04"s),
            "fault: Network::Outer.vlan: 65536 does not fit: uint32 from 0 to 65535");
  EXPECT_EQ(readAs(network.outer, "\x0A\x03\x1A\x03red"s),
            "fault: Network::RouteKey: malformed or cut off in the field at byte 0 of a message of 3 bytes: a protobuf "
            "field would fit");
}

TEST(Pb, MessagesNest) {
  Network const network;
  std::string const key = "\x0A"s + static_cast<char>(keyMessage.size()) + keyMessage;
  std::string const bytes = key + "\x12\x02\x08\x05\x1A\x04\x08\x01\x10\x02\x20\x07"s;
  std::string const prints = "Network::Outer(key=" + keyPrints +
                             ", port=Network::PortName(number=5), ports=Network::RangeBox(Network::PortRange(low=1, "
                             "high=2)), vlan=Network::VlanId(7))";
  EXPECT_EQ(readAs(network.outer, bytes), prints);
  EXPECT_EQ(messageOf(*fromMessage(network.outer, bytes)), bytes);
  // The last of two messages is taken whole: nothing of the former one is left.
  EXPECT_EQ(readAs(network.outer, key + "\x0A\x07\x08\x01\x1A\x03"
                                        "blu"s),
            "Network::Outer(key=Network::RouteKey(vrf=\"blu\", protocol='connected'))");
}

TEST(Pb, CursorSaysWhereTheMessageIs) {
  Network const network;
  std::string const bytes = "xx" + keyMessage;
  Velko::Pb::ReadCursor cursor{bytes.data(), 2, bytes.size()};
  EXPECT_EQ(Model::print(*network.routeKey.genericIfFromPbMessage(&cursor, false)), keyPrints);
  EXPECT_EQ(cursor.position, bytes.size());

  auto const errorAt = [&](char const* data, std::uint64_t position, std::uint64_t length) {
    Velko::Pb::ReadCursor bad{data, position, length};
    try {
      network.routeKey.genericIfFromPbMessage(&bad, false);
    } catch (Velko::Pb::PbReadException const& exception) {
      return std::string(exception.what().view());
    }
    return std::string("no exception");
  };
  constexpr std::uint64_t max = std::numeric_limits<std::uint64_t>::max();
  EXPECT_EQ(errorAt(bytes.data(), 3, 2), "Network::RouteKey: position 3 is not in a message of 2 bytes");
  EXPECT_EQ(errorAt(bytes.data(), max, 2),
            "Network::RouteKey: position 18446744073709551615 is not in a message of 2 bytes");
  EXPECT_EQ(errorAt(nullptr, 0, 2), "Network::RouteKey: position 0 is not in a message of 2 bytes");
  EXPECT_EQ(errorAt(bytes.data(), 0, 2147483648U),
            "Network::RouteKey: a message of 2147483648 bytes is too long: at most 2147483647 would fit");
  EXPECT_EQ(errorAt(bytes.data(), 0, max),
            "Network::RouteKey: a message of 18446744073709551615 bytes is too long: at most 2147483647 would fit");
  EXPECT_EQ(errorAt(nullptr, 0, 0), "Network::RouteKey.vrf: missing from the message: a string with any text");
}

TEST(Pb, LargeMessagesAreRead) {
  Network const network;
  std::size_t const size = std::size_t{80} << 20U;
  std::string bytes = "\x08\x09\x1A\x80\x80\x80\x28"s;
  bytes.append(size, 'x');
  EXPECT_EQ(Model::get<std::string>(*fromMessage(network.routeKey, bytes), "vrf"), std::string(size, 'x'));
}

TEST(S4Text, IsTheMessageInBase64) {
  Network const network;
  EXPECT_EQ(Model::s4Text(*fromMessage(network.routeKey, "\x08\x01\x1A\x00"s)), "CAEaAA==");
}

TEST(S4Text, LeavesOutAttributesWithoutNumber) {
  Network const network;
  Value const outer = initial(network.outer);
  set(outer, "key", fromMessage(network.routeKey, keyMessage));
  std::string const without = Model::s4Text(*outer);
  set(outer, "note", literal(Model::core(Kind::String), "\"x\""));
  EXPECT_EQ(Model::s4Text(*outer), without);
}

TEST(S4Text, IsRefusedWhereItCouldNotBeReadAgain) {
  Network const network;
  EXPECT_EQ(errorOf([&] { Model::s4Text(*gnmi(network.portRange, "1-2")); }),
            "Network::PortRange: it has no s4 encoding");
  EXPECT_EQ(errorOf([&] { Model::s4Text(*initial(network.routeKey)); }),
            "Network::RouteKey.vrf: it is not set, but a message needs it");
  Value const outer = initial(network.outer);
  set(outer, "key", fromMessage(network.routeKey, keyMessage));
  set(outer, "port", initial(network.portName));
  EXPECT_EQ(errorOf([&] { Model::s4Text(*outer); }),
            "Network::PortName: no alternative is set, but a message needs one");
  set(outer, "port", gnmi(network.portName, "7"));
  set(outer, "vlan", initial(network.vlanId));
  EXPECT_EQ(errorOf([&] { Model::s4Text(*outer); }), "Network::VlanId: it holds nothing, and has no message");
}

/** A random number, often near the ends of its range or zero. */
std::string randomNumber(std::mt19937_64& random, Kind kind) {
  std::uint64_t const bits = random() >> (random() % 64);
  std::uint64_t const edge = random() % 4 == 0 ? ~std::uint64_t{0} >> (random() % 64) : bits;
  switch (kind) {
    case Kind::S8:
      return std::to_string(static_cast<std::int8_t>(edge));
    case Kind::S16:
      return std::to_string(static_cast<std::int16_t>(edge));
    case Kind::S32:
      return std::to_string(static_cast<std::int32_t>(edge));
    case Kind::S64:
      return std::to_string(static_cast<std::int64_t>(random() % 2 == 0 ? edge : ~edge));
    case Kind::U8:
      return std::to_string(static_cast<std::uint8_t>(edge));
    case Kind::U16:
      return std::to_string(static_cast<std::uint16_t>(edge));
    case Kind::U32:
      return std::to_string(static_cast<std::uint32_t>(edge));
    default:
      return std::to_string(edge);
  }
}

Value randomScalar(std::mt19937_64& random, Kind kind) {
  std::string bytes(random() % 40, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(random());
  }
  Zyn::ZynType const type = Model::core(kind);
  switch (kind) {
    case Kind::Bool:
      return gnmi(type, random() % 2 == 0 ? "true" : "false");
    case Kind::Float:
      return gnmi(type, std::to_string(static_cast<double>(random()) / 1e10 - 1e9));
    case Kind::Double:
      return gnmi(type, std::to_string(static_cast<double>(random()) / 1e15 - 1e3));
    case Kind::String:
      return gnmi(type, bytes);
    case Kind::Bytes:
      return gnmi(type, absl::Base64Escape(bytes));
    case Kind::Seconds:
      return gnmi(type, std::to_string(static_cast<std::int32_t>(random())) + "." + std::to_string(random() % 1000));
    case Kind::Time:
      return gnmi(type, "20" + std::to_string(10 + random() % 90) + "-0" + std::to_string(1 + random() % 9) + "-1" +
                            std::to_string(random() % 10) + "T00:00:0" + std::to_string(random() % 10) + "." +
                            std::to_string(random() % 1000) + "Z");
    case Kind::IpAddress:
    case Kind::IpPrefix: {
      std::string const slash = kind == Kind::IpPrefix ? "/" + std::to_string(random() % 33) : "";
      return random() % 2 == 0
                 ? gnmi(type, std::to_string(random() % 256) + ".2.3." + std::to_string(random() % 256) + slash)
                 : gnmi(type, std::to_string(random() % 10000) + "::" + std::to_string(random() % 10) + slash);
    }
    case Kind::MacAddress:
      return gnmi(type, "02:00:00:00:00:" + std::to_string(10 + random() % 90));
    default:
      return gnmi(type, randomNumber(random, kind));
  }
}

TEST(Pb, WhatIsWrittenReadsBackEqual) {
  Network network;
  auto all = network.module.value("All");
  std::vector<std::pair<std::string_view, std::uint32_t>> numbers;
  for (int kind = 0; kind <= static_cast<int>(Kind::MacAddress); ++kind) {
    std::string_view const name = Model::kindName(static_cast<Kind>(kind));
    all.attr(name, Model::core(static_cast<Kind>(kind)));
    numbers.emplace_back(name, kind % 2 == 0 ? 1000 - kind : 1 + kind);
  }
  all.attr("port", network.anyPort).attr("protocol", network.protocol).attr("vlan", network.vlanId);
  numbers.insert(numbers.end(), {{"port", 536870911}, {"protocol", 18999}, {"vlan", 20000}});
  all.s4(numbers);

  std::mt19937_64 random(7);
  for (int round = 0; round < 2000; ++round) {
    Value const value = initial(all);
    for (int kind = 0; kind <= static_cast<int>(Kind::MacAddress); ++kind) {
      if (random() % 3 != 0) {
        set(value, Model::kindName(static_cast<Kind>(kind)), randomScalar(random, static_cast<Kind>(kind)));
      }
    }
    if (random() % 2 == 0) {
      std::string_view const ports[] = {"bgp", "1-2", "7", "x"};
      set(value, "port", gnmi(network.anyPort, ports[random() % 4]));
      set(value, "protocol", gnmi(network.protocol, random() % 2 == 0 ? "it's" : "bgp"));
      set(value, "vlan", gnmi(network.vlanId, randomNumber(random, Kind::U16)));
    }
    std::string const bytes = messageOf(*value);
    Value const again = fromMessage(all, bytes);
    ASSERT_TRUE(Model::equal(*value, *again)) << Model::print(*value) << "\n" << Model::print(*again);
    ASSERT_EQ(messageOf(*again), bytes);
  }
}

TEST(Pb, NoiseIsReadOrRefused) {
  Network const network;
  std::mt19937_64 random(11);
  std::string const good =
      "\x0A"s + static_cast<char>(keyMessage.size()) + keyMessage + "\x12\x02\x08\x05\x1A\x04\x08\x01\x10\x02\x20\x07"s;
  for (int round = 0; round < 20000; ++round) {
    std::string bytes = good;
    for (std::uint64_t changes = 1 + random() % 3; changes > 0; --changes) {
      bytes[random() % bytes.size()] = static_cast<char>(random());
    }
    bytes.resize(random() % 4 == 0 ? random() % bytes.size() : bytes.size());
    std::string const read = readAs(network.outer, bytes);
    ASSERT_TRUE(read.starts_with("fault: Network::") || read.starts_with("Network::Outer(")) << read;
  }
}

TEST(ProtoFile, DescribesEveryMessage) {
  Network network;
  network.module.extend(network.vlanId).mark(Model::Mark::S4);
  Model::Module& odd = network.schema.module("Odd-1");
  Zyn::ZynType const state =
      odd.enumeration("1st", {{"Enum", 0}, {"value", 1}, {"a b", 2}, {"a-b", -3}, {"a_b_2", 4}, {"option", 5}})
          .mark(Model::Mark::S4);
  odd.value("Odd-1")
      .attr("a b", state)
      .attr("a-b", network.portName)
      .attr("alternative", network.plain)
      .s4({{"a b", 7}, {"a-b", 2}, {"alternative", 3}});
  odd.unionOf("U", {{"alternative", Model::core(Kind::S64)}, {"x", Model::core(Kind::Time)}}).mark(Model::Mark::S4);
  odd.unionOf("None").mark(Model::Mark::S4);
  odd.value("Unused").attr("x", state);
  network.schema.module("Empty").value("Unused");

  EXPECT_EQ(Model::protoFile(network.schema), R"(syntax = "proto2";

message Network {
  message Protocol {
    enum Enum {
      connected = 1;
      bgp = 9;
      it_s = -3;
    }
  }
  message VlanId {
    required uint32 value = 1;
  }
  message PortName {
    oneof alternative {
      uint32 number = 1;
      string name = 2;
    }
  }
  message PortRange {
    required uint32 low = 1;
    required uint32 high = 2;
  }
  message RouteKey {
    required string vrf = 3;
    required .Network.Protocol.Enum protocol = 1;
    optional uint32 tag = 2;
  }
  message Outer {
    required .Network.RouteKey key = 1;
    optional .Network.PortName port = 2;
    optional .Network.PortRange ports = 3;
    optional uint32 vlan = 4;
  }
  message Plain {
    optional uint32 x = 1;
  }
}

message Odd_1 {
  message _1st {
    enum Enum {
      Enum_2 = 0;
      value_2 = 1;
      a_b = 2;
      a_b_2 = -3;
      a_b_2_2 = 4;
      option_2 = 5;
    }
    required .Odd_1._1st.Enum value = 1;
  }
  message Odd_1 {
    optional .Odd_1._1st.Enum a_b = 7;
    optional .Network.PortName a_b_2 = 2;
    optional .Network.Plain alternative = 3;
  }
  message U {
    oneof alternative_2 {
      sint64 alternative = 1;
      sint64 x = 2;
    }
  }
  message None {
  }
}
)");
}

TEST(ProtoFile, OfASchemaWithoutMessagesIsEmpty) {
  Model::Schema schema;
  schema.module("M").value("V").attr("x", Model::core(Kind::U8));
  EXPECT_EQ(Model::protoFile(schema), "syntax = \"proto2\";\n");
}

}  // namespace
}  // namespace ModelTest
