// What types, attributes and modules answer when asked.
#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <span>
#include <string_view>

#include "Zyn/Zyn.h"
#include "model/Schema.h"
#include "model/Zyn/Tables.h"

namespace Model {
namespace {

constexpr std::array<std::string_view, 23> kindNames = {
    "Bool",     "S8",         "S16",    "S32",     "S64",   "U8",      "U16",    "U32",
    "U64",      "Float",      "Double", "String",  "Bytes", "Seconds", "Time",   "IpAddress",
    "IpPrefix", "MacAddress", "Enum",   "Wrapper", "Union", "Value",   "Entity",
};
static_assert(kindNames.size() == static_cast<std::size_t>(Kind::Entity) + 1);

}  // namespace

std::string_view kindName(Kind kind) noexcept { return kindNames[static_cast<std::size_t>(kind)]; }

Kind kindOf(Zyn::ZynType type) noexcept { return rowOf(type).kind; }

std::string_view shortName(Zyn::ZynType type) noexcept {
  TypeRow const& row = rowOf(type);
  return std::string_view(row.name).substr(row.shortNameAt);
}

bool hasMark(Zyn::ZynType type, Mark mark) noexcept { return (rowOf(type).marks & bit(mark)) != 0; }

std::span<Enumerator const> enumerators(Zyn::ZynType type) noexcept { return rowOf(type).enumerators; }

TextRule const* textRule(Zyn::ZynType type) noexcept { return rowOf(type).rule.get(); }

std::string_view gnmiPattern(Zyn::ZynType type) noexcept {
  TypeRow const& row = rowOf(type);
  return row.pattern ? std::string_view(row.pattern->whole) : std::string_view();
}

std::uint32_t s4Number(Zyn::ZynType owner, Zyn::ZynAttr attr) noexcept {
  AttrRow const& row = rowOf(attr);
  auto const& attrs = rowOf(owner).attrs;
  bool const isOwned = owner.module() == attr.module() && row.slot < attrs.size() && attrs[row.slot] == attr.index();
  return isOwned ? row.s4Number : 0;
}

bool isList(Zyn::ZynAttr attr) noexcept { return rowOf(attr).shape == Shape::List; }

}  // namespace Model

namespace Zyn {

using Model::Mark;
using Model::rowOf;

namespace {

bool has(ZynType type, Mark mark) { return !type.empty() && Model::hasMark(type, mark); }

/** Not inlined, so that a look-up by address saves no registers for this call. */
[[gnu::noinline]] ZynAttr attrByText(ZynTypeBase type, char const* name) { return type.attr(std::string_view(name)); }

}  // namespace

char const* ZynType::name() const noexcept { return empty() ? "" : rowOf(*this).name.c_str(); }

bool ZynType::isValue() const noexcept { return has(*this, Mark::Value); }
bool ZynType::isEnumType() const noexcept { return has(*this, Mark::Enum); }
bool ZynType::hasS4Encoding() const noexcept { return has(*this, Mark::S4); }
bool ZynType::hasGnmiStringForm() const noexcept { return has(*this, Mark::GnmiString); }
bool ZynType::isUnionType() const noexcept { return has(*this, Mark::Union); }
bool ZynType::isScalarKind() const noexcept { return has(*this, Mark::ScalarKind); }

bool ZynType::isFundamentalString() const noexcept {
  // A type made by `Module::scalar` has the same kind, but is another type in another module.
  return !empty() && index() == static_cast<std::uint32_t>(Model::Kind::String) && module() == &Model::coreModule();
}

ZynAttr ZynType::valAttr() const noexcept {
  if (empty() || !rowOf(*this).valAttr) {
    return {};
  }
  return {module(), index(), *rowOf(*this).valAttr};
}

std::uint32_t ZynType::argListIndex() const noexcept { return index(); }

ZynAttr ZynTypeBase::attr(char const* name) const noexcept {
  if (!empty()) {
    for (Model::KnownName const& known : rowOf(*this).knownNames) {
      if (known.name == name) {
        return {module(), index(), known.attr};
      }
    }
  }
  return attrByText(*this, name);
}

ZynAttr ZynTypeBase::attr(std::string_view name) const noexcept {
  if (empty()) {
    return {};
  }
  std::uint32_t const found = rowOf(*this).attrsByName.find(name);
  return found != Model::NameIndex::none ? ZynAttr(module(), index(), found) : ZynAttr();
}

ArgNameQIterator ZynModule::argNameQIterator(std::uint32_t index) const noexcept {
  auto const& types = Model::tablesOf(*this).types;
  if (index >= types.size()) {
    return {};
  }
  auto const& names = types[index].argNames;
  return {names.data(), names.size()};
}

char const* ZynAttr::name() const noexcept { return empty() ? "" : rowOf(*this).name.c_str(); }

ZynType ZynAttr::attrType() const noexcept { return empty() ? ZynType() : rowOf(*this).type; }

bool ZynAttr::isKeyed() const noexcept { return !empty() && rowOf(*this).shape == Model::Shape::Keyed; }

char const* ZynAttr::internalKeyName() const noexcept { return empty() ? nullptr : rowOf(*this).keyName; }

ZynType ZynAttr::keyType() const noexcept { return empty() ? ZynType() : rowOf(*this).keyType; }

AttributeQIterator::AttributeQIterator(ZynType type) noexcept : type_(type) {
  if (!type.empty() && !rowOf(type).attrs.empty()) {
    current_ = ZynAttr(type.module(), type.index(), rowOf(type).attrs.front());
  }
}

AttributeQIterator& AttributeQIterator::operator++() noexcept {
  auto const& attrs = rowOf(type_).attrs;
  ++position_;
  current_ = position_ < attrs.size() ? ZynAttr(type_.module(), type_.index(), attrs[position_]) : ZynAttr();
  return *this;
}

}  // namespace Zyn

namespace Velko {

Zyn::ZynModule const& _Velko_FundamentalTypes_Module() { return Model::coreModule(); }

}  // namespace Velko
