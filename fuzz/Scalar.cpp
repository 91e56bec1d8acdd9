// Scalar keys of every kind of type: a byte for the type, one for encoding and traces, the text.
#include "Drovan/ZynKeyDecoder.h"
#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"

void Fuzz::run(std::string_view bytes) {
  Input input(bytes);
  std::size_t const choice = input.choice(types().values.size() + 1);
  Zyn::ZynType const type = choice < types().values.size() ? types().values[choice] : types().entity;
  std::size_t const flags = input.choice(4);
  bool const s4 = flags % 2 == 1;
  Exact const text(input.rest());
  if (text.view() == "*") {
    auto const key = Drovan::ZynKeyDecoder(Zyn::ZynAttr(), s4).decodeScalarKey(type, "", text.view());
    require(key && std::get<Drovan::ZynKeyDecoder::Multiple>(*key).values.empty(), "a wildcard is every key");
    return;
  }
  Made const made = decoded(type, text.view(), s4);
  require(bool(made.value) != !made.error.empty(), "a value or an error text");
  if (flags > 1) {
    Traced const traced;
    require(decoded(type, text.view(), s4) == made, "traces change nothing");
  }
  if (made.value) {
    require(Model::typeOf(*made.value) == type, "a value is of its type");
    check(*made.value);
  }
}
