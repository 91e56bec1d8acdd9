// Key paths: any bytes, against the plainest splitter there is.
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "fuzz/Fuzz.h"

namespace {

std::vector<std::string> naive(std::string_view path) {
  std::vector<std::string> elements(1);
  for (std::size_t i = 0; i < path.size(); ++i) {
    if (path[i] == '_' && i + 1 < path.size() && path[i + 1] == '_') {
      elements.emplace_back();
      ++i;
    } else {
      elements.back() += path[i];
    }
  }
  return elements;
}

}  // namespace

void Fuzz::run(std::string_view bytes) {
  auto const elements = Drovan::ZynKeyDecoder::splitPath(bytes);
  auto const expected = naive(bytes);
  require(elements.size() == expected.size(), "as many elements as the naive splitter finds");
  std::string joined;
  for (std::size_t i = 0; i < elements.size(); ++i) {
    require(elements[i] == expected[i], "the naive splitter's elements");
    require(
        elements[i].data() >= bytes.data() && elements[i].data() + elements[i].size() <= bytes.data() + bytes.size(),
        "elements are views into the path");
    joined += i == 0 ? "" : "__";
    joined += elements[i];
  }
  require(joined == bytes, "elements joined give the path");
}
