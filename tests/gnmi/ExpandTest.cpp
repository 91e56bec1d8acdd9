// What wildcards for elements mean, and what paths are written for what they mean.
#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "gnmi/ModelValues.h"
#include "gnmi/Resolver.h"

namespace Gnmi {
namespace {

using Model::core;
using Model::Kind;

/** A device with VRFs, their routes, and a box that holds a device again. */
class Expand : public testing::Test {
 protected:
  Model::Schema schema;
  Model::Module& module = schema.module("Test");
  Zyn::ZynType const routeKey = module.value("RouteKey")
                                    .attr("vrf", core(Kind::String))
                                    .attr("prefix", core(Kind::IpPrefix))
                                    .args({"vrf", "prefix"});
  Zyn::ZynType const route = module.entity("Route").attr("key", routeKey).attr("metric", core(Kind::U8));
  Zyn::ZynType const vrf = module.entity("Vrf").attr("name", core(Kind::String)).keyed("route", route, "key");
  Zyn::ZynType const vlan = module.entity("Vlan").attr("id", core(Kind::U8));
  Zyn::ZynType const box = module.entity("Box").keyed("vlan", vlan, "id");
  Zyn::ZynType const device = module.entity("Device").keyed("vrf", vrf, "name").attr("box", box);
  ModelValues values;

  void SetUp() override { module.extend(box).attr("inner", device); }

  /** The paths of all that a path means, one after the other; then the error, where there is one. */
  std::string of(std::string_view text, Bounds const& bounds = {}, Mode mode = Mode::Read) const {
    Resolver const resolver(device, {.facts = modelFacts()});
    std::string found;
    auto const done = resolver.expand(
        *parsePath(text),
        [&](Resolved const& one) {
          auto const path = resolver.canonical(one, values);
          found += (found.empty() ? "" : " ") + (path ? formatPath(*path) : path.error().text);
          return true;
        },
        mode, bounds);
    if (!done) {
      found += (found.empty() ? "" : " ") + std::string(nameOf(done.error().kind)) + ": " + done.error().text;
    }
    return found;
  }
};

TEST_F(Expand, AStarIsAnyOneNode) {
  EXPECT_EQ(of("/*"), "/vrf /box");
  EXPECT_EQ(of("/*/*"), "/vrf/name /vrf/route /box/vlan /box/inner");
  EXPECT_EQ(of("/vrf[name=red]/*"), "/vrf[name=red]/name /vrf[name=red]/route");
  EXPECT_EQ(of("/*/inner/vrf"), "/box/inner/vrf");
  // Wildcards enter no value types, names do.
  EXPECT_EQ(of("/vrf/route/key/*"), "UnknownNode: the path means no node of the schema");
  EXPECT_EQ(of("/*/route/key/vrf"), "/vrf/route/key/vrf");
}

TEST_F(Expand, AStarWithKeysIsTheListsThatTakeThem) {
  EXPECT_EQ(of("/*[name=red]"), "/vrf[name=red]");
  EXPECT_EQ(of("/*[name=*]"), "/vrf");
  EXPECT_EQ(of("/*[id=7]"), "UnknownNode: the path means no node of the schema");
  EXPECT_EQ(of("/*/*[prefix=10.1.2.3/8]"), "/vrf/route[prefix=10.0.0.0/8]");
  EXPECT_EQ(of("/*/*[id=7]"), "/box/vlan[id=7]");
  // What its type refuses is an error where nothing else is meant.
  EXPECT_EQ(of("/*/*[id=700]"), "ValueRefused: Zyn::U8: '700' does not fit: a decimal number from 0 to 255");
}

TEST_F(Expand, DotsAreAnyNumberOfNodes) {
  EXPECT_EQ(of("/.../vlan[id=7]"), "/box/vlan[id=7]");
  EXPECT_EQ(of("/vrf/..."), "/vrf /vrf/name /vrf/route /vrf/route/key /vrf/route/metric");
  EXPECT_EQ(of("/.../route/..."),
            "/vrf/route /vrf/route/key /vrf/route/metric /box/inner/vrf/route /box/inner/vrf/route/key "
            "/box/inner/vrf/route/metric");
  EXPECT_EQ(of("/.../metric"), "/vrf/route/metric /box/inner/vrf/route/metric");
  EXPECT_EQ(of("/vrf/.../*"), "/vrf/name /vrf/route /vrf/route/key /vrf/route/metric");
}

TEST_F(Expand, TypesAreEnteredOnceWithinDots) {
  EXPECT_EQ(of("/..."),
            "/ /vrf /vrf/name /vrf/route /vrf/route/key /vrf/route/metric /box /box/vlan /box/vlan/id /box/inner "
            "/box/inner/vrf /box/inner/vrf/name /box/inner/vrf/route /box/inner/vrf/route/key "
            "/box/inner/vrf/route/metric");
  // Each has its own count.
  EXPECT_EQ(of("/.../box"), "/box /box/inner/box");
  EXPECT_EQ(of("/.../.../box"), "/box /box/inner/box /box/inner/box/inner/box");
}

TEST_F(Expand, ANodeComesOnceAlsoWhereSeveralWaysLeadToIt) {
  EXPECT_EQ(of("/.../vrf[name=red]/..."),
            "/vrf[name=red] /vrf[name=red]/name /vrf[name=red]/route /vrf[name=red]/route/key "
            "/vrf[name=red]/route/metric /box/inner/vrf[name=red] /box/inner/vrf[name=red]/name "
            "/box/inner/vrf[name=red]/route /box/inner/vrf[name=red]/route/key /box/inner/vrf[name=red]/route/metric");
  // Both `...` may stand for the box; the keys are of the way whose first one stands for less.
  Zyn::ZynType const tree = module.entity("Tree").attr("name", core(Kind::String));
  module.extend(tree).keyed("tree", tree, "name");
  Resolver const resolver(tree);
  std::string found;
  ASSERT_TRUE(resolver.expand(*parsePath("/.../tree[name=a]/tree"), [&](Resolved const& one) {
    found += formatPath(*resolver.canonical(one, values)) + ' ';
    return true;
  }));
  EXPECT_EQ(found, "/tree[name=a]/tree /tree/tree[name=a]/tree ");
}

TEST_F(Expand, WhatHasNoWildcardIsOneNode) {
  EXPECT_EQ(of("/vrf[name=red]"), "/vrf[name=red]");
  EXPECT_EQ(of("/vfr").substr(0, 40), "UnknownNode: unknown element 'vfr' of Te");
}

TEST_F(Expand, ModesThatTakeNoWildcardsRefuseThem) {
  EXPECT_EQ(of("/*", {}, Mode::Delete), "/vrf /box");
  EXPECT_EQ(of("/*", {}, Mode::Write), "WildcardRefused: element '*' stands for many nodes; name one");
  EXPECT_EQ(of("/box/...", {}, Mode::Notify), "WildcardRefused: element '...' stands for many nodes; name one");
}

TEST_F(Expand, DotsTakeNoKeys) {
  EXPECT_EQ(of("/...[name=a]"), "KeyUnknown: '...' stands for elements with their keys, and takes none itself");
}

TEST_F(Expand, BoundsArePassedWithAnError) {
  EXPECT_EQ(of("/*/*", {.expansions = 2}),
            "/vrf/name /vrf/route BoundPassed: the path means more than 2 nodes, which is the bound");
  EXPECT_EQ(of("/vrf/...", {.depth = 1}),
            "/vrf BoundPassed: the path means nodes more than 1 elements deep, which is the bound");
  EXPECT_EQ(of("/.../nosuch", {.visited = 4}),
            "BoundPassed: the path makes more than 4 nodes be looked at, which is the bound");
  EXPECT_EQ(of("/.../a/b/c", {.depth = 2}),
            "BoundPassed: the path has more than 2 elements of a kind, which is the bound");
}

TEST_F(Expand, NothingToWalkFrom) {
  int visited = 0;
  EXPECT_TRUE(Resolver({}).expand(*parsePath("/..."), [&](Resolved const&) { return ++visited != 0; }));
  EXPECT_EQ(visited, 1);
  EXPECT_FALSE(Resolver({}).expand(*parsePath("/*"), [&](Resolved const&) { return ++visited != 0; }));
}

TEST_F(Expand, WhatAPathDoesNotMeanPassesNoBound) {
  Zyn::ZynType const loop = module.entity("Loop");
  module.extend(loop).attr("loop", loop);
  std::string found;
  auto const add = [&](Resolved const& one) {
    found += std::to_string(one.nodes.size());
    return true;
  };
  EXPECT_TRUE(Resolver(loop).expand(*parsePath("/..."), add, Mode::Read, {.depth = 1}));
  EXPECT_EQ(found, "01");
}

TEST_F(Expand, EndsWhereTheVisitorSaysSo) {
  int visited = 0;
  EXPECT_TRUE(Resolver(device).expand(*parsePath("/..."), [&](Resolved const&) { return ++visited != 3; }));
  EXPECT_EQ(visited, 3);
}

// ---- payloads, and paths of entries

TEST_F(Expand, APayloadAgreesWithTheKeyOrNot) {
  Resolver const resolver(device);
  Resolved found;
  ASSERT_TRUE(resolver.resolve(*parsePath("/vrf[name=red]/route[vrf=red][prefix=10.1.2.3/8]"), found));
  auto const checked = [&](std::size_t selection, std::vector<PayloadLeaf> const& leaves) {
    auto const same = resolver.checkPayload(found.selections[selection], leaves, values);
    return same ? "agrees"
                : std::string(nameOf(same.error().kind)) + ", key " + same.error().key + ": " + same.error().text;
  };
  EXPECT_EQ(checked(1, {}), "agrees");
  EXPECT_EQ(checked(1, {{"vrf", "red"}, {"prefix", "10.0.0.0/8"}}), "agrees");
  EXPECT_EQ(checked(1, {{"prefix", "10.255.0.0/8"}}), "agrees");
  EXPECT_EQ(checked(1, {{"prefix", "10.0.0.0/9"}}),
            "Conflict, key prefix: the payload has '10.0.0.0/9' for key 'prefix', the path '10.0.0.0/8'");
  EXPECT_EQ(checked(1, {{"vrf", "*"}}), "Conflict, key vrf: the payload has '*' for key 'vrf', the path 'red'");
  EXPECT_EQ(checked(1, {{"prefix", "ten"}}).substr(0, 25), "ValueRefused, key prefix:");
  EXPECT_EQ(checked(1, {{"metric", "1"}}), "KeyUnknown, key metric: unknown key 'metric' of 'route'");
  EXPECT_EQ(checked(0, {{"name", "red"}}), "agrees");
  EXPECT_EQ(checked(0, {{"name", "blue"}}),
            "Conflict, key name: the payload has 'blue' for key 'name', the path 'red'");
  ASSERT_TRUE(resolver.resolve(*parsePath("/vrf"), found));
  EXPECT_EQ(checked(0, {{"name", "red"}}).substr(0, 10), "KeyMissing");
}

TEST_F(Expand, PathsOfEntriesFindTheContainersBetween) {
  Resolver const resolver(device);
  Resolved found;
  ASSERT_TRUE(resolver.resolve(*parsePath("/box/inner/vrf[name=a]/route[vrf=b][prefix=::/0]"), found));
  std::vector<Entry> entries;
  for (Selected const& one : found.selections) {
    entries.push_back({one.collection, std::get<Drovan::ZynKeyDecoder::Single>(one.selection).value});
  }
  // The nearest VRF is the device's own.
  EXPECT_EQ(formatPath(*resolver.pathOf(entries, values)), "/vrf[name=a]/route[prefix=::/0][vrf=b]");
  ASSERT_TRUE(resolver.resolve(*parsePath("/box/vlan[id=7]"), found));
  Entry const one = {box.attr("vlan"), std::get<Drovan::ZynKeyDecoder::Single>(found.selections[0].selection).value};
  EXPECT_EQ(formatPath(*resolver.pathOf({&one, 1}, values)), "/box/vlan[id=7]");
  EXPECT_EQ(formatPath(*resolver.pathOf({}, values)), "/");
  std::vector<Entry> const wrong = {one, entries[0]};
  auto const refused = resolver.pathOf(wrong, values);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().text, "'vrf' cannot be reached through containers alone from 'vlan'");
}

TEST_F(Expand, AKeyThatNoTextMeansIsNotWritten) {
  // A string that is "*", and a union whose earlier alternative takes the text.
  Zyn::ZynType const either = module.unionOf("Either", {{"number", core(Kind::U8)}, {"name", core(Kind::String)}});
  Zyn::ZynType const thing = module.entity("Thing").attr("id", either);
  Zyn::ZynType const root = module.entity("Root").keyed("thing", thing, "id").keyed("vrf", vrf, "name");
  Resolver const resolver(root);
  auto const written = [&](Zyn::ZynAttr collection, Velko::Ptr<Zyn::GenericIf> const& key) {
    Entry const entry = {collection, key};
    auto const path = resolver.pathOf({&entry, 1}, values);
    return path ? formatPath(*path) : std::string(nameOf(path.error().kind)) + ": " + path.error().text;
  };
  auto const string = [](std::string_view text) {
    return core(Kind::String).genericIf(Velko::String('"' + std::string(text) + '"'), false);
  };
  EXPECT_EQ(written(root.attr("vrf"), string("red")), "/vrf[name=red]");
  EXPECT_EQ(written(root.attr("vrf"), string("**")), "/vrf[name=**]");
  EXPECT_EQ(written(root.attr("vrf"), string("*")),
            "ValueRefused: a key of 'vrf' cannot be written: no text is read as this value again");
  // The place is that of the collection.
  std::vector<Entry> const entries = {{root.attr("vrf"), string("red")}, {vrf.attr("route"), string("no such key")}};
  auto const refused = resolver.pathOf(entries, values);
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().element, 1U);
  auto const named = [&](std::string_view text) {
    Velko::Ptr<Zyn::GenericIf> const value = either.genericIf(static_cast<void const*>(nullptr), false);
    either.attr("name").genericIfSet(value, {}, string(text));
    return value;
  };
  EXPECT_EQ(written(root.attr("thing"), named("eth0")), "/thing[id=eth0]");
  EXPECT_EQ(written(root.attr("thing"), named("7")),
            "ValueRefused: a key of 'thing' cannot be written: no text is read as this value again");
}

}  // namespace
}  // namespace Gnmi
