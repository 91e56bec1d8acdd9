// Part of each library in the coverage build: a process that aborts writes its counters first.
//
// Every library has counters of its own, so each puts its handler before the one that was there. Death tests are the
// only tests of some lines, and all of them end in abort().
#include <csignal>

extern "C" void __gcov_dump();  // NOLINT(bugprone-reserved-identifier,readability-identifier-naming): gcov's

namespace {

struct sigaction previous = {};

void dump(int signal) {
  __gcov_dump();
  if (previous.sa_handler != SIG_DFL && previous.sa_handler != SIG_IGN) {
    previous.sa_handler(signal);
  }
}

[[maybe_unused]] bool const installed = [] {
  struct sigaction action = {};
  action.sa_handler = dump;
  return sigaction(SIGABRT, &action, &previous) == 0;
}();

}  // namespace
