// Whole keys of types that the input makes up: a schema, then lines `path=value`.
//
// The schema is bytes, read by `Input::choice`: two flags and the types.
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"

namespace {

using Drovan::ZynKeyDecoder;

struct Outcome {
  std::vector<std::string> errors;
  Model::ValuePtr key;
};

using Lines = std::vector<std::pair<Fuzz::Exact, Fuzz::Exact>>;

Outcome outcomeOf(ZynKeyDecoder const& decoder, Lines const& lines) {
  Outcome outcome;
  ZynKeyDecoder::KeyElemNode root(decoder.collectionAttr.keyType(), decoder.useS4Encoding);
  for (auto const& [path, value] : lines) {
    auto const done = decoder.processKeyPath(root, path.view(), value.view());
    Fuzz::require(done || !done.error().empty(), "a field or an error text");
    outcome.errors.emplace_back(done ? std::string_view() : done.error().view());
  }
  auto const done = root.instantiate();
  Fuzz::require(done || !done.error().empty(), "a key or an error text");
  if (done) {
    Fuzz::require(root.value != nullptr, "an instantiated root has a value");
    outcome.key = root.value;
    Fuzz::check(*outcome.key);
    Fuzz::require(bool(root.instantiate()) && root.value.get() == outcome.key.get(), "instantiating again is nothing");
  } else {
    // It may succeed now, or fail in another way: it ends, and an error has a text.
    auto const again = root.instantiate();
    Fuzz::require(again || !again.error().empty(), "a key or an error text");
  }
  return outcome;
}

}  // namespace

void Fuzz::run(std::string_view bytes) {
  Input input(bytes);
  bool const s4 = input.choice(2) == 1;
  std::size_t const keyName = input.choice(4);
  Model::Schema schema;
  Model::Module& module = schema.module("Fuzz");
  std::vector<Zyn::ZynType> const parts = madeUp(input, module);
  Zyn::ZynType const keyType = parts.back();
  Zyn::ZynType const entry =
      module.entity("Entry").attr("key", keyType).attr("a", parts[input.choice(parts.size())]).attr("b", parts[0]);
  auto table = module.entity("Table");
  table.keyed("entry", entry,
              keyName == 0   ? std::optional<std::string_view>("key")
              : keyName == 1 ? std::nullopt
              : keyName == 2 ? std::optional<std::string_view>("none")
                             : std::optional<std::string_view>("a"),
              keyType);
  input.upTo('\n');
  Lines lines;
  while (!input.empty()) {
    Input line(input.upTo('\n'));
    std::string_view const path = line.upTo('=');
    lines.emplace_back(path, line.rest());
  }
  ZynKeyDecoder const decoder(Zyn::ZynType(table).attr("entry"), s4);
  Outcome const quiet = outcomeOf(decoder, lines);
  Traced const traced;
  Outcome const loud = outcomeOf(decoder, lines);
  require(quiet.errors == loud.errors, "traces change no error");
  require(bool(quiet.key) == bool(loud.key) && (!quiet.key || Model::equal(*quiet.key, *loud.key)),
          "traces change no key");
}
