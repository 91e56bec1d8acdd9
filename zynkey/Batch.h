// Many requests, one JSON object a line; one answer line for each, in the order of the requests.
#pragma once

#include <cstddef>
#include <cstdint>

#include "model/Schema.h"
#include "zynkey/Resolvers.h"

namespace ZynKey {

struct Counts {
  std::uint64_t requests = 0;
  std::uint64_t errors = 0;
};

struct BatchLimits {
  /** Threads that decode. */
  unsigned jobs = 1;
  /** In bytes, without its end. */
  std::size_t maxLine = std::size_t{1} << 20U;
};

/**
 * Reads requests from the file descriptor `input` to its end and writes the answers to stdout. A line that is no
 * request is answered with an error that names the line, and the rest goes on. So is a line that is longer than
 * `maxLine`; the rest of it is skipped. The last line needs no end. Answers go out as soon as no more input is waiting,
 * so a program may talk through a pipe.
 *
 * With `jobs` above 1, that many threads decode, and reference counts must be atomic.
 *
 * Memory does not grow with the number of requests. Beside the schema it is at most, for each job, 32 MiB, 128 times
 * the longest line, which is what a path of nothing but short elements takes, and four times the longest answer.
 * `currentLine` of zynkey/OutOfMemory.h is the line that a thread works at.
 *
 * Throws `UsageError` when input cannot be read, output cannot be written, or a thread cannot be started.
 */
Counts runBatch(int input, BatchLimits limits, Model::Schema const& schema, Resolvers& resolvers);

}  // namespace ZynKey
