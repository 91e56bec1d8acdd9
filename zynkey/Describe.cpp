#include "zynkey/Describe.h"

#include <array>
#include <cstddef>
#include <string_view>
#include <utility>

namespace ZynKey {
namespace {

using Model::Mark;

constexpr std::array<std::pair<Mark, std::string_view>, 6> markNames = {{{Mark::Value, "Value"},
                                                                         {Mark::Enum, "Enum"},
                                                                         {Mark::S4, "S4"},
                                                                         {Mark::GnmiString, "GnmiString"},
                                                                         {Mark::Union, "Union"},
                                                                         {Mark::ScalarKind, "ScalarKind"}}};

std::string marksOf(Zyn::ZynType type) {
  std::string text;
  for (auto const& [mark, name] : markNames) {
    if (Model::hasMark(type, mark)) {
      text.append(text.empty() ? ", marks " : " ").append(name);
    }
  }
  return text;
}

/** Counted from 1; 0 for an attribute that is no constructor argument. */
std::size_t argumentNumber(Zyn::ZynType type, std::string_view attr) {
  std::size_t number = 0;
  for (auto names = type.module()->argNameQIterator(type.argListIndex()); names; ++names) {
    ++number;
    if (*names == attr) {
      return number;
    }
  }
  return 0;
}

std::string describe(Zyn::ZynType owner, Zyn::ZynAttr attr) {
  std::string text = std::string("  ") + attr.name() + ": ";
  if (Model::isList(attr)) {
    return text + "list of " + attr.attrType().name() + '\n';
  }
  if (attr.isKeyed()) {
    char const* const keyName = attr.internalKeyName();
    text += keyName == nullptr ? std::string("keyed") : std::string("keyed by ") + keyName;
    text += attr.keyType().empty() ? std::string(", no key type") : std::string(", ") + attr.keyType().name();
    return text + "; entries " + attr.attrType().name() + '\n';
  }
  text += attr.attrType().name();
  if (std::size_t const number = argumentNumber(owner, attr.name()); number != 0) {
    text += ", argument " + std::to_string(number);
  }
  if (auto const number = Model::s4Number(owner, attr); number != 0) {
    text += ", s4 " + std::to_string(number);
  }
  return text + '\n';
}

bool isCollection(Zyn::ZynAttr attr) { return attr.isKeyed() || Model::isList(attr); }

std::string counted(std::size_t count, std::string_view what) {
  return std::to_string(count) + ' ' + std::string(what) + (count == 1 ? "" : "s");
}

}  // namespace

std::string describe(Zyn::ZynType type) {
  std::string text =
      std::string(type.name()) + ": " + std::string(Model::kindName(Model::kindOf(type))) + marksOf(type);
  if (std::string_view const pattern = Model::gnmiPattern(type); !pattern.empty()) {
    text.append(", gNMI form ").append(pattern);
  }
  if (Model::TextRule const* const rule = Model::textRule(type); rule != nullptr) {
    text.append(", takes ").append(rule->expectation());
  }
  text += '\n';
  for (Model::Enumerator const& enumerator : Model::enumerators(type)) {
    text += "  '" + enumerator.name + "' = " + std::to_string(enumerator.number) + '\n';
  }
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    text += describe(type, *attr);
  }
  return text;
}

std::string describe(Model::Schema const& schema) {
  std::string text;
  for (std::string const& name : schema.names()) {
    text += describe(schema.find(name));
  }
  return text;
}

std::string summary(Model::Schema const& schema) {
  std::string text;
  for (Model::Module const* module : schema.modules()) {
    if (module == &Velko::_Velko_FundamentalTypes_Module()) {
      continue;
    }
    std::size_t collections = 0;
    for (Zyn::ZynType const type : module->types()) {
      for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
        collections += isCollection(*attr) ? 1 : 0;
      }
    }
    text += std::string(module->name()) + ": " + counted(module->types().size(), "type") + ", " +
            counted(collections, "collection") + '\n';
  }
  return text;
}

}  // namespace ZynKey
