#include "zynkey/Ways.h"

#include <algorithm>
#include <iterator>

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

/** Null where there is none. */
std::string const* find(NamedTexts const& tags, std::string_view name) {
  auto const tag = std::ranges::lower_bound(tags, name, {}, &NamedTexts::value_type::first);
  return tag == tags.end() || tag->first != name ? nullptr : &tag->second;
}

/** That of the path's own value, where the prefix has another: `<path>_<tag>`, with or without the prefix in it. */
std::string const* findRenamed(NamedTexts const& tags, std::string_view name, std::string_view path) {
  for (auto const& [tag, value] : tags) {
    if (tag.size() > name.size() + 1 && tag.ends_with(name) && tag[tag.size() - name.size() - 1] == '_' &&
        path.ends_with(std::string_view(tag).substr(0, tag.size() - name.size() - 1))) {
      return &value;
    }
  }
  return nullptr;
}

}  // namespace

Way::Way(std::string_view path, Gnmi::Resolver const& resolver) : path_(path) {
  Gnmi::Path parsed;
  if (auto read = Gnmi::parsePath(path_, parsed); !read) {
    error_ = std::move(read).error();
    return;
  }
  auto const elements = parsed.elements();
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
  for (Step& step : steps_) {
    // Of an element that the schema does not have, nobody knows which keys it has.
    auto const others = static_cast<std::size_t>(std::ranges::count(below, withoutModule(step.element)));
    for (TagKey& key : step.keys) {
      auto const& [count, last] = wanted[key.tag];
      key.wantedBy = count + others;
      key.isLast = last == &key && others == 0;
      if (key.wantedBy > 1 && name_ != path_) {
        // Its value may be in a tag that has the path in its name.
        name_ = path_;
      }
    }
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

std::optional<std::string_view> Way::fill(NamedTexts const& tags, Gnmi::Path& into) const {
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
      std::string const* value = find(tags, key.tag);
      if (key.wantedBy > 1 && value != nullptr) {
        std::string const* const renamed = findRenamed(tags, key.tag, path_);
        if (key.wantedBy > 2 || renamed == nullptr) {
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

std::shared_ptr<Way const> Ways::of(std::string_view path) {
  constexpr std::size_t mostKnown = 4096;
  constexpr std::size_t longestKnown = 1024;
  if (auto const known = known_.find(path); known != known_.end()) {
    return known->second;
  }
  auto way = std::make_shared<Way const>(path, resolver_);
  if (path.size() <= longestKnown) {
    if (known_.size() == mostKnown) {
      known_.clear();
    }
    known_.emplace(way->path(), way);
  }
  return way;
}

}  // namespace ZynKey
