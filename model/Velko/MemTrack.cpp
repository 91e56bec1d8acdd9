#include <cxxabi.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <typeinfo>
#include <utility>
#include <vector>

#include "Velko/Allocator.h"
#include "model/Runtime.h"

namespace Velko::MemTrack {

namespace {

constexpr std::size_t kShards = 16;

// Each thread counts in a shard of its own (until there are more threads than shards), so that threads which allocate
// at once do not pass one cache line back and forth.
struct alignas(64) Shard {
  std::atomic<std::uint64_t> allocations = 0;
  // What this shard's threads took less what they gave back: negative where others took it.
  std::atomic<std::int64_t> elements = 0;
};

std::size_t shardOfThisThread() noexcept {
  static constinit std::atomic<std::size_t> threads = 0;
  thread_local std::size_t const shard = threads.fetch_add(1, std::memory_order_relaxed) % kShards;
  return shard;
}

}  // namespace

class Tracker {
 public:
  Shard& shard() noexcept { return shards_[shardOfThisThread()]; }

  // A tag stands for one kind of container, whose elements have one size. It is not told when storage goes back.
  void setElementSize(std::size_t size) noexcept {
    if (elementSize_.load(std::memory_order_relaxed) != size) {
      elementSize_.store(size, std::memory_order_relaxed);
    }
  }

  Model::Memory sum(std::string tag) const {
    Model::Memory result{.tag = std::move(tag)};
    for (Shard const& shard : shards_) {
      result.allocations += shard.allocations.load(std::memory_order_relaxed);
      result.elements += shard.elements.load(std::memory_order_relaxed);
    }
    result.bytes = result.elements * static_cast<std::int64_t>(elementSize_.load(std::memory_order_relaxed));
    return result;
  }

 private:
  std::array<Shard, kShards> shards_;
  std::atomic<std::size_t> elementSize_ = 0;
};

namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::string, Tracker> trackers;
};

// Never destroyed: containers that are static give their memory back late.
Registry& registry() {
  static auto& all = *new Registry;
  return all;
}

std::string readable(std::string const& pointerName) {
  // The leading P says "pointer to".
  char const* const name = pointerName.c_str() + (pointerName.starts_with('P') ? 1 : 0);
  int status = 0;
  std::unique_ptr<char, decltype(&std::free)> const text(abi::__cxa_demangle(name, nullptr, nullptr, &status),
                                                         &std::free);
  return text ? text.get() : name;
}

}  // namespace

Tracker& Impl::tracker(std::type_info const& tagPointer) {
  Registry& all = registry();
  std::lock_guard const lock(all.mutex);
  return all.trackers[tagPointer.name()];  // name() leaves a leading star out
}

void Impl::alloc(Tracker& tracker, std::type_info const& /*element*/, std::size_t elementSize,
                 std::size_t count) noexcept {
  tracker.setElementSize(elementSize);
  Shard& shard = tracker.shard();
  shard.allocations.fetch_add(1, std::memory_order_relaxed);
  shard.elements.fetch_add(static_cast<std::int64_t>(count), std::memory_order_relaxed);
}

void Impl::dealloc(Tracker& tracker, std::size_t count) noexcept {
  tracker.shard().elements.fetch_sub(static_cast<std::int64_t>(count), std::memory_order_relaxed);
}

}  // namespace Velko::MemTrack

namespace Model {

std::vector<Memory> memory() {
  std::vector<Memory> result;
  {
    auto& all = Velko::MemTrack::registry();
    std::lock_guard const lock(all.mutex);
    for (auto const& [name, tracker] : all.trackers) {
      result.push_back(tracker.sum(Velko::MemTrack::readable(name)));
    }
  }
  std::ranges::sort(result, {}, &Memory::tag);
  return result;
}

}  // namespace Model
