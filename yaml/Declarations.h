// The types that a file declares, and what the names of types mean in it. Not installed: only yaml/ looks in here.
#pragma once

#include <deque>
#include <string>
#include <string_view>
#include <vector>

#include "Zyn/Zyn.h"
#include "text/NameHash.h"
#include "yaml/File.h"
#include "yaml/Tree.h"

namespace Yaml {

/** A type as a file declares it. */
struct Declaration {
  Node const* node = nullptr;
  /** What stands after the kind's name. */
  Node const* content = nullptr;
  std::string_view kind = {};
  /** Empty until it is built, and when its declaration is at fault. */
  Zyn::ZynType type = {};
  /** Of an entity: the types of its plain attributes. */
  Text::NameMap<Zyn::ZynType> plain = {};
  // Whether the traversals of declarations have visited it.
  bool isInChain = false;
  bool isOrdered = false;
};

/** Null when the map has no such key. Maps that this is asked of have few keys, or are asked once. */
Node const* child(Node const& map, std::string_view key);

/** Letters, digits and '_', not starting with a digit; anything else is reported as no name for `what`, "a type". */
bool checkName(Problems& problems, Place place, std::string_view name, std::string_view what);

class Declarations {
 public:
  /** `types` maps names to declarations. Both outlive the object. */
  Declarations(File& file, Node const& types);

  /** In the order of the file. */
  std::deque<Declaration>& all() { return all_; }

  /** Null when the file declares no such type, or in no usable way. */
  Declaration* own(std::string_view name) const;

  /** Empty when there is none; that has been reported, here or where the type is declared. */
  Zyn::ZynType typeNamed(Node const& name);

  /** `first`, what it wraps, what that wraps and so on, as far as it has not been asked for; circles are reported. */
  std::vector<Declaration*> wrapperChain(Declaration& first);

  /**
   * Value types and unions, each after those that it contains. Types are built fastest so: none gets deeper when others
   * use it already.
   */
  std::vector<Declaration*> innerFirst();

  /** For files that import this one: which of its types are at fault. */
  void markFailed();

 private:
  /** Fills in kind and content. False when it is of no use; that has been reported. */
  bool read(Declaration& declaration);
  /** Of core types, imported and own ones, for suggestions. */
  std::vector<std::string> const& names();

  File& file_;
  Node const& types_;
  std::deque<Declaration> all_;
  /** Null for a declaration that is of no use. */
  Text::NameMap<Declaration*> byName_;
  std::vector<std::string> names_;
};

}  // namespace Yaml
