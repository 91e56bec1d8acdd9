// Value objects: default values, values from arguments, setting attributes, reading, comparing.
#include <absl/hash/hash.h>
#include <fmt/core.h>

#include <algorithm>
#include <bit>
#include <compare>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <new>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "KvSlab/Slab.h"
#include "Zyn/Zyn.h"
#include "model/Value.h"
#include "model/Zyn/Objects.h"
#include "model/Zyn/Tables.h"

namespace Zyn {

GenericIf::~GenericIf() = default;

}  // namespace Zyn

namespace Model {

// What follows an object in its block is aligned as it must be.
static_assert(sizeof(Composed) % alignof(ValuePtr) == 0 && sizeof(Scalar) % alignof(std::uint64_t) == 0);
static_assert(sizeof(Composed) == 32 && sizeof(Scalar) == 24, "tables of millions of keys hold these");

NewValue Scalar::make(TypeRow const& row, Content const& content) {
  return NewValue::adopt(holdsBytes(row.kind) ? ofBytes(row, content) : allocate(row, 0, content.number, true));
}

Scalar* Scalar::allocate(TypeRow const& row, std::size_t bytes, std::uint64_t number, bool mayBeCopied) {
  bool const needsWord = number >= numberBits;
  // Whole words, as such are copied.
  std::size_t const words = (sizeof(Scalar) + (needsWord ? sizeof number : 0) + bytes + 7) / 8;
  std::uint32_t const word = (mayBeCopied ? static_cast<std::uint32_t>(words) * oneWord : 0) |
                             (needsWord ? numberBits : static_cast<std::uint32_t>(number));
  auto* const value = ::new (KvSlab::slabAllocOrStdMalloc(words * 8)) Scalar(row, word);
  if (needsWord) {
    ::new (static_cast<void*>(value + 1)) std::uint64_t(number);
  }
  return value;
}

Scalar* Scalar::ofBytes(TypeRow const& row, Content const& content) {
  // To copy a longer text takes more time than to share it.
  constexpr std::size_t mostCopied = 64;
  std::string_view const text = content.text;
  Scalar* const value = allocate(row, text.size(), text.size(), text.size() <= mostCopied);
  auto* const bytes = reinterpret_cast<char*>(value + 1) + (text.size() < numberBits ? 0 : sizeof(std::uint64_t));
  if (text.empty()) {
    return value;
  }
  if (text.size() <= Velko::Impl::ShortWords::most) {
    // As words, which is how they are read. The block has room for whole ones.
    auto const [first, second] = Velko::Impl::shortWords(text);
    std::memcpy(bytes, &first, sizeof first);
    if (text.size() > sizeof first) {
      std::memcpy(bytes + sizeof first, &second, sizeof second);
    }
  } else {
    std::copy_n(text.data(), text.size(), bytes);
  }
  return value;
}

void Scalar::operator delete(Scalar* value, std::destroying_delete_t) noexcept {
  if ((value->word & isInside) != 0) {
    auto* const words = reinterpret_cast<std::uint64_t*>(value) - value->word / oneWord;
    reinterpret_cast<Composed*>(words)->dropParts(1);
  } else {
    KvSlab::slabFreeOrStdFree(value, typeid(Scalar));
  }
}

std::uint32_t Composed::wordsOf(TypeRow const& row) noexcept {
  return static_cast<std::uint32_t>((sizeof(Composed) + row.attrs.size() * sizeof(ValuePtr)) / 8);
}

std::uint32_t Composed::wordsInside(Argument const& argument, Zyn::GenericIf const& value,
                                    std::uint32_t taken) noexcept {
  constexpr std::uint32_t furthest = 255;
  std::uint32_t const word = valueObject(value).word;
  return argument.isComposed || (word & Scalar::isInside) != 0 || taken > furthest ? 0 : word / Scalar::oneWord;
}

// Flattened, with its copies in line: a key of 3 fields takes 3 % less time.
[[gnu::flatten]] Velko::Ptr<Composed> Composed::make(TypeRow const& row, std::uint32_t words,
                                                     std::span<Argument const> wanted, Zyn::GenericIfArgs const& args) {
  auto* const value = ::new (KvSlab::slabAllocOrStdMalloc(std::size_t{words} * 8)) Composed(row, words);
  std::uint32_t at = wordsOf(row);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    ValuePtr* const slot = &value->slots()[wanted[i].slot];
    if (std::uint32_t const size = wordsInside(wanted[i], *args[i], at); size != 0) {
      ::new (slot) ValuePtr(ValuePtr::adopt(value->copyInside(static_cast<Scalar const&>(*args[i]), at, size)));
      at += size;
    } else {
      ::new (slot) ValuePtr(args[i].copyAlone());
    }
  }
  return Velko::Ptr<Composed>::adopt(value);
}

Scalar* Composed::copyInside(Scalar const& scalar, std::uint32_t at, std::uint32_t size) noexcept {
  auto* const words = reinterpret_cast<std::uint64_t*>(this) + at;
  std::uint32_t const word = at * Scalar::oneWord | Scalar::isInside | (scalar.word & Scalar::numberBits);
  auto const* const source = reinterpret_cast<std::uint64_t const*>(&scalar);
  if (constexpr std::uint32_t behind = sizeof(Scalar) / 8; size != behind) {
    // The first and the last word, which mostly are all: no branch depends on which of the two it is.
    words[behind] = source[behind];
    words[size - 1] = source[size - 1];
    for (std::uint32_t i = behind + 1; i + 1 < size; ++i) {
      words[i] = source[i];
      // Keeps the compiler from calling memcpy, which takes longer for so few words.
      asm volatile("" : : : "memory");
    }
  }
  parts_.store(parts_.load(std::memory_order_relaxed) + 1, std::memory_order_relaxed);
  return ::new (words) Scalar(scalar.row(), word);
}

void Composed::operator delete(Composed* value, std::destroying_delete_t) noexcept {
  std::uint16_t dropped = 1;
  for (ValuePtr& slot : value->slots()) {
    // Mostly nobody else has the scalars of the block: it is freed as a whole, without a locked instruction.
    if (value->isInside(slot.get()) && slot->hasOneUse()) {
      ++dropped;
    } else {
      std::destroy_at(&slot);
    }
  }
  value->dropParts(dropped);
}

void Composed::dropParts(std::uint16_t count) noexcept {
  // Acquire: what other users of the block did to it has happened before it is freed.
  if (parts_.load(std::memory_order_acquire) == count || parts_.fetch_sub(count, std::memory_order_acq_rel) == count) {
    KvSlab::slabFreeOrStdFree(this, typeid(Composed));
  }
}

Composed::Composed(TypeRow const& itsRow, std::uint32_t words) noexcept
    : ValueObject(itsRow, static_cast<std::uint32_t>(itsRow.attrs.size())), words_(static_cast<std::uint16_t>(words)) {
  for (ValuePtr& slot : slots()) {
    ::new (&slot) ValuePtr;
    // Keeps the compiler from calling memset, whose one masked store is slow where it crosses a cache line, and lets
    // every load behind it wait: 13 % of the time of a key of three fields.
    asm volatile("" : : : "memory");
  }
}

Velko::Ptr<Composed> Composed::make(TypeRow const& row) {
  std::uint32_t const words = wordsOf(row);
  return Velko::Ptr<Composed>::adopt(::new (KvSlab::slabAllocOrStdMalloc(std::size_t{words} * 8)) Composed(row, words));
}

std::uint32_t Composed::hash() const noexcept {
  if (std::uint32_t const kept = hash_.load(std::memory_order_relaxed); kept != 0) {
    return kept;
  }
  std::size_t state = absl::HashOf(&row());
  bool isFlat = true;
  for (ValuePtr const& slot : slots()) {
    state = absl::HashOf(state, slot ? Model::hash(*slot) : 0);
    isFlat = isFlat && (!slot || !isComposed(valueObject(*slot).kind()));
  }
  auto const half = static_cast<std::uint32_t>(state);
  if (isFlat) {
    hash_.store(half, std::memory_order_relaxed);
  }
  return half;
}

namespace {

template <typename... Args>
[[noreturn]] void refuse(fmt::format_string<Args const&...> format, Args const&... args) {
  throw Error(Velko::String(fmt::format(format, args...)));
}

std::string_view foundType(Zyn::GenericIf const* value) { return value == nullptr ? "null" : typeOf(*value).name(); }

/** For a value that is not of the type of the attribute in `slot`. */
[[noreturn]] void refuseValue(Zyn::ZynType owner, std::uint32_t slot, ValuePtr const& value) {
  AttrRow const& attr = attrRow(owner, slot);
  refuse("{}.{}: expected {}, found {}", owner.name(), attr.name, attr.type.name(), foundType(value.get()));
}

/** What the type is built from; `inner` stands for that of a wrapper. Refuses types that are not built so. */
std::span<Argument const> argumentsOf(TypeRow const& row, Zyn::ZynModule const& module, Argument& inner) {
  if (!isComposed(row.kind)) {
    refuse("{}: it is not built from arguments", row.name);
  }
  if (row.args.empty() && row.valAttr) {
    AttrRow const& attr = tablesOf(module).attrs[*row.valAttr];
    inner = {attr.slot, isComposed(rowOf(attr.type).kind), &rowOf(attr.type)};
    return {&inner, 1};
  }
  if (row.args.empty() && row.kind == Kind::Union) {
    refuse("{}: it is built by setting an alternative, not from arguments", row.name);
  }
  return row.args;
}

NewValue fromArgs(Zyn::ZynType type, Zyn::GenericIfArgs const& args) {
  TypeRow const& row = rowOf(type);
  Argument inner;
  std::span<Argument const> const wanted = argumentsOf(row, *type.module(), inner);
  if (wanted.size() != args.size()) {
    std::string list;
    for (Argument const& argument : wanted) {
      AttrRow const& attr = attrRow(type, argument.slot);
      list += fmt::format("{}{} {}", list.empty() ? "" : ", ", attr.name, attr.type.name());
    }
    refuse("{}: expected arguments ({}), found {} of them", type.name(), list, args.size());
  }
  std::uint32_t words = Composed::wordsOf(row);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    Zyn::GenericIf const* const arg = args[i].get();
    if (arg == nullptr || &valueObject(*arg).row() != wanted[i].type) {
      refuseValue(type, wanted[i].slot, args[i]);
    }
    words += Composed::wordsInside(wanted[i], *arg, words);
  }
  return Composed::make(row, words, wanted, args);
}

NewValue initial(Zyn::ZynType type) {
  Kind const kind = rowOf(type).kind;
  if (isComposed(kind)) {
    return Composed::make(type);
  }
  if (kind == Kind::Entity) {
    refuse("{}: an entity has no values", type.name());
  }
  Content content;
  defaultScalar(kind, content);
  NewValue value = Scalar::make(type, content);
  if (rowOf(type).rule) {
    value = normalize(static_cast<Scalar const&>(*value));
    if (!value) {
      refuse("{}: it has no default value: {}", type.name(), textExpectation(type, TextForm::Gnmi));
    }
  }
  return value;
}

double doubleOf(Scalar const& value) { return std::bit_cast<double>(value.number()); }

std::strong_ordering compareScalars(Scalar const& a, Scalar const& b) noexcept {
  switch (a.kind()) {
    case Kind::Bool:
    case Kind::U8:
    case Kind::U16:
    case Kind::U32:
    case Kind::U64:
      return a.number() <=> b.number();
    case Kind::Float:
    case Kind::Double:
      return std::strong_order(doubleOf(a), doubleOf(b));
    case Kind::IpAddress:
    case Kind::IpPrefix:
      if (a.text().size() != b.text().size()) {
        return a.text().size() <=> b.text().size();
      }
      [[fallthrough]];
    case Kind::String:
    case Kind::Bytes:
    case Kind::MacAddress:
      return a.text() <=> b.text();
    case Kind::Enum: {
      auto const& enumerators = a.row().enumerators;
      return enumerators[static_cast<std::size_t>(a.number())].number <=>
             enumerators[static_cast<std::size_t>(b.number())].number;
    }
    default:
      return static_cast<std::int64_t>(a.number()) <=> static_cast<std::int64_t>(b.number());
  }
}

/** By name, so that the order is the same in every process; types of one name by module and index. */
std::strong_ordering compareTypes(Zyn::ZynType a, Zyn::ZynType b) noexcept {
  if (a == b) {
    return std::strong_ordering::equal;
  }
  if (auto const order = std::string_view(a.name()) <=> std::string_view(b.name()); order != 0) {
    return order;
  }
  if (auto const order = std::compare_three_way()(a.module(), b.module()); order != 0) {
    return order;
  }
  return a.index() <=> b.index();
}

/** The scalar in a value, through any number of wrappers. */
Scalar const& scalarIn(Zyn::GenericIf const& value, std::string_view wanted) {
  ValueObject const* object = &valueObject(value);
  while (object->kind() == Kind::Wrapper) {
    ValuePtr const& inner = static_cast<Composed const*>(object)->slots()[0];
    if (!inner) {
      refuse("{}: it holds nothing, and no {}", typeOf(value).name(), wanted);
    }
    object = &valueObject(*inner);
  }
  if (isComposed(object->kind())) {
    refuse("{}: it holds attributes, and no {}", typeOf(value).name(), wanted);
  }
  return static_cast<Scalar const&>(*object);
}

[[noreturn]] void refuseAs(Zyn::GenericIf const& value, std::string_view wanted) {
  refuse("{}: {} is no {}", typeOf(value).name(), print(value), wanted);
}

/** False when the scalar is no number. `isNegative` says whether `number` is to be read as signed. */
bool readInteger(Scalar const& value, std::uint64_t& number, bool& isNegative) {
  number = value.number();
  if (value.kind() == Kind::Enum) {
    number = static_cast<std::uint64_t>(std::int64_t{value.row().enumerators[static_cast<std::size_t>(number)].number});
  } else if (!isSigned(value.kind()) && !isUnsigned(value.kind()) && value.kind() != Kind::Seconds &&
             value.kind() != Kind::Time) {
    return false;
  }
  isNegative = !isUnsigned(value.kind()) && static_cast<std::int64_t>(number) < 0;
  return true;
}

}  // namespace

Zyn::ZynType typeOf(Zyn::GenericIf const& value) noexcept { return valueObject(value).type(); }

std::strong_ordering compare(Zyn::GenericIf const& a, Zyn::GenericIf const& b) noexcept {
  ValueObject const& left = valueObject(a);
  ValueObject const& right = valueObject(b);
  if (auto const order = compareTypes(left.type(), right.type()); order != 0) {
    return order;
  }
  if (!isComposed(left.kind())) {
    return compareScalars(static_cast<Scalar const&>(left), static_cast<Scalar const&>(right));
  }
  auto const leftSlots = static_cast<Composed const&>(left).slots();
  auto const rightSlots = static_cast<Composed const&>(right).slots();
  return std::lexicographical_compare_three_way(
      leftSlots.begin(), leftSlots.end(), rightSlots.begin(), rightSlots.end(),
      [](ValuePtr const& x, ValuePtr const& y) { return x && y ? compare(*x, *y) : bool(x) <=> bool(y); });
}

namespace {

/**
 * Asks for the memory behind the object, where its parts mostly lie, before anything of the object is known: one of the
 * two that are compared is mostly in a large table. Finding a key among 10^6 takes 6 % less time.
 */
void fetchParts(ValueObject const& object) noexcept {
  constexpr std::size_t cacheLine = 64;
  auto const* const begin = reinterpret_cast<char const*>(&object);
  __builtin_prefetch(begin + cacheLine);
  __builtin_prefetch(begin + 2 * cacheLine);
}

}  // namespace

bool equal(Zyn::GenericIf const& a, Zyn::GenericIf const& b) noexcept {
  ValueObject const& left = valueObject(a);
  ValueObject const& right = valueObject(b);
  fetchParts(left);
  fetchParts(right);
  if (&left.row() != &right.row()) {
    return false;
  }
  if (!isComposed(left.kind())) {
    auto const& x = static_cast<Scalar const&>(left);
    auto const& y = static_cast<Scalar const&>(right);
    return x.number() == y.number() && (!holdsBytes(left.kind()) || x.text() == y.text());
  }
  auto const leftSlots = static_cast<Composed const&>(left).slots();
  auto const rightSlots = static_cast<Composed const&>(right).slots();
  return std::ranges::equal(leftSlots, rightSlots,
                            [](ValuePtr const& x, ValuePtr const& y) { return x && y ? equal(*x, *y) : !x && !y; });
}

std::size_t hash(Zyn::GenericIf const& value) noexcept {
  ValueObject const& object = valueObject(value);
  if (isComposed(object.kind())) {
    return static_cast<Composed const&>(object).hash();
  }
  auto const& scalar = static_cast<Scalar const&>(object);
  TypeRow const* const row = &object.row();
  return holdsBytes(object.kind()) ? absl::HashOf(row, scalar.text()) : absl::HashOf(row, scalar.number());
}

ValuePtr attribute(Zyn::GenericIf const& value, std::string_view name) {
  return attribute(value, attr(typeOf(value), name));
}

ValuePtr attribute(Zyn::GenericIf const& value, Zyn::ZynAttr attr) noexcept {
  ValueObject const& object = valueObject(value);
  if (!isComposed(object.kind()) || attr.module() != object.type().module()) {
    return nullptr;
  }
  auto const slots = static_cast<Composed const&>(object).slots();
  std::uint32_t const slot = rowOf(attr).slot;
  return slot < slots.size() && object.row().attrs[slot] == attr.index() ? slots[slot] : nullptr;
}

void Key::refuseNull() { refuse("A key is a value, and this pointer is null"); }

namespace Detail {

bool asBool(Zyn::GenericIf const& value) {
  constexpr std::string_view wanted = "boolean";
  Scalar const& scalar = scalarIn(value, wanted);
  if (scalar.kind() != Kind::Bool) {
    refuseAs(value, wanted);
  }
  return scalar.number() != 0;
}

std::int64_t asSigned(Zyn::GenericIf const& value, std::int64_t min, std::int64_t max, int bits) {
  std::string const wanted = fmt::format("signed {}-bit number", bits);
  std::uint64_t raw = 0;
  bool isNegative = false;
  bool const isInteger = readInteger(scalarIn(value, wanted), raw, isNegative);
  auto const number = static_cast<std::int64_t>(raw);
  if (!isInteger || (!isNegative && !std::in_range<std::int64_t>(raw)) || number < min || number > max) {
    refuseAs(value, wanted);
  }
  return number;
}

std::uint64_t asUnsigned(Zyn::GenericIf const& value, std::uint64_t max, int bits) {
  std::string const wanted = fmt::format("unsigned {}-bit number", bits);
  std::uint64_t number = 0;
  bool isNegative = false;
  if (!readInteger(scalarIn(value, wanted), number, isNegative) || isNegative || number > max) {
    refuseAs(value, wanted);
  }
  return number;
}

double asDouble(Zyn::GenericIf const& value) {
  constexpr std::string_view wanted = "floating-point number";
  Scalar const& scalar = scalarIn(value, wanted);
  if (scalar.kind() != Kind::Float && scalar.kind() != Kind::Double) {
    refuseAs(value, wanted);
  }
  return doubleOf(scalar);
}

std::string asString(Zyn::GenericIf const& value) {
  Scalar const& scalar = scalarIn(value, "text");
  if (scalar.kind() == Kind::Bytes) {
    return std::string(scalar.text());
  }
  std::string text;
  printScalar(scalar, TextForm::Gnmi, text);
  return text;
}

}  // namespace Detail

}  // namespace Model

namespace Zyn {

using Model::Composed;
using Model::foundType;
using Model::refuse;

Velko::Ptr<GenericIf> ZynType::genericIf(void const* data, bool /*mode*/) const {
  if (empty()) {
    refuse("An empty type has no values");
  }
  if (data != nullptr) {
    refuse("{}: a default value is made from null data only", name());
  }
  return Model::initial(*this);
}

Velko::Ptr<GenericIf> ZynType::genericIf(GenericIfArgs const& args, bool /*mode*/) const {
  if (empty()) {
    refuse("An empty type has no values");
  }
  return Model::fromArgs(*this, args);
}

void ZynAttr::genericIfSet(Velko::Ptr<GenericIf> const& object, Velko::Ptr<GenericIf const> const& key,
                           Velko::Ptr<GenericIf const> const& value) const {
  if (empty()) {
    refuse("An empty attribute cannot be set");
  }
  ZynType const owner(module(), this->owner());
  std::uint32_t const slot = Model::rowOf(*this).slot;
  ZynType const found = object ? Model::typeOf(*object) : ZynType();
  auto const isOwned = [&] {
    auto const& attrs = Model::rowOf(found).attrs;
    return found.module() == module() && slot < attrs.size() && attrs[slot] == index();
  };
  if (!object || !isOwned()) {
    refuse("{}.{}: expected an object of {}, found {}", owner.name(), name(), owner.name(), foundType(object.get()));
  }
  if (key) {
    refuse("{}.{}: expected no key, found {}", found.name(), name(), foundType(key.get()));
  }
  if (!value || Model::typeOf(*value) != Model::attrRow(found, slot).type) {
    Model::refuseValue(found, slot, value);
  }
  auto& composed = static_cast<Composed&>(*object);
  auto const slots = composed.slots();
  if (Model::rowOf(found).kind == Model::Kind::Union) {
    std::ranges::fill(slots, nullptr);
  }
  slots[slot] = value;
  composed.forgetHash();
}

}  // namespace Zyn
