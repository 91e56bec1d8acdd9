#include "Names.h"

#include <algorithm>
#include <cstddef>

#include "Trouble.h"
#include "schema/Nearest.h"

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
  std::string homes;
  for (std::string const& full : names) {
    if (Model::shortName(schema.find(full)) == name) {
      homes += (homes.empty() ? "'" : ", '") + full + "'";
    }
  }
  return homes.empty() ? "unknown type " + inQuotes(name) + Yaml::didYouMean(name, names)
                       : "several modules have a type " + inQuotes(name) + ": " + homes;
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
      [&] { return "unknown collection " + inQuotes(name) + Yaml::didYouMean(name, collectionNames(schema_, false)); });
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
