#include "yaml/Declarations.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <forward_list>
#include <ranges>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "model/Schema.h"
#include "text/Messages.h"

namespace Yaml {
namespace {

constexpr std::array<std::string_view, 5> kinds = {"enum", "wraps", "union", "value", "entity"};
constexpr std::array<std::string_view, 3> valueKeys = {"args", "gnmi", "s4"};
constexpr std::array<std::string_view, 8> typeKeys = {"enum",   "wraps", "union", "value",
                                                      "entity", "args",  "gnmi",  "s4"};

// As many as are looked at.
constexpr std::size_t mostNames = 10000;

std::array<Zyn::ZynType, static_cast<std::size_t>(Model::Kind::Enum)> coreTypes() {
  std::array<Zyn::ZynType, static_cast<std::size_t>(Model::Kind::Enum)> types;
  for (std::size_t kind = 0; kind < types.size(); ++kind) {
    types[kind] = Model::core(static_cast<Model::Kind>(kind));
  }
  return types;
}

/** Empty when there is none. */
Zyn::ZynType coreType(std::string_view name) {
  static auto const types = coreTypes();
  auto const found = std::ranges::find(types, name, Model::shortName);
  return found == types.end() ? Zyn::ZynType() : *found;
}

}  // namespace

Node const* child(Node const& map, std::string_view key) {
  auto const found = std::ranges::find(map.items, key, &Node::key);
  return found == map.items.end() ? nullptr : &*found;
}

bool checkName(Problems& problems, Place place, std::string_view name, std::string_view what) {
  auto const isLetter = [](char c) { return ('a' <= c && c <= 'z') || ('A' <= c && c <= 'Z') || c == '_'; };
  auto const isDigit = [](char c) { return '0' <= c && c <= '9'; };
  if (!name.empty() && !isDigit(name.front()) &&
      std::ranges::all_of(name, [&](char c) { return isLetter(c) || isDigit(c); })) {
    return true;
  }
  problems.add(place, fmt::format("{} is no name for {}; write letters, digits and '_', not starting with a digit",
                                  Text::inQuotes(name), what));
  return false;
}

Declarations::Declarations(File& file, Node const& types) : file_(file), types_(types) {
  for (Node const& node : types.items) {
    if (!coreType(node.key).empty()) {
      file.problems.add(node.keyPlace, fmt::format("'{}' is the name of a core type; choose another name", node.key));
      continue;
    }
    Declaration*& declaration = byName_[node.key];
    if (!checkName(file.problems, node.keyPlace, node.key, "a type")) {
      continue;
    }
    all_.emplace_back().node = &node;
    if (read(all_.back())) {
      declaration = &all_.back();
    } else {
      all_.pop_back();
    }
  }
}

bool Declarations::read(Declaration& declaration) {
  Problems& problems = file_.problems;
  Node const& node = *declaration.node;
  if (!problems.expect(node, Shape::Map, "a map with a kind, as in '{wraps: U16}'")) {
    return false;
  }
  problems.checkKeys(node, typeKeys);
  bool ok = true;
  for (Node const& item : node.items) {
    if (std::ranges::find(kinds, item.key) == kinds.end()) {
      continue;
    }
    if (declaration.content != nullptr) {
      problems.add(item.keyPlace, fmt::format("type {} is of two kinds, '{}' and '{}'; keep one",
                                              Text::inQuotes(node.key), declaration.kind, item.key));
      ok = false;
    } else {
      declaration.content = &item;
      declaration.kind = item.key;
    }
  }
  if (declaration.content == nullptr) {
    problems.add(node.keyPlace, fmt::format("type {} is of no kind; give it one of: {}", Text::inQuotes(node.key),
                                            fmt::join(kinds, ", ")));
    return false;
  }
  Node const& content = *declaration.content;
  if (declaration.kind != "value") {
    for (std::string_view const key : valueKeys) {
      if (Node const* const item = child(node, key)) {
        problems.add(item->keyPlace,
                     fmt::format("'{}' stands beside '{}'; it goes with 'value' only", key, declaration.kind));
      }
    }
  }
  if (declaration.kind == "wraps") {
    ok &= problems.expect(content, Shape::Text, "the name of a type");
  } else if (declaration.kind != "enum") {
    ok &= problems.expect(content, Shape::Map, "a map of names to types");
  } else if (content.shape != Shape::List) {
    ok &= problems.expect(content, Shape::Map, "a map of names to numbers, or a list of names");
  }
  return ok;
}

Declaration* Declarations::own(std::string_view name) const {
  auto const found = byName_.find(name);
  return found == byName_.end() ? nullptr : found->second;
}

Zyn::ZynType Declarations::typeNamed(Node const& name) {
  if (auto const found = byName_.find(name.text); found != byName_.end()) {
    return found->second == nullptr ? Zyn::ZynType() : found->second->type;
  }
  if (Zyn::ZynType const core = coreType(name.text); !core.empty()) {
    return core;
  }
  std::size_t const dot = name.text.find('.');
  if (dot != std::string_view::npos) {
    if (auto const import = file_.imports.find(name.text.substr(0, dot)); import != file_.imports.end()) {
      std::string_view const rest = name.text.substr(dot + 1);
      Zyn::ZynType const type = import->second->module->find(rest);
      if (!type.empty() || import->second->failed.contains(std::string(rest))) {
        return type;
      }
    }
  }
  if (dot == std::string_view::npos || !file_.lacksImports) {
    file_.problems.add(name.place, fmt::format("no type {}{}", Text::inQuotes(name.text),
                                               file_.problems.didYouMean(name.text, names())));
  }
  return {};
}

std::vector<std::string> const& Declarations::names() {
  if (names_.empty()) {
    for (Zyn::ZynType const type : coreTypes()) {
      names_.emplace_back(Model::shortName(type));
    }
    for (auto const& [module, file] : file_.imports) {
      for (Zyn::ZynType const type : file->module->types()) {
        if (names_.size() < mostNames) {
          names_.push_back(fmt::format("{}.{}", module, Model::shortName(type)));
        }
      }
    }
    for (Node const& node : types_.items) {
      if (names_.size() < mostNames) {
        names_.emplace_back(node.key);
      }
    }
  }
  return names_;
}

std::vector<Declaration*> Declarations::wrapperChain(Declaration& first) {
  std::vector<Declaration*> chain;
  Declaration* at = &first;
  while (at != nullptr && !std::exchange(at->isInChain, true)) {
    chain.push_back(at);
    at = at->kind == "wraps" ? own(at->content->text) : nullptr;
  }
  if (auto const again = std::ranges::find(chain, at); again != chain.end()) {
    std::string const way = Text::list(
        std::ranges::subrange(again, chain.end()),
        [](Declaration const* each) { return Text::inQuotes(each->node->key); }, " wraps ");
    file_.problems.add(chain.back()->content->place,
                       fmt::format("{} wraps {} again; wrap another type", way, Text::inQuotes((*again)->node->key)));
  }
  return chain;
}

std::vector<Declaration*> Declarations::innerFirst() {
  struct Step {
    Declaration* at;
    /** The next attribute to look at. */
    std::forward_list<Node>::const_iterator attr;
  };
  std::vector<Declaration*> order;
  std::vector<Step> steps;
  auto const enter = [&](Declaration* declaration) {
    while (declaration != nullptr && !std::exchange(declaration->isOrdered, true)) {
      if (declaration->kind == "wraps") {
        declaration = own(declaration->content->text);
      } else if (declaration->kind == "union" || declaration->kind == "value") {
        steps.push_back({declaration, declaration->content->items.begin()});
      }
    }
  };
  for (Declaration& first : all_) {
    enter(&first);
    while (!steps.empty()) {
      auto& [at, attr] = steps.back();
      if (attr == at->content->items.end()) {
        order.push_back(at);
        steps.pop_back();
      } else {
        enter(own(attr++->text));
      }
    }
  }
  return order;
}

void Declarations::markFailed() {
  for (auto const& [name, declaration] : byName_) {
    if (declaration == nullptr || declaration->type.empty()) {
      file_.failed.emplace(name);
    }
  }
}

}  // namespace Yaml
