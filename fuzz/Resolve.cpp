// Paths through entities that the input makes up: types, collections keyed by them, then the text of a path.
//
// After a flag and the types (`madeUp`) come one to four collections, a key type and a kind of key name each. All are
// called by one letter, and hold the same entity as the root, so that a path may go on for ever.
#include "gnmi/Resolver.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string>

#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"
#include "gnmi/ModelValues.h"

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
void checkMissing(Gnmi::Selected const& filter, std::span<Gnmi::Key const> keys, bool useS4Encoding) {
  if (std::holds_alternative<ZynKeyDecoder::Single>(filter.selection) || keys.empty() ||
      std::ranges::find(keys, "*", &Gnmi::Key::value) != keys.end()) {
    return;
  }
  ZynKeyDecoder::KeyElemNode root(filter.collection.keyType(), useS4Encoding);
  for (Gnmi::Key const& key : keys) {
    auto const elements = ZynKeyDecoder::splitPath(key.name);
    if (!root.insertPathSuffix(elements.end() - 1, elements.end(), Velko::String(key.value))) {
      return;  // A filter may have a value of a type whose marks say that it is built from parts.
    }
  }
  // Mostly for that reason; but a part that went into another may be refused there before it is missed.
  Fuzz::require(!root.instantiate(), "a filter is no whole key");
}

/** The path up to an element, with one of its keys left open. */
Gnmi::Path opened(Gnmi::Path const& path, std::size_t last, Gnmi::Key const& open) {
  Gnmi::Path some;
  for (Gnmi::Element const& element : path.elements().first(last + 1)) {
    some.add(element.name);
    for (Gnmi::Key const& key : path.keys(element)) {
      some.addKey(key.name, &key == &open ? "*" : key.value);
    }
  }
  return some;
}

/**
 * With one part of an exact key left open, the filter has the values that the key has. The key may lack some: they went
 * into a part that they stand beside.
 */
void checkOpened(Gnmi::Resolver const& resolver, Gnmi::Path const& path, Gnmi::Selected const& exact) {
  auto const* const single = std::get_if<ZynKeyDecoder::Single>(&exact.selection);
  if (single == nullptr) {
    return;
  }
  for (Gnmi::Key const& key : path.keys(path.elements()[exact.node])) {
    Gnmi::Resolved found;
    if (!resolver.resolve(opened(path, exact.node, key), found)) {
      continue;
    }
    auto const* const filter = std::get_if<ZynKeyDecoder::Multiple>(&found.selections.back().selection);
    Fuzz::require(filter != nullptr, "an open key is no exact one");
    for (auto const& [attr, wanted] : filter->values) {
      Model::ValuePtr const held = Model::attribute(*single->value, attr);
      Fuzz::require(held == nullptr || Model::equal(*held, *wanted), "a filter holds the key that it was opened from");
    }
  }
}

bool sameNodes(Gnmi::Resolved const& a, Gnmi::Resolved const& b) {
  return a.nodes == b.nodes &&
         std::ranges::equal(a.selections, b.selections, same, &Gnmi::Selected::selection, &Gnmi::Selected::selection);
}

/** The canonical path means the same again, unless an error says that there is none. */
void checkWritten(Gnmi::Resolver const& resolver, Gnmi::Resolved const& found) {
  auto const path = resolver.canonical(found, Gnmi::ModelValues());
  if (!path) {
    Fuzz::require(path.error().kind == Gnmi::ErrorClass::ValueRefused, "a node has a path, but for its keys");
    return;
  }
  std::string const text = Gnmi::formatPath(*path);
  auto const read = Gnmi::parsePath(text);
  Fuzz::require(read && *read == *path, "a canonical path comes back from its text");
  Gnmi::Resolved again;
  Fuzz::require(resolver.resolve(*read, again) && sameNodes(again, found), "and means the same");
}

/** Of a path that was read from text, alone. */
void checkPlace(Gnmi::Error const& error, Gnmi::Path const& path, std::size_t size) {
  Fuzz::require(!error.text.empty() && !error.inPrefix && error.element <= path.elements().size(),
                "an error has a text and a place");
  Fuzz::require(error.element == path.elements().size() || (error.offset && *error.offset <= size),
                "and where it belongs to an element, its byte");
}

}  // namespace

void Fuzz::run(std::string_view bytes) {
  Input input(bytes);
  bool const useS4Encoding = input.choice(2) == 1;
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
  auto const path = Gnmi::parsePath(text.view());
  if (!path) {
    require(path.error().offset <= text.view().size() && !path.error().text.empty(), "an error has a place and a text");
    return;
  }
  Gnmi::Resolver const resolver(root, {.useS4Encoding = useS4Encoding, .facts = Gnmi::modelFacts()});
  Gnmi::Resolved found;
  auto const done = resolver.resolve(*path, found);
  {
    Traced const traced;
    Gnmi::Resolved again;
    auto const doneAgain = resolver.resolve(*path, again);
    require(done.has_value() == doneAgain.has_value(), "traces change nothing");
    require(done ? sameNodes(found, again)
                 : done.error().offset == doneAgain.error().offset && done.error().text == doneAgain.error().text,
            "traces change neither selections nor errors");
  }
  auto const expanded = resolver.expand(*path,
                                        [&](Gnmi::Resolved const& one) {
                                          checkWritten(resolver, one);
                                          return true;
                                        },
                                        Gnmi::Mode::Read, {.expansions = 200, .visited = 20'000});
  require(!done || expanded, "what is one node is meant");
  if (!expanded) {
    checkPlace(expanded.error(), *path, text.view().size());
  }
  if (!done) {
    checkPlace(done.error(), *path, text.view().size());
    require(!isMissing(done.error().text), "no part is missing of what is called an exact key");
    return;
  }
  for (Gnmi::Selected const& one : found.selections) {
    require(one.collection.isKeyed() && found.nodes[one.node] == one.collection, "a collection is keyed");
    ::check(one.selection);
    checkMissing(one, path->keys(path->elements()[one.node]), useS4Encoding);
    checkOpened(resolver, *path, one);
  }
  Gnmi::Resolved written;
  if (resolver.resolve(*path, written, Gnmi::Mode::Write)) {
    require(sameNodes(written, found), "a mode changes no selection");
    for (Gnmi::Selected const& one : written.selections) {
      Gnmi::Element const& element = path->elements()[one.node];
      bool const isWholeList = one.node + 1 == written.nodes.size() && element.keyCount == 0;
      require(std::holds_alternative<ZynKeyDecoder::Single>(one.selection) != isWholeList ||
                  one.collection.keyType().empty(),
              "what can be written is one entry, or a list as a whole");
    }
  }
}
