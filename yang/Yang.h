// YANG modules as types of the embedded type system. libyang reads and compiles them; nothing here parses YANG.
//
//   top level, container,      an entity type, named by its schema path: "/ietf-interfaces:interfaces/interface". Names
//   list entry                 carry their module where it differs from the parent's. Choices and cases leave no trace,
//                              augments are merged; where two modules use one name in one place, both are qualified,
//                              "module:name", but for keys
//   list with one key          a keyed attribute; key type and key name are those of the key leaf
//   list with several keys     the key type is a value type with the leaves as constructor arguments, in the order of
//                              the `key` statement. The entry has an attribute for each leaf, and `KEY` that holds the
//                              whole key ("KEY-" where that name is taken): "KEY__prefix" and "prefix" both work
//   list without keys,         plain attributes, a list for the first and the last
//   leaf, leaf-list
//   integers, boolean          the kind of their width; ` 5 `, `+5` and `010` are taken, and are 5, 5 and 10
//   string                     the fundamental string; with a length or a pattern, a String with a rule
//   enumeration                the same
//   union                      a union that takes the gNMI string form: the model tries its alternatives in order, without
//                              exceptions. An alternative is named by its typedef or built-in type
//   leafref                    the type of its target; whether an instance exists is not asked
//   identityref                an enumeration of what is derived from its bases, one type for all leaves with the same
//                              bases: `module:identity`, or the bare identity where libyang takes it or only one
//                              identity has the name, though not in a union with further alternatives. Numbers are
//                              those of this schema only. A String that takes nothing where there is no identity
//   ipv4-prefix, ipv6-prefix,  IpPrefix and IpAddress with a rule, so that they compare by number
//   ipv?-address-no-zone
//   all other types            Strings with a rule: decimal64, bits, binary, empty, instance-identifier, addresses that
//                              may have a zone, MAC addresses, dates: libyang says what fits, and makes the canonical
//                              text
//   anydata, anyxml            entity types without attributes
//
// Types are named by their typedef, "ietf-inet-types:ip-address", by their built-in type where nothing restricts it, or
// by the path of the first leaf of that type. All of them are of the module "Yang". RPCs, actions and notifications are
// left out: they hold no data.
//
// What a rule takes is what libyang's type takes, with four exceptions: a text that holds NUL is no YANG text; a text
// on which a pattern takes more than a million steps of the matcher (for a text of more than 1000 bytes fewer: 10^9
// divided by the bytes), or more than 64 MiB of memory, is refused; so is an instance-identifier or XPath expression of
// more than 16 KiB; and the bare identities above are taken.
//
// libyang 2.1 takes more than the RFCs say, and so does this:
//   - a date-and-time may name a day that its month does not have, and is carried over: `2024-02-30T12:34:56Z` is March
//     1st. RFC 3339, 5.7 refuses it. Its canonical text is in the time zone of the process (`TZ`), where RFC 6991 keeps
//     the offset that was given.
//   - strings may hold control characters and bytes that are no UTF-8, which RFC 7950, 9.4 and 14 exclude.
//
// Modules that nobody vouches for: those that make more than 2,000,000 nodes, or nest more than 1,000 levels deep, each
// `uses` counted, do not load, and a file of more than 256 MiB is not read. Within that, time and memory are libyang's,
// whose time grows with the square of the siblings of one node, the enumerators of one type and the length of a chain
// of identities: 20,000 leaves of one container take some seconds.
//
//   accepted   list route { key "vrf prefix"; ... }
//   refused    list route { key "a__b"; ... }       "__" stands between the elements of a key path
//
// Functions may be called from any thread; each call makes a schema of its own. They throw `std::bad_alloc`, and
// `load` throws `std::system_error` where it cannot start a thread, nothing else. While modules load, libyang's log
// options are changed for the whole process: errors go into the result, none to stderr.
//
// Memory: what libyang holds of the modules goes with the last of `Loaded` and its schema. Texts leave nothing behind:
// an instance-identifier or XPath expression is read in a thread of its own, as libyang keeps pointers into the modules
// in a thread that has read one.
//
// Not checked: that data exists which a leafref or an instance-identifier names; `when` and `must`.
#pragma once

#include <expected>
#include <map>
#include <memory>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/Schema.h"

struct lysc_node;

namespace Yang {

struct Options {
  /**
   * Every feature is on, also of modules that only something refers to; not of those that nothing but types are used
   * from, unless `implementImports` is set. Otherwise none is but those named here.
   */
  bool allFeatures = false;
  /** By module: one of those that are loaded by name. */
  std::map<std::string, std::vector<std::string>, std::less<>> features = {};
  /** The identities of modules that are only imported are values, too. Their elements stay out. */
  bool implementImports = false;
  /** A module that does not load is an error, also where a whole folder is asked for. */
  bool isStrict = false;
};

/** What modules hold. It outlives every handle, value and decoder that was made from it, as every schema does. */
struct Loaded {
  Model::Schema schema;
  /** The entity type "/" of the top level of all modules. */
  Zyn::ZynType root;

  /** Which modules an origin of a path means: "openconfig", "rfc7951", and each module by its own name. */
  std::map<std::string, std::set<std::string, std::less<>>, std::less<>> origins = {};
  /** A line for each module that does not load, where a whole folder was asked for. */
  std::vector<std::string> warnings = {};
  /** A line for each module of which there were several files with different contents: which one was taken. */
  std::vector<std::string> choices = {};

  // Of an attribute of an entity type, which stands for a data node; of any other nothing, and false.

  /** The module that the node belongs to. */
  std::string_view moduleOf(Zyn::ZynAttr attr) const noexcept;
  /** The module of the data node around it; also empty at the top level. */
  std::string_view parentModuleOf(Zyn::ZynAttr attr) const noexcept;
  /** "config false". */
  bool isState(Zyn::ZynAttr attr) const noexcept;
  /** A list or leaf-list whose entries have an order of the user's. */
  bool isOrderedByUser(Zyn::ZynAttr attr) const noexcept;
  /** `KEY`, which is no data node: it holds all keys of the entry. */
  bool isWholeKey(Zyn::ZynAttr attr) const noexcept;
  /** "/ietf-interfaces:interfaces/interface/name"; of `KEY` that of the list. */
  std::string pathOf(Zyn::ZynAttr attr) const;

  /** By the attribute's index in the module; null where it has none. */
  std::vector<lysc_node const*> nodes = {};
  /** What `nodes` points into. */
  std::shared_ptr<void const> context = {};

 private:
  lysc_node const* nodeOf(Zyn::ZynAttr attr) const noexcept;
};

/**
 * Loads modules by name, or "name@revision", and all that they import, from the folders given and those below them; or
 * every module in the folders where none is named. The top level is that of what was asked for, and of what that
 * augments or deviates: other modules are implemented where something refers to them, so that their identities and
 * leaves can be referred to, and add no elements.
 *
 * Without a revision, a module is of the newest one in all folders, in the first folder that has it; imports that ask
 * for none get the same one.
 *
 * An error is lines for a person, each about one module: file, line or schema path, and what libyang says. Modules that
 * are named load all, or it is an error; of whole folders, what loads is loaded, and the rest goes into `warnings`.
 *
 *   "net/bad.yang:4: Invalid character sequence "foo", expected a keyword."
 */
std::expected<Loaded, std::vector<std::string>> load(std::span<std::string const> folders,
                                                     std::span<std::string const> modules, Options const& options = {});

}  // namespace Yang
