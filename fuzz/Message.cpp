// Paths as messages: a prefix and a path, joined, and resolved in a schema with a list for each type there is.
//
// A line of the input begins with a letter: an [o]rigin, a [t]arget, an [e]lement, a [k]ey of it (name=value), a
// [s]tring of the field that old senders fill, [p] for the end of the prefix. What no line begins with makes an
// element.
#include "gnmi/Message.h"

#include <algorithm>
#include <optional>
#include <string>

#include "fuzz/Fuzz.h"
#include "fuzz/Types.h"
#include "gnmi/ModelValues.h"
#include "tests/support/PathMessage.h"

namespace {

using Message = Test::PathMessage;

struct Device {
  Device() {
    Model::Module& module = schema.module("Device");
    auto entry = module.entity("Entry");
    auto builder = module.entity("Root");
    for (Zyn::ZynType const type : Fuzz::types().values) {
      builder.keyed(Model::shortName(type), entry, std::nullopt, type);
    }
    builder.keyed("key", entry, std::nullopt, Fuzz::types().key).attr("box", builder);
    entry.attr("leaf", Model::core(Model::Kind::String)).attr("root", builder);
    root = builder;
  }

  Model::Schema schema;
  Zyn::ZynType root;
};

Message read(Fuzz::Input& input) {
  Message message;
  Message::Elem* elem = nullptr;
  while (!input.empty()) {
    std::string_view line = input.upTo('\n');
    char const kind = line.empty() ? 'e' : line.front();
    line = line.substr(line.empty() ? 0 : 1);
    if (kind == 'p') {
      break;
    }
    if (kind == 'o') {
      message.set_origin(std::string(line));
    } else if (kind == 't') {
      message.set_target(std::string(line));
    } else if (kind == 's') {
      message.add_element(std::string(line));
    } else if (kind == 'k' && elem != nullptr) {
      std::size_t const equals = line.find('=');
      (*elem->mutable_key())[std::string(line.substr(0, equals))] =
          equals == std::string_view::npos ? "" : std::string(line.substr(equals + 1));
    } else {
      elem = message.add_elem();
      elem->set_name(std::string(line));
    }
  }
  return message;
}

/** The path, where the message is one: it views the message, and comes back from a message and from its text. */
std::optional<Gnmi::Path> checked(Message const& message) {
  using Fuzz::require;
  bool const isNamed = std::ranges::all_of(
      message.elem(), [](auto const& elem) { return !elem.name().empty() && !elem.key().contains(""); });
  auto path = Gnmi::readPath(message);
  if (!path) {
    require(!path.error().text.empty() && !path.error().offset && !path.error().inPrefix, "an error has no byte");
    require(!isNamed || message.elem().empty(), "messages without empty names are paths");
    return std::nullopt;
  }
  require(isNamed, "names are not empty");
  for (std::size_t i = 0; i != message.elem().size(); ++i) {
    Gnmi::Element const& element = path->elements()[i];
    auto const keys = path->keys(element);
    require(element.name.data() == message.elem()[i].name().data(), "names are the message's own");
    require(keys.size() == message.elem()[i].key().size() &&
                std::ranges::adjacent_find(keys, std::ranges::greater_equal(), &Gnmi::Key::name) == keys.end(),
            "keys are in the order of their names");
  }
  Message again;
  Gnmi::writePath(*path, again);
  require(*Gnmi::readPath(again) == *path, "a path comes back from its message");
  Gnmi::Path untargeted = *path;
  untargeted.target = {};
  std::string const text = Gnmi::formatPath(untargeted);
  auto const reread = Gnmi::parsePath(text);
  // No text is written for an origin that the grammar does not have.
  bool const isOrigin = path->origin.find_first_of("/[]=\\") == std::string_view::npos;
  require(!isOrigin || (reread && *reread == untargeted), "a path comes back from its text");
  return *std::move(path);
}

void checkPlace(Gnmi::Error const& error, Gnmi::Path const& prefix, Gnmi::Path const& path) {
  auto const elements = error.inPrefix ? prefix.elements() : path.elements();
  Fuzz::require(!error.text.empty() && !error.offset && error.element <= elements.size(), "an error has a place");
  if (!error.key.empty()) {
    Gnmi::Path const& holder = error.inPrefix ? prefix : path;
    Fuzz::require(error.element < elements.size(), "a key is an element's");
    auto const keys = holder.keys(elements[error.element]);
    Fuzz::require(std::ranges::find(keys, error.key, &Gnmi::Key::name) != keys.end(), "and the path has it");
  }
}

}  // namespace

void Fuzz::run(std::string_view bytes) {
  static Device const device;
  Input input(bytes);
  Message const prefixMessage = read(input);
  Message const message = read(input);
  auto const prefix = checked(prefixMessage);
  auto const path = checked(message);
  if (!prefix || !path) {
    return;
  }
  auto const joined = Gnmi::join(*prefix, *path);
  bool const isConflict =
      !path->target.empty() || (!path->origin.empty() && (!prefix->origin.empty() || !prefix->elements().empty()));
  require(joined.has_value() != isConflict, "prefix and path fit, or contradict each other");
  if (!joined) {
    require(joined.error().kind == Gnmi::ErrorClass::Conflict, "a contradiction is a Conflict");
    return;
  }
  // For each input: what a resolver holds would count as memory that is not given back.
  Gnmi::Resolver const resolver(device.root, {.facts = Gnmi::modelFacts()});
  require(joined->elements().size() == prefix->elements().size() + path->elements().size(), "all elements are there");
  for (Gnmi::Mode const mode : {Gnmi::Mode::Read, Gnmi::Mode::Write, Gnmi::Mode::Delete, Gnmi::Mode::Notify}) {
    Gnmi::Resolved found;
    if (auto const done = resolver.resolve(*joined, found, mode); !done) {
      checkPlace(done.error(), *prefix, *path);
    } else {
      require(found.nodes.size() == joined->elements().size(), "an element is a node");
    }
    std::size_t nodes = 0;
    auto const expanded = resolver.expand(*joined, [&](Gnmi::Resolved const&) { return ++nodes != 0; }, mode,
                                          {.expansions = 100, .visited = 20'000});
    require(nodes <= 100 && (expanded ? nodes != 0 : true), "a path means some nodes");
    if (!expanded) {
      checkPlace(expanded.error(), *prefix, *path);
    }
  }
}
