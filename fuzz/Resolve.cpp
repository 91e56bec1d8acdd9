// Paths through entities that the input makes up: types, collections keyed by them, then the text of a path.
//
// After a flag and the types (`madeUp`) come one to four collections, a key type and a kind of key name each. All are
// called by one letter, and hold the same entity as the root, so that a path may go on for ever.
#include "gnmi/Resolve.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string>

#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"

namespace {

using Drovan::ZynKeyDecoder;

constexpr std::array<std::string_view, 4> collections = {"p", "q", "r", "m:s"};

std::optional<std::string_view> keyName(std::size_t choice) {
  constexpr std::array<std::string_view, 3> names = {"key", "none", "a"};
  return choice == names.size() ? std::nullopt : std::optional(names[choice]);
}

/** The decoder's error for a part that is not given. */
bool isMissing(std::string_view error) { return error.starts_with("Missing attribute"); }

bool same(Gnmi::Selection const& a, Gnmi::Selection const& b) {
  if (a.index() != b.index()) {
    return false;
  }
  if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(&a)) {
    return Model::equal(*single->value, *std::get<ZynKeyDecoder::Single>(b).value);
  }
  auto const& values = std::get<ZynKeyDecoder::Multiple>(a).values;
  auto const& others = std::get<ZynKeyDecoder::Multiple>(b).values;
  return values.size() == others.size() && std::ranges::all_of(values, [&](auto const& one) {
           auto const other = others.find(one.first);
           return other != others.end() && Model::equal(*one.second, *other->second);
         });
}

void check(Gnmi::Selection const& selection) {
  if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(&selection)) {
    Fuzz::require(single->value != nullptr, "an exact key has a value");
    Fuzz::check(*single->value);
    return;
  }
  for (auto const& [attr, value] : std::get<ZynKeyDecoder::Multiple>(selection).values) {
    Fuzz::require(value != nullptr, "a filter has values");
    Fuzz::check(*value);
  }
}

/** What is no exact key, though no part is open, is so for want of a part: the decoder cannot build it. */
void checkMissing(Gnmi::Resolved const& filter, Gnmi::Element const& element, Gnmi::Options const& options) {
  if (std::holds_alternative<ZynKeyDecoder::Single>(filter.selection) || element.keys.empty() ||
      std::ranges::find(element.keys, "*", &Gnmi::Key::value) != element.keys.end()) {
    return;
  }
  ZynKeyDecoder::KeyElemNode root(filter.collection.keyType(), options.useS4Encoding);
  for (Gnmi::Key const& key : element.keys) {
    auto const elements = ZynKeyDecoder::splitPath(key.name);
    if (!root.insertPathSuffix(elements.end() - 1, elements.end(), Velko::String(key.value))) {
      return;  // A filter may have a value of a type whose marks say that it is built from parts.
    }
  }
  auto const built = root.instantiate();
  Fuzz::require(!built && isMissing(built.error().view()), "a filter is no whole key");
}

/**
 * With one part of an exact key left open, the filter has the values that the key has. The key may lack some: they went
 * into a part that they stand beside.
 */
void checkOpened(Gnmi::Resolved const& exact, Gnmi::Element element, Gnmi::Options const& options) {
  auto const* const single = std::get_if<ZynKeyDecoder::Single>(&exact.selection);
  if (single == nullptr) {
    return;
  }
  for (Gnmi::Key& key : element.keys) {
    std::string const value = std::exchange(key.value, "*");
    auto const some = Gnmi::select(exact.collection, element.keys, options);
    key.value = value;
    if (!some) {
      continue;
    }
    auto const* const filter = std::get_if<ZynKeyDecoder::Multiple>(&*some);
    Fuzz::require(filter != nullptr, "an open key is no exact one");
    for (auto const& [attr, wanted] : filter->values) {
      Model::ValuePtr const held = Model::attribute(*single->value, attr);
      Fuzz::require(held == nullptr || Model::equal(*held, *wanted), "a filter holds the key that it was opened from");
    }
  }
}

}  // namespace

void Fuzz::run(std::string_view bytes) {
  Input input(bytes);
  Gnmi::Options const options = {.useS4Encoding = input.choice(2) == 1};
  Model::Schema schema;
  Model::Module& module = schema.module("Fuzz");
  std::vector<Zyn::ZynType> const parts = madeUp(input, module);
  auto root = module.entity("Root");
  std::size_t left = 1 + input.choice(collections.size());
  root.attr("key", parts.back()).attr("a", parts[input.choice(parts.size())]).attr("child", root);
  while (left-- != 0) {
    Zyn::ZynType const key = parts[parts.size() - 1 - input.choice(parts.size())];
    root.keyed(collections[left], root, keyName(input.choice(4)), key);
  }
  input.upTo('\n');
  Exact const text(input.rest());
  auto const found = Gnmi::resolve(root, text.view(), options);
  {
    Traced const traced;
    auto const again = Gnmi::resolve(root, text.view(), options);
    require(found.has_value() == again.has_value(), "traces change nothing");
    require(found || (found.error().offset == again.error().offset && found.error().text == again.error().text),
            "traces change no error");
    require(!found || std::ranges::equal(*found, *again, same, &Gnmi::Resolved::selection, &Gnmi::Resolved::selection),
            "traces change no selection");
  }
  if (!found) {
    require(found.error().offset <= text.view().size() && !found.error().text.empty(),
            "an error has a place and a text");
    require(!isMissing(found.error().text), "no part is missing of what is called an exact key");
    return;
  }
  Gnmi::Path const path = *Gnmi::parsePath(text.view());
  for (Gnmi::Resolved const& one : *found) {
    require(one.collection.isKeyed(), "a collection is keyed");
    ::check(one.selection);
    checkMissing(one, path.elements[one.element], options);
    checkOpened(one, path.elements[one.element], options);
  }
}
