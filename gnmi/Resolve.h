// What a path selects: the typed keys of every keyed collection that it passes.
//
//   auto const found = Gnmi::resolve(device, "/vrf[name=red]/route[protocol=bgp]", {});
//   // (*found)[0]: Device.vrf, the key "red"; (*found)[1]: Vrf.route, a filter with protocol 'bgp'
//
// Keys of one collection select
//
//   the exact key    when every part that the key is built from is given, and no "*"
//   every key        when none is given, or each is "*"
//   a filter         when some are given, and others left out or "*"
//
// The names of keys:
//
//   the key type is               names                                                    accepted          refused
//   one value (scalar, wrapper,   that of the attribute that holds the key; any one name   [name=eth0]       [id=eth0]
//   enumeration, union, s4)       where the collection records none
//   built from attributes         its attributes; parts of parts joined by "__"; the name  [vrf=red] [colour=red]
//                                 of the attribute that holds the key may stand in front   [key__vrf=red]    [key=red]
//
// Nothing is given twice: neither in two ways to write its name, nor as a whole and by its parts.
//
// A value that is "*" itself cannot be asked for. A filter cannot have parts of parts. Where a part may be given beside
// the one that it belongs to (`[local=...]` for `[session__local=...]`), an exact key has it inside, and a filter asks
// for it beside.
//
// Threads: free functions that keep nothing; types are only read. Ownership: results own their texts and references to
// their values; handles live as long as the provider's types. Errors: one sentence, where it belongs, and the names
// that exist; a value that does not fit has the decoder's own text. Only `std::bad_alloc` is thrown. Time is linear in
// the text, but for a logarithm of the number of keys that one element has.
//
// Not checked: the origin; the module of "module:name", unless the caller can tell it; wildcards for elements, which no
// attribute is called.
#pragma once

#include <cstddef>
#include <expected>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "Zyn/Zyn.h"
#include "gnmi/Path.h"

namespace Gnmi {

/** The exact key, or every key that has the filter's values: every key there is where the filter is empty. */
using Selection = std::variant<Drovan::ZynKeyDecoder::Single, Drovan::ZynKeyDecoder::Multiple>;

struct KeyError {
  /** The index of the key that is wrong; the number of keys where it is all of them together. */
  std::size_t key = 0;
  /** Of a key: whether its value is wrong, and not its name. */
  bool ofValue = false;
  std::string text;
  /** The name that does not exist, and those that do; both may be empty. */
  std::string unknown = {};
  std::vector<std::string> names = {};
};

/** Is shown the tree of a key that is built from attributes, before it is built. */
using ShowTree = std::function<void(Drovan::ZynKeyDecoder::KeyElemNode const&)>;

/** The module that an attribute is written with; empty where it has none. */
using ModuleOf = std::function<std::string_view(Zyn::ZynAttr)>;

struct Options {
  /** Values are s4 texts for types that have that encoding; a key type that has is one value. */
  bool useS4Encoding = false;
  /** Where it is given, "module:name" does not exist with another module than the attribute's. */
  ModuleOf moduleOf = {};
  ShowTree showTree = {};
};

/** What `keys` select of a keyed collection. Keys of any other attribute are an error, no keys are every key. */
std::expected<Selection, KeyError> select(Zyn::ZynAttr collection, std::span<Key const> keys, Options const& options);

/** The names that the keys of a collection have, in the order declared; without parts of parts. */
std::vector<std::string> keyNames(Zyn::ZynAttr collection, bool useS4Encoding);

/** The attribute of `type` that an element names: the whole name's, or the one behind "module:". Empty for none. */
Zyn::ZynAttr findElement(Zyn::ZynType type, std::string_view name, Options const& options);

struct Resolved {
  /** The index of the element in the path. */
  std::size_t element = 0;
  Zyn::ZynAttr collection;
  Selection selection;
};

/**
 * Walks the types from `root` by the names of attributes: a selection for each keyed collection on the way, in the
 * order of the path. Offsets of errors are those that the path has from its text.
 */
std::expected<std::vector<Resolved>, PathError> resolve(Zyn::ZynType root, Path const& path, Options const& options);
std::expected<std::vector<Resolved>, PathError> resolve(Zyn::ZynType root, std::string_view path,
                                                        Options const& options);

}  // namespace Gnmi
