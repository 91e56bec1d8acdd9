#include "tests/support/Allocations.h"

#include <malloc.h>

#include <algorithm>
#include <cstdlib>
#include <new>

namespace Support {

thread_local constinit Allocations allocations;

void* Allocations::take(std::size_t size) noexcept {
  bool const fails = failing == 1;
  failing -= failing > 0 ? 1 : 0;
  if (fails) {
    return nullptr;
  }
  ++calls;
  bigCalls += size >= bigSize ? 1 : 0;
  bytes += size;
  return std::malloc(size == 0 ? 1 : size);
}

namespace {

void giveBack(void* storage) {
  allocations.held -= storage == nullptr ? 0 : malloc_usable_size(storage);
  std::free(storage);
}

}  // namespace
}  // namespace Support

void* operator new(std::size_t size) {
  Support::Allocations& all = Support::allocations;
  void* const storage = all.take(size);
  if (storage == nullptr) {
    throw std::bad_alloc();
  }
  all.held += malloc_usable_size(storage);
  all.mostHeld = std::max(all.mostHeld, all.held);
  return storage;
}
void operator delete(void* storage) noexcept { Support::giveBack(storage); }
// NOLINTNEXTLINE(clang-analyzer-cplusplus.NewDelete): the checker takes the operator for a second release.
void operator delete(void* storage, std::size_t /*size*/) noexcept { Support::giveBack(storage); }
