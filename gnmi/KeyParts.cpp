#include "gnmi/KeyParts.h"

#include <algorithm>
#include <limits>
#include <ranges>
#include <tuple>

#include "Drovan/ZynKeyDecoder.h"

namespace Gnmi {
namespace {

/** What one construction takes, those within it included. */
struct Cost {
  std::size_t levels = 1;
  std::size_t arguments = 0;

  void include(Cost const& inner) {
    // Half of the largest number, so that the sum of two never wraps around.
    constexpr std::size_t most = std::numeric_limits<std::size_t>::max() / 2;
    levels = std::max(levels, inner.levels + 1);
    arguments = std::min(arguments + inner.arguments, most);
  }
};

/** What is known of a type that was built from the children of another type's part. */
struct Known {
  /** How many children were used when it was begun last. */
  std::size_t usedBefore = KeyParts::none;
  bool usesNothing = false;
  Cost cost = {};
};

}  // namespace

/** A type that is being built from the children of a part. */
struct KeyParts::Construction {
  Construction(KeyParts const& parts, Index part, Zyn::ZynType type, bool isOwn)
      : part(part), type(type), usedBefore(parts.parts_[part].usedChildren), isOwn(isOwn) {
    if (!type.empty()) {
      args = type.module()->argNameQIterator(type.argListIndex());
    }
    if (isOwn) {
      rest = parts.parts_[part].firstChild;
    }
  }

  Index part;
  Zyn::ZynType type;
  std::size_t usedBefore;
  /** Whether the type is the part's own. */
  bool isOwn;
  /** The arguments that are still to be built. */
  Zyn::ArgNameQIterator args = {};
  /** The next child to look at when all arguments are built: a child that is no argument is set on the value then. */
  Index rest = none;
  Cost cost = {};
};

KeyParts::KeyParts(Zyn::ZynType keyType, bool useS4Encoding) : useS4Encoding_(useS4Encoding) {
  parts_.push_back({.type = keyType});
}

KeyParts::Index KeyParts::add(Index parent, Zyn::ZynAttr attr) {
  auto const [child, isNew] = children_.try_emplace({parent, attr}, parts_.size());
  if (isNew) {
    parts_.push_back({.type = attr.attrType(),
                      .attr = attr,
                      .parent = parent,
                      .nextSibling = std::exchange(parts_[parent].firstChild, child->second)});
  }
  return child->second;
}

KeyParts::Index KeyParts::unused(Index parent, Zyn::ZynAttr attr) const {
  auto const child = children_.find({parent, attr});
  return child == children_.end() || parts_[child->second].used ? none : child->second;
}

KeyParts::Result KeyParts::build(std::size_t mostArguments) {
  Result result;
  // An argument takes two steps, one where its own arguments end, and so does a child that is set afterwards.
  std::size_t const mostSteps = 2 * (mostArguments + parts_.size()) + 1;
  std::vector<Construction> open = {{*this, root, parts_[root].type, true}};
  absl::flat_hash_map<std::tuple<Index, Zyn::ZynModule const*, std::uint32_t>, Known> known;
  auto const begin = [&](Index child) {
    if (parts_[child].key == none) {
      open.emplace_back(*this, child, parts_[child].type, true);
    }
  };
  for (;;) {
    if (++result.steps > mostSteps) {
      return {.complete = true, .arguments = mostArguments + 1, .steps = result.steps};
    }
    Construction& current = open.back();
    Part& part = parts_[current.part];
    if (current.args) {
      Zyn::ZynAttr const attr = part.type.attr(*current.args);
      ++current.args;
      ++current.cost.arguments;
      if (Index const child = unused(current.part, attr); child != none) {
        parts_[child].used = true;
        ++part.usedChildren;
        begin(child);
        continue;
      }
      Zyn::ZynType const type = attr.attrType();
      if (type.empty() || Drovan::isScalarKeyType(type, useS4Encoding_)) {
        return result;
      }
      // The part's own type was begun before any child was used.
      Known& before = known
                          .try_emplace({current.part, type.module(), type.index()},
                                       Known{.usedBefore = type == part.type ? 0 : none})
                          .first->second;
      if (before.usesNothing) {
        current.cost.include(before.cost);
      } else if (before.usedBefore == part.usedChildren) {
        return result;
      } else {
        before.usedBefore = part.usedChildren;
        open.emplace_back(*this, current.part, type, false);
      }
    } else if (current.rest != none) {
      Index const child = std::exchange(current.rest, parts_[current.rest].nextSibling);
      if (!parts_[child].used) {
        begin(child);
      }
    } else {
      Construction const done = current;
      open.pop_back();
      if (!done.isOwn && done.usedBefore == part.usedChildren) {
        known[{done.part, done.type.module(), done.type.index()}] = {.usesNothing = true, .cost = done.cost};
      }
      if (open.empty()) {
        return {.complete = true, .levels = done.cost.levels, .arguments = done.cost.arguments, .steps = result.steps};
      }
      open.back().cost.include(done.cost);
    }
  }
}

std::vector<KeyParts::Missing> KeyParts::missing() const {
  std::vector<Missing> missing;
  for (Index i = 0; i != parts_.size(); ++i) {
    Zyn::ZynType const type = parts_[i].type;
    if (parts_[i].key != none || type.empty()) {
      continue;
    }
    for (Zyn::ArgNameQIterator name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
      if (!children_.contains({i, type.attr(*name)})) {
        missing.push_back({.part = i, .argument = *name});
      }
    }
  }
  return missing;
}

std::string KeyParts::nameOf(Missing const& argument) const {
  std::vector<std::string_view> names = {argument.argument};
  for (Index part = argument.part; part != root; part = parts_[part].parent) {
    names.emplace_back(parts_[part].attr.name());
  }
  std::string text(names.back());
  for (std::string_view const name : names | std::views::reverse | std::views::drop(1)) {
    (text += "__") += name;
  }
  return text;
}

}  // namespace Gnmi
