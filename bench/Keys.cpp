#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <iterator>
#include <random>

#include "bench/Decoder.h"

namespace Bench {
namespace {

/** The same on every machine, as distributions of the standard library are not. */
class Random {
 public:
  std::uint64_t below(std::uint64_t bound) { return engine_() % bound; }
  template <typename T, std::size_t Size>
  T const& one(std::array<T, Size> const& of) {
    return of[below(Size)];
  }

 private:
  std::mt19937_64 engine_;
};

std::string variedName(Random& random) {
  static constexpr std::array<std::string_view, 8> words = {"acme",  "north", "mgmt",       "backbone",
                                                            "guest", "voice", "datacentre", "partner"};
  switch (random.below(8)) {
    case 0:
      return fmt::format("eth{}", random.below(100));
    case 1:
      return fmt::format("Ethernet{}/{}", random.below(64), random.below(8));
    case 2:
      return fmt::format("xe-{}/{}/{}.{}", random.below(8), random.below(4), random.below(48), random.below(4096));
    case 3:
      return fmt::format("TenGigE0/{}/0/{}.{}", random.below(16), random.below(36), random.below(4096));
    case 4:
      return std::string(random.one(words));
    case 5:
      return fmt::format("{}-{}", random.one(words), random.one(words));
    case 6:
      return fmt::format("vpn-{}-{:04}", random.one(words), random.below(10000));
    default:
      return fmt::format("{}:{}", 64512 + random.below(1000), random.below(100000));
  }
}

std::string variedPrefix(Random& random) {
  // As routing tables have them: more than half of IPv4 is /24, nearly half of IPv6 is /48.
  static constexpr std::array<unsigned, 16> lengths4 = {24, 24, 24, 24, 24, 24, 24, 24, 24, 23, 22, 22, 21, 20, 19, 16};
  static constexpr std::array<unsigned, 8> lengths6 = {48, 48, 48, 32, 44, 40, 36, 29};
  if (random.below(5) != 0) {
    unsigned const length = random.one(lengths4);
    std::uint64_t const address = (random.below(0xDF000000) + 0x01000000) >> (32 - length) << (32 - length);
    return fmt::format("{}.{}.{}.{}/{}", address >> 24U, address >> 16U & 0xFFU, address >> 8U & 0xFFU, address & 0xFFU,
                       length);
  }
  unsigned const length = random.one(lengths6);
  std::uint64_t const address = (0x2000'0000'0000U + random.below(0x1000'0000'0000U)) >> (48 - length) << (48 - length);
  return fmt::format("{:x}:{:x}:{:x}::/{}", address >> 32U, address >> 16U & 0xFFFFU, address & 0xFFFFU, length);
}

}  // namespace

KeyTexts numberedKey(std::size_t number) {
  return {vrfText, std::to_string(number), fmt::format("10.{}.{}.0/24", number >> 8U & 0xFFU, number & 0xFFU)};
}

std::vector<KeyTexts> const& variedKeys() {
  static std::vector<KeyTexts> const keys = [] {
    constexpr std::size_t count = 100'000;
    Random random;
    std::vector<KeyTexts> made;
    made.reserve(count);
    while (made.size() != count) {
      made.push_back({variedName(random), std::to_string(random.below(std::uint64_t{1} << random.below(33))),
                      variedPrefix(random)});
    }
    return made;
  }();
  return keys;
}

std::vector<Fields> variedFields() {
  std::vector<Fields> fields;
  std::ranges::transform(variedKeys(), std::back_inserter(fields), fieldsOf);
  return fields;
}

Fields fieldsOf(KeyTexts const& texts) {
  return {{"key__vrf", texts.vrf}, {"key__tag", texts.tag}, {"key__prefix", texts.prefix}};
}

std::string pathOf(KeyTexts const& texts) {
  return fmt::format("/{}[vrf={}][tag={}][prefix={}]", listOf3().name(), texts.vrf, texts.tag, texts.prefix);
}

Fields numberFields(std::size_t count) {
  Fields fields;
  for (std::size_t i = 0; i < count; ++i) {
    fields.emplace_back(fmt::format("key__f{}", i), fmt::format("{}", 1000 + i));
  }
  return fields;
}

}  // namespace Bench
