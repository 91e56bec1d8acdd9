// From textual collection keys to typed key objects.
//
// Data paths such as gNMI's carry the keys of collections as text: `route[vrf=red][protocol=BGP]`. A `ZynKeyDecoder` is
// made for one keyed collection attribute of the type system `Zyn` and does three jobs:
//
//   a whole key       KeyElemNode root(decoder.collectionAttr.keyType(), false);
//                     decoder.processKeyPath(root, "key__vrf", "red");          // once for every field
//                     root.instantiate();                                       // then root.value is the key
//   one scalar key    decoder.decodeScalarKey(type, "name", "eth0");            // or "*": every key
//   a filter          decoder.updateFilter(filter, "vrf", "red");               // attribute -> value
//
// Threads: a decoder never changes, so any number of threads may use one at once, each with a tree or filter map of its
// own. A tree or map belongs to one thread at a time. Nothing is cached between calls.
//
// Ownership: the caller owns the decoder, the tree and the map. Value objects are shared: every holder has a reference
// of its own. Texts are only read, and only during the call; they need no terminating NUL and may hold any bytes.
//
// Binary compatibility: a tree (`Children`) and a filter (`FilterMap`) are Abseil maps that the host and this library
// both work on. So both need the same build of Abseil, as a shared library, and the same compiler options for it.
//
// Errors: what does not fit comes back as one readable text, that of the first thing that went wrong. What was done
// before an error stays done, so drop a tree after an error. All operations are `noexcept`: running out of memory ends
// the process, and so does an exception of the type system other than those that it declares. `what()` of those comes
// back unchanged; the other texts are the following. They and the traces are behaviour that hosts rely on. Paths and
// values are quoted byte for byte, types and attributes by name. The key attribute is the one of the collection's
// entries that holds the key.
//
//   Error text                                                             Filled with
//   '{}' doesn't match any alternatives of Union type '{}'                 value, union type
//   Attribute '{}' not found on Type '{}'                                  path element, type that lacks it
//   Expecting a scalar at leaf element '{}'; found composite of type '{}'  path element, type that holds it
//   Missing attribute '{}' in the key                                      constructor argument
//   Expecting key path '{}' to start with the internal key name '{}'       key path, key attribute
//   Expected key name for '{}' is '{}'; found '{}'                         collection, key attribute, name given
//   Filtering nested key '{}' is not supported                             key path
//   Attribute '{}' is not a keyed collection                               collection
//
// Traces go to the handle "ZynKeyDecoder" at level 7, with the file "Drovan/ZynKeyDecoder". Errors are not traced.
//
//   Class, function                 Trace                                         When: filled with
//   createScalarKey                 Creating scalar key of type '{}'              every type tried for a value: that type
//   decodeScalarKey                 Found a wildcard                              the name fits, the value is "*"
//   processKeyPath                  Processing key path '{}', and value '{}'      on entry: key path, value
//   updateFilter                    Found a filter on '{}' with value '{}'        unless the value is "*": key path, value
//   KeyElemNode, insertPathSuffix   KeyElem type: '{}'                            every node on the path: its type
//   KeyElemNode, insertPathSuffix   Inserting a new KeyElemNode '{}' under '{}'   before inserting: element, parent's type
//   KeyElemNode, construct          Constructing type: '{}'                       on entry: the type to construct
//   KeyElemNode, instantiate        KeyElem type: '{}'                            on entry: the node's type
//
// A type system that breaks its contract meets an assertion, which ends the process: "zynType.isValue()" for a union
// that is no value type, "Unexpectedly failed to decode an s4 encoded value" for a message read as null.
//
// Key paths: attribute names joined by "__", cut from the left; empty elements are kept.
//
//   accepted   "key__vrf"    two elements, `key` and `vrf`; a single underscore is part of a name
//   refused    "key____vrf"  an empty element between, and no attribute has an empty name
//
// Values, by the type that they are decoded into, first match from the top:
//
//   type                          text                                          accepted       refused
//   s4 encoding, when asked for   base64 (RFC 4648, section 4) of the protobuf  CAE=           one that is cut short
//                                 message; padding may be left out, and the
//                                 text ends where the alphabet does
//   gNMI string form              that form                                     10.0.0.0/8     10.0.0/8
//   wrapper                       its inner value's                             7 (VlanId)     70000
//   enumeration                   the name, without quotes                      bgp            BGP
//   string                        any, without quotes                           red
//   other scalars                 the type's literal                            42             4 2
//   union                         the first alternative that decodes            eth0           what fits none
//
// Not checked: quotes inside strings and enumerator names (the type system takes or refuses them), that a tree's root
// was made for the decoder's key type, and that a tree has more than constructor arguments.
#pragma once

#include <absl/container/flat_hash_map.h>
#include <absl/hash/hash.h>

#include <functional>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "KvStd/Expected.h"
#include "Velko/Allocator.h"
#include "Velko/Ptr.h"
#include "Velko/String.h"
#include "Zyn/Zyn.h"

namespace Drovan {

/**
 * Whether one text supplies a value of the type as a whole; every other type is assembled from its attributes. Inline,
 * so that other libraries ask the same question without another exported symbol.
 */
inline bool isScalarKeyType(Zyn::ZynType const& type, bool useS4Encoding) noexcept {
  return (useS4Encoding && type.hasS4Encoding() && type.isValue()) || type.isEnumType() || type.isScalarKind() ||
         !type.valAttr().empty();
}

class ZynKeyDecoder {
 public:
  class KeyElemNode;

  /** The elements of a path: views into the caller's text. */
  using PathElements =
      std::vector<std::string_view, Velko::Allocator<std::string_view, false, Velko::VectorOf<std::string_view>>>;
  using PathIter = PathElements::const_iterator;

  /** Attributes of a key type and the values that they must have. Attributes are told apart by identity, not name. */
  using FilterMap =
      absl::flat_hash_map<Zyn::ZynAttr, Velko::Ptr<Zyn::GenericIf>, absl::Hash<Zyn::ZynAttr>,
                          std::equal_to<Zyn::ZynAttr>,
                          Velko::Allocator<std::pair<Zyn::ZynAttr const, Velko::Ptr<Zyn::GenericIf>>, false,
                                           Velko::AbslFlatHashMapOf<Zyn::ZynAttr, Velko::Ptr<Zyn::GenericIf>>>>;

  /** One key. */
  struct Single {
    Velko::Ptr<Zyn::GenericIf> value;
  };
  /** Every key that has these values; empty for every key there is. */
  struct Multiple {
    FilterMap values;
  };

  /**
   * `collectionAttr` is the keyed collection whose keys are decoded. With `useS4Encoding`, scalar keys and filters take
   * the s4 text of types that have one; a tree goes by the flag of its root instead.
   */
  ZynKeyDecoder(Zyn::ZynAttr collectionAttr, bool useS4Encoding) noexcept
      : collectionAttr(collectionAttr), useS4Encoding(useS4Encoding) {}

  /** Never empty: one element more than separators. The views live as long as the text behind `path`. */
  static PathElements splitPath(std::string_view path) noexcept;

  /**
   * Decodes `value` into a value of `type`. "*" is every key: an empty `Multiple`. Where the collection declares the
   * attribute that holds its key, `keyName` must be that attribute's name; otherwise it is ignored.
   */
  KvStd::Expected<std::variant<Single, Multiple>, Velko::String> decodeScalarKey(Zyn::ZynType type,
                                                                                 std::string_view keyName,
                                                                                 std::string_view value) const noexcept;

  /**
   * Puts one field of a key into the tree under `node`, the root that the caller made for the key type. The path starts
   * with the name of the attribute that holds the key, or with a field that the key and the collection's entries both
   * have; a collection that declares no such attribute takes any path. A path that starts otherwise leaves the tree as
   * it was.
   */
  KvStd::Expected<void, Velko::String> processKeyPath(KeyElemNode& node, std::string_view keyPath,
                                                      std::string_view value) const noexcept;

  /**
   * Decodes `value` for the one attribute of the key type that `keyPath` names and stores it under that attribute, in
   * place of an earlier one. "*" stands for any value and changes nothing, whatever the path. After an error the filter
   * is as it was.
   */
  KvStd::Expected<void, Velko::String> updateFilter(FilterMap& filter, std::string_view keyPath,
                                                    std::string_view value) const noexcept;

  Zyn::ZynAttr const collectionAttr;
  bool const useS4Encoding;
};

/**
 * A node of the tree that mirrors a key type: the root stands for the key, a child for one attribute of its parent's
 * type, a leaf holds the value decoded from one text. A tree is filled path by path, instantiated once, and dropped.
 * A node owns its subtree. It is moved, never copied. While a call works on it nobody else looks at it, the type system
 * that is called included. A tree that was built from may be filled again.
 */
class ZynKeyDecoder::KeyElemNode final {
 public:
  /** The tag under which the memory of child maps is counted. */
  struct KeyElemNodeMapType;

  using Children =
      absl::flat_hash_map<Zyn::ZynAttr, KeyElemNode, absl::Hash<Zyn::ZynAttr>, std::equal_to<Zyn::ZynAttr>,
                          Velko::Allocator<std::pair<Zyn::ZynAttr const, KeyElemNode>, false,
                                           Velko::AbslFlatHashMapOfTag<Zyn::ZynAttr, KeyElemNode, KeyElemNodeMapType>>>;

  /** A node without value and children. `useS4Encoding` goes to every child that is inserted below. */
  KeyElemNode(Zyn::ZynType type, bool useS4Encoding) noexcept;
  KeyElemNode(KeyElemNode&&) noexcept = default;
  KeyElemNode& operator=(KeyElemNode&&) noexcept = default;
  KeyElemNode(KeyElemNode const&) = delete;
  KeyElemNode& operator=(KeyElemNode const&) = delete;
  ~KeyElemNode() = default;

  /**
   * Goes down from this node by attribute names, inserts the nodes that are missing, decodes `value` at the end and
   * stores it there, in place of an earlier one. After an error the nodes that it inserted stay.
   */
  KvStd::Expected<void, Velko::String> insertPathSuffix(PathIter begin, PathIter end,
                                                        Velko::String const& value) noexcept;

  /**
   * Builds a value of `type` from this node's children, once, as it uses them up: each constructor argument, in
   * declared order, is the child of that name, instantiated and taken out of the tree. The name is looked up on the
   * node's own type. A composite argument without a child is built from this same node's children; where that
   * would go round in a circle, it counts as missing. Other children are left alone. Not checked: how long a chain of
   * such arguments is; each takes some of the stack, so the provider bounds it.
   */
  KvStd::Expected<Velko::Ptr<Zyn::GenericIf>, Velko::String> construct(Zyn::ZynType type) noexcept;

  /**
   * Gives the node its value: constructed from its children, then completed by setting every child that is left.
   * Does nothing when the node has a value, so calling it again succeeds - also after an error that left the value
   * incomplete. Never read a value from a tree after an error.
   */
  KvStd::Expected<void, Velko::String> instantiate() noexcept;

  /** What the node stands for. The root's is the key type; a child's is that of the attribute that it is kept under. */
  Zyn::ZynType type;
  /** Whether values below are s4 texts for types that have that encoding. */
  bool useS4Encoding;
  /** Null until decoded or instantiated. */
  Velko::Ptr<Zyn::GenericIf> value;
  /** By attribute of `type`. */
  Children children;
};

}  // namespace Drovan
