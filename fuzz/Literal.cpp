// The type system's own readers of text: a byte for the type, one for the form, the text.
#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"

void Fuzz::run(std::string_view bytes) {
  Input input(bytes);
  std::size_t const choice = input.choice(types().values.size() + 1);
  Zyn::ZynType const type = choice < types().values.size() ? types().values[choice] : types().entity;
  bool const gnmi = input.choice(2) == 1;
  Exact const text(input.rest());
  Made const made = gnmi ? fromGnmi(type, text.view()) : fromLiteral(type, text.view());
  require(bool(made.value) != !made.error.empty(), "a value or an error text");
  if (made.value) {
    require(Model::typeOf(*made.value) == type, "a value is of its type");
    check(*made.value);
  } else {
    require(made.error.size() < 4096, "an error text is short, whatever the text was");
  }
}
