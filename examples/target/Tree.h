// The data: a tree of entries, in which lists are hash maps from typed keys, and the one tree of a target.
//
// A tree that was published never changes. A writer copies the root and changes the copy: the entries that it touches
// it makes its own (`own`), all else both share. So readers wait for nobody, however long they look at their tree, a
// request is one transaction, and what it changed is the difference of two trees.
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <span>
#include <vector>

#include "Schema.h"
#include "Status.h"

namespace Target {

struct Entry;
using KeyPtr = Velko::Ptr<Zyn::GenericIf>;

/** The entries of a list by their keys: a tree of sixteen branches by the hash of the key, four bits a level. */
class Entries {
 public:
  Entry const* find(Zyn::GenericIf const& key) const;
  /** For writing; a new entry has its key alone. */
  Entry& at(KeyPtr const& key);
  void erase(Zyn::GenericIf const& key);
  void visit(std::function<void(Entry const&)> const& visit) const;

  using VisitTwo = std::function<void(Entry const* before, Entry* after)>;
  /** The entries that are not the same, null where there is none. Parts that two maps share cost nothing. */
  static void compare(Entries const& before, Entries const& after, VisitTwo const& visit);

  struct Part;
  Part const* whole() const noexcept { return whole_.get(); }

 private:
  std::shared_ptr<Part> whole_;
};

/** An entry of a list, or the root: all leaves in it and in its containers, and the lists. */
struct Entry {
  struct List {
    DataNode const* node;
    Entries entries;
  };

  /** Null in the root. */
  KeyPtr key = {};
  std::size_t hash = 0;
  /**
   * What was set, sorted by node; those of a leaf-list in their order. Without a value stand presence containers, and
   * leaf-lists that were set to nothing.
   */
  std::vector<Leaf> leaves = {};
  std::vector<List> lists = {};

  /** What was set of one leaf. */
  std::span<Leaf const> held(DataNode const& leaf) const noexcept;
  /** The same, or what holds while nothing is set. */
  std::span<Leaf const> values(DataNode const& leaf) const noexcept;
  void set(std::span<Leaf const> values);
  Entries const& list(DataNode const& node) const noexcept;
  /** For writing. */
  Entries& list(DataNode const& node);
};

/** A node with an exact key for each list on the way. */
Gnmi::Resolved resolvedOf(DataNode const& node, std::span<KeyPtr const> keys);

/**
 * Finds, one after the other, the entries that a resolved path selects, or in which the nodes lie that it selects:
 * exact keys are one look-up, others a walk of what can match. The tree and the path outlive it.
 *
 *   for (Walk walk(schema, *tree, wanted, true); walk.next();) { walk.visitLeaves(...); }
 */
class Walk {
 public:
  /**
   * With `isForLeaves`, the entries of lists within are found as well. Entries that are looked at, but for exact keys,
   * are taken from the allowance, where there is one.
   */
  Walk(Schema const& schema, Entry const& root, Gnmi::Resolved const& wanted, bool isForLeaves,
       Allowance* allowance = nullptr)
      : schema_(schema),
        wanted_(wanted),
        isForLeaves_(isForLeaves),
        allowance_(allowance),
        steps_{{0, &schema.root(), &root, nullptr}} {}

  /** Goes on to the next entry; false at the end. Throws `Refused`. */
  bool next();

  std::span<KeyPtr const> keys() const noexcept { return keys_; }
  Entry const& entry() const noexcept { return *at_.entry; }
  /** Leaves with values, of what is wanted, in the order of the schema. */
  void visitLeaves(std::function<void(DataNode const&, std::span<Leaf const>)> const& visit) const;

 private:
  /** What is still to be looked at: an entry, or a part of the entries of a list. */
  struct Step {
    /** How many lists lie around it. */
    std::size_t depth;
    DataNode const* list;
    Entry const* entry;
    Entries::Part const* part;
  };

  Gnmi::Selection const* selection() const noexcept;

  Schema const& schema_;
  Gnmi::Resolved const& wanted_;
  bool isForLeaves_;
  Allowance* allowance_;
  std::vector<KeyPtr> keys_;
  /** The next one is the last. */
  std::vector<Step> steps_;
  Step at_ = {};
};

/** A leaf and its new values, none where it was deleted; or an entry of a list that has gone. */
struct Changed {
  DataNode const* node;
  std::vector<KeyPtr> keys;
  std::vector<Leaf> values;
};

std::vector<Changed> changesBetween(Schema const& schema, Entry const& before, Entry const& after);

/** A part of a request to Set, read and checked. */
struct Edit {
  gnmi::UpdateResult::Operation operation = gnmi::UpdateResult::DELETE;
  /** With exact keys, but for DELETE, and the last one where a list is written as a whole. */
  Gnmi::Resolved at = {};
  /** What the entry around the node, or the entry itself, gets. */
  Entry payload = {};
};

using Tree = std::shared_ptr<Entry const>;

/** The one tree of a target: readers take it as it is, writers make the next one. */
class Store {
 public:
  explicit Store(Schema const& schema) : schema_(schema), tree_(std::make_shared<Entry>()) {}

  Tree tree() const;

  /**
   * One transaction: no reader sees a part of it. `publish` is told what changed before the next one begins. Throws
   * `Refused` where more is looked at than is allowed, and then nothing has happened.
   */
  void commit(std::span<Edit const> edits, Allowance& allowance,
              std::function<void(std::span<Changed const>)> const& publish);
  /** Calls `work` with the tree while no transaction is under way. */
  void between(std::function<void(Tree const&)> const& work);

 private:
  Schema const& schema_;
  /** Held while a tree is made from the last one. */
  std::mutex writing_;
  /** Held while a pointer is copied. */
  mutable std::mutex publishing_;
  Tree tree_;
};

}  // namespace Target
