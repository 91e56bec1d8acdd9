#include "gnmi/Matcher.h"

#include <absl/container/flat_hash_map.h>
#include <absl/container/flat_hash_set.h>

#include <algorithm>
#include <atomic>
#include <boost/container/small_vector.hpp>
#include <cstddef>
#include <list>
#include <mutex>
#include <shared_mutex>
#include <span>
#include <tuple>
#include <utility>
#include <variant>

namespace Gnmi {
namespace {

using Drovan::ZynKeyDecoder;

using Value = Velko::Ptr<Zyn::GenericIf const>;
/** The exact key alone; or of a filter the values of its attributes, in the order of its group. */
using KeyValues = boost::container::small_vector<Value, 1>;

/** What a place is looked up by. */
struct Wanted {
  std::span<Value const> values;
  std::size_t hash;
};

struct Group;

/** A node that subscriptions name, with their keys for it. */
struct Place {
  Place* above = nullptr;
  /** Its attribute in the node above. */
  Zyn::ZynAttr attr = {};
  KeyValues key = {};
  std::size_t keyHash = 0;
  /** The subscriptions that end here. */
  absl::flat_hash_set<Matcher::Id> ids = {};
  absl::flat_hash_map<Zyn::ZynAttr, std::vector<Group>> below = {};
  std::size_t countBelow = 0;
  std::list<Place>::iterator self = {};
};

struct PlaceHash {
  using is_transparent = void;
  std::size_t operator()(Place const* place) const noexcept { return place->keyHash; }
  std::size_t operator()(Wanted const& wanted) const noexcept { return wanted.hash; }
};

struct PlaceEqual {
  using is_transparent = void;
  Values const* values;

  bool operator()(Place const* a, Place const* b) const { return a == b; }
  bool operator()(Place const* place, Wanted const& wanted) const {
    return std::ranges::equal(place->key, wanted.values,
                              [this](Value const& a, Value const& b) { return values->equal(*a, *b); });
  }
  bool operator()(Wanted const& wanted, Place const* place) const { return (*this)(place, wanted); }
};

using Places = absl::flat_hash_set<Place*, PlaceHash, PlaceEqual>;
using Attrs = std::vector<Zyn::ZynAttr>;

/** The places of one attribute whose keys are given in one way. */
struct Group {
  bool isExact;
  /** What the filters name, in one order for all; none where every entry is meant, and where there are no keys. */
  Attrs attrs;
  Places places;
};

}  // namespace

struct Matcher::Impl {
  Impl(Values const& given, LeftOut reading) : values(given), leftOut(reading) { root = &newPlace(); }

  std::size_t hashOf(std::span<Value const> key) const {
    std::size_t hash = key.size();
    for (Value const& value : key) {
      hash = absl::HashOf(hash, values.hash(*value));
    }
    return hash;
  }

  Place& newPlace() {
    places.emplace_front();
    places.front().self = places.begin();
    return places.front();
  }

  /** The place of a node below another one; made where there is none. */
  Place& placeBelow(Place& place, Zyn::ZynAttr attr, Selection const* selection) {
    bool isExact = false;
    Attrs attrs;
    KeyValues key;
    if (selection != nullptr) {
      if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(selection)) {
        isExact = true;
        key.emplace_back(single->value);
      } else {
        auto const& filter = std::get<ZynKeyDecoder::Multiple>(*selection).values;
        for (auto const& [named, value] : filter) {
          attrs.push_back(named);
        }
        std::ranges::sort(attrs, {}, [](Zyn::ZynAttr named) { return std::tuple(named.module(), named.index()); });
        for (Zyn::ZynAttr const named : attrs) {
          key.emplace_back(filter.find(named)->second);
        }
      }
    }
    std::vector<Group>& groups = place.below[attr];
    auto group =
        std::ranges::find_if(groups, [&](Group const& one) { return one.isExact == isExact && one.attrs == attrs; });
    if (group == groups.end()) {
      groups.push_back({isExact, std::move(attrs), Places(0, PlaceHash(), PlaceEqual{&values})});
      group = groups.end() - 1;
    }
    std::size_t const hash = hashOf(key);
    if (auto const found = group->places.find(Wanted{key, hash}); found != group->places.end()) {
      return **found;
    }
    group->places.reserve(group->places.size() + 1);
    Place& made = newPlace();
    made.above = &place;
    made.attr = attr;
    made.key = std::move(key);
    made.keyHash = hash;
    group->places.insert(&made);
    ++place.countBelow;
    return made;
  }

  /** Drops a place that nothing needs any more, and those above that then nothing needs. */
  void dropUnused(Place* place) noexcept {
    while (place->above != nullptr && place->ids.empty() && place->countBelow == 0) {
      Place* const above = place->above;
      auto const groups = above->below.find(place->attr);
      for (Group& group : groups->second) {
        auto const found = group.places.find(Wanted{place->key, place->keyHash});
        if (found != group.places.end() && *found == place) {
          group.places.erase(found);
          break;
        }
      }
      std::erase_if(groups->second, [](Group const& group) { return group.places.empty(); });
      if (groups->second.empty()) {
        above->below.erase(groups);
      }
      --above->countBelow;
      places.erase(place->self);
      place = above;
    }
  }

  void add(std::vector<Place*>& own, Id id, Resolved const& node) {
    Place* place = root;
    try {
      auto selected = node.selections.begin();
      for (std::size_t i = 0; i != node.nodes.size(); ++i) {
        bool const isKeyed = selected != node.selections.end() && selected->node == i;
        place = &placeBelow(*place, node.nodes[i], isKeyed ? &selected->selection : nullptr);
        selected += isKeyed ? 1 : 0;
      }
      // Room first, so that a place is never marked with a subscription that does not know it.
      own.push_back(place);
      if (!place->ids.insert(id).second) {
        own.pop_back();
      }
    } catch (std::bad_alloc const&) {
      if (!own.empty() && own.back() == place && !place->ids.contains(id)) {
        own.pop_back();
      }
      dropUnused(place);
      throw;
    }
  }

  void add(Id id, std::span<Resolved const> nodes) {
    std::vector<Place*>& own = placesOf[id];
    std::size_t const before = own.size();
    try {
      for (Resolved const& node : nodes) {
        add(own, id, node);
      }
    } catch (std::bad_alloc const&) {
      shorten(own, id, before);
      throw;
    }
  }

  /** Takes the subscription away from its last places. */
  void shorten(std::vector<Place*>& own, Id id, std::size_t size) noexcept {
    while (own.size() != size) {
      own.back()->ids.erase(id);
      dropUnused(own.back());
      own.pop_back();
    }
  }

  void remove(Id id) noexcept {
    if (auto const own = placesOf.find(id); own != placesOf.end()) {
      shorten(own->second, id, 0);
      placesOf.erase(own);
    }
  }

  /** Calls `visit` with the places of a group that the changed node's keys match. */
  template <typename Visit>
  void visitMatches(Group const& group, Selection const* changed, Visit const& visit) const {
    if (!group.isExact && group.attrs.empty()) {
      std::ranges::for_each(group.places, visit);
    } else if (changed != nullptr) {
      if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(changed)) {
        visitKey(group, *single->value, visit);
      } else {
        visitFilter(group, std::get<ZynKeyDecoder::Multiple>(*changed).values, visit);
      }
    }
  }

  template <typename Visit>
  void visitWanted(Group const& group, KeyValues const& key, Visit const& visit) const {
    if (auto const found = group.places.find(Wanted{key, hashOf(key)}); found != group.places.end()) {
      visit(*found);
    }
  }

  template <typename Visit>
  void visitKey(Group const& group, Zyn::GenericIf const& exact, Visit const& visit) const {
    KeyValues key;
    if (group.isExact) {
      key.emplace_back(&exact);
    }
    for (Zyn::ZynAttr const attr : group.attrs) {
      key.push_back(values.part(exact, attr));
      if (!key.back()) {
        return;
      }
    }
    visitWanted(group, key, visit);
  }

  template <typename Visit>
  void visitFilter(Group const& group, ZynKeyDecoder::FilterMap const& filter, Visit const& visit) const {
    bool const namesAll =
        !group.isExact && std::ranges::all_of(group.attrs, [&](Zyn::ZynAttr attr) { return filter.contains(attr); });
    if (namesAll) {
      KeyValues key;
      for (Zyn::ZynAttr const attr : group.attrs) {
        key.emplace_back(filter.find(attr)->second);
      }
      visitWanted(group, key, visit);
    } else if (leftOut == LeftOut::MatchesAll) {
      for (Place* const place : group.places) {
        if (agree(group, place->key, filter)) {
          visit(place);
        }
      }
    }
  }

  /** Whether an entry may have both the key of a subscription and the values that the changed node names. */
  bool agree(Group const& group, KeyValues const& key, ZynKeyDecoder::FilterMap const& filter) const {
    if (group.isExact) {
      return std::ranges::all_of(filter, [&](auto const& named) {
        Value const part = values.part(*key.front(), named.first);
        return part && values.equal(*part, *named.second);
      });
    }
    for (std::size_t i = 0; i != group.attrs.size(); ++i) {
      auto const named = filter.find(group.attrs[i]);
      if (named != filter.end() && !values.equal(*key[i], *named->second)) {
        return false;
      }
    }
    return true;
  }

  Values const& values;
  LeftOut leftOut;
  /** All of them stand here, however deep they are below each other, so that dropping them takes no stack. */
  std::list<Place> places;
  Place* root;
  absl::flat_hash_map<Id, std::vector<Place*>> placesOf;

  /** For those who add and remove, one after the other. */
  std::mutex writing;
  /** Locked by all who match together, or by the one who adds or removes. */
  std::shared_mutex mutex;
  /** Makes new matches wait, since a mutex may let readers pass a waiting writer for ever. */
  std::atomic<bool> isWriterWaiting = false;
};

namespace {

/** Alone with the places: lets those who match finish, and keeps others out. */
class WriteLock {
 public:
  template <typename Impl>
  explicit WriteLock(Impl& impl) : writing_(impl.writing), isWaiting_(impl.isWriterWaiting) {
    isWaiting_ = true;
    lock_ = std::unique_lock(impl.mutex);
  }
  WriteLock(WriteLock const&) = delete;
  WriteLock& operator=(WriteLock const&) = delete;
  ~WriteLock() {
    lock_.unlock();
    isWaiting_ = false;
    isWaiting_.notify_all();
  }

 private:
  std::lock_guard<std::mutex> writing_;
  std::atomic<bool>& isWaiting_;
  std::unique_lock<std::shared_mutex> lock_;
};

}  // namespace

Matcher::Matcher(Values const& values, LeftOut leftOut) : impl_(std::make_unique<Impl>(values, leftOut)) {}
Matcher::~Matcher() = default;

void Matcher::add(Id id, Resolved const& node) {
  WriteLock const lock(*impl_);
  impl_->add(id, {&node, 1});
}

std::expected<void, Error> Matcher::add(Id id, Resolver const& resolver, Path const& path, Bounds const& bounds) {
  std::vector<Resolved> nodes;
  auto expanded = resolver.expand(
      path,
      [&](Resolved const& node) {
        nodes.push_back(node);
        return true;
      },
      Mode::Read, bounds);
  if (!expanded) {
    return expanded;
  }
  WriteLock const lock(*impl_);
  impl_->add(id, nodes);
  return {};
}

void Matcher::remove(Id id) noexcept {
  WriteLock const lock(*impl_);
  impl_->remove(id);
}

void Matcher::match(Resolved const& changed, Reach reach, std::vector<Id>& ids) const {
  ids.clear();
  boost::container::small_vector<Selection const*, 16> selections(changed.nodes.size(), nullptr);
  for (Selected const& selected : changed.selections) {
    selections[selected.node] = &selected.selection;
  }
  impl_->isWriterWaiting.wait(true);
  std::shared_lock const lock(impl_->mutex);
  struct Open {
    Place const* place;
    /** How many of the changed node's nodes are above what comes next. */
    std::size_t depth;
  };
  boost::container::small_vector<Open, 16> open = {{impl_->root, 0}};
  while (!open.empty()) {
    auto const [place, depth] = open.back();
    open.pop_back();
    ids.insert(ids.end(), place->ids.begin(), place->ids.end());
    if (depth != changed.nodes.size()) {
      if (auto const groups = place->below.find(changed.nodes[depth]); groups != place->below.end()) {
        for (Group const& group : groups->second) {
          impl_->visitMatches(group, selections[depth],
                              [&, next = depth + 1](Place const* match) { open.push_back({match, next}); });
        }
      }
    } else if (reach == Reach::Subtree) {
      for (auto const& [attr, groups] : place->below) {
        for (Group const& group : groups) {
          for (Place const* const below : group.places) {
            open.push_back({below, depth});
          }
        }
      }
    }
  }
  std::ranges::sort(ids);
  ids.erase(std::ranges::unique(ids).begin(), ids.end());
}

}  // namespace Gnmi
