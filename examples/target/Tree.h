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
#include "Status.h"

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

  struct Part;
  Part const* whole() const noexcept { return whole_.get(); }

 private:
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
  /** For writing; made where there is none. */
  Held& at(DataNode const& node);
  void erase(DataNode const& node);
};

// Reading, with what holds while nothing is set; nothing where there is no entry.

std::span<Value const> valuesAt(Entry const* entry, DataNode const& node) noexcept;
Entry const* containerAt(Entry const* entry, DataNode const& node) noexcept;
Entries const& listAt(Entry const* entry, DataNode const& node) noexcept;

using EntryPtr = std::shared_ptr<Entry>;

/** The nodes from the root to where one is, with the keys on the way. */
class Place {
 public:
  void enter(DataNode const& node, Velko::Ptr<Zyn::GenericIf> key = nullptr);
  /** Back to where `size` nodes lie behind. */
  void leave(std::size_t size);
  Gnmi::Resolved const& resolved() const noexcept { return resolved_; }

 private:
  Gnmi::Resolved resolved_;
};

/**
 * Finds, one after the other, the nodes with data that a resolved path selects: exact keys are one look-up, others a
 * walk of what can match. The tree and the path outlive it.
 *
 *   for (Walk walk(schema, *tree, wanted, true); walk.next();) { use(walk.place(), walk.node(), walk.entry()); }
 */
class Walk {
 public:
  /**
   * With `isForLeaves`, the leaves at and below those nodes in their place. Entries that are looked at, but for exact
   * keys, are taken from the allowance, where there is one.
   */
  Walk(Schema const& schema, Entry const& root, Gnmi::Resolved const& wanted, bool isForLeaves,
       Allowance* allowance = nullptr);

  /** Goes on to the next node; false at the end. Throws `Refused`. */
  bool next();

  Gnmi::Resolved const& place() const noexcept { return place_.resolved(); }
  DataNode const& node() const noexcept { return *at_.node; }
  /** What is in the container or list entry, or what is around the leaf. */
  Entry const& entry() const noexcept { return *at_.entry; }

 private:
  /** What is still to be looked at: a node with data, or a part of the entries of a list. */
  struct Step {
    /** How many nodes lie before it. */
    std::size_t depth;
    DataNode const* node;
    Entry const* entry;
    Entries::Part const* part;
  };

  void addChild(DataNode const& child, Entry const& entry, std::size_t depth);
  Gnmi::Selection const* selection() const;

  Schema const& schema_;
  Gnmi::Resolved const& wanted_;
  bool isForLeaves_;
  Allowance* allowance_;
  Place place_;
  /** The next one is the last. */
  std::vector<Step> steps_;
  Step at_ = {};
};

/** A leaf and its new values, none where it was deleted; or an entry that has gone: then there is no `node`. */
struct Changed {
  Gnmi::Resolved at;
  DataNode const* node;
  std::vector<Value> values;
};

std::vector<Changed> changesBetween(Schema const& schema, Entry const& before, Entry const& after);

/** A part of a request to Set, read and checked. */
struct Edit {
  enum class Kind : std::uint8_t { Delete, Replace, Update };

  Kind kind = Kind::Delete;
  /** With exact keys, but for Delete, and the last one where a list is written as a whole. */
  Gnmi::Resolved at = {};
  Held payload = {};
};

/** Writes one leaf, by exact keys. */
void writeLeafAt(Schema const& schema, Entry& root, Gnmi::Resolved const& at, std::vector<Value> const& values);
/** Throws `Refused` where more is looked at than is allowed: the tree is then of no use. */
void apply(Schema const& schema, Entry& root, Edit const& edit, Allowance& allowance);

}  // namespace Target
