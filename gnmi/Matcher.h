// Which subscriptions a change concerns: many resolved paths of subscriptions against one node that has changed.
//
//   Gnmi::ModelValues const values;
//   Gnmi::Matcher matcher(values);
//   matcher.add(7, *resolver, *Gnmi::parsePath("/vrf[name=red]/route[protocol=bgp]"));
//   matcher.match(changed, Gnmi::Matcher::Reach::Node, ids);
//   // changed: /vrf[name=red]/route[prefix=10.0.0.0/8][protocol=bgp]/metric, resolved in Mode::Notify. ids: 7
//   // changed: the same with [protocol=static]. ids: none
//
// A subscription concerns its own node and all nodes below it. Of a keyed collection on the way it means
//
//   an exact key   the entry with that key
//   a filter       the entries whose keys have the filter's values
//   no keys        every entry
//
// Keys are compared as typed values, never as texts: `10.1.2.3/8` and `10.0.0.0/8` are one prefix. Wildcards for
// elements are expanded when a subscription is added, so they mean here what they mean to `Resolver::expand`.
//
// What is changed is one node, with an exact key for each keyed collection on the way. A notification may leave keys
// out ("gNMI path conventions" of OpenConfig), and targets differ in what they mean by that; `LeftOut` says which of
// two readings holds:
//
//   subscription             changed                        MatchesAll        MatchesLeftOut
//   /route[protocol=bgp]     /route/metric                  concerned         not concerned
//   /route                   /route/metric                  concerned         concerned
//   /route[protocol=bgp]     /route[protocol=bgp]/metric    concerned         concerned
//   an exact /route          /route[protocol=bgp]/metric    where it is bgp   not concerned
//
// Threads: any number of threads may match, while others add and remove. Matching threads do not wait for each other;
// they wait while a subscription is added or removed. A match sees each call of `add` and `remove` wholly or not at
// all. Lifetime: the values that it is made with outlive it; it keeps references to the keys of subscriptions. Errors:
// only `std::bad_alloc` is thrown, and then nothing has been added.
//
// Time of a match: for each node on the way, one look-up by hash of each set of attributes that filters there name,
// and one for exact keys; then the subscriptions found. It does not grow with subscriptions that do not match, unless
// the changed node leaves keys out under `MatchesAll`: then those at that collection are compared one by one. Adding
// and removing are linear in the nodes that the subscription names. A subscription takes memory for each of these nodes
// that no other one names.
//
// Not checked: that all paths were resolved by resolvers of one schema; what belongs to different ones never matches.
#pragma once

#include <cstdint>
#include <expected>
#include <memory>
#include <vector>

#include "gnmi/Error.h"
#include "gnmi/Path.h"
#include "gnmi/Resolver.h"

namespace Gnmi {

class Matcher {
 public:
  /** The caller's name for a subscription. */
  using Id = std::uint64_t;

  /** What a changed node means by keys that its path leaves out: see above. */
  enum class LeftOut : std::uint8_t { MatchesAll, MatchesLeftOut };

  /** How far a change reaches: `Subtree` where the node was deleted or replaced as a whole. */
  enum class Reach : std::uint8_t { Node, Subtree };

  explicit Matcher(Values const& values, LeftOut leftOut = LeftOut::MatchesAll);
  Matcher(Matcher const&) = delete;
  Matcher& operator=(Matcher const&) = delete;
  ~Matcher();

  /** Adds a node to those that the subscription means. One that it has is not added again. */
  void add(Id id, Resolved const& node);

  /** Adds every node that the path means. After an error none of them has been added. */
  std::expected<void, Error> add(Id id, Resolver const& resolver, Path const& path, Bounds const& bounds = {});

  /** Forgets all nodes of the subscription; nothing happens where there is none. */
  void remove(Id id) noexcept;

  /** The subscriptions that the change concerns, ascending, each once. What `ids` held before is gone. */
  void match(Resolved const& changed, Reach reach, std::vector<Id>& ids) const;

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace Gnmi
