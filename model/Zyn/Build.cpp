// How types are built. Every function checks its arguments before it changes anything, so that a refusal leaves all as
// it was.
#include <absl/container/flat_hash_set.h>
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <optional>
#include <ranges>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Zyn/Zyn.h"
#include "model/Schema.h"
#include "model/Zyn/Tables.h"
#include "text/Messages.h"
#include "text/Nearest.h"

namespace Model {
namespace {

template <typename... Args>
[[noreturn]] void refuse(fmt::format_string<Args const&...> format, Args const&... args) {
  throw SchemaError(fmt::format(format, args...));
}

/** What `act` refuses carries the index of the item that it is about. */
template <typename Act>
void atItem(std::size_t index, Act const& act) {
  try {
    act();
  } catch (SchemaError const& e) {
    throw SchemaError(e.message().view(), index);
  }
}

/** Calls `take` with each item of a list; what it refuses carries the index of the item. */
template <typename Items, typename Take>
void forEachItem(Items const& items, Take const& take) {
  std::size_t index = 0;
  for (auto const& item : items) {
    atItem(index++, [&] { take(item); });
  }
}

/** `what` says what is named, as in "an attribute of 'Network::Route'". */
void checkName(std::string_view what, std::string_view name) {
  if (name.empty()) {
    refuse("the name of {} is empty; write at least one character", what);
  }
  if (name.contains('\0')) {
    refuse("the name '{}' of {} holds a NUL byte; leave it out", name, what);
  }
}

std::uint8_t startMarks(Kind kind) {
  constexpr std::uint8_t scalarMarks = bit(Mark::Value) | bit(Mark::ScalarKind);
  switch (kind) {
    case Kind::Entity:
      return 0;
    case Kind::Enum:
      return bit(Mark::Value) | bit(Mark::Enum);
    case Kind::Union:
      return scalarMarks | bit(Mark::Union);
    case Kind::IpAddress:
    case Kind::IpPrefix:
    case Kind::MacAddress:
      return scalarMarks | bit(Mark::GnmiString);
    case Kind::Wrapper:
    case Kind::Value:
      return bit(Mark::Value);
    default:
      return scalarMarks;
  }
}

Zyn::ZynType addType(Module& ofModule, std::string_view name, Kind kind) {
  auto& module = static_cast<ModuleTables&>(ofModule);
  auto const index = static_cast<std::uint32_t>(module.types.size());
  TypeRow& row = module.types.emplace_back();
  row.handle = {&module, index};
  row.name = fmt::format("{}::{}", module.name, name);
  row.shortNameAt = module.name.size() + 2;
  row.kind = kind;
  row.marks = startMarks(kind);
  row.levels = isComposed(kind) ? 1 : 0;
  module.typesByName.emplace(std::string_view(row.name).substr(row.shortNameAt), index);
  return row.handle;
}

void checkNewType(Module const& module, std::string_view name) {
  checkName(fmt::format("a type of module '{}'", module.name()), name);
  if (!module.find(name).empty()) {
    refuse("module '{}' already has a type '{}'; choose another name", module.name(), name);
  }
}

// A handle points to a const module, as most users only query it. Builders are made by modules that are not const.
ModuleTables& mutableModule(Zyn::ZynType type) { return const_cast<ModuleTables&>(tablesOf(*type.module())); }
TypeRow& mutableRow(Zyn::ZynType type) { return mutableModule(type).types[type.index()]; }

AttrRow& attrOf(Zyn::ZynType type, std::uint32_t slot) { return mutableModule(type).attrs[rowOf(type).attrs[slot]]; }

/** The slot of an attribute that must exist. */
std::uint32_t slotOf(Zyn::ZynType type, std::string_view name) {
  Zyn::ZynAttr const attr = type.attr(name);
  if (attr.empty()) {
    refuse("'{}' has no attribute '{}'; name one that it has", type.name(), name);
  }
  return rowOf(attr).slot;
}

void checkIsValueType(Zyn::ZynType type, std::string_view what) {
  if (rowOf(type).kind != Kind::Value) {
    refuse("'{}' is of kind {}; only a value type has {}", type.name(), kindName(rowOf(type).kind), what);
  }
}

/** Refuses an attribute of `inner` for `owner` if `owner` can be reached from there, and says by which way. */
void checkNotReachable(Zyn::ZynType owner, std::string_view name, Zyn::ZynType inner) {
  struct Step {
    Zyn::ZynType type;
    std::string_view attr;
    std::size_t from;
  };
  std::vector<Step> steps = {{owner, "", 0}, {inner, name, 0}};
  absl::flat_hash_set<TypeRow const*> seen;
  for (std::size_t at = 1; at < steps.size(); ++at) {
    Zyn::ZynType const type = steps[at].type;
    if (type == owner) {
      std::vector<std::string> way;
      for (std::size_t step = at; step != 0; step = steps[step].from) {
        way.push_back(fmt::format("{}.{}", steps[steps[step].from].type.name(), steps[step].attr));
      }
      std::ranges::reverse(way);
      refuse("'{}' would contain itself by {}; leave one of these attributes out", owner.name(), Text::list(way));
    }
    if (!seen.insert(&rowOf(type)).second) {
      continue;
    }
    for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
      steps.push_back({(*attr).attrType(), (*attr).name(), at});
    }
  }
}

/** How large a type is, with all that it leads to. */
struct Size {
  std::uint32_t levels;
  std::uint64_t typesBelow;
};

/**
 * The levels that a type adds to those of its attributes. The argument of a part may be the next part of the key, by
 * name, so all parts of a key may be under construction at once, on one stack.
 */
std::uint32_t ownLevels(std::uint32_t parts) { return std::max(parts, std::uint32_t{1}); }

/** Refuses the attribute of `owner` if it makes `type` larger than the bounds allow. */
void checkSize(std::string_view attr, std::string_view owner, std::string_view type, Size size) {
  if (size.levels > mostLevels) {
    refuse("the attribute '{}' of '{}' would make '{}' {} levels deep; types nest at most {} levels", attr, owner, type,
           size.levels, mostLevels);
  }
  if (size.typesBelow > mostTypesBelow) {
    refuse(
        "the attribute '{}' of '{}' would make '{}' lead to {} types, each counted once for each way there; a type "
        "leads to at most {}",
        attr, owner, type, size.typesBelow, mostTypesBelow);
  }
}

/** `first`, and the types of its schema that it is a part of: each before those that it is a part of itself. */
std::vector<TypeRow*> withUsers(TypeRow& first) {
  if (first.users.empty()) {
    return {&first};
  }
  struct Step {
    TypeRow* row;
    std::size_t nextUser;
  };
  std::vector<TypeRow*> rows;
  std::vector<Step> steps = {{&first, 0}};
  absl::flat_hash_set<TypeRow const*> seen = {&first};
  while (!steps.empty()) {
    auto& [row, nextUser] = steps.back();
    if (nextUser == row->users.size()) {
      rows.push_back(row);
      steps.pop_back();
    } else if (TypeRow* const user = row->users[nextUser++]; seen.insert(user).second) {
      steps.push_back({user, 0});
    }
  }
  std::ranges::reverse(rows);
  return rows;
}

/**
 * Makes `owner` as large as new attributes make it, and with it the types that it is a part of. Refuses a circle, and
 * what passes a bound: then nothing has changed. Takes a step for `owner`, for each of those types, and for each of
 * their uses.
 */
void grow(Zyn::ZynType owner, std::span<Attribute const> attrs) {
  std::string_view const ownerName = owner.name();
  TypeRow& ownerRow = mutableRow(owner);
  std::vector<TypeRow*> const growing = withUsers(ownerRow);
  absl::flat_hash_map<TypeRow const*, Size> sizes;
  for (TypeRow const* const row : growing) {
    sizes.emplace(row, Size{row->levels, row->typesBelow});
    mutableModule(owner).growthSteps += 1 + row->users.size();
  }
  Size& own = sizes.at(&ownerRow);
  std::uint32_t parts = ownerRow.parts;
  std::size_t deepest = 0;
  for (std::size_t i = 0; i < attrs.size(); ++i) {
    TypeRow const& inner = rowOf(attrs[i].type);
    std::uint32_t const before = own.levels;
    std::uint32_t const below = std::max(own.levels - ownLevels(parts), inner.levels);
    parts += ownerRow.kind == Kind::Value && inner.kind == Kind::Value ? 1 : 0;
    own.levels = below + ownLevels(parts);
    deepest = own.levels > before ? i : deepest;
    own.typesBelow += 1 + inner.typesBelow;
    atItem(i, [&] {
      if (sizes.contains(&inner)) {
        checkNotReachable(owner, attrs[i].name, attrs[i].type);
      }
      checkSize(attrs[i].name, ownerName, ownerName, own);
    });
  }
  for (TypeRow const* const row : growing) {
    Size const size = sizes.at(row);
    bool const isDeeper = size.levels > row->levels;
    std::size_t const cause = isDeeper ? deepest : attrs.size() - 1;
    atItem(cause, [&] {
      if (isDeeper && row->isUsedElsewhere) {
        checkNotReachable(owner, attrs[cause].name, attrs[cause].type);
        refuse("the attribute '{}' of '{}' would make '{}' deeper, which another schema uses; add it before",
               attrs[cause].name, ownerName, row->name);
      }
      checkSize(attrs[cause].name, ownerName, row->name, size);
    });
    for (TypeRow const* const user : row->users) {
      Size& whole = sizes.at(user);
      whole.levels = std::max(whole.levels, size.levels + ownLevels(user->parts));
      whole.typesBelow += size.typesBelow - row->typesBelow;
    }
  }
  ownerRow.parts = parts;
  for (TypeRow* const row : growing) {
    Size const size = sizes.at(row);
    row->levels = size.levels;
    row->typesBelow = static_cast<std::uint32_t>(size.typesBelow);
  }
}

void checkNewAttr(Zyn::ZynType owner, std::string_view name, Zyn::ZynType type) {
  checkName(fmt::format("an attribute of '{}'", owner.name()), name);
  if (!owner.attr(name).empty()) {
    refuse("'{}' already has an attribute '{}'; choose another name", owner.name(), name);
  }
  if (type.empty()) {
    refuse("the attribute '{}' of '{}' has no type; give it one", name, owner.name());
  }
}

void checkNewCollection(Zyn::ZynType owner, std::string_view name, Zyn::ZynType entries) {
  if (Kind const kind = rowOf(owner).kind; kind != Kind::Entity) {
    refuse("'{}' is of kind {}; only an entity has collections", owner.name(), kindName(kind));
  }
  checkNewAttr(owner, name, entries);
}

bool isOneSchema(Zyn::ZynType a, Zyn::ZynType b) {
  return tablesOf(*a.module()).schema == tablesOf(*b.module()).schema;
}

void addUser(TypeRow& inner, TypeRow& user, bool isOneSchema) {
  if (!isOneSchema) {
    // Atomic, as several threads may build schemas that use the types of this one.
    std::atomic_ref(inner.isUsedElsewhere).store(true, std::memory_order_relaxed);
  } else {
    inner.users.push_back(&user);
  }
}

/** Fills in name and slot. */
AttrRow& addAttr(Zyn::ZynType owner, std::string_view name, AttrRow attr) {
  ModuleTables& module = mutableModule(owner);
  TypeRow& row = mutableRow(owner);
  auto const index = static_cast<std::uint32_t>(module.attrs.size());
  attr.name = name;
  attr.slot = static_cast<std::uint32_t>(row.attrs.size());
  if (row.kind != Kind::Entity && isComposed(rowOf(attr.type).kind)) {
    addUser(mutableRow(attr.type), row, isOneSchema(attr.type, owner));
  }
  AttrRow& added = module.attrs.emplace_back(std::move(attr));
  row.attrs.push_back(index);
  row.attrsByName.add(added.name, index);
  return added;
}

/** The attribute's own name is handed out from now on: looked up again, it is found by its address. */
void rememberName(TypeRow& row, AttrRow const& attr) {
  KnownName const name{attr.name.c_str(), row.attrs[attr.slot]};
  auto& known = row.knownNames;
  if (known.size() < TypeRow::mostKnownNames && std::ranges::find(known, name.name, &KnownName::name) == known.end()) {
    known.push_back(name);
  }
}

void setArgs(Zyn::ZynType type, std::span<std::uint32_t const> slots) {
  TypeRow& row = mutableRow(type);
  for (std::uint32_t slot = 0; slot < row.attrs.size(); ++slot) {
    attrOf(type, slot).isArgument = false;
  }
  row.argNames.clear();
  row.args.clear();
  for (std::uint32_t const slot : slots) {
    AttrRow& attr = attrOf(type, slot);
    attr.isArgument = true;
    row.argNames.push_back(attr.name.c_str());
    row.args.push_back({slot, isComposed(rowOf(attr.type).kind), &rowOf(attr.type)});
    rememberName(row, attr);
  }
}

// A value that is read from text or from a message is built from its constructor arguments, so the text or message must
// hold each of them.

void checkArgInPattern(Zyn::ZynType type, std::uint32_t slot, Pattern const& pattern) {
  if (std::ranges::find(pattern.slots, slot) == pattern.slots.end()) {
    refuse("the gNMI pattern '{}' of '{}' leaves out the constructor argument '{}'; name each of them", pattern.whole,
           type.name(), attrOf(type, slot).name);
  }
}

void checkArgHasNumber(Zyn::ZynType type, std::uint32_t slot, std::uint32_t number) {
  if (number == 0) {
    refuse("the constructor argument '{}' of '{}' has no s4 number; give it one", attrOf(type, slot).name, type.name());
  }
}

Pattern parsePattern(Zyn::ZynType type, std::string_view text) {
  auto const refusePattern = [&](std::string_view why) {
    refuse("the gNMI pattern '{}' of '{}' {}", text, type.name(), why);
  };
  Pattern pattern{.whole = std::string(text), .texts = {}, .slots = {}};
  absl::flat_hash_set<std::uint32_t> seen;
  std::string_view rest = text;
  while (true) {
    std::size_t const brace = std::min(rest.find_first_of("{}"), rest.size());
    pattern.texts.emplace_back(rest.substr(0, brace));
    if (brace == rest.size()) {
      break;
    }
    rest.remove_prefix(brace + 1);
    std::size_t const close = rest.find('}');
    if (text[text.size() - rest.size() - 1] == '}' || close == std::string_view::npos) {
      refusePattern("has a brace without its partner; write attributes as {name}");
    }
    std::uint32_t const slot = slotOf(type, rest.substr(0, close));
    rest.remove_prefix(close + 1);
    if (!seen.insert(slot).second) {
      refusePattern(fmt::format("names '{}' twice; name it once", attrOf(type, slot).name));
    }
    if (!pattern.slots.empty() && pattern.texts.back().empty()) {
      refusePattern(fmt::format("has nothing between '{}' and '{}'; write a text by which to tell where one ends",
                                attrOf(type, pattern.slots.back()).name, attrOf(type, slot).name));
    }
    pattern.slots.push_back(slot);
  }
  if (pattern.slots.empty()) {
    refusePattern("names no attribute; write attributes as {name}");
  }
  return pattern;
}

/** `what` says what is missing. Ends with the nearest of `names`, or with `otherwise` where none is near. */
[[noreturn]] void refuseUnknown(std::string_view what, std::string_view name, std::span<std::string const> names,
                                std::string_view otherwise) {
  std::string const near = Text::didYouMean(name, names);
  throw Error(Velko::String(what) + (near.empty() ? otherwise : near));
}

bool isFieldNumber(std::uint32_t number) {
  return number >= 1 && number <= 536870911 && (number < 19000 || number > 19999);
}

}  // namespace

TextRule::~TextRule() = default;

std::string TextRule::hint(std::string_view /*text*/) const { return {}; }

ModuleTables const& coreModule() {
  // Static in a function, so that it is made when first used, also before main starts. Never destroyed, as static
  // objects may use it after main has ended.
  static ModuleTables const& core = [] -> ModuleTables const& {
    auto& module = *new ModuleTables("Zyn", nullptr);
    for (unsigned kind = 0; isScalar(static_cast<Kind>(kind)); ++kind) {
      addType(module, kindName(static_cast<Kind>(kind)), static_cast<Kind>(kind));
    }
    return module;
  }();
  return core;
}

Zyn::ZynType core(Kind kind) {
  return isScalar(kind) ? Zyn::ZynType(&coreModule(), static_cast<std::uint32_t>(kind)) : Zyn::ZynType();
}

Zyn::ZynAttr attr(Zyn::ZynType type, std::string_view name) {
  Zyn::ZynAttr const found = type.attr(name);
  if (found.empty()) {
    std::vector<std::string> names;
    for (Zyn::AttributeQIterator each(type); each; ++each) {
      names.emplace_back((*each).name());
    }
    refuseUnknown(type.empty() ? "an empty type has no attributes"
                               : fmt::format("{}: it has no attribute {}", type.name(), Text::inQuotes(name)),
                  name, names, Text::listNames(names));
  }
  return found;
}

TypeBuilder& TypeBuilder::attr(std::string_view name, Zyn::ZynType type) {
  Attribute const only{std::string(name), type};
  try {
    return attrs({&only, 1});
  } catch (SchemaError const& e) {
    throw SchemaError(e.message().view());  // about no item of a list
  }
}

TypeBuilder& TypeBuilder::attrs(std::span<Attribute const> attributes) {
  Kind const kind = rowOf(type_).kind;
  if (kind != Kind::Union && kind != Kind::Value && kind != Kind::Entity) {
    refuse("'{}' is of kind {}; only a union, a value type or an entity takes attributes", type_.name(),
           kindName(kind));
  }
  absl::flat_hash_set<std::string_view, Text::NameHash> names;
  forEachItem(attributes, [&](Attribute const& attr) {
    checkNewAttr(type_, attr.name, attr.type);
    if (!names.insert(attr.name).second) {
      refuse("'{}' already has an attribute '{}'; choose another name", type_.name(), attr.name);
    }
    if (kind != Kind::Entity && rowOf(attr.type).kind == Kind::Entity) {
      refuse("the attribute '{}' of '{}' is of the entity type '{}'; only an entity has such attributes", attr.name,
             type_.name(), attr.type.name());
    }
  });
  if (kind != Kind::Entity && !attributes.empty()) {
    grow(type_, attributes);
  }
  for (Attribute const& attr : attributes) {
    addAttr(type_, attr.name, {.type = attr.type});
  }
  return *this;
}

TypeBuilder& TypeBuilder::keyed(std::string_view name, Zyn::ZynType entries, std::optional<std::string_view> by,
                                Zyn::ZynType keyType) {
  checkNewCollection(type_, name, entries);
  if (Kind const kind = rowOf(entries).kind; kind != Kind::Entity && kind != Kind::Value) {
    refuse("the entries '{}' of '{}.{}' are of kind {}; keyed entries are of an entity or a value type", entries.name(),
           type_.name(), name, kindName(kind));
  }
  if (by && by->contains('\0')) {
    refuse("the key name '{}' of '{}.{}' holds a NUL byte; leave it out", *by, type_.name(), name);
  }
  Zyn::ZynAttr const key = by ? entries.attr(*by) : Zyn::ZynAttr();
  if (keyType.empty() && !key.empty() && rowOf(key).shape == Shape::Plain) {
    keyType = key.attrType();
  }
  if (!keyType.empty() && rowOf(keyType).kind == Kind::Entity) {
    refuse("the key type '{}' of '{}.{}' is an entity; a key is a value", keyType.name(), type_.name(), name);
  }
  AttrRow& added = addAttr(type_, name, {.type = entries, .shape = Shape::Keyed, .keyType = keyType});
  // Rows of another schema are not changed: other threads may use them already.
  if (!key.empty() && isOneSchema(entries, type_)) {
    added.keyName = rowOf(key).name.c_str();
    rememberName(mutableRow(entries), rowOf(key));
  } else if (by) {
    added.looseKeyName = *by;
    added.keyName = added.looseKeyName.c_str();
  }
  return *this;
}

TypeBuilder& TypeBuilder::list(std::string_view name, Zyn::ZynType entries) {
  checkNewCollection(type_, name, entries);
  addAttr(type_, name, {.type = entries, .shape = Shape::List});
  return *this;
}

TypeBuilder& TypeBuilder::args(std::span<std::string_view const> names) {
  checkIsValueType(type_, "constructor arguments");
  std::vector<std::uint32_t> slots;
  absl::flat_hash_set<std::uint32_t> seen;
  forEachItem(names, [&](std::string_view name) {
    std::uint32_t const slot = slotOf(type_, name);
    if (!seen.insert(slot).second) {
      refuse("the constructor argument '{}' of '{}' is named twice; name it once", name, type_.name());
    }
    slots.push_back(slot);
  });
  TypeRow const& row = rowOf(type_);
  if (row.pattern) {
    forEachItem(slots, [&](std::uint32_t slot) { checkArgInPattern(type_, slot, *row.pattern); });
  }
  if (row.hasS4Numbers) {
    forEachItem(slots, [&](std::uint32_t slot) { checkArgHasNumber(type_, slot, attrOf(type_, slot).s4Number); });
  }
  setArgs(type_, slots);
  return *this;
}

TypeBuilder& TypeBuilder::args(std::initializer_list<std::string_view> names) { return args(std::span(names)); }

TypeBuilder& TypeBuilder::gnmi(std::string_view pattern) {
  checkIsValueType(type_, "a gNMI pattern");
  Pattern parsed = parsePattern(type_, pattern);
  for (std::uint32_t const slot : rowOf(type_).args | std::views::transform(&Argument::slot)) {
    checkArgInPattern(type_, slot, parsed);
  }
  mutableRow(type_).pattern = std::move(parsed);
  return mark(Mark::GnmiString).mark(Mark::ScalarKind);
}

TypeBuilder& TypeBuilder::s4(std::span<std::pair<std::string_view, std::uint32_t> const> numbers) {
  checkIsValueType(type_, "s4 numbers");
  TypeRow& row = mutableRow(type_);
  std::vector<std::uint32_t> bySlot(row.attrs.size(), 0);
  absl::flat_hash_map<std::uint32_t, std::string_view> taken;
  forEachItem(numbers, [&](std::pair<std::string_view, std::uint32_t> const& item) {
    auto const& [name, number] = item;
    std::uint32_t const slot = slotOf(type_, name);
    if (!isFieldNumber(number)) {
      refuse(
          "the s4 number {} of '{}.{}' is no field number; choose one from 1 to 536870911, but none from 19000 to "
          "19999",
          number, type_.name(), name);
    }
    if (bySlot[slot] != 0) {
      refuse("'{}.{}' has two s4 numbers, {} and {}; give it one", type_.name(), name, bySlot[slot], number);
    }
    if (auto const [other, isNew] = taken.emplace(number, name); !isNew) {
      refuse("'{}.{}' and '{}.{}' have the same s4 number {}; choose another one", type_.name(), other->second,
             type_.name(), name, number);
    }
    bySlot[slot] = number;
  });
  for (std::uint32_t const slot : row.args | std::views::transform(&Argument::slot)) {
    checkArgHasNumber(type_, slot, bySlot[slot]);
  }
  for (std::uint32_t slot = 0; slot < bySlot.size(); ++slot) {
    attrOf(type_, slot).s4Number = bySlot[slot];
  }
  row.hasS4Numbers = true;
  return mark(Mark::S4);
}

TypeBuilder& TypeBuilder::s4(std::initializer_list<std::pair<std::string_view, std::uint32_t>> numbers) {
  return s4(std::span(numbers));
}

TypeBuilder& TypeBuilder::mark(Mark mark, bool on) {
  TypeRow& row = mutableRow(type_);
  row.marks = static_cast<std::uint8_t>(on ? row.marks | bit(mark) : row.marks & ~bit(mark));
  return *this;
}

TypeBuilder& TypeBuilder::valAttr(std::string_view name) {
  AttrRow const& attr = attrOf(type_, slotOf(type_, name));
  if (attr.shape != Shape::Plain) {
    refuse("'{}.{}' is a collection; the value attribute holds one value", type_.name(), name);
  }
  if (rowOf(attr.type).kind == Kind::Entity) {
    refuse("'{}.{}' is of the entity type '{}'; the value attribute holds a value", type_.name(), name,
           attr.type.name());
  }
  mutableRow(type_).valAttr = rowOf(type_).attrs[attr.slot];
  return *this;
}

std::string_view Module::name() const noexcept { return tablesOf(*this).name; }

TypeBuilder Module::enumeration(std::string_view name, std::span<Enumerator const> enumerators,
                                std::shared_ptr<TextRule const> rule) {
  checkNewType(*this, name);
  std::string const fullName = fmt::format("{}::{}", this->name(), name);
  ByName byName;
  absl::flat_hash_map<std::int32_t, std::uint32_t> byNumber;
  forEachItem(enumerators, [&](Enumerator const& enumerator) {
    auto const i = static_cast<std::uint32_t>(byName.size());
    checkName(fmt::format("an enumerator of '{}'", fullName), enumerator.name);
    if (!byName.emplace(enumerator.name, i).second) {
      refuse("'{}' already has an enumerator '{}'; choose another name", fullName, enumerator.name);
    }
    if (auto const [other, isNew] = byNumber.emplace(enumerator.number, i); !isNew) {
      refuse("the enumerators '{}' and '{}' of '{}' have the same number {}; choose another one",
             enumerators[other->second].name, enumerator.name, fullName, enumerator.number);
    }
  });
  if (enumerators.empty()) {
    refuse("the enumeration '{}' has no enumerators; give it at least one", fullName);
  }
  Zyn::ZynType const type = addType(*this, name, Kind::Enum);
  TypeRow& row = mutableRow(type);
  row.enumerators.assign(enumerators.begin(), enumerators.end());
  row.rule = std::move(rule);
  row.enumeratorsByNumber = std::move(byNumber);
  for (std::uint32_t i = 0; i < row.enumerators.size(); ++i) {
    row.enumeratorsByName.emplace(row.enumerators[i].name, i);
  }
  return TypeBuilder(type);
}

TypeBuilder Module::enumeration(std::string_view name, std::initializer_list<Enumerator> enumerators) {
  return enumeration(name, std::span(enumerators));
}

TypeBuilder Module::wrapper(std::string_view name, Zyn::ZynType inner) {
  checkNewType(*this, name);
  if (inner.empty()) {
    refuse("the wrapper '{}::{}' has no inner type; give it one", this->name(), name);
  }
  if (rowOf(inner).kind == Kind::Entity) {
    refuse("the wrapper '{}::{}' is of the entity type '{}'; wrap a value", this->name(), name, inner.name());
  }
  // What is wrapped exists before its wrapper: it cannot lead back to it, and nothing gets deeper with the wrapper.
  Size const size{rowOf(inner).levels + 1, 1 + std::uint64_t{rowOf(inner).typesBelow}};
  std::string const fullName = fmt::format("{}::{}", this->name(), name);
  checkSize("value", fullName, fullName, size);
  Zyn::ZynType const type = addType(*this, name, Kind::Wrapper);
  mutableRow(type).levels = size.levels;
  mutableRow(type).typesBelow = static_cast<std::uint32_t>(size.typesBelow);
  addAttr(type, "value", {.type = inner});
  setArgs(type, std::array{std::uint32_t{0}});
  return TypeBuilder(type).valAttr("value");
}

TypeBuilder Module::unionOf(std::string_view name, std::initializer_list<Attribute> alternatives) {
  checkNewType(*this, name);
  auto& module = static_cast<ModuleTables&>(*this);
  TypeBuilder builder(addType(*this, name, Kind::Union));
  try {
    builder.attrs(std::span(alternatives));
  } catch (...) {
    // Nobody has a handle of it yet.
    module.typesByName.erase(name);
    module.types.pop_back();
    throw;
  }
  return builder;
}

TypeBuilder Module::value(std::string_view name) {
  checkNewType(*this, name);
  return TypeBuilder(addType(*this, name, Kind::Value));
}

TypeBuilder Module::entity(std::string_view name) {
  checkNewType(*this, name);
  return TypeBuilder(addType(*this, name, Kind::Entity));
}

TypeBuilder Module::scalar(std::string_view name, Kind kind, std::shared_ptr<TextRule const> rule) {
  checkNewType(*this, name);
  if (!isScalar(kind)) {
    refuse("the scalar '{}::{}' cannot be of kind {}; its kind is one from {} to {}", this->name(), name,
           kindName(kind), kindName(Kind::Bool), kindName(Kind::MacAddress));
  }
  Zyn::ZynType const type = addType(*this, name, kind);
  mutableRow(type).rule = std::move(rule);
  return TypeBuilder(type);
}

TypeBuilder Module::extend(Zyn::ZynType type) {
  if (type.module() != this) {
    refuse("'{}' is no type of module '{}'; only its own types can be extended", type.name(), name());
  }
  return TypeBuilder(type);
}

std::vector<Zyn::ZynType> Module::types() const {
  std::vector<Zyn::ZynType> all;
  for (std::uint32_t i = 0; i < tablesOf(*this).types.size(); ++i) {
    all.emplace_back(this, i);
  }
  return all;
}

Zyn::ZynType Module::find(std::string_view name) const noexcept {
  auto const& types = tablesOf(*this).typesByName;
  auto const found = types.find(name);
  return found == types.end() ? Zyn::ZynType() : Zyn::ZynType(this, found->second);
}

Zyn::ZynType Module::type(std::string_view name) const {
  Zyn::ZynType const found = find(name);
  if (found.empty()) {
    std::vector<std::string> names;
    for (Zyn::ZynType const type : types()) {
      names.emplace_back(shortName(type));
    }
    refuseUnknown(fmt::format("no type {} in module {}", Text::inQuotes(name), Text::inQuotes(this->name())), name,
                  names, Text::listNames(names));
  }
  return found;
}

struct Schema::Impl {
  std::vector<std::unique_ptr<ModuleTables>> modules;

  ModuleTables* find(std::string_view name) const noexcept {
    auto const found =
        std::ranges::find(modules, name, [](auto const& module) { return std::string_view(module->name); });
    return found == modules.end() ? nullptr : found->get();
  }
};

Schema::Schema() : impl_(std::make_unique<Impl>()) {}
Schema::Schema(Schema&&) noexcept = default;
Schema& Schema::operator=(Schema&&) noexcept = default;
Schema::~Schema() = default;

Module& Schema::module(std::string_view name) {
  checkName("a module", name);
  // In 'Module.Type' the first of them ends the module's name; the type's name may hold more.
  if (name.find_first_of(".:") != std::string_view::npos) {
    refuse("the name '{}' of a module holds '.' or ':', which stand between module and type; leave them out", name);
  }
  if (name == coreModule().name) {
    refuse("'{}' is the module of the core types; choose another name", name);
  }
  if (impl_->find(name) != nullptr) {
    refuse("the schema already has a module '{}'; choose another name", name);
  }
  return *impl_->modules.emplace_back(std::make_unique<ModuleTables>(name, impl_.get()));
}

Module* Schema::findModule(std::string_view name) const noexcept { return impl_->find(name); }

Module& Schema::existingModule(std::string_view name) const {
  Module* const found = findModule(name);
  if (found == nullptr) {
    std::vector<std::string> names;
    std::ranges::transform(impl_->modules, std::back_inserter(names), [](auto const& module) { return module->name; });
    refuseUnknown(fmt::format("no module {}", Text::inQuotes(name)), name, names, Text::listNames(names));
  }
  return *found;
}

std::vector<Module const*> Schema::modules() const {
  std::vector<Module const*> all;
  for (auto const& module : impl_->modules) {
    all.push_back(module.get());
  }
  return all;
}

Zyn::ZynType Schema::find(std::string_view name) const {
  if (std::size_t const separator = name.find_first_of(".:"); separator != std::string_view::npos) {
    std::string_view const moduleName = name.substr(0, separator);
    std::string_view const rest = name.substr(separator);
    Module const* const module = moduleName == coreModule().name ? &coreModule() : impl_->find(moduleName);
    if (module != nullptr && (rest.starts_with("::") || rest.starts_with('.'))) {
      if (Zyn::ZynType const found = module->find(rest.substr(rest.starts_with('.') ? 1 : 2)); !found.empty()) {
        return found;
      }
    }
  }
  Zyn::ZynType only = coreModule().find(name);
  for (auto const& module : impl_->modules) {
    Zyn::ZynType const found = module->find(name);
    if (!found.empty() && !only.empty()) {
      return {};
    }
    only = only.empty() ? found : only;
  }
  return only;
}

Zyn::ZynType Schema::type(std::string_view name) const {
  Zyn::ZynType const found = find(name);
  if (found.empty()) {
    std::vector<std::string> const all = names();
    std::vector<std::string> alike;
    std::string const ending = fmt::format("::{}", name);
    std::ranges::copy_if(all, std::back_inserter(alike), [&](auto const& full) { return full.ends_with(ending); });
    if (alike.size() > 1) {
      throw Error(Velko::String(fmt::format("type {} is in more than one module; write {}", Text::inQuotes(name),
                                            Text::list(alike, Text::inQuotes, " or "))));
    }
    refuseUnknown(fmt::format("no type {}", Text::inQuotes(name)), name, all, "");
  }
  return found;
}

std::vector<std::string> Schema::names() const {
  std::vector<std::string> all;
  auto const add = [&](ModuleTables const& module) {
    std::ranges::transform(module.types, std::back_inserter(all), &TypeRow::name);
  };
  add(coreModule());
  for (auto const& module : impl_->modules) {
    add(*module);
  }
  return all;
}

std::vector<Zyn::ZynType> topEntities(Schema const& schema) {
  std::vector<Zyn::ZynType> entities;
  auto const idOf = [](Zyn::ZynType type) { return std::pair(type.module(), type.index()); };
  absl::flat_hash_set<std::pair<Zyn::ZynModule const*, std::uint32_t>> parts;
  for (Module const* const module : schema.modules()) {
    for (Zyn::ZynType const type : module->types()) {
      if (kindOf(type) != Kind::Entity) {
        continue;
      }
      entities.push_back(type);
      for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
        if ((*attr).attrType() != type) {
          parts.insert(idOf((*attr).attrType()));
        }
      }
    }
  }
  std::vector<Zyn::ZynType> tops;
  std::ranges::copy_if(entities, std::back_inserter(tops),
                       [&](Zyn::ZynType type) { return !parts.contains(idOf(type)); });
  return tops.empty() ? entities : tops;
}

}  // namespace Model
