// Where random cases take their decisions from: a seed, the bytes of a fuzzer, or decisions that were taken before.
//
// One list of numbers stands for a whole case, so a case is made smaller by making the list smaller. Past the end every
// decision is 0, which is the simplest one wherever a decision is taken. Threads: one for an object. Throws
// `std::bad_alloc` only.
#pragma once

#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace NaiveGnmi {

class Choices {
 public:
  using Taken = std::vector<std::uint16_t>;

  /** The same on every machine. */
  explicit Choices(std::uint64_t seed) : state_(seed), isRandom_(true) {}
  explicit Choices(Taken taken) : taken_(std::move(taken)) {}
  /** A byte for each decision. */
  explicit Choices(std::string_view bytes) {
    for (char const byte : bytes) {
      taken_.push_back(static_cast<unsigned char>(byte));
    }
  }

  /** Below `count`, which is not 0. */
  std::size_t below(std::size_t count) {
    if (at_ == taken_.size() && isRandom_) {
      taken_.push_back(static_cast<std::uint16_t>(next()));
    }
    return at_ < taken_.size() ? taken_[at_++] % count : 0;
  }
  /** Simple where it is false. */
  bool percent(std::size_t chance) { return 100 - below(100) <= chance; }
  template <typename List>
  auto const& of(List const& list) {
    return *std::next(std::begin(list), static_cast<std::ptrdiff_t>(below(std::size(list))));
  }

  /** All decisions so far. */
  Taken const& taken() const { return taken_; }

 private:
  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
  }

  Taken taken_;
  std::size_t at_ = 0;
  std::uint64_t state_ = 0;
  bool isRandom_ = false;
};

}  // namespace NaiveGnmi
