// The allocator of every container: it counts under a tag, and takes its storage from `KvSlab`.
//
// A tag is a type that says which kind of container the memory is for. It is never instantiated and may stay an
// incomplete type. Each tag has one tracker in the whole process, whichever library allocates: so the provider hands
// trackers out by the tag's name, instead of each library keeping a static of its own.
#pragma once

#include <cstddef>
#include <limits>
#include <new>
#include <type_traits>
#include <typeinfo>

#include "KvSlab/Slab.h"

namespace Velko {

template <typename Element>
struct VectorOf;
template <typename Element>
struct SmallVectorOf;
template <typename Key, typename Value>
struct AbslFlatHashMapOf;
/** For a map whose value type is still incomplete where the map is named; `Tag` stands for the map. */
template <typename Key, typename Value, typename Tag>
struct AbslFlatHashMapOfTag;

namespace MemTrack {

/** The counters of one tag. The provider defines the class, with members of its own. Lives until the process ends. */
class Tracker;

namespace Impl {

/**
 * The one tracker of a tag. `tagPointer` is `typeid(Tag*)`, so that incomplete tags have one too; for those its name is
 * the only thing that is the same in every library. So compare names, without the `*` that standard libraries other
 * than libstdc++ may put in front. Any thread; may be called more than once for a tag. Throws `std::bad_alloc` when
 * memory runs out.
 */
Tracker& tracker(std::type_info const& tagPointer);

/**
 * Told after storage for `count` elements of `elementSize` bytes has been taken. Any thread, any number at once.
 *
 * `element` and `count` are what the container asks its allocator for, which need not be what a user puts in: a map of
 * Abseil's takes its slots and its own bookkeeping as one block of words, and reports a word type of its own and the
 * number of words. Bytes are `count * elementSize` always. What a block is for, the tag tells.
 */
void alloc(Tracker& tracker, std::type_info const& element, std::size_t elementSize, std::size_t count) noexcept;

/** Told before storage for `count` elements goes back; `count` is that of the matching `alloc`. */
void dealloc(Tracker& tracker, std::size_t count) noexcept;

}  // namespace Impl
}  // namespace MemTrack

/**
 * A standard allocator without state. What `Flag` means is the platform's business: the decoder always passes false.
 * `allocate` throws `std::bad_alloc` (`std::bad_array_new_length` for a count that no memory could hold).
 */
template <typename T, bool Flag, typename Tag>
class Allocator {
 public:
  using value_type = T;
  using is_always_equal = std::true_type;
  using propagate_on_container_move_assignment = std::true_type;

  /** Spelled out, because the default does not rebind a template with a parameter that is no type. */
  template <typename U>
  struct rebind {
    using other = Allocator<U, Flag, Tag>;
  };

  Allocator() noexcept = default;
  template <typename U>
  Allocator(Allocator<U, Flag, Tag> const&) noexcept {}

  T* allocate(std::size_t count) {
    static_assert(alignof(T) <= alignof(std::max_align_t), "the slab aligns for fundamental types only");
    if (count > std::numeric_limits<std::size_t>::max() / sizeof(T)) {
      throw std::bad_array_new_length();
    }
    MemTrack::Tracker& counters = tracker();
    void* const storage = KvSlab::slabAllocOrStdMalloc(count * sizeof(T));
    MemTrack::Impl::alloc(counters, typeid(T), sizeof(T), count);
    return static_cast<T*>(storage);
  }

  void deallocate(T* storage, std::size_t count) noexcept {
    MemTrack::Impl::dealloc(tracker(), count);
    KvSlab::slabFreeOrStdFree(storage, typeid(T));
  }

  friend bool operator==(Allocator const&, Allocator const&) noexcept { return true; }

 private:
  static MemTrack::Tracker& tracker() {
    static MemTrack::Tracker& ofTag = MemTrack::Impl::tracker(typeid(Tag*));
    return ofTag;
  }
};

}  // namespace Velko
