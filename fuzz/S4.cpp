// Protobuf messages of every type that has an encoding: a byte for the type, one for the form, then the message, raw or
// in base64.
#include <absl/strings/escaping.h>

#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"

void Fuzz::run(std::string_view bytes) {
  Input input(bytes);
  Zyn::ZynType const type = types().s4[input.choice(types().s4.size())];
  bool const raw = input.choice(2) == 0;
  Exact const text(input.rest());
  if (!raw) {
    if (text.view() != "*") {
      if (Made const made = decoded(type, text.view(), true); made.value) {
        check(*made.value);
      }
    }
    return;
  }
  Made const made = fromMessage(type, text.view());
  require(bool(made.value) != !made.error.empty(), "a value or an error text");
  require(made.error.size() < 4096, "an error text is short, whatever the message was");
  if (type.valAttr().empty()) {
    require(decoded(type, absl::Base64Escape({text.view().data(), text.view().size()}), true) == made,
            "the decoder reads the same message");
  }
  if (!made.value) {
    return;
  }
  check(*made.value);
  std::string message;
  require(absl::Base64Unescape(Model::s4Text(*made.value), &message), "a value read from a message has an s4 text");
  require(fromMessage(type, message) == made, "a message written reads back equal");
}
