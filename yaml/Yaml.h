// Schema files: YAML text to types of the embedded type system.
//
//   module: Network
//   imports: [base.yaml]                          # its types are written Base.Name
//   types:
//     Protocol:  {enum: {connected: 1, bgp: 9}}   # a list [a, b] counts from 0
//     VlanId:    {wraps: U16}
//     PortName:  {union: {number: U32, name: String}}   # tried in order
//     PortRange: {value: {low: U16, high: U16}, args: [low, high], gnmi: "{low}-{high}"}
//     RouteKey:
//       value: {vrf: String, protocol: Protocol, tag: U32}
//       args: [vrf, protocol]                     # tag is set afterwards
//       s4: {vrf: 1, protocol: 2, tag: 3}
//     Route: {entity: {key: RouteKey, vrf: String}}
//     Vrf:
//       entity:
//         name:  String
//         route: {keyed: Route, by: key}          # key type: that of Route's attribute key
//         peer:  {keyed: Base.Peer, by: id, type: Base.PeerId}   # type: where Peer has no attribute id
//         event: {list: Event}                    # not keyed
//
// In every map, order is declaration order. A type may be named before it is declared. Type names are those of core
// types, of the file's own module, and of the modules that it imports itself. A file that several others import is
// loaded once. Names of modules and types are letters, digits and '_', not starting with a digit.
//
//   accepted   Flow: {value: {5: U8}}   the attribute "5": a name is a text, whatever it looks like
//   refused    Flow: {value: {5: u8}}   "net.yaml:3:21: no type 'u8'; did you mean 'U8', 'S8'?"
//
// Refused, each with its place and what would be right: what is no YAML, a key that is unknown or written twice, a bare
// `null`, aliases and tags, a second document, a type that does not exist (the nearest names are told), whatever
// `Model::TypeBuilder` refuses (types nest at most `Model::mostLevels` deep and lead to at most `Model::mostTypesBelow`
// others), a file that imports itself. All errors of a file, and of those it imports, come out in one run; what follows
// from an error is not told as another one.
//
// Refused as well is a name that no key path can hold. Paths are cut at the leftmost "__", again and again. So an
// attribute of a value type, and the attribute that holds the keys of a collection where those are put together from
// their attributes, has no "__" in its name, and does not end in '_' where names of parts follow. Every value type may
// be a key, so all are checked; other attributes of entities, alternatives and enumerators are in no path.
//
//   refused    Key: {value: {a__b: U8}}          cut into `a` and `b`
//   refused    Key: {value: {a_: Inner}}         `a___b` is cut into `a` and `_b`
//   accepted   Key: {value: {a_: U8, _b: U8}}    nothing follows `a_`
//
// Imports are looked up beside the file that names them, and are regular files. They stay in the folder of the first
// file or below it, or in folders that `Options` allow, once symbolic links and ".." are followed; of any other nothing
// is read. A file is read once, however often and by whatever paths it is imported. Only what the user names may be a
// pipe, which is waited for.
//
// Files may be hostile. All files of a schema are at most 4 MiB together, imported by at most 1,000 paths of at most
// 1,000 bytes, and 100 deep; texts are at most 1,000 bytes, lists and maps nested at most 20 deep, with at most 10,000
// brackets open, counting those in comments. At most 1,000 problems are told, 20 of them of what one list of arguments,
// numbers or enumerators holds. Time is linear in the size of the files, whatever names they hold; memory is at most
// 160 times that size and 16 MiB, the schema included.
//
// Functions may be called from any thread; each call makes a schema of its own. They throw `std::bad_alloc` only.
//
// Not checked: that files and folders stay as they are while they are loaded.
#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

#include "model/Schema.h"

namespace Yaml {

struct Problem {
  /** As the user would open it: an imported file with the folder of the file that names it. */
  std::string file;
  /** Counted from 1, the column in bytes; 0 where the file as a whole is meant. */
  std::size_t line = 0;
  std::size_t column = 0;
  /** What is wrong; what would be right. */
  std::string what;

  /** "file:line:column: what", or "file: what". */
  std::string text() const;
};

/** A schema, or every problem in the order of the files and lines; never both, and never an empty list. */
using Loaded = std::expected<Model::Schema, std::vector<Problem>>;

struct Options {
  /** Folders besides that of the first file that imports may lead into, or below. */
  std::vector<std::string> importFolders = {};
};

Loaded loadFile(std::string const& path, Options const& options = {});

/** `name` stands for the file in problems; imports are looked up beside it. */
Loaded loadText(std::string_view text, std::string const& name, Options const& options = {});

}  // namespace Yaml
