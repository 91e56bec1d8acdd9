// Lines in, lines out: reads lines, has them answered by one thread or several, and writes the answers in their order.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace ZynKey {

struct Counts {
  std::uint64_t requests = 0;
  std::uint64_t answers = 0;
  std::uint64_t errors = 0;
};

struct LineLimits {
  /** Threads that answer. */
  unsigned jobs = 1;
  /** In bytes, without its end. */
  std::size_t maxLine = std::size_t{1} << 20U;
};

/**
 * Appends the answers to a line, which comes without its end, and counts them. A line that is too long comes with one
 * byte more than is allowed; the rest of it is skipped. Each thread has a copy of its own.
 */
using AnswerLine =
    std::function<void(std::string_view line, std::uint64_t number, std::string& answers, Counts& counts)>;

/** What is wrong with a line that is longer than `maxLine`. */
std::string tooLong(std::size_t maxLine);

/**
 * Answers each line of the file descriptor `input` to its end, the last one also without an end, on stdout. Answers go
 * out as soon as no more input is waiting, so a program may talk through a pipe. `what` is what is counted for a person
 * who watches: "requests".
 *
 * With `jobs` above 1, reference counts must be atomic. Beside what answering takes, memory is in proportion to the
 * longest line and answer, for each job; the number of lines does not count. `currentLine` of zynkey/OutOfMemory.h is
 * the line that a thread works at.
 *
 * Throws `UsageError` when input cannot be read, output cannot be written, or a thread cannot be started. A file that
 * is written to ends with a whole answer then.
 */
Counts answerLines(int input, LineLimits limits, AnswerLine const& answerLine, std::string_view what);

}  // namespace ZynKey
