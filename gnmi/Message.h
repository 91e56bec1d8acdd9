// Paths in messages: to and from every class that was generated from the public message `gnmi.Path`, without a library
// of protobuf behind this one.
//
//   gnmi::GetRequest request = ...;
//   Gnmi::Path prefix;
//   if (auto const read = Gnmi::readPath(request.prefix(), prefix); !read) { ... read.error().text ... }
//   for (auto const& message : request.path()) {
//     auto const path = Gnmi::readPath(message);             // an error, or a path
//     auto const whole = Gnmi::join(prefix, *path);          // for a resolver (gnmi/Resolver.h)
//   }
//
// `Message` is any class with the members that protoc generates for
//
//   message Path     { repeated string element = 1 [deprecated = true]; string origin = 2; repeated PathElem elem = 3;
//                      string target = 4; }
//   message PathElem { string name = 1; map<string, string> key = 2; }
//
// Read are `origin()`, `target()`, `elem()`, `name()`, `key()`, and `element()`, which old senders fill: each of its
// strings is one element in text form. Where `elem` is filled, `element` is ignored, as many senders fill both. Written
// are `set_origin`, `set_target`, `add_elem`, `set_name` and `mutable_key`.
//
//   accepted   elem { name: "vrf" key { key: "name" value: "red" } }
//   refused    elem { name: "" }                            the element has no name
//              element: "a/b"                               more than one element
//
// Ownership: a path that was read views the strings of the message, and is valid as long as they are there and
// unchanged. Keys come sorted by name, since a map of a message has no order. Threads and exceptions: as for the
// message's own members; `std::bad_alloc`.
#pragma once

#include <algorithm>
#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <expected>
#include <string>
#include <string_view>
#include <type_traits>
#include <utility>

#include "gnmi/Path.h"

namespace Gnmi {
namespace Detail {

/** Adds keys to the last element, sorted by name. */
template <typename Keys>
void addSorted(Keys const& keys, Path& into) {
  if constexpr (std::is_lvalue_reference_v<decltype(*keys.begin())>) {
    // Pointers are moved about in less time than keys, and the usual few are sorted as they come: 20 ns of 290 for
    // three.
    using Entry = decltype(&*keys.begin());
    constexpr auto isBefore = [](Entry a, Entry b) { return std::string_view(a->first) < std::string_view(b->first); };
    constexpr std::size_t few = 8;
    boost::container::small_vector<Entry, few> sorted;
    for (auto const& entry : keys) {
      sorted.push_back(&entry);
      for (std::size_t i = sorted.size() - 1; i != 0 && i < few && isBefore(sorted[i], sorted[i - 1]); --i) {
        std::swap(sorted[i], sorted[i - 1]);
      }
    }
    if (sorted.size() > few) {
      std::ranges::sort(sorted, isBefore);
    }
    for (Entry const entry : sorted) {
      into.addKey(entry->first, entry->second);
    }
  } else {
    for (auto const& [name, value] : keys) {
      into.addKey(name, value);
    }
    into.sortKeys();
  }
}

}  // namespace Detail

/** Reads `message` into a path that may be used again; after an error it holds some of the path. */
template <typename Message>
std::expected<void, Error> readPath(Message const& message, Path& into) {
  into.clear();
  into.origin = message.origin();
  into.target = message.target();
  for (auto const& elem : message.elem()) {
    if (elem.name().empty()) {
      return std::unexpected(
          Error{.kind = ErrorClass::Malformed, .text = "the element has no name", .element = into.elements().size()});
    }
    into.add(elem.name());
    if (elem.key().empty()) {
      continue;
    }
    Detail::addSorted(elem.key(), into);
    if (into.keys(into.elements().back()).front().name.empty()) {
      return std::unexpected(Error{.kind = ErrorClass::Malformed,
                                   .text = "a key of the element has no name",
                                   .element = into.elements().size() - 1});
    }
  }
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
  auto const& old = message.element();
#pragma GCC diagnostic pop
  if (message.elem().empty()) {
    for (auto const& text : old) {
      if (auto read = parseElement(text, into); !read) {
        return read;
      }
    }
  }
  return {};
}

template <typename Message>
std::expected<Path, Error> readPath(Message const& message) {
  Path path;
  if (auto read = readPath(message, path); !read) {
    return std::unexpected(std::move(read).error());
  }
  return path;
}

/** Fills an empty message with copies of the texts. */
template <typename Message>
void writePath(Path const& path, Message& message) {
  message.set_origin(std::string(path.origin));
  message.set_target(std::string(path.target));
  for (Element const& element : path.elements()) {
    auto& elem = *message.add_elem();
    elem.set_name(std::string(element.name));
    for (Key const& key : path.keys(element)) {
      (*elem.mutable_key())[std::string(key.name)] = std::string(key.value);
    }
  }
}

}  // namespace Gnmi
