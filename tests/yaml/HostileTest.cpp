// Hostile files take work and memory in proportion to their size.
//
// Work is counted in allocations, in comparisons of bytes and in what a model counts when types grow; memory in the
// bytes that are allocated at one time: this program has `operator new` and `memcmp` of its own, which the libraries
// call as well.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <string>
#include <vector>

#include "model/Zyn/Tables.h"
#include "tests/support/Allocations.h"
#include "tests/support/Collisions.h"
#include "yaml/Yaml.h"

namespace {

std::size_t comparisons = 0;

}  // namespace

extern "C" int memcmp(void const* s1, void const* s2, std::size_t n) noexcept {
  ++comparisons;
  auto const* const left = static_cast<unsigned char const*>(s1);
  auto const* const right = static_cast<unsigned char const*>(s2);
  for (std::size_t at = 0; at < n; ++at) {
    if (left[at] != right[at]) {
      return left[at] < right[at] ? -1 : 1;
    }
  }
  return 0;
}

namespace {

using testing::HasSubstr;
using testing::IsEmpty;
using testing::SizeIs;
using Texts = std::vector<std::string>;

/** What one call did. */
struct Work {
  std::size_t steps = 0;
  std::size_t bytes = 0;
  Texts problems = {};
};

Work workOf(std::function<Yaml::Loaded()> const& load) {
  Work work;
  Support::Allocations& all = Support::allocations;
  std::size_t const before = all.held;
  std::size_t const callsBefore = all.calls;
  comparisons = 0;
  all.mostHeld = all.held;
  {
    Yaml::Loaded const loaded = load();
    work.steps = all.calls - callsBefore + comparisons;
    work.bytes = all.mostHeld - before;
    if (loaded) {
      for (Model::Module const* const module : loaded->modules()) {
        work.steps += static_cast<Model::ModuleTables const*>(module)->growthSteps;
      }
    } else {
      for (Yaml::Problem const& problem : loaded.error()) {
        work.problems.push_back(problem.text());
      }
    }
  }
  return work;
}

Work workOf(std::string const& text) {
  return workOf([&] { return Yaml::loadText(text, "net.yaml"); });
}

std::string repeat(std::string const& text, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) {
    all += text;
  }
  return all;
}

/** What `line` makes of each number, with the number in place of '#', and the next one in place of '@'. */
std::string lines(std::string const& line, std::size_t count) {
  std::string all;
  for (std::size_t i = 0; i < count; ++i) {
    for (char const byte : line) {
      all += byte == '#' ? std::to_string(i) : byte == '@' ? std::to_string(i + 1) : std::string(1, byte);
    }
  }
  return all;
}

std::string const start = "module: N\ntypes:\n";

struct Hostile {
  char const* why;
  std::function<std::string(std::size_t)> text;
};

std::vector<Hostile> const hostiles = {
    {"brackets", [](std::size_t n) { return repeat("[", n); }},
    {"braces", [](std::size_t n) { return repeat("{", n); }},
    {"both", [](std::size_t n) { return repeat("[{", n); }},
    {"brackets on lines", [](std::size_t n) { return repeat("[\n", n); }},
    {"brackets whose partners stand in quotes", [](std::size_t n) { return repeat("[']',", n); }},
    {"empty lists", [](std::size_t n) { return repeat("[]", n); }},
    {"a list in brackets", [](std::size_t n) { return "[" + repeat("a,", n) + "]"; }},
    {"a list of lists", [](std::size_t n) { return "[" + repeat("[],", n) + "]"; }},
    {"a list in brackets as a value", [](std::size_t n) { return "a: [" + repeat("b,", n) + "]"; }},
    {"a list in lines", [](std::size_t n) { return repeat("- a\n", n); }},
    {"dashes", [](std::size_t n) { return repeat("- ", n); }},
    {"question marks", [](std::size_t n) { return repeat("? ", n); }},
    {"question marks in brackets", [](std::size_t n) { return "[" + repeat("? ", n); }},
    {"colons", [](std::size_t n) { return repeat("a: ", n); }},
    {"anchors", [](std::size_t n) { return repeat("&a ", n); }},
    {"anchors of their own", [](std::size_t n) { return lines("- &a# x\n", n); }},
    {"tags", [](std::size_t n) { return repeat("!!x ", n); }},
    {"short tags", [](std::size_t n) { return repeat("! ", n); }},
    {"aliases of aliases", [](std::size_t n) { return "a0: &a0 x\n" + lines("a@: &a@ [*a#, *a#]\n", n); }},
    {"directives", [](std::size_t n) { return lines("%TAG !#! x\n", n); }},
    {"one quote", [](std::size_t n) { return "\"" + repeat("x", n); }},
    {"empty texts", [](std::size_t n) { return repeat("\"\"", n); }},
    {"a block of text", [](std::size_t n) { return "a: |\n" + repeat(" x\n", n); }},
    {"one line", [](std::size_t n) { return repeat("x", n); }},
    {"blanks", [](std::size_t n) { return "a:" + repeat(" ", n); }},
    {"unknown keys", [](std::size_t n) { return lines("k#: 1\n", n); }},
    {"wrappers", [](std::size_t n) { return start + lines(" T#: {wraps: U8}\n", n); }},
    {"a chain of wrappers that ends nowhere", [](std::size_t n) { return start + lines(" T#: {wraps: T@}\n", n); }},
    {"a circle of wrappers",
     [](std::size_t n) {
       return start + lines(" T#: {wraps: T@}\n", n) + " T" + std::to_string(n) + ": {wraps: T0}\n";
     }},
    {"a chain of values", [](std::size_t n) { return start + lines(" T#: {value: {a: T@}}\n", n); }},
    {"a circle of values",
     [](std::size_t n) {
       return start + lines(" T#: {value: {a: T@}}\n", n) + " T" + std::to_string(n) + ": {value: {a: T0}}\n";
     }},
    {"circles through one type", [](std::size_t n) { return start + lines(" T#: {value: {a: T@, b: T0}}\n", n); }},
    {"empty values", [](std::size_t n) { return start + lines(" T#: {value: {}}\n", n); }},
    {"attributes", [](std::size_t n) { return start + " T: {value: {" + lines("a#: U8,", n) + "}}\n"; }},
    {"attributes of an entity", [](std::size_t n) { return start + " T: {entity: {" + lines("a#: U8,", n) + "}}\n"; }},
    {"alternatives", [](std::size_t n) { return start + " T: {union: {" + lines("a#: U8,", n) + "}}\n"; }},
    {"wrappers of one union with many alternatives",
     [](std::size_t n) {
       return start + " T: {union: {" + lines("a#: U8,", n) + "}}\n" + lines(" T#: {wraps: T}\n", n);
     }},
    {"unions that lead back to one with many alternatives",
     [](std::size_t n) {
       return start + " T: {union: {" + lines("a#: U8,", n) + "z: T0}}\n" + lines(" T#: {union: {a: T@, t: T}}\n", n);
     }},
    {"unions that are twice in the next one",
     [](std::size_t n) { return start + lines(" T@: {union: {a: T#, b: T#}}\n", n) + " T0: {wraps: U8}\n"; }},
    {"enumerators", [](std::size_t n) { return start + " T: {enum: [" + lines("a#,", n) + "]}\n"; }},
    {"arguments",
     [](std::size_t
            n) { return start + " T: {value: {" + lines("a#: U8,", n) + "}, args: [" + lines("a#,", n) + "]}\n"; }},
    {"arguments that are none",
     [](std::size_t n) { return start + " T: {value: {}, args: [" + lines("a#,", n) + "]}"; }},
    {"field numbers",
     [](std::size_t
            n) { return start + " T: {value: {" + lines("a#: U8,", n) + "}, s4: {" + lines("a#: 1@,", n) + "}}\n"; }},
    {"a file in braces",
     [](std::size_t n) { return R"({"module":"N","types":{)" + lines(R"("T#":{"wraps":"U8"},)", n) + "}}"; }},
};

TEST(HostileFiles, TakeWorkInProportionToTheirSize) {
  for (auto const& [why, text] : hostiles) {
    std::size_t const few = workOf(text(500)).steps;
    std::size_t const many = workOf(text(4000)).steps;
    EXPECT_LE(many, 12 * few + 1000) << why << ": 8 times as much, and what a logarithm adds";
  }
}

TEST(HostileFiles, TakeMemoryInProportionToTheirSize) {
  for (auto const& [why, text] : hostiles) {
    // A bit more than a power of two, where containers have just grown. The problems here are shorter than they may be.
    std::string const file = text((1 << 13) + 1);
    EXPECT_LE(workOf(file).bytes, 160 * file.size() + (1 << 20)) << why << ", " << file.size() << " bytes";
  }
}

TEST(HostileFiles, NamesThatTheStandardLibraryHashesAlikeTakeNoMoreWorkThanOthers) {
  std::vector<std::string> const names = Tests::Collisions::names(100);
  auto const join = [&](std::string const& before, std::string const& after) {
    std::string all;
    for (std::string const& name : names) {
      all.append(before).append(1, '"').append(name).append(1, '"').append(after);
    }
    return all;
  };
  std::string const types = "{\"module\": N, types: {T: ";
  for (auto const& [why, file] : std::vector<std::pair<char const*, std::string>>{
           {"attributes of a value", types + "{value: {" + join("", ": U8, ") + "}}}}"},
           {"attributes of an entity", types + "{entity: {" + join("", ": U8, ") + "}}}}"},
           {"alternatives", types + "{union: {" + join("", ": U8, ") + "}}}}"},
           {"enumerators", types + "{enum: [" + join("", ", ") + "]}}}"},
           {"attributes as arguments",
            types + "{value: {" + join("", ": U8, ") + "}, args: [" + join("", ", ") + "]}}}"},
           {"names of types", "module: N\ntypes:\n" + join("  ", ": {wraps: U8}\n")},
           {"types that are named", "module: N\ntypes: {T: {value: {" + join("", ": ") + " U8}}}"},
       }) {
    EXPECT_LE(workOf(file).steps, 60 * names.size()) << why;
  }
}

/** Files in a folder that goes away. */
class Folder {
 public:
  Folder() : path_(std::filesystem::path(testing::TempDir()) / ("hostile_" + std::to_string(::getpid()))) {
    std::filesystem::create_directories(path_);
  }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;
  ~Folder() { std::filesystem::remove_all(path_); }

  void write(std::string const& name, std::string const& text) const { std::ofstream(path_ / name) << text; }
  Work load(std::string const& name) const {
    return workOf([&] { return Yaml::loadFile(path_ / name); });
  }

 private:
  std::filesystem::path path_;
};

TEST(HostileFiles, AFileIsReadOnceHoweverOftenItIsImported) {
  Folder const folder;
  folder.write("base.yaml", "module: B\ntypes:\n" + lines(" T#: {wraps: U8}\n", 3000));
  folder.write("once.yaml", "module: N\nimports:\n- base.yaml\n");
  folder.write("often.yaml", "module: N\nimports:\n" + repeat("- base.yaml\n", 3000));
  folder.write("spelt.yaml", "module: N\nimports:\n" + lines("- ./base.yaml\n- .//base.yaml\n", 1500));
  Work const once = folder.load("once.yaml");
  EXPECT_THAT(once.problems, IsEmpty());
  for (char const* const name : {"often.yaml", "spelt.yaml"}) {
    Work const often = folder.load(name);
    EXPECT_THAT(often.problems, IsEmpty());
    EXPECT_LE(often.steps, once.steps + std::size_t{3000} * 30) << name;
  }
}

TEST(HostileFiles, TheTypesOfAnImportAreNotCopiedIntoEachFileThatImportsIt) {
  Folder const folder;
  folder.write("base.yaml", "module: B\ntypes:\n" + lines(" T#: {wraps: U8}\n", 3000));
  std::string imports = "module: N0\nimports:\n- base.yaml\n";
  for (int i = 1; i <= 300; ++i) {
    std::string const n = std::to_string(i);
    folder.write("f" + n + ".yaml", "module: N" + n + "\nimports: [base.yaml]\n");
    imports += "- f" + n + ".yaml\n";
  }
  folder.write("once.yaml", "module: M\nimports:\n- base.yaml\n");
  folder.write("often.yaml", imports);
  std::size_t const once = folder.load("once.yaml").steps;
  EXPECT_LE(folder.load("often.yaml").steps, once + std::size_t{300} * 300);
}

TEST(HostileFiles, AreImportedByABoundedNumberOfPaths) {
  Folder const folder;
  folder.write("base.yaml", "module: B\n");
  std::string imports = "module: N\nimports:\n";
  for (std::size_t i = 0; i <= 1000; ++i) {
    imports += "- " + repeat("./", i % 40) + repeat(".//", i / 40) + "base.yaml\n";
  }
  folder.write("paths.yaml", imports);
  Work const work = folder.load("paths.yaml");
  ASSERT_THAT(work.problems, SizeIs(1));
  EXPECT_THAT(work.problems[0], HasSubstr(":1003:3: more than 1000 files, or ways to write their names; import fewer"));
}

TEST(HostileFiles, TypesThatNestTooDeepAreToldWithTheirPlace) {
  std::size_t const many = 20000;
  auto const last = [](std::string const& text) { return " T" + std::to_string(many) + text; };
  std::string const wrappers = start + lines(" T#: {wraps: T@}\n", many);
  std::string const values = start + lines(" T#: {value: {a: T@}}\n", many);

  Texts const deepWrappers = workOf(wrappers + last(": {wraps: U8}\n")).problems;
  ASSERT_THAT(deepWrappers, SizeIs(1));
  EXPECT_EQ(deepWrappers[0],
            "net.yaml:19003:18: the attribute 'value' of 'N::T19000' would make 'N::T19000' 1001 levels deep; types "
            "nest at most 1000 levels");
  Texts const deepValues = workOf(values + last(": {value: {a: U8}}\n")).problems;
  ASSERT_THAT(deepValues, SizeIs(20));
  EXPECT_EQ(
      deepValues[19],
      "net.yaml:19003:19: the attribute 'a' of 'N::T19000' would make 'N::T19000' 1001 levels deep; types nest at "
      "most 1000 levels");

  EXPECT_THAT(workOf(wrappers + last(": {wraps: T0}\n")).problems,
              testing::ElementsAre("net.yaml:20003:18: 'T0' wraps 'T1' wraps 'T2' wraps 'T3' wraps 'T4' wraps 'T5' "
                                   "wraps 'T6' wraps 'T7' wraps 'T8' wraps 'T9' wraps 'T10' wraps 'T11' and 19989 more "
                                   "wraps 'T0' again; wrap another type"));
  Texts const circle = workOf(values + last(": {value: {a: T0}}\n")).problems;
  ASSERT_THAT(circle, SizeIs(21));
  EXPECT_THAT(circle[0], HasSubstr("net.yaml:3:15: the attribute 'a' of 'N::T0' would make "));
}

}  // namespace
