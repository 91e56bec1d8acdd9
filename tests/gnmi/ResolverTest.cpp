// What keys and paths select, over the embedded provider, whose values can be read.
#include "gnmi/Resolver.h"

#include <fmt/core.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>

#include "model/Runtime.h"
#include "model/Schema.h"
#include "model/Value.h"
#include "tests/gnmi/Sizes.h"
#include "text/Messages.h"

namespace Gnmi {
namespace {

using Drovan::ZynKeyDecoder;
using Model::core;
using Model::Kind;

std::string selectionText(Selection const& selection) {
  if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(&selection)) {
    return "exact " + Model::print(*single->value);
  }
  std::vector<std::string> parts;
  for (auto const& [attr, value] : std::get<ZynKeyDecoder::Multiple>(selection).values) {
    parts.push_back(std::string(" ") + attr.name() + "=" + Model::print(*value));
  }
  std::ranges::sort(parts);
  std::string text = parts.empty() ? "every" : "filter";
  for (std::string const& part : parts) {
    text += part;
  }
  return text;
}

class Resolve : public testing::Test {
 protected:
  ~Resolve() override {
    for (Model::Memory const& tag : Model::memory()) {
      EXPECT_EQ(tag.elements, 0) << tag.tag;
    }
  }

  Model::Schema schema;
  Model::Module& module = schema.module("Test");
  Zyn::ZynType const colour = module.enumeration("Colour", {{"red", 0}, {"blue", 1}});
  Zyn::ZynType const vlan = module.wrapper("Vlan", core(Kind::U16));
  Zyn::ZynType const peer = module.unionOf("Peer", {{"number", core(Kind::U32)}, {"address", core(Kind::IpAddress)}});
  Zyn::ZynType const range = module.value("Range")
                                 .attr("low", core(Kind::U16))
                                 .attr("high", core(Kind::U16))
                                 .args({"low", "high"})
                                 .gnmi("{low}-{high}");
  Zyn::ZynType const pair = module.value("Pair")
                                .attr("vrf", core(Kind::String))
                                .attr("colour", colour)
                                .attr("tag", core(Kind::U32))
                                .args({"vrf", "colour"})
                                .s4({{"vrf", 1}, {"colour", 2}, {"tag", 3}});
  Zyn::ZynType const site =
      module.value("Site").attr("row", core(Kind::U8)).attr("seat", core(Kind::U8)).args({"row", "seat"});
  // `site` is built from what stands under its name, or from `row` and `seat` beside it.
  Zyn::ZynType const nested = module.value("Nested")
                                  .attr("site", site)
                                  .attr("row", core(Kind::U8))
                                  .attr("seat", core(Kind::U8))
                                  .attr("id", core(Kind::U32))
                                  .args({"site", "id"});
  // Both ends are sites, of which `row` and `seat` beside them make one.
  Zyn::ZynType const link = module.value("Link")
                                .attr("from", site)
                                .attr("to", site)
                                .attr("row", core(Kind::U8))
                                .attr("seat", core(Kind::U8))
                                .args({"from", "to"});
  // The site is set on a key that is built without it.
  Zyn::ZynType const placed = module.value("Placed").attr("id", core(Kind::U32)).attr("site", site).args({"id"});
  // Parts that have a text of their own, or are built from theirs.
  Zyn::ZynType const texts =
      module.value("Texts").attr("vlan", vlan).attr("range", range).attr("peer", peer).args({"vlan", "range"});
  // An attribute of the key has the name of the attribute that holds the key.
  Zyn::ZynType const own = module.value("Own").attr("key", core(Kind::U8)).attr("other", core(Kind::U8)).args({"key"});
  Zyn::ZynType const free = module.value("Free").attr("x", core(Kind::U8)).attr("y", core(Kind::U8));
  Zyn::ZynType const rootType = module.entity("Root");

  Zyn::ZynType keyed(std::string_view name, Zyn::ZynType key, std::optional<std::string_view> by = "key",
                     std::string_view held = "key") {
    Zyn::ZynType const entry = module.entity(std::string(name) + "Entry").attr(held, key).attr("leaf", core(Kind::U8));
    module.extend(rootType).keyed(name, entry, by, key);
    return entry;
  }

  void SetUp() override {
    keyed("string", core(Kind::String), "name", "name");
    keyed("colour", colour);
    keyed("vlan", vlan);
    keyed("peer", peer);
    keyed("range", range);
    Zyn::ZynType const entry = keyed("pair", pair);
    keyed("nested", nested);
    keyed("link", link);
    keyed("placed", placed);
    keyed("texts", texts);
    keyed("oddlyHeld", pair, "key_", "key_");
    keyed("own", own);
    keyed("free", free);
    keyed("nameless", core(Kind::U8), std::nullopt);
    keyed("stray", core(Kind::U8), "number");
    keyed("namelessPair", pair, std::nullopt);
    keyed("strayPair", pair, "number");
    module.extend(entry).keyed("inner", entry, "key");
    module.extend(rootType).list("event", entry).attr("leaf", core(Kind::U8)).attr("m:leaf", core(Kind::String));
    // The entries hold their key in an attribute that came too late for the collection to know its type.
    Zyn::ZynType const late = module.entity("LateEntry");
    module.extend(rootType).keyed("late", late, "key");
    module.extend(late).attr("key", core(Kind::U8));
  }

  /** What each element selects, or the class and place of the error, its text and the names that exist. */
  std::string at(std::string_view text, Options const& options = {}, Mode mode = Mode::Read) const {
    auto const path = parsePath(text);
    if (!path) {
      return shown(path.error());
    }
    Resolved found;
    if (auto const done = Resolver(rootType, options).resolve(*path, found, mode); !done) {
      return shown(done.error());
    }
    std::string line;
    for (Selected const& one : found.selections) {
      EXPECT_EQ(found.nodes[one.node], one.collection);
      line += (line.empty() ? "" : "; ") + std::string(one.collection.name()) + " " + shown(one.selection);
    }
    return line;
  }

  static std::string shown(Error const& error) {
    return std::string(nameOf(error.kind)) + " at " + std::to_string(error.offset.value()) + ": " + error.text +
           Text::listNames(error.names);
  }
  static std::string shown(Selection const& selection) { return selectionText(selection); }
};

struct Row {
  std::string_view path;
  std::string_view result;
};

TEST_F(Resolve, AKeyOfOneValue) {
  Row const rows[] = {
      {"/string[name=eth0]", "string exact \"eth0\""},
      {"/string[name=]", "string exact \"\""},
      {"/string[name=*]", "string every"},
      {"/string", "string every"},
      {R"(/string[name=\]a/b])", "string exact \"]a/b\""},
      {"/colour[key=red]", "colour exact 'red'"},
      {"/vlan[key=7]", "vlan exact Test::Vlan(7)"},
      {"/peer[key=7]", "peer exact Test::Peer(number=7)"},
      {"/peer[key=10.0.0.1]", "peer exact Test::Peer(address=10.0.0.1)"},
      {"/range[key=1-2]", "range exact Test::Range(low=1, high=2)"},
      {"/nameless[anything=7]", "nameless exact 7"},
      {"/stray[number=7]", "stray exact 7"},
      // The other way round.
      {"/string[id=eth0]", "KeyUnknown at 8: unknown key 'id' of 'string'; there is 'name'"},
      {"/string[name__x=eth0]", "KeyUnknown at 8: unknown key 'name__x' of 'string'; there is 'name'"},
      {"/stray[key=7]", "KeyUnknown at 7: unknown key 'key' of 'stray'; there is 'number'"},
      {"/range[low=1][high=2]", "KeyUnknown at 7: unknown key 'low' of 'range'; there is 'key'"},
      {"/string[name=a][name=b]", "KeyTwice at 16: key 'name' is given twice"},
      {"/string[name=*][name=*]", "KeyTwice at 16: key 'name' is given twice"},
      {"/string[name=a][leaf=1]",
       "KeyUnknown at 16: key 'leaf' is one too many: the key is one value; there is 'name'"},
      {"/nameless[a=1][b=2]", "KeyUnknown at 15: key 'b' is one too many: the key is one value"},
      {"/vlan[key=65536]", "ValueRefused at 10: Zyn::U16: '65536' does not fit: a decimal number from 0 to 65535"},
      {"/colour[key=RED]", "ValueRefused at 12: Test::Colour: 'RED' does not fit: 'red', 'blue'; did you mean 'red'?"},
      {"/peer[key=eth0]", "ValueRefused at 10: 'eth0' doesn't match any alternatives of Union type 'Test::Peer'"},
  };
  for (auto const& [path, result] : rows) {
    EXPECT_EQ(at(path), result) << path;
  }
}

TEST_F(Resolve, AKeyOfSeveralParts) {
  Row const rows[] = {
      // All it is built from; what it need not have completes it.
      {"/pair[vrf=a][colour=red]", "pair exact Test::Pair(vrf=\"a\", colour='red')"},
      {"/pair[colour=red][vrf=a]", "pair exact Test::Pair(vrf=\"a\", colour='red')"},
      {"/pair[vrf=a][colour=red][tag=7]", "pair exact Test::Pair(vrf=\"a\", colour='red', tag=7)"},
      {"/pair[key__vrf=a][colour=red][key__tag=7]", "pair exact Test::Pair(vrf=\"a\", colour='red', tag=7)"},
      {"/namelessPair[vrf=a][colour=red]", "namelessPair exact Test::Pair(vrf=\"a\", colour='red')"},
      {"/strayPair[vrf=a][colour=red]", "strayPair exact Test::Pair(vrf=\"a\", colour='red')"},
      {"/strayPair[number__vrf=a][colour=red]", "strayPair exact Test::Pair(vrf=\"a\", colour='red')"},
      {"/free[x=1]", "free exact Test::Free(x=1)"},
      // One left out, one open, all open, none.
      {"/pair[vrf=a]", "pair filter vrf=\"a\""},
      {"/pair[vrf=a][colour=*]", "pair filter vrf=\"a\""},
      {"/pair[key__vrf=a][colour=*]", "pair filter vrf=\"a\""},
      {"/pair[vrf=a][colour=red][tag=*]", "pair filter colour='red' vrf=\"a\""},
      {"/pair[tag=7]", "pair filter tag=7"},
      {"/pair[vrf=*][colour=*]", "pair every"},
      {"/pair[vrf=*]", "pair every"},
      {"/pair", "pair every"},
      {"/free", "free every"},
      {"/namelessPair[tag=7]", "namelessPair filter tag=7"},
      // Names that are wrong.
      {"/pair[vfr=a]", "KeyUnknown at 6: unknown key 'vfr' of 'pair'; there are 'vrf', 'colour', 'tag'"},
      {"/pair[vrf=a][key=b]", "KeyUnknown at 13: unknown key 'key' of 'pair'; there are 'vrf', 'colour', 'tag'"},
      {"/pair[key__vfr=a]", "KeyUnknown at 6: unknown key 'key__vfr' of 'pair'; there are 'vrf', 'colour', 'tag'"},
      {"/pair[nokey__vrf=a]",
       "KeyUnknown at 6: unknown key 'nokey__vrf' of 'pair': no 'nokey' in Test::Pair; there are 'vrf', 'colour', "
       "'tag'"},
      {"/pair[vrf__x=a]", "KeyUnknown at 6: unknown key 'vrf__x' of 'pair': no 'x' in Zyn::String"},
      {"/pair[__vrf=a]",
       "KeyUnknown at 6: unknown key '__vrf' of 'pair': no '' in Test::Pair; there are 'vrf', 'colour', 'tag'"},
      {"/namelessPair[__vrf=a]",
       "KeyUnknown at 14: unknown key '__vrf' of 'namelessPair': no '' in Test::Pair; there are 'vrf', 'colour', "
       "'tag'"},
      {"/pair[vrf=a][vrf=a]", "KeyTwice at 13: key 'vrf' is given twice"},
      {"/pair[vrf=*][vrf=*]", "KeyTwice at 13: key 'vrf' is given twice"},
      {"/pair[vrf=a][key__vrf=a]", "KeyTwice at 13: key 'key__vrf' is given twice, first as 'vrf'"},
      {"/pair[key__vrf=a][tag=1][vrf=a]", "KeyTwice at 25: key 'vrf' is given twice, first as 'key__vrf'"},
      // Values that are wrong: of a whole key, and of a filter.
      {"/pair[vrf=a][colour=RED]",
       "ValueRefused at 20: Test::Colour: 'RED' does not fit: 'red', 'blue'; did you mean 'red'?"},
      {"/pair[colour=RED]", "ValueRefused at 13: Test::Colour: 'RED' does not fit: 'red', 'blue'; did you mean 'red'?"},
      // A name that is wrong counts before a value that is.
      {"/pair[colour=RED][vfr=a]", "KeyUnknown at 18: unknown key 'vfr' of 'pair'; there are 'vrf', 'colour', 'tag'"},
  };
  for (auto const& [path, result] : rows) {
    EXPECT_EQ(at(path), result) << path;
  }
}

TEST_F(Resolve, PartsOfParts) {
  Row const rows[] = {
      {"/nested[site__row=1][site__seat=2][id=3]", "nested exact Test::Nested(site=Test::Site(row=1, seat=2), id=3)"},
      {"/nested[key__site__row=1][site__seat=2][key__id=3]",
       "nested exact Test::Nested(site=Test::Site(row=1, seat=2), id=3)"},
      {"/nested[row=1][seat=2][id=3]", "nested exact Test::Nested(site=Test::Site(row=1, seat=2), id=3)"},
      {"/nested[row=1][id=3]", "nested filter id=3 row=1"},
      {"/nested[id=3]", "nested filter id=3"},
      {"/nested[site__row=*][id=3]", "nested filter id=3"},
      {"/nested[site__row=1][id=3]", "Unsupported at 8: Filtering nested key 'site__row' is not supported"},
      {"/nested[site__row=1][site__seat=2]", "Unsupported at 8: Filtering nested key 'site__row' is not supported"},
      {"/nested[id=3][key__site__row=1]", "Unsupported at 14: Filtering nested key 'key__site__row' is not supported"},
      {"/nested[site=1][id=3]",
       "ValueRefused at 8: Expecting a scalar at leaf element 'site'; found composite of type 'Test::Nested'"},
      {"/nested[site=1]",
       "ValueRefused at 8: Test::Site: '1' does not fit: it is built from its attributes, not from text"},
      {"/nested[site__row=1][site__seat=2][site__row=1][id=3]", "KeyTwice at 35: key 'site__row' is given twice"},
      {"/nested[site__row=1][site__seat=999][id=3]",
       "ValueRefused at 32: Zyn::U8: '999' does not fit: a decimal number from 0 to 255"},
  };
  for (auto const& [path, result] : rows) {
    EXPECT_EQ(at(path), result) << path;
  }
}

TEST_F(Resolve, APartServesOnce) {
  Row const rows[] = {
      {"/link[row=1][seat=2]", "link filter row=1 seat=2"},
      {"/link[row=1][seat=2][from__row=3][from__seat=4]",
       "link exact Test::Link(from=Test::Site(row=3, seat=4), to=Test::Site(row=1, seat=2))"},
      {"/link[row=1][seat=2][to__row=3][to__seat=4]",
       "link exact Test::Link(from=Test::Site(row=1, seat=2), to=Test::Site(row=3, seat=4))"},
      {"/link[row=1][seat=2][from__row=3][from__seat=4][to__row=5][to__seat=6]",
       "link exact Test::Link(from=Test::Site(row=3, seat=4), to=Test::Site(row=5, seat=6), row=1, seat=2)"},
      {"/link[row=1][seat=2][to__row=3]", "Unsupported at 21: Filtering nested key 'to__row' is not supported"},
      {"/link[row=1]", "link filter row=1"},
      // What is set afterwards is built as well.
      {"/placed[id=1]", "placed exact Test::Placed(id=1)"},
      {"/placed[id=1][site__row=2][site__seat=3]", "placed exact Test::Placed(id=1, site=Test::Site(row=2, seat=3))"},
      {"/placed[id=1][site__row=2]", "Unsupported at 14: Filtering nested key 'site__row' is not supported"},
  };
  for (auto const& [path, result] : rows) {
    EXPECT_EQ(at(path), result) << path;
  }
}

TEST_F(Resolve, TheNameOfTheAttributeThatHoldsTheKeyNeedNotStandInAKeyPath) {
  // "key_", "__" and "vrf" together would be cut after "key".
  EXPECT_EQ(at("/oddlyHeld[vrf=a][colour=red]"), "oddlyHeld exact Test::Pair(vrf=\"a\", colour='red')");
}

TEST_F(Resolve, PartsOfPartsThatHaveATextToo) {
  Row const rows[] = {
      {"/texts[vlan=7][range=1-2]", "texts exact Test::Texts(vlan=Test::Vlan(7), range=Test::Range(low=1, high=2))"},
      {"/texts[vlan__value=7][range__low=1][range__high=2]",
       "texts exact Test::Texts(vlan=Test::Vlan(7), range=Test::Range(low=1, high=2))"},
      {"/texts[range__low=1][vlan=7]", "Unsupported at 7: Filtering nested key 'range__low' is not supported"},
      {"/texts[low=1][high=2][vlan=7]",
       "KeyUnknown at 7: unknown key 'low' of 'texts'; there are 'vlan', 'range', 'peer'"},
      {"/texts[vlan=7][vlan__value=8][range=1-2]",
       "KeyTwice at 15: key 'vlan__value' is a part of 'vlan', which is given, too"},
      {"/texts[range=1-2][key__range__low=1][key__vlan=*]",
       "KeyTwice at 18: key 'key__range__low' is a part of 'range', which is given, too"},
      {"/texts[vlan__value=70000][range=1-2]",
       "ValueRefused at 19: Zyn::U16: '70000' does not fit: a decimal number from 0 to 65535"},
      {"/texts[vlan=7][range=1-2][peer__number=7]",
       "ValueRefused at 1: Test::Peer: it is built by setting an alternative, not from arguments"},
  };
  for (auto const& [path, result] : rows) {
    EXPECT_EQ(at(path), result) << path;
  }
}

TEST_F(Resolve, AnAttributeOfTheKeyMayBeCalledAsTheKeyIs) {
  EXPECT_EQ(at("/own[key=1]"), "own exact Test::Own(key=1)");
  EXPECT_EQ(at("/own[key__key=1]"), "own exact Test::Own(key=1)");
  EXPECT_EQ(at("/own[key=1][key__other=2]"), "own exact Test::Own(key=1, other=2)");
  EXPECT_EQ(at("/own[other=2]"), "own filter other=2");
  EXPECT_EQ(at("/own[key=1][key__key=1]"), "KeyTwice at 12: key 'key__key' is given twice, first as 'key'");
}

TEST_F(Resolve, ElementsByName) {
  Row const rows[] = {
      {"", ""},
      {"/", ""},
      {"/leaf", ""},
      {"/pair/inner/leaf", "pair every; inner every"},
      {"/pair[tag=1]/inner[vrf=a][colour=red]/inner",
       "pair filter tag=1; inner exact Test::Pair(vrf=\"a\", "
       "colour='red'); inner every"},
      {"/event/inner[tag=1]", "inner filter tag=1"},
      {"o:/pair", "pair every"},
      {"/any:pair/some:inner[tag=1]", "pair every; inner filter tag=1"},
      {"/m:leaf", ""},
      {"/late", "late every"},
      {"/pair/innr", "UnknownNode at 6: unknown element 'innr' of Test::pairEntry; there are 'key', 'leaf', 'inner'"},
      {"/leaf/x", "UnknownNode at 6: unknown element 'x' of Zyn::U8"},
      {"/pair/a:b:inner",
       "UnknownNode at 6: unknown element 'a:b:inner' of Test::pairEntry; there are 'key', 'leaf', 'inner'"},
      {"/pair/:", "UnknownNode at 6: unknown element ':' of Test::pairEntry; there are 'key', 'leaf', 'inner'"},
      {"/pair/*", "WildcardRefused at 6: element '*' stands for many nodes; name one"},
      {"/pair/event[x=1]",
       "UnknownNode at 6: unknown element 'event' of Test::pairEntry; there are 'key', 'leaf', 'inner'"},
      {"/pair/leaf[x=1]",
       "KeyUnknown at 11: 'leaf' takes no keys and is none of the keyed collections; there is 'inner'"},
      {"/pair//", "Malformed at 6: expected the name of an element; found '/'"},
  };
  for (auto const& [path, result] : rows) {
    EXPECT_EQ(at(path), result) << path;
  }
  for (std::string_view const path : {"/event[x=*]", "/leaf[x=1]", "/late[key=1]"}) {
    EXPECT_TRUE(at(path).contains("takes no keys and is none of the keyed collections; there are 'string', 'colour', "))
        << at(path);
  }
}

TEST_F(Resolve, AModuleCountsWhereTheCallerKnowsIt) {
  Options const options = {.facts = {.moduleOf = [](Zyn::ZynAttr attr) {
                             return std::string_view(attr.name()) == "inner" ? "new" : "old";
                           }}};
  EXPECT_EQ(at("/old:pair/new:inner", options), "pair every; inner every");
  EXPECT_EQ(at("/pair/inner", options), "pair every; inner every");
  EXPECT_EQ(at("/m:leaf", options), "");
  EXPECT_EQ(at("/old:pair/old:inner", options),
            "UnknownNode at 10: unknown element 'old:inner' of Test::pairEntry; there are 'key', 'leaf', 'inner'");
  EXPECT_EQ(at("/string[old:name=a]", options), "string exact \"a\"");
  EXPECT_EQ(at("/string[name=a][old:name=b]", options),
            "KeyTwice at 16: key 'old:name' is given twice, first as 'name'");
  EXPECT_EQ(at("/:pair/inner", options).substr(0, 41), "UnknownNode at 1: unknown element ':pair'");
}

TEST_F(Resolve, S4TextsOfTypesThatHaveThem) {
  Options const s4 = {.useS4Encoding = true};
  EXPECT_EQ(at("/pair[key=CgFhEAE=]", s4), "pair exact Test::Pair(vrf=\"a\", colour='blue')");
  EXPECT_EQ(at("/pair[key=*]", s4), "pair every");
  EXPECT_EQ(at("/pair[vrf=a]", s4), "KeyUnknown at 6: unknown key 'vrf' of 'pair'; there is 'key'");
  EXPECT_EQ(at("/nested[site__row=1][site__seat=2][id=3]", s4),
            "nested exact Test::Nested(site=Test::Site(row=1, seat=2), id=3)");
  EXPECT_EQ(Resolver(rootType, s4).keyNames(rootType.attr("pair")), std::vector<std::string>{"key"});
  Resolver const plain(rootType);
  EXPECT_EQ(plain.keyNames(rootType.attr("pair")), (std::vector<std::string>{"vrf", "colour", "tag"}));
  EXPECT_EQ(plain.keyNames(rootType.attr("nameless")), std::vector<std::string>());
  EXPECT_EQ(plain.keyNames(rootType.attr("leaf")), std::vector<std::string>());
}

TEST_F(Resolve, TheTreeIsShownBeforeTheKeyIsBuilt) {
  std::size_t children = 0;
  Options const options = {.showTree = [&](auto const& root) {
    EXPECT_FALSE(root.value);
    children = root.children.size();
  }};
  EXPECT_EQ(at("/pair[vrf=a][colour=red]", options), "pair exact Test::Pair(vrf=\"a\", colour='red')");
  EXPECT_EQ(children, 2U);
}

TEST_F(Resolve, AnErrorOfAMessageNamesElementAndKey) {
  Resolver const resolver(rootType);
  Resolved found;
  Path path;
  path.add("leaf");
  path.clear();
  path.add("pair").add("inner").addKey("vrf", "a").addKey("colour", "green");
  auto done = resolver.resolve(path, found);
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error().kind, ErrorClass::ValueRefused);
  EXPECT_EQ(done.error().element, 1U);
  EXPECT_EQ(done.error().key, "colour");
  EXPECT_FALSE(done.error().offset);
  path.clear();
  path.add("pair").addKey("color", "green");
  done = resolver.resolve(path, found);
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error().kind, ErrorClass::KeyUnknown);
  EXPECT_EQ(done.error().element, 0U);
  EXPECT_EQ(done.error().key, "color");
  EXPECT_EQ(done.error().unknown, "color");
  EXPECT_EQ(done.error().names, (std::vector<std::string>{"vrf", "colour", "tag"}));
  // A prefix counts its own elements.
  Path const joined = *join(*parsePath("/pair/inner[vfr=a]"), *parsePath("/inner/x"));
  done = resolver.resolve(joined, found);
  ASSERT_FALSE(done);
  EXPECT_TRUE(done.error().inPrefix);
  EXPECT_EQ(done.error().element, 1U);
  EXPECT_FALSE(done.error().offset);
  done = resolver.resolve(*join(*parsePath("/pair/inner"), *parsePath("/inner/x")), found);
  ASSERT_FALSE(done);
  EXPECT_FALSE(done.error().inPrefix);
  EXPECT_EQ(done.error().element, 1U);
  EXPECT_EQ(done.error().offset, 7U);
}

TEST_F(Resolve, TheLastNodeIsTold) {
  Resolver const resolver(rootType, {.facts = {.isList = [](Zyn::ZynAttr attr) { return Model::isList(attr); }}});
  struct NodeRow {
    std::string_view path;
    std::string_view node;
  };
  NodeRow const rows[] = {{"/", "container Test::Root, 0"},
                          {"/pair", "list Test::pairEntry, 1"},
                          {"/pair[tag=1]/inner/leaf", "leaf Zyn::U8, 3"},
                          {"/event", "list Test::pairEntry, 1"},
                          {"/late", "list Test::LateEntry, 1"},
                          {"/pair/key/vrf", "leaf Zyn::String, 3"}};
  Resolved found;
  for (auto const& [path, node] : rows) {
    ASSERT_TRUE(resolver.resolve(*parsePath(path), found)) << path;
    EXPECT_EQ(
        std::string(nameOf(found.node.kind)) + " " + found.node.type.name() + ", " + std::to_string(found.nodes.size()),
        node)
        << path;
    EXPECT_EQ(found.nodes.empty() ? Zyn::ZynAttr() : found.nodes.back(), found.node.attr);
  }
}

TEST_F(Resolve, ModesRefuseWhatTheyDoNotTake) {
  struct ModeRow {
    std::string_view path;
    Mode mode;
    std::string_view result;
  };
  ModeRow const rows[] = {
      {"/pair[vrf=a][colour=red]/inner[vrf=a][colour=blue]/leaf", Mode::Write,
       R"(pair exact Test::Pair(vrf="a", colour='red'); inner exact Test::Pair(vrf="a", colour='blue'))"},
      {"/leaf", Mode::Write, ""},
      {"/pair[vrf=a]", Mode::Write, "KeyMissing at 1: 'pair' needs key 'colour' to name one entry"},
      {"/pair/leaf", Mode::Write, "KeyMissing at 1: 'pair' needs key 'vrf', 'colour' to name one entry"},
      {"/string/leaf", Mode::Write, "KeyMissing at 1: 'string' needs key 'name' to name one entry"},
      {"/nameless/leaf", Mode::Write, "KeyMissing at 1: 'nameless' needs its key to name one entry"},
      {"/pair[vrf=a][colour=*]", Mode::Write, "WildcardRefused at 20: '*' stands for every key; name one"},
      {"/string[name=*]", Mode::Write, "WildcardRefused at 13: '*' stands for every key; name one"},
      {"/nested[site__row=1][id=3]", Mode::Write, "KeyMissing at 1: 'nested' needs key 'site__seat' to name one entry"},
      {"/nested[site__row=1]", Mode::Write, "KeyMissing at 1: 'nested' needs key 'id', 'site__seat' to name one entry"},
      {"/nested[id=3]", Mode::Write, "KeyMissing at 1: 'nested' needs key 'site' to name one entry"},
      // A list as a whole can be written, but nothing below it.
      {"/pair", Mode::Write, "pair every"},
      {"/string", Mode::Write, "string every"},
      {"/pair[vrf=a][colour=red]/inner", Mode::Write, "pair exact Test::Pair(vrf=\"a\", colour='red'); inner every"},
      {"/pair/inner", Mode::Write, "KeyMissing at 1: 'pair' needs key 'vrf', 'colour' to name one entry"},
      {"/pair/*", Mode::Write, "KeyMissing at 1: 'pair' needs key 'vrf', 'colour' to name one entry"},
      {"/pair[vrf=a][colour=red]/...", Mode::Write,
       "WildcardRefused at 25: element '...' stands for many nodes; name one"},
      {"/pair[vrf=a]", Mode::Notify, "pair filter vrf=\"a\""},
      {"/pair/leaf", Mode::Notify, "pair every"},
      {"/string[name=*]", Mode::Notify, "WildcardRefused at 13: '*' stands for every key; name one"},
      {"/pair[tag=*]", Mode::Notify, "WildcardRefused at 10: '*' stands for every key; name one"},
      {"/*", Mode::Notify, "WildcardRefused at 1: element '*' stands for many nodes; name one"},
      {"/pair[vrf=a][colour=*]", Mode::Delete, "pair filter vrf=\"a\""},
      {"/pair", Mode::Delete, "pair every"},
  };
  for (auto const& [path, mode, result] : rows) {
    EXPECT_EQ(at(path, {}, mode), result) << path;
  }
}

TEST_F(Resolve, NothingToWalkFrom) {
  Resolver const resolver({});
  Resolved found;
  auto const done = resolver.resolve(*parsePath("/a"), found);
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error().text, "unknown element 'a' of a node without any");
  EXPECT_TRUE(resolver.resolve({}, found));
  auto const visit = [](Resolved const&) { return true; };
  EXPECT_TRUE(resolver.expand(*parsePath("/..."), visit));
  EXPECT_FALSE(resolver.expand(*parsePath("/*"), visit));
  EXPECT_TRUE(resolver.nodesBelow({}).empty());
}

TEST_F(Resolve, NamesOfPartsMayHoldWhatJoinsThem) {
  Zyn::ZynType const key =
      module.value("Cut").attr("a__b", core(Kind::U8)).attr("c", core(Kind::U8)).args({"a__b", "c"});
  keyed("cut", key);
  EXPECT_EQ(at("/cut[a__b=1][c=2]"), "cut exact Test::Cut(a__b=1, c=2)");
  EXPECT_EQ(at("/cut[a__b=1]"), "cut filter a__b=1");
  EXPECT_EQ(at("/cut[a__b=*]"), "cut every");
  EXPECT_EQ(at("/cut[a__b=256]").substr(0, 31), "ValueRefused at 10: Zyn::U8: '2");
}

TEST_F(Resolve, KeysOfAnyNumberOfParts) {
  // Up to 64 parts, bits of one number tell which are given.
  for (std::size_t const count : {63U, 64U, 65U, 130U}) {
    std::string const name = "wide" + std::to_string(count);
    Model::TypeBuilder key = module.value(name);
    std::vector<std::string> parts;
    std::string path = "/" + name;
    for (std::size_t i = 0; i != count; ++i) {
      parts.push_back("p" + std::to_string(i));
      key.attr(parts.back(), core(Kind::U8));
      path += i == 0 ? "" : "[" + parts.back() + "=1]";
    }
    keyed(name, key.args({"p0", "p1"}));
    EXPECT_EQ(at(path + "[p0=2]").substr(0, name.size() + 7), name + " exact ");
    EXPECT_EQ(at(path).substr(0, name.size() + 8), name + " filter ");
    std::string const last = parts.back();
    EXPECT_EQ(at(fmt::format("{}[key__{}=1]", path, last)),
              fmt::format("KeyTwice at {}: key 'key__{}' is given twice, first as '{}'", path.size() + 1, last, last));
  }
}

TEST_F(Resolve, LongNamesAreCutInMessages) {
  std::string const name(100, 'x');
  EXPECT_EQ(at("/pair/" + name), "UnknownNode at 6: unknown element '" + name.substr(0, 64) +
                                     "'... of Test::pairEntry; there are 'key', 'leaf', 'inner'");
}

TEST_F(Resolve, AnyNumberOfKeysAndElements) {
  std::string different = "/pair";
  std::string deep = "/pair";
  for (std::size_t i = 0; i != many; ++i) {
    different += "[k" + std::to_string(i) + "=a]";
    deep += i % 10 == 0 ? "/inner[tag=1]" : "/inner";
  }
  EXPECT_EQ(at(different).substr(0, 35), "KeyUnknown at 6: unknown key 'k0' o");
  Resolved found;
  ASSERT_TRUE(Resolver(rootType).resolve(*parsePath(deep), found));
  EXPECT_EQ(found.selections.size(), many + 1);
  EXPECT_EQ(at("/string[name=" + std::string(hugeSize, 'v') + "]").size(), hugeSize + 15);
}

}  // namespace
}  // namespace Gnmi
