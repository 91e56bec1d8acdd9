#include "Tree.h"

#include <algorithm>
#include <ranges>
#include <string>
#include <type_traits>
#include <utility>

namespace Target {

using Drovan::ZynKeyDecoder;
using EntryPtr = std::shared_ptr<Entry>;

namespace {

constexpr std::size_t branchBits = 4;
constexpr std::size_t branchCount = 1U << branchBits;
/** A part with more entries branches, while bits of the hash are left. */
constexpr std::size_t fewEntries = 8;
constexpr std::size_t hashBits = 64;

Entries const noEntries;

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

std::size_t branchOf(std::size_t hash, std::size_t shift) { return (hash >> shift) % branchCount; }

bool isAt(Entry const& entry, Zyn::GenericIf const& key, std::size_t hash) {
  return entry.key.get() == &key || (entry.hash == hash && Model::equal(*entry.key, key));
}

}  // namespace

struct Entries::Part {
  /** None, where there are branches. */
  std::vector<EntryPtr> entries = {};
  std::vector<std::shared_ptr<Part>> branches = {};

  static Entry const* find(Part const* part, Zyn::GenericIf const& key, std::size_t hash, std::size_t shift) {
    for (; part != nullptr && !part->branches.empty(); shift += branchBits) {
      part = part->branches[branchOf(hash, shift)].get();
    }
    for (std::size_t i = 0; part != nullptr && i < part->entries.size(); ++i) {
      if (isAt(*part->entries[i], key, hash)) {
        return part->entries[i].get();
      }
    }
    return nullptr;
  }

  static void visit(Part const* part, std::function<void(EntryPtr const&)> const& visitOne) {
    if (part != nullptr) {
      std::ranges::for_each(part->entries, visitOne);
      std::ranges::for_each(part->branches, [&](auto const& branch) { visit(branch.get(), visitOne); });
    }
  }

  static void compare(Part const* before, Part const* after, std::size_t shift, VisitTwo const& visitTwo) {
    if (before == after) {
      return;
    }
    if (before != nullptr && after != nullptr && !before->branches.empty() && !after->branches.empty()) {
      for (std::size_t i = 0; i < branchCount; ++i) {
        compare(before->branches[i].get(), after->branches[i].get(), shift + branchBits, visitTwo);
      }
      return;
    }
    visit(before, [&](EntryPtr const& entry) {
      if (find(after, *entry->key, entry->hash, shift) == nullptr) {
        visitTwo(entry.get(), nullptr);
      }
    });
    visit(after, [&](EntryPtr const& entry) {
      Entry const* const former = find(before, *entry->key, entry->hash, shift);
      if (former != entry.get()) {
        visitTwo(former, entry.get());
      }
    });
  }
};

Entry const* Entries::find(Zyn::GenericIf const& key) const {
  return Part::find(whole_.get(), key, Model::hash(key), 0);
}

Entry& Entries::at(KeyPtr const& key) {
  std::size_t const hash = Model::hash(*key);
  std::shared_ptr<Part>* at = &whole_;
  for (std::size_t shift = 0;; shift += branchBits) {
    Part& part = own(*at);
    if (part.branches.empty()) {
      for (EntryPtr& entry : part.entries) {
        if (isAt(*entry, *key, hash)) {
          return own(entry);
        }
      }
      if (part.entries.size() < fewEntries || shift >= hashBits) {
        return *part.entries.emplace_back(std::make_shared<Entry>(Entry{.key = key, .hash = hash}));
      }
      part.branches.resize(branchCount);
      for (EntryPtr& entry : std::exchange(part.entries, {})) {
        own(part.branches[branchOf(entry->hash, shift)]).entries.push_back(std::move(entry));
      }
    }
    at = &part.branches[branchOf(hash, shift)];
  }
}

void Entries::erase(Zyn::GenericIf const& key) {
  std::size_t const hash = Model::hash(key);
  Part* part = &own(whole_);
  for (std::size_t shift = 0; !part->branches.empty(); shift += branchBits) {
    part = &own(part->branches[branchOf(hash, shift)]);
  }
  std::erase_if(part->entries, [&](EntryPtr const& entry) { return isAt(*entry, key, hash); });
}

void Entries::visit(std::function<void(Entry const&)> const& visit) const {
  Part::visit(whole_.get(), [&](EntryPtr const& entry) { visit(*entry); });
}

void Entries::compare(Entries const& before, Entries const& after, VisitTwo const& visit) {
  Part::compare(before.whole_.get(), after.whole_.get(), 0, visit);
}

std::span<Leaf const> Entry::held(DataNode const& leaf) const noexcept {
  return std::ranges::equal_range(leaves, &leaf, {}, &Leaf::node);
}

std::span<Leaf const> Entry::values(DataNode const& leaf) const noexcept {
  auto const found = held(leaf);
  if (found.empty() && (leaf.presence == nullptr || !held(*leaf.presence).empty())) {
    return leaf.defaults;
  }
  return found.empty() || found.front().value ? found : std::span<Leaf const>();
}

void Entry::set(std::span<Leaf const> values) {
  auto const former = std::ranges::equal_range(leaves, values.front().node, {}, &Leaf::node);
  leaves.insert(leaves.erase(former.begin(), former.end()), values.begin(), values.end());
}

Entries const& Entry::list(DataNode const& node) const noexcept {
  auto const found = std::ranges::find(lists, &node, &List::node);
  return found == lists.end() ? noEntries : found->entries;
}

Entries& Entry::list(DataNode const& node) {
  auto const found = std::ranges::find(lists, &node, &List::node);
  return (found == lists.end() ? lists.emplace_back(&node, Entries()) : *found).entries;
}

Gnmi::Resolved resolvedOf(DataNode const& node, std::span<KeyPtr const> keys) {
  Gnmi::Resolved made;
  for (DataNode const* const on : node.way) {
    made.node = {on->attr, on->type(), on->kind};
    made.nodes.push_back(on->attr);
    if (on->kind == Gnmi::NodeKind::List) {
      KeyPtr const& key = keys[made.selections.size()];
      made.selections.push_back({made.nodes.size() - 1, on->attr, ZynKeyDecoder::Single{key}});
    }
  }
  return made;
}

/** Which entries of the next list on the way are wanted; null where all are. */
Gnmi::Selection const* Walk::selection() const noexcept {
  return keys_.size() < wanted_.selections.size() ? &wanted_.selections[keys_.size()].selection : nullptr;
}

bool Walk::next() {
  while (!steps_.empty()) {
    Step const step = steps_.back();
    steps_.pop_back();
    keys_.resize(step.depth);
    if (step.entry == nullptr) {
      for (auto const& branch : step.part->branches) {
        if (branch != nullptr) {
          steps_.push_back({step.depth, step.list, nullptr, branch.get()});
        }
      }
      auto const* const wanted = selection();
      for (EntryPtr const& entry : step.part->entries) {
        if (allowance_ != nullptr) {
          allowance_->takeEntry();
        }
        if (wanted == nullptr || Model::matches(std::get<ZynKeyDecoder::Multiple>(*wanted).values, *entry->key)) {
          steps_.push_back({step.depth, step.list, entry.get(), nullptr});
        }
      }
      continue;
    }
    if (step.entry->key) {
      keys_.push_back(step.entry->key);
    }
    auto const enter = [&](DataNode const& list) {
      Entries const& entries = step.entry->list(list);
      auto const* const exact = std::get_if<ZynKeyDecoder::Single>(selection());
      Entry const* const entry = exact == nullptr ? nullptr : entries.find(*exact->value);
      Entries::Part const* const part = exact == nullptr ? entries.whole() : nullptr;
      if (entry != nullptr || part != nullptr) {
        steps_.push_back({keys_.size(), &list, entry, part});
      }
    };
    if (selection() != nullptr) {
      enter(schema_.node(wanted_.selections[keys_.size()].collection));
      continue;
    }
    for (DataNode const* const list : step.list->lists | std::views::reverse) {
      if (isForLeaves_ && list->isWithin(schema_.node(wanted_.node.attr))) {
        enter(*list);
      }
    }
    at_ = step;
    return true;
  }
  return false;
}

void Walk::visitLeaves(std::function<void(DataNode const&, std::span<Leaf const>)> const& visit) const {
  for (DataNode const* const leaf : at_.list->leaves) {
    if (leaf->isWithin(schema_.node(wanted_.node.attr))) {
      if (auto const values = at_.entry->values(*leaf); !values.empty()) {
        visit(*leaf, values);
      }
    }
  }
}

namespace {

bool isSame(std::span<Leaf const> a, std::span<Leaf const> b) {
  return std::ranges::equal(
      a, b, [](Leaf const& x, Leaf const& y) { return x.value == y.value || Model::equal(*x.value, *y.value); });
}

/** An entry that may be written gets its counter advanced where something has changed. */
template <typename After>
void compareEntries(DataNode const& list, Entry const* before, After& after, std::vector<KeyPtr>& keys,
                    std::vector<Changed>& changes) {
  std::size_t const others = changes.size();
  for (DataNode const* const leaf : list.leaves) {
    auto const values = after.values(*leaf);
    if (!isSame(before == nullptr ? std::span<Leaf const>() : before->values(*leaf), values)) {
      changes.push_back({leaf, keys, {values.begin(), values.end()}});
    }
  }
  for (DataNode const* const within : list.lists) {
    Entries::compare(before == nullptr ? noEntries : before->list(*within), std::as_const(after).list(*within),
                     [&](Entry const* was, Entry* is) {
                       keys.push_back((is != nullptr ? is : was)->key);
                       if (is == nullptr) {
                         changes.push_back({within, keys, {}});
                       } else {
                         compareEntries<std::conditional_t<std::is_const_v<After>, Entry const, Entry>>(
                             *within, was, *is, keys, changes);
                       }
                       keys.pop_back();
                     });
  }
  if constexpr (!std::is_const_v<After>) {
    if (list.counter != nullptr && changes.size() != others) {
      auto const former = after.values(*list.counter);
      std::uint64_t const count = former.empty() ? 0 : Model::as<std::uint64_t>(*former.front().value);
      std::vector const counted{Leaf(list.counter, readText(list.counter->type(), std::to_string(count + 1)))};
      after.set(counted);
      changes.push_back({list.counter, keys, counted});
    }
  }
}

/** The entry of a list, with its keys as leaves. */
Entry& entryOf(Entries& entries, DataNode const& list, KeyPtr const& key) {
  Entry& entry = entries.at(key);
  if (entry.leaves.empty()) {
    for (DataNode const* const leaf : list.keys) {
      entry.set(std::vector{Leaf(leaf, list.keys.size() == 1 ? key : Model::attribute(*key, leaf->attr.name()))});
    }
  }
  return entry;
}

/**
 * For writing: the entry in which the node lies, or the entry of that list; without its key, the one around it. With
 * `isMade`, presence containers on the way are there from now on.
 */
Entry& entryAt(Entry& root, DataNode const& node, std::span<KeyPtr const> keys, bool isMade) {
  Entry* entry = &root;
  for (DataNode const* const on : node.way) {
    if (on->kind == Gnmi::NodeKind::List && !keys.empty()) {
      entry = &entryOf(entry->list(*on), *on, keys.front());
      keys = keys.subspan(1);
    } else if (on->isPresence && isMade) {
      entry->set(std::vector{Leaf(on, nullptr)});
    }
  }
  return *entry;
}

/** Adds the payload. With `replaces`, nothing else stays of the node's configuration but keys. */
void write(DataNode const& node, Entry& into, Entry const& payload, bool replaces) {
  if (replaces) {
    std::erase_if(into.leaves, [&](Leaf const& leaf) {
      return leaf.node->isWithin(node) && !leaf.node->isKey && !leaf.node->isState;
    });
    std::erase_if(into.lists, [&](Entry::List const& list) {
      return list.node->isWithin(node) && payload.list(*list.node).whole() == nullptr;
    });
  }
  for (auto at = payload.leaves.begin(); at != payload.leaves.end();) {
    auto const end = std::find_if(at, payload.leaves.end(), [&](Leaf const& leaf) { return leaf.node != at->node; });
    into.set({at, end});
    at = end;
  }
  for (auto const& [list, wanted] : payload.lists) {
    Entries& entries = into.list(*list);
    if (replaces) {
      Entries const before = entries;
      before.visit([&](Entry const& entry) {
        if (wanted.find(*entry.key) == nullptr) {
          entries.erase(*entry.key);
        }
      });
    }
    wanted.visit([&](Entry const& entry) { write(*list, entryOf(entries, *list, entry.key), entry, replaces); });
  }
}

void apply(Schema const& schema, Entry& root, Edit const& edit, Allowance& allowance) {
  DataNode const& node = schema.node(edit.at.node.attr);
  if (edit.operation != gnmi::UpdateResult::DELETE) {
    std::vector<KeyPtr> keys;
    for (Gnmi::Selected const& selected : edit.at.selections) {
      if (auto const* const exact = std::get_if<ZynKeyDecoder::Single>(&selected.selection)) {
        keys.push_back(exact->value);
      }
    }
    write(node, entryAt(root, node, keys, true), edit.payload, edit.operation == gnmi::UpdateResult::REPLACE);
    return;
  }
  // What is walked stays as it is while the other changes.
  Entry const before = root;
  for (Walk walk(schema, before, edit.at, false, &allowance); walk.next();) {
    if (auto const keys = walk.keys(); node.kind == Gnmi::NodeKind::List) {
      entryAt(root, node, keys.first(keys.size() - 1), false).list(node).erase(*keys.back());
    } else {
      write(node, entryAt(root, node, keys, false), {}, true);
    }
  }
}

}  // namespace

std::vector<Changed> changesBetween(Schema const& schema, Entry const& before, Entry const& after) {
  std::vector<KeyPtr> keys;
  std::vector<Changed> changes;
  compareEntries(schema.root(), &before, after, keys, changes);
  return changes;
}

Tree Store::tree() const {
  std::lock_guard const lock(publishing_);
  return tree_;
}

void Store::commit(std::span<Edit const> edits, Allowance& allowance,
                   std::function<void(std::span<Changed const>)> const& publish) {
  std::lock_guard const lock(writing_);
  Tree const before = tree();
  auto const after = std::make_shared<Entry>(*before);
  for (Edit const& edit : edits) {
    apply(schema_, *after, edit, allowance);
  }
  std::vector<KeyPtr> keys;
  std::vector<Changed> changes;
  compareEntries(schema_.root(), before.get(), *after, keys, changes);
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

}  // namespace Target
