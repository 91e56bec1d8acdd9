// Which subscriptions a change concerns.
#include "gnmi/Matcher.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi/ModelValues.h"
#include "model/Runtime.h"
#include "model/Schema.h"

namespace Gnmi {
namespace {

using Model::core;
using Model::Kind;
using Ids = std::vector<Matcher::Id>;
using LeftOut = Matcher::LeftOut;
using Reach = Matcher::Reach;

/** Counts what is asked of values. */
class CountingValues final : public Values {
 public:
  Velko::Ptr<Zyn::GenericIf const> part(Zyn::GenericIf const& value, Zyn::ZynAttr attr) const override {
    ++asked;
    return real_.part(value, attr);
  }
  std::optional<std::string> text(Zyn::GenericIf const& value) const override { return real_.text(value); }
  bool equal(Zyn::GenericIf const& a, Zyn::GenericIf const& b) const override {
    ++compared;
    return real_.equal(a, b);
  }
  std::size_t hash(Zyn::GenericIf const& value) const override {
    ++asked;
    return real_.hash(value);
  }

  /** Parts and hashes. */
  mutable std::size_t asked = 0;
  mutable std::size_t compared = 0;

 private:
  ModelValues real_;
};

class Match : public testing::Test {
 protected:
  Match() {
    module.extend(route).attr("metric", core(Kind::U32)).attr("state", state).keyed("hop", hop, "address");
    module.extend(vrf).attr("name", core(Kind::String)).keyed("route", route, "key");
    module.extend(root).attr("system", state).keyed("vrf", vrf, "name").keyed("twin", vrf, "name");
    resolver.emplace(root);
  }

  Resolved resolved(std::string_view text, Mode mode = Mode::Read) const {
    Resolved found;
    auto const path = parsePath(text);
    auto const done = resolver->resolve(*path, found, mode);
    EXPECT_TRUE(done) << text << ": " << done.error().text;
    return found;
  }
  bool concerns(std::string_view subscription, std::string_view changed, Reach reach = Reach::Node,
                LeftOut leftOut = LeftOut::MatchesAll) const {
    Matcher matcher(values, leftOut);
    auto const added = matcher.add(1, *resolver, *parsePath(subscription));
    EXPECT_TRUE(added) << subscription << ": " << added.error().text;
    Ids ids = {99};
    matcher.match(resolved(changed, Mode::Notify), reach, ids);
    EXPECT_TRUE(ids.empty() || ids == Ids({1})) << ids.size();
    return !ids.empty();
  }

  Model::Schema schema;
  Model::Module& module = schema.module("Test");
  Zyn::ZynType const key = module.value("RouteKey")
                               .attr("prefix", core(Kind::IpPrefix))
                               .attr("protocol", core(Kind::String))
                               .attr("index", core(Kind::U16))
                               .args({"prefix", "protocol", "index"});
  Zyn::ZynType const state = module.entity("State").attr("up", core(Kind::Bool)).attr("since", core(Kind::U64));
  Zyn::ZynType const hop = module.entity("Hop").attr("address", core(Kind::IpAddress)).attr("weight", core(Kind::U8));
  Zyn::ZynType const route = module.entity("Route").attr("key", key);
  Zyn::ZynType const vrf = module.entity("Vrf");
  Zyn::ZynType const root = module.entity("Root");
  ModelValues const values;
  std::optional<Resolver> resolver;
};

constexpr std::string_view bgp = "/vrf[name=red]/route[prefix=10.0.0.0/8][protocol=bgp][index=1]";

TEST_F(Match, ASubscriptionConcernsItsNodeAndAllBelow) {
  struct Row {
    std::string_view subscription;
    std::string_view changed;
    bool concerned;
  };
  Row const rows[] = {
      {"/", "/system/up", true},
      {"/", "/", true},
      {"/system", "/system/up", true},
      {"/system/up", "/system/up", true},
      {"/system/up", "/system/since", false},
      {"/system/up", "/system", false},
      {"/vrf[name=red]", "/vrf[name=red]/route[prefix=10.0.0.0/8][protocol=bgp][index=1]/metric", true},
      {"/vrf[name=red]", "/vrf[name=blue]", false},
      {"/vrf[name=red]", "/twin[name=red]", false},
      {"/vrf", "/vrf[name=blue]", true},
      {"/vrf[name=*]/name", "/vrf[name=blue]/name", true},
  };
  for (auto const& [subscription, changed, concerned] : rows) {
    EXPECT_EQ(concerns(subscription, changed), concerned) << subscription << " beside " << changed;
  }
}

TEST_F(Match, KeysAreComparedAsTypedValues) {
  struct Row {
    std::string_view keys;
    bool concerned;
  };
  Row const rows[] = {
      {"[prefix=10.1.2.3/8][protocol=bgp][index=001]", true},
      {"[index=1][protocol=bgp][prefix=10.0.0.0/8]", true},
      {"[prefix=10.0.0.0/9][protocol=bgp][index=1]", false},
      {"[prefix=10.0.0.0/8][protocol=BGP][index=1]", false},
      {"", true},
      {"[protocol=bgp]", true},
      {"[protocol=static]", false},
      {"[prefix=10.9.9.9/8][index=1]", true},
      {"[prefix=10.9.9.9/8][index=2]", false},
      {"[prefix=10.0.0.0/8][protocol=*][index=*]", true},
  };
  for (auto const& [keys, concerned] : rows) {
    std::string const text = "/vrf[name=red]/route" + std::string(keys);
    EXPECT_EQ(concerns(text, std::string(bgp) + "/metric"), concerned) << text;
    EXPECT_EQ(concerns(text + "/metric", std::string(bgp) + "/metric"), concerned) << text;
  }
}

TEST_F(Match, WildcardsMeanWhatTheResolverExpandsThemTo) {
  struct Row {
    std::string_view subscription;
    std::string_view changed;
    bool concerned;
  };
  Row const rows[] = {
      {"/*/up", "/system/up", true},
      {"/*/up", "/system/since", false},
      {"/.../up", "/system/up", true},
      {"/.../up", "/vrf[name=red]/route[prefix=::/0][protocol=bgp][index=1]/state/up", true},
      {"/...", "/vrf[name=red]/name", true},
      {"/*[name=red]", "/vrf[name=red]/name", true},
      {"/*[name=red]", "/twin[name=red]", true},
      {"/*[name=red]", "/vrf[name=blue]", false},
      {"/*[name=red]", "/system/up", false},
  };
  for (auto const& [subscription, changed, concerned] : rows) {
    EXPECT_EQ(concerns(subscription, changed), concerned) << subscription << " beside " << changed;
  }
}

TEST_F(Match, ADeletedNodeReachesSubscriptionsBelowIt) {
  struct Row {
    std::string_view subscription;
    std::string_view deleted;
    bool concerned;
  };
  Row const rows[] = {
      {"/system/up", "/system", true},
      {"/system/up", "/", true},
      {"/vrf[name=red]/route[protocol=bgp]/hop/weight", "/vrf[name=red]", true},
      {"/vrf[name=red]/route[protocol=bgp]/hop/weight", "/vrf[name=blue]", false},
      {"/vrf[name=red]/route[protocol=bgp]/hop/weight", "/vrf[name=red]/route[protocol=bgp]", true},
      {"/vrf[name=red]/route[protocol=bgp]/hop/weight", "/vrf[name=red]/route[protocol=static]", false},
      {"/vrf[name=red]", "/vrf", true},
      {"/system/up", "/system/since", false},
  };
  for (auto const& [subscription, deleted, concerned] : rows) {
    EXPECT_EQ(concerns(subscription, deleted, Reach::Subtree), concerned) << subscription << " beside " << deleted;
  }
}

TEST_F(Match, KeysThatTheChangedNodeLeavesOut) {
  struct Row {
    std::string_view subscribed;
    std::string_view changed;
    bool byAll;
    bool byLeftOut;
  };
  Row const rows[] = {
      {"", "", true, true},
      {"[protocol=bgp]", "", true, false},
      {"[prefix=10.0.0.0/8][protocol=bgp][index=1]", "", true, false},
      {"[prefix=10.0.0.0/8][protocol=bgp][index=1]", "[protocol=bgp]", true, false},
      {"[prefix=10.0.0.0/8][protocol=bgp][index=1]", "[protocol=static]", false, false},
      {"", "[protocol=bgp]", true, true},
      {"[protocol=bgp]", "[protocol=bgp]", true, true},
      {"[protocol=bgp]", "[protocol=static]", false, false},
      {"[protocol=bgp]", "[protocol=bgp][index=1]", true, true},
      {"[protocol=bgp][index=1]", "[protocol=bgp]", true, false},
      {"[protocol=bgp][index=1]", "[index=1][prefix=::/0]", true, false},
      {"[protocol=bgp][index=1]", "[index=2][prefix=::/0]", false, false},
      {"[protocol=bgp]", "[index=2]", true, false},
  };
  for (auto const& [subscribed, changed, byAll, byLeftOut] : rows) {
    std::string const subscription = "/vrf[name=red]/route" + std::string(subscribed);
    // Without wildcards, which a path of this mode does not take, keys are left out by not standing there.
    std::string const node = "/vrf[name=red]/route" + std::string(changed) + "/metric";
    EXPECT_EQ(concerns(subscription, node, Reach::Node, LeftOut::MatchesAll), byAll) << subscribed << ", " << changed;
    EXPECT_EQ(concerns(subscription, node, Reach::Node, LeftOut::MatchesLeftOut), byLeftOut)
        << subscribed << ", " << changed;
  }
}

TEST_F(Match, EachSubscriptionOnceInAscendingOrder) {
  Matcher matcher(values);
  for (Matcher::Id const id : {Matcher::Id{30}, Matcher::Id{10}, Matcher::Id{20}}) {
    matcher.add(id, resolved("/system"));
    matcher.add(id, resolved("/system/up"));
    matcher.add(id, resolved("/system/up"));
  }
  matcher.add(5, resolved("/vrf[name=red]"));
  Ids ids;
  matcher.match(resolved("/system/up"), Reach::Node, ids);
  EXPECT_EQ(ids, Ids({10, 20, 30}));
}

TEST_F(Match, WhatIsRemovedIsNotFoundAndHoldsNoKeys) {
  Resolved const route = resolved(bgp);
  auto const uses = [&] {
    return std::get<Drovan::ZynKeyDecoder::Single>(route.selections.back().selection).value->useCount();
  };
  std::uint32_t const own = uses();
  Matcher matcher(values);
  ASSERT_TRUE(matcher.add(1, *resolver, *parsePath("/.../route[protocol=bgp]")));
  matcher.add(2, route);
  EXPECT_GT(uses(), own);
  Ids ids;
  matcher.match(route, Reach::Node, ids);
  EXPECT_EQ(ids, Ids({1, 2}));
  matcher.remove(1);
  matcher.remove(1);
  matcher.remove(77);
  matcher.match(route, Reach::Node, ids);
  EXPECT_EQ(ids, Ids({2}));
  matcher.remove(2);
  EXPECT_EQ(uses(), own);
  matcher.match(resolved("/"), Reach::Subtree, ids);
  EXPECT_EQ(ids, Ids());
  matcher.add(2, route);
  matcher.match(route, Reach::Node, ids);
  EXPECT_EQ(ids, Ids({2}));
}

TEST_F(Match, APathThatIsRefusedAddsNothing) {
  Matcher matcher(values);
  auto const refused = matcher.add(1, *resolver, *parsePath("/..."), {.expansions = 3});
  ASSERT_FALSE(refused);
  EXPECT_EQ(refused.error().kind, ErrorClass::BoundPassed);
  Ids ids;
  matcher.match(resolved("/system/up"), Reach::Node, ids);
  EXPECT_EQ(ids, Ids());
  EXPECT_EQ(matcher.add(1, *resolver, *parsePath("/colour")).error().kind, ErrorClass::UnknownNode);
}

TEST_F(Match, WhatIsAskedOfValuesDoesNotGrowWithSubscriptions) {
  CountingValues const counting;
  auto const askedWith = [&](std::size_t count) {
    Matcher matcher(counting);
    Resolved one;
    for (std::size_t i = 0; i != count; ++i) {
      std::string const text = "/vrf[name=v" + std::to_string(i) + "]/route";
      EXPECT_TRUE(resolver->resolve(*parsePath(text + "[prefix=10.0.0.0/8][protocol=bgp][index=7]"), one));
      matcher.add(3 * i, one);
      EXPECT_TRUE(resolver->resolve(*parsePath("/vrf/route[index=" + std::to_string(i % 60'000) + "]"), one));
      matcher.add(3 * i + 1, one);
      // However the two are ordered, it is one set of attributes.
      EXPECT_TRUE(
          resolver->resolve(*parsePath("/vrf/route[protocol=q][index=" + std::to_string(i % 60'000) + "]"), one));
      matcher.add(3 * i + 2, one);
      EXPECT_TRUE(resolver->resolve(*parsePath(text + "[protocol=p" + std::to_string(i) + "]"), one));
      matcher.add(3 * i + 2, one);
    }
    counting.asked = 0;
    counting.compared = 0;
    Ids ids;
    matcher.match(resolved("/vrf[name=v7]/route[prefix=10.0.0.0/8][protocol=bgp][index=7]/metric"), Reach::Node, ids);
    EXPECT_EQ(ids, Ids({21, 22}));
    // A table by hash compares a few that are not the same, by chance.
    EXPECT_LT(counting.compared, 20U);
    return counting.asked;
  };
  std::size_t const few = askedWith(10);
  // The exact keys of two lists; of three sets of attributes their four parts, and these.
  EXPECT_EQ(few, 10U);
  EXPECT_EQ(askedWith(1'000), few);
  EXPECT_EQ(askedWith(30'000), few);
}

TEST_F(Match, WhatIsAskedToAddAndRemoveOneDoesNotGrowWithOthers) {
  CountingValues const counting;
  for (std::size_t const count : {10U, 1'000U, 30'000U}) {
    std::vector<Resolved> nodes;
    for (std::size_t i = 0; i != count; ++i) {
      std::string const number = std::to_string(i);
      std::string const routes = "/vrf[name=v" + number + "]/route[prefix=::/0]";
      std::string const byName = "[protocol=p" + number + "]";
      nodes.push_back(resolved(routes + "[protocol=bgp][index=7]"));
      nodes.push_back(resolved(routes + byName));
      nodes.push_back(resolved("/vrf/route" + byName + "/metric"));
    }
    Matcher matcher(counting);
    counting.asked = 0;
    counting.compared = 0;
    for (std::size_t i = 0; i != nodes.size(); ++i) {
      matcher.add(i, nodes[i]);
    }
    // The hashes of the name and the key; of the name and two parts; of one part.
    EXPECT_EQ(counting.asked, (2 + 3 + 1) * count);
    // One name is found again. A table by hash compares a few that are not the same, by chance.
    EXPECT_LT(counting.compared, 3 * count + 20);
    counting.compared = 0;
    for (std::size_t i = 0; i != nodes.size(); ++i) {
      matcher.remove(i);
    }
    EXPECT_EQ(counting.asked, (2 + 3 + 1) * count) << "hashes are kept";
    // Each place is found once more: two keys of one value, one of two, one of one.
    EXPECT_LT(counting.compared, (2 + 2 + 1 + 3) * count + 20);
  }
}

TEST_F(Match, ADeepSchemaTakesNoStack) {
  Zyn::ZynType const knot = module.entity("Knot").attr("end", core(Kind::Bool));
  module.extend(knot).attr("in", knot);
  Resolver const deep(knot);
  Path path;
  for (int i = 0; i != 200'000; ++i) {
    path.add("in");
  }
  Resolved found;
  ASSERT_TRUE(deep.resolve(path, found));
  Matcher matcher(values);
  matcher.add(1, found);
  Ids ids;
  matcher.match(found, Reach::Node, ids);
  EXPECT_EQ(ids, Ids({1}));
  Resolved top;
  ASSERT_TRUE(deep.resolve(Path(), top));
  matcher.match(top, Reach::Subtree, ids);
  EXPECT_EQ(ids, Ids({1}));
  matcher.remove(1);
  matcher.match(top, Reach::Subtree, ids);
  EXPECT_EQ(ids, Ids());
  matcher.add(1, found);
}

}  // namespace
}  // namespace Gnmi
