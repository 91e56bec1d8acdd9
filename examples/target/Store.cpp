#include "Store.h"

#include <set>
#include <string>
#include <utility>

namespace Target {

Tree Store::tree() const {
  std::lock_guard const lock(publishing_);
  return tree_;
}

void Store::commit(std::span<Edit const> edits, Allowance& allowance,
                   std::function<void(std::span<Changed const>)> const& publish) {
  std::lock_guard const lock(writing_);
  Tree before = tree();
  auto const after = std::make_shared<Entry>(*before);
  for (Edit const& edit : edits) {
    apply(schema_, *after, edit, allowance);
  }
  std::vector<Changed> changes = changesBetween(schema_, *before, *after);
  count(*after, changes);
  {
    std::lock_guard const swap(publishing_);
    tree_ = after;
  }
  publish(changes);
}

void Store::between(std::function<void(Tree const&)> const& work) {
  std::lock_guard const lock(writing_);
  work(tree());
}

void Store::count(Entry& root, std::vector<Changed>& changes) const {
  std::set<Zyn::GenericIf const*> counted;
  std::size_t const others = changes.size();
  for (std::size_t i = 0; i < others; ++i) {
    for (std::size_t s = 0; s < changes[i].at.selections.size(); ++s) {
      Gnmi::Selected const& selected = changes[i].at.selections[s];
      DataNode const& list = schema_.node(selected.collection);
      bool const isGone = changes[i].node == nullptr && s + 1 == changes[i].at.selections.size();
      auto const& key = std::get<Drovan::ZynKeyDecoder::Single>(selected.selection).value;
      if (list.counter == nullptr || isGone || !counted.insert(key.get()).second) {
        continue;
      }
      Gnmi::Resolved at = changes[i].at;
      at.nodes.resize(selected.node + 1);
      at.nodes.insert(at.nodes.end(), {list.counterParent->attr, list.counter->attr});
      at.selections.resize(s + 1);
      at.node = {list.counter->attr, list.counter->type(), list.counter->kind};
      std::uint64_t former = 0;
      for (Walk walk(schema_, root, at, true); walk.next();) {
        former = Model::as<std::uint64_t>(*valuesAt(&walk.entry(), *list.counter).front());
      }
      std::vector const values{readText(list.counter->type(), std::to_string(former + 1))};
      writeLeafAt(schema_, root, at, values);
      changes.push_back({std::move(at), list.counter, values});
    }
  }
}

}  // namespace Target
