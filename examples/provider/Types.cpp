// A type system of six types. Types and attributes are rows of two tables, and a handle holds the number of its row.
//
//   Zyn::String, Zyn::U16
//   Lab::PortName      a union: a number, or a name
//   Lab::EndpointKey   built from host and port; a note may be set afterwards
//   Lab::Endpoint      has a key
//   Lab::Network       has a collection of endpoints
#include "Types.h"

#include <Velko/Exception.h>
#include <Velko/Pb.h>
#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <map>
#include <span>

namespace Lab {
namespace {

enum class Kind : std::uint8_t { String, Number, Union, Value, Entity };

struct TypeRow {
  char const* name;
  Kind kind;
  /** Names of constructor arguments. */
  std::span<char const* const> args = {};
};

/** The numbers of the rows. */
enum : std::uint32_t { string, u16, portName, endpointKey, endpoint, network };

constexpr char const* endpointKeyArgs[] = {"host", "port"};
constexpr TypeRow types[] = {
    {"Zyn::String", Kind::String},   {"Zyn::U16", Kind::Number},
    {"Lab::PortName", Kind::Union},  {"Lab::EndpointKey", Kind::Value, endpointKeyArgs},
    {"Lab::Endpoint", Kind::Entity}, {"Lab::Network", Kind::Entity},
};

struct AttrRow {
  char const* name;
  std::uint32_t owner;
  std::uint32_t type;
  /** Of a keyed collection. */
  char const* keyName = nullptr;
  std::uint32_t keyType = 0;
};

constexpr AttrRow attrs[] = {
    {"number", portName, u16},
    {"name", portName, string},
    {"host", endpointKey, string},
    {"port", endpointKey, portName},
    {"note", endpointKey, string},
    {"key", endpoint, endpointKey},
    {"endpoint", network, endpoint, "key", endpointKey},
};

/** One module has all types, the core ones, too. */
class Module final : public Zyn::ZynModule {
} const module;

Zyn::ZynType typeAt(std::uint32_t row) { return {&module, row}; }
Zyn::ZynAttr attrAt(std::size_t row) { return {&module, attrs[row].owner, static_cast<std::uint32_t>(row)}; }

TypeRow const& rowOf(Zyn::ZynTypeBase type) { return types[type.index()]; }
AttrRow const& rowOf(Zyn::ZynAttr attr) { return attrs[attr.index()]; }

bool is(Zyn::ZynType type, Kind kind) { return !type.empty() && rowOf(type).kind == kind; }

/** A scalar has a text, all else its parts by attribute. */
class Object final : public Zyn::GenericIf {
 public:
  explicit Object(Zyn::ZynType itsType) : type(itsType) {}

  Zyn::ZynType const type;
  std::string text;
  std::map<std::uint32_t, Velko::Ptr<Zyn::GenericIf const>> parts;
};

/** Every value is one, for nobody else makes values. */
Object const& objectOf(Zyn::GenericIf const& value) { return static_cast<Object const&>(value); }

Velko::Ptr<Object> make(Zyn::ZynType type) { return Velko::Ptr<Object>(new Object(type)); }

template <typename... Args>
[[noreturn]] void refuse(fmt::format_string<Args const&...> format, Args const&... args) {
  throw Velko::Exception(Velko::String(fmt::format(format, args...)));
}

void set(Object& object, Zyn::ZynAttr attr, Velko::Ptr<Zyn::GenericIf const> const& part) {
  if (!part || objectOf(*part).type != attr.attrType()) {
    refuse("{}.{} takes a {}", object.type, attr.name(), attr.attrType());
  }
  if (is(object.type, Kind::Union)) {
    object.parts.clear();
  }
  object.parts[attr.index()] = part;
}

}  // namespace

Zyn::ZynType findType(std::string_view name) {
  auto const* const found = std::ranges::find(types, name, &TypeRow::name);
  return found == std::end(types) ? Zyn::ZynType() : typeAt(static_cast<std::uint32_t>(found - std::begin(types)));
}

std::string print(Zyn::GenericIf const& value) {
  Object const& object = objectOf(value);
  if (is(object.type, Kind::String)) {
    return '"' + object.text + '"';
  }
  if (is(object.type, Kind::Number)) {
    return object.text;
  }
  std::string parts;
  for (auto const& [attr, part] : object.parts) {
    parts += fmt::format("{}{}={}", parts.empty() ? "" : ", ", attrs[attr].name, print(*part));
  }
  return fmt::format("{}({})", object.type, parts);
}

}  // namespace Lab

Zyn::ZynModule const& Velko::_Velko_FundamentalTypes_Module() { return Lab::module; }

namespace Zyn {

using Lab::Kind;
using Lab::Object;
using Lab::refuse;
using Lab::rowOf;

GenericIf::~GenericIf() = default;

// ---- what types and attributes are asked

ArgNameQIterator ZynModule::argNameQIterator(std::uint32_t index) const noexcept {
  auto const args = Lab::types[index].args;
  return {args.data(), args.size()};
}

ZynAttr ZynTypeBase::attr(char const* name) const noexcept { return attr(std::string_view(name)); }

ZynAttr ZynTypeBase::attr(std::string_view name) const noexcept {
  for (std::size_t row = 0; !empty() && row < std::size(Lab::attrs); ++row) {
    if (Lab::attrs[row].owner == index() && Lab::attrs[row].name == name) {
      return Lab::attrAt(row);
    }
  }
  return {};
}

char const* ZynType::name() const noexcept { return empty() ? "" : rowOf(*this).name; }
bool ZynType::isValue() const noexcept { return !empty() && rowOf(*this).kind != Kind::Entity; }
bool ZynType::isEnumType() const noexcept { return false; }
bool ZynType::hasS4Encoding() const noexcept { return false; }
bool ZynType::hasGnmiStringForm() const noexcept { return false; }
bool ZynType::isUnionType() const noexcept { return Lab::is(*this, Kind::Union); }
bool ZynType::isScalarKind() const noexcept { return isValue() && rowOf(*this).kind != Kind::Value; }
bool ZynType::isFundamentalString() const noexcept { return Lab::is(*this, Kind::String); }
ZynAttr ZynType::valAttr() const noexcept { return {}; }
std::uint32_t ZynType::argListIndex() const noexcept { return index(); }

char const* ZynAttr::name() const noexcept { return empty() ? "" : rowOf(*this).name; }
ZynType ZynAttr::attrType() const noexcept { return empty() ? ZynType() : Lab::typeAt(rowOf(*this).type); }
bool ZynAttr::isKeyed() const noexcept { return internalKeyName() != nullptr; }
char const* ZynAttr::internalKeyName() const noexcept { return empty() ? nullptr : rowOf(*this).keyName; }
ZynType ZynAttr::keyType() const noexcept { return isKeyed() ? Lab::typeAt(rowOf(*this).keyType) : ZynType(); }

// `position_` is the row to look at next.
AttributeQIterator::AttributeQIterator(ZynType type) noexcept : type_(type) { ++*this; }

AttributeQIterator& AttributeQIterator::operator++() noexcept {
  while (position_ < std::size(Lab::attrs) && (type_.empty() || Lab::attrs[position_].owner != type_.index())) {
    ++position_;
  }
  current_ = position_ < std::size(Lab::attrs) ? Lab::attrAt(position_++) : ZynAttr();
  return *this;
}

// ---- how values are made

Velko::Ptr<GenericIf> ZynType::genericIf(Velko::String const& text, bool /*mode*/) const {
  std::string_view literal = text.view();
  if (Lab::is(*this, Kind::String)) {
    if (literal.size() < 2 || literal.front() != '"' || literal.back() != '"') {
      refuse("{}: a text in double quotes is expected", *this);
    }
    literal = literal.substr(1, literal.size() - 2);
  } else {
    std::uint16_t number = 0;
    char const* const end = literal.data() + literal.size();
    if (!Lab::is(*this, Kind::Number) ||
        std::from_chars(literal.data(), end, number) != std::from_chars_result{end, {}}) {
      refuse("{}: '{}' does not fit", *this, literal);
    }
  }
  auto object = Lab::make(*this);
  object->text = literal;
  return object;
}

Velko::Ptr<GenericIf> ZynType::genericIf(void const* /*data*/, bool /*mode*/) const {
  if (!isValue()) {
    refuse("{}: it has no default value", *this);
  }
  auto object = Lab::make(*this);
  object->text = Lab::is(*this, Kind::Number) ? "0" : "";
  return object;
}

Velko::Ptr<GenericIf> ZynType::genericIf(GenericIfArgs const& args, bool /*mode*/) const {
  if (!Lab::is(*this, Kind::Value) || args.size() != rowOf(*this).args.size()) {
    refuse("{}: it is not built from {} arguments", *this, args.size());
  }
  auto object = Lab::make(*this);
  for (std::size_t i = 0; i < args.size(); ++i) {
    Lab::set(*object, attr(rowOf(*this).args[i]), args[i]);
  }
  return object;
}

Velko::Ptr<GenericIf> ZynType::genericIfFromGnmiString(Velko::String const& /*text*/, bool /*mode*/) const {
  refuse("{}: it has no gNMI string form", *this);
}

Velko::Ptr<GenericIf> ZynType::genericIfFromPbMessage(void* /*cursor*/, bool /*mode*/) const {
  throw Velko::Pb::PbReadException(Velko::String(fmt::format("{}: it has no s4 encoding", *this)));
}

void ZynAttr::genericIfSet(Velko::Ptr<GenericIf> const& object, Velko::Ptr<GenericIf const> const& /*key*/,
                           Velko::Ptr<GenericIf const> const& value) const {
  if (empty() || !object || Lab::objectOf(*object).type.index() != owner()) {
    refuse("'{}' is no attribute of the object", name());
  }
  Lab::set(static_cast<Object&>(*object), *this, value);
}

}  // namespace Zyn
