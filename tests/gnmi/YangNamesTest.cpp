// Paths into YANG modules, loaded as users load them: which node a name means, `KEY`, modules in front of keys' names,
// wildcards for elements, and errors that name the leaf.
#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "gnmi/ModelValues.h"
#include "gnmi/Resolver.h"
#include "gnmi/YangFacts.h"
#include "tests/yang/Folder.h"
#include "text/Messages.h"
#include "yang/Yang.h"

namespace Gnmi {
namespace {

/** In most tests over the modules of tests/yang/paths; a test may write further ones into a folder. */
class YangPaths : public testing::Test {
 protected:
  void load(std::vector<std::string> const& names = {}, Yang::Options const& options = {}) {
    auto result = Yang::load(std::vector<std::string>{YANG_MODULES "/paths", folder.path()}, names, options);
    ASSERT_TRUE(result) << testing::PrintToString(result.error());
    modules = std::make_shared<Yang::Loaded const>(*std::move(result));
    facts = yangFacts(modules);
  }
  void SetUp() override { load(); }

  Resolver resolver() const { return Resolver(modules->root, {.facts = facts}); }

  static std::string said(Error const& error) {
    return std::string(nameOf(error.kind)) + ": " + error.text + Text::listNames(error.names);
  }

  /** The data node that a path names, or why it names none. */
  std::string at(std::string_view text, Mode mode = Mode::Read) const {
    auto const path = parsePath(text);
    if (!path) {
      return said(path.error());
    }
    Resolved found;
    auto const done = resolver().resolve(*path, found, mode);
    return done ? modules->pathOf(found.node.attr) : said(done.error());
  }

  /** All data nodes that a path means. */
  std::string meant(std::string_view text) const {
    std::vector<std::string> paths;
    auto const done = resolver().expand(*parsePath(text), [&](Resolved const& one) {
      paths.push_back(modules->pathOf(one.node.attr));
      return true;
    });
    return done ? Text::list(paths) : said(done.error());
  }

  std::string canonical(std::string_view text) const {
    Resolver const made = resolver();
    Resolved found;
    EXPECT_TRUE(made.resolve(*parsePath(text), found)) << text;
    auto const path = made.canonical(found, ModelValues());
    return path ? formatPath(*path) : path.error().text;
  }

  YangTest::Folder folder;
  std::shared_ptr<Yang::Loaded const> modules;
  SchemaFacts facts;
};

// ---- what a name alone means

TEST_F(YangPaths, NameThatOfTheParentsModuleFirst) {
  EXPECT_EQ(at("/interfaces/mtu"), "/openconfig-if:interfaces/mtu");
  EXPECT_EQ(at("/interfaces/vendor:mtu"), "/openconfig-if:interfaces/vendor:mtu");
  EXPECT_EQ(at("/interfaces/openconfig-if:mtu"), "/openconfig-if:interfaces/mtu");
  EXPECT_EQ(at("/interfaces/interface[name=a]/state"), "/openconfig-if:interfaces/interface/state");
  EXPECT_EQ(at("/interfaces/interface[name=a]/vendor:state"), "/openconfig-if:interfaces/interface/vendor:state");
  // The parent is what counts, and not what that is inside of.
  EXPECT_EQ(at("/interfaces/box/inner"), "/openconfig-if:interfaces/vendor:box/inner");
  EXPECT_EQ(at("/interfaces/box/other:inner"), "/openconfig-if:interfaces/vendor:box/other:inner");
  EXPECT_EQ(at("/interfaces/box/openconfig-if:inner").substr(0, 47), "UnknownNode: unknown element 'openconfig-if:inn");
  // The same name further up plays no part.
  EXPECT_EQ(at("/interfaces/box/mtu"), "/openconfig-if:interfaces/vendor:box/other:mtu");
}

TEST_F(YangPaths, NameAtTheTopWhatTheOriginsModulesHave) {
  // No origin is "openconfig" where modules of that name are loaded.
  EXPECT_EQ(at("/interfaces"), "/openconfig-if:interfaces");
  EXPECT_EQ(at("openconfig:/interfaces"), "/openconfig-if:interfaces");
  EXPECT_EQ(at("openconfig-if:/interfaces"), "/openconfig-if:interfaces");
  EXPECT_EQ(at("ietf-if:/interfaces"), "/ietf-if:interfaces");
  EXPECT_EQ(at("/ietf-if:interfaces"), "/ietf-if:interfaces");
  EXPECT_EQ(at("rfc7951:/ietf-if:interfaces"), "/ietf-if:interfaces");
  EXPECT_EQ(at("rfc7951:/system"), "/ietf-if:system");
  EXPECT_EQ(at("/system"),
            "UnknownNode: unknown element 'system' of Yang::/; there are 'ietf-if:interfaces', 'ietf-if:system', "
            "'interfaces'");
  EXPECT_EQ(at("/ietf-if:system"), "/ietf-if:system");
  EXPECT_EQ(at("openconfig:/ietf-if:system").substr(0, 11), "UnknownNode");
  EXPECT_EQ(at("vendor:/interfaces").substr(0, 11), "UnknownNode") << "it only adds to them";
  EXPECT_EQ(at("nosuch:/interfaces"),
            "UnknownOrigin: unknown origin 'nosuch'; there are 'ietf-if', 'openconfig', 'openconfig-if', 'other', "
            "'rfc7951', 'vendor'");
  // Below the top, all modules count.
  EXPECT_EQ(at("openconfig:/interfaces/speed"), "/openconfig-if:interfaces/vendor:speed");
}

TEST_F(YangPaths, NameTheOneSiblingThatHasTheName) {
  EXPECT_EQ(at("/interfaces/speed"), "/openconfig-if:interfaces/vendor:speed");
  EXPECT_EQ(at("/interfaces/vendor:speed"), "/openconfig-if:interfaces/vendor:speed");
  EXPECT_EQ(at("/interfaces/other:speed").substr(0, 40), "UnknownNode: unknown element 'other:spee");
  EXPECT_EQ(at("/interfaces/nosuch:speed").substr(0, 41), "UnknownNode: unknown element 'nosuch:spee");
  EXPECT_EQ(at("/interfaces/:speed").substr(0, 11), "UnknownNode");
  EXPECT_EQ(at("/interfaces/vendor:vendor:speed").substr(0, 11), "UnknownNode");
}

TEST_F(YangPaths, AreAmbiguousWhereSeveralSiblingsAreLeft) {
  EXPECT_EQ(at("/interfaces/twin"),
            "Ambiguous: several modules have an element 'twin' here; there are 'other:twin', 'vendor:twin'");
  EXPECT_EQ(at("/interfaces/other:twin"), "/openconfig-if:interfaces/other:twin");
  EXPECT_EQ(at("rfc7951:/interfaces"),
            "Ambiguous: several modules have an element 'interfaces' here; there are 'ietf-if:interfaces', "
            "'openconfig-if:interfaces'");
}

TEST_F(YangPaths, MeanEveryModuleWhereNoneIsOfOpenconfig) {
  load({"ietf-if"});
  EXPECT_EQ(at("/interfaces"), "/ietf-if:interfaces");
  EXPECT_EQ(at("/system"), "/ietf-if:system");
  EXPECT_EQ(at("openconfig:/system"), "UnknownOrigin: unknown origin 'openconfig'; there are 'ietf-if', 'rfc7951'");
}

TEST_F(YangPaths, TakeTheHostsTableOfOrigins) {
  facts.origins = {{"legacy", {"ietf-if"}}, {"openconfig", {"openconfig-if", "ietf-if"}}};
  EXPECT_EQ(at("legacy:/interfaces"), "/ietf-if:interfaces");
  EXPECT_EQ(at("/system"), "/ietf-if:system");
  EXPECT_EQ(at("/interfaces").substr(0, 9), "Ambiguous") << "no origin is the host's openconfig";
  EXPECT_EQ(at("rfc7951:/system"), "UnknownOrigin: unknown origin 'rfc7951'; there are 'legacy', 'openconfig'");
  facts.origins = {};
  EXPECT_EQ(at("anything:/system"), "/ietf-if:system");
  EXPECT_EQ(at("/interfaces").substr(0, 9), "Ambiguous");
}

TEST_F(YangPaths, AreWrittenWithAModuleWhereTheyNeedOne) {
  EXPECT_EQ(canonical("/openconfig-if:interfaces/openconfig-if:mtu"), "/interfaces/mtu");
  EXPECT_EQ(canonical("/interfaces/vendor:mtu"), "/interfaces/vendor:mtu");
  EXPECT_EQ(canonical("/interfaces/vendor:speed"), "/interfaces/speed");
  EXPECT_EQ(canonical("/interfaces/vendor:twin"), "/interfaces/vendor:twin");
  EXPECT_EQ(canonical("/interfaces/vendor:box/vendor:inner"), "/interfaces/box/inner");
  EXPECT_EQ(canonical("/ietf-if:interfaces"), "/ietf-if:interfaces");
  EXPECT_EQ(canonical("ietf-if:/ietf-if:interfaces"), "ietf-if:/interfaces");
  EXPECT_EQ(canonical("/interfaces/route[openconfig-if:vrf=red][prefix= 007]"), "/interfaces/route[prefix=7][vrf=red]");
}

// ---- the attribute that holds a whole key

TEST_F(YangPaths, KnowNothingOfTheAttributeThatHoldsAWholeKey) {
  EXPECT_EQ(at("/interfaces/hop[a=1][b=x]/KEY"),
            "UnknownNode: unknown element 'KEY' of Yang::/openconfig-if:interfaces/hop; there are 'a', 'b'");
  for (std::string const key : {"KEY", "KEY__a", "openconfig-if:KEY", "openconfig-if:KEY__a"}) {
    EXPECT_EQ(at("/interfaces/hop[" + key + "=1]").substr(0, 12), "KeyUnknown: ") << key;
  }
  EXPECT_EQ(at("/interfaces/hop[KEY__a=1][KEY__b=x]").substr(0, 12), "KeyUnknown: ");
  EXPECT_EQ(meant("/interfaces/hop/*"), "/openconfig-if:interfaces/hop/a, /openconfig-if:interfaces/hop/b");
  EXPECT_EQ(meant("/interfaces/.../KEY"), "/openconfig-if:interfaces/route/KEY") << "the leaf of that name";
}

TEST_F(YangPaths, SuggestNodesAndKeysAlone) {
  Resolver const made = resolver();
  Resolved found;
  ASSERT_TRUE(made.resolve(*parsePath("/interfaces/hop"), found));
  std::vector<std::string> names;
  for (auto const& [name, node] : made.nodesBelow(found)) {
    names.push_back(name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(made.keyNames(found.node.attr), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(at("/interfaces/hop[x=1]"), "KeyUnknown: unknown key 'x' of 'hop'; there are 'a', 'b'");
  ASSERT_TRUE(made.resolve(*parsePath("/interfaces"), found));
  names.clear();
  for (auto const& [name, node] : made.nodesBelow(found)) {
    names.push_back(name);
  }
  EXPECT_EQ(names, (std::vector<std::string>{"mtu", "interface", "route", "hop", "other:twin", "vendor:mtu", "speed",
                                             "vendor:twin", "box"}))
      << "each as it is taken";
}

TEST_F(YangPaths, NameALeafThatIsCalledKEY) {
  EXPECT_EQ(at("/interfaces/route[vrf=red][prefix=1]/KEY"), "/openconfig-if:interfaces/route/KEY");
  EXPECT_EQ(at("/interfaces/route[vrf=red][prefix=1]/KEY-").substr(0, 11), "UnknownNode");
  EXPECT_EQ(at("/interfaces/route[KEY=x]").substr(0, 10), "KeyUnknown");
  EXPECT_EQ(at("/interfaces/route[KEY-__vrf=red]").substr(0, 10), "KeyUnknown");
}

// ---- modules in front of keys' names

TEST_F(YangPaths, TakeTheModuleOfAKeysLeaf) {
  EXPECT_EQ(at("/interfaces/interface[openconfig-if:name=a]"), "/openconfig-if:interfaces/interface");
  EXPECT_EQ(at("/interfaces/route[openconfig-if:vrf=red][openconfig-if:prefix=7]", Mode::Write),
            "/openconfig-if:interfaces/route");
  EXPECT_EQ(at("/interfaces/route[openconfig-if:vrf=red][prefix=7]", Mode::Write), "/openconfig-if:interfaces/route");
  EXPECT_EQ(at("/interfaces/interface[vendor:name=a]"),
            "KeyUnknown: unknown key 'vendor:name' of 'interface'; there is 'name'");
  EXPECT_EQ(at("/interfaces/interface[nosuch:name=a]").substr(0, 10), "KeyUnknown");
  EXPECT_EQ(at("/interfaces/route[vendor:vrf=red]").substr(0, 10), "KeyUnknown");
  EXPECT_EQ(at("/interfaces/route[vrf=red][openconfig-if:vrf=red]"),
            "KeyTwice: key 'openconfig-if:vrf' is given twice, first as 'vrf'");
  EXPECT_EQ(at("/interfaces/interface[name=a][openconfig-if:name=a]"),
            "KeyTwice: key 'openconfig-if:name' is given twice, first as 'name'");
}

// ---- wildcards for elements

TEST_F(YangPaths, ExpandWildcards) {
  EXPECT_EQ(meant("/*"), "/ietf-if:interfaces, /ietf-if:system, /openconfig-if:interfaces");
  EXPECT_EQ(meant("openconfig:/*"), "/openconfig-if:interfaces");
  EXPECT_EQ(meant("ietf-if:/*/x"), "/ietf-if:interfaces/x, /ietf-if:system/x");
  EXPECT_EQ(meant("/*/mtu"), "/openconfig-if:interfaces/mtu");
  EXPECT_EQ(meant("/.../vendor:mtu"), "/openconfig-if:interfaces/vendor:mtu");
  EXPECT_EQ(meant("/.../inner"), "/openconfig-if:interfaces/vendor:box/inner");
  EXPECT_EQ(meant("/interfaces/*[name=a]"), "/openconfig-if:interfaces/interface");
  EXPECT_EQ(meant("/interfaces/*[openconfig-if:name=a]"), "/openconfig-if:interfaces/interface");
  EXPECT_EQ(meant("/interfaces/*[vendor:name=a]"), "UnknownNode: the path means no node of the schema");
  EXPECT_EQ(meant("/interfaces/hop/..."),
            "/openconfig-if:interfaces/hop, /openconfig-if:interfaces/hop/a, "
            "/openconfig-if:interfaces/hop/b");
  EXPECT_EQ(meant("/.../twin"),
            "Ambiguous: several modules have an element 'twin' here; there are 'other:twin', 'vendor:twin'");
  EXPECT_EQ(at("/*/mtu"), "WildcardRefused: element '*' stands for many nodes; name one");
}

TEST_F(YangPaths, ExpandToNothingOfModulesThatAreOnlyImported) {
  folder.add("asked", YangTest::import("brought") +
                          " identity own { base brought:kind; }\n container asked { leaf kind { type identityref { "
                          "base brought:kind; } } leaf to { type leafref { path /brought:top/brought:name; } } }");
  folder.add("brought", YangTest::import("openconfig-if") +
                            " identity kind;\n container top { leaf name { type string; } }\n"
                            " augment /openconfig-if:interfaces { leaf brought { type string; } }");
  for (bool const implementImports : {false, true}) {
    load({"asked"}, {.implementImports = implementImports});
    EXPECT_EQ(meant("/..."), "/asked:asked, /asked:asked/kind, /asked:asked/to");
    EXPECT_EQ(meant("/*"), "/asked:asked");
    EXPECT_EQ(at("/top").substr(0, 11), "UnknownNode");
    EXPECT_EQ(at("/brought:top").substr(0, 11), "UnknownNode");
    EXPECT_EQ(at("brought:/top").substr(0, 13), "UnknownOrigin");
    // The module is asked for, so all that it holds counts; what it only refers to does not.
    load({"asked", "openconfig-if"}, {.implementImports = implementImports});
    EXPECT_EQ(at("/interfaces/brought").substr(0, 11), "UnknownNode");
    EXPECT_EQ(meant("/.../brought:*").substr(0, 11), "UnknownNode");
  }
}

TEST_F(YangPaths, LeadToWhatTheModulesTellOfANode) {
  folder.add("facts", R"(
 list rule { key id; ordered-by user; leaf id { type uint8; }
   container state { config false; leaf hits { type uint8; } } }
 list vlan { key id; leaf id { type uint8; } leaf-list tag { type uint8; ordered-by user; } })");
  load({"facts"});
  auto const told = [this](std::string_view text) {
    Resolved found;
    EXPECT_TRUE(resolver().resolve(*parsePath(text), found)) << text;
    std::string facts = modules->isState(found.node.attr) ? "state" : "config";
    for (Selected const& selected : found.selections) {
      facts += modules->isOrderedByUser(selected.collection) ? ", in a list of the user's order" : "";
    }
    return facts + (modules->isOrderedByUser(found.node.attr) ? ", of the user's order" : "");
  };
  EXPECT_EQ(told("/rule[id=1]"), "config, in a list of the user's order, of the user's order");
  EXPECT_EQ(told("/rule[id=1]/state"), "state, in a list of the user's order");
  EXPECT_EQ(told("/rule[id=1]/state/hits"), "state, in a list of the user's order");
  EXPECT_EQ(told("/vlan[id=1]/id"), "config");
  EXPECT_EQ(told("/vlan[id=1]/tag"), "config, of the user's order");
  EXPECT_EQ(told("/"), "config");
}

// ---- values that are refused

TEST_F(YangPaths, NameTheLeafWhoseValueIsRefused) {
  std::string const vrf = "; the leaf is /openconfig-if:interfaces/route/vrf";
  auto const endsWith = [this](std::string_view text, std::string const& ending, Mode mode = Mode::Read) {
    std::string const error = at(text, mode);
    EXPECT_TRUE(error.starts_with("ValueRefused: ") && error.ends_with(ending)) << text << ": " << error;
  };
  endsWith("/interfaces/route[vrf=123456789][prefix=7]", vrf, Mode::Write);
  endsWith("/interfaces/route[openconfig-if:vrf=123456789][prefix=7]", vrf);
  endsWith("/interfaces/route[vrf=123456789]", vrf);
  endsWith("/interfaces/route[vrf=123456789][prefix=*]", vrf);
  endsWith("/interfaces/route[vrf=red][prefix=256]", "; the leaf is /openconfig-if:interfaces/route/prefix");
  EXPECT_EQ(meant("/interfaces/*[vrf=123456789]"),
            "ValueRefused: Yang::/openconfig-if:interfaces/route/vrf: '123456789' does not fit: a text of 1 to 8 "
            "characters" +
                vrf);
  folder.add("single", " list single { key id; leaf id { type uint8; } }");
  load({"single"});
  EXPECT_EQ(at("/single[id=x]"),
            "ValueRefused: Yang::uint8: 'x' does not fit: a decimal number from 0 to 255; the leaf is "
            "/single:single/id");
  endsWith("/single[single:id=x]", "; the leaf is /single:single/id");
}

TEST_F(YangPaths, NameNoLeafWhereTheSchemaTellsOfNone) {
  facts.pathOf = {};
  EXPECT_EQ(at("/interfaces/route[prefix=256]"),
            "ValueRefused: Yang::uint8: '256' does not fit: a decimal number from 0 to 255");
}

}  // namespace
}  // namespace Gnmi
