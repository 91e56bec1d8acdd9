// Names that the standard library of GCC hashes alike.
//
// Its hash takes 8 bytes a step, starts with a seed that everybody knows, and each step can be undone: so for any block
// of 8 bytes there is another one behind it that leads to the same state. A name here is two such pairs of blocks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

namespace Tests {

class Collisions {
 public:
  /** `perHalf` squared names of 32 bytes each, all printable, without quotes, backslashes and underscores. */
  static std::vector<std::string> names(std::size_t perHalf) {
    constexpr std::uint64_t seed = 0xc70f6907;
    constexpr std::uint64_t middle = 1;
    std::vector<std::string> all;
    std::vector<std::string> const ends = halves(middle, 2, perHalf);
    for (std::string const& begin : halves(seed ^ (32 * factor), middle, perHalf)) {
      for (std::string const& end : ends) {
        all.push_back(begin + end);
      }
    }
    return all;
  }

 private:
  static constexpr std::uint64_t factor = 0xc6a4a7935bd1e995;

  static constexpr std::uint64_t inverse() {
    std::uint64_t result = 1;
    for (int bits = 1; bits < 64; bits *= 2) {
      result *= 2 - factor * result;
    }
    return result;
  }
  static std::uint64_t shifted(std::uint64_t word) { return word ^ (word >> 47); }
  static std::uint64_t mixed(std::uint64_t block) { return shifted(block * factor) * factor; }
  static std::uint64_t unmixed(std::uint64_t word) { return shifted(word * inverse()) * inverse(); }
  static std::uint64_t step(std::uint64_t state, std::uint64_t block) { return (state ^ mixed(block)) * factor; }

  static bool isPlain(std::string const& text) {
    for (char const byte : text) {
      if (byte < ' ' || byte == '\x7f' || byte == '"' || byte == '\'' || byte == '\\' || byte == '_') {
        return false;
      }
    }
    return true;
  }

  /** Texts of 16 bytes that lead from one state to another. */
  static std::vector<std::string> halves(std::uint64_t from, std::uint64_t to, std::size_t count) {
    std::vector<std::string> all;
    for (std::uint64_t number = 0; all.size() < count; ++number) {
      std::string text(16, ' ');
      for (int at = 0; at < 8; ++at) {
        text[static_cast<std::size_t>(at)] = static_cast<char>('a' + ((number >> (4 * at)) & 15U));
      }
      std::uint64_t first = 0;
      std::memcpy(&first, text.data(), 8);
      std::uint64_t const second = unmixed((to * inverse()) ^ step(from, first));
      std::memcpy(text.data() + 8, &second, 8);
      if (isPlain(text)) {
        all.push_back(text);
      }
    }
    return all;
  }
};

}  // namespace Tests
