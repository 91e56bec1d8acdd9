// What becomes of the command when there is no more memory: one line on stderr, and status 2.
#pragma once

#include <cstdint>

namespace ZynKey {

/** The line of a batch that this thread works at; 0 for none. The message names it. */
inline thread_local std::uint64_t currentLine = 0;

/**
 * "zynkey: line 7: out of memory", and the end of the process. Takes no memory, and may be called by several threads at
 * once. What was answered and not yet written is lost.
 */
[[noreturn]] void outOfMemory() noexcept;

/**
 * From now on an allocation that fails ends the process by `outOfMemory`, on any thread, in code that may not throw as
 * well. Not guaranteed: that the system refuses memory. One that grants more than it has kills the process later,
 * unless a limit such as `ulimit -v` is set.
 */
void exitWhenOutOfMemory();

}  // namespace ZynKey
