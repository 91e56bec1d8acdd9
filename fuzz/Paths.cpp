// Whole keys of types that the input makes up: a schema, then lines `path=value`.
//
// The schema is bytes, read by `Input::choice`: two flags and the number of types, then for each type its kind, its
// attributes (a name and a type each) and what is said of them. A type is made of core types and of those before it.
#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "Fuzz.h"
#include "Types.h"

namespace {

using Drovan::ZynKeyDecoder;
using Model::Kind;
using Model::Mark;

// Few names, so that a type and those inside it share them.
constexpr std::array<std::string_view, 6> names = {"a", "b", "c", "key", "_", "a_b"};

/** Marks are set and cleared at will, but a union keeps its default value: the decoder relies on it. */
void addMarks(Fuzz::Input& input, Model::TypeBuilder& type) {
  for (std::size_t left = input.choice(3); left != 0; --left) {
    auto const mark = static_cast<Mark>(input.choice(6));
    type.mark(mark, input.choice(2) == 0);
  }
  if (Model::hasMark(type, Mark::Union)) {
    type.mark(Mark::Value);
  }
}

Zyn::ZynType addType(Fuzz::Input& input, Model::Module& module, std::string const& name,
                     std::vector<Zyn::ZynType> const& parts) {
  auto const part = [&] { return parts[input.choice(parts.size())]; };
  std::size_t const kind = input.choice(6);
  if (kind == 1) {
    auto type = module.enumeration(name, {{"a", 0}, {"*", 1}, {"it's", -1}});
    addMarks(input, type);
    return type;
  }
  if (kind == 2) {
    auto type = module.wrapper(name, part());
    addMarks(input, type);
    return type;
  }
  auto type = kind == 3 ? module.unionOf(name) : module.value(name);
  std::vector<std::string_view> attributes;
  for (std::size_t left = input.choice(names.size() + 1); left != 0; --left) {
    std::string_view const attribute = names[input.choice(names.size())];
    if (Zyn::ZynType(type).attr(attribute).empty()) {
      type.attr(attribute, part());
      attributes.push_back(attribute);
    }
  }
  if (kind == 3) {
    addMarks(input, type);
    return type;
  }
  std::vector<std::string_view> args;
  std::vector<std::pair<std::string_view, std::uint32_t>> numbers;
  std::string pattern;
  for (std::string_view const attribute : attributes) {
    std::size_t const choice = input.choice(3);
    if (choice == 0) {
      args.push_back(attribute);
    }
    // Backwards, since the order of numbers need not be that of arguments.
    numbers.insert(numbers.begin(), {attribute, static_cast<std::uint32_t>(numbers.size() + 1)});
    pattern += (pattern.empty() ? "{" : "-{") + std::string(attribute) + "}";
  }
  type.args(args);
  if (kind == 4 && !attributes.empty()) {
    type.gnmi(pattern);
  }
  if (kind == 5) {
    type.s4(numbers);
  }
  addMarks(input, type);
  return type;
}

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
  std::vector<Zyn::ZynType> parts;
  for (Kind kind = Kind::Bool; kind <= Kind::MacAddress; kind = static_cast<Kind>(static_cast<int>(kind) + 1)) {
    parts.push_back(Model::core(kind));
  }
  for (std::size_t left = 1 + input.choice(8); left != 0; --left) {
    parts.push_back(addType(input, module, "T" + std::to_string(left), parts));
  }
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
