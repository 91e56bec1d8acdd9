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
//   enumeration, union         the same; an alternative is named by its typedef or built-in type
//   leafref                    the type of its target; whether an instance exists is not asked
//   identityref                a String with a rule: `module:identity`, or the bare identity where libyang takes it or
//                              only one identity has the name, though not in a union with further alternatives
//   all other types            Strings with a rule: decimal64, bits, binary, empty, instance-identifier, addresses,
//                              dates: libyang says what fits, and makes the canonical text
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
//   accepted   list route { key "vrf prefix"; ... }
//   refused    list route { key "a__b"; ... }       "__" stands between the elements of a key path
//
// Functions may be called from any thread; each call makes a schema of its own. They throw `std::bad_alloc`, and
// `load` throws `std::system_error` where it cannot start a thread, nothing else. While modules load, libyang's log
// options are changed for the whole process: errors go into the result, none to stderr.
//
// Memory: what libyang holds of modules that have loaded stays until the process ends. libyang 2.1 also keeps eight
// bytes in the thread for each predicate of an instance-identifier that it reads; no other type of key grows anything.
//
// Not checked: that data exists which a leafref or an instance-identifier names; `when` and `must`.
#pragma once

#include <expected>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "model/Schema.h"

namespace Yang {

/** Which features are on; none of the modules that nobody names here, unless all are. */
struct Features {
  bool all = false;
  /** By module: one of those that are loaded by name. */
  std::map<std::string, std::vector<std::string>, std::less<>> on = {};
};

/** What modules hold. It outlives every handle, value and decoder that was made from it, as every schema does. */
struct Loaded {
  Model::Schema schema;
  /** The entity type "/" of the top level of all modules. */
  Zyn::ZynType root;

  /** The YANG module that an attribute of an entity type belongs to; empty for any other attribute. */
  std::string_view moduleOf(Zyn::ZynAttr attr) const noexcept;

  /** By the attribute's index in the module. */
  std::vector<std::string_view> modules = {};
  /** What `modules` points into; kept until the process ends. */
  std::shared_ptr<void const> context = {};
};

/**
 * Loads modules by name, or "name@revision", and all that they import, from the folders given and those below them.
 * The top level is that of all modules that are implemented then: those named, and those that they augment or refer to.
 *
 * An error is lines for a person: libyang's messages, with file and line where it tells them.
 *
 *   "net/bad.yang:4: Invalid character sequence "foo", expected a keyword."
 */
std::expected<Loaded, std::vector<std::string>> load(std::span<std::string const> folders,
                                                     std::span<std::string const> modules,
                                                     Features const& features = {});

}  // namespace Yang
