// Many requests, one JSON object a line; one answer line for each, in the order of the requests.
#pragma once

#include <cstdint>

#include "gnmi/Resolve.h"
#include "model/Schema.h"

namespace ZynKey {

struct Counts {
  std::uint64_t requests = 0;
  std::uint64_t errors = 0;
};

/**
 * Reads requests from the file descriptor `input` to its end and writes the answers to stdout. A line that is no
 * request is answered with an error that names the line, and the rest goes on. Lines may be of any length; the last one
 * needs no line end. Answers go out as soon as no more input is waiting, so a program may talk through a pipe.
 *
 * With `jobs` above 1, that many threads decode, and reference counts must be atomic. A bounded number of bytes is in
 * flight, so memory does not grow with the number of requests.
 *
 * Throws `UsageError` when input cannot be read, output cannot be written, or a thread cannot be started.
 */
Counts runBatch(int input, unsigned jobs, Model::Schema const& schema, Gnmi::ModuleOf const& moduleOf);

}  // namespace ZynKey
