// The trace handle is asked for once in a process, on first use, however many threads come first. A program of its own,
// for a process has only one first use.
#include <gtest/gtest.h>

#include <barrier>
#include <thread>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "tests/support/Provider.h"

namespace Recording {
namespace {

TEST(TraceHandle, IsAskedForOnceOnFirstUse) {
  World world;
  Zyn::ZynType const number = world.type({.name = "Number"});
  Drovan::ZynKeyDecoder const decoder(Zyn::ZynAttr(), false);
  (void)Drovan::ZynKeyDecoder::splitPath("a__b");
  EXPECT_EQ(world.count("handle"), 0U);
  constexpr int count = 16;
  std::barrier start(count);
  std::vector<std::thread> threads;
  for (int i = 0; i < count; ++i) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      EXPECT_TRUE(decoder.decodeScalarKey(number, "", "1"));
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(world.lines("handle"), std::vector<std::string>{"handle \"ZynKeyDecoder\", false"});
}

}  // namespace
}  // namespace Recording
