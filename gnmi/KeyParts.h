// The parts of one key that a path gives, and whether the decoder can build the key from them.
//
// A key type is built from its constructor arguments, and those that are composite are built from theirs. The given
// parts form the tree that the decoder would make of them, but without values, so that the question is answered before
// any value is decoded:
//
//   KeyParts parts(site, false);                         // Site(row, seat)
//   parts.add(KeyParts::root, site.attr("row"));         // then set its `key`: [row=1] gives it
//   parts.build(1000).complete                           // false: no seat
//
// Used by gnmi/KeyPlan.cpp; not installed. Threads: an object belongs to one thread; types are only read. It throws
// `std::bad_alloc` only. Nothing recurses, so neither a path nor a type can exhaust the stack. Time and memory are
// linear in the parts added and in the steps that `build` counts, of which each builds an argument or looks at a part.
#pragma once

#include <absl/container/flat_hash_map.h>

#include <cstddef>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Zyn/Zyn.h"

namespace Gnmi {

class KeyParts {
 public:
  /** Of a part, in the order added. The root stands for the whole key. */
  using Index = std::size_t;
  static constexpr Index root = 0;
  static constexpr Index none = static_cast<Index>(-1);

  struct Part {
    Zyn::ZynType type;
    /** Of the parent's type; empty for the root. */
    Zyn::ZynAttr attr = {};
    /** The part that this one belongs to; `none` for the root. */
    Index parent = none;
    /** The caller's index of the key that gives the part as one value; `none` where only parts of it are given. */
    std::size_t key = none;
    Index firstChild = none;
    Index nextSibling = none;
    /** Whether `build` has used the part as an argument, and how many of its children. */
    bool used = false;
    std::size_t usedChildren = 0;
  };

  struct Result {
    /** Whether no part is missing. If one is, only `steps` is known. */
    bool complete = false;
    /** How many types are being built within each other where the decoder builds the key. */
    std::size_t levels = 0;
    /** How many arguments the decoder builds, each as often as it does. */
    std::size_t arguments = 0;
    /** How many steps finding this out took. */
    std::size_t steps = 0;
  };

  /** An argument of a part that is not among its children. */
  struct Missing {
    Index part = root;
    std::string_view argument;
  };

  /** With `useS4Encoding`, a type that has an s4 encoding is one value, as in the decoder. */
  KeyParts(Zyn::ZynType keyType, bool useS4Encoding);

  /** The child of `parent` for that attribute of the parent's type, which is added unless it is there. */
  Index add(Index parent, Zyn::ZynAttr attr);

  /** The reference is valid until the next `add`. */
  Part& operator[](Index part) { return parts_[part]; }

  /**
   * Takes the steps of the decoder's `instantiate` and `construct`:
   *
   * - An argument is looked up among the children of the part being built, and used up.
   * - A composite argument that is not among them is built from those children as well. Where its type is being built
   *   from them already, and none was used since, that would go in circles: a part is missing.
   * - Children that are no arguments are built too, since they are set on the key afterwards.
   *
   * A type whose construction once used no child uses none the next time either, so its cost is added without building
   * it again. This keeps the steps few where each type has two arguments of the next type, and so on. Counting ends
   * soon after `mostArguments`: the result then says `complete`, more than `mostArguments`, and no levels.
   *
   * Call it once, when all parts are added.
   */
  Result build(std::size_t mostArguments);

  /** What would make the key whole: the arguments that are left out of each part, in the order of adding. */
  std::vector<Missing> missing() const;
  /** As a path names it: all names down to it, joined by "__". */
  std::string nameOf(Missing const& argument) const;

 private:
  struct Construction;

  /** The child of `parent` for that attribute; `none` where it is not given or used up. */
  Index unused(Index parent, Zyn::ZynAttr attr) const;

  bool useS4Encoding_;
  std::vector<Part> parts_;
  absl::flat_hash_map<std::pair<Index, Zyn::ZynAttr>, Index> children_;
};

}  // namespace Gnmi
