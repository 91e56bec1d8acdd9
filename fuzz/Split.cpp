// Key paths: any bytes, against the plainest splitter there is.
#include "Drovan/ZynKeyDecoder.h"
#include "fuzz/Fuzz.h"
#include "tests/support/Plain.h"

void Fuzz::run(std::string_view bytes) {
  auto const elements = Drovan::ZynKeyDecoder::splitPath(bytes);
  auto const expected = Plain::splitPath(bytes);
  require(elements.size() == expected.size(), "as many elements as the plain splitter finds");
  std::string joined;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    require(elements[i] == expected[i], "the plain splitter's elements");
    require(
        elements[i].data() >= bytes.data() && elements[i].data() + elements[i].size() <= bytes.data() + bytes.size(),
        "elements are views into the path");
    joined += i == 0 ? "" : "__";
    joined += elements[i];
  }
  require(joined == bytes, "elements joined give the path");
}
