#include "bench/Gnmi.h"

#include <expected>
#include <utility>

#include "gnmi/Message.h"
#include "gnmi/Path.h"
#include "examples/target/gnmi.pb.h"

namespace Bench {
namespace {

using Done = std::expected<void, Gnmi::Error>;

/** What is used again for every path. */
struct State {
  SharedResolver resolver;
  std::string text = {};
  gnmi::Path message = {};
  Gnmi::Path path = {};
  Gnmi::Resolved found = {};

  Done resolveText() {
    Done read = Gnmi::parsePath(text, path);
    return read ? resolver->resolve(path, found) : read;
  }
  Done resolveMessage() {
    Done read = Gnmi::readPath(message, path);
    return read ? resolver->resolve(path, found) : read;
  }
};

Work tried(std::string name, std::function<Done()> const& once) {
  if (auto const done = once(); !done) {
    fail(name, done.error().text);
  }
  return {std::move(name), [once] { keep(once()); }};
}

}  // namespace

Work textPath(std::string name, SharedResolver resolver, std::string text) {
  auto const state = std::make_shared<State>(std::move(resolver), std::move(text));
  return tried(std::move(name), [state] { return state->resolveText(); });
}

Work messagePath(std::string name, SharedResolver resolver, std::string const& text) {
  auto const state = std::make_shared<State>(std::move(resolver));
  auto const path = Gnmi::parsePath(text);
  if (!path) {
    fail(name, path.error().text);
  }
  Gnmi::writePath(*path, state->message);
  return tried(std::move(name), [state] { return state->resolveMessage(); });
}

}  // namespace Bench
