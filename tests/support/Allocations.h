// What a program allocates with `operator new`, counted, and made to fail; the libraries that it uses call it as well.
// A program that links `counted_allocations` has these operators.
#pragma once

#include <cstddef>
#include <limits>

namespace Support {

/** Of one thread, which may set everything as it likes. */
struct Allocations {
  std::size_t calls = 0;
  /** Calls for blocks of at least `bigSize` bytes. */
  std::size_t bigCalls = 0;
  std::size_t bigSize = std::numeric_limits<std::size_t>::max();
  /** Bytes that were asked for, whether they were given back or not. */
  std::size_t bytes = 0;
  /** Bytes of blocks that were not given back, and the most that there were. */
  std::size_t held = 0;
  std::size_t mostHeld = 0;
  /** Which call from now on fails, counted down; none while it is 0. */
  std::size_t failing = 0;

  /** What a call does, without its exception; blocks that others than `operator delete` free are not `held`. */
  void* take(std::size_t size) noexcept;
};

extern thread_local constinit Allocations allocations;

}  // namespace Support
