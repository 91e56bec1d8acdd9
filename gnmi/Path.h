// gNMI paths as text: `/vrf[name=red]/route[vrf=red][prefix=10.0.0.0/8]`.
//
// The grammar is OpenConfig's convention "gNMI path strings", with what it leaves open decided:
//
//   path      [origin ":"] "/" [element ("/" element)*] ["/"]; without an origin, the first slash may be left out
//   element   its name, which is not empty, and then any number of keys
//   key       "[" name "=" value "]"; the name is not empty, the value may be
//
//   part                ends before           must not hold, unless after a backslash
//   origin              the ":" that stands   "/", "[", "]", "=" and "\", which cannot be escaped here; it is not empty
//                       before the first "/"
//   name of an element  "/", "[", the end     "]"
//   name of a key       "="                   "[", "]"
//   value               "]"                   nothing: "/", "[", "=", quotes and blanks stand for themselves
//
// A backslash in a name or a value is followed by one of \ / [ ] = : and makes that byte stand for itself. Before any
// other byte it is an error, so that a value `DOMAIN\user` is never changed unnoticed. All other bytes, NUL and invalid
// UTF-8 included, stand for themselves. "module:name" is read as a name.
//
//   accepted   "/vrf[name=a/b]/route"         two elements; a slash in a value is no separator
//              "openconfig:/system"           origin "openconfig"
//              "/user[name=DOMAIN\\bob]"      the value DOMAIN\bob
//              "vrf", "/vrf", "/vrf/"         the same path; "" and "/" are the root
//   refused    "/vrf[name=red"                at byte 13: expected ']' after the value; found the end
//              "/vrf//route"                  at byte 5: expected the name of an element; found '/'
//
// Threads: functions of values, without state. Ownership: a path owns its text. Errors are returned; only
// `std::bad_alloc` is thrown. Time and memory are linear in the text. Not checked: that the names exist and that no key
// is given twice; `Gnmi::resolve` checks both.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

namespace Gnmi {

/** A key of an element. Offsets do not count for equality: they tell where in a text it was read. */
struct Key {
  std::string name;
  std::string value;
  /** Of the name and the value, in bytes from the start of the text; 0 in a path that was made otherwise. */
  std::size_t nameAt = 0;
  std::size_t valueAt = 0;

  friend bool operator==(Key const& a, Key const& b) { return a.name == b.name && a.value == b.value; }
};

struct Element {
  std::string name;
  /** In the order given. */
  std::vector<Key> keys = {};
  /** Offset of the name, as that of a key's. */
  std::size_t at = 0;

  friend bool operator==(Element const& a, Element const& b) { return a.name == b.name && a.keys == b.keys; }
};

struct Path {
  /** Empty where none is given. What it means is up to the caller. */
  std::string origin;
  std::vector<Element> elements;

  friend bool operator==(Path const&, Path const&) = default;
};

struct PathError {
  /** Where it is, in bytes from the start of the text; the length of the text where something is missing at its end. */
  std::size_t offset = 0;
  /** What is wrong and what would be right, in one sentence that does not tell the offset. */
  std::string text;
  /** From `Gnmi::resolve`: the name that does not exist, and those that do. */
  std::string unknown = {};
  std::vector<std::string> names = {};
};

/** The path, or the first error in its text. */
std::expected<Path, PathError> parsePath(std::string_view text);

/** A path that is still being typed: what its text ends in, and the path before that. */
struct UnfinishedPath {
  enum class End : std::uint8_t { ElementName, KeyName, Value, AfterKey };

  End end = End::ElementName;
  /** Where the name or value at the end starts; the length of the text where it is empty, and after a key. */
  std::size_t at = 0;
  /** All that stands before `at`. The last element is the one whose key is unfinished, without that key. */
  Path before = {};
};

/**
 * For completion:
 *
 *   "/vrf/ro"         ElementName at 5, before it "/vrf"
 *   "/vrf[na"         KeyName at 5, before it "/vrf"
 *   "/vrf[name=r"     Value at 10, before it "/vrf"
 *   "/vrf[name=red]"  AfterKey at 14, before it the whole path
 *   "/vrf[]"          an error, as of `parsePath`: no text that starts so is a path
 */
std::expected<UnfinishedPath, PathError> parseUnfinishedPath(std::string_view text);

/**
 * The path's text, which starts with the origin or a slash and has no more backslashes than it needs. `parsePath` of it
 * gives an equal path. Not checked: that no name is empty and that the origin is one that the grammar allows.
 */
std::string formatPath(Path const& path);

}  // namespace Gnmi
