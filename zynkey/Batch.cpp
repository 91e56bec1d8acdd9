#include "zynkey/Batch.h"

#include <poll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include "zynkey/Jobs.h"
#include "zynkey/Names.h"
#include "zynkey/Output.h"
#include "zynkey/Requests.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

/** Whole lines, and what became of them. */
struct Chunk {
  std::string lines;
  std::uint64_t firstLine = 1;
  std::string answers;
  Counts counts;
  bool done = false;
};

std::string answerTo(std::string_view line, std::uint64_t number, Names& names, Model::Schema const& schema,
                     Counts& counts) {
  ++counts.requests;
  auto const request = readRequest(line, names);
  std::optional<std::string> const flaw = request ? validate(*request, schema) : request.error();
  if (flaw) {
    ++counts.errors;
    return errorLine("line " + std::to_string(number) + ": " + *flaw);
  }
  Outcome const outcome = run(*request);
  counts.errors += outcome ? 0 : 1;
  return toJsonLine(outcome);
}

void answer(Chunk& chunk, Names& names, Model::Schema const& schema) {
  std::string_view rest = chunk.lines;
  for (std::uint64_t number = chunk.firstLine; !rest.empty(); ++number) {
    std::size_t const end = rest.find('\n');
    chunk.answers += answerTo(rest.substr(0, end), number, names, schema, chunk.counts);
    rest.remove_prefix(end == std::string_view::npos ? rest.size() : end + 1);
  }
}

/** Chunks on their way: put in at one end, taken out answered at the other, in the same order. One thread does both. */
class Pipeline {
 public:
  /** With one job the caller's thread answers when it puts a chunk in. */
  Pipeline(unsigned jobs, Model::Schema const& schema, Gnmi::ModuleOf const& moduleOf)
      : schema_(schema), names_(schema, moduleOf) {
    for (unsigned job = 0; jobs > 1 && job < jobs; ++job) {
      workers_.emplace_back([this](std::stop_token const& stop) { work(stop); });
    }
  }

  bool empty() const { return chunks_.empty(); }
  /** As many chunks as keep every worker busy, and no more bytes than that unless a single line has more. */
  bool full() const { return chunks_.size() >= 4 * (workers_.size() + 1) || (bytes_ > maxBytes && !empty()); }

  void put(Chunk chunk) {
    bytes_ += chunk.lines.size();
    if (workers_.empty()) {
      answer(chunk, names_, schema_);
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
    bytes_ -= chunk.lines.size();
    return chunk;
  }

 private:
  static constexpr std::size_t maxBytes = std::size_t{64} << 20U;

  void work(std::stop_token const& stop) {
    Names names(schema_, names_.moduleOf());
    std::unique_lock lock(mutex_);
    while (work_.wait(lock, stop, [this] { return !waiting_.empty(); })) {
      Chunk& chunk = *waiting_.front();
      waiting_.pop_front();
      lock.unlock();
      answer(chunk, names, schema_);
      lock.lock();
      chunk.done = true;
      done_.notify_one();
    }
  }

  Model::Schema const& schema_;
  Names names_;
  std::mutex mutex_;
  std::condition_variable_any work_;
  std::condition_variable done_;
  // A deque leaves its elements where they are while others come and go at its ends.
  std::deque<Chunk> chunks_;
  std::deque<Chunk*> waiting_;
  std::size_t bytes_ = 0;
  // Last, so that the threads end before what they use.
  std::vector<std::jthread> workers_;
};

/** Cuts what a file descriptor yields into chunks of whole lines. */
class LineReader {
 public:
  explicit LineReader(int input) : input_(input) {}

  /** Whether the next read would not have to wait. */
  bool ready() const {
    pollfd descriptor{input_, POLLIN, 0};
    return ::poll(&descriptor, 1, 0) != 0;
  }

  /** Reads once. The chunk is empty when no line has ended yet; at the end of the input, `atEnd()` holds. */
  Chunk read() {
    std::size_t const had = pending_.size();
    pending_.resize(had + readSize);
    ssize_t count = 0;
    do {
      count = ::read(input_, pending_.data() + had, readSize);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
      throw UsageError(std::string("cannot read: ") + std::strerror(errno));
    }
    atEnd_ = count == 0;
    pending_.resize(had + static_cast<std::size_t>(count));
    // Only what is new can hold a line end: a long line is not searched again with every read.
    std::size_t const lastEnd = std::string_view(pending_).substr(had).rfind('\n');
    std::size_t const size = atEnd_ ? pending_.size() : lastEnd == std::string_view::npos ? 0 : had + lastEnd + 1;
    Chunk chunk;
    chunk.firstLine = nextLine_;
    if (size != 0) {
      std::string rest = pending_.substr(size);
      pending_.resize(size);
      chunk.lines = std::exchange(pending_, std::move(rest));
      nextLine_ += static_cast<std::uint64_t>(std::ranges::count(chunk.lines, '\n'));
    }
    return chunk;
  }

  bool atEnd() const { return atEnd_; }

 private:
  static constexpr std::size_t readSize = std::size_t{256} << 10U;

  int input_;
  std::string pending_;
  std::uint64_t nextLine_ = 1;
  bool atEnd_ = false;
};

/** A line on stderr that counts, where a person watches, on a terminal that can erase a line. */
class Progress {
 public:
  void show(Counts const& counts) {
    auto const now = std::chrono::steady_clock::now();
    if (shown_ && now - last_ >= std::chrono::milliseconds(200)) {
      last_ = now;
      std::fprintf(stderr, "\r%llu requests", static_cast<unsigned long long>(counts.requests));
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

  bool shown_ = isSmartTerminal();
  std::chrono::steady_clock::time_point last_ = std::chrono::steady_clock::now();
};

}  // namespace

Counts runBatch(int input, unsigned jobs, Model::Schema const& schema, Gnmi::ModuleOf const& moduleOf) try {
  Pipeline pipeline(jobs, schema, moduleOf);
  LineReader reader(input);
  Progress progress;
  Counts total;
  while (!reader.atEnd() || !pipeline.empty()) {
    // What is under way goes out before there is any waiting for more: the other side may wait for it.
    if (reader.atEnd() || pipeline.full() || (!pipeline.empty() && !reader.ready())) {
      Chunk const chunk = pipeline.take();
      total.requests += chunk.counts.requests;
      total.errors += chunk.counts.errors;
      writeOut(chunk.answers);
      flushOut();
      progress.show(total);
    } else if (Chunk chunk = reader.read(); !chunk.lines.empty()) {
      pipeline.put(std::move(chunk));
    }
  }
  progress.clear();
  return total;
} catch (std::system_error const& error) {
  throw UsageError(std::string("cannot start ") + std::to_string(jobs) + " threads: " + error.what());
}

}  // namespace ZynKey
