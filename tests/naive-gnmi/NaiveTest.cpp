// The resolver beside the oracle, on random cases: the same paths read, selections, nodes, canonical paths, errors and
// places, and the same error first; and from every exact key back to a path and again to the key. The matcher beside
// the rules of which subscriptions a change concerns.
//
//   NAIVE_SEED=n      the first case's number; a random one unless given, and printed
//   NAIVE_CASES=n     how many; 5,000 unless given
//   NAIVE_MINUTES=n   go on for so long instead, each of the two tests
//
// A difference is made as small as it gets and printed with its schema.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <random>
#include <span>

#include "model/Runtime.h"
#include "tests/naive-gnmi/Compare.h"

namespace NaiveGnmi {
namespace {

std::uint64_t number(char const* variable, std::uint64_t unlessGiven) {
  char const* const text = std::getenv(variable);
  return text == nullptr ? unlessGiven : std::strtoull(text, nullptr, 10);
}

std::string kindOf(std::string const& difference) { return difference.substr(0, difference.find_first_of(",\n")); }

using Difference = std::function<std::string(Choices&, Tally&)>;

/** Fewer and smaller decisions that lead to a difference of the same kind. */
Choices::Taken shrunk(Difference const& difference, Choices::Taken taken, std::string const& kind) {
  int left = 20'000;
  auto const isOne = [&](Choices::Taken const& smaller) {
    Choices choices(smaller);
    Tally tally;
    return left-- > 0 && kindOf(difference(choices, tally)) == kind;
  };
  for (bool again = true; again && left > 0;) {
    again = false;
    auto const attempt = [&](Choices::Taken smaller) {
      if (smaller == taken || !isOne(smaller)) {
        return;
      }
      taken = std::move(smaller);
      again = true;
    };
    for (std::size_t size = taken.size(); size != 0; size /= 2) {
      for (std::size_t at = 0; at + size <= taken.size(); at += size) {
        Choices::Taken smaller = taken;
        auto const first = smaller.begin() + static_cast<std::ptrdiff_t>(at);
        smaller.erase(first, first + static_cast<std::ptrdiff_t>(size));
        attempt(std::move(smaller));
        if (at + size <= taken.size()) {
          Choices::Taken zeroed = taken;
          std::fill_n(zeroed.begin() + static_cast<std::ptrdiff_t>(at), size, std::uint16_t{0});
          attempt(std::move(zeroed));
        }
      }
    }
  }
  return taken;
}

void compare(Difference const& difference, std::span<std::string_view const> wanted) {
  using Clock = std::chrono::steady_clock;
  std::uint64_t const seed = number("NAIVE_SEED", std::random_device()() % 1'000'000'000U);
  std::uint64_t const minutes = number("NAIVE_MINUTES", 0);
  std::uint64_t const cases = number("NAIVE_CASES", 5'000);
  auto const end = Clock::now() + std::chrono::minutes(minutes);
  std::printf("first case: NAIVE_SEED=%llu\n", static_cast<unsigned long long>(seed));

  Tally tally;
  std::uint64_t tried = 0;
  std::uint64_t differences = 0;
  for (; (minutes == 0 ? tried < cases : Clock::now() < end) && differences < 5; ++tried) {
    Choices choices(seed + tried);
    std::string const found = difference(choices, tally);
    if (!found.empty()) {
      ++differences;
      Choices small(shrunk(difference, choices.taken(), kindOf(found)));
      Tally ignored;
      ADD_FAILURE() << "NAIVE_SEED=" << seed + tried << " NAIVE_CASES=1\n" << difference(small, ignored);
    }
  }
  std::printf("%llu cases tried, %llu differences\n", static_cast<unsigned long long>(tried),
              static_cast<unsigned long long>(differences));
  for (auto const& [what, times] : tally) {
    std::printf("%10llu  %.*s\n", static_cast<unsigned long long>(times), static_cast<int>(what.size()), what.data());
  }
  for (std::string_view const what : wanted) {
    EXPECT_TRUE(tally[what] > 0 || tried < 5'000) << "no case came by: " << what;
  }
  for (Model::Memory const& tag : Model::memory()) {
    EXPECT_EQ(tag.elements, 0) << tag.tag;
  }
}

TEST(Naive, TheResolverDoesWhatTheOracleDoes) { compare(difference, {wanted, wantedCount}); }

TEST(Naive, TheMatcherFindsWhatTheRulesFindOneByOne) {
  compare(matcherDifference, {wantedOfMatcher, wantedOfMatcherCount});
}

}  // namespace
}  // namespace NaiveGnmi
