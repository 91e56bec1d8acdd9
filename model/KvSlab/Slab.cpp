#include "KvSlab/Slab.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <typeinfo>

// Under the address sanitizer every block comes from the heap and goes back to it: a block kept for reuse would hide
// uses after it was freed.
#if defined(__SANITIZE_ADDRESS__)
#define KVSLAB_HEAP_ONLY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KVSLAB_HEAP_ONLY 1
#endif
#endif

#ifdef KVSLAB_HEAP_ONLY

namespace KvSlab {

void* slabAllocOrStdMalloc(std::size_t size) {
  // The sanitizer's malloc ends the process instead of answering null for what no memory could hold.
  void* const storage = size > PTRDIFF_MAX ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (storage == nullptr) {
    throw std::bad_alloc();
  }
  return storage;
}

void slabFreeOrStdFree(void* pointer, std::type_info const& /*type*/) noexcept { std::free(pointer); }

}  // namespace KvSlab

#else

#include <algorithm>
#include <array>
#include <cstddef>
#include <mutex>
#include <utility>

namespace KvSlab {
namespace {

// Sizes up to 2048 bytes come from the slab, one size class for each step of 16 bytes; larger ones come from the heap.
// A block of the slab never changes its class and never goes back to the heap: its thread keeps it for reuse, up to the
// capacity of the thread's cache, and the rest goes to a pool that all threads share.
constexpr std::size_t stepSize = 16;
constexpr std::size_t largestSize = 2048;
constexpr std::size_t classCount = largestSize / stepSize + 1;
constexpr std::uint32_t heapClass = classCount;

/** The header in front of each block's storage. */
struct alignas(stepSize) Block {
  std::uint32_t sizeClass;
  /** In the first block of a batch in the pool: how many blocks the batch has. */
  std::uint32_t count;
  /** Of a free block: the next one of its list. */
  Block* next;

  void* storage() noexcept { return this + 1; }
  static Block* of(void* storage) noexcept { return static_cast<Block*>(storage) - 1; }

  /** In the first block of a batch in the pool: the next batch. Kept in the storage, which is unused then. */
  Block*& nextBatch() noexcept { return *static_cast<Block**>(storage()); }
};
static_assert(sizeof(Block) == stepSize && alignof(std::max_align_t) <= stepSize);

constexpr std::uint32_t sizeClassOf(std::size_t size) {
  return static_cast<std::uint32_t>((size + stepSize - 1) / stepSize);
}

/** A block for 0 bytes has 16 bytes of storage, too: the pool keeps a pointer there. */
constexpr std::size_t blockSize(std::size_t sizeClass) {
  return sizeof(Block) + std::max<std::size_t>(sizeClass, 1) * stepSize;
}
static_assert(blockSize(0) >= sizeof(Block) + sizeof(Block*));

/** How many blocks move between a thread and the pool at once. */
constexpr std::uint32_t batchSize(std::size_t sizeClass) {
  constexpr std::size_t bytes = 8192;
  return static_cast<std::uint32_t>(std::clamp<std::size_t>(bytes / blockSize(sizeClass), 8, 64));
}

struct List {
  Block* first = nullptr;
  std::uint32_t count = 0;

  void push(Block* block) noexcept {
    block->next = first;
    first = block;
    ++count;
  }
  Block* pop() noexcept {
    if (first == nullptr) {
      std::unreachable();  // nobody pops from an empty list
    }
    Block* const block = first;
    first = block->next;
    --count;
    return block;
  }
};

/** The batches of one class that are in no thread's cache. */
struct alignas(64) Pool {
  std::mutex mutex;
  Block* firstBatch = nullptr;

  void give(List batch) noexcept {
    if (batch.first == nullptr) {
      return;
    }
    batch.first->count = batch.count;
    std::lock_guard const lock(mutex);
    batch.first->nextBatch() = firstBatch;
    firstBatch = batch.first;
  }

  List take() noexcept {
    std::lock_guard const lock(mutex);
    if (firstBatch == nullptr) {
      return {};
    }
    Block* const first = firstBatch;
    firstBatch = first->nextBatch();
    return {first, first->count};
  }
};

// Constant-initialised and without a destructor: usable before main starts and after it has ended.
constinit std::array<Pool, classCount> pools;
static_assert(std::is_trivially_destructible_v<Pool>);

List allocateBatch(std::uint32_t sizeClass) {
  std::size_t const size = blockSize(sizeClass);
  auto* const chunk = static_cast<std::byte*>(std::malloc(size * batchSize(sizeClass)));
  if (chunk == nullptr) {
    throw std::bad_alloc();
  }
  List batch;
  for (std::size_t i = batchSize(sizeClass); i-- > 0;) {
    batch.push(::new (chunk + i * size) Block{sizeClass, 0, nullptr});
  }
  return batch;
}

List takeOrAllocateBatch(std::uint32_t sizeClass) {
  List const batch = pools[sizeClass].take();
  return batch.first != nullptr ? batch : allocateBatch(sizeClass);
}

/** The free blocks of one class that a thread keeps. */
struct CachedList : List {
  std::uint32_t capacity = 0;
};

/** The free blocks of one thread. */
struct Cache {
  std::array<CachedList, classCount> lists;
};

/** Always empty: what the pointer of a thread without a cache points to, so that the usual case tests no null. */
constinit Cache noCache;

// In the initial-exec model, where access takes no function call. `noCache` before the thread's first use and after its
// cache has been freed.
[[gnu::tls_model("initial-exec")]] thread_local constinit Cache* cache = &noCache;
[[gnu::tls_model("initial-exec")]] thread_local constinit bool hasEnded = false;

/** Gives the thread's blocks to the pools when the thread ends; what it frees after that goes there at once. */
struct CacheEnd {
  ~CacheEnd() {
    Cache* const mine = std::exchange(cache, &noCache);
    hasEnded = true;
    for (std::size_t i = 0; i < classCount; ++i) {
      pools[i].give(mine->lists[i]);
    }
    std::free(mine);
  }
};

/** The thread's cache, made on first use; `noCache` when the thread has ended its own, or memory has run out. */
Cache* madeCache() noexcept {
  void* const storage = cache == &noCache && !hasEnded ? std::malloc(sizeof(Cache)) : nullptr;
  if (storage != nullptr) {
    cache = ::new (storage) Cache;
    for (std::size_t i = 0; i < classCount; ++i) {
      cache->lists[i].capacity = 2 * batchSize(i);
    }
    thread_local CacheEnd const end;
    static_cast<void>(end);
  }
  return cache;
}

/** For a thread whose cache has no block of the class. */
[[gnu::noinline]] void* fetchBlock(std::uint32_t sizeClass) {
  List batch = takeOrAllocateBatch(sizeClass);
  Block* const block = batch.pop();
  if (Cache* const mine = madeCache(); mine != &noCache) {
    static_cast<List&>(mine->lists[sizeClass]) = batch;
  } else {
    pools[sizeClass].give(batch);
  }
  return block->storage();
}

void* takeBlock(std::uint32_t sizeClass) {
  List& list = cache->lists[sizeClass];
  return list.first != nullptr ? list.pop()->storage() : fetchBlock(sizeClass);
}

[[gnu::noinline]] void* takeFromHeap(std::size_t size) {
  void* const storage = size > PTRDIFF_MAX - sizeof(Block) ? nullptr : std::malloc(sizeof(Block) + size);
  if (storage == nullptr) {
    throw std::bad_alloc();
  }
  return (::new (storage) Block{heapClass, 0, nullptr})->storage();
}

/** For a thread whose cache of the class is full, or that has no cache: half of a full one goes to the pool. */
[[gnu::noinline]] void freeToPool(Block* block) noexcept {
  CachedList& list = madeCache()->lists[block->sizeClass];
  List batch;
  while (batch.count < list.capacity / 2 && list.count > list.capacity / 2) {
    batch.push(list.pop());
  }
  (list.count < list.capacity ? list : batch).push(block);
  pools[block->sizeClass].give(batch);
}

void giveBlock(Block* block) noexcept {
  CachedList& list = cache->lists[block->sizeClass];
  if (list.count < list.capacity) {
    list.push(block);
  } else {
    freeToPool(block);
  }
}

}  // namespace

void* slabAllocOrStdMalloc(std::size_t size) {
  // The rare cases are in functions that are not inlined, so that this one saves no registers.
  return size <= largestSize ? takeBlock(sizeClassOf(size)) : takeFromHeap(size);
}

void slabFreeOrStdFree(void* pointer, std::type_info const& /*type*/) noexcept {
  if (pointer == nullptr) {
    return;
  }
  Block* const block = Block::of(pointer);
  if (block->sizeClass == heapClass) {
    std::free(block);
  } else {
    giveBlock(block);
  }
}

}  // namespace KvSlab

#endif
