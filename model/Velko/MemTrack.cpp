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

/** As many threads as a large server runs at once; 8 KiB for each tag that is tracked. */
constexpr std::size_t shardCount = 128;
/** Of threads that found all shards taken, and of those that are ending. */
constexpr std::size_t sharedShard = shardCount;

// Each thread counts in a shard of its own, as long as there are no more threads than shards. So threads that allocate
// at the same time share no cache line, and need no locked instruction.
struct alignas(64) Shard {
  std::atomic<std::uint64_t> allocations = 0;
  // Allocated less freed by the shard's threads: negative where they freed what other threads had allocated.
  std::atomic<std::int64_t> elements = 0;
};

std::array<std::atomic<bool>, shardCount> shardIsTaken;

/** Makes the thread's shard free for another thread when it ends; that one adds to the counts. */
struct ShardEnd {
  ~ShardEnd();
};

constexpr std::size_t noShard = shardCount + 1;
// In the initial-exec model, where access takes no function call.
[[gnu::tls_model("initial-exec")]] thread_local constinit std::size_t shardOfThread = noShard;

[[gnu::noinline]] std::size_t takeShard() noexcept {
  shardOfThread = sharedShard;
  for (std::size_t i = 0; i < shardCount; ++i) {
    if (!shardIsTaken[i].exchange(true, std::memory_order_acquire)) {
      thread_local ShardEnd const end;
      static_cast<void>(end);
      shardOfThread = i;
      break;
    }
  }
  return shardOfThread;
}

ShardEnd::~ShardEnd() {
  // Release: the next owner of the shard reads these counts before it adds to them.
  shardIsTaken[std::exchange(shardOfThread, sharedShard)].store(false, std::memory_order_release);
}

/** For the only thread that writes to the counter: no locked instruction. */
template <typename Number>
void addUnshared(std::atomic<Number>& counter, Number number) noexcept {
  counter.store(counter.load(std::memory_order_relaxed) + number, std::memory_order_relaxed);
}

}  // namespace

class Tracker {
 public:
  void count(std::uint64_t allocations, std::int64_t elements) noexcept {
    std::size_t const index = shardOfThread;
    if (index >= sharedShard) {
      countAmongOthers(allocations, elements);
      return;
    }
    if (allocations != 0) {
      addUnshared(shards_[index].allocations, allocations);
    }
    addUnshared(shards_[index].elements, elements);
  }

  // A tag stands for one kind of container, whose elements have one size. The size is kept, as `dealloc` does not tell
  // it.
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
  /** For a thread that has no shard of its own yet, or finds none. */
  [[gnu::noinline]] void countAmongOthers(std::uint64_t allocations, std::int64_t elements) noexcept {
    Shard& shard = shards_[shardOfThread == noShard ? takeShard() : sharedShard];
    shard.allocations.fetch_add(allocations, std::memory_order_relaxed);
    shard.elements.fetch_add(elements, std::memory_order_relaxed);
  }

  std::array<Shard, shardCount + 1> shards_;
  std::atomic<std::size_t> elementSize_ = 0;
};

namespace {

struct Registry {
  std::mutex mutex;
  std::map<std::string, Tracker> trackers;
};

// Never destroyed: static containers free their memory after main has ended.
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
  tracker.count(1, static_cast<std::int64_t>(count));
}

void Impl::dealloc(Tracker& tracker, std::size_t count) noexcept {
  tracker.count(0, -static_cast<std::int64_t>(count));
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
