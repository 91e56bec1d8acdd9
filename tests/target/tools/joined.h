// For the peer that `load` measures beside the target: the same server, built from the same sources, but one that knows
// nothing of typed keys. It takes the key of a list that has several as one text, "prefix=10.0.0.0/8 protocol=bgp
// tag=7", as it stands in the message, and its module has one string as the key of that list. So both get the same
// messages.
//
// Included before Requests.cpp, whose calls of `readPath` mean `readJoined` then. A path is valid until the thread that
// read it has read seven others.
#pragma once

#include <gnmi/Message.h>

#include <array>
#include <cstddef>
#include <expected>
#include <string>

namespace Gnmi {

template <typename Message>
std::expected<Path, Error> readJoined(Message const& message) {
  thread_local std::array<std::string, 8> texts;
  thread_local std::size_t next = 0;
  Path sorted;
  Path path;
  path.origin = message.origin();
  path.target = message.target();
  for (auto const& elem : message.elem()) {
    path.add(elem.name());
    if (elem.key().size() < 2) {
      for (auto const& [name, value] : elem.key()) {
        path.addKey(name, value);
      }
      continue;
    }
    sorted.clear();
    sorted.add(elem.name());
    for (auto const& [name, value] : elem.key()) {
      sorted.addKey(name, value);
    }
    sorted.sortKeys();
    std::string& text = texts[next++ % texts.size()];
    text.clear();
    for (Key const& key : sorted.keys(sorted.elements().front())) {
      ((text += key.name) += '=') += key.value;
      text += ' ';
    }
    path.addKey("raw", text);
  }
  return path;
}

}  // namespace Gnmi

#define readPath readJoined
