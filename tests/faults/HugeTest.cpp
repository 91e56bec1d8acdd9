// Values and paths of 64 MiB (8 under the address sanitizer), and types nested as deep as the model has them: decoded
// or refused by the type's own rules, without deep stacks; and texts are read a few times over, however long they are.
#include "tests/support/Allocations.h"
#include "tests/support/DecoderTest.h"
#include "tests/support/PagesRead.h"

namespace {

#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t hugeSize = std::size_t{8} << 20U;
#else
constexpr std::size_t hugeSize = std::size_t{64} << 20U;
#endif

}  // namespace

namespace Test {
namespace {

class Huge : public DecoderTest {
 protected:
  static constexpr std::size_t size = hugeSize;
};

TEST_F(Huge, StringsAreHeld) {
  std::string const text(size, '"');
  KeyElemNode node(core(Kind::String), false);
  ASSERT_TRUE(node.insertPathSuffix({}, {}, Velko::String(std::string_view(text))));
  EXPECT_EQ(Model::as<std::string>(*node.value), text);
}

TEST_F(Huge, BytesAreHeld) {
  std::string const text(size, 'A');
  KeyElemNode node(core(Kind::Bytes), false);
  ASSERT_TRUE(node.insertPathSuffix({}, {}, Velko::String(std::string_view(text))));
  EXPECT_EQ(Model::as<std::string>(*node.value).size(), size / 4 * 3);
}

TEST_F(Huge, S4TextsAreDecoded) {
  Zyn::ZynType const blob = module.value("Blob").attr("data", core(Kind::Bytes)).s4({{"data", 1}});
  // Unknown fields, one after another, as far as the text goes: skipped.
  std::string text;
  while (text.size() < size) {
    text += "EAEQARAB";  // three times field 2, a varint
  }
  EXPECT_EQ(scalar(blob, text, true), "Test::Blob()");
}

class Refused : public Huge {
 protected:
  Refused() {
    for (Kind const kind : {Kind::Bool, Kind::S8, Kind::U64, Kind::Double, Kind::Seconds, Kind::Time, Kind::IpAddress,
                            Kind::IpPrefix, Kind::MacAddress}) {
      types.push_back(core(kind));
    }
  }

  Zyn::ZynType const color = module.enumeration("Color", {{"red", 1}});
  Zyn::ZynType const vlan = module.wrapper("Vlan", core(Kind::U16));
  Zyn::ZynType const range = module.value("Range")
                                 .attr("low", core(Kind::U16))
                                 .attr("high", core(Kind::U16))
                                 .args({"low", "high"})
                                 .gnmi("{low}-{high}");
  Zyn::ZynType const flag = module.value("Flag").attr("on", core(Kind::Bool)).args({"on"});
  std::vector<Zyn::ZynType> types = {color, vlan, range, flag};
};

TEST_F(Refused, WithAShortMessage) {
  for (char const letter : {'1', '-', ':', '\0'}) {
    std::string const text(size, letter);
    for (Zyn::ZynType const type : types) {
      std::string const refused = scalar(type, text);
      EXPECT_EQ(refused.substr(0, 7), "error: ") << type.name() << ' ' << letter;
      EXPECT_LT(refused.size(), 500U) << type.name() << ' ' << letter;
    }
  }
}

/** Once to see that it does not fit, once more to say why, and once where it is copied between quotes. */
TEST_F(Refused, AfterAFewLooks) {
  for (char const letter : {'1', '-', ':', '\0'}) {
    Velko::String const text(std::string(std::size_t{1} << 20, letter));
    for (Zyn::ZynType const type : types) {
      KeyElemNode node(type, false);
      Support::PagesRead const read(text.view());
      EXPECT_FALSE(node.insertPathSuffix({}, {}, text));
      EXPECT_LE(read.count(), 3 * read.pages()) << type.name() << ' ' << letter;
    }
  }
}

TEST_F(Huge, AUnionsMessageQuotesTheWholeValue) {
  Zyn::ZynType const either = module.unionOf("Either", {{"number", core(Kind::U8)}, {"mac", core(Kind::MacAddress)}});
  std::string const text(size, '{');
  EXPECT_EQ(scalar(either, text), "error: '" + text + "' doesn't match any alternatives of Union type 'Test::Either'");
}

TEST_F(Huge, TheDeepestTypesAreDecoded) {
  Zyn::ZynType wrapper = core(Kind::U8);
  Zyn::ZynType either = core(Kind::U8);
  Zyn::ZynType mixed = core(Kind::U8);
  for (std::uint32_t level = 1; level <= Model::mostLevels; ++level) {
    std::string const name = std::to_string(level);
    wrapper = module.wrapper("W" + name, wrapper);
    either = module.unionOf("E" + name, {{"no", core(Kind::Bool)}, {"inner", either}});
    mixed = level % 2 == 0 ? module.wrapper("M" + name, mixed) : module.unionOf("M" + name, {{"inner", mixed}});
  }
  for (Zyn::ZynType const type : {wrapper, either, mixed}) {
    EXPECT_THAT(scalar(type, "7"), testing::StartsWith("Test::")) << type.name();
    EXPECT_THAT(scalar(type, "256"), testing::StartsWith("error: ")) << type.name();
  }
}

TEST_F(Huge, NoAlternativeOfAUnionCopiesTheValue) {
  std::string const text(size, 'x');
  auto const blocks = [&](std::size_t width) {
    Model::TypeBuilder either = module.unionOf("Either" + std::to_string(width));
    for (std::size_t i = 1; i < width; ++i) {
      either.attr("number" + std::to_string(i), module.scalar("Number" + std::to_string(width + i), Kind::U32));
    }
    either.attr("text", core(Kind::String));
    Zyn::ZynType const key = module.value("Key" + std::to_string(width)).attr("x", either).args({"x"});
    Zyn::ZynType const entry = module.entity("Entry" + std::to_string(width)).attr("key", key);
    Zyn::ZynType const owner = module.entity("Owner" + std::to_string(width)).keyed("list", entry, "key");
    ZynKeyDecoder const decoder(owner.attr("list"), false);
    ZynKeyDecoder::FilterMap filter;
    Support::Allocations& all = Support::allocations;
    all.bigSize = size;
    std::size_t const before = all.bigCalls;
    EXPECT_TRUE(decoder.decodeScalarKey(either, "key", text));
    EXPECT_TRUE(decoder.updateFilter(filter, "x", text));
    return all.bigCalls - before;
  };
  EXPECT_EQ(blocks(200), blocks(2));
}

TEST_F(Huge, PathsAreSplitWithMemoryTakenAFewTimes) {
  auto const allocations = [] {
    std::uint64_t sum = 0;
    for (Model::Memory const& tag : Model::memory()) {
      sum += tag.allocations;
    }
    return sum;
  };
  std::uint64_t const before = allocations();
  EXPECT_EQ(ZynKeyDecoder::splitPath(std::string(size, '_')).size(), size / 2 + 1);
  // Each time for twice as many elements.
  EXPECT_LE(allocations() - before, 25U);
}

}  // namespace
}  // namespace Test
