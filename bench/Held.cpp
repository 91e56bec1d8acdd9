// bench_held WHAT COUNT: what so many keys cost that are held, in memory; one JSON object. In a process of its own, as
// what one measurement leaves behind would be there for the next.
#include "bench/Held.h"

#include <cstdlib>
#include <string_view>
#include <utility>

int main(int argc, char** argv) {
  constexpr std::pair<std::string_view, Bench::Held (*)(std::size_t)> kinds[] = {
      {"key", Bench::holdKeys},
      {"protobuf", Bench::holdMessages},
      {"protobuf, flat", Bench::holdFlatMessages},
      {"libyang", Bench::holdNodes},
  };
  std::string_view const what = argc == 3 ? argv[1] : "";
  std::size_t const count = argc == 3 ? std::strtoull(argv[2], nullptr, 10) : 0;
  for (auto const& [name, measure] : kinds) {
    if (name == what && count != 0) {
      auto const [all, tenth, none] = measure(count);
      std::printf("{\"all\": %.0f, \"tenth\": %.0f, \"none\": %.0f}\n", all, tenth, none);
      return 0;
    }
  }
  if (what == "table" && count != 0) {
    auto const [ns, bytes] = Bench::growTable(count);
    std::printf("{\"ns\": %.1f, \"bytes\": %.1f}\n", ns, bytes);
    return 0;
  }
  std::fprintf(stderr, "usage: bench_held key|protobuf|'protobuf, flat'|libyang|table COUNT\n");
  return 2;
}
