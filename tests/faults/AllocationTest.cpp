// Every allocation failing in turn: the process ends, and never goes on with half a result.
//
// Each attempt runs in a child process. Allocations are counted where all of them pass: `operator new` and the slab of
// the second provider, which is part of this program.
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <functional>

#include "Drovan/ZynKeyDecoder.h"
#include "tests/support/Allocations.h"
#include "tests/support/Provider.h"

namespace Recording {
namespace {

using Drovan::ZynKeyDecoder;
using KeyElemNode = ZynKeyDecoder::KeyElemNode;

class AllocationFailure : public testing::Test {
 protected:
  AllocationFailure() {
    slabAllocation = [](std::size_t size) { return Support::allocations.take(size); };
    world.attr(either, {.name = "number", .type = number});
    world.attr(either, {.name = "string", .type = string});
    for (char const* const name : {"a", "b", "c", "d", "e", "f", "g", "h", "i"}) {
      world.attr(key, {.name = name, .type = number});
    }
    world.attr(key, {.name = "inner", .type = inner});
    world.attr(inner, {.name = "x", .type = either});
    world.attr(entry, {.name = "key", .type = key});
    route = world.attr(world.type({.name = "Owner"}),
                       {.name = "route", .type = entry, .keyed = true, .keyName = "key", .keyType = key});
  }
  ~AllocationFailure() override { slabAllocation = std::malloc; }

  /** Runs the work in a child for each of its allocations, with that one failing. How many there were. */
  static std::size_t failEach(std::function<void()> const& work) {
    for (std::size_t failing = 1;; ++failing) {
      pid_t const child = fork();
      if (child == 0) {
        // The words of the runtime about the end of the process would fill the log.
        std::freopen("/dev/null", "w", stderr);
        Support::allocations.failing = failing;
        work();
        // 3: there were not that many. 4: one failed, and the work went on.
        _exit(Support::allocations.failing != 0 ? 3 : 4);
      }
      int status = 0;
      EXPECT_EQ(waitpid(child, &status, 0), child);
      if (WIFEXITED(status) && WEXITSTATUS(status) == 3) {
        return failing - 1;
      }
      EXPECT_TRUE(WIFSIGNALED(status) && WTERMSIG(status) == SIGABRT) << "allocation " << failing;
      if (testing::Test::HasFailure()) {
        return failing;
      }
    }
  }

  World world;
  Zyn::ZynType const number = world.type({.name = "Number", .isScalarKind = true});
  Zyn::ZynType const string = world.type({.name = "String", .isScalarKind = true, .isString = true});
  Zyn::ZynType const s4 = world.type({.name = "S4", .isValue = true, .hasS4 = true});
  Zyn::ZynType const either = world.type({.name = "Either", .isValue = true, .isUnion = true, .isScalarKind = true});
  Zyn::ZynType const inner = world.type({.name = "Inner", .args = {"x"}});
  Zyn::ZynType const key = world.type({.name = "Key", .args = {"a", "b", "c", "d", "e", "f", "g", "h", "i", "inner"}});
  Zyn::ZynType const entry = world.type({.name = "Entry"});
  Zyn::ZynAttr route;
};

TEST_F(AllocationFailure, SplittingAPath) {
  EXPECT_GE(failEach([] { (void)ZynKeyDecoder::splitPath("a__b__c__d__e"); }), 4);
}

TEST_F(AllocationFailure, AScalarKey) {
  std::string const longText(100, 'x');
  for (Zyn::ZynType const type : {number, string, s4, either}) {
    EXPECT_GE(failEach([&] { (void)ZynKeyDecoder(route, true).decodeScalarKey(type, "key", longText); }), 3);
  }
  EXPECT_GE(failEach([&] { (void)ZynKeyDecoder(route, true).decodeScalarKey(number, "other", longText); }), 1);
}

TEST_F(AllocationFailure, AWholeKey) {
  EXPECT_GE(failEach([this] {
              ZynKeyDecoder const decoder(route, false);
              KeyElemNode root(key, false);
              for (char const* const path :
                   {"key__a", "key__b", "key__c", "key__d", "key__e", "key__f", "key__g", "key__h", "key__i"}) {
                (void)decoder.processKeyPath(root, path, "7");
              }
              (void)decoder.processKeyPath(root, "key__inner__x", "7");
              (void)decoder.processKeyPath(root, "key__nothing", "7");
              (void)root.instantiate();
            }),
            50);
}

TEST_F(AllocationFailure, AFilter) {
  EXPECT_GE(failEach([this] {
              ZynKeyDecoder const decoder(route, false);
              ZynKeyDecoder::FilterMap filter;
              (void)decoder.updateFilter(filter, "a", "7");
              (void)decoder.updateFilter(filter, "b", "7");
              (void)decoder.updateFilter(filter, "nothing", "7");
            }),
            5);
}

}  // namespace
}  // namespace Recording
