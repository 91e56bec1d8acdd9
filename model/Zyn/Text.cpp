// Values from text, and back to text.
#include <fmt/core.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <optional>
#include <ranges>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Zyn/Zyn.h"
#include "model/Value.h"
#include "model/Zyn/Objects.h"
#include "model/Zyn/Tables.h"
#include "text/Messages.h"
#include "text/Nearest.h"

namespace Model {
namespace {

/**
 * Cuts the text at the first occurrence of each separator, left to right, and calls `use(slot, piece)` for the pieces
 * until one answers false. Whether all were cut and used.
 */
template <typename Use>
bool cut(Pattern const& pattern, std::string_view text, Use&& use) {
  if (!text.starts_with(pattern.texts.front())) {
    return false;
  }
  text.remove_prefix(pattern.texts.front().size());
  for (std::size_t i = 0; i < pattern.slots.size(); ++i) {
    std::string_view const separator = pattern.texts[i + 1];
    // Only the last one may be empty: then the last piece is the rest.
    std::size_t const at = separator.empty() ? text.size() : text.find(separator);
    if (at == std::string_view::npos || !use(pattern.slots[i], text.substr(0, at))) {
      return false;
    }
    text.remove_prefix(at + separator.size());
  }
  return text.empty();
}

NewValue readPattern(TypeRow const& row, std::string_view text) {
  Velko::Ptr<Composed> value = Composed::make(row);
  bool const fits = cut(*row.pattern, text, [&](std::uint32_t slot, std::string_view piece) {
    ValuePtr& part = value->slots()[slot];
    part = readText(rowOf(attrRow(row, slot).type), piece, TextForm::Gnmi);
    return part != nullptr;
  });
  if (!fits) {
    return nullptr;
  }
  return value;
}

NewValue readComposed(TypeRow const& row, std::uint32_t slot, std::string_view text, TextForm form) {
  ValuePtr part = readText(rowOf(attrRow(row, slot).type), text, form);
  if (!part) {
    return nullptr;
  }
  Velko::Ptr<Composed> value = Composed::make(row);
  value->slots()[slot] = std::move(part);
  return value;
}

NewValue readUnion(TypeRow const& row, std::string_view text, TextForm form) {
  auto const count = static_cast<std::uint32_t>(row.attrs.size());
  for (std::uint32_t slot = 0; slot < count; ++slot) {
    if (NewValue value = readComposed(row, slot, text, form)) {
      return value;
    }
  }
  return nullptr;
}

/** Not inlined: most values are scalars, and reading those then saves fewer registers. */
[[gnu::noinline]] NewValue readParts(TypeRow const& row, std::string_view text, TextForm form) {
  switch (row.kind) {
    case Kind::Wrapper:
      return readComposed(row, 0, text, form);
    case Kind::Union:
      return readUnion(row, text, form);
    case Kind::Value:
      return row.pattern ? readPattern(row, text) : nullptr;
    default:
      return nullptr;  // an entity
  }
}

/**
 * "; high takes a decimal number ..." for the first piece of a pattern that does not fit, what a rule has to say of the
 * text, or the enumerators that are near to it. Of a union, the first such thing that one of its alternatives says.
 */
std::string hintOn(Zyn::ZynType wrapper, std::string_view text, TextForm form) {
  Zyn::ZynType const type = unwrapped(wrapper);
  TypeRow const& row = rowOf(type);
  if (row.rule) {
    return row.rule->hint(text);
  }
  if (row.kind == Kind::Enum) {
    if (row.enumeratorsByName.contains(text)) {
      return {};  // only its quotes are missing
    }
    std::vector<std::string> names;
    std::ranges::transform(row.enumerators, std::back_inserter(names), &Enumerator::name);
    return Text::didYouMean(text, names);
  }
  std::string hint;
  if (row.kind == Kind::Union && form == TextForm::Gnmi) {
    for (std::uint32_t slot = 0; slot < row.attrs.size() && hint.empty(); ++slot) {
      Zyn::ZynType const alternative = attrRow(type, slot).type;
      hint = rowOf(alternative).kind == Kind::Union ? "" : hintOn(alternative, text, form);
    }
  }
  if (row.kind == Kind::Value && row.pattern) {
    cut(*row.pattern, text, [&](std::uint32_t slot, std::string_view piece) {
      AttrRow const& attr = attrRow(type, slot);
      bool const fits = readText(rowOf(attr.type), piece, TextForm::Gnmi) != nullptr;
      if (!fits) {
        hint = fmt::format("; {} takes {}", attr.name, textExpectation(attr.type, TextForm::Gnmi));
      }
      return fits;
    });
  }
  return hint;
}

/** Takes the quotes of a literal off; false for a kind without quotes and for a text without them. */
bool takeQuotes(Kind kind, std::string_view& text) {
  return kind <= Kind::Enum && scalarRow(kind).quote != '\0' && unquote(scalarRow(kind).quote, text);
}

Velko::String sayUnfit(Zyn::ZynType type, std::string_view text, TextForm form) {
  if (type.empty()) {
    return Velko::String("An empty type has no values");
  }
  Zyn::ZynType const inner = unwrapped(type);
  // A literal that has its quotes is not told to have them, and they are not shown beside those of the message.
  if (form == TextForm::Literal && takeQuotes(rowOf(inner).kind, text)) {
    form = TextForm::Gnmi;
  }
  std::string const found = Text::inQuotes(text);
  std::string const expectation = textExpectation(inner, form);
  std::string const hint = hintOn(inner, text, form);
  // Put together in place, and copied once.
  fmt::memory_buffer said;
  for (std::string_view const part :
       {std::string_view(type.name()), std::string_view(": "), std::string_view(found),
        std::string_view(" does not fit: "), std::string_view(expectation), std::string_view(hint)}) {
    said.append(part);
  }
  return {said.data(), said.size()};
}

/**
 * A text of up to 128 bytes that is no value of the type. The message is made when it is asked for: most of these
 * exceptions are thrown for a union, which tries its next alternative.
 */
class Unfit final : public Error {
 public:
  static constexpr std::size_t longest = 128;

  Unfit(Zyn::ZynType const& type, std::string_view text, TextForm form) noexcept
      : Error(Velko::String()), type_(type), form_(form), size_(text.size()) {
    std::ranges::copy(text, text_.begin());
  }

  Velko::String message() const override { return sayUnfit(type_, {text_.data(), size_}, form_); }

 private:
  Zyn::ZynType type_;
  TextForm form_;
  std::size_t size_;
  std::array<char, longest> text_;
};

/** Not inlined, so that reading a text that fits saves no registers for it. */
[[gnu::noinline]] Unfit unfit(Zyn::ZynType const& type, Velko::String const& text, TextForm form) noexcept {
  return {type, text.view(), form};
}

/** The message is hardly longer than the text, and often shorter. */
[[noreturn, gnu::noinline]] void refuseLong(Zyn::ZynType const& type, Velko::String const& text, TextForm form) {
  throw Error(sayUnfit(type, text.view(), form));
}

/**
 * Inline, and with nothing to destroy when it throws: unwinding takes time for each frame, for the registers that the
 * frame saved, and for asking what it has to destroy. So an error takes 0.89 of the time that it took otherwise.
 */
[[gnu::always_inline]] inline NewValue fromText(Zyn::ZynType const& type, Velko::String const& text, TextForm form) {
  if (!type.empty()) {
    if (NewValue value = readText(rowOf(type), text.view(), form)) {
      return value;
    }
  }
  if (text.size() > Unfit::longest) {
    refuseLong(type, text, form);
  }
  throw unfit(type, text, form);
}

/**
 * "number: a decimal number from 1 to 10; name: a text of 1 to 8 characters". Alternatives may be many, and unions of
 * unions: ends where the text has become long.
 */
void listAlternatives(Zyn::ZynType type, std::string& text) {
  constexpr std::size_t longest = 1024;
  constexpr std::size_t longestEach = 256;
  auto const count = static_cast<std::uint32_t>(rowOf(type).attrs.size());
  text += count == 0 ? "nothing, as it has no alternatives" : "";
  for (std::uint32_t slot = 0; slot < count; ++slot) {
    text += slot == 0 ? "" : "; ";
    if (text.size() > longest) {
      text += fmt::format("and {} more", count - slot);
      return;
    }
    text += attrRow(type, slot).name + ": ";
    Zyn::ZynType const alternative = unwrapped(attrRow(type, slot).type);
    if (rowOf(alternative).kind == Kind::Union) {
      text += '(';
      listAlternatives(alternative, text);
      text += ')';
    } else {
      std::string const one = textExpectation(alternative, TextForm::Gnmi);
      text += one.size() > longestEach ? one.substr(0, longestEach) + "..." : one;
    }
  }
}

void printTo(Zyn::GenericIf const& value, std::string& out) {
  ValueObject const& object = valueObject(value);
  if (!isComposed(object.kind())) {
    printScalar(static_cast<Scalar const&>(object), TextForm::Literal, out);
    return;
  }
  auto const slots = static_cast<Composed const&>(object).slots();
  out += object.type().name();
  out += '(';
  bool isFirst = true;
  for (std::uint32_t slot = 0; slot < slots.size(); ++slot) {
    if (!slots[slot]) {
      continue;
    }
    out += isFirst ? "" : ", ";
    isFirst = false;
    if (object.kind() != Kind::Wrapper) {
      out += attrRow(object.type(), slot).name;
      out += '=';
    }
    printTo(*slots[slot], out);
  }
  out += ')';
}

/** False where the value has no such text; then some of it may have been appended. */
bool appendGnmiText(Zyn::GenericIf const& value, std::string& out) {
  ValueObject const& object = valueObject(value);
  if (!isComposed(object.kind())) {
    printScalar(static_cast<Scalar const&>(object), TextForm::Gnmi, out);
    return true;
  }
  auto const slots = static_cast<Composed const&>(object).slots();
  if (object.kind() != Kind::Value) {
    // A wrapper's one value, or the alternative that a union holds.
    auto const part = std::ranges::find_if(slots, [](ValuePtr const& slot) { return slot != nullptr; });
    return part != slots.end() && appendGnmiText(**part, out);
  }
  std::optional<Pattern> const& pattern = object.row().pattern;
  if (!pattern) {
    return false;
  }
  out += pattern->texts.front();
  for (std::size_t i = 0; i != pattern->slots.size(); ++i) {
    ValuePtr const& part = slots[pattern->slots[i]];
    if (part == nullptr || !appendGnmiText(*part, out)) {
      return false;
    }
    out += pattern->texts[i + 1];
  }
  return true;
}

}  // namespace

// Not inlined into `fromText`, whose frame would have more to restore and to destroy.
[[gnu::noinline]] NewValue readText(TypeRow const& row, std::string_view text, TextForm form) {
  if (row.kind > Kind::Enum) {
    return readParts(row, text, form);
  }
  Content content;
  return readScalar(row, text, form, content) ? Scalar::make(row, content) : nullptr;
}

std::string textExpectation(Zyn::ZynType type, TextForm form) {
  TypeRow const& row = rowOf(type);
  switch (row.kind) {
    case Kind::Wrapper:
      return textExpectation(attrRow(type, 0).type, form);
    case Kind::Union: {
      if (form == TextForm::Gnmi) {
        std::string alternatives;
        listAlternatives(type, alternatives);
        return alternatives;
      }
      auto const nameOf = [&](std::uint32_t slot) { return attrRow(type, slot).type.name(); };
      auto const count = static_cast<std::uint32_t>(row.attrs.size());
      return count == 0 ? "nothing, as it has no alternatives"
                        : "a " + Text::list(std::views::iota(std::uint32_t{0}, count), nameOf, " or ");
    }
    case Kind::Value:
      return row.pattern ? row.pattern->whole : "it is built from its attributes, not from text";
    case Kind::Entity:
      return "an entity has no values";
    default:
      return scalarExpectation(row, form);
  }
}

std::string print(Zyn::GenericIf const& value) {
  std::string out;
  printTo(value, out);
  return out;
}

std::optional<std::string> gnmiText(Zyn::GenericIf const& value) {
  std::string out;
  return appendGnmiText(value, out) ? std::optional(std::move(out)) : std::nullopt;
}

}  // namespace Model

namespace Zyn {

Velko::Ptr<GenericIf> ZynType::genericIf(Velko::String const& text, bool /*mode*/) const {
  return Model::fromText(*this, text, Model::TextForm::Literal);
}

Velko::Ptr<GenericIf> ZynType::genericIfFromGnmiString(Velko::String const& text, bool /*mode*/) const {
  return Model::fromText(*this, text, Model::TextForm::Gnmi);
}

}  // namespace Zyn
