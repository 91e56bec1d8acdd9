#include "zynkey/Ways.h"

#include <algorithm>
#include <iterator>
#include <ranges>

#include "gnmi/Path.h"
#include "model/Schema.h"

namespace ZynKey {
namespace {

std::string_view withoutModule(std::string_view name) { return name.substr(name.rfind(':') + 1); }

/** The names of keys that give a part as one value; "key" for a key without a name. */
void addKeyNames(Zyn::ZynType type, std::string const& name, std::vector<std::string>& names) {
  bool const isBuilt = Model::kindOf(type) == Model::Kind::Value;
  if (!name.empty() && (!isBuilt || !Model::gnmiPattern(type).empty())) {
    names.push_back(name);
  }
  for (Zyn::AttributeQIterator attr(type); isBuilt && attr; ++attr) {
    addKeyNames((*attr).attrType(), (name.empty() ? "" : name + "__") + (*attr).name(), names);
  }
}

std::vector<std::string> keyNames(Zyn::ZynAttr collection, Gnmi::Resolver const& resolver) {
  std::vector<std::string> names;
  addKeyNames(collection.keyType(), "", names);
  if (names.empty()) {
    names = resolver.keyNames(collection);
  }
  if (names.empty()) {
    names.emplace_back("key");
  }
  return names;
}

}  // namespace

std::string const* Tags::find(std::string_view name) const {
  auto const tag = std::ranges::lower_bound(sorted_, name, {}, &NamedTexts::value_type::first);
  return tag == sorted_.end() || tag->first != name ? nullptr : &tag->second;
}

std::string const* Tags::findRenamed(std::string_view name, std::string_view path) {
  if (values_.empty()) {
    values_.push_back(nullptr);
    for (auto const& [tag, value] : sorted_) {
      std::size_t node = 0;
      for (char const byte : std::views::reverse(tag)) {
        auto const [next, isNew] = next_.try_emplace({node, byte}, values_.size());
        if (isNew) {
          values_.push_back(nullptr);
        }
        node = next->second;
      }
      values_[node] = &value;
    }
  }
  std::size_t node = 0;
  auto const follow = [&](char byte) {
    auto const next = next_.find({node, byte});
    node = next == next_.end() ? node : next->second;
    return next != next_.end();
  };
  if (!std::ranges::all_of(std::views::reverse(name), follow) || !follow('_')) {
    return nullptr;
  }
  std::string const* value = nullptr;
  for (char const byte : std::views::reverse(path)) {
    if (!follow(byte)) {
      break;
    }
    value = values_[node] != nullptr ? values_[node] : value;
  }
  return value;
}

Way::Way(std::string_view path, PathKind kind, Gnmi::Resolver const& resolver) : path_(path) {
  Gnmi::Path parsed;
  if (auto read = Gnmi::parsePath(path_, parsed); !read) {
    error_ = std::move(read).error();
    return;
  }
  auto const elements = parsed.elements();
  if (elements.empty()) {
    error_ = {.kind = Gnmi::ErrorClass::UnknownNode, .text = "the path has no elements"};
    return;
  }
  Gnmi::Resolved found;
  std::size_t known = elements.size();
  for (bool isCut = false;; isCut = true) {
    Gnmi::Path names;
    names.origin = parsed.origin;
    for (Gnmi::Element const& element : elements.first(known)) {
      names.add(element.name);
    }
    auto resolved = resolver.resolve(names, found);
    if (resolved) {
      break;
    }
    // What the schema has of the path is enough.
    bool const knowsSome = resolved.error().kind == Gnmi::ErrorClass::UnknownNode && resolved.error().element != 0;
    if (isCut || !knowsSome) {
      error_ = std::move(resolved).error();
      return;
    }
    known = resolved.error().element;
  }
  origin_ = parsed.origin;
  std::size_t const size = found.selections.empty() ? 0 : found.selections.back().node + 1;
  for (Gnmi::Element const& element : elements.first(size)) {
    Step& step = steps_.emplace_back();
    step.element = element.name;
    for (Gnmi::Key const& key : parsed.keys(element)) {
      step.given.emplace_back(key.name, key.value);
    }
  }
  for (Gnmi::Selected const& selected : found.selections) {
    Step& step = steps_[selected.node];
    step.collection = selected.collection;
    collections_.push_back(selected.collection);
    std::string const start = std::string(withoutModule(step.element)) + "_";
    for (std::string const& key : keyNames(selected.collection, resolver)) {
      step.keys.push_back({.tag = start + key, .key = key});
    }
  }
  std::vector<std::string> below;
  for (Gnmi::Element const& element : elements.subspan(known)) {
    below.emplace_back(withoutModule(element.name));
  }
  if (kind == PathKind::Value && !below.empty()) {
    below.pop_back();
  }
  Gnmi::Path names;
  names.origin = origin_;
  for (Step const& step : steps_) {
    names.add(step.element);
    for (auto const& [name, value] : step.given) {
      names.addKey(name, value);
    }
  }
  name_ = Gnmi::formatPath(names);
  findCollisions(below);
}

void Way::findCollisions(std::vector<std::string> const& below) {
  Text::NameMap<std::pair<std::size_t, TagKey*>> wanted;
  for (Step& step : steps_) {
    for (TagKey& key : step.keys) {
      auto& [count, last] = wanted[key.tag];
      ++count;
      last = &key;
    }
  }
  Text::NameMap<std::size_t> unknown;
  for (std::string const& name : below) {
    ++unknown[name];
  }
  bool collides = false;
  for (Step& step : steps_) {
    // Of an element that the schema does not have, nobody knows which keys it has.
    auto const same = unknown.find(withoutModule(step.element));
    std::size_t const others = same == unknown.end() ? 0 : same->second;
    for (TagKey& key : step.keys) {
      auto const& [count, last] = wanted[key.tag];
      key.wantedBy = count + others;
      key.isLast = last == &key && others == 0;
      collides = collides || key.wantedBy > 1;
    }
  }
  if (collides) {
    // A value may be in a tag that has the path in its name.
    name_ = path_;
  }
}

std::vector<std::string> Way::tagsOf(Zyn::ZynAttr collection) const {
  std::vector<std::string> tags;
  for (Step const& step : steps_) {
    if (step.collection == collection) {
      tags.clear();
      std::ranges::transform(step.keys, std::back_inserter(tags), &TagKey::tag);
    }
  }
  return tags;
}

std::optional<std::string_view> Way::fill(Tags& tags, Gnmi::Path& into) const {
  into.clear();
  into.origin = origin_;
  for (Step const& step : steps_) {
    into.add(step.element);
    for (auto const& [name, value] : step.given) {
      into.addKey(name, value);
    }
    for (TagKey const& key : step.keys) {
      if (std::ranges::find(step.given, key.key, &NamedTexts::value_type::first) != step.given.end()) {
        continue;
      }
      std::string const* value = tags.find(key.tag);
      if (key.wantedBy > 1 && value != nullptr) {
        std::string const* const renamed = key.wantedBy > 2 ? nullptr : tags.findRenamed(key.tag, path_);
        if (renamed == nullptr) {
          return key.tag;
        }
        value = key.isLast ? renamed : value;
      }
      if (value != nullptr) {
        into.addKey(key.key, *value);
      }
    }
  }
  return std::nullopt;
}

std::shared_ptr<Way const> Ways::of(std::string_view path, PathKind kind) {
  constexpr std::size_t mostKnown = 4096;
  constexpr std::size_t longestKnown = 1024;
  auto& all = known_.at(static_cast<std::size_t>(kind));
  if (auto const known = all.find(path); known != all.end()) {
    return known->second;
  }
  auto way = std::make_shared<Way const>(path, kind, resolver_);
  if (path.size() <= longestKnown) {
    if (all.size() == mostKnown) {
      all.clear();
    }
    all.emplace(way->path(), way);
  }
  return way;
}

}  // namespace ZynKey
