#include "zynkey/Lines.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "zynkey/OutOfMemory.h"
#include "zynkey/Output.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

/** How many ends of lines there are in it. */
std::uint64_t countEnds(std::string_view text) {
  std::uint64_t count = 0;
  for (std::size_t at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', at + 1)) {
    ++count;
  }
  return count;
}

/** Whole lines, and their answers. */
struct Chunk {
  std::string lines;
  std::uint64_t firstLine = 1;
  std::string answers;
  Counts counts;
  bool done = false;
};

void answer(Chunk& chunk, AnswerLine const& answerLine) {
  std::string_view rest = chunk.lines;
  for (std::uint64_t number = chunk.firstLine; !rest.empty(); ++number) {
    std::size_t const end = rest.find('\n');
    currentLine = number;
    ++chunk.counts.requests;
    answerLine(rest.substr(0, end), number, chunk.answers, chunk.counts);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
}

/** A queue of chunks: put in as they are read, taken out answered and in the same order. One thread does both. */
class Pipeline {
 public:
  /** With one job the caller's thread answers when it puts a chunk in. */
  Pipeline(unsigned jobs, AnswerLine answerLine)
      : answerLine_(std::move(answerLine)), mostChunks_(jobs > 1 ? 2 * jobs : 1) {
    for (unsigned job = 0; jobs > 1 && job < jobs; ++job) {
      workers_.emplace_back([this](std::stop_token const& stop) { work(stop); });
    }
  }

  bool empty() const { return chunks_.empty(); }
  /** As many chunks as keep every worker busy. */
  bool full() const { return chunks_.size() >= mostChunks_; }

  void put(Chunk chunk) {
    if (workers_.empty()) {
      answer(chunk, answerLine_);
      chunk.done = true;
      chunks_.push_back(std::move(chunk));
      return;
    }
    {
      std::lock_guard const lock(mutex_);
      chunks_.push_back(std::move(chunk));
      waiting_.push_back(&chunks_.back());
    }
    work_.notify_one();
  }

  /** The oldest chunk, answered; only when there is one. */
  Chunk take() {
    std::unique_lock lock(mutex_);
    done_.wait(lock, [this] { return chunks_.front().done; });
    Chunk chunk = std::move(chunks_.front());
    chunks_.pop_front();
    return chunk;
  }

 private:
  void work(std::stop_token const& stop) {
    AnswerLine const answerLine = answerLine_;
    std::unique_lock lock(mutex_);
    while (work_.wait(lock, stop, [this] { return !waiting_.empty(); })) {
      Chunk& chunk = *waiting_.front();
      waiting_.pop_front();
      lock.unlock();
      answer(chunk, answerLine);
      lock.lock();
      chunk.done = true;
      done_.notify_one();
    }
  }

  AnswerLine answerLine_;
  std::size_t mostChunks_;
  std::mutex mutex_;
  std::condition_variable_any work_;
  std::condition_variable done_;
  // A deque leaves its elements where they are while others come and go at its ends.
  std::deque<Chunk> chunks_;
  std::deque<Chunk*> waiting_;
  // Last, so that the threads end before what they use.
  std::vector<std::jthread> workers_;
};

/** Cuts what a file descriptor yields into chunks of whole lines. */
class LineReader {
 public:
  /** Of a longer line, one byte more than `maxLine` is kept. */
  LineReader(int input, std::size_t maxLine) : input_(input), mostKept_(maxLine + 1) {}

  /** Whether the next read would not have to wait. */
  bool ready() const {
    pollfd descriptor{input_, POLLIN, 0};
    return ::poll(&descriptor, 1, 0) != 0;
  }

  /** Reads once. The chunk is empty when no line has ended yet; at the end of the input, `atEnd()` holds. */
  Chunk read() {
    currentLine = nextLine_;
    ssize_t count = 0;
    do {
      // The checker misses that the locks of others have ended.
      // NOLINTNEXTLINE(clang-analyzer-unix.BlockInCriticalSection)
      count = ::read(input_, part_.data(), part_.size());
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
      throw UsageError(std::string("cannot read: ") + std::strerror(errno));
    }
    atEnd_ = count == 0;
    Chunk chunk;
    chunk.firstLine = nextLine_;
    std::size_t whole = atEnd_ ? pending_.size() : 0;
    for (std::string_view rest(part_.data(), static_cast<std::size_t>(count)); !rest.empty();) {
      // Where no line can become too long, all that end are taken at once.
      bool const allFit = rest.size() <= mostKept_ - lineSize_;
      std::size_t const end = std::min(allFit ? rest.rfind('\n') : rest.find('\n'), rest.size());
      std::string_view const kept = rest.substr(0, std::min(end, mostKept_ - lineSize_));
      pending_ += kept;
      lineSize_ += kept.size();
      if (end != rest.size()) {
        pending_ += '\n';
        lineSize_ = 0;
        nextLine_ += 1 + countEnds(kept);
        whole = pending_.size();
      }
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    if (whole != 0) {
      std::string rest = pending_.substr(whole);
      pending_.resize(whole);
      chunk.lines = std::exchange(pending_, std::move(rest));
    }
    return chunk;
  }

  bool atEnd() const { return atEnd_; }

 private:
  int input_;
  std::size_t mostKept_;
  std::array<char, std::size_t{64} << 10U> part_;
  /** Lines that have ended, and what is kept of the one that has not. */
  std::string pending_;
  std::size_t lineSize_ = 0;
  std::uint64_t nextLine_ = 1;
  bool atEnd_ = false;
};

/** A line on stderr that counts, where a person watches, on a terminal that can erase a line. */
class Progress {
 public:
  explicit Progress(std::string_view what) : what_(what) {}

  void show(Counts const& counts) {
    auto const now = std::chrono::steady_clock::now();
    if (shown_ && now - last_ >= std::chrono::milliseconds(200)) {
      last_ = now;
      std::fputs(("\r" + std::to_string(counts.requests) + " " + what_).c_str(), stderr);
    }
  }
  void clear() const {
    if (shown_) {
      std::fputs("\r\033[K", stderr);
    }
  }

 private:
  static bool isSmartTerminal() {
    char const* const terminal = std::getenv("TERM");
    return ::isatty(STDERR_FILENO) != 0 && terminal != nullptr && *terminal != '\0' &&
           std::string_view(terminal) != "dumb";
  }

  std::string what_;
  bool shown_ = isSmartTerminal();
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace

std::string tooLong(std::size_t maxLine) {
  return "longer than " + std::to_string(maxLine) + " bytes; --max-line allows more";
}

Counts answerLines(int input, LineLimits limits, AnswerLine const& answerLine, std::string_view what) try {
  Pipeline pipeline(limits.jobs, answerLine);
  LineReader reader(input, limits.maxLine);
  Progress progress(what);
  Counts total;
  while (!reader.atEnd() || !pipeline.empty()) {
    // Answers are written before waiting for more input: the other side may wait for them.
    if (reader.atEnd() || pipeline.full() || (!pipeline.empty() && !reader.ready())) {
      Chunk const chunk = pipeline.take();
      total.requests += chunk.counts.requests;
      total.answers += chunk.counts.answers;
      total.errors += chunk.counts.errors;
      writeWhole(chunk.answers);
      progress.show(total);
    } else if (Chunk chunk = reader.read(); !chunk.lines.empty()) {
      pipeline.put(std::move(chunk));
    }
  }
  progress.clear();
  return total;
} catch (std::system_error const& error) {
  throw UsageError(std::string("cannot start ") + std::to_string(limits.jobs) + " threads: " + error.what());
}

}  // namespace ZynKey
