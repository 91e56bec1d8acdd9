// Measures every work of the program: how long it takes, or, with `--count`, its instructions under callgrind.
//
//   bench [--benchmark_filter=...]         nanoseconds; instructions as well where the machine counts them
//   callgrind ... bench --count [TEXT]     one dump for each work whose name holds the text
#include <benchmark/benchmark.h>
#include <linux/perf_event.h>
#include <sys/ioctl.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "bench/Work.h"

namespace Bench {

/** Callgrind collects while this function runs, and only then. */
extern "C" [[gnu::noinline]] void measured(std::function<void()> const& run, int rounds) {
  for (int round = 0; round < rounds; ++round) {
    run();
  }
}

namespace {

/** The instructions of this thread, where the machine can count them. */
class Instructions {
 public:
  Instructions() {
    perf_event_attr what{};
    what.type = PERF_TYPE_HARDWARE;
    what.size = sizeof what;
    what.config = PERF_COUNT_HW_INSTRUCTIONS;
    what.exclude_kernel = 1;
    what.exclude_hv = 1;
    counter_ = static_cast<int>(::syscall(SYS_perf_event_open, &what, 0, -1, -1, 0));
  }
  ~Instructions() {
    if (counter_ >= 0) {
      ::close(counter_);
    }
  }
  Instructions(Instructions const&) = delete;
  Instructions& operator=(Instructions const&) = delete;

  bool known() const { return counter_ >= 0; }
  double read() const {
    std::uint64_t count = 0;
    return known() && ::read(counter_, &count, sizeof count) == sizeof count ? static_cast<double>(count) : 0;
  }

 private:
  int counter_ = -1;
};

void time(benchmark::State& state, std::function<void()> const& run, bool threadSafe) {
  if (state.thread_index() == 0) {
    setThreadSafe(threadSafe);
  }
  run();
  Instructions const instructions;
  double const before = instructions.read();
  for ([[maybe_unused]] auto const& turn : state) {
    run();
  }
  if (instructions.known()) {
    state.counters["instructions"] =
        benchmark::Counter(instructions.read() - before, benchmark::Counter::kAvgIterations);
  }
}

int count(std::string_view text) {
  constexpr int warmUp = 20;
  for (Work const& work : works()) {
    if (work.rounds == 0 || work.name.find(text) == std::string::npos) {
      continue;
    }
    for (int round = 0; round < std::min(warmUp, work.rounds); ++round) {
      work.run();
    }
    CALLGRIND_ZERO_STATS;
    measured(work.run, work.rounds);
    std::string const title = work.name + " x " + std::to_string(work.rounds);
    CALLGRIND_DUMP_STATS_AT(title.c_str());
  }
  return 0;
}

int timeAll(int argc, char** argv) {
  Works const all = works();
  for (Work const& work : all) {
    benchmark::RegisterBenchmark(work.name.c_str(), time, work.run, true);
    if (work.name == "key, 3 fields") {
      for (bool const atomicCounts : {true, false}) {
        std::string const name = work.name + (atomicCounts ? ", atomic counts" : ", plain counts");
        benchmark::RegisterBenchmark(name.c_str(), time, work.run, atomicCounts)->Threads(1)->Threads(2);
      }
    }
  }
  benchmark::Initialize(&argc, argv);
  if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
    return 2;
  }
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
  if (argc > 1 && std::strcmp(argv[1], "--count") == 0) {
    return Bench::count(argc > 2 ? argv[2] : "");
  }
  return Bench::timeAll(argc, argv);
}
