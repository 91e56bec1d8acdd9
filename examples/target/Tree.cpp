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

std::span<Value const> Entry::values(DataNode const& node) const noexcept {
  Held const* const held = find(node);
  return held == nullptr ? node.defaults : std::get<std::vector<Value>>(*held);
}

Entry const* Entry::container(DataNode const& node) const noexcept {
  Held const* const held = find(node);
  return held != nullptr ? std::get<EntryPtr>(*held).get() : node.isPresence ? nullptr : &nothing;
}

Entries const& Entry::list(DataNode const& node) const noexcept {
  Held const* const held = find(node);
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

Walk::Walk(Schema const& schema, Entry const& root, Gnmi::Resolved const& wanted, bool isForLeaves)
    : schema_(schema), wanted_(wanted), isForLeaves_(isForLeaves), steps_{{0, &schema.root(), &root, nullptr}} {}

/** Which entries of the next list on the way are wanted; null where all are. */
Gnmi::Selection const* Walk::selection() const {
  std::size_t const passed = place().selections.size();
  return passed < wanted_.selections.size() ? &wanted_.selections[passed].selection : nullptr;
}

void Walk::addChild(DataNode const& child, Entry const& entry, std::size_t depth) {
  if (child.isLeaf()) {
    if (!entry.values(child).empty()) {
      steps_.push_back({depth, &child, &entry, nullptr});
    }
  } else if (child.kind == Gnmi::NodeKind::Container) {
    if (Entry const* const below = entry.container(child)) {
      steps_.push_back({depth, &child, below, nullptr});
    }
  } else if (!child.keys.empty()) {
    auto const* const wanted = selection();
    if (auto const* const exact = wanted == nullptr ? nullptr : std::get_if<ZynKeyDecoder::Single>(wanted)) {
      if (Entry const* const below = entry.list(child).find(*exact->value)) {
        steps_.push_back({depth, &child, below, nullptr});
      }
    } else if (Entries::Part const* const whole = entry.list(child).whole()) {
      steps_.push_back({depth, &child, nullptr, whole});
    }
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
                    VisitChange const& visit) {
  if (before == after) {
    return;
  }
  std::size_t const depth = place.resolved().nodes.size();
  for (DataNode const* const child : node.children) {
    if (child->isLeaf()) {
      auto const valuesOf = [&](Entry const* entry) {
        return entry == nullptr ? std::span<Value const>() : entry->values(*child);
      };
      if (auto const values = valuesOf(after); !sameValues(valuesOf(before), values)) {
        place.enter(*child);
        visit(place.resolved(), child, values);
      }
    } else if (child->kind == Gnmi::NodeKind::Container) {
      place.enter(*child);
      compareEntries(place, *child, before == nullptr ? nullptr : before->container(*child),
                     after == nullptr ? nullptr : after->container(*child), visit);
    } else {
      Entries::compare(before == nullptr ? noEntries : before->list(*child),
                       after == nullptr ? noEntries : after->list(*child), [&](Entry const* was, Entry const* is) {
                         place.enter(*child, (is != nullptr ? is : was)->key);
                         if (is == nullptr) {
                           visit(place.resolved(), nullptr, {});
                         } else {
                           compareEntries(place, *child, was, is, visit);
                         }
                         place.leave(depth);
                       });
    }
    place.leave(depth);
  }
}

}  // namespace

void compareTrees(Schema const& schema, Entry const& before, Entry const& after, VisitChange const& visit) {
  Place place;
  compareEntries(place, schema.root(), &before, &after, visit);
}

namespace {

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

/** The walk of `apply`. */
struct Change {
  Schema const& schema;
  Edit const& edit;

  void go(DataNode const& node, Entry& entry, std::size_t depth, std::size_t keys) {
    bool const isDelete = edit.kind == Edit::Kind::Delete;
    bool const replaces = edit.kind == Edit::Kind::Replace;
    if (depth == edit.at.nodes.size()) {
      if (isDelete) {
        std::ranges::for_each(node.children, [&](DataNode const* child) { remove(entry, *child); });
      } else {
        write(node, entry, *std::get<EntryPtr>(edit.payload), replaces);
      }
      return;
    }
    DataNode const& next = schema.node(edit.at.nodes[depth]);
    bool const isLast = depth + 1 == edit.at.nodes.size();
    if (isDelete && entry.find(next) == nullptr) {
      return;
    }
    if (next.kind != Gnmi::NodeKind::List) {
      if (isLast && isDelete) {
        remove(entry, next);
      } else if (next.isLeaf()) {
        write(next, entry.at(next), edit.payload, replaces);
      } else {
        go(next, own(std::get<EntryPtr>(entry.at(next))), depth + 1, keys);
      }
      return;
    }
    auto& entries = std::get<Entries>(entry.at(next));
    auto const take = [&](Velko::Ptr<Zyn::GenericIf> const& key) {
      if (isLast && isDelete) {
        entries.erase(*key);
      } else {
        go(next, entryOf(entries, next, key), depth + 1, keys + 1);
      }
    };
    Gnmi::Selection const& selection = edit.at.selections[keys].selection;
    if (auto const* const exact = std::get_if<ZynKeyDecoder::Single>(&selection)) {
      if (!isDelete || entries.find(*exact->value) != nullptr) {
        take(exact->value);
      }
    } else if (!isDelete) {
      write(next, entries, std::get<Entries>(edit.payload), replaces);
    } else {
      auto const& filter = std::get<ZynKeyDecoder::Multiple>(selection).values;
      Entries const before = entries;
      before.visit([&](Entry const& below) {
        if (Model::matches(filter, *below.key)) {
          take(below.key);
        }
      });
    }
  }
};

}  // namespace

void apply(Schema const& schema, Entry& root, Edit const& edit) { Change{schema, edit}.go(schema.root(), root, 0, 0); }

}  // namespace Target
