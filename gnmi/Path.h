// Paths of gNMI: elements with keys, an origin and a target; read from text, from a message (gnmi/Message.h), or made
// in code.
//
// The text form is that of OpenConfig's "gNMI path strings" convention, made exact here:
//
//   path      [origin ":"] "/" [element ("/" element)*] ["/"], or the same without the origin and the first slash
//   element   a name, which is not empty, and then any number of keys
//   key       "[" name "=" value "]"; the name is not empty, the value may be; no name twice in one element
//
//   where              ends at          what else is special
//   origin             the ":" before   it is not empty and holds no "/", "[", "]", "=" and "\"
//                      the first "/"
//   name of an element "/", "["         "]" is refused: a "[" is missing
//   name of a key      "="              "[" and "]" are refused: a "]" or a "=" is missing
//   value              "]"              nothing: "/", "[", "=", quotes and blanks stand for themselves
//
// In names and values a backslash begins an escape; any other byte after it is refused, so that `DOMAIN\user` is no
// surprise:
//
//   \\ \/ \[ \] \= \:   the byte after the backslash (a value needs it for "\" and "]" alone)
//   \n \r               newline and carriage return
//   \u1234 \U00012345   a character of Unicode by four or eight hexadecimal digits, as UTF-8; a surrogate and more than
//                       U+10FFFF are refused
//
// What an escape means is decided before all else: the value `\u002a` is the wildcard "*". All other bytes, NUL and
// invalid UTF-8 included, stand for themselves. "module:name" is a name like any other.
//
//   accepted   "/vrf[name=a/b]/route"         two elements; the slash within brackets is plain
//              "openconfig:/system"           origin "openconfig"
//              "/user[name=DOMAIN\\bob]"      the value DOMAIN\bob
//              "vrf", "/vrf", "/vrf/"         the same path; "" and "/" are the root
//   refused    "/vrf[name=red"                at byte 13: expected ']' after the value; found the end
//              "/vrf//route"                  at byte 5: expected the name of an element; found '/'
//              "/vrf[name=a][name=b]"         at byte 13: key 'name' is given twice
//
// Ownership: a path views the texts that it was made from, and is valid as long as they are; what escapes stand for it
// owns itself. `owned` makes a path that owns all of its texts. Threads: a path is a value like any other. Functions
// throw `std::bad_alloc` only. Time and memory are linear in the text; a path of up to 8 elements and 8 keys without
// escapes takes no memory of its own. Not checked: that names exist (see gnmi/Resolver.h).
#pragma once

#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "KvStd/Expected.h"
#include "gnmi/Error.h"

namespace Gnmi {

/** Places are bytes from the start of the text that the path was read from; 0 in other paths. */
struct Key {
  std::string_view name;
  std::string_view value;
  std::size_t nameAt = 0;
  std::size_t valueAt = 0;
};

struct Element {
  std::string_view name;
  std::size_t at = 0;
  /** Where its keys begin among the keys of the path, and how many it has. */
  std::size_t firstKey = 0;
  std::size_t keyCount = 0;
};

struct UnfinishedPath;

class Path {
 public:
  /** Empty where none is given. */
  std::string_view origin;
  /** Empty where none is given; in a prefix alone. */
  std::string_view target;

  std::span<Element const> elements() const noexcept { return {elements_.data(), elements_.size()}; }
  /** Of one of its elements, in the order given. */
  std::span<Key const> keys(Element const& element) const noexcept {
    return {keys_.data() + element.firstKey, element.keyCount};
  }
  /** How many of the elements came from a prefix: the first ones. See `join`. */
  std::size_t prefixSize() const noexcept { return prefixSize_; }
  /** Whether places are bytes of a text. */
  bool isFromText() const noexcept { return isFromText_; }

  /** Adds an element. The text must outlive the path. */
  Path& add(std::string_view element) {
    // Member by member: what is copied as a whole right after its members were stored waits for those stores.
    Element& added = elements_.emplace_back();
    added.name = element;
    added.firstKey = keys_.size();
    return *this;
  }
  /** Adds a key to the last element, which there must be. The texts must outlive the path. */
  Path& addKey(std::string_view name, std::string_view value) {
    Key& added = keys_.emplace_back();
    added.name = name;
    added.value = value;
    ++elements_.back().keyCount;
    return *this;
  }
  /** Sorts the keys of the last element, which there must be, by name. */
  void sortKeys() noexcept;
  /** The root, without origin and target. Keeps its memory for the next path. */
  void clear() noexcept;

  /** The same origin, target and elements; keys in any order. How they were made does not count. */
  friend bool operator==(Path const& a, Path const& b);

 private:
  friend class PathReader;
  friend std::expected<UnfinishedPath, Error> parseUnfinishedPath(std::string_view text);
  friend Path owned(Path const& path);
  friend std::expected<Path, Error> join(Path const& prefix, Path const& path);

  boost::container::small_vector<Element, 8> elements_;
  boost::container::small_vector<Key, 8> keys_;
  /** Texts of the path's own that views point into; the others belong to the caller. */
  boost::container::small_vector<std::shared_ptr<void const>, 1> texts_;
  std::size_t prefixSize_ = 0;
  bool isFromText_ = false;
};

/** The path, or the first thing that is wrong with it: Malformed, or KeyTwice. */
std::expected<Path, Error> parsePath(std::string_view text);
/** The same into a path that is used again; after an error it holds some of the path. */
std::expected<void, Error> parsePath(std::string_view text, Path& into);

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
std::expected<UnfinishedPath, Error> parseUnfinishedPath(std::string_view text);

/**
 * Adds the one element that `text` is, with its keys: the form of old senders, who fill the field `element`. Refused
 * where it is empty or more than one element. Errors have no byte.
 */
std::expected<void, Error> parseElement(std::string_view text, Path& into);

/** A copy whose texts are its own. */
Path owned(Path const& path);

/**
 * The text, from its first slash or origin, without the target: keys sorted by name, no more escapes than needed. For
 * every path whose names are not empty and whose origin is one of the grammar, `parsePath` of it gives an equal path.
 */
std::string formatPath(Path const& path);

/**
 * The absolute path: the elements of `prefix`, then those of `path`, with the origin of either and the prefix's target.
 * A Conflict where both have an origin, where the path has an origin and the prefix elements, or the path a target.
 */
std::expected<Path, Error> join(Path const& prefix, Path const& path);

}  // namespace Gnmi
