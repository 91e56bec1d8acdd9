// The data: a tree of entries, in which lists are hash maps from typed keys.
//
// A tree that was published never changes. A writer copies the root, which costs as much as a pointer, and changes the
// copy: what it touches it makes its own (`own`), all else both share. So readers wait for nobody, however long they
// look at their tree, a request is one transaction, and what it changed is the difference of two trees.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <span>
#include <variant>
#include <vector>

#include "Schema.h"

namespace Target {

struct Entry;

/** A pointer that nobody else has may be written through; else to a copy. Makes what is not there. */
template <typename T>
T& own(std::shared_ptr<T>& pointer) {
  if (pointer == nullptr) {
    pointer = std::make_shared<T>();
  } else if (pointer.use_count() != 1) {
    pointer = std::make_shared<T>(*pointer);
  }
  return *pointer;
}

/** The entries of a list by their keys: a tree of sixteen branches by the hash of the key, four bits a level. */
class Entries {
 public:
  Entry const* find(Zyn::GenericIf const& key) const;
  /** For writing; a new entry has its key alone. */
  Entry& at(Velko::Ptr<Zyn::GenericIf> const& key);
  void erase(Zyn::GenericIf const& key);
  void visit(std::function<void(Entry const&)> const& visit) const;

  using VisitTwo = std::function<void(Entry const* before, Entry const* after)>;
  /** The entries that are not the same, null where there is none. Parts that two maps share cost nothing. */
  static void compare(Entries const& before, Entries const& after, VisitTwo const& visit);

 private:
  struct Part;
  std::shared_ptr<Part> whole_;
};

/** The values of a leaf or leaf-list, a container, or a list. */
using Held = std::variant<std::vector<Value>, std::shared_ptr<Entry>, Entries>;

/** What is in a container or an entry of a list. */
struct Entry {
  struct Child {
    DataNode const* node;
    Held held;
  };

  /** Null in a container. */
  Velko::Ptr<Zyn::GenericIf> key = {};
  std::vector<Child> children = {};

  Held const* find(DataNode const& node) const noexcept;
  Held& at(DataNode const& node);
  void erase(DataNode const& node);

  // Reading, with what holds while nothing is set.

  std::span<Value const> values(DataNode const& node) const noexcept;
  /** Null where there is none. */
  Entry const* container(DataNode const& node) const noexcept;
  Entries const& list(DataNode const& node) const noexcept;
};

using EntryPtr = std::shared_ptr<Entry>;

/** The nodes from the root to where one is, with the keys on the way. */
class Place {
 public:
  void enter(DataNode const& node, Velko::Ptr<Zyn::GenericIf> key = nullptr);
  void leave();
  Gnmi::Resolved const& resolved() const noexcept { return resolved_; }

 private:
  Gnmi::Resolved resolved_;
};

/** Where a node with data is: `entry` is what is in the container or entry, or what is around the leaf. */
using VisitNode = std::function<void(Place& place, DataNode const& node, Entry const& entry)>;

/** Every node that has data and that `wanted` selects: exact keys are one look-up, others a walk of what can match. */
void findNodes(Schema const& schema, Entry const& root, Gnmi::Resolved const& wanted, VisitNode const& visit);
/** Every leaf at or below a node. */
void findLeaves(Place& place, DataNode const& node, Entry const& entry, VisitNode const& visit);

/** What happened to a leaf, or to an entry that has gone: then there is no `node`. */
using VisitChange = std::function<void(Place& place, DataNode const* node, std::span<Value const> values)>;

void compareTrees(Place& place, DataNode const& node, Entry const* before, Entry const* after,
                  VisitChange const& visit);

/** A part of a request to Set, read and checked: all that can be wrong with it was found before. */
struct Edit {
  enum class Kind : std::uint8_t { Delete, Replace, Update };

  Kind kind = Kind::Delete;
  /** With exact keys, but for Delete, and the last one where a list is written as a whole. */
  Gnmi::Resolved at = {};
  Held payload = {};
};

void apply(Schema const& schema, Entry& root, Edit const& edit);
/** The entry of a list, with its keys as leaves. */
Entry& entryOf(Entries& entries, DataNode const& list, Velko::Ptr<Zyn::GenericIf> const& key);

}  // namespace Target
