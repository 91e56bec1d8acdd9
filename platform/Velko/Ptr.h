// Shared ownership by a count inside the object: `Node` holds the count, each `Ptr` holds one reference.
//
// Threads: while `ThreadControl::tsp_` is true, references to one object may be taken and dropped by several threads
// at once; while it is false, counts are plain numbers and an object belongs to one thread. A single `Ptr` is a value
// like any other: one thread at a time. The object's own contents are not protected either way.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <utility>

namespace Velko {

struct ThreadControl {
  /**
   * Whether reference counts change atomically. Defined by the provider: true unless a process has values on one thread
   * only. It is read without a lock: change it only while no other thread has values.
   */
  static bool tsp_;
};

/**
 * An object that counts its users. The provider allocates it as it likes; a new object has no users until a `Ptr` to it
 * is made. `decUseImpl` destroys it when its last `Ptr` is destroyed.
 */
class Node {
 public:
  Node(Node const&) = delete;
  Node& operator=(Node const&) = delete;

  void incUse() const noexcept {
    if (ThreadControl::tsp_) {
      std::atomic_ref(uses_).fetch_add(1, std::memory_order_relaxed);
    } else {
      ++uses_;
    }
  }

  /** As `incUse`, for `Ptr::copyAlone`: an only user becomes two without a locked instruction. */
  void incUseAlone() const noexcept {
    std::atomic_ref const uses(uses_);
    if (uses.load(std::memory_order_relaxed) == 1) {
      uses.store(2, std::memory_order_relaxed);
    } else {
      incUse();
    }
  }

  /** For the maker of an object that nobody else knows of yet: its first use needs no locked instruction. */
  void startUse() const noexcept { uses_ = 1; }

  void decUse() const noexcept {
    if (dropOneUse() == 0) {
      decUseImpl();
    }
  }

  /** Whether one `Ptr` alone holds the object: then nobody else can take or drop a reference. */
  bool hasOneUse() const noexcept { return std::atomic_ref(uses_).load(std::memory_order_acquire) == 1; }

  /** How many `Ptr` hold the object now. Another thread may change it at once: for tests and diagnostics. */
  std::uint32_t useCount() const noexcept { return std::atomic_ref(uses_).load(std::memory_order_relaxed); }

 protected:
  Node() noexcept = default;
  virtual ~Node();

 private:
  std::uint32_t dropOneUse() const noexcept {
    // An only user needs no locked instruction, which costs more than all else here: nobody is left to change the
    // count.
    if (hasOneUse()) {
      return 0;
    }
    // The release half publishes this user's last access, the acquire half lets the last user destroy safely.
    return ThreadControl::tsp_ ? std::atomic_ref(uses_).fetch_sub(1, std::memory_order_acq_rel) - 1 : --uses_;
  }

  /**
   * The last user has gone: destroys the object and frees its memory. Defined by the provider, once for all classes
   * that it derives from `Node`: `delete this` where it allocates them by `new`. Throws nothing. Called on the thread
   * of the last user.
   */
  void decUseImpl() const noexcept;

  mutable std::uint32_t uses_ = 0;
};

/**
 * One reference to a `T`, or null. `Ptr<T>` turns into `Ptr<T const>` (and into a pointer to a base class): by copy it
 * takes a further reference, by move it hands over its own. A pointer moved from is null.
 */
template <typename T>
class Ptr {
 public:
  Ptr() noexcept = default;
  Ptr(std::nullptr_t) noexcept {}
  /** The first reference to an object that was just made. */
  static Ptr adopt(T* object) noexcept {
    object->startUse();
    Ptr made;
    made.object_ = object;
    return made;
  }
  /**
   * A copy, where no other thread copies this same `Ptr` at the same time. If the object has no other user, then nobody
   * else can change its count, and no locked instruction is needed.
   */
  Ptr copyAlone() const noexcept {
    if (object_ != nullptr) {
      object_->incUseAlone();
    }
    Ptr copy;
    copy.object_ = object_;
    return copy;
  }
  /** Takes a reference of its own; `object` may be null. */
  explicit Ptr(T* object) noexcept : object_(object) { take(); }

  Ptr(Ptr const& other) noexcept : object_(other.object_) { take(); }
  Ptr(Ptr&& other) noexcept : object_(other.release()) {}

  template <typename U>
    requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>)
  Ptr(Ptr<U> const& other) noexcept : object_(other.get()) {
    take();
  }
  template <typename U>
    requires(!std::is_same_v<U, T> && std::is_convertible_v<U*, T*>)
  Ptr(Ptr<U>&& other) noexcept : object_(other.release()) {}

  ~Ptr() { drop(); }

  /** Assigning its own object changes nothing: the new reference is taken before the old one is dropped. */
  Ptr& operator=(Ptr other) noexcept {
    std::swap(object_, other.object_);
    return *this;
  }

  T* get() const noexcept { return object_; }
  T* operator->() const noexcept { return object_; }
  T& operator*() const noexcept { return *object_; }
  explicit operator bool() const noexcept { return object_ != nullptr; }

  /** Gives up the object without dropping the reference, which the caller now owns. */
  T* release() noexcept { return std::exchange(object_, nullptr); }

  /** Whether both hold the same object, not whether the objects are alike. */
  friend bool operator==(Ptr const& a, Ptr const& b) noexcept { return a.object_ == b.object_; }
  friend bool operator==(Ptr const& a, std::nullptr_t) noexcept { return a.object_ == nullptr; }

 private:
  void take() const noexcept {
    if (object_ != nullptr) {
      object_->incUse();
    }
  }
  void drop() const noexcept {
    if (object_ != nullptr) {
      object_->decUse();
    }
  }

  T* object_ = nullptr;
};

}  // namespace Velko
