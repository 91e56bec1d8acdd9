#include "Tree.h"

#include <algorithm>
#include <ranges>
#include <utility>

namespace Target {

using Drovan::ZynKeyDecoder;

namespace {

constexpr std::size_t branchBits = 4;
constexpr std::size_t branchCount = 1U << branchBits;
/** A part with more entries branches, while bits of the hash are left. */
constexpr std::size_t fewEntries = 8;
constexpr std::size_t hashBits = 64;

Entry const nothing;
Entries const noEntries;

bool sameValues(std::span<Value const> a, std::span<Value const> b) {
  return std::ranges::equal(a, b, [](Value const& x, Value const& y) { return x == y || Model::equal(*x, *y); });
}

}  // namespace

struct Entries::Part {
  /** None, where there are branches. */
  std::vector<std::shared_ptr<Entry>> entries = {};
  std::vector<std::shared_ptr<Part>> branches = {};

  static std::size_t branchOf(std::size_t hash, std::size_t shift) { return (hash >> shift) % branchCount; }

  static Entry const* find(Part const* part, Zyn::GenericIf const& key, std::size_t hash, std::size_t shift) {
    for (; part != nullptr && !part->branches.empty(); shift += branchBits) {
      part = part->branches[branchOf(hash, shift)].get();
    }
    if (part != nullptr) {
      for (auto const& entry : part->entries) {
        if (Model::equal(*entry->key, key)) {
          return entry.get();
        }
      }
    }
    return nullptr;
  }

  static void visitAll(Part const* part, std::function<void(Entry const&)> const& visit) {
    if (part != nullptr) {
      std::ranges::for_each(part->entries, [&](auto const& entry) { visit(*entry); });
      std::ranges::for_each(part->branches, [&](auto const& branch) { visitAll(branch.get(), visit); });
    }
  }

  static void compare(Part const* before, Part const* after, std::size_t shift, VisitTwo const& visit) {
    if (before == after) {
      return;
    }
    if (before != nullptr && after != nullptr && !before->branches.empty() && !after->branches.empty()) {
      for (std::size_t i = 0; i < branchCount; ++i) {
        compare(before->branches[i].get(), after->branches[i].get(), shift + branchBits, visit);
      }
      return;
    }
    visitAll(before, [&](Entry const& entry) {
      if (find(after, *entry.key, Model::hash(*entry.key), shift) == nullptr) {
        visit(&entry, nullptr);
      }
    });
    visitAll(after, [&](Entry const& entry) {
      Entry const* const former = find(before, *entry.key, Model::hash(*entry.key), shift);
      if (former != &entry) {
        visit(former, &entry);
      }
    });
  }
};

Entry const* Entries::find(Zyn::GenericIf const& key) const {
  return Part::find(whole_.get(), key, Model::hash(key), 0);
}

Entry& Entries::at(Velko::Ptr<Zyn::GenericIf> const& key) {
  std::size_t const hash = Model::hash(*key);
  std::shared_ptr<Part>* at = &whole_;
  for (std::size_t shift = 0;; shift += branchBits) {
    Part& part = own(*at);
    if (part.branches.empty()) {
      for (auto& entry : part.entries) {
        if (Model::equal(*entry->key, *key)) {
          return own(entry);
        }
      }
      if (part.entries.size() < fewEntries || shift >= hashBits) {
        return *part.entries.emplace_back(std::make_shared<Entry>(Entry{.key = key}));
      }
      part.branches.resize(branchCount);
      for (auto& entry : part.entries) {
        auto& branch = part.branches[Part::branchOf(Model::hash(*entry->key), shift)];
        own(branch).entries.push_back(std::move(entry));
      }
      part.entries.clear();
    }
    at = &part.branches[Part::branchOf(hash, shift)];
  }
}

void Entries::erase(Zyn::GenericIf const& key) {
  if (find(key) == nullptr) {
    return;
  }
  std::size_t const hash = Model::hash(key);
  Part* part = &own(whole_);
  for (std::size_t shift = 0; !part->branches.empty(); shift += branchBits) {
    part = &own(part->branches[Part::branchOf(hash, shift)]);
  }
  std::erase_if(part->entries, [&](auto const& entry) { return Model::equal(*entry->key, key); });
}

void Entries::visit(std::function<void(Entry const&)> const& visit) const { Part::visitAll(whole_.get(), visit); }

void Entries::compare(Entries const& before, Entries const& after, VisitTwo const& visit) {
  Part::compare(before.whole_.get(), after.whole_.get(), 0, visit);
}

Held const* Entry::find(DataNode const& node) const noexcept {
  auto const found = std::ranges::find(children, &node, &Child::node);
  return found == children.end() ? nullptr : &found->held;
}

Held& Entry::at(DataNode const& node) {
  auto const found = std::ranges::find(children, &node, &Child::node);
  if (found != children.end()) {
    return found->held;
  }
  Held held;
  if (!node.isLeaf()) {
    held = node.kind == Gnmi::NodeKind::List ? Held(Entries()) : Held(std::make_shared<Entry>());
  }
  return children.emplace_back(&node, std::move(held)).held;
}

void Entry::erase(DataNode const& node) {
  std::erase_if(children, [&](Child const& child) { return child.node == &node; });
}

std::span<Value const> valuesAt(Entry const* entry, DataNode const& node) noexcept {
  Held const* const held = entry == nullptr ? nullptr : entry->find(node);
  return held != nullptr    ? std::get<std::vector<Value>>(*held)
         : entry == nullptr ? std::span<Value const>()
                            : node.defaults;
}

Entry const* containerAt(Entry const* entry, DataNode const& node) noexcept {
  Held const* const held = entry == nullptr ? nullptr : entry->find(node);
  return held != nullptr ? std::get<EntryPtr>(*held).get() : entry == nullptr || node.isPresence ? nullptr : &nothing;
}

Entries const& listAt(Entry const* entry, DataNode const& node) noexcept {
  Held const* const held = entry == nullptr ? nullptr : entry->find(node);
  return held == nullptr ? noEntries : std::get<Entries>(*held);
}

void Place::enter(DataNode const& node, Velko::Ptr<Zyn::GenericIf> key) {
  resolved_.nodes.push_back(node.attr);
  resolved_.node = {node.attr, node.type(), node.kind};
  if (key) {
    resolved_.selections.push_back({resolved_.nodes.size() - 1, node.attr, ZynKeyDecoder::Single{std::move(key)}});
  }
}

void Place::leave(std::size_t size) {
  resolved_.nodes.resize(size);
  while (!resolved_.selections.empty() && resolved_.selections.back().node >= size) {
    resolved_.selections.pop_back();
  }
}

Walk::Walk(Schema const& schema, Entry const& root, Gnmi::Resolved const& wanted, bool isForLeaves,
           Allowance* allowance)
    : schema_(schema),
      wanted_(wanted),
      isForLeaves_(isForLeaves),
      allowance_(allowance),
      steps_{{0, &schema.root(), &root, nullptr}} {}

/** Which entries of the next list on the way are wanted; null where all are. */
Gnmi::Selection const* Walk::selection() const {
  std::size_t const passed = place().selections.size();
  return passed < wanted_.selections.size() ? &wanted_.selections[passed].selection : nullptr;
}

void Walk::addChild(DataNode const& child, Entry const& entry, std::size_t depth) {
  if (child.isLeaf()) {
    if (!valuesAt(&entry, child).empty()) {
      steps_.push_back({depth, &child, &entry, nullptr});
    }
    return;
  }
  Entry const* below = nullptr;
  if (child.kind == Gnmi::NodeKind::Container) {
    below = containerAt(&entry, child);
  } else {
    auto const* const wanted = selection();
    if (auto const* const exact = wanted == nullptr ? nullptr : std::get_if<ZynKeyDecoder::Single>(wanted)) {
      below = listAt(&entry, child).find(*exact->value);
    } else if (Entries::Part const* const whole = listAt(&entry, child).whole()) {
      steps_.push_back({depth, &child, nullptr, whole});
    }
  }
  if (below != nullptr) {
    steps_.push_back({depth, &child, below, nullptr});
  }
}

bool Walk::next() {
  while (!steps_.empty()) {
    Step const step = steps_.back();
    steps_.pop_back();
    place_.leave(step.depth);
    if (step.part != nullptr) {
      for (auto const& branch : step.part->branches) {
        if (branch != nullptr) {
          steps_.push_back({step.depth, step.node, nullptr, branch.get()});
        }
      }
      auto const* const wanted = selection();
      auto const* const filter = wanted == nullptr ? nullptr : &std::get<ZynKeyDecoder::Multiple>(*wanted).values;
      for (auto const& entry : step.part->entries) {
        if (allowance_ != nullptr) {
          allowance_->takeEntry();
        }
        if (filter == nullptr || Model::matches(*filter, *entry->key)) {
          steps_.push_back({step.depth, step.node, entry.get(), nullptr});
        }
      }
      continue;
    }
    std::size_t depth = step.depth;
    if (step.node != &schema_.root()) {
      place_.enter(*step.node, step.node->isLeaf() ? nullptr : step.entry->key);
      ++depth;
    }
    if (depth < wanted_.nodes.size()) {
      addChild(schema_.node(wanted_.nodes[depth]), *step.entry, depth);
    } else if (!isForLeaves_ || step.node->isLeaf()) {
      at_ = step;
      return true;
    } else {
      for (DataNode const* const child : step.node->children | std::views::reverse) {
        addChild(*child, *step.entry, depth);
      }
    }
  }
  return false;
}

namespace {

void compareEntries(Place& place, DataNode const& node, Entry const* before, Entry const* after,
                    std::vector<Changed>& changes) {
  if (before == after) {
    return;
  }
  std::size_t const depth = place.resolved().nodes.size();
  for (DataNode const* const child : node.children) {
    if (child->isLeaf()) {
      if (auto const values = valuesAt(after, *child); !sameValues(valuesAt(before, *child), values)) {
        place.enter(*child);
        changes.push_back({place.resolved(), child, {values.begin(), values.end()}});
      }
    } else if (child->kind == Gnmi::NodeKind::Container) {
      place.enter(*child);
      compareEntries(place, *child, containerAt(before, *child), containerAt(after, *child), changes);
    } else {
      Entries::compare(listAt(before, *child), listAt(after, *child), [&](Entry const* was, Entry const* is) {
        place.enter(*child, (is != nullptr ? is : was)->key);
        if (is == nullptr) {
          changes.push_back({place.resolved(), nullptr, {}});
        } else {
          compareEntries(place, *child, was, is, changes);
        }
        place.leave(depth);
      });
    }
    place.leave(depth);
  }
}

/** The entry of a list, with its keys as leaves. */
Entry& entryOf(Entries& entries, DataNode const& list, Velko::Ptr<Zyn::GenericIf> const& key) {
  Entry& entry = entries.at(key);
  if (entry.children.empty()) {
    for (DataNode const* const leaf : list.keys) {
      Value const part = list.keys.size() == 1 ? Value(key) : Model::attribute(*key, leaf->attr.name());
      entry.children.emplace_back(leaf, std::vector<Value>{part});
    }
  }
  return entry;
}

/** Takes the configuration of a child away; keys and state stay. */
void remove(Entry& entry, DataNode const& child) {
  if (entry.find(child) == nullptr || child.isKey || child.isState) {
    return;
  }
  if (child.kind == Gnmi::NodeKind::Container) {
    Entry& below = own(std::get<EntryPtr>(entry.at(child)));
    std::ranges::for_each(child.children, [&](DataNode const* node) { remove(below, *node); });
    if (!below.children.empty()) {
      return;
    }
  }
  entry.erase(child);
}

void write(DataNode const& node, Entry& into, Entry const& payload, bool replaces);

void write(DataNode const& list, Entries& into, Entries const& payload, bool replaces) {
  if (replaces) {
    Entries const before = into;
    before.visit([&](Entry const& entry) {
      if (payload.find(*entry.key) == nullptr) {
        into.erase(*entry.key);
      }
    });
  }
  payload.visit([&](Entry const& entry) { write(list, entryOf(into, list, entry.key), entry, replaces); });
}

void write(DataNode const& node, Held& into, Held const& payload, bool replaces) {
  if (node.isLeaf()) {
    into = payload;
  } else if (auto const* const entries = std::get_if<Entries>(&payload)) {
    write(node, std::get<Entries>(into), *entries, replaces);
  } else {
    write(node, own(std::get<EntryPtr>(into)), *std::get<EntryPtr>(payload), replaces);
  }
}

void write(DataNode const& node, Entry& into, Entry const& payload, bool replaces) {
  for (DataNode const* const child : node.children) {
    if (Held const* const held = payload.find(*child)) {
      write(*child, into.at(*child), *held, replaces);
    } else if (replaces) {
      remove(into, *child);
    }
  }
}

/** Writes at a place, or deletes where there is no payload. Keys are exact, but for a list that is written as a whole.
 */
void change(Schema const& schema, Entry& root, Gnmi::Resolved const& at, Held const* payload, bool replaces) {
  Entry* entry = &root;
  auto selected = at.selections.begin();
  for (Zyn::ZynAttr const& attr : at.nodes) {
    DataNode const& node = schema.node(attr);
    bool const isLast = &attr == &at.nodes.back();
    if (payload == nullptr && (entry->find(node) == nullptr || (isLast && node.kind != Gnmi::NodeKind::List))) {
      remove(*entry, node);
      return;
    }
    Held& held = entry->at(node);
    if (node.isLeaf()) {
      held = *payload;
      return;
    }
    if (node.kind == Gnmi::NodeKind::Container) {
      entry = &own(std::get<EntryPtr>(held));
      continue;
    }
    auto& entries = std::get<Entries>(held);
    auto const* const exact = std::get_if<ZynKeyDecoder::Single>(&(selected++)->selection);
    if (exact == nullptr) {
      write(node, entries, std::get<Entries>(*payload), replaces);
      return;
    }
    if (payload == nullptr && (isLast || entries.find(*exact->value) == nullptr)) {
      entries.erase(*exact->value);
      return;
    }
    entry = &entryOf(entries, node, exact->value);
  }
  DataNode const& node = schema.node(at.node.attr);
  if (payload != nullptr) {
    write(node, *entry, *std::get<EntryPtr>(*payload), replaces);
  } else {
    std::ranges::for_each(node.children, [&](DataNode const* child) { remove(*entry, *child); });
  }
}

}  // namespace

std::vector<Changed> changesBetween(Schema const& schema, Entry const& before, Entry const& after) {
  std::vector<Changed> changes;
  Place place;
  compareEntries(place, schema.root(), &before, &after, changes);
  return changes;
}

void writeLeafAt(Schema const& schema, Entry& root, Gnmi::Resolved const& at, std::vector<Value> const& values) {
  Held const payload = values;
  change(schema, root, at, &payload, false);
}

void apply(Schema const& schema, Entry& root, Edit const& edit, Allowance& allowance) {
  if (edit.kind != Edit::Kind::Delete) {
    change(schema, root, edit.at, &edit.payload, edit.kind == Edit::Kind::Replace);
    return;
  }
  // What is walked stays as it is while the other changes.
  Entry const before = root;
  for (Walk walk(schema, before, edit.at, false, &allowance); walk.next();) {
    change(schema, root, walk.place(), nullptr, false);
  }
}

}  // namespace Target
