// Paths as people type them: `/vrf[name=red]/route[vrf=red][prefix=10.0.0.0/8]`.
//
// The grammar is that of OpenConfig's "gNMI path strings" convention, made exact here:
//
//   path      [origin ":"] "/" [element ("/" element)*] ["/"], or the same without the origin and the first slash
//   element   a name, which is not empty, and then any number of keys
//   key       "[" name "=" value "]"; the name is not empty, the value may be
//
//   where              ends at          what else is special
//   origin             the ":" before   it is not empty and holds no "/", "[", "]", "=" and "\"
//                      the first "/"
//   name of an element "/", "["         "]" is refused: a "[" is missing
//   name of a key      "="              "[" and "]" are refused: a "]" or a "=" is missing
//   value              "]"              nothing: "/", "[", "=", quotes and blanks stand for themselves
//
// In names and values a backslash makes the next byte stand for itself, where that is one of \ / [ ] = : (a value needs
// it for "\" and "]" alone); before any other byte it is refused, so that `DOMAIN\user` is no surprise. All other
// bytes, NUL and invalid UTF-8 included, stand for themselves. "module:name" is a name like any other.
//
//   accepted   "/vrf[name=a/b]/route"         two elements; the slash within brackets is plain
//              "openconfig:/system"           origin "openconfig"
//              "/user[name=DOMAIN\\bob]"      the value DOMAIN\bob
//              "vrf", "/vrf", "/vrf/"         the same path; "" and "/" are the root
//   refused    "/vrf[name=red"                at byte 13: expected ']' after the value; found the end
//              "/vrf//route"                  at byte 5: expected the name of an element; found '/'
//
// Threads and lifetime: free functions of values; a path owns its bytes. They throw `std::bad_alloc` only. Time and
// memory are linear in the text. Not checked: that names exist, that a key is given once (see gnmi/Resolve.h).
#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace Gnmi {

/** Offsets are bytes from the start of the text that the path was read from; paths that differ in them only are equal.
 */
struct Key {
  std::string name;
  std::string value;
  std::size_t nameAt = 0;
  std::size_t valueAt = 0;

  friend bool operator==(Key const& a, Key const& b) { return a.name == b.name && a.value == b.value; }
};

struct Element {
  std::string name;
  /** In the order given. */
  std::vector<Key> keys = {};
  std::size_t at = 0;

  friend bool operator==(Element const& a, Element const& b) { return a.name == b.name && a.keys == b.keys; }
};

struct Path {
  /** Empty where none is given. What it means is the caller's business. */
  std::string origin;
  std::vector<Element> elements;

  friend bool operator==(Path const&, Path const&) = default;
};

struct PathError {
  /** In bytes; the length of the text where something is missing at its end. */
  std::size_t offset = 0;
  /** What is wrong and what would be right, in one sentence without the offset. */
  std::string text;
  /** Of gnmi/Resolve.h: the name that does not exist, and those that do. */
  std::string unknown = {};
  std::vector<std::string> names = {};
};

/** The path, or the first thing that is wrong with it. */
std::expected<Path, PathError> parsePath(std::string_view text);

/**
 * The text, from its first slash or origin, with no more backslashes than needed. For every path whose names are not
 * empty and whose origin is one of the grammar, `parsePath` of it gives an equal path.
 */
std::string formatPath(Path const& path);

}  // namespace Gnmi
