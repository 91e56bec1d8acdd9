#include "zynkey/Names.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <utility>

#include "text/Messages.h"
#include "text/Nearest.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

template <typename Cache, typename Find, typename Unknown>
std::expected<typename Cache::mapped_type, std::string> findCached(Cache& cache, std::string_view name, Find find,
                                                                   Unknown unknown) {
  auto known = cache.find(name);
  if (known == cache.end()) {
    auto const found = find(name);
    if (found.empty()) {
      return std::unexpected(unknown());
    }
    known = cache.emplace(name, found).first;
  }
  return known->second;
}

/** "/a:x/y.z" as "/x/y/z": what a collection of YANG, and the path of its list, have in common. */
std::string pathOfNames(std::string_view name) {
  std::string path;
  for (std::size_t at = 0; at != name.size(); ++at) {
    if (name[at] == ':') {
      path.resize(path.rfind('/') + 1);
    } else {
      path += name[at] == '.' ? '/' : name[at];
    }
  }
  return path;
}

}  // namespace

Names::Names(Model::Schema const& schema, Resolvers* resolvers) : schema_(schema), resolvers_(resolvers) {
  for (std::string const& name : schema.names()) {
    longestType_ = std::max(longestType_, name.size());
  }
}

std::vector<std::size_t> cutsOf(std::string_view name, std::size_t longestType) {
  std::vector<std::size_t> cuts;
  for (std::size_t dot = name.rfind('.', longestType); dot != std::string_view::npos && dot != 0;
       dot = name.rfind('.', dot - 1)) {
    cuts.push_back(dot);
  }
  return cuts;
}

Zyn::ZynAttr Names::findCollection(std::string_view name) const {
  for (std::size_t const dot : cutsOf(name, longestType_)) {
    if (Zyn::ZynAttr const found = schema_.find(name.substr(0, dot)).attr(name.substr(dot + 1)); !found.empty()) {
      return found;
    }
  }
  return {};
}

std::string Names::unknownCollection(std::string_view name) {
  if (collectionNames_.empty()) {
    collectionNames_ = collectionNames(schema_, false);
  }
  std::vector<std::string> sameWay;
  if (name.starts_with('/')) {
    std::ranges::copy_if(collectionNames_, std::back_inserter(sameWay),
                         [path = pathOfNames(name)](std::string const& full) { return pathOfNames(full) == path; });
  }
  return "unknown collection " + Text::inQuotes(name) +
         (sameWay.empty() ? Text::didYouMean(name, collectionNames_)
                          : "; did you mean " + Text::list(sameWay, Text::inQuotes) + "?");
}

std::string Names::unknownType(std::string_view name) {
  if (typeNames_.empty()) {
    typeNames_ = schema_.names();
  }
  std::vector<std::string> fullNames;
  std::ranges::copy_if(typeNames_, std::back_inserter(fullNames),
                       [&](std::string const& full) { return Model::shortName(schema_.find(full)) == name; });
  return fullNames.empty()
             ? "unknown type " + Text::inQuotes(name) + Text::didYouMean(name, typeNames_)
             : "several modules have a type " + Text::inQuotes(name) + ": " + Text::list(fullNames, Text::inQuotes);
}

std::expected<Zyn::ZynType, std::string> Names::type(std::string_view name) {
  return findCached(
      types_, name,
      [this](std::string_view text) { return text.size() > longestType_ ? Zyn::ZynType() : schema_.find(text); },
      [&] { return unknownType(name); });
}

std::expected<Zyn::ZynAttr, std::string> Names::collection(std::string_view name) {
  return findCached(
      collections_, name, [this](std::string_view text) { return findCollection(text); },
      [&] { return unknownCollection(name); });
}

std::expected<Zyn::ZynType, std::string> Names::root(std::string_view name) {
  if (!name.empty()) {
    return type(name);
  }
  if (root_.empty()) {
    auto const found = rootOf(schema_);
    if (!found) {
      return found;
    }
    root_ = *found;
  }
  return root_;
}

std::expected<Zyn::ZynType, std::string> rootOf(Model::Schema const& schema) {
  std::vector<Zyn::ZynType> const tops = Model::topEntities(schema);
  if (tops.size() == 1) {
    return tops.front();
  }
  std::vector<std::string> names;
  for (Zyn::ZynType const type : tops) {
    names.push_back(nameOf(schema, type));
  }
  return std::unexpected("which entity do paths start from? Name it with --root, or \"root\" in a request" +
                         Text::listNames(names));
}

std::string suggestion(std::string_view name, std::span<std::string const> names) {
  std::string const near = Text::didYouMean(name, names);
  return near.empty() ? Text::listNames(names) : near;
}

std::string nameOf(Model::Schema const& schema, Zyn::ZynType type) {
  std::string const alone(Model::shortName(type));
  return schema.find(alone) == type ? alone : type.name();
}

std::string fullName(Zyn::ZynAttr collection) {
  return std::string(Zyn::ZynType(collection.module(), collection.owner()).name()) + "." + collection.name();
}

std::vector<std::string> collectionNames(Model::Schema const& schema, bool keyedOnly) {
  std::vector<std::string> names;
  for (std::string const& full : schema.names()) {
    Zyn::ZynType const type = schema.find(full);
    for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
      if ((*attr).isKeyed() || (!keyedOnly && Model::isList(*attr))) {
        names.push_back(nameOf(schema, type) + "." + (*attr).name());
      }
    }
  }
  return names;
}

}  // namespace ZynKey
