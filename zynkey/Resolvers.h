// Resolvers by the entity that paths start from: each is made when it is first needed, for all threads of a batch.
#pragma once

#include <map>
#include <mutex>
#include <tuple>
#include <utility>

#include "gnmi/Resolver.h"

namespace ZynKey {

class Resolvers {
 public:
  explicit Resolvers(Gnmi::SchemaFacts facts, Gnmi::ShowTree showTree = {})
      : facts_(std::move(facts)), showTree_(std::move(showTree)) {}

  /** Lives as long as this object. Called from any thread. */
  Gnmi::Resolver const& from(Zyn::ZynType root, bool useS4Encoding) {
    std::lock_guard const lock(mutex_);
    auto const known = resolvers_.find({root.module(), root.index(), useS4Encoding});
    if (known != resolvers_.end()) {
      return known->second;
    }
    Gnmi::Resolver resolver(root, {.useS4Encoding = useS4Encoding, .facts = facts_, .showTree = showTree_});
    return resolvers_.emplace(std::tuple(root.module(), root.index(), useS4Encoding), std::move(resolver))
        .first->second;
  }

 private:
  Gnmi::SchemaFacts facts_;
  Gnmi::ShowTree showTree_;
  std::mutex mutex_;
  // A map leaves its elements where they are.
  std::map<std::tuple<Zyn::ZynModule const*, std::uint32_t, bool>, Gnmi::Resolver> resolvers_;
};

}  // namespace ZynKey
