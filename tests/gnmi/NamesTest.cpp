// Which node a name means where modules share names, and what an origin leaves of them.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi/ModelValues.h"
#include "gnmi/Resolver.h"
#include "text/Messages.h"

namespace Gnmi {
namespace {

using Model::core;
using Model::Kind;

/**
 * Two modules have `interfaces` at the top. Below that of "openconfig-a", `mtu` is of the same module and of "vendor";
 * `speed` of "vendor" alone; `duplex` of "vendor" and of "other"; `state` of "a", "b" and "c".
 */
class Names : public testing::Test {
 protected:
  Model::Schema schema;
  Model::Module& module = schema.module("Test");
  Zyn::ZynType const u8 = core(Kind::U8);
  Zyn::ZynType const interface = module.entity("Interface").attr("name", core(Kind::String)).attr("vendor:mtu", u8);
  Zyn::ZynType const interfaces = module.entity("Interfaces")
                                      .keyed("interface", interface, "name")
                                      .attr("openconfig-a:mtu", u8)
                                      .attr("vendor:mtu", core(Kind::U16))
                                      .attr("speed", core(Kind::U32))
                                      .attr("vendor:duplex", u8)
                                      .attr("other:duplex", u8)
                                      .attr("a:state", u8)
                                      .attr("b:state", u8)
                                      .attr("c:state", u8);
  Zyn::ZynType const others = module.entity("Others").attr("x", u8);
  Zyn::ZynType const root = module.entity("Root")
                                .attr("openconfig-a:interfaces", interfaces)
                                .attr("ietf-if:interfaces", others)
                                .attr("system", others);

  SchemaFacts facts() const {
    std::map<std::string, std::string, std::less<>> const modules = {{"interface", "openconfig-a"},
                                                                     {"name", "openconfig-a"},
                                                                     {"speed", "vendor"},
                                                                     {"system", "ietf-system"},
                                                                     {"x", "ietf-system"}};
    static std::map<std::string, std::string, std::less<>> known;
    known = modules;
    return {.moduleOf = [](Zyn::ZynAttr attr) -> std::string_view {
      std::string_view const name = attr.name();
      if (std::size_t const colon = name.find(':'); colon != std::string_view::npos) {
        return name.substr(0, colon);
      }
      auto const found = known.find(name);
      return found == known.end() ? std::string_view() : std::string_view(found->second);
    }};
  }
  SchemaFacts factsWithOrigins() const {
    SchemaFacts withOrigins = facts();
    withOrigins.origins = {{"openconfig", {"openconfig-a"}},
                           {"rfc7951", {"openconfig-a", "ietf-if", "ietf-system", "vendor", "other"}},
                           {"ietf-if", {"ietf-if"}},
                           {"none", {}}};
    return withOrigins;
  }

  std::string at(std::string_view text, SchemaFacts const& given) const {
    Resolved found;
    auto const done = Resolver(root, {.facts = given}).resolve(*parsePath(text), found);
    return done ? std::string(found.node.attr.name()) + " of " + Zyn::ZynType(found.node.type).name()
                : std::string(nameOf(done.error().kind)) + ": " + done.error().text +
                      Text::listNames(done.error().names);
  }
};

TEST_F(Names, OfTheParentsModuleComeFirstBelowTheTop) {
  EXPECT_EQ(at("/openconfig-a:interfaces/mtu", facts()), "openconfig-a:mtu of Zyn::U8");
  EXPECT_EQ(at("/openconfig-a:interfaces/vendor:mtu", facts()), "vendor:mtu of Zyn::U16");
  EXPECT_EQ(at("/openconfig-a:interfaces/openconfig-a:mtu", facts()), "openconfig-a:mtu of Zyn::U8");
}

TEST_F(Names, ThatOneSiblingHasNeedNoModule) {
  EXPECT_EQ(at("/openconfig-a:interfaces/speed", facts()), "speed of Zyn::U32");
  EXPECT_EQ(at("/openconfig-a:interfaces/vendor:speed", facts()), "speed of Zyn::U32");
  EXPECT_EQ(at("/openconfig-a:interfaces/other:speed", facts()).substr(0, 41),
            "UnknownNode: unknown element 'other:speed");
  EXPECT_EQ(at("/system", facts()), "system of Test::Others");
}

TEST_F(Names, ThatSeveralSiblingsHaveAreAmbiguous) {
  EXPECT_EQ(at("/interfaces", facts()),
            "Ambiguous: several modules have an element 'interfaces' here; there are 'openconfig-a:interfaces', "
            "'ietf-if:interfaces'");
  EXPECT_EQ(at("/openconfig-a:interfaces/duplex", facts()),
            "Ambiguous: several modules have an element 'duplex' here; there are 'vendor:duplex', 'other:duplex'");
  EXPECT_EQ(at("/openconfig-a:interfaces/state", facts()),
            "Ambiguous: several modules have an element 'state' here; there are 'a:state', 'b:state', 'c:state'");
}

TEST_F(Names, AtTheTopAreOfTheOriginsModules) {
  // No origin is "openconfig".
  EXPECT_EQ(at("/interfaces", factsWithOrigins()), "openconfig-a:interfaces of Test::Interfaces");
  EXPECT_EQ(at("openconfig:/interfaces", factsWithOrigins()), "openconfig-a:interfaces of Test::Interfaces");
  EXPECT_EQ(at("ietf-if:/interfaces", factsWithOrigins()), "ietf-if:interfaces of Test::Others");
  EXPECT_EQ(at("rfc7951:/interfaces", factsWithOrigins()).substr(0, 9), "Ambiguous");
  EXPECT_EQ(at("rfc7951:/system", factsWithOrigins()), "system of Test::Others");
  EXPECT_EQ(at("/system", factsWithOrigins()),
            "UnknownNode: unknown element 'system' of Test::Root; there are 'interfaces', 'ietf-if:interfaces', "
            "'ietf-system:system'");
  // A module says which one is meant, where the path does not name another origin.
  EXPECT_EQ(at("/ietf-system:system", factsWithOrigins()), "system of Test::Others");
  EXPECT_EQ(at("ietf-if:/ietf-system:system", factsWithOrigins()).substr(0, 11), "UnknownNode");
  EXPECT_EQ(at("none:/interfaces", factsWithOrigins()), "UnknownNode: unknown element 'interfaces' of Test::Root");
  // Below the top all modules count.
  EXPECT_EQ(at("/interfaces/speed", factsWithOrigins()), "speed of Zyn::U32");
}

TEST_F(Names, OfOriginsAreKnownOrMeanNothing) {
  EXPECT_EQ(at("nosuch:/interfaces", factsWithOrigins()),
            "UnknownOrigin: unknown origin 'nosuch'; there are 'ietf-if', 'none', 'openconfig', 'rfc7951'");
  EXPECT_EQ(at("nosuch:/system", facts()), "system of Test::Others");
  EXPECT_EQ(at("junos_cli:/system", facts()),
            "UnknownOrigin: origin 'junos_cli' stands for commands of a device, which name no model");
  EXPECT_EQ(at("cli_x:/system", facts()), "system of Test::Others");
  Resolved found;
  Path prefix;
  prefix.origin = "nosuch";
  prefix.add("interfaces");
  Path const joined = *join(prefix, *parsePath("/interface/mtu"));
  Resolver const resolver(root, {.facts = factsWithOrigins()});
  auto const done = resolver.resolve(joined, found);
  auto const expanded = resolver.expand(*join(prefix, *parsePath("/*/mtu")), [](Resolved const&) { return true; });
  ASSERT_TRUE(!done && !expanded);
  EXPECT_EQ(done.error().element, 2U);
  EXPECT_EQ(expanded.error().element, 2U);
}

TEST_F(Names, OfTheOriginsModulesAreThoseThatAWildcardMeans) {
  auto const meant = [&](std::string_view text) {
    std::string names;
    auto const add = [&](Resolved const& one) {
      names += (names.empty() ? "" : " ") + std::string(one.node.attr.name());
      return true;
    };
    auto const done = Resolver(root, {.facts = factsWithOrigins()}).expand(*parsePath(text), add);
    return done ? names : std::string(nameOf(done.error().kind));
  };
  EXPECT_EQ(meant("openconfig:/*"), "openconfig-a:interfaces");
  EXPECT_EQ(meant("ietf-if:/.../x"), "x");
  EXPECT_EQ(meant("none:/*"), "UnknownNode");
  // A path without an origin may name the others, with their modules.
  EXPECT_EQ(meant("/*"), "openconfig-a:interfaces ietf-if:interfaces system");
}

TEST_F(Names, ForCompletionAreThoseThatAPathWithoutOriginTakes) {
  auto const names = [this](SchemaFacts const& given) {
    std::vector<std::string> list;
    for (auto const& [name, node] : Resolver(root, {.facts = given}).nodesBelow({})) {
      list.push_back(name);
    }
    return Text::list(list);
  };
  EXPECT_EQ(names(factsWithOrigins()), "interfaces, ietf-if:interfaces, ietf-system:system");
  EXPECT_EQ(names(facts()), "openconfig-a:interfaces, ietf-if:interfaces, system");
}

TEST_F(Names, ForCompletionAreThoseOfTheOriginThatThePathGives) {
  Resolver const resolver(root, {.facts = factsWithOrigins()});
  for (std::string const origin : {"openconfig:/", "ietf-if:/"}) {
    Resolved found;
    ASSERT_TRUE(resolver.resolve(*parsePath(origin), found));
    std::vector<std::string> names;
    for (auto const& [name, node] : resolver.nodesBelow(found)) {
      names.push_back(name);
      std::string const text = origin + name;
      EXPECT_TRUE(resolver.resolve(*parsePath(text), found)) << text;
    }
    EXPECT_EQ(names, std::vector<std::string>{"interfaces"}) << origin;
  }
}

TEST_F(Names, OfKeysMayHaveTheirModule) {
  Resolver const resolver(root, {.facts = facts()});
  Resolved found;
  EXPECT_TRUE(resolver.resolve(*parsePath("/openconfig-a:interfaces/interface[openconfig-a:name=eth0]"), found));
  auto const done = resolver.resolve(*parsePath("/openconfig-a:interfaces/interface[vendor:name=eth0]"), found);
  ASSERT_FALSE(done);
  EXPECT_EQ(done.error().kind, ErrorClass::KeyUnknown);
  EXPECT_EQ(done.error().key, "vendor:name");
}

TEST_F(Names, OfKeysMayHaveTheirModuleInEachOfManyLists) {
  Zyn::ZynType const pair = module.value("Pair").attr("x", u8).attr("y", u8).args({"x", "y"});
  Zyn::ZynType const entry = module.entity("PairEntry").attr("key", pair);
  Zyn::ZynType const many = module.entity("Many");
  for (int i = 0; i != 20; ++i) {
    module.extend(many).keyed("list" + std::to_string(i), entry, "key");
  }
  Resolver const resolver(many, {.facts = {.moduleOf = [](Zyn::ZynAttr) { return std::string_view("m"); }}});
  Resolved found;
  for (int i = 0; i != 20; ++i) {
    std::string const text = "/list" + std::to_string(i) + "[m:x=1][m:y=2]";
    EXPECT_TRUE(resolver.resolve(*parsePath(text), found)) << text;
  }
}

TEST_F(Names, AreAskedOfAttributesAlone) {
  // The entries lack an attribute that the collection is keyed by, and those that the key has.
  Zyn::ZynType const pair = module.value("Pair").attr("x", u8).attr("y", u8).args({"x", "y"});
  Zyn::ZynType const strays = module.entity("Strays").keyed("stray", others, "nosuch", pair);
  SchemaFacts const asked = {.moduleOf =
                                 [](Zyn::ZynAttr attr) {
                                   EXPECT_FALSE(attr.empty());
                                   return std::string_view("m");
                                 },
                             .isHidden =
                                 [](Zyn::ZynAttr attr) {
                                   EXPECT_FALSE(attr.empty());
                                   return false;
                                 }};
  Resolved found;
  EXPECT_TRUE(Resolver(strays, {.facts = asked}).resolve(*parsePath("/stray[nosuch__x=1][m:y=2]"), found));
}

TEST_F(Names, AreWrittenWithAModuleWhereTheyNeedIt) {
  ModelValues const values;
  auto const canonical = [&](std::string_view text, SchemaFacts const& given) {
    Resolver const resolver(root, {.facts = given});
    Resolved found;
    EXPECT_TRUE(resolver.resolve(*parsePath(text), found)) << text;
    auto const path = resolver.canonical(found, values);
    return path ? formatPath(*path) : path.error().text;
  };
  EXPECT_EQ(canonical("/openconfig-a:interfaces/openconfig-a:mtu", facts()), "/openconfig-a:interfaces/mtu");
  EXPECT_EQ(canonical("/openconfig-a:interfaces/vendor:mtu", facts()), "/openconfig-a:interfaces/vendor:mtu");
  EXPECT_EQ(canonical("/openconfig-a:interfaces/vendor:speed", facts()), "/openconfig-a:interfaces/speed");
  EXPECT_EQ(canonical("/openconfig-a:interfaces/interface[openconfig-a:name=a]/vendor:mtu", factsWithOrigins()),
            "/interfaces/interface[name=a]/mtu");
  EXPECT_EQ(canonical("ietf-if:/interfaces", factsWithOrigins()), "ietf-if:/interfaces");
  EXPECT_EQ(canonical("/ietf-if:interfaces", factsWithOrigins()), "/ietf-if:interfaces");
}

}  // namespace
}  // namespace Gnmi
