#include "zynkey/Names.h"

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <set>

#include "gnmi/Resolve.h"
#include "text/Messages.h"
#include "text/Nearest.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

/** The type name may hold dots of its own, so every dot is tried, the last one first. */
Zyn::ZynAttr findCollection(Model::Schema const& schema, std::string_view name) {
  for (std::size_t dot = name.rfind('.'); dot != std::string_view::npos && dot != 0; dot = name.rfind('.', dot - 1)) {
    if (Zyn::ZynAttr const found = schema.find(name.substr(0, dot)).attr(name.substr(dot + 1)); !found.empty()) {
      return found;
    }
  }
  return {};
}

std::string unknownType(Model::Schema const& schema, std::string_view name) {
  std::vector<std::string> const names = schema.names();
  std::vector<std::string> homes;
  std::ranges::copy_if(names, std::back_inserter(homes),
                       [&](std::string const& full) { return Model::shortName(schema.find(full)) == name; });
  return homes.empty()
             ? "unknown type " + Text::inQuotes(name) + Text::didYouMean(name, names)
             : "several modules have a type " + Text::inQuotes(name) + ": " + Text::list(homes, Text::inQuotes);
}

template <typename Cache, typename Find, typename Unknown>
std::expected<typename Cache::mapped_type, std::string> remembered(Cache& cache, std::string_view name, Find find,
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

}  // namespace

std::expected<Zyn::ZynType, std::string> Names::type(std::string_view name) {
  return remembered(
      types_, name, [this](std::string_view text) { return schema_.find(text); },
      [&] { return unknownType(schema_, name); });
}

std::expected<Zyn::ZynAttr, std::string> Names::collection(std::string_view name) {
  return remembered(
      collections_, name, [this](std::string_view text) { return findCollection(schema_, text); },
      [&] {
        return "unknown collection " + Text::inQuotes(name) + Text::didYouMean(name, collectionNames(schema_, false));
      });
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
  std::vector<Zyn::ZynType> entities;
  std::set<std::string_view> parts;
  for (std::string const& name : schema.names()) {
    Zyn::ZynType const type = schema.find(name);
    if (Model::kindOf(type) != Model::Kind::Entity) {
      continue;
    }
    entities.push_back(type);
    for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
      if ((*attr).attrType() != type) {
        parts.insert((*attr).attrType().name());
      }
    }
  }
  std::vector<Zyn::ZynType> roots;
  std::ranges::copy_if(entities, std::back_inserter(roots), [&](auto type) { return !parts.contains(type.name()); });
  if (roots.size() == 1) {
    return roots.front();
  }
  std::vector<std::string> names;
  for (Zyn::ZynType const type : roots.empty() ? entities : roots) {
    names.push_back(nameOf(schema, type));
  }
  return std::unexpected("which entity do paths start from? Name it with --root, or \"root\" in a request" +
                         Text::listNames(names));
}

std::string nameOf(Model::Schema const& schema, Zyn::ZynType type) {
  std::string const alone(Model::shortName(type));
  return schema.find(alone) == type ? alone : type.name();
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
