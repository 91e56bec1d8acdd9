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
// In every map, order is declaration order. A type may be named before it is declared.
//
// Refused, each with its place and what would be right: what is no YAML, a key that is unknown or written twice, a bare
// `null`, a type that does not exist (the nearest names are told), whatever `Model::TypeBuilder` refuses, a file that
// imports itself. All errors of a file, and of those it imports, come out in one run.
//
// Functions may be called from any thread; each call makes a schema of its own. They throw `std::bad_alloc` only.
#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>
#include <vector>

#include "model/Schema.h"

namespace Yaml {

struct Problem {
  std::string file;
  /** Counted from 1; 0 where the file as a whole is meant. */
  std::size_t line = 0;
  std::size_t column = 0;
  /** What is wrong; what would be right. */
  std::string what;

  /** "file:line:column: what", or "file: what". */
  std::string text() const;
};

/** A schema, or every problem in the order of the files and lines; never both, and never an empty list. */
using Loaded = std::expected<Model::Schema, std::vector<Problem>>;

/** Imports are looked up beside the file that names them. */
Loaded loadFile(std::string const& path);

/** `name` stands for the file in problems; imports are looked up beside it. */
Loaded loadText(std::string_view text, std::string const& name);

}  // namespace Yaml
