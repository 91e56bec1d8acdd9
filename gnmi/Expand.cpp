// Paths with wildcards for elements: every node that they mean.
//
// The schema is traversed depth first, once, with all the ways in which the path so far can mean the node that is
// visited: a way is how many elements of the path are used up. So a node is visited once, however many ways lead to it.

#include <algorithm>
#include <optional>

#include "gnmi/Resolver.h"
#include "gnmi/Tables.h"
#include "text/Messages.h"

namespace Gnmi {
namespace {

constexpr std::string_view anyDepth = "...";
/** The traversal recurses, so no option makes it deeper. */
constexpr std::size_t deepest = 1000;

/** The collections of one way, last one first. */
struct Chain {
  std::size_t before = 0;
  Selected selected;
};

/** How the path can mean the node that is visited. */
struct Way {
  /** The element that is matched next. */
  std::size_t next = 0;
  /** Where that is "...": how deep the node was where it began. */
  std::size_t beganAt = 0;
  /** The last collection of this way, among `chains`; 0 for none. */
  std::size_t chain = 0;
};

}  // namespace

/** One traversal of the schema: a path, and what it has found. */
class Expansion {
 public:
  using Impl = Resolver::Impl;

  Expansion(Impl const& tables, Path const& path, Mode mode, std::function<bool(Resolved const&)> const& visit,
            Bounds const& bounds)
      : tables_(tables),
        path_(path),
        mode_(mode),
        visit_(visit),
        bounds_(bounds),
        chains_(1),
        enteredAt_(tables.types.size()),
        maxDepth_(std::min<std::size_t>(bounds.depth, deepest)),
        depths_(maxDepth_ + 2) {}

  std::expected<void, Error> run() {
    auto const top = tables_.top(path_.origin);
    if (!top) {
      Error error = top.error();
      error.element = path_.elements().size() - path_.prefixSize();
      return std::unexpected(std::move(error));
    }
    std::size_t anyDepths = 0;
    for (std::size_t i = 0; i != path_.elements().size(); ++i) {
      Element const& element = path_.elements()[i];
      anyDepths += element.name == anyDepth ? 1 : 0;
      if (element.name == anyDepth && element.keyCount != 0) {
        return std::unexpected(placed(
            KeyError{.text = "'...' stands for elements with their keys, and takes none itself", .key = 0}, path_, i));
      }
    }
    // No more of either can stand for a node within the bound, or make a difference.
    if (std::max(anyDepths, path_.elements().size() - anyDepths) > maxDepth_) {
      passBound("the path has more than " + std::to_string(maxDepth_) + " elements of a kind");
      return std::unexpected(*std::move(error_));
    }
    known_.resize((path_.elements().size() + 1) * depths_);
    found_.origin = path_.origin;
    std::vector<Way> ways;
    ++node_;
    add(ways, {.next = 0, .beganAt = 0, .chain = 0}, 0);
    if (std::ranges::any_of(ways, [this](Way const& way) { return isDone(way); })) {
      found_.node = tables_.root();
      emit(0);
    }
    if (!error_ && !stopped_) {
      traverse(*top, ways, 0);
    }
    if (error_) {
      return std::unexpected(*std::move(error_));
    }
    if (count_ != 0 || stopped_) {
      return {};
    }
    if (refusal_) {
      return std::unexpected(*std::move(refusal_));
    }
    return std::unexpected(Error{.kind = ErrorClass::UnknownNode,
                                 .text = "the path means no node of the schema",
                                 .element = path_.elements().size() - path_.prefixSize()});
  }

 private:
  bool isDone(Way const& way) const { return way.next == path_.elements().size(); }
  bool isAnyDepth(std::size_t element) const {
    return element < path_.elements().size() && path_.elements()[element].name == anyDepth;
  }

  /** Adds a way, and those that begin where "..." stands for no element: first the one that has gone furthest. */
  void add(std::vector<Way>& ways, Way way, std::size_t depth) {
    if (isAnyDepth(way.next)) {
      add(ways, {.next = way.next + 1, .beganAt = depth, .chain = way.chain}, depth);
    }
    // Where a "..." began matters until it has ended.
    std::size_t const began = isAnyDepth(way.next) ? way.beganAt : 0;
    if (std::exchange(known_[way.next * depths_ + began], node_) != node_) {
      ways.push_back(way);
    }
  }

  /** The nodes below one that is reached by `ways`. `place` is where they are looked up, `depth` how deep it is. */
  void traverse(Impl::Place const& place, std::vector<Way> const& ways, std::size_t depth) {
    bool const isEntity = place.type != Impl::none && !tables_.types[place.type].type.isValue();
    // What each way's element is by name, here; and whether any way may mean every node.
    std::vector<Impl::Index> named(ways.size(), Impl::none);
    std::vector<Impl::Index> wanted;
    bool isAny = false;
    for (std::size_t i = 0; i != ways.size(); ++i) {
      if (isDone(ways[i])) {
        continue;
      }
      std::string_view const name = path_.elements()[ways[i].next].name;
      if (isWildcardElement(name)) {
        isAny = isAny || isEntity;
        continue;
      }
      Impl::Found const found = tables_.lookUp(place, name);
      named[i] = found.row;
      if (found.row != Impl::none) {
        wanted.push_back(found.row);
      } else if (found.isAmbiguous && !refusal_) {
        refusal_ = placed(tables_.ambiguous(place, name), path_, ways[i].next);
      }
    }
    if (isAny) {
      auto const [first, count] = std::pair(tables_.types[place.type].firstRow, tables_.types[place.type].rowCount);
      for (Impl::Index row = first; row != first + count && !error_ && !stopped_; ++row) {
        if (Impl::isReachable(place, tables_.rows[row])) {
          visit(ways, named, depth, row, isEntity);
        }
      }
      return;
    }
    std::ranges::sort(wanted);
    wanted.erase(std::ranges::unique(wanted).begin(), wanted.end());
    for (std::size_t i = 0; i != wanted.size() && !error_ && !stopped_; ++i) {
      visit(ways, named, depth, wanted[i], isEntity);
    }
  }

  /** One node, and those below it, where a way leads there. `named` has the row that each way names. */
  void visit(std::vector<Way> const& ways, std::vector<Impl::Index> const& named, std::size_t depth, Impl::Index index,
             bool isEntity) {
    visited_ += ways.size();
    if (visited_ > bounds_.visited) {
      passBound("the path makes more than " + std::to_string(bounds_.visited) + " nodes be looked at");
      return;
    }
    Impl::Row const& row = tables_.rows[index];
    std::vector<Way> here;
    std::size_t const nodeDepth = depth + 1;
    std::size_t const chainsBefore = chains_.size();
    ++node_;
    for (std::size_t i = 0; i != ways.size(); ++i) {
      Way const& way = ways[i];
      if (isDone(way)) {
        continue;
      }
      Element const& element = path_.elements()[way.next];
      if (element.name == anyDepth) {
        // Within one "..." no entity type is entered twice.
        bool const entersAgain = row.below != Impl::none && enteredAt_[row.below] > way.beganAt;
        if (isEntity && !entersAgain) {
          add(here,
              {.next = way.next,
               .beganAt = way.beganAt,
               .chain = link(way, row, Drovan::ZynKeyDecoder::Multiple{}, depth)},
              nodeDepth);
        }
        continue;
      }
      if (element.name == wildcard ? !isEntity : named[i] != index) {
        continue;
      }
      Selection selection;
      if (auto selected = tables_.select(row, path_.keys(element), mode_, selection); selected) {
        add(here, {.next = way.next + 1, .beganAt = nodeDepth, .chain = link(way, row, std::move(selection), depth)},
            nodeDepth);
      } else if (!refusal_ && selected.error().kind != ErrorClass::KeyUnknown) {
        refusal_ = placed(std::move(selected).error(), path_, way.next);
      }
    }
    if (!here.empty() && nodeDepth > maxDepth_) {
      passBound("the path means nodes more than " + std::to_string(maxDepth_) + " elements deep");
    } else if (!here.empty()) {
      enter(row, here, nodeDepth);
    }
    chains_.resize(chainsBefore);
  }

  void enter(Impl::Row const& row, std::vector<Way> const& here, std::size_t nodeDepth) {
    found_.nodes.push_back(row.attr);
    if (auto const done = std::ranges::find_if(here, [this](Way const& way) { return isDone(way); });
        done != here.end()) {
      tables_.setNode(row, found_.node);
      emit(done->chain);
    }
    bool const goesOn = std::ranges::any_of(here, [this](Way const& way) { return !isDone(way); });
    if (goesOn && row.below != Impl::none && !error_ && !stopped_) {
      std::size_t const before = std::exchange(enteredAt_[row.below], nodeDepth);
      traverse(Impl::below(row), here, nodeDepth);
      enteredAt_[row.below] = before;
    }
    found_.nodes.pop_back();
  }

  std::size_t link(Way const& way, Impl::Row const& row, Selection selection, std::size_t node) {
    if (!row.isKeyed) {
      return way.chain;
    }
    chains_.push_back(
        {.before = way.chain, .selected = {.node = node, .collection = row.attr, .selection = std::move(selection)}});
    return chains_.size() - 1;
  }

  void emit(std::size_t chain) {
    if (++count_ > bounds_.expansions) {
      passBound("the path means more than " + std::to_string(bounds_.expansions) + " nodes");
      return;
    }
    found_.selections.clear();
    for (std::size_t at = chain; at != 0; at = chains_[at].before) {
      found_.selections.push_back(chains_[at].selected);
    }
    std::ranges::reverse(found_.selections);
    stopped_ = !visit_(found_);
  }

  void passBound(std::string text) {
    error_ = Error{.kind = ErrorClass::BoundPassed,
                   .text = std::move(text) + ", which is the bound",
                   .element = path_.elements().size() - path_.prefixSize()};
  }

  Impl const& tables_;
  Path const& path_;
  Mode mode_;
  std::function<bool(Resolved const&)> const& visit_;
  Bounds bounds_;
  Resolved found_;
  /** Index 0 stands for none. */
  std::vector<Chain> chains_;
  /** By type: how deep the node is, on the way to the one visited, that it was entered by last; 0 for none. */
  std::vector<std::size_t> enteredAt_;
  std::size_t maxDepth_;
  /** From the root's, 0, to that of the first node that is too deep. */
  std::size_t depths_;
  /** By element and depth: the number of the last node that had that way. */
  std::vector<std::size_t> known_;
  std::size_t node_ = 0;
  std::size_t count_ = 0;
  std::size_t visited_ = 0;
  bool stopped_ = false;
  std::optional<Error> error_;
  /** The first thing that was refused of what was passed over. */
  std::optional<Error> refusal_;
};

std::expected<void, Error> Resolver::expand(Path const& path, std::function<bool(Resolved const&)> const& visit,
                                            Mode mode, Bounds const& bounds) const {
  bool const isExpanded = mode == Mode::Read || mode == Mode::Delete;
  auto const isWildcard = [](Element const& element) { return isWildcardElement(element.name); };
  if (isExpanded && std::ranges::any_of(path.elements(), isWildcard)) {
    return Expansion(*impl_, path, mode, visit, bounds).run();
  }
  Resolved found;
  auto done = resolve(path, found, mode);
  if (done) {
    visit(found);
  }
  return done;
}

}  // namespace Gnmi
