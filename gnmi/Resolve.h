// Which entries of keyed collections a path selects, as typed keys and filters.
//
//   auto const found = Gnmi::resolve(device, "/vrf[name=red]/route[protocol=bgp]", {});
//   // (*found)[0]: the collection Device.vrf, its key "red"
//   // (*found)[1]: the collection Vrf.route, a filter: protocol is 'bgp'
//
// The keys of an element select
//
//   one entry      by its exact key: every part that the key type is built from is given, and none is "*"
//   every entry    no key is given, or each is "*"
//   some entries   by a filter: some parts are given, others are left out or "*"
//
// Names of keys, by the key type of the collection:
//
//   one value (scalar, wrapper,   the name of the attribute that holds an entry's key; any one name where the
//   enumeration, union, s4)       collection records none
//                                   accepted   [name=eth0]
//                                   refused    [id=eth0]         unknown key 'id' of 'interface'
//   built from its attributes     their names, those of parts of parts joined by "__". In front may stand the name of
//                                 the attribute that holds the key
//                                   accepted   [vrf=red]    [key__vrf=red]    [site__row=1]
//                                   refused    [colour=red]      unknown key 'colour' of 'route'
//                                              [key=red]         the key as a whole is no text
//
// A part is given once: not under two names, nor as a whole and by its own parts. It serves once as well: a key type
// with two arguments `from` and `to` of a type built from `row` and `seat` takes `[row=1][seat=2]` for `from`, and then
// lacks those of `to`. This is how the decoder builds keys, so an exact key never fails for a missing part.
//
//   of a key type Link(from: Site, to: Site) that has attributes `row` and `seat` as well
//   [from__row=1][from__seat=2][row=3][seat=4]   exact: `to` is built from the parts beside it
//   [row=1][seat=2]                              a filter: `row` is 1 and `seat` is 2
//   [row=1][seat=*]                              a filter: `row` is 1
//
// An exact key has such parts inside (`to`), where a filter asks for the key's own attributes (`row`). A filter takes
// no parts of parts. The value "*" is always a wildcard, never a text.
//
// Threads: functions without state; types are only read. Ownership: results own their texts and share the values;
// handles of types and attributes live as long as the provider's types. Errors are returned: one sentence, where it
// belongs, and the names that exist; where a value does not fit, the decoder's text. Only `std::bad_alloc` is thrown.
//
// Time and memory are linear in the text, in the names that an error lists, and in the steps that the decoder takes to
// build the key. A key whose parts nest more than 1,000 levels deep, or that takes more than 1,000,000 constructions,
// is an error: the decoder recurses, and types that need each other many times over would keep it busy for ever.
//
// Not checked: the origin; the module in "module:name", unless `Options::moduleOf` tells it; wildcards in place of
// elements, which are unknown names here.
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

/** One entry by its key, or all entries whose keys have the filter's values: every entry where the filter is empty. */
using Selection = std::variant<Drovan::ZynKeyDecoder::Single, Drovan::ZynKeyDecoder::Multiple>;

struct KeyError {
  /** The index of the key that is wrong; the number of keys where the fault lies in all of them together. */
  std::size_t key = 0;
  /** Whether its value is wrong. Otherwise its name is. */
  bool ofValue = false;
  std::string text;
  /** The name that does not exist, and those that do; both may be empty. */
  std::string unknown = {};
  std::vector<std::string> names = {};
};

/** Called with the tree of an exact key of several parts, filled and not yet built. */
using ShowTree = std::function<void(Drovan::ZynKeyDecoder::KeyElemNode const&)>;

/** The module that qualifies an attribute's name in paths; empty where none does. */
using ModuleOf = std::function<std::string_view(Zyn::ZynAttr)>;

struct Options {
  /** Values of types that have an s4 encoding are s4 texts. A key type that has one is then one value. */
  bool useS4Encoding = false;
  /** Unless empty, "module:name" is unknown where the module is not the attribute's. */
  ModuleOf moduleOf = {};
  ShowTree showTree = {};
};

/** What `keys` select of `collection`: everything without keys. Where it is no keyed collection, keys are an error. */
std::expected<Selection, KeyError> select(Zyn::ZynAttr collection, std::span<Key const> keys, Options const& options);

/** The names of a collection's keys in declaration order, without parts of parts. None where any name will do. */
std::vector<std::string> keyNames(Zyn::ZynAttr collection, bool useS4Encoding);

/**
 * The attribute of `type` that the element `name` stands for: the one of that whole name, or else the one of what
 * follows "module:". Empty where there is none.
 */
Zyn::ZynAttr findElement(Zyn::ZynType type, std::string_view name, Options const& options);

struct Resolved {
  /** The index of the element in the path. */
  std::size_t element = 0;
  Zyn::ZynAttr collection;
  Selection selection;
};

/**
 * Follows the elements from `root` by attribute names. There is one selection for each keyed collection on the way, in
 * the order of the path. Errors have the offsets that the path has.
 */
std::expected<std::vector<Resolved>, PathError> resolve(Zyn::ZynType root, Path const& path, Options const& options);
std::expected<std::vector<Resolved>, PathError> resolve(Zyn::ZynType root, std::string_view path,
                                                        Options const& options);

}  // namespace Gnmi
