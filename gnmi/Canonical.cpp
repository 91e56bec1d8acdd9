// From nodes and keys back to paths.

#include <algorithm>
#include <deque>

#include "gnmi/Resolver.h"
#include "gnmi/Tables.h"
#include "text/Messages.h"

namespace Gnmi {

std::expected<Path, Error> Resolver::canonical(Resolved const& resolved, Values const& values) const {
  return impl_->canonical(resolved, values);
}

std::expected<Path, Error> Resolver::Impl::canonical(Resolved const& resolved, Values const& values) const {
  // Names stay where they are while others are added; the path owns copies in the end.
  std::deque<std::string> texts;
  Path path;
  auto const fail = [](Error error, std::size_t element) {
    error.element = element;
    return std::unexpected(std::move(error));
  };
  auto const start = top(resolved.origin);
  if (!start) {
    return fail(start.error(), resolved.nodes.size());
  }
  Place place = *start;
  path.origin = resolved.origin;
  auto selection = resolved.selections.begin();
  for (std::size_t i = 0; i != resolved.nodes.size(); ++i) {
    auto const rowsHere = rowsOf(place.type);
    auto const row = std::ranges::find(rowsHere, resolved.nodes[i], &Row::attr);
    if (row == rowsHere.end()) {
      return fail({.kind = ErrorClass::UnknownNode,
                   .text = Text::inQuotes(resolved.nodes[i].name()) + " is no node of this place in the schema"},
                  i);
    }
    path.add(texts.emplace_back(nameOf(*row, place)));
    if (selection != resolved.selections.end() && selection->node == i) {
      if (row->plan != none) {
        auto keys = plans[row->plan].write(selection->selection, values);
        if (!keys) {
          return fail({.kind = keys.error().kind, .text = keys.error().text}, i);
        }
        for (auto& [name, text] : *keys) {
          path.addKey(texts.emplace_back(std::move(name)), texts.emplace_back(std::move(text)));
        }
      }
      ++selection;
    }
    place = below(*row);
  }
  return owned(path);
}

std::expected<Path, Error> Resolver::pathOf(std::span<Entry const> entries, Values const& values) const {
  Resolved resolved;
  Impl::Index type = 0;
  for (Entry const& entry : entries) {
    // The containers on the way, nearest first.
    struct Step {
      Impl::Index type;
      std::size_t before;
      Zyn::ZynAttr attr;
    };
    std::vector<Step> steps = {{type, 0, {}}};
    absl::flat_hash_set<Impl::Index> seen = {type};
    Impl::Row const* found = nullptr;
    std::size_t at = 0;
    for (; at != steps.size() && found == nullptr; ++at) {
      for (Impl::Row const& row : impl_->rowsOf(steps[at].type)) {
        if (row.attr == entry.collection) {
          found = &row;
          break;
        }
        if (row.kind == NodeKind::Container && row.below != Impl::none && seen.insert(row.below).second) {
          steps.push_back({row.below, at, row.attr});
        }
      }
    }
    if (found == nullptr) {
      return std::unexpected(
          Error{.kind = ErrorClass::UnknownNode,
                .text = Text::inQuotes(entry.collection.name()) + " cannot be reached through containers alone from " +
                        (resolved.nodes.empty() ? "the root" : Text::inQuotes(resolved.nodes.back().name())),
                .element = resolved.nodes.size()});
    }
    std::size_t const first = resolved.nodes.size();
    for (std::size_t step = at - 1; step != 0; step = steps[step].before) {
      resolved.nodes.push_back(steps[step].attr);
    }
    std::reverse(resolved.nodes.begin() + static_cast<std::ptrdiff_t>(first), resolved.nodes.end());
    // A selection has pointers to values that may be changed; nobody changes this one.
    Velko::Ptr<Zyn::GenericIf> const key(const_cast<Zyn::GenericIf*>(entry.key.get()));
    Selected& selected = resolved.selections.emplace_back();
    selected.node = resolved.nodes.size();
    selected.collection = entry.collection;
    selected.selection = Drovan::ZynKeyDecoder::Single{key};
    resolved.nodes.push_back(entry.collection);
    type = found->below;
  }
  return impl_->canonical(resolved, values);
}

}  // namespace Gnmi
