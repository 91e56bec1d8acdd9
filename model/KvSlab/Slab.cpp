#include "KvSlab/Slab.h"

#include <cstdint>
#include <cstdlib>
#include <new>
#include <typeinfo>

#include "model/Runtime.h"

// Under the address sanitizer every block comes from the heap and goes back to it: a block kept for reuse would hide
// uses after it was freed.
#if defined(__SANITIZE_ADDRESS__)
#define KVSLAB_HEAP_ONLY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define KVSLAB_HEAP_ONLY 1
#endif
#endif

namespace KvSlab {
namespace {

[[gnu::noinline]] void* takeFromHeap(std::size_t size) {
  // The sanitizer's malloc ends the process instead of answering null for what no memory could hold.
  void* const storage = size > PTRDIFF_MAX ? nullptr : std::malloc(size == 0 ? 1 : size);
  if (storage == nullptr) {
    throw std::bad_alloc();
  }
  return storage;
}

}  // namespace
}  // namespace KvSlab

#ifdef KVSLAB_HEAP_ONLY

namespace KvSlab {

void* slabAllocOrStdMalloc(std::size_t size) { return takeFromHeap(size); }

void slabFreeOrStdFree(void* pointer, std::type_info const& /*type*/) noexcept { std::free(pointer); }

}  // namespace KvSlab

Model::SlabMemory Model::slabMemory() noexcept { return {}; }

#else

#include <sys/mman.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <bit>
#include <cstddef>
#include <mutex>
#include <utility>

namespace KvSlab {
namespace {

// Blocks of up to 2048 bytes come from the slab, larger ones from the heap. The slab takes segments of 8 MiB from the
// system and divides them into chunks of 32 KiB, each for blocks of one class of sizes. So a block has no header: its
// address tells its chunk. A thread keeps free blocks in a cache; what is too much for the cache goes to the pool of
// its class, which all threads share. A chunk without a block in use or in a cache goes back to the system, but for a
// few that are kept in hand for whichever class needs one next. Segments stay reserved, which takes no memory.
constexpr std::size_t largestSize = 2048;
constexpr std::size_t chunkSize = std::size_t{32} << 10U;
constexpr std::size_t segmentSize = std::size_t{8} << 20U;
constexpr std::size_t chunksOfSegment = segmentSize / chunkSize;
constexpr std::size_t mostInHand = 64;

// ---- classes of sizes

/** In steps of 8 bytes up to 128, then in eight steps up to each double. All above 128 are multiples of 16. */
constexpr std::size_t nextSize(std::size_t size) { return size + std::max<std::size_t>(std::bit_floor(size) / 8, 8); }

constexpr std::size_t classCount = [] {
  std::size_t count = 1;
  for (std::size_t size = 8; size < largestSize; size = nextSize(size)) {
    ++count;
  }
  return count;
}();

constexpr std::array<std::uint16_t, classCount> sizes = [] {
  std::array<std::uint16_t, classCount> all{};
  std::size_t size = 8;
  for (std::uint16_t& each : all) {
    each = static_cast<std::uint16_t>(size);
    size = nextSize(size);
  }
  return all;
}();
static_assert(sizes.back() == largestSize);

/** By the size in words of 8 bytes, rounded up. A size of 0 is a multiple of 16, too. */
constexpr std::array<std::uint8_t, largestSize / 8 + 1> classes = [] {
  std::array<std::uint8_t, largestSize / 8 + 1> all{};
  for (std::size_t words = 0; words < all.size(); ++words) {
    all[words] =
        static_cast<std::uint8_t>(std::ranges::lower_bound(sizes, words == 0 ? 16 : words * 8) - sizes.begin());
  }
  return all;
}();

// ---- lists of free blocks

struct Block {
  Block* next;
};

/** A list of free blocks, with room for a bounded number of further ones. */
struct List {
  Block* first = nullptr;
  std::uint32_t room = 0;

  void push(Block* block) noexcept {
    block->next = first;
    first = block;
    --room;
  }
  Block* pop() noexcept {
    Block* const block = first;
    first = block->next;
    ++room;
    return block;
  }
};

/** How many blocks move between a thread's cache and the pool at once. A cache keeps twice as many. */
constexpr std::uint32_t batchSize(std::size_t sizeClass) {
  constexpr std::size_t bytes = 4096;
  return static_cast<std::uint32_t>(std::clamp<std::size_t>(bytes / sizes[sizeClass], 4, 32));
}

// ---- chunks and segments

/** What is known of a chunk. Kept at the head of its segment, so that it outlives the chunk's memory. */
struct Chunk {
  /** In the list of its pool, or in one of those of the store. */
  Chunk* next;
  Chunk* previous;
  /** Blocks that were given back. */
  Block* free;
  /** How many bytes have been cut into blocks so far: those behind have never been touched. */
  std::uint32_t cut;
  /** Blocks that are in use or in a thread's cache. */
  std::uint32_t used;
};

struct Segment {
  /** By chunk: the class of its blocks. It changes only while no thread has one of them. */
  std::array<std::uint8_t, chunksOfSegment> classes;
  std::array<Chunk, chunksOfSegment> chunks;

  static Segment* of(void* address) noexcept {
    return reinterpret_cast<Segment*>(static_cast<std::byte*>(address) -
                                      reinterpret_cast<std::uintptr_t>(address) % segmentSize);
  }
  static std::size_t indexOf(void* address) noexcept {
    return reinterpret_cast<std::uintptr_t>(address) % segmentSize / chunkSize;
  }
};
/** The chunks at the head of a segment have no blocks, as `Segment` is there. */
constexpr std::size_t headChunks = (sizeof(Segment) + chunkSize - 1) / chunkSize;

std::byte* memoryOf(Chunk* chunk) noexcept {
  Segment* const segment = Segment::of(chunk);
  return reinterpret_cast<std::byte*>(segment) + static_cast<std::size_t>(chunk - segment->chunks.data()) * chunkSize;
}

/** A bit for every place that a segment can have among the addresses of a process. Almost all of it is never touched.
 */
constexpr unsigned addressBits = 48;
constexpr std::size_t places = (std::size_t{1} << addressBits) / segmentSize;
constinit std::array<std::uint64_t, places / 64> isSegment = {};

bool isOfSlab(void* address) noexcept {
  std::uintptr_t const place = reinterpret_cast<std::uintptr_t>(address) / segmentSize;
  std::atomic_ref const bits(isSegment[place / 64]);
  return ((bits.load(std::memory_order_relaxed) >> (place % 64)) & 1U) != 0;
}

Segment* mapSegment() {
  // Twice the size has an aligned segment in it; the rest goes back.
  void* const mapped =
      mmap(nullptr, 2 * segmentSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
  if (mapped == MAP_FAILED) {
    throw std::bad_alloc();
  }
  auto* const begin = static_cast<std::byte*>(mapped);
  std::size_t const before = segmentSize - reinterpret_cast<std::uintptr_t>(mapped) % segmentSize;
  munmap(begin, before);
  munmap(begin + before + segmentSize, segmentSize - before);
  return ::new (begin + before) Segment;
}

/** The chunks that belong to no class. */
class Store {
 public:
  Chunk* take() {
    std::lock_guard const lock(mutex_);
    if (inHand_ == nullptr && returned_ == nullptr) {
      addSegment();
    }
    Chunk*& list = inHand_ != nullptr ? inHand_ : returned_;
    countInHand_ -= inHand_ != nullptr ? 1 : 0;
    ++countInUse_;
    return std::exchange(list, list->next);
  }

  void give(Chunk* chunk) noexcept {
    std::lock_guard const lock(mutex_);
    --countInUse_;
    bool const isKept = countInHand_ < mostInHand;
    countInHand_ += isKept ? 1 : 0;
    if (!isKept) {
      madvise(memoryOf(chunk), chunkSize, MADV_DONTNEED);
    }
    Chunk*& list = isKept ? inHand_ : returned_;
    chunk->next = std::exchange(list, chunk);
  }

  Model::SlabMemory memory() noexcept {
    std::lock_guard const lock(mutex_);
    return {countInUse_ * chunkSize, countInHand_ * chunkSize};
  }

 private:
  void addSegment() {
    Segment* const segment = mapSegment();
    if (std::exchange(hasSegment_, true)) {
      // A process with more than 8 MiB of small blocks looks values up at random: huge pages, where the system gives
      // them, take 16 % of the time of finding a key among 10^6.
      madvise(segment, segmentSize, MADV_HUGEPAGE);
    }
    std::uintptr_t const place = reinterpret_cast<std::uintptr_t>(segment) / segmentSize;
    std::atomic_ref(isSegment[place / 64]).fetch_or(std::uint64_t{1} << (place % 64), std::memory_order_relaxed);
    for (std::size_t i = chunksOfSegment; i-- > headChunks;) {
      segment->chunks[i].next = std::exchange(returned_, &segment->chunks[i]);
    }
  }

  std::mutex mutex_;
  /** Those whose memory is kept. */
  Chunk* inHand_ = nullptr;
  /** Those whose memory the system has: it gives new memory when they are written to. */
  Chunk* returned_ = nullptr;
  std::size_t countInHand_ = 0;
  std::size_t countInUse_ = 0;
  bool hasSegment_ = false;
};
constinit Store store;

// ---- what threads share of a class

/** The chunks of one class that have free blocks. */
class alignas(64) Pool {
 public:
  /** At least one block, unless it throws. `list` is empty. */
  void take(std::size_t sizeClass, List& list, std::uint32_t count) {
    std::lock_guard const lock(mutex_);
    while (count > 0 && (first_ != nullptr || list.first == nullptr)) {
      if (first_ == nullptr) {
        addChunk(sizeClass);
      }
      count -= takeFrom(*first_, sizes[sizeClass], list, count);
    }
  }

  void give(std::size_t size, Block* blocks) noexcept {
    std::lock_guard const lock(mutex_);
    while (blocks != nullptr) {
      Block* const block = std::exchange(blocks, blocks->next);
      Chunk& chunk = Segment::of(block)->chunks[Segment::indexOf(block)];
      if (isFull(chunk, size)) {
        link(chunk);
      }
      block->next = std::exchange(chunk.free, block);
      if (--chunk.used == 0) {
        unlink(chunk);
        store.give(&chunk);
      }
    }
  }

 private:
  static bool isFull(Chunk const& chunk, std::size_t size) noexcept {
    return chunk.free == nullptr && chunk.cut + size > chunkSize;
  }

  std::uint32_t takeFrom(Chunk& chunk, std::uint16_t size, List& list, std::uint32_t count) noexcept {
    std::uint32_t taken = 0;
    for (; taken < count && !isFull(chunk, size); ++taken) {
      if (chunk.free != nullptr) {
        list.push(std::exchange(chunk.free, chunk.free->next));
      } else {
        list.push(::new (memoryOf(&chunk) + chunk.cut) Block);
        chunk.cut += size;
      }
    }
    chunk.used += taken;
    if (isFull(chunk, size)) {
      unlink(chunk);
    }
    return taken;
  }

  void addChunk(std::size_t sizeClass) {
    Chunk& chunk = *store.take();
    Segment& segment = *Segment::of(&chunk);
    segment.classes[static_cast<std::size_t>(&chunk - segment.chunks.data())] = static_cast<std::uint8_t>(sizeClass);
    chunk = {};
    link(chunk);
  }

  void link(Chunk& chunk) noexcept {
    chunk.previous = nullptr;
    chunk.next = std::exchange(first_, &chunk);
    if (chunk.next != nullptr) {
      chunk.next->previous = &chunk;
    }
  }
  void unlink(Chunk& chunk) noexcept {
    (chunk.previous != nullptr ? chunk.previous->next : first_) = chunk.next;
    if (chunk.next != nullptr) {
      chunk.next->previous = chunk.previous;
    }
  }

  std::mutex mutex_;
  Chunk* first_ = nullptr;
};

// Constant-initialised and without a destructor: usable before main starts and after it has ended.
constinit std::array<Pool, classCount> pools;
static_assert(std::is_trivially_destructible_v<Pool> && std::is_trivially_destructible_v<Store>);

// ---- what each thread keeps

using Cache = std::array<List, classCount>;

/** Always empty and without room: what the pointer of a thread without a cache points to, so that nothing tests it. */
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
      pools[i].give(sizes[i], (*mine)[i].first);
    }
    std::free(mine);
  }
};

/** The thread's cache, made on first use; `noCache` when the thread has ended its own, or memory has run out. */
Cache& madeCache() noexcept {
  void* const storage = cache == &noCache && !hasEnded ? std::malloc(sizeof(Cache)) : nullptr;
  if (storage != nullptr) {
    cache = ::new (storage) Cache;
    for (std::size_t i = 0; i < classCount; ++i) {
      (*cache)[i].room = 2 * batchSize(i);
    }
    thread_local CacheEnd const end;
    static_cast<void>(end);
  }
  return *cache;
}

/** For a thread whose cache has no block of the class. */
[[gnu::noinline]] void* fetchBlock(std::size_t sizeClass) {
  Cache& mine = madeCache();
  List one;
  List& list = &mine != &noCache ? mine[sizeClass] : one;
  pools[sizeClass].take(sizeClass, list, &mine != &noCache ? batchSize(sizeClass) : 1);
  return list.pop();
}

/** For a thread whose cache of the class is full, or that has no cache: half of a full one goes to the pool. */
[[gnu::noinline]] void freeToPool(Block* block, std::size_t sizeClass) noexcept {
  List& list = madeCache()[sizeClass];
  List batch;
  if (list.room != 0) {
    list.push(block);
    return;
  }
  batch.push(block);
  while (list.first != nullptr && list.room < batchSize(sizeClass)) {
    batch.push(list.pop());
  }
  pools[sizeClass].give(sizes[sizeClass], batch.first);
}

}  // namespace

void* slabAllocOrStdMalloc(std::size_t size) {
  // The rare cases are in functions that are not inlined, so that this one saves no registers.
  if (size > largestSize) {
    return takeFromHeap(size);
  }
  std::size_t const sizeClass = classes[(size + 7) / 8];
  List& list = (*cache)[sizeClass];
  return list.first != nullptr ? list.pop() : fetchBlock(sizeClass);
}

void slabFreeOrStdFree(void* pointer, std::type_info const& /*type*/) noexcept {
  if (!isOfSlab(pointer)) {
    std::free(pointer);
    return;
  }
  std::size_t const sizeClass = Segment::of(pointer)->classes[Segment::indexOf(pointer)];
  List& list = (*cache)[sizeClass];
  auto* const block = ::new (pointer) Block;
  if (list.room != 0) {
    list.push(block);
  } else {
    freeToPool(block, sizeClass);
  }
}

}  // namespace KvSlab

Model::SlabMemory Model::slabMemory() noexcept { return KvSlab::store.memory(); }

#endif
