#include "gnmi/Resolver.h"

#include <algorithm>

#include "gnmi/Tables.h"
#include "text/Messages.h"

namespace Gnmi {
namespace {

/** The name of an attribute without its module, where that stands in front. */
std::string_view withoutModule(std::string_view name, std::string_view module) {
  bool const hasModule =
      !module.empty() && name.size() > module.size() && name.starts_with(module) && name[module.size()] == ':';
  return hasModule ? name.substr(module.size() + 1) : name;
}

NodeKind kindOf(Zyn::ZynAttr attr, SchemaFacts const& facts) {
  bool const isValue = attr.attrType().isValue();
  if (attr.isKeyed()) {
    return NodeKind::List;
  }
  if (facts.isList && facts.isList(attr)) {
    return isValue ? NodeKind::LeafList : NodeKind::List;
  }
  return isValue ? NodeKind::Leaf : NodeKind::Container;
}

}  // namespace

std::string_view nameOf(NodeKind kind) noexcept {
  switch (kind) {
    case NodeKind::Leaf:
      return "leaf";
    case NodeKind::LeafList:
      return "leaf-list";
    case NodeKind::Container:
      return "container";
    case NodeKind::List:
      return "list";
  }
  return "";
}

Error placed(Error error, Path const& path, std::size_t element) {
  error.inPrefix = element < path.prefixSize();
  error.element = error.inPrefix ? element : element - path.prefixSize();
  if (path.isFromText() && !error.inPrefix && element < path.elements().size()) {
    error.offset = path.elements()[element].at;
  }
  return error;
}

Error placed(KeyError error, Path const& path, std::size_t element) {
  Error whole = placed(Error{.kind = error.kind,
                             .text = std::move(error.text),
                             .unknown = std::move(error.unknown),
                             .names = std::move(error.names)},
                       path, element);
  if (error.key != KeyError::all) {
    Key const& key = path.keys(path.elements()[element])[error.key];
    whole.key = key.name;
    if (whole.offset) {
      whole.offset = error.ofValue ? key.valueAt : key.nameAt;
    }
  }
  return whole;
}

// ---- the tables

Resolver::Impl::Impl(Zyn::ZynType root, Options given) : options(std::move(given)) {
  for (auto const& [origin, modules] : options.facts.origins) {
    origins.emplace(origin, OriginModules(modules.begin(), modules.end()));
  }
  indexOf(root);
  for (Index type = 0; type != types.size(); ++type) {
    addRows(type);
  }
}

Resolver::Impl::Index Resolver::Impl::indexOf(Zyn::ZynType type) {
  if (type.empty()) {
    return none;
  }
  auto const [known, isNew] =
      typeIndex.try_emplace(std::pair(type.module(), type.index()), static_cast<Index>(types.size()));
  if (isNew) {
    types.push_back({.type = type});
  }
  return known->second;
}

void Resolver::Impl::addRows(Index type) {
  auto const first = static_cast<Index>(rows.size());
  for (Zyn::AttributeQIterator it(types[type].type); it; ++it) {
    Zyn::ZynAttr const attr = *it;
    if (options.facts.isHidden && options.facts.isHidden(attr)) {
      continue;
    }
    Row row;
    row.attr = attr;
    row.module = options.facts.moduleOf ? options.facts.moduleOf(attr) : std::string_view();
    row.name = withoutModule(attr.name(), row.module);
    row.kind = kindOf(attr, options.facts);
    row.isKeyed = attr.isKeyed();
    row.below = indexOf(attr.attrType());
    if (row.isKeyed && !attr.keyType().empty()) {
      auto const [plan, isNew] = planOf.try_emplace(attr, static_cast<Index>(plans.size()));
      if (isNew) {
        plans.emplace_back(attr, options);
      }
      row.plan = plan->second;
    }
    rows.push_back(row);
  }
  types[type].firstRow = first;
  types[type].rowCount = static_cast<Index>(rows.size()) - first;
  bool const areFew = types[type].rowCount <= fewNames;
  // From the last, so that each row leads to the next one of its name.
  for (auto index = static_cast<Index>(rows.size()); index-- != first;) {
    Row& row = rows[index];
    if (areFew) {
      auto const next = std::find_if(rows.begin() + index + 1, rows.end(),
                                     [&row](Row const& other) { return other.name == row.name; });
      row.nextOfName = next == rows.end() ? none : static_cast<Index>(next - rows.begin());
    } else if (auto const [known, isNew] = rowByName.try_emplace(std::pair(type, row.name), index); !isNew) {
      row.nextOfName = std::exchange(known->second, index);
    }
  }
}

Resolver::Impl::Index Resolver::Impl::firstOf(Index type, std::string_view name) const {
  std::span<Row const> const here = rowsOf(type);
  if (here.size() <= fewNames) {
    auto const row = std::ranges::find(here, name, &Row::name);
    return row == here.end() ? none : static_cast<Index>(row - here.begin()) + types[type].firstRow;
  }
  auto const row = rowByName.find(std::pair(type, name));
  return row == rowByName.end() ? none : row->second;
}

std::expected<Resolver::Impl::Place, Error> Resolver::Impl::top(std::string_view origin) const {
  Place place;
  place.type = types.empty() ? none : 0;
  place.isTop = true;
  place.isOriginGiven = !origin.empty();
  if (origin.ends_with("_cli")) {
    return std::unexpected(
        Error{.kind = ErrorClass::UnknownOrigin,
              .text = "origin " + Text::inQuotes(origin) + " stands for commands of a device, which name no model"});
  }
  if (origins.empty()) {
    return place;
  }
  auto const found = origins.find(origin.empty() ? "openconfig" : origin);
  if (found != origins.end()) {
    place.origin = &found->second;
  } else if (!origin.empty()) {
    Error error{.kind = ErrorClass::UnknownOrigin,
                .text = "unknown origin " + Text::inQuotes(origin),
                .unknown = std::string(origin)};
    for (auto const& [name, modules] : options.facts.origins) {
      error.names.push_back(name);
    }
    return std::unexpected(std::move(error));
  }
  return place;
}

Resolver::Impl::Found Resolver::Impl::lookUp(Place const& place, std::string_view name) const {
  if (Index const alone = firstOf(place.type, name); alone != none) {
    bool const isOnlyOne = rows[alone].nextOfName == none && place.origin == nullptr;
    return isOnlyOne ? Found{.row = alone} : choose(place, alone);
  }
  std::size_t const colon = name.find(':');
  if (colon == std::string_view::npos) {
    return {};
  }
  std::string_view const module = name.substr(0, colon);
  for (Index row = firstOf(place.type, name.substr(colon + 1)); row != none; row = rows[row].nextOfName) {
    bool const hasModule = rows[row].module == module || (rows[row].module.empty() && !options.facts.moduleOf);
    if (hasModule && isReachable(place, rows[row])) {
      return {.row = row};
    }
  }
  return {};
}

Resolver::Impl::Found Resolver::Impl::choose(Place const& place, Index first) const {
  Found found;
  for (Index row = first; row != none; row = rows[row].nextOfName) {
    std::string_view const module = rows[row].module;
    if (!place.isTop && !module.empty() && module == place.module) {
      return {.row = row};
    }
    if (counts(place, module)) {
      bool const isFirst = found.row == none && !found.isAmbiguous;
      found = {.row = isFirst ? row : none, .isAmbiguous = !isFirst};
    }
  }
  return found;
}

Error Resolver::Impl::unknown(Place const& place, std::string_view name) const {
  if (lookUp(place, name).isAmbiguous) {
    return ambiguous(place, name);
  }
  return {.kind = ErrorClass::UnknownNode,
          .text = "unknown element " + Text::inQuotes(name) + " of " +
                  (place.type == none ? std::string("a node without any") : types[place.type].type.name()),
          .unknown = std::string(name),
          .names = namesAt(place)};
}

Error Resolver::Impl::ambiguous(Place const& place, std::string_view name) const {
  std::vector<std::string> several;
  for (Index row = firstOf(place.type, name); row != none; row = rows[row].nextOfName) {
    if (counts(place, rows[row].module)) {
      several.push_back(std::string(rows[row].module) + ":" + std::string(name));
    }
  }
  return {.kind = ErrorClass::Ambiguous,
          .text = "several modules have an element " + Text::inQuotes(name) + " here",
          .names = std::move(several)};
}

std::string Resolver::Impl::nameOf(Row const& row, Place const& place) const {
  Found const found = lookUp(place, row.name);
  bool const isEnough = found.row != none && rows[found.row].attr == row.attr;
  return isEnough ? std::string(row.name) : std::string(row.module) + ":" + std::string(row.name);
}

std::vector<std::string> Resolver::Impl::namesAt(Place const& place) const {
  std::vector<std::string> names;
  for (Row const& row : rowsOf(place.type)) {
    if (!isReachable(place, row)) {
      continue;
    }
    bool const isAlone = rows[firstOf(place.type, row.name)].nextOfName == none && place.origin == nullptr;
    names.push_back(isAlone ? std::string(row.name) : nameOf(row, place));
  }
  return names;
}

std::string Resolver::Impl::leafOf(Row const& row, std::string_view key) const {
  if (!options.facts.pathOf) {
    return {};
  }
  std::string_view const name = key.substr(key.find(':') + 1);
  Zyn::ZynAttr const leaf = row.attr.attrType().attr(name);
  std::string const path = leaf.empty() ? std::string() : options.facts.pathOf(leaf);
  return path.empty() ? path : "; the leaf is " + path;
}

std::vector<std::string> Resolver::Impl::keyedNamesAt(Place const& place) const {
  std::vector<std::string> names;
  for (Row const& row : rowsOf(place.type)) {
    if (row.plan != none && isReachable(place, row)) {
      names.push_back(nameOf(row, place));
    }
  }
  return names;
}

std::expected<void, KeyError> Resolver::Impl::select(Row const& row, std::span<Key const> keys, Mode mode,
                                                     Selection& into) const {
  if (row.plan != none) {
    auto selected = plans[row.plan].select(keys, mode, options.showTree, into);
    if (!selected && selected.error().kind == ErrorClass::ValueRefused && selected.error().ofValue) {
      selected.error().text += leafOf(row, keys[selected.error().key].name);
    }
    return selected;
  }
  if (keys.empty()) {
    into.emplace<Drovan::ZynKeyDecoder::Multiple>();
    return {};
  }
  return std::unexpected(KeyError{
      .text = Text::inQuotes(row.attr.name()) + " takes no keys and is none of the keyed collections", .key = 0});
}

// ---- one path

Resolver::Resolver(Zyn::ZynType root, Options options)
    : impl_(std::make_unique<Impl const>(root, std::move(options))) {}
Resolver::Resolver(Resolver&&) noexcept = default;
Resolver& Resolver::operator=(Resolver&&) noexcept = default;
Resolver::~Resolver() = default;

std::expected<void, Error> Resolver::resolve(Path const& path, Resolved& into, Mode mode) const {
  into.nodes.clear();
  into.selections.clear();
  if (into.origin != path.origin) {
    into.origin = path.origin;
  }
  auto place = impl_->top(path.origin);
  if (!place) {
    place.error().element = path.elements().size() - path.prefixSize();
    return std::unexpected(std::move(place).error());
  }
  Impl::Row const* last = nullptr;
  for (std::size_t i = 0; i != path.elements().size(); ++i) {
    Element const& element = path.elements()[i];
    Impl::Index const found = impl_->lookUp(*place, element.name).row;
    if (found == Impl::none) {
      return std::unexpected(
          placed(isWildcardElement(element.name)
                     ? Error{.kind = ErrorClass::WildcardRefused,
                             .text = "element " + Text::inQuotes(element.name) + " stands for many nodes; name one"}
                     : impl_->unknown(*place, element.name),
                 path, i));
    }
    Impl::Row const& row = impl_->rows[found];
    if (row.isKeyed || element.keyCount != 0) {
      Selected& selected = into.selections.emplace_back();
      selected.node = i;
      selected.collection = row.attr;
      bool const isWholeList = i + 1 == path.elements().size() && element.keyCount == 0;
      if (auto done = impl_->select(row, path.keys(element), isWholeList ? Mode::Read : mode, selected.selection);
          !done) {
        if (row.plan == Impl::none) {
          done.error().names = impl_->keyedNamesAt(*place);
        }
        return std::unexpected(placed(std::move(done).error(), path, i));
      }
    }
    into.nodes.push_back(row.attr);
    last = &row;
    place->enter(row);
  }
  if (last != nullptr) {
    impl_->setNode(*last, into.node);
  } else {
    into.node = impl_->root();
  }
  return {};
}

std::expected<void, Error> Resolver::checkPayload(Selected const& selected, std::span<PayloadLeaf const> leaves,
                                                  Values const& values) const {
  auto const plan = impl_->planOf.find(selected.collection);
  auto const* const single = std::get_if<Drovan::ZynKeyDecoder::Single>(&selected.selection);
  if (plan == impl_->planOf.end() || single == nullptr) {
    return std::unexpected(Error{
        .kind = ErrorClass::KeyMissing,
        .text = Text::inQuotes(selected.collection.name()) + " has no exact key here that a payload could agree with",
        .element = selected.node});
  }
  for (PayloadLeaf const& leaf : leaves) {
    if (auto const same = impl_->plans[plan->second].compare(*single->value, leaf, values); !same) {
      return std::unexpected(Error{.kind = same.error().kind,
                                   .text = same.error().text,
                                   .element = selected.node,
                                   .key = std::string(leaf.first),
                                   .unknown = same.error().unknown,
                                   .names = same.error().names});
    }
  }
  return {};
}

std::vector<std::pair<std::string, Node>> Resolver::nodesBelow(Resolved const& resolved) const {
  auto place = impl_->top(resolved.origin);
  std::vector<std::pair<std::string, Node>> nodes;
  if (!place) {
    return nodes;
  }
  for (Zyn::ZynAttr const attr : resolved.nodes) {
    auto const rows = impl_->rowsOf(place->type);
    auto const row = std::ranges::find(rows, attr, &Impl::Row::attr);
    if (row == rows.end()) {
      return nodes;
    }
    place->enter(*row);
  }
  for (Impl::Row const& row : impl_->rowsOf(place->type)) {
    if (Impl::isReachable(*place, row)) {
      impl_->setNode(row, nodes.emplace_back(impl_->nameOf(row, *place), Node()).second);
    }
  }
  return nodes;
}

std::vector<std::string> Resolver::keyNames(Zyn::ZynAttr collection) const {
  auto const plan = impl_->planOf.find(collection);
  return plan == impl_->planOf.end() ? std::vector<std::string>() : impl_->plans[plan->second].names();
}

}  // namespace Gnmi
