// Where the storage of containers and value objects comes from.
//
// Both operations may be called from any thread, and storage may be freed by another thread than took it. The provider
// decides which sizes come from its slab and which from the standard heap.
#pragma once

#include <cstddef>
#include <typeinfo>

namespace KvSlab {

/**
 * `size` bytes of uninitialised storage; never null, also for a size of 0. Aligned to 16 bytes where `size` is a
 * multiple of 16, and to 8 otherwise: so an array of any fundamental type is aligned when `size` is that of the array.
 * Throws `std::bad_alloc` when memory runs out.
 */
void* slabAllocOrStdMalloc(std::size_t size);

/**
 * Returns storage got from `slabAllocOrStdMalloc`, once. `type` is for the provider's diagnostics only: what the
 * container calls its elements, as in `Velko::MemTrack::Impl::alloc`. A null `pointer` is allowed and does nothing.
 */
void slabFreeOrStdFree(void* pointer, std::type_info const& type) noexcept;

}  // namespace KvSlab
