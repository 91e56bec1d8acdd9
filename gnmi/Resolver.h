// What a path means in a schema: the node that it names, and the typed keys of every keyed collection on the way.
//
//   Gnmi::Resolver const resolver(device, {});             // once for a schema
//   Gnmi::Resolved found;                                   // used again for every path
//   if (auto const done = resolver.resolve(*Gnmi::parsePath("/vrf[name=red]/route[protocol=bgp]"), found); !done) {
//     ... done.error().text, codeOf(done.error().kind, Gnmi::Call::Get) ...
//   }
//   // found.selections[0]: Device.vrf, the key "red"; [1]: Vrf.route, a filter with protocol 'bgp'
//   // found.node: the attribute Vrf.route, a list
//
// The parts of a key are the attributes that its type is built from; where a part is built from attributes as well,
// those are parts of the part. The keys of one element select
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
//                                 of the attribute that holds the key may stand in front,  [key__vrf=red]    [key=red]
//                                 unless the schema hides it
//
// Nothing is given twice: neither in two ways to write its name, nor as a whole and by its parts. A module may stand in
// front of a key's name where it is the module of that leaf.
//
// The decoder uses each part for one argument only, and so does the question whether every part is given: building an
// exact key never fails for a missing part. Of a key type Link(from: Site, to: Site) that has the parts `row` and
// `seat` of a Site as attributes of its own as well,
//
//   [from__row=1][from__seat=2][row=3][seat=4]   is exact: `to` is built from the parts beside it
//   [row=1][seat=2]                              is a filter: `row` is 1 and `seat` is 2
//
// A filter takes no parts of parts. A key whose parts nest more than 1,000 levels deep, or that takes more than
// 1,000,000 arguments, is BoundPassed.
//
// The names of elements are "module:name" or the name alone. Of several siblings that have one name,
//
//   below the top   that of the parent's module counts, where one is
//   at the top      only modules of the path's origin count, where the schema gives origins; no origin is "openconfig"
//                   where the schema gives that one
//   then            the one that is left; several are Ambiguous, and the error lists them with their modules
//
// (RFC 7951, section 4, for names; gNMI, "Path origin", for origins.) Where a schema gives no origins, any is taken;
// where it gives no modules, any may stand in front of a name. "module:name" at the top may be of any origin's module,
// unless the path itself gives an origin: then all names, and all nodes that a wildcard means there, are of its
// modules.
//
// Modes: what a path is for decides which paths fit.
//
//   Read, Delete   wildcards and fewer keys: all entries that match. Subscribe is Read
//   Write          update and replace: no wildcards, and every key of every list (KeyMissing names those left out); but
//                  without any key the last element is its list as a whole, which an array of entries replaces
//   Notify         no wildcards; keys may be left out
//
// Wildcards as elements, "*" for any one and "..." for any number of them, are `expand`'s.
//
// Threads: a resolver never changes, so any number of threads may use one at once, each with results of its own.
// Lifetime: it keeps handles of the types, which live as long as the provider's; it owns all else. Results hold
// references to their values. Errors come in the order of the elements; within one element first the element's name,
// then its keys' names in the order of the path, those that do not exist before those that are given twice, then what
// the mode refuses, then values. What the decoder says of a value that does not fit is the error's text as it is. Only
// `std::bad_alloc` is thrown. Time: linear in the path, with one look-up by hash for an element and for a key; making a
// resolver is linear in the schema.
//
// Not checked: that data exists.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "Zyn/Zyn.h"
#include "gnmi/Error.h"
#include "gnmi/Path.h"

namespace Gnmi {

/** Called with the tree of a key before the key is built from it; the tree lives for the call. */
using ShowTree = std::function<void(Drovan::ZynKeyDecoder::KeyElemNode const&)>;

/**
 * What the loader of a schema knows and the type system does not tell. Asked while a resolver is made, of attributes
 * that there are.
 */
struct SchemaFacts {
  /** The module of an attribute, which lives as long as the resolver; empty where it has none. */
  std::function<std::string_view(Zyn::ZynAttr)> moduleOf = {};
  /**
   * Whether the attribute is no node of the schema. Where it holds a key that is built from attributes, its name does
   * not stand in front of theirs either.
   */
  std::function<bool(Zyn::ZynAttr)> isHidden = {};
  /** Whether the attribute is a list without keys, or a leaf-list. Where this is empty, none is. */
  std::function<bool(Zyn::ZynAttr)> isList = {};
  /** The path of the data node that an attribute stands for, to tell it where a key's value is refused. */
  std::function<std::string(Zyn::ZynAttr)> pathOf = {};
  /** The modules that each origin stands for. Where it is empty, origins mean nothing. */
  std::map<std::string, std::set<std::string, std::less<>>, std::less<>> origins = {};
};

struct Options {
  /** Values of keys are s4 texts for types that have that encoding; a key type that has it is one value. */
  bool useS4Encoding = false;
  /** For the embedded type system: `modelFacts` or `yangFacts`. */
  SchemaFacts facts = {};
  ShowTree showTree = {};
};

/** How much wildcards for elements may mean. */
struct Bounds {
  /** Nodes that a path means. */
  std::size_t expansions = 100'000;
  /**
   * How deep a way to them may lead, which is also how many "..." and how many other elements a path may have. More
   * than 1,000 count as that.
   */
  std::size_t depth = 64;
  /** Nodes of the schema that are looked at for them. */
  std::size_t visited = 4'000'000;
};

enum class Mode : std::uint8_t { Read, Write, Delete, Notify };

/** The exact key, or every key that has the filter's values: every key there is where the filter is empty. */
using Selection = std::variant<Drovan::ZynKeyDecoder::Single, Drovan::ZynKeyDecoder::Multiple>;

struct Selected {
  /** The index of the collection in `Resolved::nodes`. */
  std::size_t node = 0;
  Zyn::ZynAttr collection;
  Selection selection;
};

enum class NodeKind : std::uint8_t { Leaf, LeafList, Container, List };

/** "leaf", "leaf-list", "container", "list". */
std::string_view nameOf(NodeKind kind) noexcept;

struct Node {
  /** Empty for the root. */
  Zyn::ZynAttr attr;
  /** Of a list its entries' type. */
  Zyn::ZynType type;
  NodeKind kind = NodeKind::Container;
};

struct Resolved {
  /** As the path gives it. */
  std::string origin;
  /** The node that the path names. */
  Node node;
  /** Every node on the way from the root, the last one included; none for the root. */
  std::vector<Zyn::ZynAttr> nodes;
  /** One for each keyed collection on the way, in the order of the path. */
  std::vector<Selected> selections;
};

/** What a host's values answer; see gnmi/ModelValues.h for the embedded type system's. Called from any thread. */
class Values {
 public:
  virtual ~Values() = default;

  /** The value of an attribute; null when it was never set. */
  virtual Velko::Ptr<Zyn::GenericIf const> part(Zyn::GenericIf const& value, Zyn::ZynAttr attr) const = 0;
  /** The text that the value's type reads as this value, as it stands in a path; nothing where there is none. */
  virtual std::optional<std::string> text(Zyn::GenericIf const& value) const = 0;
  virtual bool equal(Zyn::GenericIf const& a, Zyn::GenericIf const& b) const = 0;
  /** The same for equal values. */
  virtual std::size_t hash(Zyn::GenericIf const& value) const = 0;
};

/** A leaf of a payload: its name and the text of its value. */
using PayloadLeaf = std::pair<std::string_view, std::string_view>;

/** A keyed collection and a key of it, which is not null, to make a path of. */
struct Entry {
  Zyn::ZynAttr collection;
  Velko::Ptr<Zyn::GenericIf const> key;
};

class Resolver {
 public:
  /**
   * Paths start from `root`, which is an entity: `isValue()` is false for it. Below it, attributes of value types are
   * leaves, and those of entities containers or lists.
   */
  explicit Resolver(Zyn::ZynType root, Options options = {});
  Resolver(Resolver&&) noexcept;
  Resolver& operator=(Resolver&&) noexcept;
  ~Resolver();

  /** The one node that the path names. An element "*" or "..." is WildcardRefused. After an error `into` holds some. */
  std::expected<void, Error> resolve(Path const& path, Resolved& into, Mode mode = Mode::Read) const;

  /**
   * Each node that the path means, in declaration order, depth first, each once, until `visit` answers false. "*" is
   * any one node and "..." any number of them, also none; they stand for attributes of entities and enter no value
   * types. No two of the nodes that one "..." stands for on a way have the same type. Keys at "*" mean the lists that
   * take them. Where several ways lead to one node, the keys are those of the way with the fewest elements for the
   * first "...", then for the second, and so on. In the modes Write and Notify, and for a path without such elements,
   * it is `resolve`.
   *
   * UnknownNode when the path means no node at all, or what the first list refused that was passed over; BoundPassed
   * when it means more than `bounds` allow, after those that they do.
   */
  std::expected<void, Error> expand(Path const& path, std::function<bool(Resolved const&)> const& visit,
                                    Mode mode = Mode::Read, Bounds const& bounds = {}) const;

  /**
   * Whether the leaves of a payload that hold an entry's key agree with the entry's key, as typed values: `10.1.2.3/8`
   * and `10.0.0.0/8` do. `selected` is an exact key, of this resolver. A Conflict where they do not, KeyUnknown for a
   * leaf that is no part of the key, ValueRefused for a text that does not fit.
   */
  std::expected<void, Error> checkPayload(Selected const& selected, std::span<PayloadLeaf const> leaves,
                                          Values const& values) const;

  /**
   * The path of a resolved node in its canonical form: names without modules where they are unique, exact keys and
   * filters as their values print, without what is left open. A ValueRefused where what would be written is not read
   * as the same selection again: a string that is "*", or a filter on all parts that make a key, where only other parts
   * were left open. The path owns its texts.
   */
  std::expected<Path, Error> canonical(Resolved const& resolved, Values const& values) const;

  /**
   * The path of an entry, from its collections and keys, outermost first: the containers between them are found,
   * nearest first. UnknownNode where a collection cannot be reached so.
   */
  std::expected<Path, Error> pathOf(std::span<Entry const> entries, Values const& values) const;

  // For completion.

  /** The nodes that the next element may name, in declaration order, each with the shortest name that means it. */
  std::vector<std::pair<std::string, Node>> nodesBelow(Resolved const& resolved) const;
  /** The names of the keys of a collection, in declaration order, without parts of parts; none of any other attribute.
   */
  std::vector<std::string> keyNames(Zyn::ZynAttr collection) const;

 private:
  friend class Expansion;
  struct Impl;
  std::unique_ptr<Impl const> impl_;
};

}  // namespace Gnmi
