#include "tests/naive-gnmi/World.h"

#include <algorithm>
#include <array>
#include <optional>
#include <span>
#include <string_view>

#include "Velko/Exception.h"
#include "model/Value.h"

namespace NaiveGnmi {
namespace {

using Model::core;
using Model::Kind;
using Model::Mark;

constexpr std::size_t coreKinds = static_cast<std::size_t>(Kind::MacAddress) + 1;

// Few names, so that key types, entries and elements share them. Two underscores cut a path of a key.
constexpr std::array<std::string_view, 9> fieldNames = {"a", "b", "c", "key", "d", "e", "m:a", "a__b", "_"};
constexpr std::array<std::string_view, 9> elementNames = {"a", "b", "c", "vrf", "m:a", "n:a", "m:b", "d", "o:vrf"};

std::string literalOf(Choices& choices, Kind kind) {
  using Texts = std::vector<std::string_view>;
  static std::array<Texts, coreKinds> const texts = {{
      {"true", "false"},
      {"5", "-128"},
      {"5", "-32768"},
      {"7", "-2147483648"},
      {"5", "9223372036854775807"},
      {"5", "0", "255", "010"},
      {"5", "65535"},
      {"5", "4294967295"},
      {"5", "18446744073709551615"},
      {"1.5", "5", "-0", "15e-1"},
      {"0.25", "-3e2", "5"},
      {"red", "5", "", "*", "a\"b", "x]y\\", "a/b\n", "10.0.0.1", "true"},
      {"AAEC", "", "/w=="},
      {"1.5", "-2"},
      {"2024-02-29T12:34:56Z", "1970-01-01T01:00:00.5+01:00"},
      {"10.0.0.1", "::1", "0:0::1"},
      {"10.1.2.3/8", "10.0.0.0/8", "2001:db8::1/32"},
      {"02:00:5e:10:00:ff", "02:00:5E:10:00:FF"},
  }};
  return std::string(choices.of(texts.at(static_cast<std::size_t>(kind))));
}

Velko::Ptr<Zyn::GenericIf> valueOf(Choices& choices, Zyn::ZynType type) {
  auto const literal = [&](std::string const& text) {
    return type.genericIf(Velko::String(std::string_view(text)), false);
  };
  auto const fromArgs = [&] {
    Zyn::GenericIfArgs args;
    for (auto name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
      args.emplace_back(valueOf(choices, type.attr(*name).attrType()));
    }
    return type.genericIf(args, false);
  };
  switch (Kind const kind = Model::kindOf(type)) {
    case Kind::Enum:
      return literal("'" + choices.of(Model::enumerators(type)).name + "'");
    case Kind::String:
      return literal("\"" + literalOf(choices, kind) + "\"");
    case Kind::Wrapper:
      return fromArgs();
    case Kind::Union: {
      auto value = type.genericIf(static_cast<void const*>(nullptr), false);
      if (auto const attrs = attrsOf(type); !attrs.empty()) {
        Zyn::ZynAttr const attr = choices.of(attrs);
        attr.genericIfSet(value, nullptr, valueOf(choices, attr.attrType()));
      }
      return value;
    }
    case Kind::Value: {
      auto value = fromArgs();
      for (Zyn::ZynAttr const attr : attrsOf(type)) {
        if (!Model::attribute(*value, attr) && choices.percent(80)) {
          attr.genericIfSet(value, nullptr, valueOf(choices, attr.attrType()));
        }
      }
      return value;
    }
    default:
      return literal(literalOf(choices, kind));
  }
}

/** Zero or more of the names, each once. */
std::vector<std::string_view> someOf(Choices& choices, std::span<std::string_view const> names, std::size_t count) {
  std::vector<std::string_view> some;
  for (; count != 0; --count) {
    std::string_view const name = names[std::min(choices.below(names.size()), choices.below(names.size()))];
    if (std::ranges::find(some, name) == some.end()) {
      some.push_back(name);
    }
  }
  return some;
}

}  // namespace

std::vector<Zyn::ZynAttr> attrsOf(Zyn::ZynType type) {
  std::vector<Zyn::ZynAttr> attrs;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    attrs.push_back(*attr);
  }
  return attrs;
}

std::string textOf(Choices& choices, Zyn::ZynType type, bool useS4Encoding) {
  try {
    auto const value = valueOf(choices, type);
    if (useS4Encoding && type.hasS4Encoding() && type.valAttr().empty()) {
      return Model::s4Text(*value);
    }
    return Model::gnmiText(*value).value_or("none");
  } catch (Velko::Exception const&) {
    return "none";
  }
}

Zyn::ZynType World::anyValue(Choices& choices) const {
  if (values.empty() || choices.percent(45)) {
    constexpr std::array<Kind, 5> often = {Kind::String, Kind::U8, Kind::IpPrefix, Kind::Bool, Kind::U32};
    return core(choices.percent(30) ? static_cast<Kind>(choices.below(coreKinds)) : choices.of(often));
  }
  // Late ones hold more.
  return values[values.size() - 1 - std::min(choices.below(values.size()), choices.below(values.size()))];
}

Zyn::ZynType World::anyKey(Choices& choices) const {
  return values.empty() || choices.percent(25) ? anyValue(choices) : choices.of(values);
}

void World::addMarks(Choices& choices, Model::TypeBuilder& type) const {
  while (choices.percent(7)) {
    constexpr std::array<Mark, 6> marks = {Mark::S4,   Mark::GnmiString, Mark::ScalarKind,
                                           Mark::Enum, Mark::Union,      Mark::Value};
    auto const mark = choices.of(marks);
    type.mark(mark, choices.percent(65));
  }
  if (Model::hasMark(type, Mark::Union)) {
    type.mark(Mark::Value);
  }
}

void World::addValue(Choices& choices, Model::Module& module) {
  std::string const name = "V" + std::to_string(values.size());
  std::size_t const kind = choices.below(10);
  if (kind == 1) {
    auto type = module.enumeration(name, {{"red", 0}, {"*", 1}, {"it's", -1}, {"m:x", 7}});
    addMarks(choices, type);
    values.emplace_back(type);
    return;
  }
  if (kind == 2) {
    auto type = module.wrapper(name, anyValue(choices));
    addMarks(choices, type);
    values.emplace_back(type);
    return;
  }
  if (kind == 3) {
    auto type = module.scalar(name, static_cast<Kind>(choices.below(coreKinds)));
    addMarks(choices, type);
    values.emplace_back(type);
    return;
  }
  auto const attrs = someOf(choices, fieldNames, choices.below(5) + (choices.percent(95) ? 1 : 0));
  auto type = kind == 4 ? module.unionOf(name) : module.value(name);
  std::vector<std::string_view> args;
  std::vector<std::pair<std::string_view, std::uint32_t>> numbers;
  std::string pattern;
  for (std::string_view const attr : attrs) {
    type.attr(attr, anyValue(choices));
    pattern += (pattern.empty() ? "{" : "-{") + std::string(attr) + "}";
    numbers.emplace_back(attr, static_cast<std::uint32_t>(numbers.size() + 1));
    if (!choices.percent(35)) {
      args.insert(args.begin() + static_cast<std::ptrdiff_t>(choices.below(args.size() + 1)), attr);
    }
  }
  if (kind != 4) {
    type.args(args);
    if (kind == 5 && !attrs.empty()) {
      type.gnmi(pattern);
    }
    if (choices.percent(30)) {
      type.s4(numbers);
    }
  }
  addMarks(choices, type);
  values.emplace_back(type);
}

void World::addFields(Choices& choices, Model::Module& module, Zyn::ZynType entity) {
  auto type = module.extend(entity);
  auto const taken = [&](std::string_view name) { return !entity.attr(name).empty(); };
  for (std::string_view const name : someOf(choices, elementNames, 1 + choices.below(5))) {
    if (taken(name)) {
      continue;
    }
    std::size_t const kind = choices.below(8);
    Zyn::ZynType const below = choices.of(entities);
    if (kind == 0) {
      type.attr(name, anyValue(choices));
    } else if (kind == 1 || kind == 2) {
      type.attr(name, below);
    } else if (kind == 3) {
      type.list(name, choices.percent(50) ? below : anyValue(choices));
    } else {
      Zyn::ZynType const key = anyKey(choices);
      // The entries' leaves have the names of the key's parts, as lists of YANG do.
      auto entries = module.extend(below);
      std::string_view const held = choices.percent(70) ? "key" : choices.of(fieldNames);
      if (below.attr(held).empty() && !choices.percent(10)) {
        entries.attr(held, key);
      }
      for (Zyn::ZynAttr const part : attrsOf(key)) {
        if (below.attr(std::string_view(part.name())).empty() && choices.percent(40)) {
          entries.attr(part.name(), part.attrType());
        }
      }
      if (taken(name)) {
        continue;
      }
      std::optional<std::string_view> const by =
          choices.percent(15) ? std::nullopt : std::optional(choices.percent(5) ? "stray" : held);
      Zyn::ZynType const other = choices.percent(10) ? anyKey(choices) : below;
      bool const isEntries = other == below || Model::kindOf(other) == Kind::Value;
      bool const isKeyTold = below.attr(held).attrType() != key || !choices.percent(10);
      type.keyed(name, isEntries ? other : below, by, isKeyTold ? key : Zyn::ZynType());
    }
  }
}

void World::addFacts(Choices& choices) {
  bool const hasModules = choices.percent(60);
  bool const hides = choices.percent(40);
  constexpr std::array<std::string_view, 4> few = {"m", "n", "o", ""};
  auto const learn = [&](Zyn::ZynType type) {
    for (Zyn::ZynAttr const attr : attrsOf(type)) {
      std::string_view const name = attr.name();
      std::size_t const colon = name.find(':');
      std::string_view module = colon == std::string_view::npos ? choices.of(few) : name.substr(0, colon);
      // No two of one name and module.
      if (colon == std::string_view::npos && !type.attr(std::string(module) + ":" + std::string(name)).empty()) {
        module = "";
      }
      modules[attr] = module;
      hidden[attr] = choices.percent(!type.isValue() && name == "key" ? 30 : 5);
    }
  };
  std::ranges::for_each(entities, learn);
  std::ranges::for_each(values, learn);
  if (hasModules) {
    options.facts.moduleOf = [this](Zyn::ZynAttr attr) -> std::string_view {
      auto const found = modules.find(attr);
      return attr.empty() ? "asked of nothing" : found == modules.end() ? std::string_view() : found->second;
    };
  }
  if (hides) {
    options.facts.isHidden = [this](Zyn::ZynAttr attr) {
      auto const found = hidden.find(attr);
      return attr.empty() || (found != hidden.end() && found->second);
    };
  }
  if (!choices.percent(15)) {
    options.facts.isList = [](Zyn::ZynAttr attr) { return Model::isList(attr); };
  }
  if (hasModules && choices.percent(50)) {
    auto& origins = options.facts.origins;
    origins["rfc7951"] = {"m", "n", "o"};
    origins["n"] = {"n"};
    if (!choices.percent(30)) {
      origins["openconfig"] = {"m"};
    }
  }
  options.useS4Encoding = choices.percent(30);
  constexpr std::array<std::size_t, 4> expansions = {300, 20, 3, 0};
  bounds.expansions = choices.percent(20) ? choices.of(expansions) : 300;
  bounds.depth = choices.percent(15) ? choices.below(6) : 64;
}

World::World(Choices& choices) {
  Model::Module& module = schema.module("W");
  for (std::size_t left = choices.below(6); left != 0; --left) {
    addValue(choices, module);
  }
  for (std::size_t left = 1 + choices.below(3); left != 0; --left) {
    entities.emplace_back(module.entity("E" + std::to_string(entities.size())));
  }
  for (Zyn::ZynType const entity : entities) {
    addFields(choices, module, entity);
  }
  addFacts(choices);
}

std::string World::shown() const {
  std::string text;
  auto const show = [&](Zyn::ZynType type) {
    text += std::string(type.name()) + " (" + std::string(Model::kindName(Model::kindOf(type))) + ")";
    for (auto const& [mark, name] : {std::pair(Mark::Value, "value"), std::pair(Mark::Enum, "enum"),
                                     std::pair(Mark::S4, "s4"), std::pair(Mark::GnmiString, "gnmi"),
                                     std::pair(Mark::Union, "union"), std::pair(Mark::ScalarKind, "scalar")}) {
      text += Model::hasMark(type, mark) ? std::string(" ") + name : "";
    }
    text += " args:";
    for (auto name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
      text += std::string(" ") + *name;
    }
    text += "\n";
    for (Zyn::ZynAttr const attr : attrsOf(type)) {
      text += "  " + std::string(attr.name()) + ": " + attr.attrType().name();
      if (attr.isKeyed()) {
        char const* const by = attr.internalKeyName();
        text += std::string(" keyed by ") + (by == nullptr ? "nothing" : by) + " of type " + attr.keyType().name();
      }
      text += Model::isList(attr) ? " list" : "";
      text += options.facts.moduleOf ? " module '" + std::string(options.facts.moduleOf(attr)) + "'" : "";
      text += options.facts.isHidden && options.facts.isHidden(attr) ? " hidden" : "";
      text += "\n";
    }
  };
  std::ranges::for_each(values, show);
  std::ranges::for_each(entities, show);
  for (auto const& [origin, of] : options.facts.origins) {
    text += "origin " + origin + ":";
    for (std::string const& module : of) {
      text += " " + module;
    }
    text += "\n";
  }
  return text + "s4 " + std::to_string(static_cast<int>(options.useS4Encoding)) + ", expansions " +
         std::to_string(bounds.expansions) + ", depth " + std::to_string(bounds.depth) + ", lists " +
         (options.facts.isList ? "told" : "not told") + "\n";
}

}  // namespace NaiveGnmi
