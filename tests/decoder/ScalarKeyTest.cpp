// One text to one value, by the kind of the type.
#include <absl/strings/escaping.h>
#include <pthread.h>

#include <algorithm>
#include <functional>
#include <string>
#include <string_view>

#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

class ScalarKey : public DecoderTest {
 protected:
  Zyn::ZynType const color = module.enumeration("Color", {{"red", 1}, {"up", 2}});
  Zyn::ZynType const vlanId = module.wrapper("VlanId", core(Kind::U16));
  Zyn::ZynType const outer = module.wrapper("Outer", vlanId);
  Zyn::ZynType const label = module.wrapper("Label", core(Kind::String));
  Zyn::ZynType const portName = module.unionOf("PortName", {{"number", core(Kind::U32)}, {"name", core(Kind::String)}});
  Zyn::ZynType const width = module.unionOf("Width", {{"small", core(Kind::U8)}, {"large", core(Kind::U16)}});
  Zyn::ZynType const flag = module.value("Flag").attr("on", core(Kind::Bool)).args({"on"}).s4({{"on", 1}});
};

TEST_F(ScalarKey, EachKindReadsItsText) {
  struct {
    Zyn::ZynType type;
    std::string_view text;
    std::string_view value;
  } const rows[] = {
      {core(Kind::String), "ab", "\"ab\""},
      {core(Kind::String), "", "\"\""},
      {core(Kind::String), "*x", "\"*x\""},
      {core(Kind::Bool), "true", "true"},
      {core(Kind::U32), "42", "42"},
      {core(Kind::S8), "-128", "-128"},
      {core(Kind::Bytes), "AAEC", "AAEC"},
      {core(Kind::Seconds), "1.5", "1.5"},
      {core(Kind::Time), "2026-11-21T10:00:00Z", "2026-11-21T10:00:00Z"},
      {core(Kind::IpPrefix), "10.1.2.3/8", "10.0.0.0/8"},
      {color, "up", "'up'"},
      {vlanId, "7", "Test::VlanId(7)"},
      {outer, "7", "Test::Outer(Test::VlanId(7))"},
      {label, "red", "Test::Label(\"red\")"},
      {portName, "7", "Test::PortName(number=7)"},
      {portName, "eth0", "Test::PortName(name=\"eth0\")"},
      {width, "255", "Test::Width(small=255)"},
      {width, "256", "Test::Width(large=256)"},
  };
  for (auto const& row : rows) {
    EXPECT_EQ(scalar(row.type, row.text), row.value) << row.type.name() << ' ' << row.text;
  }
}

TEST_F(ScalarKey, TextsOfEveryLengthAndByteGoBetweenQuotes) {
  std::string text;
  for (int size = 0; size <= 80; ++size) {
    EXPECT_EQ(scalar(core(Kind::String), text), '"' + text + '"') << size;
    text += static_cast<char>(255 - 3 * size);
  }
  std::string name = "x";
  for (int size = 1; size <= 40; ++size) {
    Zyn::ZynType const one = module.enumeration("Enum" + std::to_string(size), {{name, 1}});
    EXPECT_EQ(scalar(one, name), '\'' + name + '\'') << size;
    name += static_cast<char>('a' + size % 26);
  }
}

TEST_F(ScalarKey, QuotesInsideAValueAreNotEscaped) {
  EXPECT_EQ(scalar(core(Kind::String), "a\"b"), "\"a\"b\"");
  EXPECT_EQ(scalar(core(Kind::String), "\""), "\"\"\"");
  Zyn::ZynType const odd = module.enumeration("Odd", {{"it's", 1}});
  EXPECT_EQ(scalar(odd, "it's"), "'it's'");
}

TEST_F(ScalarKey, PlainScalarsGetTheRawText) {
  for (Kind const kind : {Kind::Bytes, Kind::Seconds, Kind::Time, Kind::U8}) {
    std::string const refused = scalar(core(kind), "\"1\"");
    EXPECT_EQ(refused.find(std::string(core(kind).name()) + ": '\"1\"'"), std::string("error: ").size()) << refused;
  }
}

TEST_F(ScalarKey, ATextThatDoesNotFitGivesTheTypeSystemsWords) {
  Zyn::ZynType const types[] = {core(Kind::U32), core(Kind::IpPrefix), color};
  for (Zyn::ZynType const type : types) {
    std::string wanted;
    try {
      (void)type.genericIf(Velko::String(type.isEnumType() ? "'nothing'" : "nothing"), false);
    } catch (Velko::Exception const& exception) {
      wanted = "error: " + std::string(exception.what().view());
    }
    EXPECT_NE(wanted, "");
    EXPECT_EQ(scalar(type, "nothing"), wanted);
  }
}

TEST_F(ScalarKey, BracesInValuesAndMessagesAreNoPlaceholders) {
  EXPECT_EQ(scalar(width, "{}{0}"), "error: '{}{0}' doesn't match any alternatives of Union type 'Test::Width'");
  EXPECT_NE(scalar(color, "{}{1}{").find("{}{1}{"), std::string::npos);
}

TEST_F(ScalarKey, ValuesMayHoldAnyBytes) {
  using namespace std::string_view_literals;
  EXPECT_EQ(scalar(core(Kind::String), "a\0b\n\xff"sv), "\"a\0b\n\xff\""sv);
  EXPECT_EQ(scalar(width, "\0x"sv), "error: '\0x' doesn't match any alternatives of Union type 'Test::Width'"sv);
}

TEST_F(ScalarKey, AWrappersInnerErrorComesBackUnchanged) {
  EXPECT_EQ(scalar(vlanId, "70000"), scalar(core(Kind::U16), "70000"));
  EXPECT_EQ(scalar(outer, "x"), scalar(core(Kind::U16), "x"));
}

TEST_F(ScalarKey, WrappersAreBuiltFromTheInsideOutwards) {
  traceCalls();
  (void)scalar(outer, "7");
  EXPECT_THAT(taken(), ElementsAre("createScalarKey: Creating scalar key of type 'Test::Outer'",
                                   "createScalarKey: Creating scalar key of type 'Test::VlanId'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::U16'"));
}

TEST_F(ScalarKey, TheGnmiFormGoesBeforeWrapperEnumerationAndUnion) {
  // Each of these reads its whole text itself, so no inner type is asked.
  Zyn::ZynType const types[] = {
      module.wrapper("GnmiWrapper", core(Kind::U16)).mark(Mark::GnmiString),
      module.enumeration("GnmiEnum", {{"7", 1}}).mark(Mark::GnmiString),
      module.unionOf("GnmiUnion", {{"number", core(Kind::U16)}}).mark(Mark::GnmiString),
  };
  traceCalls();
  for (Zyn::ZynType const type : types) {
    EXPECT_NE(scalar(type, "7").substr(0, 5), "error") << type.name();
    EXPECT_THAT(taken(),
                ElementsAre("createScalarKey: Creating scalar key of type '" + std::string(type.name()) + "'"));
  }
}

TEST_F(ScalarKey, TheGnmiFormReadsAPattern) {
  Zyn::ZynType const range = module.value("PortRange")
                                 .attr("low", core(Kind::U16))
                                 .attr("high", core(Kind::U16))
                                 .args({"low", "high"})
                                 .gnmi("{low}-{high}");
  EXPECT_EQ(scalar(range, "1-9"), "Test::PortRange(low=1, high=9)");
}

TEST_F(ScalarKey, AWrapperGoesBeforeAnEnumeration) {
  Zyn::ZynType const both = module.wrapper("MarkedEnum", core(Kind::U16)).mark(Mark::Enum);
  EXPECT_EQ(scalar(both, "7"), "Test::MarkedEnum(7)");
}

TEST_F(ScalarKey, AnEnumerationGoesBeforeAUnion) {
  Zyn::ZynType const both = module.enumeration("MarkedUnion", {{"up", 1}}).mark(Mark::Union);
  EXPECT_EQ(scalar(both, "up"), "'up'");
}

TEST_F(ScalarKey, OnlyTheCoreStringTypeIsQuoted) {
  Zyn::ZynType const name = module.scalar("Name", Kind::String);
  EXPECT_EQ(scalar(name, "\"quoted by the caller\""), "\"quoted by the caller\"");
  EXPECT_EQ(scalar(name, "bare").substr(0, 5), "error");
}

TEST_F(ScalarKey, TheFirstAlternativeThatDecodesWins) {
  Zyn::ZynType const both = module.unionOf("Both", {{"first", core(Kind::U32)}, {"second", core(Kind::U64)}});
  EXPECT_EQ(scalar(both, "5"), "Test::Both(first=5)");
  traceCalls();
  (void)scalar(both, "5");
  EXPECT_THAT(taken(), ElementsAre("createScalarKey: Creating scalar key of type 'Test::Both'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::U32'"));
}

TEST_F(ScalarKey, AUnionWithoutAMatchNamesTheValueAndItself) {
  EXPECT_EQ(scalar(width, "x"), "error: 'x' doesn't match any alternatives of Union type 'Test::Width'");
  EXPECT_EQ(scalar(width, ""), "error: '' doesn't match any alternatives of Union type 'Test::Width'");
  Zyn::ZynType const none = module.unionOf("None");
  EXPECT_EQ(scalar(none, "x"), "error: 'x' doesn't match any alternatives of Union type 'Test::None'");
}

TEST_F(ScalarKey, AUnionInAUnionIsTriedAsAWhole) {
  Zyn::ZynType const nested =
      module.unionOf("Nested", {{"inner", width}, {"mac", core(Kind::MacAddress)}, {"other", core(Kind::String)}});
  EXPECT_EQ(scalar(nested, "300"), "Test::Nested(inner=Test::Width(large=300))");
  traceCalls();
  EXPECT_EQ(scalar(nested, "eth0"), "Test::Nested(other=\"eth0\")");
  EXPECT_THAT(taken(), ElementsAre("createScalarKey: Creating scalar key of type 'Test::Nested'",
                                   "createScalarKey: Creating scalar key of type 'Test::Width'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::U8'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::U16'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::MacAddress'",
                                   "createScalarKey: Creating scalar key of type 'Zyn::String'"));
}

TEST_F(ScalarKey, AUnionWithoutADefaultValueIsAProgrammingError) {
  Zyn::ZynType const broken = module.unionOf("Broken", {{"number", core(Kind::U32)}}).mark(Mark::Value, false);
  EXPECT_DEATH((void)scalar(broken, "1"), "zynType\\.isValue\\(\\)");
}

TEST_F(ScalarKey, AUnionWhoseDefaultFailsGivesThatText) {
  // An entity has no values, so its default cannot be made.
  Zyn::ZynType const broken = module.entity("Thing").mark(Mark::Union).mark(Mark::Value);
  std::string wanted;
  try {
    (void)broken.genericIf(static_cast<void const*>(nullptr), false);
  } catch (Velko::Exception const& exception) {
    wanted = "error: " + std::string(exception.what().view());
  }
  EXPECT_NE(wanted, "");
  EXPECT_EQ(scalar(broken, "1"), wanted);
}

TEST_F(ScalarKey, S4TextsAreReadWhenAskedForOnly) {
  EXPECT_EQ(scalar(flag, "CAE=", true), "Test::Flag(on=true)");
  EXPECT_EQ(scalar(flag, "CAE", true), "Test::Flag(on=true)");
  EXPECT_EQ(scalar(flag, "CAA", true), "Test::Flag(on=false)");
  // Without the flag the same type is a composite, which has no literal.
  EXPECT_EQ(scalar(flag, "CAE=", false).substr(0, 5), "error");
}

TEST_F(ScalarKey, S4TextsEndSilentlyWhereTheAlphabetDoes) {
  EXPECT_EQ(scalar(flag, "CAE=CAA=", true), "Test::Flag(on=true)");
  EXPECT_EQ(scalar(flag, "CAE\n", true), "Test::Flag(on=true)");
  EXPECT_EQ(scalar(flag, "CAE-", true), "Test::Flag(on=true)");
  EXPECT_EQ(scalar(flag, "CAE_", true), "Test::Flag(on=true)");
  // "CA E=" is "CA": one byte, a field number without its value.
  EXPECT_EQ(scalar(flag, "CA E=", true), scalar(flag, "CA", true));
  EXPECT_EQ(scalar(flag, "CA", true).substr(0, 5), "error");
}

TEST_F(ScalarKey, AnEmptyS4TextIsAnEmptyMessage) {
  Zyn::ZynType const empty = module.value("Empty").attr("on", core(Kind::Bool)).s4({{"on", 1}});
  EXPECT_EQ(scalar(empty, "", true), "Test::Empty()");
  EXPECT_EQ(scalar(empty, "=", true), "Test::Empty()");
  EXPECT_EQ(scalar(empty, "C", true), "Test::Empty()");
}

TEST_F(ScalarKey, AMalformedS4MessageGivesTheReadersWords) {
  std::string wanted;
  char const truncated = 0x08;
  Velko::Pb::ReadCursor cursor{&truncated, 0, 1};
  try {
    (void)flag.genericIfFromPbMessage(&cursor, false);
  } catch (Velko::Pb::PbReadException const& exception) {
    wanted = "error: " + std::string(exception.what().view());
  }
  EXPECT_NE(wanted, "");
  EXPECT_EQ(scalar(flag, "CA==", true), wanted);
}

TEST_F(ScalarKey, S4GoesBeforeTheGnmiFormButNotBeforeAWrapper) {
  Zyn::ZynType const range =
      module.value("Range").attr("low", core(Kind::U16)).args({"low"}).gnmi("{low}").s4({{"low", 1}});
  EXPECT_EQ(scalar(range, "CAE=", true), "Test::Range(low=1)");
  EXPECT_EQ(scalar(range, "5", false), "Test::Range(low=5)");
  Zyn::ZynType const wrapper = module.wrapper("S4Wrapper", core(Kind::U16)).mark(Mark::S4);
  EXPECT_EQ(scalar(wrapper, "5", true), "Test::S4Wrapper(5)");
}

TEST_F(ScalarKey, TheModeReachesInnerTypes) {
  Zyn::ZynType const wrapped = module.wrapper("WrappedFlag", flag);
  Zyn::ZynType const either = module.unionOf("Either", {{"number", core(Kind::U8)}, {"flag", flag}});
  EXPECT_EQ(scalar(wrapped, "CAE=", true), "Test::WrappedFlag(Test::Flag(on=true))");
  EXPECT_EQ(scalar(either, "CAE=", true), "Test::Either(flag=Test::Flag(on=true))");
  EXPECT_EQ(scalar(either, "CAE=", false), "error: 'CAE=' doesn't match any alternatives of Union type 'Test::Either'");
}

TEST_F(ScalarKey, LongS4TextsDecodeToTheSameBytesAsShortOnes) {
  // Around the length at which decoding goes on in slices, with every kind of ending.
  Zyn::ZynType const blob = module.value("Blob").attr("data", core(Kind::Bytes)).args({"data"}).s4({{"data", 1}});
  for (std::size_t const size :
       {0U, 1U, 3000U, 3060U, 3066U, 3067U, 3068U, 3069U, 3070U, 3071U, 3072U, 3073U, 6144U, 9211U, 9212U, 100000U}) {
    std::string bytes(size, '\0');
    std::ranges::generate(bytes, [next = 0U]() mutable { return static_cast<char>(next++ * 7); });
    Zyn::GenericIfArgs args;
    KeyElemNode data(core(Kind::Bytes), false);
    std::string const base64 = absl::Base64Escape(bytes);
    ASSERT_TRUE(data.insertPathSuffix({}, {}, Velko::String(base64)));
    args.push_back(data.value);
    std::string const s4 = Model::s4Text(*blob.genericIf(args, false));
    EXPECT_EQ(scalar(blob, s4, true), "Test::Blob(data=" + base64 + ")") << size;
    EXPECT_EQ(scalar(blob, s4.substr(0, s4.find('=')), true), "Test::Blob(data=" + base64 + ")") << size;
    if (size > 3069) {
      // A blank inside ends the text there: the message is cut short.
      EXPECT_EQ(scalar(blob, s4.substr(0, 4096) + ' ' + s4.substr(4096), true).substr(0, 5), "error") << size;
    }
  }
}

/** On a thread with a stack of 256 KiB. */
void onASmallStack(std::function<void()> run) {
  pthread_attr_t attributes;
  ASSERT_EQ(pthread_attr_init(&attributes), 0);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, std::size_t{1} << 18), 0);
  pthread_t thread = {};
  auto const start = [](void* task) -> void* {
    (*static_cast<std::function<void()>*>(task))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, start, &run), 0);
  ASSERT_EQ(pthread_join(thread, nullptr), 0);
  ASSERT_EQ(pthread_attr_destroy(&attributes), 0);
}

TEST_F(ScalarKey, NoTextIsTooLongForTheStack) {
  // 8 MiB each: a message, no message, a string, and what no alternative reads.
  Zyn::ZynType const blob = module.value("Blob").attr("data", core(Kind::Bytes)).args({"data"}).s4({{"data", 1}});
  std::string const text(std::size_t{1} << 23, 'A');
  Zyn::GenericIfArgs args;
  args.push_back(core(Kind::Bytes).genericIf(Velko::String(text), false));
  std::string const message = Model::s4Text(*blob.genericIf(args, false));
  onASmallStack([&] {
    EXPECT_EQ(scalar(blob, message, true).size(), std::string("Test::Blob(data=)").size() + text.size());
    EXPECT_EQ(scalar(blob, text, true).substr(0, 5), "error");
    EXPECT_EQ(scalar(core(Kind::String), text).size(), text.size() + 2);
    EXPECT_EQ(scalar(width, text), "error: '" + text + "' doesn't match any alternatives of Union type 'Test::Width'");
  });
}

TEST_F(ScalarKey, ATypeThatIsNoneReadsNothing) {
  for (bool const s4 : {false, true}) {
    for (std::string_view const text : {"", "x", "CAE="}) {
      EXPECT_EQ(scalar(Zyn::ZynType(), text, s4).substr(0, 5), "error") << text;
    }
  }
}

TEST_F(ScalarKey, TheCoreStringTypeIsToldByItselfNotByItsName) {
  // Nothing but the core type is quoted: not a wrapper of it, whose own text is its inner value's, nor a type alike.
  Zyn::ZynType const alike = module.scalar("String", Kind::String);
  EXPECT_EQ(scalar(alike, "\"x\""), "\"x\"");
  EXPECT_EQ(scalar(core(Kind::String), "\"x\""), "\"\"x\"\"");
  EXPECT_EQ(scalar(label, "\"x\""), "Test::Label(\"\"x\"\")");
}

TEST_F(ScalarKey, TracesNothingUnlessEnabled) {
  (void)scalar(portName, "eth0");
  EXPECT_THAT(taken(), IsEmpty());
}

TEST_F(ScalarKey, ReferencesAreReleasedOnEveryPath) {
  auto const decoded = ZynKeyDecoder(Zyn::ZynAttr(), false).decodeScalarKey(outer, "", "7");
  auto const& value = std::get<ZynKeyDecoder::Single>(*decoded).value;
  EXPECT_EQ(value->useCount(), 1U);
  Model::ValuePtr const inner = Model::attribute(*value, "value");
  EXPECT_EQ(inner->useCount(), 2U);  // the wrapper's reference and ours
}

}  // namespace
}  // namespace Test
