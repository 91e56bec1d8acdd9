// Threads that match while others add and remove subscriptions.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>

#include "gnmi/Matcher.h"
#include "gnmi/ModelValues.h"
#include "model/Schema.h"

namespace Gnmi {
namespace {

using Model::core;
using Model::Kind;

TEST(MatcherThreads, AMatchSeesAWholeSubscriptionOrNone) {
  Model::Schema schema;
  Model::Module& module = schema.module("Test");
  Zyn::ZynType const entry = module.entity("Entry").attr("name", core(Kind::String)).attr("up", core(Kind::Bool));
  Zyn::ZynType const root = module.entity("Root").keyed("a", entry, "name").keyed("b", entry, "name");
  Resolver const resolver(root);
  ModelValues const values;
  Matcher matcher(values);
  ASSERT_TRUE(matcher.add(1, resolver, *parsePath("/*[name=x]")));

  std::atomic<bool> isDone = false;
  std::atomic<std::size_t> matches = 0;
  auto const match = [&](char const* text) {
    Resolved changed;
    ASSERT_TRUE(resolver.resolve(*parsePath(text), changed));
    std::vector<Matcher::Id> ids;
    while (!isDone) {
      matcher.match(changed, Matcher::Reach::Subtree, ids);
      ASSERT_FALSE(ids.empty());
      ASSERT_EQ(ids.front(), 1U);
      ASSERT_LE(ids.size(), 3U);
      ++matches;
    }
  };
  auto const change = [&](Matcher::Id id) {
    for (int i = 0; i != 2'000; ++i) {
      ASSERT_TRUE(matcher.add(id, resolver, *parsePath("/*[name=x]/up")));
      matcher.remove(id);
    }
  };
  std::thread a(match, "/a[name=x]");
  std::thread b(match, "/b[name=x]");
  std::thread other(change, 3);
  change(2);
  other.join();
  // Those who match come by as well, however often somebody writes.
  while (matches == 0) {
    std::this_thread::yield();
  }
  isDone = true;
  a.join();
  b.join();
}

}  // namespace
}  // namespace Gnmi
