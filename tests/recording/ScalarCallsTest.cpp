// Scalar keys call by call: what each kind of type is asked, what its alternatives and inner values get, what stays
// behind, and the check of the key's name.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <numeric>
#include <random>
#include <type_traits>

#include "tests/support/Calls.h"
#include "tests/support/Plain.h"

namespace Recording {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using namespace std::string_view_literals;

// ---- the decoder is two values, and nothing of it changes

struct TwoValues {
  Zyn::ZynAttr collectionAttr;
  bool useS4Encoding;
};
static_assert(sizeof(ZynKeyDecoder) == sizeof(TwoValues) && std::is_trivially_destructible_v<ZynKeyDecoder>);
static_assert(std::is_same_v<decltype(ZynKeyDecoder::collectionAttr), Zyn::ZynAttr const>);
static_assert(std::is_same_v<decltype(ZynKeyDecoder::useS4Encoding), bool const>);
static_assert(std::is_nothrow_constructible_v<ZynKeyDecoder, Zyn::ZynAttr, bool>);

using ScalarResult = KvStd::Expected<std::variant<ZynKeyDecoder::Single, ZynKeyDecoder::Multiple>, Velko::String>;
using Filter = ZynKeyDecoder::FilterMap;
using NoValue = KvStd::Expected<void, Velko::String>;
// Every operation is const, or needs no decoder, and none throws.
static_assert(
    std::is_same_v<decltype(&ZynKeyDecoder::decodeScalarKey),
                   ScalarResult (ZynKeyDecoder::*)(Zyn::ZynType, std::string_view, std::string_view) const noexcept>);
static_assert(
    std::is_same_v<decltype(&ZynKeyDecoder::processKeyPath),
                   NoValue (ZynKeyDecoder::*)(KeyElemNode&, std::string_view, std::string_view) const noexcept>);
static_assert(std::is_same_v<decltype(&ZynKeyDecoder::updateFilter),
                             NoValue (ZynKeyDecoder::*)(Filter&, std::string_view, std::string_view) const noexcept>);
static_assert(
    std::is_same_v<decltype(&ZynKeyDecoder::splitPath), ZynKeyDecoder::PathElements (*)(std::string_view) noexcept>);

static_assert(sizeof(ZynKeyDecoder::Single) == sizeof(Velko::Ptr<Zyn::GenericIf>));
static_assert(std::is_same_v<decltype(ZynKeyDecoder::Single::value), Velko::Ptr<Zyn::GenericIf>>);
static_assert(std::is_same_v<decltype(ZynKeyDecoder::Multiple::values), Filter>);
static_assert(sizeof(ZynKeyDecoder::Multiple) == sizeof(Filter));
static_assert(std::is_same_v<Filter::hasher, absl::Hash<Zyn::ZynAttr>> &&
              std::is_same_v<Filter::key_equal, std::equal_to<Zyn::ZynAttr>>);

// Three words in the order in which the reader takes them.
using Velko::Pb::ReadCursor;
static_assert(std::is_standard_layout_v<ReadCursor> && sizeof(ReadCursor) == 24);
static_assert(offsetof(ReadCursor, data) == 0 && offsetof(ReadCursor, position) == 8 &&
              offsetof(ReadCursor, length) == 16);

auto* const refuses = throws<Velko::Exception>;
auto* const cannotRead = throws<Velko::Pb::PbReadException>;

class ScalarCalls : public testing::Test {
 protected:
  /** No value outlives the call. */
  std::string scalar(Zyn::ZynType type, std::string_view value, bool s4 = false) {
    return decode(ZynKeyDecoder(Zyn::ZynAttr(), s4), type, "", value);
  }

  std::string decode(ZynKeyDecoder const& decoder, Zyn::ZynType type, std::string_view name, std::string_view value) {
    std::string text;
    {
      auto const key = decoder.decodeScalarKey(type, name, value);
      text = shown(key);
      auto const* const single = key ? std::get_if<ZynKeyDecoder::Single>(&*key) : nullptr;
      bool const isValue = single != nullptr && single->value;
      EXPECT_EQ(world.values(), isValue ? 1 : 0) << "the result alone is left: " << text;
      EXPECT_TRUE(!isValue || single->value->useCount() == 1) << text;
    }
    EXPECT_EQ(world.values(), 0);
    EXPECT_EQ(world.elements(), 0);
    return text;
  }

  std::vector<std::string> asked() { return world.calls(services); }

  /** A union of two alternatives. */
  Zyn::ZynType unionOf(std::string const& name, Zyn::ZynType first, Zyn::ZynType second) {
    Zyn::ZynType const type = world.type({.name = name, .isValue = true, .isUnion = true});
    world.attr(type, {.name = name + "1", .type = first});
    world.attr(type, {.name = name + "2", .type = second});
    return type;
  }

  Zyn::ZynType wrapperOf(std::string const& name, Zyn::ZynType inner) {
    Zyn::ZynType const type = world.type({.name = name, .valAttr = "held"});
    world.attr(type, {.name = "held", .type = inner});
    return type;
  }

  World world;
  Zyn::ZynType const number = world.type({.name = "Number", .isValue = true, .isScalarKind = true});
  Zyn::ZynType const string = world.type({.name = "String", .isScalarKind = true, .isString = true});
  Zyn::ZynType const s4 = world.type({.name = "S4", .hasS4 = true});
};

// ---- the rules

TEST_F(ScalarCalls, OnceARuleAppliesNoLaterOneIsAsked) {
  // The winner alone decides: none of the marks behind it is looked at, set or not.
  struct {
    std::string winner;
    Type type;
    std::vector<std::string> later;
  } const rows[] = {
      {"s4", {.name = "T", .hasS4 = true}, {"hasGnmi", "isEnum", "isFundamental", "isUnion", "isValue", "attributes"}},
      {"gNMI", {.name = "T", .hasGnmi = true}, {"isEnum", "isFundamental", "isUnion", "isValue", "attributes"}},
      {"wrapper", {.name = "T", .valAttr = "held"}, {"isEnum", "isFundamental", "isUnion", "isValue", "attributes"}},
      {"enumeration", {.name = "T", .isEnum = true}, {"isFundamental", "isUnion", "isValue", "attributes"}},
      {"string", {.name = "T", .isString = true}, {"isUnion", "isValue", "attributes"}},
      {"other", {.name = "T"}, {"isValue", "attributes"}},
  };
  for (auto const& row : rows) {
    Zyn::ZynType const type = world.type(row.type);
    world.attr(type, {.name = "held", .type = number});
    world.forget();
    EXPECT_THAT(scalar(type, "CAE=", true), StartsWith("v")) << row.winner;
    for (std::string const& query : row.later) {
      EXPECT_THAT(world.lines("T." + query), IsEmpty()) << row.winner;
    }
    // Which types are scalar is the tree's question, never that of decoding.
    EXPECT_THAT(world.lines("isScalarKind"), IsEmpty()) << row.winner;
    EXPECT_THAT(world.lines("argNames"), IsEmpty()) << row.winner;
  }
}

TEST_F(ScalarCalls, WithoutTheModeNobodyIsAskedForS4) {
  (void)scalar(s4, "CAE=", false);
  EXPECT_EQ(world.count("S4.hasS4Encoding"), 0U);
  EXPECT_EQ(world.lines("S4.genericIf"), std::vector<std::string>{"S4.genericIf(\"CAE=\", false)"});
}

TEST_F(ScalarCalls, AnS4WrapperWithAGnmiFormIsReadAsGnmi) {
  Zyn::ZynType const type = world.type({.name = "T", .hasS4 = true, .hasGnmi = true, .valAttr = "held"});
  world.attr(type, {.name = "held", .type = number});
  (void)scalar(type, "CAE=", true);
  EXPECT_EQ(world.lines(".generic"), std::vector<std::string>{"T.genericIfFromGnmiString(\"CAE=\", false)"});
}

TEST_F(ScalarCalls, ATypeThatIsNoneIsAskedLikeAnyOther) {
  world.fault("none.genericIf", 1, refuses("no type"));
  trace();
  EXPECT_EQ(scalar(Zyn::ZynType(), "x", true), "error: no type");
  EXPECT_EQ(world.lines("none.genericIf"), std::vector<std::string>{"none.genericIf(\"x\", false)"});
  EXPECT_EQ(world.lines("trace"), std::vector<std::string>{"trace createScalarKey: Creating scalar key of type ''"});
}

TEST_F(ScalarCalls, TextsNeedNoTerminatorAndMayBeNowhere) {
  Zyn::ZynType const color = world.type({.name = "Color", .isEnum = true});
  Zyn::ZynType const range = world.type({.name = "Range", .hasGnmi = true});
  Zyn::ZynType const types[] = {string, color, range, number, s4};
  std::string const longer = "CAE=CAE=";
  for (Zyn::ZynType const type : types) {
    (void)scalar(type, std::string_view(longer).substr(4, 3), true);
  }
  EXPECT_THAT(world.lines(".generic"),
              ElementsAre("String.genericIf(\"\"CAE\"\", false)", "Color.genericIf(\"'CAE'\", false)",
                          "Range.genericIfFromGnmiString(\"CAE\", false)", "Number.genericIf(\"CAE\", false)",
                          "S4.genericIfFromPbMessage(0801 at 0, false)"));
  world.forget();
  for (Zyn::ZynType const type : types) {
    (void)scalar(type, std::string_view(), true);
  }
  EXPECT_THAT(world.lines(".generic"),
              ElementsAre("String.genericIf(\"\"\"\", false)", "Color.genericIf(\"''\", false)",
                          "Range.genericIfFromGnmiString(\"\", false)", "Number.genericIf(\"\", false)",
                          "S4.genericIfFromPbMessage( at 0, false)"));
}

TEST_F(ScalarCalls, NullsOfEveryTextConstructorAreSuccess) {
  Zyn::ZynType const color = world.type({.name = "Color", .isEnum = true});
  Zyn::ZynType const wrapper = wrapperOf("Wrapper", number);
  struct {
    Zyn::ZynType type;
    std::string call;
  } const rows[] = {{string, "String.genericIf"},
                    {color, "Color.genericIf"},
                    {number, "Number.genericIf"},
                    {wrapper, "Wrapper.genericIf"}};
  for (auto const& row : rows) {
    world.fault(row.call, 1, [] {});
    EXPECT_EQ(scalar(row.type, "x"), "null") << row.call;
  }
}

// ---- s4

TEST_F(ScalarCalls, EveryByteIsADigitOrTheEnd) {
  for (int byte = 0; byte < 256; ++byte) {
    for (std::size_t place = 0; place < 5; ++place) {
      std::string text = "zZ+/9";
      text[place] = static_cast<char>(byte);
      world.forget();
      (void)scalar(s4, text, true);
      EXPECT_EQ(world.message, Plain::decodeBase64(text)) << byte << " at " << place;
    }
  }
}

TEST_F(ScalarCalls, TextsOfEveryShortLengthFitTheScratchBuffer) {
  // Bytes written past its end show under a sanitizer.
  for (std::size_t length = 0; length <= 130; ++length) {
    std::string const text(length, '/');
    world.forget();
    (void)scalar(s4, text, true);
    EXPECT_EQ(world.message, Plain::decodeBase64(text));
  }
}

TEST_F(ScalarCalls, LongTextsAreReadToTheirEndAndNoFurther) {
  // Around the lengths at which decoding goes on in slices, whole and with an end at each place nearby.
  std::mt19937 random(1);
  std::string text(8300, '\0');
  std::ranges::generate(
      text, [&] { return "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/"[random() % 64]; });
  auto const expectBytes = [&](std::string const& given, std::size_t place) {
    world.forget();
    (void)scalar(s4, given, true);
    EXPECT_EQ(world.message, Plain::decodeBase64(given)) << place;
  };
  for (std::size_t const around : {4096U, 8192U}) {
    for (std::size_t length = around - 5; length <= around + 5; ++length) {
      expectBytes(text.substr(0, length), length);
    }
    for (std::size_t end = around - 5; end <= around + 5; ++end) {
      std::string cut = text;
      cut[end] = end % 2 == 0 ? '=' : '\xff';
      expectBytes(cut, end);
    }
  }
}

TEST_F(ScalarCalls, TheScratchBufferIsGoneWhenTheMessageIsRead) {
  std::vector<std::uintptr_t> frames;
  for (std::size_t const length : {0U, 16U, 4096U, 40960U}) {
    world.fault("S4.genericIfFromPb", 1, [&frames] {
      frames.push_back(reinterpret_cast<std::uintptr_t>(__builtin_frame_address(0)));
      throw Velko::Pb::PbReadException(Velko::String("cut short"));
    });
    EXPECT_EQ(scalar(s4, std::string(length, 'A'), true), "error: cut short");
  }
  EXPECT_EQ(frames, std::vector<std::uintptr_t>(4, frames.front()));
}

TEST_F(ScalarCalls, BrokenPromisesSayWhere) {
  Zyn::ZynType const broken = world.type({.name = "Broken", .isUnion = true});
  Zyn::ZynType const color = world.type({.name = "Color", .isEnum = true});
  trace();
  EXPECT_DEATH((void)scalar(broken, "x"),
               "^assertion failed: zynType\\.isValue\\(\\) in defaultZynObject \\(Drovan/ZynKeyDecoder:1\\): \n");
  world.fault("Color.isEnumType", 2, [this, color] { world.of(color).isEnum = false; });
  EXPECT_DEATH((void)scalar(color, "x"),
               "^assertion failed: enumType\\.isEnumType\\(\\) in enumFromGnmiString \\(Drovan/ZynKeyDecoder:1\\): \n");
  world.fault("S4.genericIfFromPb", 1, [] {});
  EXPECT_DEATH((void)scalar(s4, "CAE=", true),
               "in createS4SyncKey \\(Drovan/ZynKeyDecoder:1\\): Unexpectedly failed to decode an s4 encoded value\n");
}

// ---- wrappers

TEST_F(ScalarCalls, WrappersGoFromTheInsideOutwardsOneReferenceEach) {
  Zyn::ZynType const outer = wrapperOf("Outer", wrapperOf("Middle", number));
  EXPECT_EQ(scalar(outer, "7"), "v3");
  EXPECT_THAT(world.calls({"none", "Number.is", "Number.has", "Number.val", "Middle.has", "Middle.val", "Outer.has",
                           "Outer.val"}),
              ElementsAre("held.attrType", "held.attrType", "Number.genericIf(\"7\", false)",
                          "Middle.genericIf([v1(1)], false)", "drop v1", "Outer.genericIf([v2(1)], false)", "drop v2",
                          "drop v3"));
}

TEST_F(ScalarCalls, AWrapperThatIsRefusedDropsItsInnerValue) {
  Zyn::ZynType const outer = wrapperOf("Outer", wrapperOf("Middle", number));
  world.fault("Middle.genericIf", 1, refuses("not this one {}"));
  EXPECT_EQ(scalar(outer, "7"), "error: not this one {}");
  EXPECT_EQ(world.count("Outer.genericIf"), 0U);
  EXPECT_EQ(world.count("drop"), 1U);
}

TEST_F(ScalarCalls, WrappersMayGoDeep) {
  Zyn::ZynType type = number;
  for (int level = 0; level < 1000; ++level) {
    type = wrapperOf("W", type);
  }
  EXPECT_EQ(scalar(type, "7"), "v1001");
}

TEST_F(ScalarCalls, OneScalarTakesNoMemoryOfContainers) {
  Zyn::ZynType const either = unionOf("Either", wrapperOf("Wrapper", number), s4);
  (void)scalar(either, "7", true);
  (void)scalar(s4, std::string(10000, 'A'), true);
  (void)scalar(number, "*");
  EXPECT_EQ(world.count("alloc"), 0U);
}

// ---- unions

TEST_F(ScalarCalls, EveryAlternativeGetsTheWholeValueAndTheMode) {
  Zyn::ZynType const either = unionOf("Either", s4, wrapperOf("Wrapper", s4));
  world.fault("S4.genericIfFromPb", 1, cannotRead("no"));
  EXPECT_EQ(scalar(either, "CAE= x", true), "v1");
  EXPECT_THAT(world.lines(".generic"),
              ElementsAre("Either.genericIf(null, false)", "S4.genericIfFromPbMessage(0801 at 0, false)",
                          "S4.genericIfFromPbMessage(0801 at 0, false)", "Wrapper.genericIf([v2(1)], false)",
                          "Either2.genericIfSet(v1(1), null, v3(1))"));
}

TEST_F(ScalarCalls, AnAlternativeFailsWhereverItsOwnPartsDo) {
  // A wrapper refused, a default of an inner union refused, and an inner union that rejects what decoded: each is one
  // alternative less, no more.
  Zyn::ZynType const wrapper = wrapperOf("Wrapper", number);
  Zyn::ZynType const inner = unionOf("Inner", number, string);
  struct {
    Zyn::ZynType first;
    std::string call;
    std::size_t numbers;
  } const rows[] = {
      {wrapper, "Wrapper.genericIf([", 1}, {inner, "Inner.genericIf(null", 0}, {inner, "Inner1.genericIfSet(", 1}};
  for (auto const& row : rows) {
    Zyn::ZynType const outer = unionOf("Outer", row.first, string);
    world.fault(row.call, 1, refuses("no"));
    world.forget();
    EXPECT_THAT(scalar(outer, "x"), StartsWith("v")) << row.call;
    EXPECT_EQ(world.count("Number.genericIf"), row.numbers) << row.call;
    EXPECT_EQ(world.lines("String.genericIf"), std::vector<std::string>{"String.genericIf(\"\"x\"\", false)"});
    EXPECT_EQ(world.count("Outer2.genericIfSet"), 1U) << row.call;
    EXPECT_EQ(world.count("format"), 0U) << row.call;
  }
}

TEST_F(ScalarCalls, TheDefaultIsTheResultAndTheAlternativesReferenceIsDropped) {
  Zyn::ZynType const either = unionOf("Either", number, string);
  EXPECT_EQ(scalar(either, "x"), "v1");
  EXPECT_THAT(world.calls({"none", "Either.", "Number.is", "Number.has", "Number.val"}),
              ElementsAre("Either1.attrType", "Number.genericIf(\"x\", false)",
                          "Either1.genericIfSet(v1(1), null, v2(1))", "drop v2", "drop v1"));
}

TEST_F(ScalarCalls, ARejectedAlternativeLeavesNothing) {
  Zyn::ZynType const either = unionOf("Either", number, string);
  world.fault("Either1.genericIfSet", 1, refuses("rejected"));
  EXPECT_EQ(scalar(either, "x"), "error: rejected");
  EXPECT_EQ(world.count("drop"), 2U);
}

TEST_F(ScalarCalls, AUnionWithoutAlternativesHasItsDefaultFirst) {
  Zyn::ZynType const none = world.type({.name = "None", .isValue = true, .isUnion = true});
  EXPECT_EQ(scalar(none, "x"), "error: 'x' doesn't match any alternatives of Union type 'None'");
  world.fault("None.genericIf(null", 1, refuses("no default"));
  EXPECT_EQ(scalar(none, "x"), "error: no default");
}

TEST_F(ScalarCalls, TheUnionsWordsQuoteAnyBytes) {
  Zyn::ZynType const none = world.type({.name = "{1}", .isValue = true, .isUnion = true});
  EXPECT_EQ(scalar(none, "\0{}\xff'\n"sv), "error: '\0{}\xff'\n' doesn't match any alternatives of Union type '{1}'"sv);
}

TEST_F(ScalarCalls, TheInnermostUnionThatNothingFitsIsNotNamed) {
  Zyn::ZynType const inner = unionOf("Inner", s4, s4);
  Zyn::ZynType const outer = unionOf("Outer", inner, s4);
  for (int nth = 1; nth <= 3; ++nth) {
    world.fault("S4.genericIfFromPb", nth, cannotRead("no"));
  }
  EXPECT_EQ(scalar(outer, "AAAA", true), "error: 'AAAA' doesn't match any alternatives of Union type 'Outer'");
  EXPECT_EQ(world.count("S4.genericIfFromPb"), 3U);
  EXPECT_EQ(world.count("genericIfSet"), 0U);
}

/** Counts how often its text is asked for. */
class Asked final : public Velko::Exception {
 public:
  explicit Asked(int& times) : Exception(Velko::String("no")), times_(&times) {}
  Velko::String what() const override {
    ++*times_;
    return Exception::what();
  }

 private:
  int* times_;
};

TEST_F(ScalarCalls, WhyAnAlternativeFailedIsAskedOnlyWhereItIsRead) {
  int asked = 0;
  auto const fails = [&](std::string const& call, int nth = 1) {
    world.forget();
    asked = 0;
    world.fault(call, nth, [&asked] { throw Asked(asked); });
  };
  fails("Number.genericIf");
  EXPECT_EQ(scalar(number, "x"), "error: no");
  EXPECT_EQ(asked, 1);

  Zyn::ZynType const wrapper = world.type({.name = "Wrapper", .valAttr = "held"});
  world.attr(wrapper, {.name = "held", .type = number});
  Zyn::ZynType const gnmi = world.type({.name = "Gnmi", .hasGnmi = true});
  Zyn::ZynType const color = world.type({.name = "Color", .isEnum = true});
  struct {
    Zyn::ZynType type;
    std::string call;
  } const rows[] = {{number, "Number.genericIf"},
                    {wrapper, "Number.genericIf"},
                    {wrapper, "Wrapper.genericIf"},
                    {gnmi, "Gnmi.genericIfFrom"},
                    {color, "Color.genericIf"},
                    {string, "String.genericIf"},
                    {unionOf("In", number, number), "In.genericIf"},
                    {unionOf("Set", number, number), "Set1.genericIfSet"}};
  for (auto const& row : rows) {
    Zyn::ZynType const either = unionOf("Either", row.type, string);
    fails(row.call);
    EXPECT_THAT(scalar(either, "x"), StartsWith("v")) << row.call;
    EXPECT_EQ(asked, 0) << row.call;
    EXPECT_EQ(world.count("format"), 0U) << row.call;
  }

  // A union in a union: only the outer one's own words are made, also where both fail in every alternative.
  Zyn::ZynType const outer = unionOf("Outer", unionOf("Inner", number, number), number);
  world.forget();
  asked = 0;
  for (int nth = 1; nth <= 3; ++nth) {
    world.fault("Number.genericIf", nth, [&asked] { throw Asked(asked); });
  }
  EXPECT_EQ(scalar(outer, "x"), "error: 'x' doesn't match any alternatives of Union type 'Outer'");
  EXPECT_EQ(asked, 0);
  EXPECT_EQ(world.count("format"), 1U);

  // The union's own refusals are read.
  Zyn::ZynType const last = unionOf("Last", number, string);
  for (std::string const call : {"Last.genericIf", "Last1.genericIfSet"}) {
    fails(call);
    EXPECT_EQ(scalar(last, "x"), "error: no") << call;
    EXPECT_EQ(asked, 1) << call;
  }
}

// ---- the words of exceptions

struct Narrower : Velko::Exception {
  using Velko::Exception::Exception;
};
struct NarrowerPb : Velko::Pb::PbReadException {
  using Velko::Pb::PbReadException::PbReadException;
};

TEST_F(ScalarCalls, WordsMayHoldAnyBytesAndComeFromANarrowerException) {
  world.fault("Number.genericIf", 1, [] { throw Narrower(Velko::String("a\0b\xff%s"sv)); });
  EXPECT_EQ(scalar(number, "x"), "error: a\0b\xff%s"sv);
  world.fault("S4.genericIfFromPb", 1, [] { throw NarrowerPb(Velko::String("c\0d{}"sv)); });
  EXPECT_EQ(scalar(s4, "x", true), "error: c\0d{}"sv);
  world.fault("Number.genericIf", 1, refuses(""));
  EXPECT_EQ(scalar(number, "x"), "error: ");
}

// ---- traces

TEST_F(ScalarCalls, EachTypeIsTracedBeforeItIsAskedAnything) {
  Zyn::ZynType const either = unionOf("Either", wrapperOf("Wrapper", number), world.type({.name = "Last"}));
  trace();
  world.fault("Number.genericIf", 1, refuses("no"));
  EXPECT_EQ(scalar(either, "x"), "v1");
  for (std::string const name : {"Either", "Wrapper", "Number", "Last"}) {
    std::vector<std::string> const lines = world.lines(name);
    EXPECT_EQ(lines.at(0), name + ".name");
    EXPECT_EQ(lines.at(1), "trace createScalarKey: Creating scalar key of type '" + name + "'");
    EXPECT_EQ(world.count("trace createScalarKey: Creating scalar key of type '" + name), 1U);
  }
  EXPECT_EQ(world.count("trace"), 4U);
}

TEST_F(ScalarCalls, TheSwitchIsReadBeforeEachTrace) {
  Zyn::ZynType const outer = wrapperOf("Outer", wrapperOf("Middle", number));
  trace();
  world.fault("Outer.hasGnmi", 1, [] { trace(false); });
  world.fault("Middle.hasGnmi", 1, [] { trace(); });
  (void)scalar(outer, "7");
  EXPECT_THAT(world.lines("trace"), ElementsAre("trace createScalarKey: Creating scalar key of type 'Outer'",
                                                "trace createScalarKey: Creating scalar key of type 'Number'"));
}

TEST_F(ScalarCalls, TracesChangeNothingElse) {
  Zyn::ZynType const either = unionOf("Either", wrapperOf("Wrapper", s4), number);
  std::vector<std::string> calls[2];
  for (bool const on : {false, true}) {
    trace(on);
    world.forget();
    world.fault("S4.genericIfFromPb", 1, cannotRead("no"));
    EXPECT_THAT(scalar(either, "CAE=", true), StartsWith("v"));
    std::vector<std::string> const kept = asked();
    std::ranges::copy_if(kept, std::back_inserter(calls[on ? 1 : 0]), [](std::string const& line) {
      // Values are numbered through the test; names are asked for the traces.
      return line.find(".name") == std::string::npos && line.find("(v") == std::string::npos;
    });
  }
  EXPECT_EQ(calls[0], calls[1]);
  EXPECT_THAT(calls[0], Not(IsEmpty()));
}

// ---- the name of a scalar key

class KeyName : public ScalarCalls {
 protected:
  std::string decode(std::string_view name, std::string_view value) {
    world.forget();
    return ScalarCalls::decode(ZynKeyDecoder(vlan, false), number, name, value);
  }
  /** Neither the value's type nor its text has been looked at. */
  bool undecoded() { return world.count("Number") == 0; }

  Zyn::ZynType const entry = world.type({.name = "Entry"});
  Zyn::ZynAttr const id = world.attr(entry, {.name = "id", .type = number});
  Zyn::ZynType const bridge = world.type({.name = "Bridge"});
  Zyn::ZynAttr const vlan =
      world.attr(bridge, {.name = "vlan", .type = entry, .keyed = true, .keyName = "id", .keyType = number});
};

TEST_F(KeyName, IsLookedUpOnTheEntriesByATerminatedName) {
  EXPECT_THAT(decode("id", "7"), StartsWith("v"));
  EXPECT_EQ(world.lines("attr("), std::vector<std::string>{"Entry.attr(\"id\"z)"});
  EXPECT_EQ(world.lines("vlan.").front(), "vlan.isKeyed");
  EXPECT_EQ(world.count("keyType"), 0U);
}

TEST_F(KeyName, ThatIsWrongEndsBeforeWildcardAndValue) {
  trace();
  for (std::string_view const value : {"*", "7", ""}) {
    EXPECT_EQ(decode("name", value), "error: Expected key name for 'vlan' is 'id'; found 'name'");
    EXPECT_TRUE(undecoded());
    EXPECT_EQ(world.count("trace"), 0U);
    EXPECT_EQ(world.lines("format"),
              std::vector<std::string>{"format \"Expected key name for '{}' is '{}'; found '{}'\""});
  }
}

TEST_F(KeyName, IsThatOfTheAttributeFound) {
  // The attribute found goes by another name than it was found by.
  for (int nth = 1; nth <= 8; ++nth) {
    world.fault("id.name", nth, [this] { world.of(id).name = "other"; });
  }
  world.fault("Entry.attr", 2, [this] { world.of(id).name = "id"; });
  world.fault("Entry.attr", 3, [this] { world.of(id).name = "id"; });
  EXPECT_THAT(decode("other", "7"), StartsWith("v"));
  EXPECT_EQ(decode("id", "7"), "error: Expected key name for 'vlan' is 'other'; found 'id'");
}

TEST_F(KeyName, ThatIsEmptyMatchesTheEmptyNameOnly) {
  world.fault("id.name", 1, [this] { world.of(id).name = ""; });
  EXPECT_EQ(decode("", "*"), "*");
  world.of(id).name = "id";
  world.fault("id.name", 1, [this] { world.of(id).name = ""; });
  EXPECT_EQ(decode("id", "*"), "error: Expected key name for 'vlan' is ''; found 'id'");
}

TEST_F(KeyName, IsIgnoredWhereTheCollectionDeclaresNone) {
  struct {
    std::string what;
    std::function<void(Attr&)> change;
    std::vector<std::string> asked;
  } const rows[] = {
      {"keyed", [](Attr& row) { row.keyed = false; }, {"vlan.isKeyed"}},
      {"key name", [](Attr& row) { row.keyName.reset(); }, {"vlan.isKeyed", "vlan.internalKeyName"}},
      {"empty key name", [](Attr& row) { row.keyName = ""; }, {"vlan.isKeyed", "vlan.internalKeyName"}},
      {"attribute of that name",
       [](Attr& row) { row.keyName = "ID"; },
       {"vlan.isKeyed", "vlan.internalKeyName", "vlan.attrType", "Entry.attr(\"ID\"z)"}},
      {"type of the entries",
       [](Attr& row) { row.type = {}; },
       {"vlan.isKeyed", "vlan.internalKeyName", "vlan.attrType", "none.attr(\"id\"z)"}},
  };
  Attr const before = world.of(vlan);
  for (auto const& row : rows) {
    world.of(vlan) = before;
    row.change(world.of(vlan));
    for (std::string_view const name : {"", "id", "whatever"}) {
      EXPECT_EQ(decode(name, "*"), "*") << row.what;
      EXPECT_EQ(asked(), row.asked) << row.what;
      EXPECT_THAT(decode(name, "7"), StartsWith("v")) << row.what;
    }
  }
}

TEST_F(KeyName, OfAnEmptyAttributeIsTheEmptyName) {
  world.attr(entry, {.name = "ID", .type = number});
  world.of(vlan).keyName = "ID";
  EXPECT_EQ(decode("", "*"), "error: Expected key name for 'vlan' is 'ID'; found ''");
  EXPECT_EQ(decode("id", "*"), "error: Expected key name for 'vlan' is 'ID'; found 'id'");
  EXPECT_EQ(decode("ID", "*"), "*");
}

TEST_F(KeyName, MayBeAViewThatEndsAnywhere) {
  std::string const longer = "idx";
  EXPECT_EQ(decode(std::string_view(longer).substr(0, 2), "*"), "*");
  EXPECT_EQ(decode(std::string_view(longer).substr(0, 1), "*").substr(0, 5), "error");
  EXPECT_EQ(decode(std::string_view(), "*").substr(0, 5), "error");
}

TEST_F(KeyName, IsComparedByteForByteToItsEnd) {
  EXPECT_EQ(decode("id\0"sv, "*").substr(0, 5), "error");
  EXPECT_EQ(decode("\0id"sv, "*").substr(0, 5), "error");
  world.of(id).name = "i\1d\xff";
  world.of(vlan).keyName = "i\1d\xff";
  EXPECT_EQ(decode("i\1d\xff", "*"), "*");
  EXPECT_EQ(decode("i\1d", "*").substr(0, 5), "error");
}

TEST_F(KeyName, TheWildcardAsksTheTypeNothingAndIsTracedOnce) {
  EXPECT_EQ(decode("id", "*"), "*");
  EXPECT_TRUE(undecoded());
  EXPECT_EQ(world.count("trace"), 0U);
  EXPECT_EQ(world.count("alloc"), 0U);
  trace();
  EXPECT_EQ(decode("id", "*"), "*");
  EXPECT_EQ(world.lines("trace"), std::vector<std::string>{"trace decodeScalarKey: Found a wildcard"});
  EXPECT_EQ(world.log.back(), "trace decodeScalarKey: Found a wildcard");
  EXPECT_TRUE(undecoded());
}

TEST_F(KeyName, WhatOnlyLooksLikeTheWildcardIsText) {
  trace();
  for (std::string_view const value : {"**"sv, "*\0"sv, "\0*"sv, " *"sv, "* "sv, "'*'"sv, ""sv}) {
    EXPECT_THAT(decode("id", value), StartsWith("v"));
    EXPECT_EQ(world.lines("Number.genericIf"),
              std::vector<std::string>{"Number.genericIf(\"" + std::string(value) + "\", false)"});
    EXPECT_EQ(world.count("wildcard"), 0U);
  }
  // A view of one star in a longer text is one.
  EXPECT_EQ(decode("id", "**"sv.substr(1)), "*");
}

TEST_F(KeyName, ErrorsOfTheValueComeBackAsTheyAre) {
  world.fault("Number.genericIf", 1, refuses("{} '7'"));
  EXPECT_EQ(decode("id", "7"), "error: {} '7'");
  EXPECT_EQ(world.count("format"), 0U);
}

// ---- the decoder

TEST_F(KeyName, TheDecodersModeIsForScalarsAndFiltersAndATreeHasItsOwn) {
  Zyn::ZynType const key = world.type({.name = "Key"});
  world.attr(key, {.name = "a", .type = s4});
  world.of(vlan).keyType = key;
  for (bool const mode : {false, true}) {
    ZynKeyDecoder const decoder(vlan, mode);
    std::string const own = mode ? "S4.genericIfFromPbMessage(0801 at 0, false)" : "S4.genericIf(\"CAE=\", false)";
    std::string const other = mode ? "S4.genericIf(\"CAE=\", false)" : "S4.genericIfFromPbMessage(0801 at 0, false)";
    world.forget();
    ASSERT_TRUE(decoder.decodeScalarKey(s4, "id", "CAE="));
    EXPECT_EQ(world.lines("S4.generic"), std::vector<std::string>{own});
    world.forget();
    Filter filter;
    ASSERT_TRUE(decoder.updateFilter(filter, "a", "CAE="));
    EXPECT_EQ(world.lines("S4.generic"), std::vector<std::string>{own});
    world.forget();
    KeyElemNode root(s4, !mode);
    world.of(vlan).keyed = false;
    ASSERT_TRUE(root.insertPathSuffix({}, {}, Velko::String("CAE=")));
    EXPECT_EQ(world.lines("S4.generic"), std::vector<std::string>{other});
    world.forget();
    KeyElemNode tree(key, !mode);
    world.of(s4).isValue = true;
    world.of(s4).isScalarKind = true;
    ASSERT_TRUE(decoder.processKeyPath(tree, "a", "CAE="));
    EXPECT_EQ(world.lines("S4.generic"), std::vector<std::string>{other});
    world.of(vlan).keyed = true;
    EXPECT_EQ(decoder.collectionAttr, vlan);
    EXPECT_EQ(decoder.useS4Encoding, mode);
  }
}

TEST_F(KeyName, NothingOfTheCollectionIsRemembered) {
  ZynKeyDecoder const decoder(vlan, false);
  EXPECT_EQ(ScalarCalls::decode(decoder, number, "id", "*"), "*");
  Zyn::ZynType const others = world.type({.name = "Others"});
  world.attr(others, {.name = "number", .type = number});
  world.of(vlan).type = others;
  EXPECT_EQ(ScalarCalls::decode(decoder, number, "name", "*"), "*");
  world.of(vlan).keyName = "number";
  EXPECT_EQ(ScalarCalls::decode(decoder, number, "id", "*"),
            "error: Expected key name for 'vlan' is 'number'; found 'id'");
  Filter filter;
  EXPECT_FALSE(decoder.updateFilter(filter, "number", "7"));
  world.of(vlan).keyType = others;
  EXPECT_TRUE(decoder.updateFilter(filter, "number", "7"));
}

TEST_F(KeyName, TheCollectionStandsBeforeTheMode) {
  ZynKeyDecoder const decoder(vlan, true);
  auto const at = [](auto const* place) { return reinterpret_cast<std::uintptr_t>(place); };
  EXPECT_EQ(at(&decoder.collectionAttr), at(&decoder));
  EXPECT_EQ(at(&decoder.useS4Encoding), at(&decoder) + offsetof(TwoValues, useS4Encoding));
}

TEST_F(KeyName, MakingADecoderAsksNothing) {
  world.forget();
  ZynKeyDecoder const decoder(vlan, true);
  ZynKeyDecoder const same = decoder;
  EXPECT_THAT(world.log, IsEmpty());
  EXPECT_EQ(same.collectionAttr, vlan);
  EXPECT_TRUE(same.useS4Encoding);
}

}  // namespace
}  // namespace Recording
