// What modules grow to when they are compiled. Only yang/ looks in here.
//
// A grouping that uses another one twice, and a union of two unions, double with every line: forty lines stand for more
// nodes than any memory holds, and libyang has no bound for it. So they are counted before.
#pragma once

#include <libyang/libyang.h>

#include <cstdint>
#include <string>

namespace Yang {

/** Some real sets of modules have several hundred thousand; two million take 2 GB. */
inline constexpr std::uint64_t maxNodes = 2'000'000;
/** Of nodes and `uses`: libyang and the readers of its trees recurse at each. Its parser takes 500 levels. */
inline constexpr std::uint64_t maxLevels = 1000;

struct TooLarge {
  /** The largest module. */
  std::string module = {};
  /** Empty where nothing is too large. */
  std::string problem = {};
};

/** Of all modules of a context that are read, and not compiled yet. Linear in what the modules say. */
TooLarge tooLarge(ly_ctx const* context);

}  // namespace Yang
