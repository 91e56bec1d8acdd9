// One decoder, many threads, each with a tree and a filter of its own.
#include <atomic>
#include <thread>

#include "tests/support/DecoderTest.h"

namespace Test {
namespace {

using Threads = DecoderTest;

TEST_F(Threads, ShareADecoder) {
  Zyn::ZynType const color = module.enumeration("Color", {{"red", 1}, {"blue", 2}});
  Zyn::ZynType const either = module.unionOf("Either", {{"number", core(Kind::U8)}, {"name", core(Kind::String)}});
  Zyn::ZynType const keyType = module.value("Key")
                                   .attr("vrf", core(Kind::String))
                                   .attr("color", color)
                                   .attr("port", either)
                                   .attr("tag", core(Kind::U32))
                                   .args({"vrf", "color", "port"});
  Zyn::ZynType const entry = module.entity("Entry").attr("key", keyType);
  Zyn::ZynType const owner = module.entity("Owner").keyed("route", entry, "key");
  ZynKeyDecoder const decoder(owner.attr("route"), false);
  std::atomic<int> traced = 0;
  Model::setTraceSink([&](Model::Trace const&) { ++traced; });

  constexpr int threadCount = 8;
  constexpr int rounds = 200;
  std::atomic<int> wrong = 0;
  std::vector<std::thread> threads;
  for (int id = 0; id < threadCount; ++id) {
    threads.emplace_back([&, id] {
      ZynKeyDecoder::FilterMap filter;
      for (int round = 0; round < rounds; ++round) {
        // Traces go on and off while others decode.
        Model::enableTraces("ZynKeyDecoder", (round + id) % 10 == 0);
        std::string const name = std::to_string(id) + "-" + std::to_string(round);
        KeyElemNode root(keyType, false);
        bool good = decoder.processKeyPath(root, "key__vrf", name).has_value();
        good &= decoder.processKeyPath(root, "key__color", round % 2 == 0 ? "red" : "blue").has_value();
        good &= decoder.processKeyPath(root, "key__port", round % 3 == 0 ? "7" : name).has_value();
        good &= decoder.processKeyPath(root, "key__tag", std::to_string(round)).has_value();
        good &= !decoder.processKeyPath(root, "key__nothing", name).has_value();
        good &= root.instantiate().has_value();
        good &= decoder.updateFilter(filter, "vrf", name).has_value();
        good &= Model::get<std::string>(*root.value, "vrf") == name && Model::matches(filter, *root.value);
        wrong += good ? 0 : 1;
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(wrong, 0);
  EXPECT_GT(traced, 0);
  Model::setTraceSink({});
}

/** What is built stays as it is, also where a further schema is built from its types. */
TEST_F(Threads, AskTypesThatAnotherSchemaTakesForItsEntries) {
  Zyn::ZynType const entry = module.entity("Entry").attr("id", core(Kind::String));
  std::atomic<bool> isBuilt = false;
  std::thread asking([&] {
    do {
      EXPECT_FALSE(entry.attr("id").empty());
    } while (!isBuilt.load(std::memory_order_relaxed));
  });
  Model::Schema further;
  Zyn::ZynType const owner = further.module("Further").entity("Owner").keyed("entries", entry, "id");
  isBuilt.store(true, std::memory_order_relaxed);
  asking.join();
  Zyn::ZynAttr const entries = owner.attr("entries");
  EXPECT_EQ(entry.attr(entries.internalKeyName()), entry.attr("id"));
}

TEST_F(Threads, ShareValues) {
  auto const decoded = ZynKeyDecoder(Zyn::ZynAttr(), false).decodeScalarKey(core(Kind::String), "", "shared");
  Velko::Ptr<Zyn::GenericIf> const value = std::get<ZynKeyDecoder::Single>(*decoded).value;
  std::vector<std::thread> threads;
  for (int id = 0; id < 4; ++id) {
    threads.emplace_back([value] {
      for (int round = 0; round < 1000; ++round) {
        Velko::Ptr<Zyn::GenericIf const> const mine = value;
        EXPECT_EQ(Model::print(*mine), "\"shared\"");
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(value->useCount(), 2U);
}

}  // namespace
}  // namespace Test
