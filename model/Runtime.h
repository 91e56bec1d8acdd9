// The embedded base library's switches and counters: traces, assertions, memory, threads.
//
// For the process that hosts the model: a command, a test, an agent that has no platform of its own. All functions may
// be called from any thread; sinks are called on the thread that traced or failed, several at once where several
// threads do.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace Model {

/** One trace as the sink gets it. The views live for the call only. */
struct Trace {
  std::string_view handle;
  unsigned short level;
  std::string_view file;
  std::string_view function;
  int line;
  /** Empty outside a class. */
  std::string_view className;
  std::string_view text;
};

/** The line that goes to stderr where there is no sink, with its end. */
std::string toLine(Trace const& trace);

/** Turns the traces of one name on or off; off at the start. */
void enableTraces(std::string_view handle, bool on);

/** Where traces go from now on; an empty function means stderr, one line each. The sink throws nothing. */
void setTraceSink(std::function<void(Trace const&)> sink);

/** A broken assumption as the sink gets it. */
struct Assertion {
  /** The trace handle of the code that failed; empty where it has none. */
  std::string_view handle;
  std::string_view condition;
  std::string_view file;
  std::string_view function;
  int line;
  /** May be empty. */
  std::string_view text;
};

/**
 * What is called before the process aborts on a failed assertion; an empty function means a line on stderr. The process
 * aborts when the sink returns.
 */
void setAssertionSink(std::function<void(Assertion const&)> sink);

/**
 * Whether reference counts change atomically; on at the start. Turn it off before the first value is made, and only in
 * a process that uses values on one thread.
 */
void setThreadSafe(bool on) noexcept;

/**
 * The counters of one tag. While other threads allocate, the numbers are those of some moment in between. Not checked:
 * that all elements of a tag have one size, from which `bytes` is worked out.
 */
struct Memory {
  /** The tag's type, readable. */
  std::string tag;
  /** Allocations made so far, and elements that are allocated now. */
  std::uint64_t allocations = 0;
  std::int64_t elements = 0;
  std::int64_t bytes = 0;
};

/** One entry for each tag that was ever used, sorted by tag. Elements and bytes are 0 when all memory went back. */
std::vector<Memory> memory();

/**
 * What the storage of small blocks, which are containers and value objects, takes of the system, in bytes. Both are 0
 * under the address sanitizer, where all blocks come from the heap.
 */
struct SlabMemory {
  /** In chunks with at least one block that is in use or kept by a thread for its next use. */
  std::size_t used = 0;
  /** In empty chunks, a few of which are kept; all others have gone back to the system. */
  std::size_t inHand = 0;
};
SlabMemory slabMemory() noexcept;

}  // namespace Model
