// Which modules load: whole folders with broken modules in them, revisions, modules that are only imported, and how
// long libyang's contexts live.
#include <dlfcn.h>
#include <libyang/libyang.h>
#include <sys/stat.h>

#include <atomic>
#include <random>
#include <set>

#include "tests/support/TypeNames.h"
#include "tests/yang/Folder.h"
#include "tests/yang/Loaded.h"

namespace {

std::atomic<int> contextsMade = 0;
std::atomic<int> contextsGone = 0;
std::atomic<int> compiles = 0;
std::atomic<int> loads = 0;

template <typename Function>
Function* next(char const* name) {
  return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

}  // namespace

// In front of libyang's own, to count the calls.

LY_ERR ly_ctx_new(char const* search_dir, std::uint16_t options, ly_ctx** new_ctx) {
  ++contextsMade;
  return next<decltype(ly_ctx_new)>("ly_ctx_new")(search_dir, options, new_ctx);
}

void ly_ctx_destroy(ly_ctx* ctx) {
  ++contextsGone;
  next<decltype(ly_ctx_destroy)>("ly_ctx_destroy")(ctx);
}

lys_module* ly_ctx_load_module(ly_ctx* ctx, char const* name, char const* revision, char const** features) {
  ++loads;
  return next<decltype(ly_ctx_load_module)>("ly_ctx_load_module")(ctx, name, revision, features);
}

LY_ERR ly_ctx_compile(ly_ctx* ctx) {
  std::uint32_t at = 0;
  bool isThereAny = false;
  while (lys_module const* const module = ly_ctx_get_module_iter(ctx, &at)) {
    isThereAny = isThereAny || (at > ly_ctx_internal_modules_count(ctx) && module->to_compile != 0);
  }
  compiles += isThereAny ? 1 : 0;
  return next<decltype(ly_ctx_compile)>("ly_ctx_compile")(ctx);
}

namespace YangTest {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

std::expected<Yang::Loaded, std::vector<std::string>> load(Folder const& folder,
                                                           std::vector<std::string> const& modules,
                                                           Yang::Options const& options = {}) {
  return Yang::load(std::vector{folder.path()}, modules, options);
}

std::string list(std::string const& name) { return " list " + name + " { key id; leaf id { type uint8; } }\n"; }

/** Loads the whole folder, and expects each of `good` to have its list, which takes keys. */
Yang::Loaded loadRest(Folder const& folder, std::vector<std::string> const& good) {
  auto result = load(folder, {});
  EXPECT_TRUE(result) << testing::PrintToString(result.error());
  for (std::string const& name : good) {
    Zyn::ZynAttr const attr = result->root.attr(std::string_view("list-of-" + name));
    EXPECT_TRUE(attr.isKeyed() && read(attr.keyType(), "7")) << name;
  }
  return *std::move(result);
}

// ---- what does not load, and what does

struct Broken {
  char const* how;
  std::string body;
  /** Behind the file's path. */
  std::string problem;
};

Broken const brokens[] = {
    {"parsing", " container c { foo; }", ":3: Invalid character sequence \"foo\", expected a keyword."},
    {"import", " import nowhere { prefix n; }", ": no folder has the module 'nowhere'; add the folder that it is in"},
    {"submodule", " include nothing;", ": no folder has the module 'nothing'; add the folder that it is in"},
    {"identity", " identity i { base nix; }", ": Unable to find base (nix) of identity \"i\". (/NAME:{identity='i'})"},
    {"compiling", " leaf l { type uint8 { range \"1..1000\"; } }",
     ": Invalid range restriction - value \"1000\" does not fit the type limitations. (/NAME:l)"},
    {"leafref", " leaf l { type leafref { path \"/nix\"; } }", ": Not found node \"nix\" in path. (/NAME:l)"},
    {"must", " leaf l { type string; must \"foo((\"; }", ": Unknown XPath function \"foo\". (/NAME:l)"},
    {"augment", import("good") + " augment /good:here { leaf l { type uint8 { range \"1..1000\"; } } }",
     ": Invalid range restriction - value \"1000\" does not fit the type limitations. "
     "(/NAME:{augment='/good:here'}/NAME:l)"},
    {"augmented-leafref", import("good") + " augment /good:here { leaf l { type leafref { path \"/good:nix\"; } } }",
     ": Not found node \"nix\" in path. (/good:here/NAME:l)"},
    {"augment-target", import("good") + " augment /good:nix { leaf l { type uint8; } }",
     R"(: Augment target node "/good:nix" from module "NAME" was not found. (/NAME:{augment='/good:nix'}))"},
    {"deviation-target", import("good") + " deviation /good:nix { deviate not-supported; }",
     R"(: Deviation(s) target node "/good:nix" from module "NAME" was not found. (/good:{deviation='/good:nix'}))"},
    {"deviation-must", import("good") + " deviation /good:here { deviate add { must \"foo((\"; } }",
     ": Unknown XPath function \"foo\". (/good:here)"},
};

std::string named(std::string text, std::string const& name) {
  for (std::size_t at = 0; (at = text.find("NAME", at)) != std::string::npos;) {
    text.replace(at, 4, name);
  }
  return text;
}

void PrintTo(Broken const& broken, std::ostream* out) {
  for (char const c : std::string_view(broken.how)) {
    *out << (c == '-' ? '_' : c);
  }
}

class Load : public testing::TestWithParam<std::tuple<Broken, char const*>> {};

TEST_P(Load, LeavesOutWhatIsBroken) {
  auto const& [broken, name] = GetParam();
  Folder const folder;
  folder.add("good", list("list-of-good") + " container here { leaf l { type string; } }");
  folder.add("great", import("good") + list("list-of-great") + " augment /good:here { leaf great { type string; } }");
  folder.add(name, broken.body + list("list-of-bad"));
  contextsMade = compiles = 0;
  Yang::Loaded const rest = loadRest(folder, {"good", "great"});
  EXPECT_THAT(rest.warnings, ElementsAre(folder.file(std::string(name) + ".yang") + named(broken.problem, name)));
  EXPECT_TRUE(rest.root.attr("list-of-bad").empty());
  EXPECT_LE(contextsMade, 4) << "the first, what it could not read, what comes behind that, and the last";
  EXPECT_LE(compiles, 2);

  auto const strict = load(folder, {}, {.isStrict = true});
  ASSERT_FALSE(strict);
  EXPECT_EQ(strict.error(), rest.warnings);
}

// Folders are read in the order of names.
INSTANTIATE_TEST_SUITE_P(First, Load, testing::Combine(testing::ValuesIn(brokens), testing::Values("a")),
                         [](auto const& info) { return testing::PrintToString(std::get<0>(info.param)); });
INSTANTIATE_TEST_SUITE_P(Middle, Load, testing::Combine(testing::ValuesIn(brokens), testing::Values("goose")),
                         [](auto const& info) { return testing::PrintToString(std::get<0>(info.param)); });
INSTANTIATE_TEST_SUITE_P(Last, Load, testing::Combine(testing::ValuesIn(brokens), testing::Values("z")),
                         [](auto const& info) { return testing::PrintToString(std::get<0>(info.param)); });

TEST(LoadFolder, NamesWhatNeedsWhatIsBroken) {
  Folder const folder;
  folder.add("bad", " container c { foo; }");
  folder.add("importer", import("bad") + list("list-of-importer"));
  folder.add("further", import("importer") + list("list-of-further"));
  folder.add("good", list("list-of-good"));
  Yang::Loaded const rest = loadRest(folder, {"good"});
  std::string const bad = folder.file("bad.yang") + ":3: Invalid character sequence \"foo\", expected a keyword.";
  EXPECT_THAT(rest.warnings, ElementsAre(bad, folder.file("further.yang") + ": what it needs does not load: " + bad,
                                         folder.file("importer.yang") + ": what it needs does not load: " + bad));
}

TEST(LoadFolder, KeepsWhatUsesTypesOfWhatDoesNotCompile) {
  Folder const folder;
  folder.add("bad", " typedef number { type uint8; }\n leaf l { type string; must \"foo((\"; }");
  folder.add("referrer", import("bad") + " leaf r { type leafref { path \"/bad:l\"; } }");
  folder.add("user", import("bad") + " list list-of-user { key id; leaf id { type bad:number; } }");
  folder.add("other", list("list-of-other"));
  Yang::Loaded const rest = loadRest(folder, {"user", "other"});
  std::string const bad = folder.file("bad.yang") + ": Unknown XPath function \"foo\". (/bad:l)";
  EXPECT_THAT(rest.warnings,
              ElementsAre(bad, folder.file("referrer.yang") + ": what it refers to does not load: " + bad));
}

TEST(LoadFolder, LeavesOutWhatLeadsToWhatDoesNotCompileThroughAGrouping) {
  Folder const folder;
  folder.add("bad", " leaf l { type string; must \"foo((\"; }");
  folder.write("sub.yang", "submodule sub { yang-version 1.1; belongs-to middle { prefix m; }\n" + import("bad") +
                               " grouping g { leaf r { type leafref { path /bad:l; } } } }");
  folder.add("middle", " include sub;");
  folder.add("user", import("middle") + " uses middle:g;");
  folder.add("good", list("list-of-good"));
  Yang::Loaded const rest = loadRest(folder, {"good"});
  EXPECT_THAT(rest.warnings, testing::Contains(StartsWith(folder.file("user.yang") + ": what it refers to does not")));
}

TEST(LoadFolder, TakesOnePassForEachFailureAtMost) {
  Folder const folder;
  std::set<std::string> files;
  for (int i = 0; i < 10; ++i) {
    std::string const name = "m" + std::to_string(i);
    bool const parses = i % 2 == 0;
    folder.add(name, parses ? " leaf l { type nix; }" : " foo;");
    files.insert(folder.file(name + ".yang"));
    folder.add("n" + std::to_string(i), list("list-of-n" + std::to_string(i)));
  }
  compiles = loads = 0;
  Yang::Loaded const rest = loadRest(folder, {"n0", "n1", "n9"});
  EXPECT_EQ(rest.warnings.size(), 10U);
  EXPECT_EQ(compiles, 6) << "one for each module that does not compile, and the last one";
  EXPECT_LE(loads, 20 + 5 + 6 * 15)
      << "all are read once, what fails once more alone, and what can be read before each compile";
}

TEST(LoadFolder, NeedsOneContextAndOneCompile) {
  contextsMade = compiles = 0;
  Yang::Loaded const all = loaded({YANG_MODULES "/modules"}, {});
  EXPECT_EQ(contextsMade, 1);
  EXPECT_EQ(compiles, 1);
  EXPECT_THAT(all.warnings, IsEmpty());
  EXPECT_THAT(attrNames(all.root), UnorderedElementsAre("kinds", "more:top", "odd:top", "shape:top", "title", "part"));
}

TEST(LoadFolder, TakesAListWhoseKeyCannotBeWrittenForOneWithoutKeys) {
  Yang::Loaded const rest = loaded({YANG_MODULES "/bad"}, {});
  Zyn::ZynAttr const one = attrAt(rest.root, {"c", "one"});
  EXPECT_TRUE(Model::isList(one) && !one.isKeyed());
  EXPECT_THAT(rest.warnings,
              testing::Contains(StartsWith("/underscores:c/one: the name of the key 'a__b' holds '__'")));
}

// ---- the order of modules

TEST(LoadOrder, MakesNoDifference) {
  Folder const folder;
  folder.add("types", " identity kind;\n identity red { base kind; }");
  folder.add("user", import("types") +
                         " list user { key id; leaf id { type identityref { base types:kind; } default types:red; } }");
  folder.add("more", import("types") + " identity blue { base types:kind; }");
  folder.add("same", import("types") +
                         " leaf a { type uint8 { range 1..5; } } leaf b { type identityref { base types:kind; } }");
  std::vector<std::string> names = {"more", "same", "types", "user"};
  std::vector<std::string> types;
  do {
    auto const result = load(folder, names);
    ASSERT_TRUE(result) << testing::PrintToString(result.error());
    Zyn::ZynType const type = attrAt(result->root, {"user"}).keyType();
    EXPECT_TRUE(read(type, "types:red"));
    EXPECT_TRUE(read(type, "more:blue"));
    types = types.empty() ? result->schema.names() : types;
    EXPECT_EQ(result->schema.names(), types);
    EXPECT_EQ(Model::enumerators(type).front().name, "more:blue");
  } while (std::ranges::next_permutation(names).found);
}

// ---- modules that are only imported, or only referred to

TEST(LoadImport, GivesNoElementsWhenItIsOnlyReferredTo) {
  Folder const folder;
  folder.add("asked", import("other") +
                          " identity own { base other:kind; }\n"
                          " container top { leaf to { type leafref { path /other:top/other:name; } }\n"
                          "   leaf kind { type identityref { base other:kind; } default other:red; } }");
  folder.add("other", import("third") + import("asked") +
                          " identity kind;\n identity red { base kind; }\n"
                          " container top { leaf name { type uint8; must /third:top; } }");
  folder.write("other.yang",
               "module other { yang-version 1.1; namespace urn:other; prefix other; import third { prefix third; }\n"
               " identity kind; identity red { base kind; }\n"
               " container top { leaf name { type uint8; must /third:top; } } }");
  folder.add("third", " container top { leaf x { type string; } }");
  auto const result = load(folder, {"asked"});
  ASSERT_TRUE(result) << testing::PrintToString(result.error());
  EXPECT_THAT(attrNames(result->root), ElementsAre("top")) << "and not asked:top";
  EXPECT_STREQ(attrAt(result->root, {"top", "to"}).attrType().name(), "Yang::uint8");
  EXPECT_TRUE(read(attrAt(result->root, {"top", "kind"}).attrType(), "other:red"));
}

TEST(LoadImport, GivesTheElementsOfWhatIsAugmentedOrDeviated) {
  Folder const folder;
  folder.add("target", " container here { leaf l { type string; } }");
  folder.add("further", " container there { leaf l { type string; } leaf gone { type string; } }");
  folder.add("asked", import("target") + import("further") +
                          " augment /target:here { leaf more { type string; } }\n"
                          " deviation /further:there/further:gone { deviate not-supported; }");
  auto const result = load(folder, {"asked"});
  ASSERT_TRUE(result) << testing::PrintToString(result.error());
  EXPECT_THAT(attrNames(result->root), UnorderedElementsAre("here", "there"));
  EXPECT_THAT(attrNames(attrAt(result->root, {"here"}).attrType()), ElementsAre("l", "more"));
  EXPECT_THAT(attrNames(attrAt(result->root, {"there"}).attrType()), ElementsAre("l"));
}

TEST(LoadImport, MayBeNeededByADefaultAlone) {
  Folder const folder;
  folder.add("other", " identity kind;\n identity red { base kind; }\n container top;");
  folder.add("asked", import("other") + " leaf kind { type identityref { base other:kind; } default other:red; }");
  auto const result = load(folder, {"asked"});
  ASSERT_TRUE(result) << testing::PrintToString(result.error());
  EXPECT_THAT(attrNames(result->root), ElementsAre("kind"));
  EXPECT_TRUE(read(attrAt(result->root, {"kind"}).attrType(), "other:red"));
}

TEST(LoadImport, GivesWhatStandsBetweenANodeAndItsAugment) {
  Folder const folder;
  folder.add("base", " container top { leaf l { type string; } }");
  folder.add("middle", import("base") + " augment /base:top { container more { leaf x { type string; } } }");
  folder.add("asked", import("base") + import("middle") + " augment /base:top/middle:more { leaf y { type string; } }");
  auto const result = load(folder, {"asked"});
  ASSERT_TRUE(result) << testing::PrintToString(result.error());
  EXPECT_THAT(attrNames(attrAt(result->root, {"top"}).attrType()), ElementsAre("l", "more"));
  EXPECT_THAT(attrNames(attrAt(result->root, {"top", "more"}).attrType()), ElementsAre("x", "y"));
}

TEST(LoadImport, GivesWhatIsDeviatedInAnAugment) {
  Folder const folder;
  folder.add("base", " container top { leaf l { type string; } }");
  folder.add(
      "middle",
      import("base") + " augment /base:top { container more { leaf x { type string; } leaf gone { type string; } } }");
  std::string const deviation =
      import("base") + import("middle") + " deviation /base:top/middle:more/middle:gone { deviate not-supported; }";
  folder.add("asked", deviation);
  folder.add("whole", " include part;");
  folder.write("part.yang", "submodule part { yang-version 1.1; belongs-to whole { prefix w; }" + deviation + "}");
  for (std::string const name : {"asked", "whole"}) {
    auto const result = load(folder, {name});
    ASSERT_TRUE(result) << testing::PrintToString(result.error());
    EXPECT_THAT(attrNames(attrAt(result->root, {"top", "more"}).attrType()), ElementsAre("x")) << name;
  }
}

TEST(LoadImport, GivesTheElementsOfWhatIsAugmentedByThose) {
  Folder const folder;
  folder.add("further", " container there { leaf l { type string; } }");
  folder.add("base", import("further") +
                         " container here { leaf l { type string; } }\n"
                         " augment /further:there { leaf more { type string; } }");
  folder.add("asked", import("base") + " augment /base:here { leaf more { type string; } }");
  auto const result = load(folder, {"asked"});
  ASSERT_TRUE(result) << testing::PrintToString(result.error());
  EXPECT_THAT(attrNames(result->root), UnorderedElementsAre("here", "there"));
  EXPECT_THAT(attrNames(attrAt(result->root, {"there"}).attrType()), ElementsAre("l", "more"));
}

TEST(LoadImport, HasAllItsFeaturesWhereItIsImplemented) {
  Folder const folder;
  folder.add("types",
             " feature rare;\n typedef speed { type enumeration { enum usual; enum seldom { if-feature rare; } } }");
  folder.add("user", import("types") + " list user { key id; leaf id { type types:speed; } }");
  for (bool const implementImports : {false, true}) {
    auto const result = load(folder, {"user"}, {.allFeatures = true, .implementImports = implementImports});
    ASSERT_TRUE(result) << testing::PrintToString(result.error());
    Zyn::ZynType const type = attrAt(result->root, {"user"}).keyType();
    EXPECT_TRUE(read(type, "usual"));
    EXPECT_EQ(read(type, "seldom") != nullptr, implementImports) << "types of modules that are not implemented";
  }
}

TEST(LoadImport, GivesIdentitiesWhereItIsAskedFor) {
  Folder const folder;
  folder.add("base", " identity protocol;\n identity STATIC { base protocol; }");
  folder.add("policy", import("base") + " identity BGP { base base:protocol; }\n container not-here;");
  folder.add("asked", import("base") + import("policy") +
                          " identity OSPF { base base:protocol; }\n"
                          " list protocol { key id; leaf id { type identityref { base base:protocol; } } }");
  for (bool const implementImports : {false, true}) {
    auto const result = load(folder, {"asked"}, {.implementImports = implementImports});
    ASSERT_TRUE(result) << testing::PrintToString(result.error());
    EXPECT_THAT(attrNames(result->root), ElementsAre("protocol"));
    Zyn::ZynType const type = attrAt(result->root, {"protocol"}).keyType();
    std::string error;
    EXPECT_EQ(read(type, "BGP", &error) != nullptr, implementImports);
    EXPECT_EQ(read(type, "policy:BGP", &error) != nullptr, implementImports);
    if (!implementImports) {
      EXPECT_THAT(error,
                  EndsWith("; 'BGP' is an identity of 'policy', which is only imported: load that module as well"));
    }
  }
}

TEST(LoadImport, IsNamedWhereANodeOfItsIsMissing) {
  Folder const folder;
  folder.add("base", " container top { leaf l { type string; } }");
  folder.add("adder", import("base") + " augment /base:top { container more { leaf x { type string; } } }");
  folder.add("other", import("base") + " augment /base:top { container another { leaf x { type string; } } }");
  folder.add("more", " container more;");
  folder.add("user", import("base") + " leaf l { type leafref { path /base:top/base:more; } }");
  folder.add("grower", import("base") + " augment /base:top/base:more { leaf y { type string; } }");
  std::string const advice = "; where a node is missing, load what adds it as well: a node 'more' is in 'adder'";
  EXPECT_THAT(load(folder, {"user"}).error(),
              ElementsAre(folder.file("user.yang") + ": Not found node \"more\" in path. (/user:l)" + advice));
  EXPECT_THAT(load(folder, {"grower"}).error(), ElementsAre(EndsWith(advice)));
  EXPECT_THAT(load(folder, {"adder", "user"}).error(), ElementsAre(EndsWith("(/user:l)"))) << "nothing more to load";
}

// ---- revisions

std::string revision(std::string const& date, std::string const& leaf) {
  return " revision " + date + ";\n leaf " + leaf + " { type string; }";
}

TEST(LoadRevision, IsTheNewestOfAllFolders) {
  Folder const first;
  Folder const second;
  first.add("m", revision("2020-01-01", "old"));
  second.add("m", " revision 2019-01-01;" + revision("2021-01-01", "new"));
  second.add("m", revision("2018-01-01", "oldest"), "below/m@2018-01-01.yang");
  auto const result = Yang::load(std::vector{first.path(), second.path()}, std::vector<std::string>{});
  ASSERT_TRUE(result) << testing::PrintToString(result.error());
  EXPECT_THAT(attrNames(result->root), ElementsAre("new"));
  EXPECT_THAT(result->choices,
              ElementsAre("m: 2021-01-01 of '" + second.file("m.yang") + "', not 2020-01-01 of '" +
                          first.file("m.yang") + "', 2018-01-01 of '" + second.file("below/m@2018-01-01.yang") + "'"));
}

TEST(LoadRevision, IsOfTheFirstFolderOnATie) {
  Folder const first;
  Folder const second;
  first.add("m", revision("2020-01-01", "first"));
  second.add("m", revision("2020-01-01", "second"));
  second.add("same", revision("2020-01-01", "same"));
  first.add("same", revision("2020-01-01", "same"));
  for (bool const isSwapped : {false, true}) {
    std::vector folders = {first.path(), second.path()};
    if (isSwapped) {
      std::swap(folders[0], folders[1]);
    }
    auto const result = Yang::load(folders, std::vector<std::string>{});
    ASSERT_TRUE(result);
    EXPECT_THAT(attrNames(result->root), UnorderedElementsAre(isSwapped ? "second" : "first", "same"));
    EXPECT_EQ(result->choices.size(), 1U) << "files with one content are no choice";
  }
}

TEST(LoadRevision, IsTheSameForImports) {
  Folder const first;
  Folder const second;
  first.add("user", import("types") + " list user { key id; leaf id { type types:number; } }");
  first.add("types", " revision 2020-01-01;\n typedef number { type uint8; }");
  second.add("types", " revision 2021-01-01;\n typedef number { type uint16; }");
  std::vector const folders = {first.path(), second.path()};
  auto const newest = Yang::load(folders, std::vector<std::string>{"user"});
  ASSERT_TRUE(newest);
  EXPECT_TRUE(read(attrAt(newest->root, {"user"}).keyType(), "300"));
  EXPECT_EQ(newest->choices.size(), 1U);
  for (std::vector<std::string> const& modules :
       {std::vector<std::string>{"user", "types@2020-01-01"}, {"types@2020-01-01", "user"}}) {
    auto const chosen = Yang::load(folders, modules);
    ASSERT_TRUE(chosen) << testing::PrintToString(chosen.error());
    EXPECT_FALSE(read(attrAt(chosen->root, {"user"}).keyType(), "300")) << "as what was asked for by name";
    EXPECT_THAT(chosen->choices, IsEmpty());
  }
}

TEST(LoadRevision, OfASubmoduleIsTheNewest) {
  Folder const first;
  Folder const second;
  auto const submodule = [](std::string const& date, std::string const& leaf) {
    return "submodule part { yang-version 1.1; belongs-to whole { prefix w; } revision " + date + "; leaf " + leaf +
           " { type string; } }";
  };
  first.write("part.yang", submodule("2020-01-01", "old"));
  second.write("part.yang", submodule("2021-01-01", "new"));
  first.add("whole", " include part;");
  auto const result = Yang::load(std::vector{first.path(), second.path()}, std::vector<std::string>{});
  ASSERT_TRUE(result) << testing::PrintToString(result.error());
  EXPECT_THAT(attrNames(result->root), ElementsAre("new"));
  EXPECT_THAT(result->choices, ElementsAre("part: 2021-01-01 of '" + second.file("part.yang") +
                                           "', not 2020-01-01 of '" + first.file("part.yang") + "'"));
  first.add("whole", " include part { revision-date 2020-01-01; }");
  auto const named = Yang::load(std::vector{first.path(), second.path()}, std::vector<std::string>{});
  ASSERT_TRUE(named) << testing::PrintToString(named.error());
  EXPECT_THAT(attrNames(named->root), ElementsAre("old"));
  EXPECT_THAT(named->choices, IsEmpty());
}

TEST(LoadRevision, OfAnImportIsTheOneThatItNames) {
  Folder const folder;
  folder.add("user",
             " import types { prefix types; revision-date 2020-01-01; }\n"
             " list user { key id; leaf id { type types:number; } }");
  folder.add("types", " revision 2020-01-01;\n typedef number { type uint8; }", "old/types.yang");
  folder.add("types", " revision 2021-01-01;\n typedef number { type uint16; }");
  auto const result = load(folder, {"user"});
  ASSERT_TRUE(result) << testing::PrintToString(result.error());
  EXPECT_FALSE(read(attrAt(result->root, {"user"}).keyType(), "300"));
}

TEST(LoadRevision, ThatIsImportedAndNotThereIsAnError) {
  Folder const folder;
  folder.add("user", " import types { prefix types; revision-date 2022-01-01; }");
  folder.add("types", " revision 2020-01-01;\n typedef number { type uint8; }", "old/types.yang");
  folder.add("types", " revision 2021-01-01;\n typedef number { type uint16; }");
  EXPECT_THAT(load(folder, {"user"}).error(),
              ElementsAre(folder.file("user.yang") +
                          ": no folder has the module 'types' in the revision that is imported; add the folder that it "
                          "is in; there are '2021-01-01', '2020-01-01'"));
}

TEST(LoadRevision, ThatIsNotThereIsAnError) {
  Folder const folder;
  folder.add("m", revision("2020-01-01", "l"));
  auto const result = load(folder, {"m@2021-01-01", "other", "mm"});
  ASSERT_FALSE(result);
  EXPECT_THAT(result.error(),
              ElementsAre("no folder has the revision '2021-01-01' of 'm'; there is '2020-01-01'",
                          "no folder has a module 'other'", "no folder has a module 'mm'; did you mean 'm'?"));
}

// ---- files

TEST(LoadFiles, GoByTheNamesThatTheyState) {
  Folder const folder;
  folder.write(
      "anything.yang",
      "/* a comment, module not { */ // another\n"
      "module \"na\" + 'med' { namespace urn:named; prefix n; list named { key id; leaf id { type uint8; } } }");
  folder.add("user", import("named"));
  folder.write("in-yin.yin", R"(<?xml version="1.0"?>
<module name="in-yin" xmlns="urn:ietf:params:xml:ns:yang:yin:1" xmlns:y="urn:in-yin">
  <namespace uri="urn:in-yin"/><prefix value="y"/>
  <revision date="2020-02-02"/>
  <leaf name="yin"><type name="string"/></leaf>
</module>)");
  folder.write(".hidden.yang", "module hidden");
  folder.write(".git/hidden.yang", "module hidden");
  folder.write("garbage.yang", "\"");
  Yang::Loaded const rest = loadRest(folder, {});
  EXPECT_THAT(attrNames(rest.root), UnorderedElementsAre("named", "yin"));
  EXPECT_THAT(rest.warnings, ElementsAre(StartsWith(folder.file("garbage.yang") + ":1: ")));
  EXPECT_TRUE(load(folder, {"in-yin@2020-02-02"}));
}

TEST(LoadFiles, AreNotReadWhereTheyAreHuge) {
  Folder const folder;
  folder.write("huge.yang", "");
  std::filesystem::resize_file(folder.file("huge.yang"), std::uintmax_t{1} << 40);
  folder.add("user", import("huge"));
  folder.add("whole", " include huge;");
  folder.add("good", list("list-of-good"));
  Yang::Loaded const rest = loadRest(folder, {"good"});
  std::string const huge = folder.file("huge.yang") + ": the file cannot be read, or is larger than 256 MiB";
  EXPECT_THAT(rest.warnings,
              ElementsAre(huge, folder.file("user.yang") + ": " + huge, folder.file("whole.yang") + ": " + huge));
}

TEST(LoadFiles, MayBeAnythingThatAFolderHolds) {
  Folder const folder;
  folder.add("good", list("list-of-good"));
  ASSERT_EQ(::mkfifo(folder.file("fifo.yang").c_str(), 0600), 0);
  std::filesystem::create_directory(folder.file("folder.yang"));
  for (auto const& [target, link] : {std::pair("nowhere", "dangling.yang"),
                                     {"loop.yang", "loop.yang"},
                                     {"/dev/zero", "device.yang"},
                                     {"/proc/self/mem", "memory.yang"},
                                     {"..", "up"}}) {
    std::filesystem::create_symlink(target, folder.file(link));
  }
  folder.write("empty.yang", "");
  folder.write("empty.yin", "");
  folder.write("\xff\xfe.yang", "module latin { namespace urn:latin; prefix l; leaf latin { type string; } }");
  Yang::Loaded const rest = loadRest(folder, {"good"});
  EXPECT_THAT(attrNames(rest.root), UnorderedElementsAre("list-of-good", "latin"));
  EXPECT_THAT(rest.warnings, UnorderedElementsAre(
                                 folder.file("empty.yang") + ":1: Unexpected end-of-input.",
                                 folder.file("memory.yang") + ": the file cannot be read, or is larger than 256 MiB"));
}

TEST(LoadFiles, MayStateAnyRevision) {
  Folder const folder;
  folder.add("month", revision("2024-13-45", "month"), "month@2024-13-45.yang");
  folder.add("word", revision("x", "word"), "word@x.yang");
  folder.add("none", " leaf none { type string; }", "none@2024-13-45.yang");
  folder.add("at", revision("2024-01-01", "at"), "@.yang");
  folder.add("many", revision("2020-01-01", "many"), "many@2021-01-01@2022-01-01.yang");
  Yang::Loaded const rest = loadRest(folder, {});
  EXPECT_THAT(attrNames(rest.root), UnorderedElementsAre("none", "at", "many"));
  EXPECT_THAT(rest.warnings,
              ElementsAre(folder.file("month@2024-13-45.yang") + ":3: Invalid value \"2024-13-45\" of \"revision\".",
                          folder.file("word@x.yang") + ":3: Invalid length 1 of a date."));
}

TEST(LoadFiles, MayLeadInCircles) {
  Folder const folder;
  folder.add("self", import("self"));
  folder.add("a", import("b"));
  folder.add("b", import("c"));
  folder.add("c", import("a"));
  folder.add("whole", " include part;");
  auto const submodule = [&](std::string const& name, std::string const& body) {
    folder.write(name + ".yang",
                 "submodule " + name + " { yang-version 1; belongs-to whole { prefix w; } " + body + " }");
  };
  submodule("part", "include other;");
  submodule("other", "include part;");
  folder.add("own", " include own;");
  folder.add("grouping", " grouping g { uses h; } grouping h { uses g; } uses g;");
  folder.add("type", " typedef t { type u; } typedef u { type t; } leaf l { type t; }");
  folder.add("identity", " identity i { base j; } identity j { base i; }");
  folder.add("leafref", " leaf l { type leafref { path /m; } } leaf m { type leafref { path /l; } }");
  folder.add("good", list("list-of-good"));
  Yang::Loaded const rest = loadRest(folder, {"good"});
  EXPECT_EQ(rest.warnings.size(), 10U) << testing::PrintToString(rest.warnings);
  EXPECT_THAT(attrNames(rest.root), ElementsAre("list-of-good"));
}

TEST(LoadFiles, MayHoldAnything) {
  std::string const module =
      "module m { namespace urn:m; prefix m; include s; import i { prefix \"i\\\"i\" + 'x'; }\n"
      "// comment\n revision 2020-01-01; /* more */ leaf l { type string; default \"i:x\"; } }";
  Folder const folder;
  for (std::size_t size = 0; size < module.size(); size += 5) {
    folder.write("m.yang", module.substr(0, size));
    EXPECT_TRUE(load(folder, {})) << "with a warning: " << size;
  }
  std::mt19937 random(1);
  for (int i = 0; i < 60; ++i) {
    std::string text = module;
    for (int change = 0; change < 3; ++change) {
      text[random() % text.size()] = "\0{};\"'/*+\\ \n"[random() % 12];
    }
    folder.write("m.yang", text);
    EXPECT_TRUE(load(folder, {}));
  }
}

// ---- origins, nodes

TEST(LoadedOrigins, AreThoseOfModuleNames) {
  Folder const folder;
  folder.add("openconfig-a", "");
  folder.add("openconfig", "");
  folder.add("ietf-b", "");
  auto const result = load(folder, {});
  ASSERT_TRUE(result);
  using Names = std::set<std::string, std::less<>>;
  std::map<std::string, Names, std::less<>> const expected = {{"openconfig-a", {"openconfig-a"}},
                                                              {"ietf-b", {"ietf-b"}},
                                                              {"openconfig", {"openconfig-a", "openconfig"}},
                                                              {"rfc7951", {"openconfig-a", "openconfig", "ietf-b"}}};
  EXPECT_EQ(result->origins, expected);
}

TEST(LoadedNodes, TellWhatTheyAre) {
  Folder const folder;
  folder.add("m",
             " container c { container state { config false; leaf x { type string; } }\n"
             " list byuser { key \"a b\"; ordered-by user; leaf a { type string; } leaf b { type string; } }\n"
             " leaf-list names { ordered-by user; type string; }\n"
             " choice way { case one { list other { key a; leaf a { type string; } } } } }");
  folder.add("n", import("m") + " augment /m:c { container more { leaf x { type string; } } }");
  auto const result = load(folder, {});
  ASSERT_TRUE(result);
  Yang::Loaded const& all = *result;
  struct Row {
    std::vector<std::string_view> way;
    std::string path, module, parent;
    bool isState, isOrderedByUser, isWholeKey;
  };
  std::vector<Row> const rows = {
      {{"c"}, "/m:c", "m", "", false, false, false},
      {{"c", "state"}, "/m:c/state", "m", "m", true, false, false},
      {{"c", "state", "x"}, "/m:c/state/x", "m", "m", true, false, false},
      {{"c", "byuser"}, "/m:c/byuser", "m", "m", false, true, false},
      {{"c", "byuser", "a"}, "/m:c/byuser/a", "m", "m", false, false, false},
      {{"c", "byuser", "KEY"}, "/m:c/byuser", "m", "m", false, true, true},
      {{"c", "names"}, "/m:c/names", "m", "m", false, true, false},
      {{"c", "other"}, "/m:c/other", "m", "m", false, false, false},
      {{"c", "more"}, "/m:c/n:more", "n", "m", false, false, false},
      {{"c", "more", "x"}, "/m:c/n:more/x", "n", "n", false, false, false},
      {{}, "", "", "", false, false, false},
  };
  for (Row const& row : rows) {
    Zyn::ZynAttr const attr = attrAt(all.root, row.way);
    EXPECT_EQ(all.pathOf(attr), row.path);
    EXPECT_EQ(all.moduleOf(attr), row.module) << row.path;
    EXPECT_EQ(all.parentModuleOf(attr), row.parent) << row.path;
    EXPECT_EQ(all.isState(attr), row.isState) << row.path;
    EXPECT_EQ(all.isOrderedByUser(attr), row.isOrderedByUser) << row.path;
    EXPECT_EQ(all.isWholeKey(attr), row.isWholeKey) << row.path;
  }
}

// ---- how long contexts live

TEST(LoadLifetime, OfContextsEndsWithTheSchema) {
  Folder const folder;
  folder.add("bad", " foo;");
  contextsMade = contextsGone = 0;
  for (int i = 0; i < 20; ++i) {
    auto kinds =
        Yang::load(std::vector<std::string>{YANG_MODULES "/modules", folder.path()}, std::vector<std::string>{});
    ASSERT_TRUE(kinds);
    int const before = contextsGone;
    Model::Schema const schema = std::move(kinds->schema);
    Zyn::ZynType const type = attrAt(kinds->root, {"kinds", "instance"}).keyType();
    kinds = std::unexpected(std::vector<std::string>());
    EXPECT_EQ(contextsGone, before) << "its rules need it";
    EXPECT_TRUE(read(type, "/kinds:kinds/int8[id='5']/id"));
    std::string error;
    EXPECT_FALSE(read(type, "/kinds:kinds/nix", &error));
  }
  EXPECT_EQ(contextsGone, contextsMade);
}

TEST(LoadLifetime, LeavesNothingOfAContextInAThread) {
  {
    Yang::Loaded const kinds = loaded({YANG_MODULES "/modules"}, {"kinds", "animals"});
    for (Zyn::AttributeQIterator list(attrAt(kinds.root, {"kinds"}).attrType()); list; ++list) {
      for (std::string_view const text :
           {"/kinds:kinds/int8[id='5']/id", "/kinds:kinds/nix", "/nix:x[", "cow", "10.0.0.1", "-"}) {
        if ((*list).isKeyed()) {
          (void)read((*list).keyType(), text);
        }
      }
    }
  }
  // An error that belongs to no place at all is said to be in the place that libyang remembers.
  ly_ctx* context = nullptr;
  std::uint32_t const before = ly_log_options(LY_LOSTORE);
  ASSERT_EQ(ly_ctx_new(nullptr, LY_CTX_DISABLE_SEARCHDIRS, &context), LY_SUCCESS);
  EXPECT_EQ(ly_ctx_load_module(context, "nowhere", nullptr, nullptr), nullptr);
  ASSERT_NE(ly_err_first(context), nullptr);
  EXPECT_EQ(ly_err_first(context)->path, nullptr);
  ly_ctx_destroy(context);
  ly_log_options(before);
}

}  // namespace
}  // namespace YangTest
