#include "gnmi/KeyPlan.h"

#include <algorithm>
#include <cstdint>
#include <optional>

#include "text/Messages.h"

namespace Gnmi {
namespace {

using Drovan::ZynKeyDecoder;

// The decoder recurses, and types that need each other many times over would keep it busy for ever.
constexpr std::size_t mostLevels = 1000;
constexpr std::size_t mostArguments = 1'000'000;

/** Each of the first 64 parts has a bit of its own. */
std::uint64_t bitOf(std::size_t part) { return std::uint64_t{1} << (part % 64); }

std::string withModule(SchemaFacts const& facts, Zyn::ZynAttr attr) {
  std::string_view const module = facts.moduleOf && !attr.empty() ? facts.moduleOf(attr) : std::string_view();
  return module.empty() ? std::string() : std::string(module) + ":" + attr.name();
}

/** Whether the value is left open: any value matches. */
bool isOpen(Key const& key) { return key.value == wildcard; }

KeyError refused(std::size_t key, bool ofValue, Velko::String const& text) {
  return {.kind = ErrorClass::ValueRefused, .text = std::string(text.view()), .key = key, .ofValue = ofValue};
}

KeyError twice(std::size_t key, std::string_view name, std::string_view first) {
  return {.kind = ErrorClass::KeyTwice,
          .text = "key " + Text::inQuotes(name) + " is given twice, first as " + Text::inQuotes(first),
          .key = key};
}

}  // namespace

KeyPlan::KeyPlan(Zyn::ZynAttr collection, Options const& options)
    : decoder_(collection, options.useS4Encoding),
      keyType_(collection.keyType()),
      isOneValue_(Drovan::isScalarKeyType(keyType_, options.useS4Encoding)) {
  if (char const* const name = collection.internalKeyName(); name != nullptr && *name != '\0') {
    keyName_ = name;
    Zyn::ZynAttr const leaf = collection.attrType().attr(name);
    qualifiedKeyName_ = withModule(options.facts, leaf);
    takesKeyName_ = leaf.empty() || !options.facts.isHidden || !options.facts.isHidden(leaf);
  }
  if (isOneValue_) {
    if (!keyName_.empty()) {
      names_.emplace_back(keyName_);
    }
    return;
  }
  for (Zyn::AttributeQIterator attr(keyType_); attr; ++attr) {
    std::string_view const name = (*attr).name();
    names_.emplace_back(name);
    parts_.push_back({.name = name,
                      .attr = *attr,
                      .path = PathElements(1, name),
                      .isScalar = Drovan::isScalarKeyType((*attr).attrType(), options.useS4Encoding),
                      .isSplit = ZynKeyDecoder::splitPath(name).size() > 1});
  }
  std::ranges::sort(parts_, {}, &Part::name);
  isFlat_ = parts_.size() <= 64;
  for (std::size_t i = 0; i != parts_.size(); ++i) {
    // A key's leaf is an attribute of the entries as well, and that one has a module.
    for (Zyn::ZynAttr const leaf : {parts_[i].attr, collection.attrType().attr(parts_[i].name)}) {
      if (std::string qualified = withModule(options.facts, leaf); !qualified.empty()) {
        partsByName_.emplace(qualifiedNames_.emplace_back(std::move(qualified)), i);
      }
    }
    partsByName_.insert_or_assign(parts_[i].name, i);
  }
  for (auto name = keyType_.module()->argNameQIterator(keyType_.argListIndex()); name; ++name) {
    std::size_t const index = partOf(*name);
    if (index == parts_.size()) {
      isFlat_ = false;
      continue;
    }
    isFlat_ = isFlat_ && parts_[index].isScalar && (arguments_ & bitOf(index)) == 0;
    arguments_ |= bitOf(index);
  }
}

KeyPlan::Done KeyPlan::select(std::span<Key const> keys, Mode mode, ShowTree const& showTree, Selection& into) const {
  if (keys.empty()) {
    if (mode == Mode::Write) {
      return std::unexpected(missingKeys({}));
    }
    into.emplace<ZynKeyDecoder::Multiple>();
    return {};
  }
  return isOneValue_ ? selectOne(keys, mode, into) : selectParts(keys, mode, showTree, into);
}

KeyPlan::Done KeyPlan::selectOne(std::span<Key const> keys, Mode mode, Selection& into) const {
  Key const& key = keys.front();
  if (!keyName_.empty() && !isKeyName(key.name)) {
    KeyError error = unknownKey(key.name);
    error.key = 0;
    return std::unexpected(std::move(error));
  }
  if (keys.size() > 1 && isKeyName(keys[1].name)) {
    return std::unexpected(twice(1, keys[1].name, key.name));
  }
  if (keys.size() > 1) {
    return std::unexpected(
        KeyError{.text = "key " + Text::inQuotes(keys[1].name) + " is one too many: the key is one value",
                 .key = 1,
                 .names = names_});
  }
  if (isOpen(key) && (mode == Mode::Write || mode == Mode::Notify)) {
    return std::unexpected(KeyError{
        .kind = ErrorClass::WildcardRefused, .text = "'*' stands for every key; name one", .key = 0, .ofValue = true});
  }
  auto decoded = decoder_.decodeScalarKey(keyType_, keyName_, key.value);
  if (!decoded) {
    return std::unexpected(refused(0, true, decoded.error()));
  }
  into = *std::move(decoded);
  return {};
}

bool KeyPlan::isKeyName(std::string_view name) const {
  return !name.empty() && (name == keyName_ || name == qualifiedKeyName_);
}

std::size_t KeyPlan::partOf(std::string_view name, std::size_t likely) const {
  if (likely < parts_.size() && parts_[likely].name == name) {
    return likely;
  }
  if (parts_.size() <= fewNames) {
    auto const part = std::ranges::find(parts_, name, &Part::name);
    if (part != parts_.end()) {
      return static_cast<std::size_t>(part - parts_.begin());
    }
  }
  auto const part = partsByName_.find(name);
  return part == partsByName_.end() ? parts_.size() : part->second;
}

[[gnu::always_inline]] inline KeyPlan::Done KeyPlan::find(std::string_view name, Given& into, Nested& nested,
                                                          std::size_t likely) const {
  std::size_t const index = partOf(name, likely);
  if (index == parts_.size()) {
    return findNested(name, into, nested);
  }
  into.part = index;
  into.path = &parts_[index].path;
  into.isScalar = parts_[index].isScalar;
  into.isNested = false;
  return {};
}

KeyPlan::Done KeyPlan::selectParts(std::span<Key const> keys, Mode mode, ShowTree const& showTree,
                                   Selection& into) const {
  // No more than usual at once: names that do not exist shall take no memory.
  GivenKeys given(std::min(keys.size(), std::size_t{GivenKeys::static_capacity}), boost::container::default_init);
  Nested nested;
  std::uint64_t seen = 0;
  bool isTwice = false;
  bool isAnyNested = false;
  std::size_t open = keys.size();
  for (std::size_t i = 0; i != keys.size(); ++i) {
    Given& one = i < given.size() ? given[i] : given.emplace_back();
    if (auto found = find(keys[i].name, one, nested, i); !found) {
      found.error().key = i;
      return found;
    }
    isTwice = isTwice || (seen & bitOf(one.part)) != 0;
    seen |= bitOf(one.part);
    isAnyNested = isAnyNested || one.isNested;
    open = open == keys.size() && isOpen(keys[i]) ? i : open;
  }
  bool const hasWildcard = open != keys.size();
  bool isWhole = !hasWildcard && (seen & arguments_) == arguments_;
  if (!isFlat_ || isAnyNested) {
    auto const whole = isWholeNested(keys, given, hasWildcard);
    if (!whole) {
      return std::unexpected(whole.error());
    }
    isWhole = *whole;
  } else if (isTwice) {
    return std::unexpected(twiceOf(keys, given));
  }
  if (hasWildcard && (mode == Mode::Write || mode == Mode::Notify)) {
    return std::unexpected(KeyError{.kind = ErrorClass::WildcardRefused,
                                    .text = "'*' stands for every key; name one",
                                    .key = open,
                                    .ofValue = true});
  }
  if (isWhole) {
    return build(keys, given, showTree, into);
  }
  if (mode == Mode::Write) {
    return std::unexpected(missingKeys(given));
  }
  return filter(keys, given, into);
}

KeyPlan::Done KeyPlan::build(std::span<Key const> keys, std::span<Given const> given, ShowTree const& showTree,
                             Selection& into) const {
  ZynKeyDecoder::KeyElemNode root(keyType_, decoder_.useS4Encoding);
  for (std::size_t i = 0; i != keys.size(); ++i) {
    PathElements const& path = *given[i].path;
    if (auto const done = root.insertPathSuffix(path.begin(), path.end(), Velko::String(keys[i].value)); !done) {
      return std::unexpected(refused(i, given[i].isScalar, done.error()));
    }
  }
  if (showTree) {
    showTree(root);
  }
  if (auto const done = root.instantiate(); !done) {
    return std::unexpected(refused(KeyError::all, false, done.error()));
  }
  into = ZynKeyDecoder::Single{std::move(root.value)};
  return {};
}

KeyPlan::Done KeyPlan::filter(std::span<Key const> keys, std::span<Given const> given, Selection& into) const {
  auto& some = into.emplace<ZynKeyDecoder::Multiple>();
  for (std::size_t i = 0; i != keys.size(); ++i) {
    PathElements const& path = *given[i].path;
    bool const isNested = path.size() > 1;
    // The text of a part of a part is what the decoder's error quotes.
    auto const done = given[i].isNested
                          ? decoder_.updateFilter(some.values, isNested ? keys[i].name : path.front(), keys[i].value)
                          : filterPart(parts_[given[i].part], keys[i].value, some.values);
    if (!done) {
      KeyError error = refused(i, !isNested && given[i].isScalar, done.error());
      error.kind = isNested ? ErrorClass::Unsupported : error.kind;
      return std::unexpected(std::move(error));
    }
  }
  return {};
}

KvStd::Expected<void, Velko::String> KeyPlan::filterPart(Part const& part, std::string_view value,
                                                         Decoder::FilterMap& into) const {
  if (!part.isSplit) {
    return decoder_.updateFilter(into, part.path.front(), value);
  }
  auto decoded = decoder_.decodeScalarKey(part.attr.attrType(), keyName_, value);
  if (!decoded) {
    return KvStd::Unexpected(std::move(decoded).error());
  }
  if (auto* const single = std::get_if<ZynKeyDecoder::Single>(&*decoded)) {
    into.insert_or_assign(part.attr, std::move(single->value));
  }
  return {};
}

KeyPlan::Done KeyPlan::findNested(std::string_view name, Given& into, Nested& nested) const {
  PathElements elements = ZynKeyDecoder::splitPath(name);
  // A name that can be read in both ways is read as the decoder does: the attribute that holds the key comes first.
  if (takesKeyName_ && elements.size() > 1 && elements[0] == keyName_ &&
      (!keyType_.attr(elements[1]).empty() || keyType_.attr(keyName_).empty())) {
    elements.erase(elements.begin());
  }
  Zyn::ZynType type = keyType_;
  for (std::size_t i = 0; i != elements.size(); ++i) {
    Zyn::ZynAttr const attr = type.attr(elements[i]);
    if (attr.empty()) {
      KeyError error = unknownKey(name);
      if (elements.size() > 1) {
        error.text += ": no " + Text::inQuotes(elements[i]) + " in " + type.name();
        error.unknown = elements[i];
        error.names.clear();
        for (Zyn::AttributeQIterator other(type); other; ++other) {
          error.names.emplace_back((*other).name());
        }
      }
      return std::unexpected(std::move(error));
    }
    type = attr.attrType();
  }
  into.isScalar = Drovan::isScalarKeyType(type, decoder_.useS4Encoding);
  // A provider need not list inherited attributes.
  into.part = partOf(elements[0]);
  into.isNested = elements.size() > 1 || into.part == parts_.size();
  into.path = into.isNested ? &nested.emplace_front(std::move(elements)) : &parts_[into.part].path;
  return {};
}

KeyError KeyPlan::twiceOf(std::span<Key const> keys, std::span<Given const> given) const {
  std::vector<std::size_t> keyOf(parts_.size(), KeyError::all);
  std::size_t i = 0;
  while (keyOf[given[i].part] == KeyError::all) {
    keyOf[given[i].part] = i;
    ++i;
  }
  return twice(i, keys[i].name, keys[keyOf[given[i].part]].name);
}

std::expected<bool, KeyError> KeyPlan::isWholeNested(std::span<Key const> keys, std::span<Given const> given,
                                                     bool hasWildcard) const {
  KeyParts parts(keyType_, decoder_.useS4Encoding);
  std::vector<KeyParts::Index> indexes;
  for (std::size_t i = 0; i != given.size(); ++i) {
    KeyParts::Index const part = addTo(parts, given[i]);
    if (std::size_t const first = parts[part].key; first != KeyParts::none) {
      return std::unexpected(twice(i, keys[i].name, keys[first].name));
    }
    parts[part].key = i;
    indexes.push_back(part);
  }
  // The decoder would take the value of the whole, and say nothing of the part.
  for (std::size_t i = 0; i != given.size(); ++i) {
    for (KeyParts::Index whole = parts[indexes[i]].parent; whole != KeyParts::none; whole = parts[whole].parent) {
      if (parts[whole].key != KeyParts::none) {
        return std::unexpected(KeyError{.kind = ErrorClass::KeyTwice,
                                        .text = "key " + Text::inQuotes(keys[i].name) + " is a part of " +
                                                Text::inQuotes(keys[parts[whole].key].name) + ", which is given, too",
                                        .key = i});
      }
    }
  }
  if (hasWildcard) {
    return false;
  }
  KeyParts::Result const built = parts.build(mostArguments);
  if (built.complete && (built.levels > mostLevels || built.arguments > mostArguments)) {
    std::string const much = built.levels > mostLevels
                                 ? "nests more than " + std::to_string(mostLevels) + " levels deep"
                                 : "takes more than " + std::to_string(mostArguments) + " arguments";
    return std::unexpected(
        KeyError{.kind = ErrorClass::BoundPassed,
                 .text = "the key of " + Text::inQuotes(decoder_.collectionAttr.name()) + " " + much});
  }
  return built.complete;
}

KeyParts::Index KeyPlan::addTo(KeyParts& parts, Given const& given) const {
  KeyParts::Index part = KeyParts::root;
  for (std::string_view const element : *given.path) {
    part = parts.add(part, parts[part].type.attr(element));
  }
  return part;
}

KeyError KeyPlan::unknownKey(std::string_view name) const {
  return {.text = "unknown key " + Text::inQuotes(name) + " of " + Text::inQuotes(decoder_.collectionAttr.name()),
          .unknown = std::string(name),
          .names = names_};
}

KeyError KeyPlan::missingKeys(std::span<Given const> given) const {
  std::string needed = "its key";
  if (isOneValue_ && !keyName_.empty()) {
    needed = "key " + Text::inQuotes(keyName_);
  } else if (!isOneValue_) {
    KeyParts parts(keyType_, decoder_.useS4Encoding);
    for (std::size_t i = 0; i != given.size(); ++i) {
      parts[addTo(parts, given[i])].key = i;
    }
    auto const missing = parts.missing();
    auto const nameOf = [&parts](KeyParts::Missing const& one) { return Text::inQuotes(parts.nameOf(one)); };
    needed = missing.empty() ? "every part of its key" : "key " + Text::list(missing, nameOf);
  }
  return {.kind = ErrorClass::KeyMissing,
          .text = Text::inQuotes(decoder_.collectionAttr.name()) + " needs " + needed + " to name one entry"};
}

std::expected<void, KeyError> KeyPlan::compare(Zyn::GenericIf const& key, PayloadLeaf const& leaf,
                                               Values const& values) const {
  auto const& [name, text] = leaf;
  Key const asKey{.name = name, .value = text};
  Velko::Ptr<Zyn::GenericIf const> ofKey;
  Velko::Ptr<Zyn::GenericIf const> given;
  if (isOneValue_) {
    Selection selection;
    if (auto selected = selectOne({&asKey, 1}, Mode::Read, selection); !selected) {
      return selected;
    }
    if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(&selection)) {
      given = single->value;
    }
  } else {
    Given named;
    Nested nested;
    if (auto found = find(name, named, nested); !found) {
      return found;
    }
    if (named.isNested) {
      return std::unexpected(unknownKey(name));
    }
    Part const& part = parts_[named.part];
    ofKey = values.part(key, part.attr);
    ZynKeyDecoder::FilterMap filter;
    if (auto const done = filterPart(part, text, filter); !done) {
      return std::unexpected(refused(0, true, done.error()));
    }
    if (!filter.empty()) {
      given = filter.begin()->second;
    }
  }
  Zyn::GenericIf const* const value = isOneValue_ ? &key : ofKey.get();
  std::optional<std::string> const shown = value == nullptr ? std::nullopt : values.text(*value);
  // The decoder reads "*" as a wildcard; in a payload it is a text like any other.
  bool const agrees = given ? value != nullptr && values.equal(*value, *given) : shown == text;
  if (agrees) {
    return {};
  }
  return std::unexpected(KeyError{.kind = ErrorClass::Conflict,
                                  .text = "the payload has " + Text::inQuotes(text) + " for key " +
                                          Text::inQuotes(name) + ", the path " +
                                          (shown ? Text::inQuotes(*shown) : "another value"),
                                  .key = 0,
                                  .ofValue = true});
}

std::expected<std::vector<KeyPlan::NamedText>, KeyError> KeyPlan::write(Selection const& selection,
                                                                        Values const& values) const {
  std::vector<NamedText> texts;
  auto const* const single = std::get_if<ZynKeyDecoder::Single>(&selection);
  bool written = true;
  if (single == nullptr) {
    for (auto const& [attr, value] : std::get<ZynKeyDecoder::Multiple>(selection).values) {
      std::optional<std::string> text = values.text(*value);
      written = written && text;
      texts.emplace_back(attr.name(), std::move(text).value_or(""));
    }
  } else if (isOneValue_) {
    std::optional<std::string> text = values.text(*single->value);
    written = text.has_value();
    texts.emplace_back(keyName_.empty() ? "key" : keyName_, std::move(text).value_or(""));
  } else {
    written = writeParts(*single->value, keyType_, "", values, texts);
  }
  std::ranges::sort(texts);
  // Not every value can be written, such as a string that is "*": what is written must be read as the same again.
  if (written && !texts.empty()) {
    std::vector<Key> keys;
    for (auto const& [name, text] : texts) {
      keys.push_back({.name = name, .value = text});
    }
    Selection again;
    bool const isRead = select(keys, Mode::Read, {}, again).has_value();
    auto const* const one = isRead ? std::get_if<ZynKeyDecoder::Single>(&again) : nullptr;
    if (single != nullptr) {
      written = one != nullptr && values.equal(*one->value, *single->value);
    } else {
      written = isRead && one == nullptr;
      if (written) {
        auto const& wanted = std::get<ZynKeyDecoder::Multiple>(selection).values;
        auto const& read = std::get<ZynKeyDecoder::Multiple>(again).values;
        written = wanted.size() == read.size() && std::ranges::all_of(wanted, [&](auto const& entry) {
                    auto const other = read.find(entry.first);
                    return other != read.end() && values.equal(*other->second, *entry.second);
                  });
      }
    }
  }
  if (!written || (single != nullptr && texts.empty())) {
    return std::unexpected(KeyError{.kind = ErrorClass::ValueRefused,
                                    .text = "a key of " + Text::inQuotes(decoder_.collectionAttr.name()) +
                                            " cannot be written: no text is read as this value again"});
  }
  return texts;
}

bool KeyPlan::writeParts(Zyn::GenericIf const& value, Zyn::ZynType type, std::string const& prefix,
                         Values const& values, std::vector<NamedText>& into) const {
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    Velko::Ptr<Zyn::GenericIf const> const part = values.part(value, *attr);
    if (!part) {
      continue;
    }
    Zyn::ZynType const partType = (*attr).attrType();
    if (!Drovan::isScalarKeyType(partType, decoder_.useS4Encoding)) {
      if (!writeParts(*part, partType, prefix + (*attr).name() + "__", values, into)) {
        return false;
      }
      continue;
    }
    std::optional<std::string> text = values.text(*part);
    if (!text) {
      return false;
    }
    into.emplace_back(prefix + (*attr).name(), *std::move(text));
  }
  return true;
}

}  // namespace Gnmi
