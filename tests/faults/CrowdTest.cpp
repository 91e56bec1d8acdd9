// A million calls on one decoder, over eight threads.
#include <atomic>
#include <thread>

#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

using Crowd = DecoderTest;

TEST_F(Crowd, AMillionCallsOverEightThreads) {
  Zyn::ZynType const either = module.unionOf("Either", {{"number", core(Kind::U32)}, {"name", core(Kind::String)}});
  Zyn::ZynType const keyType = module.value("Key").attr("port", either).attr("tag", core(Kind::U32)).args({"port"});
  Zyn::ZynType const entry = module.entity("Entry").attr("key", keyType);
  ZynKeyDecoder const decoder(module.entity("Owner").keyed("route", entry, "key").operator Zyn::ZynType().attr("route"),
                              false);
  constexpr int threadCount = 8;
  constexpr int rounds = 25'000;  // of five calls
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int id = 0; id < threadCount; ++id) {
    threads.emplace_back([&] {
      for (int round = 0; round < rounds; ++round) {
        KeyElemNode root(keyType, false);
        ZynKeyDecoder::FilterMap filter;
        bool const good = decoder.processKeyPath(root, "key__port", "7").has_value() &&
                          decoder.processKeyPath(root, "key__tag", "9").has_value() && root.instantiate().has_value() &&
                          decoder.updateFilter(filter, "tag", "9").has_value() &&
                          decoder.decodeScalarKey(keyType, "key", "*").has_value() &&
                          Model::matches(filter, *root.value);
        wrong += good ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
}

}  // namespace
}  // namespace Test
