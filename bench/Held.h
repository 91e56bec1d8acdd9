// What keys cost that are held, in memory that the system gave to the process.
#pragma once

#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstdio>
#include <numeric>
#include <random>
#include <vector>

#include "bench/Work.h"

namespace Bench {

/** Bytes that are resident above those at the start. */
struct Held {
  double all;
  /** After nine of ten were dropped, in an order without pattern. */
  double tenth;
  double none;
};

inline double resident() {
  std::size_t pages = 0;
  std::FILE* const file = std::fopen("/proc/self/statm", "r");
  if (file == nullptr || std::fscanf(file, "%*s %zu", &pages) != 1) {
    fail("held", "/proc/self/statm does not say how much memory is resident");
  }
  std::fclose(file);
  return static_cast<double>(pages) * static_cast<double>(::sysconf(_SC_PAGESIZE));
}

/** Holds what `make` returns for each number below `count`, slots included. */
template <typename Make>
Held hold(std::size_t count, Make const& make) {
  make(0);  // what is made once for all
  std::vector<std::size_t> order(count);
  std::iota(order.begin(), order.end(), 0);
  std::ranges::shuffle(order, std::mt19937_64());
  Held held{};
  double const start = resident();
  {
    std::vector<decltype(make(0))> slots;
    slots.reserve(count);
    for (std::size_t i = 0; i < count; ++i) {
      slots.push_back(make(i));
    }
    held.all = resident() - start;
    for (std::size_t i = 0; i < count - count / 10; ++i) {
      slots[order[i]] = {};
    }
    held.tenth = resident() - start;
  }
  held.none = resident() - start;
  return held;
}

/** Of keys of three fields: `numberedKey` for each number. */
Held holdKeys(std::size_t count);
Held holdMessages(std::size_t count);
Held holdFlatMessages(std::size_t count);
Held holdNodes(std::size_t count);

/** Of a table with so many typed keys: the time from a path to the entry, and what one entry takes. */
struct Growth {
  double ns;
  double bytes;
};
Growth growTable(std::size_t keys);

}  // namespace Bench
