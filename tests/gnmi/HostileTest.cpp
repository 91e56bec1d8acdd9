// Paths that nobody honest sends: an answer, or an error with its class and place; with memory for what the path holds.
//
// Memory is counted where it is taken, at `operator new`, whether it is given back or not; steps of a walk by the bound
// that they pass.
#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>

#include "gnmi/Message.h"
#include "gnmi/ModelValues.h"
#include "gnmi/Resolver.h"
#include "tests/gnmi/Sizes.h"
#include "tests/support/Allocations.h"
#include "tests/support/PathMessage.h"

namespace Gnmi {
namespace {

using Model::core;
using Model::Kind;
using Test::PathMessage;

struct Cost {
  std::size_t calls;
  std::size_t memory;
};

Cost costOf(std::function<void()> const& work) {
  Support::Allocations const before = Support::allocations;
  work();
  Support::Allocations const& after = Support::allocations;
  return {.calls = after.calls - before.calls, .memory = after.bytes - before.bytes};
}

/** Elements, or keys of one: 100,000. */
constexpr std::size_t some = many / 10;

bool visitAll(Resolved const&) { return true; }

std::string shown(Error const& error) {
  return std::string(nameOf(error.kind)) + (error.inPrefix ? " in the prefix, element " : ", element ") +
         std::to_string(error.element) + (error.key.empty() ? "" : ", key " + error.key.substr(0, 20)) + ": " +
         error.text.substr(0, 80);
}

std::string shown(std::expected<void, Error> const& done) { return done ? "found" : shown(done.error()); }

/** A device with VRFs and a box, which holds a device again. */
class Hostile : public testing::Test {
 protected:
  Model::Schema schema;
  Model::Module& module = schema.module("Test");
  Zyn::ZynType const pair =
      module.value("Pair").attr("x", core(Kind::String)).attr("y", core(Kind::U8)).args({"x", "y"});
  Zyn::ZynType const entry = module.entity("Entry").attr("key", pair);
  Zyn::ZynType const vrf = module.entity("Vrf").attr("name", core(Kind::String)).keyed("entry", entry, "key");
  Zyn::ZynType const box = module.entity("Box");
  Zyn::ZynType const device = module.entity("Device").keyed("vrf", vrf, "name").attr("box", box);
  Zyn::ZynType const withInner = module.extend(box).attr("inner", device);
  Resolver const resolver = Resolver(device);
  Resolved found;

  std::string at(Path const& path, Mode mode = Mode::Read) { return shown(resolver.resolve(path, found, mode)); }
  std::string at(std::string_view text, Mode mode = Mode::Read) {
    auto const path = parsePath(text);
    return path ? at(*path, mode) : shown(path.error());
  }
  std::string expanded(Path const& path) const { return shown(resolver.expand(path, visitAll)); }

  /** As text and as message. */
  static std::pair<std::string, PathMessage> repeated(std::string_view element, std::size_t count) {
    std::string text;
    PathMessage message;
    for (std::size_t i = 0; i != count; ++i) {
      (text += '/') += element;
      message.add_elem()->set_name(std::string(element));
    }
    return {text, message};
  }
};

TEST_F(Hostile, APrefixWithAWildcard) {
  for (std::string_view const text : {"/*", "/box/..."}) {
    Path const path = *join(*parsePath(text), *parsePath("/vrf[name=red]"));
    std::string const place = "WildcardRefused in the prefix, element " + std::to_string(text.size() / 5);
    EXPECT_EQ(at(path).substr(0, place.size()), place);
  }
  EXPECT_EQ(expanded(*join(*parsePath("/..."), *parsePath("/vrf[name=red]"))), "found");
  Path const open = *join(*parsePath("/vrf[name=*]"), *parsePath("/entry[x=a][y=1]"));
  EXPECT_EQ(at(open), "found");
  EXPECT_EQ(at(open, Mode::Write),
            "WildcardRefused in the prefix, element 0, key name: '*' stands for every key; name one");
}

TEST_F(Hostile, ATargetInAPath) {
  Path path = *parsePath("/box/inner");
  path.target = "elsewhere";
  auto const joined = join({}, path);
  ASSERT_FALSE(joined);
  EXPECT_EQ(shown(joined.error()),
            "Conflict, element 2: target 'elsewhere' stands in a path; it belongs in the prefix");
}

TEST_F(Hostile, ManyElements) {
  auto const [text, message] = repeated("box/inner", some);
  EXPECT_EQ(at(text), "found");
  EXPECT_EQ(found.nodes.size(), 2 * some);
  EXPECT_EQ(at(text + "/nosuch"),
            "UnknownNode, element " + std::to_string(2 * some) + ": unknown element 'nosuch' of Test::Device");
  EXPECT_EQ(shown(resolver.resolve(*readPath(message), found)).substr(0, 22), "UnknownNode, element 0");
  // Twice as many take twice the memory, in hardly more pieces; with results used again, none.
  auto const [half, halfMessage] = repeated("box/inner", some / 2);
  Cost const one = costOf([&, &half = half] { at(half); });
  Resolved fresh;
  Cost const whole = costOf([&, &text = text] { EXPECT_TRUE(resolver.resolve(*parsePath(text), fresh)); });
  EXPECT_LT(whole.memory, 400 * some);
  EXPECT_LT(one.memory, 200 * some);
  EXPECT_LT(whole.calls, 100U);
  Path const path = *parsePath(text);
  EXPECT_EQ(costOf([&] { EXPECT_TRUE(resolver.resolve(path, fresh)); }).calls, 0U);
}

TEST_F(Hostile, ManyWildcards) {
  for (std::string_view const wildcard : {"*", "..."}) {
    auto const [text, message] = repeated(wildcard, some);
    Path const path = *parsePath(text);
    EXPECT_EQ(at(path),
              "WildcardRefused, element 0: element '" + std::string(wildcard) + "' stands for many nodes; name one");
    Cost const cost = costOf([&] {
      EXPECT_EQ(expanded(path), "BoundPassed, element " + std::to_string(some) +
                                    ": the path has more than 64 elements of a kind, which is the bound");
    });
    EXPECT_LT(cost.memory, 10'000U);
    EXPECT_EQ(expanded(*readPath(message)).substr(0, 11), "BoundPassed");
  }
}

TEST_F(Hostile, FiftyDots) {
  std::string const fifty = repeated("...", 50).first;
  // Each of them goes into one more box.
  EXPECT_EQ(expanded(*parsePath(fifty)),
            "BoundPassed, element 50: the path means nodes more than 64 elements deep, which is the bound");
  // Where nothing leads back to itself, they mean what one means.
  Resolver const inner(vrf);
  std::size_t nodes = 0;
  auto const count = [&](Resolved const&) { return ++nodes != 0; };
  EXPECT_TRUE(inner.expand(*parsePath(fifty), count));
  EXPECT_EQ(nodes, 4U);
  // And take no more steps than the number of them, of nodes and of depths.
  for (std::size_t const dots : {25U, 50U}) {
    std::string const text = repeated("...", dots).first;
    EXPECT_TRUE(Resolver(vrf).expand(*parsePath(text), visitAll, Mode::Read, {.visited = dots * 4 * 3}));
  }
}

TEST_F(Hostile, TypesThatLeadToEachOther) {
  std::vector<Zyn::ZynType> types;
  for (int i = 0; i != 12; ++i) {
    types.emplace_back(module.entity("Knot" + std::to_string(i)));
  }
  for (Zyn::ZynType const from : types) {
    for (Zyn::ZynType const to : types) {
      module.extend(from).attr(Model::shortName(to), to);
    }
  }
  Resolver const knot(types.front());
  std::size_t nodes = 0;
  auto const count = [&](Resolved const&) { return ++nodes != 0; };
  Cost const cost = costOf([&] {
    EXPECT_EQ(shown(knot.expand(*parsePath("/.../.../..."), count)),
              "BoundPassed, element 3: the path means more than 100000 nodes, which is the bound");
  });
  EXPECT_EQ(nodes, 100'000U);
  EXPECT_LT(cost.memory, 1'000 * nodes);
  EXPECT_EQ(shown(knot.expand(*parsePath("/.../.../nosuch"), count)),
            "BoundPassed, element 3: the path makes more than 4000000 nodes be looked at, which is the bound");
}

TEST_F(Hostile, ManyKeysOfOneElement) {
  std::string text = "/vrf/entry[x=a][y=1]";
  PathMessage message;
  message.add_elem()->set_name("vrf");
  auto& keys = *message.add_elem();
  keys.set_name("entry");
  for (std::size_t i = 0; i != some; ++i) {
    text += "[z" + std::to_string(i) + "=1]";
    (*keys.mutable_key())["z" + std::to_string(i)] = "1";
  }
  EXPECT_EQ(at(text), "KeyUnknown, element 1, key z0: unknown key 'z0' of 'entry'");
  // Keys, and the table of their names.
  Cost const reading = costOf([&] { EXPECT_TRUE(parsePath(text)); });
  EXPECT_LT(reading.memory, 250 * some);
  EXPECT_LT(reading.calls, 100U);
  Path const path = *readPath(message);
  EXPECT_EQ(at(path), "KeyUnknown, element 1, key z0: unknown key 'z0' of 'entry'");
  EXPECT_LT(costOf([&] { at(path); }).memory, 10'000U);
  EXPECT_EQ(at("/vrf" + text.substr(10)), "KeyUnknown, element 0, key x: unknown key 'x' of 'vrf'");
  EXPECT_EQ(at(text + "[z7=1]"), "KeyTwice, element 1, key z7: key 'z7' is given twice");
}

TEST_F(Hostile, HugeValues) {
  std::string const huge(hugeSize, 'v');
  std::string const text = "/vrf[name=" + huge + "]/entry[x=" + huge + "][y=1]";
  Path const path = *parsePath(text);
  // Of two values: the text that goes to the type system, that in quotes, and what the value holds.
  EXPECT_LT(costOf([&] { EXPECT_EQ(at(path), "found"); }).memory, 8 * hugeSize + 4096);
  EXPECT_EQ(found.selections.size(), 2U);
  auto const written = resolver.canonical(found, ModelValues());
  ASSERT_TRUE(written);
  EXPECT_EQ(formatPath(*written), text);
  EXPECT_EQ(at("/vrf/entry[y=" + huge + "][x=a]").substr(0, 35), "ValueRefused, element 1, key y: Zyn");
  EXPECT_EQ(at("/" + huge).substr(0, 50), "UnknownNode, element 0: unknown element 'vvvvvvvvv");
  EXPECT_EQ(at("/vrf[" + huge + "=a]").substr(0, 47), "KeyUnknown, element 0, key vvvvvvvvvvvvvvvvvvvv");
}

TEST_F(Hostile, HugeValuesOfEscapes) {
  std::string text = "/vrf[name=";
  for (std::size_t i = 0; i != hugeSize / 2; ++i) {
    text += "\\]";
  }
  text += "]";
  Path path;
  // Room for all of the escapes, once.
  Cost const reading = costOf([&] { EXPECT_TRUE(parsePath(text, path)); });
  EXPECT_LT(reading.memory, text.size() + 4096);
  EXPECT_EQ(path.keys(path.elements()[0])[0].value, std::string(hugeSize / 2, ']'));
  EXPECT_EQ(at(path), "found");
}

TEST_F(Hostile, BytesThatNobodyExpects) {
  using namespace std::string_literals;
  EXPECT_EQ(at("/vrf[na\0me=a]"s), "KeyUnknown, element 0, key na\0me: unknown key 'na\0me' of 'vrf'"s);
  EXPECT_EQ(at("/vrf[name=a\0b]"s), "found");
  EXPECT_EQ(formatPath(*resolver.canonical(found, ModelValues())), "/vrf[name=a\0b]"s);
  EXPECT_EQ(at("/v\0rf"s), "UnknownNode, element 0: unknown element 'v\0rf' of Test::Device"s);
  EXPECT_EQ(at(R"(/vrf[name=\u0000]/nosuch)"), "UnknownNode, element 1: unknown element 'nosuch' of Test::Vrf");
  std::string const refused =
      "Malformed, element 0: expected four hexadecimal digits after '\\u', of a character that is no surrogat";
  EXPECT_EQ(at(R"(/vrf[name=\ud800])").substr(0, refused.size()), refused);
  EXPECT_EQ(at(R"(/vrf[name=\ud83d\ude00])").substr(0, refused.size()), refused);
  EXPECT_EQ(at("/vrf[name=\xff\xfe]"), "found");
}

TEST_F(Hostile, AMessageOfEmptyElements) {
  PathMessage message;
  for (std::size_t i = 0; i != many; ++i) {
    message.add_elem();
  }
  Cost const cost = costOf([&] {
    auto const path = readPath(message);
    ASSERT_FALSE(path);
    EXPECT_EQ(shown(path.error()), "Malformed, element 0: the element has no name");
  });
  EXPECT_LT(cost.memory, 10'000U);
  PathMessage strings;
  for (std::size_t i = 0; i != many; ++i) {
    strings.add_element(i + 1 == many ? "" : "box");
  }
  auto const path = readPath(strings);
  ASSERT_FALSE(path);
  EXPECT_EQ(shown(path.error()),
            "Malformed, element " + std::to_string(many - 1) + ": expected the name of an element; found the end");
}

}  // namespace
}  // namespace Gnmi
