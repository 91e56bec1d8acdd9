// The resolver beside the oracle: each byte is a decision on the schema, the path, its prefix and its form.
#include "fuzz/Fuzz.h"
#include "tests/naive-gnmi/Compare.h"

void Fuzz::run(std::string_view bytes) {
  NaiveGnmi::Choices choices(bytes);
  NaiveGnmi::Tally tally;
  std::string const difference = NaiveGnmi::difference(choices, tally);
  require(difference.empty(), difference);
}
