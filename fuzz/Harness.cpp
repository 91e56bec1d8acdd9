#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include "fuzz/Fuzz.h"
#include "model/Runtime.h"

namespace Fuzz {
namespace {

/** What the containers of the decoder hold must have gone back, whatever the input was. */
void requireNoMemory() {
  for (Model::Memory const& tag : Model::memory()) {
    require(tag.elements == 0, tag.tag);
  }
}

}  // namespace

void require(bool holds, std::string_view what) {
  if (!holds) {
    std::fprintf(stderr, "does not hold: %.*s\n", static_cast<int>(what.size()), what.data());
    std::abort();
  }
}

Exact::Exact(std::string_view text) : bytes_(new char[text.size()]), size_(text.size()) {
  std::ranges::copy(text, bytes_.get());
}

std::size_t Input::choice(std::size_t count) {
  if (rest_.empty()) {
    return 0;
  }
  auto const byte = static_cast<unsigned char>(rest_.front() - '0');
  rest_.remove_prefix(1);
  return byte % count;
}

std::string_view Input::upTo(char end) {
  std::size_t const at = rest_.find(end);
  std::string_view const text = rest_.substr(0, at);
  rest_.remove_prefix(at == std::string_view::npos ? rest_.size() : at + 1);
  return text;
}

std::string_view Input::rest() { return std::exchange(rest_, {}); }

Traced::Traced() {
  Model::setTraceSink([](Model::Trace const&) {});
  Model::enableTraces("ZynKeyDecoder", true);
}

Traced::~Traced() {
  Model::enableTraces("ZynKeyDecoder", false);
  Model::setTraceSink({});
}

}  // namespace Fuzz

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  {
    Fuzz::Exact const input(std::string_view(reinterpret_cast<char const*>(data), size));
    Fuzz::run(input.view());
  }
  Fuzz::requireNoMemory();
  return 0;
}
