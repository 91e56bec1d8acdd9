// Measures works of the program, each of them so that it meets the same machine as those beside it.
//
//   bench --list                          their names
//   bench --time ROUNDS [NAME...]         processor time, and instructions and cache misses where the machine counts
//                                         them: in each round a slice of each work, in turned order every other round
//   bench --threads ROUNDS NAME COUNT...  the same work on so many threads at once, by processor time and by the clock
//   callgrind ... bench --count [TEXT]    one dump for each work whose name holds the text
//
// One JSON object a line: for each figure a list with one entry for each round.
#include <linux/perf_event.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <valgrind/callgrind.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iterator>
#include <latch>
#include <thread>

#include "bench/Work.h"

namespace Bench {

/** Callgrind collects while this function runs, and only then. */
extern "C" [[gnu::noinline]] void measured(std::function<void()> const& run, std::uint64_t times) {
  for (std::uint64_t i = 0; i < times; ++i) {
    run();
  }
}

namespace {

using Names = std::span<char const* const>;

double now(clockid_t clock) {
  std::timespec time{};
  ::clock_gettime(clock, &time);
  return 1e9 * static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec);
}

/** A counter of this thread's user code; it reads as nothing where the machine or its settings have none. */
class Counter {
 public:
  explicit Counter(std::uint64_t event) {
    perf_event_attr what{};
    what.type = PERF_TYPE_HARDWARE;
    what.size = sizeof what;
    what.config = event;
    what.exclude_kernel = 1;
    what.exclude_hv = 1;
    file_ = static_cast<int>(::syscall(SYS_perf_event_open, &what, 0, -1, -1, 0));
  }
  ~Counter() {
    if (known()) {
      ::close(file_);
    }
  }
  Counter(Counter const&) = delete;
  Counter& operator=(Counter const&) = delete;

  bool known() const { return file_ >= 0; }
  double read() const {
    std::uint64_t count = 0;
    return known() && ::read(file_, &count, sizeof count) == sizeof count ? static_cast<double>(count) : 0;
  }

 private:
  int file_ = -1;
};

/** Of one work: so much for each time that it is done, round by round. */
struct Figures {
  Work work;
  std::uint64_t times = 1;
  std::vector<double> ns = {};
  std::vector<double> instructions = {};
  std::vector<double> misses = {};
};

constexpr double sliceNs = 5e6;

void addSlice(Figures& to, Counter const& instructions, Counter const& misses) {
  double const instructionsBefore = instructions.read();
  double const missesBefore = misses.read();
  double const before = now(CLOCK_THREAD_CPUTIME_ID);
  measured(to.work.run, to.times);
  double const after = now(CLOCK_THREAD_CPUTIME_ID);
  double const missesAfter = misses.read();
  double const instructionsAfter = instructions.read();
  auto const each = [&to](double sum) { return sum / static_cast<double>(to.times); };
  to.ns.push_back(each(after - before));
  if (instructions.known()) {
    to.instructions.push_back(each(instructionsAfter - instructionsBefore));
  }
  if (misses.known()) {
    to.misses.push_back(each(missesAfter - missesBefore));
  }
}

/** How often the work is done in a slice; it is warm afterwards. */
std::uint64_t timesInSlice(std::function<void()> const& run) {
  run();
  for (std::uint64_t times = 1;; times *= 2) {
    double const before = now(CLOCK_THREAD_CPUTIME_ID);
    measured(run, times);
    double const took = now(CLOCK_THREAD_CPUTIME_ID) - before;
    if (took > sliceNs / 4) {
      return std::max<std::uint64_t>(1, static_cast<std::uint64_t>(static_cast<double>(times) * sliceNs / took));
    }
  }
}

void print(char const* name, std::vector<double> const& values) {
  std::printf("\"%s\": [", name);
  char const* separator = "";
  for (double const value : values) {
    std::printf("%s%.6g", separator, value);
    separator = ", ";
  }
  std::printf("]");
}

/** Calls with each item in each round, in turned order every other round. */
template <typename Item, typename Call>
void inTurns(int rounds, std::vector<Item>& items, Call const& call) {
  std::vector<Item*> order;
  std::ranges::transform(items, std::back_inserter(order), [](Item& item) { return &item; });
  for (int round = 0; round < rounds; ++round) {
    for (Item* const item : order) {
      call(*item);
    }
    std::ranges::reverse(order);
  }
}

int time(int rounds, Names names) {
  std::vector<Figures> all;
  for (Work& work : worksNamed(names)) {
    std::uint64_t const times = timesInSlice(work.run);
    all.push_back({std::move(work), times});
  }
  Counter const instructions(PERF_COUNT_HW_INSTRUCTIONS);
  Counter const misses(PERF_COUNT_HW_CACHE_MISSES);
  inTurns(rounds, all, [&](Figures& one) { addSlice(one, instructions, misses); });
  for (Figures const& one : all) {
    std::printf("{\"name\": \"%s\", ", one.work.name.c_str());
    print("ns", one.ns);
    std::printf(", ");
    print("instructions", one.instructions);
    std::printf(", ");
    print("misses", one.misses);
    std::printf("}\n");
  }
  return 0;
}

struct Team {
  std::uint64_t threads;
  std::vector<double> processor = {};
  std::vector<double> clock = {};
};

void addRun(Team& team, std::function<void()> const& run, std::uint64_t times) {
  std::uint64_t const each = times / team.threads;
  std::latch start(static_cast<std::ptrdiff_t>(team.threads) + 1);
  std::vector<std::jthread> threads;
  for (std::uint64_t i = 0; i < team.threads; ++i) {
    threads.emplace_back([&] {
      start.arrive_and_wait();
      measured(run, each);
    });
  }
  double const processorBefore = now(CLOCK_PROCESS_CPUTIME_ID);
  double const clockBefore = now(CLOCK_MONOTONIC);
  start.arrive_and_wait();
  threads.clear();
  auto const done = static_cast<double>(each * team.threads);
  team.clock.push_back((now(CLOCK_MONOTONIC) - clockBefore) / done);
  team.processor.push_back((now(CLOCK_PROCESS_CPUTIME_ID) - processorBefore) / done);
}

int threads(int rounds, Names name, Names counts) {
  constexpr std::uint64_t slices = 64;
  Work const work = worksNamed(name).front();
  std::uint64_t const times = slices * timesInSlice(work.run);
  std::vector<Team> teams;
  for (char const* const count : counts) {
    teams.push_back({std::strtoull(count, nullptr, 10)});
  }
  inTurns(rounds, teams, [&](Team& team) { addRun(team, work.run, times); });
  for (Team const& team : teams) {
    std::printf("{\"threads\": %llu, ", static_cast<unsigned long long>(team.threads));
    print("processor", team.processor);
    std::printf(", ");
    print("clock", team.clock);
    std::printf("}\n");
  }
  return 0;
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
    measured(work.run, static_cast<std::uint64_t>(work.rounds));
    std::string const title = work.name + " x " + std::to_string(work.rounds);
    CALLGRIND_DUMP_STATS_AT(title.c_str());
  }
  return 0;
}

int list() {
  for (Work const& work : works()) {
    std::printf("%s\n", work.name.c_str());
  }
  return 0;
}

}  // namespace
}  // namespace Bench

int main(int argc, char** argv) {
  Bench::Names const arguments(argv + 1, argv + argc);
  std::string_view const what = arguments.empty() ? "" : arguments[0];
  int const rounds = arguments.size() > 1 ? std::atoi(arguments[1]) : 0;
  if (what == "--list") {
    return Bench::list();
  }
  if (what == "--count") {
    return Bench::count(arguments.size() > 1 ? arguments[1] : "");
  }
  if (what == "--time" && rounds > 0) {
    return Bench::time(rounds, arguments.subspan(2));
  }
  if (what == "--threads" && rounds > 0 && arguments.size() > 3) {
    return Bench::threads(rounds, arguments.subspan(2, 1), arguments.subspan(3));
  }
  std::fprintf(stderr,
               "usage: bench --list | --time ROUNDS [NAME...] | --threads ROUNDS NAME COUNT... | --count [TEXT]\n");
  return 2;
}
