// Modules that nobody honest writes: they are refused, or cost what they hold, and the others load.
#include <fmt/core.h>

#include "tests/support/Allocations.h"
#include "tests/yang/Folder.h"
#include "tests/yang/Loaded.h"

namespace YangTest {
namespace {

using testing::ElementsAre;

/** `lines` definitions, each of which stands for the one before it twice. */
std::string doublingGroupings(int lines, std::string const& name) {
  std::string text = " grouping " + name + "0 { leaf l { type string; } }\n";
  for (int i = 1; i < lines; ++i) {
    std::string const uses = fmt::format(" {{ uses {}{}; }}", name, i - 1);
    text += fmt::format(" grouping {}{} {{ container a{} container b{} }}\n", name, i, uses, uses);
  }
  return text;
}
std::string doublingUnions(int lines) {
  std::string text = " typedef a-type-of-a-long-name-0 { type string; }\n";
  for (int i = 1; i < lines; ++i) {
    std::string const type = fmt::format(" type a-type-of-a-long-name-{};", i - 1);
    text += fmt::format(" typedef a-type-of-a-long-name-{} {{ type union {{{}{} }} }}\n", i, type, type);
  }
  return text;
}
std::string nestingGroupings(int lines) {
  std::string text = " grouping g0 { leaf l { type string; } }\n";
  for (int i = 1; i < lines; ++i) {
    text += " grouping g" + std::to_string(i) + " { container c { uses g" + std::to_string(i - 1) + "; } }\n";
  }
  return text;
}

struct Growing {
  char const* how;
  /** Of the module "m", which includes "part"; "other" has groupings g0 to g39. */
  std::string body;
  std::string part = {};
};

void PrintTo(Growing const& row, std::ostream* out) { *out << row.how; }

class Grows : public testing::TestWithParam<Growing> {};

TEST_P(Grows, IsRefusedBeforeItIsCompiled) {
  Growing const& row = GetParam();
  Folder const folder;
  folder.add("good", " list good { key id; leaf id { type uint8; } }");
  folder.add("m", " include part; import other { prefix o; }" + row.body);
  folder.write("part.yang", "submodule part { yang-version 1.1; belongs-to m { prefix m; } import other { prefix p; }" +
                                row.part + "}");
  folder.add("other", doublingGroupings(40, "g"));
  std::string const problem =
      folder.file("m.yang") + ": the modules make more than 2000000 nodes, most of them in this one";
  auto const result = Yang::load(std::vector{folder.path()}, std::vector<std::string>{"m", "good"});
  ASSERT_FALSE(result);
  EXPECT_THAT(result.error(), ElementsAre(problem));
}

INSTANTIATE_TEST_SUITE_P(
    Modules, Grows,
    testing::Values(Growing{"groupings", doublingGroupings(40, "h") + " uses h39;"},
                    Growing{"imported", " uses o:g39;"},
                    Growing{"own_prefix", doublingGroupings(40, "h") + " uses m:h39;"},
                    Growing{"unused", doublingGroupings(40, "h")},
                    Growing{"inside",
                            " container c {" + doublingGroupings(40, "h") + " list l { key l; uses h0; uses h39; } }"},
                    Growing{"submodule", " uses h39;", doublingGroupings(40, "h")},
                    Growing{"in_submodule", "", " container c { uses p:g39; }"},
                    Growing{"augment", " container c; augment /m:c { uses o:g39; }"},
                    Growing{"uses_augment", " grouping k { container c; } uses k { augment c { uses o:g39; } }"},
                    Growing{"choice", " choice c { case one { uses o:g39; } }"},
                    Growing{"rpc", " rpc r { output { uses o:g39; } }"},
                    Growing{"action", " container c { action a { input { uses o:g39; } } }"},
                    Growing{"notification", " notification n { uses o:g39; }"},
                    Growing{"unions", doublingUnions(40) + " leaf l { type a-type-of-a-long-name-39; }"},
                    Growing{"union_list", doublingUnions(40) + " leaf-list l { type m:a-type-of-a-long-name-39; }"},
                    Growing{"unions_inside",
                            " container c {" + doublingUnions(40) + " leaf l { type a-type-of-a-long-name-39; } }"}),
    testing::PrintToStringParamName());

TEST(Hostile, GroupingsMayNestAThousandLevelsDeep) {
  for (int const levels : {450, 501, 20000}) {
    Folder const folder;
    folder.add("good", " leaf good { type string; }");
    folder.add("m", nestingGroupings(levels) + " uses g" + std::to_string(levels - 1) + ";");
    auto const result = Yang::load(std::vector{folder.path()}, std::vector<std::string>{});
    ASSERT_TRUE(result) << testing::PrintToString(result.error());
    bool const fits = levels < 500;  // a `uses` is a level as well
    EXPECT_EQ(!result->root.attr("c").empty(), fits);
    EXPECT_FALSE(result->root.attr("good").empty());
    EXPECT_EQ(result->warnings,
              fits ? std::vector<std::string>()
                   : std::vector{folder.file("m.yang") + ": its groupings lead more than 1000 levels deep"});
  }
}

/** What a union costs that has 2 to the power of `lines` alternatives. */
std::size_t costOfUnion(int lines) {
  Folder const folder;
  folder.add("m", doublingUnions(lines + 1) + " leaf l { type a-type-of-a-long-name-" + std::to_string(lines) + "; }");
  std::size_t const before = Support::allocations.calls;
  auto const result = Yang::load(std::vector{folder.path()}, std::vector<std::string>{});
  std::size_t const cost = Support::allocations.calls - before;
  Zyn::ZynType const type = attrAt(result->root, {"l"}).attrType();
  EXPECT_FALSE(type.attr("a-type-of-a-long-name-0-" + std::to_string(1 << lines)).empty());
  EXPECT_TRUE(read(type, "x"));
  return cost;
}

TEST(Hostile, UnionsCostWhatTheyHold) {
  std::size_t const few = costOfUnion(9);
  EXPECT_LT(costOfUnion(12), 10 * few) << "eight times as many alternatives";
}

}  // namespace
}  // namespace YangTest
