// Measures works of the program: their heap calls, their slab calls, and the most bytes that each holds at once.
//
//   bench_memory [NAME...]
//
// This program has a slab of its own, which takes every block from the heap, in place of the provider's: so that all of
// the memory passes through here. Heap calls are those that are not the slab's. One JSON object a line.
#include <malloc.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <new>
#include <typeinfo>

#include "KvSlab/Slab.h"
#include "bench/Work.h"
#include "model/Runtime.h"

extern "C" {
void* __libc_malloc(std::size_t size);                     // NOLINT(bugprone-reserved-identifier)
void* __libc_calloc(std::size_t count, std::size_t size);  // NOLINT(bugprone-reserved-identifier)
void* __libc_realloc(void* storage, std::size_t size);     // NOLINT(bugprone-reserved-identifier)
void __libc_free(void* storage);                           // NOLINT(bugprone-reserved-identifier)
}

namespace {

struct Account {
  std::uint64_t heapCalls = 0;
  std::uint64_t slabCalls = 0;
  std::int64_t bytes = 0;
  std::int64_t mostBytes = 0;
};
constinit Account account;

void* taken(void* storage) {
  account.bytes += static_cast<std::int64_t>(malloc_usable_size(storage));
  account.mostBytes = std::max(account.mostBytes, account.bytes);
  return storage;
}

void returned(void* storage) { account.bytes -= static_cast<std::int64_t>(malloc_usable_size(storage)); }

std::uint64_t containerAllocations() {
  std::uint64_t sum = 0;
  for (Model::Memory const& tag : Model::memory()) {
    sum += tag.allocations;
  }
  return sum;
}

}  // namespace

extern "C" {

void* malloc(std::size_t size) {
  ++account.heapCalls;
  return taken(__libc_malloc(size));
}

void* calloc(std::size_t count, std::size_t size) {
  ++account.heapCalls;
  return taken(__libc_calloc(count, size));
}

void* realloc(void* storage, std::size_t size) {
  ++account.heapCalls;
  returned(storage);
  return taken(__libc_realloc(storage, size));
}

void free(void* storage) {
  returned(storage);
  __libc_free(storage);
}

}  // extern "C"

namespace KvSlab {

void* slabAllocOrStdMalloc(std::size_t size) {
  ++account.slabCalls;
  void* const storage = __libc_malloc(size == 0 ? 1 : size);
  return storage != nullptr ? taken(storage) : throw std::bad_alloc();
}

void slabFreeOrStdFree(void* pointer, std::type_info const& /*type*/) noexcept { free(pointer); }

}  // namespace KvSlab

int main(int argc, char** argv) {
  for (Bench::Work const& work : Bench::worksNamed({argv + 1, argv + argc})) {
    work.run();
    std::uint64_t const containers = containerAllocations();
    Account const before = account;
    account.mostBytes = account.bytes;
    work.run();
    Account const after = account;
    std::printf("{\"name\": \"%s\", \"heap\": %llu, \"slab\": %llu, \"containers\": %llu, \"bytes\": %lld}\n",
                work.name.c_str(), static_cast<unsigned long long>(after.heapCalls - before.heapCalls),
                static_cast<unsigned long long>(after.slabCalls - before.slabCalls),
                static_cast<unsigned long long>(containerAllocations() - containers),
                static_cast<long long>(after.mostBytes - before.bytes));
  }
  return 0;
}
