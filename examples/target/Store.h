// The one tree of a target: readers take it as it is, writers make the next one.
#pragma once

#include <functional>
#include <mutex>
#include <span>
#include <vector>

#include "Tree.h"

namespace Target {

using Tree = std::shared_ptr<Entry const>;

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
  /** Adds one to the counter of every entry that changed and is still there. */
  void count(Entry& root, std::vector<Changed>& changes) const;

  Schema const& schema_;
  /** Held while a tree is made from the last one. */
  std::mutex writing_;
  /** Held while a pointer is copied. */
  mutable std::mutex publishing_;
  Tree tree_;
};

}  // namespace Target
