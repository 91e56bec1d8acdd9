// The classes of value objects: scalars, and values composed of others. Internal to model/.
//
// Each object is one block of the slab. What it holds follows the object in the same block: a scalar's bytes, or the
// slots of a composed value. Small scalars that a value is built from are copied into its block, behind the slots,
// which then point there: the value needs no locked instruction to share them, and a table that compares keys fetches
// one block. A scalar never changes; a composed value is changed by `Zyn::ZynAttr::genericIfSet` alone.
#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>
#include <span>
#include <string>
#include <string_view>

#include "Zyn/Zyn.h"
#include "model/Value.h"
#include "model/Zyn/Tables.h"

namespace Model {

using NewValue = Velko::Ptr<Zyn::GenericIf>;

inline AttrRow const& attrRow(TypeRow const& row, std::uint32_t slot) {
  return tablesOf(*row.handle.module()).attrs[row.attrs[slot]];
}
inline AttrRow const& attrRow(Zyn::ZynType type, std::uint32_t slot) { return attrRow(rowOf(type), slot); }

/** What wrappers hold: the type whose texts and whose fields of messages they take for theirs. */
inline Zyn::ZynType unwrapped(Zyn::ZynType type) {
  while (rowOf(type).kind == Kind::Wrapper) {
    type = attrRow(type, 0).type;
  }
  return type;
}

/**
 * The base class of all value objects. Each class frees its objects' blocks itself: `operator delete` runs no
 * destructor but those of slots, as all others would do nothing.
 */
class ValueObject : public Zyn::GenericIf {
 public:
  /**
   * Its meaning is up to the subclass. It stands here, beside the count of users, as padding would take the same
   * memory.
   */
  std::uint32_t const word;

  TypeRow const& row() const noexcept { return row_; }
  Kind kind() const noexcept { return row_.kind; }
  Zyn::ZynType type() const noexcept { return row_.handle; }

 protected:
  ValueObject(TypeRow const& itsRow, std::uint32_t itsWord) noexcept : word(itsWord), row_(itsRow) {}

 private:
  // Not the handle, which takes twice the memory.
  TypeRow const& row_;
};

inline ValueObject const& valueObject(Zyn::GenericIf const& value) { return static_cast<ValueObject const&>(value); }

/**
 * What a scalar holds, while it is being read:
 *
 *   Bool, integers   the number, sign-extended where it is signed
 *   Float, Double    the bits of a double; a Float is rounded to a float
 *   Seconds, Time    nanoseconds, signed
 *   Enum             the enumerator's position
 *   String, Bytes    the bytes, in `text`
 *   addresses        4, 16 or 6 bytes in `text`, most significant first; a prefix has a further byte, its length
 *
 * `text` points into the text that was read, or into one of the buffers here, so it cannot be copied.
 */
struct Content {
  Content() = default;
  Content(Content const&) = delete;
  Content& operator=(Content const&) = delete;

  std::uint64_t number = 0;
  std::string_view text;
  std::array<char, 17> small;
  /** Also of the canonical text, where a rule of the type makes one. */
  std::string large;
};

constexpr bool holdsBytes(Kind kind) {
  constexpr auto bitOf = [](Kind one) { return 1U << static_cast<unsigned>(one); };
  return (bitOf(kind) & (bitOf(Kind::String) | bitOf(Kind::Bytes) | bitOf(Kind::IpAddress) | bitOf(Kind::IpPrefix) |
                         bitOf(Kind::MacAddress))) != 0;
}

class Composed;

/**
 * A value of a scalar kind, or an enumerator. Its `word` holds, from the lowest bit:
 *
 *   23 bits   the number, or the count of bytes; all ones where it does not fit, and follows the object instead
 *   1 bit     whether the scalar is inside the block of a composed value
 *   8 bits    a count of words of 8 bytes. Inside: how far behind the composed value the scalar begins. Otherwise: the
 *             size of the scalar, or 0 where it is too large to be copied into blocks
 *
 * The bytes, if any, come last.
 */
class Scalar final : public ValueObject {
 public:
  static NewValue make(TypeRow const& row, Content const& content);
  static NewValue make(Zyn::ZynType type, Content const& content) { return make(rowOf(type), content); }
  static void operator delete(Scalar* value, std::destroying_delete_t) noexcept;

  /** The same as `Content::number`; for kinds that hold bytes, their count. */
  std::uint64_t number() const noexcept {
    return isWide() ? *reinterpret_cast<std::uint64_t const*>(this + 1) : word & numberBits;
  }
  /** Only for kinds that hold bytes. */
  std::string_view text() const noexcept {
    auto const* const behind = reinterpret_cast<char const*>(this + 1);
    return {isWide() ? behind + sizeof(std::uint64_t) : behind, static_cast<std::size_t>(number())};
  }

 private:
  friend Composed;

  static constexpr std::uint32_t numberBits = (1U << 23U) - 1;
  static constexpr std::uint32_t isInside = 1U << 23U;
  static constexpr std::uint32_t oneWord = 1U << 24U;

  using ValueObject::ValueObject;

  /** With room for so many bytes. `mayBeCopied` says whether it is small enough to be copied into blocks. */
  static Scalar* allocate(TypeRow const& row, std::size_t bytes, std::uint64_t number, bool mayBeCopied);
  static Scalar* ofBytes(TypeRow const& row, Content const& content);

  bool isWide() const noexcept { return (word & numberBits) == numberBits; }
};

/**
 * A wrapper, a union or a value type: one slot for each attribute, null while it is not set. `word` is the count of
 * slots.
 */
class Composed final : public ValueObject {
 public:
  static Velko::Ptr<Composed> make(TypeRow const& row);
  static Velko::Ptr<Composed> make(Zyn::ZynType type) { return make(rowOf(type)); }
  /**
   * From arguments that are of the wanted types, in a block of so many words of 8 bytes: those of `wordsOf`, and for
   * each argument those of `wordsInside`.
   */
  static Velko::Ptr<Composed> make(TypeRow const& row, std::uint32_t words, std::span<Argument const> wanted,
                                   Zyn::GenericIfArgs const& args);
  /** How many words the value takes without scalars in its block. */
  static std::uint32_t wordsOf(TypeRow const& row) noexcept;
  /**
   * How many words a copy of the value takes in a block of which so many are taken; 0 where the value is to be shared:
   * one that is composed, too large, or itself in the block of a composed value, and what would be too far behind.
   */
  static std::uint32_t wordsInside(Argument const& argument, Zyn::GenericIf const& value, std::uint32_t taken) noexcept;
  static void operator delete(Composed* value, std::destroying_delete_t) noexcept;

  std::span<ValuePtr const> slots() const noexcept { return {reinterpret_cast<ValuePtr const*>(this + 1), word}; }
  std::span<ValuePtr> slots() noexcept { return {reinterpret_cast<ValuePtr*>(this + 1), word}; }

  /** So many of what keeps the block have gone: of the value itself and the scalars inside. The last frees the block.
   */
  void dropParts(std::uint16_t count) noexcept;

  /**
   * Kept once it is known, where all parts are scalars, which never change: a table asks for the hashes of all its keys
   * whenever it grows. Filling one with 10^6 keys takes 629 ns a key that way, and 1,124 otherwise.
   */
  std::uint32_t hash() const noexcept;
  /** To be called when a slot was set: the hash that is kept is that of the former slots. */
  void forgetHash() noexcept { hash_.store(0, std::memory_order_relaxed); }

 private:
  Composed(TypeRow const& itsRow, std::uint32_t words) noexcept;

  bool isInside(Zyn::GenericIf const* part) const noexcept {
    return reinterpret_cast<std::uintptr_t>(part) - reinterpret_cast<std::uintptr_t>(this) < std::size_t{words_} * 8;
  }
  /** Copies a scalar of so many words to the word `at` of the block. */
  Scalar* copyInside(Scalar const& scalar, std::uint32_t at, std::uint32_t size) noexcept;

  /** 0 while it is not known. */
  mutable std::atomic<std::uint32_t> hash_ = 0;
  /** How many keep the block: the value itself, and each scalar inside. */
  std::atomic<std::uint16_t> parts_ = 1;
  /** The size of the block. Only its lower bits where it has more: no scalars are inside so large a block. */
  std::uint16_t const words_;
};

// Scalars (Scalars.cpp).

constexpr bool isSigned(Kind kind) { return kind >= Kind::S8 && kind <= Kind::S64; }
constexpr bool isUnsigned(Kind kind) { return kind >= Kind::U8 && kind <= Kind::U64; }

/** The numbers that an integer kind holds; for every other kind those of 64 bits. */
struct Range {
  std::int64_t min;
  std::uint64_t max;
};
Range rangeOf(Kind kind) noexcept;

/** `Gnmi` is the literal without quotes. */
enum class TextForm : std::uint8_t { Literal, Gnmi };

/** How a scalar kind is read and printed. */
struct ScalarRow {
  Kind kind;
  /** Of the literal; NUL for none. */
  char quote;
  /** Without quotes. */
  bool (*read)(TypeRow const&, std::string_view, Content&);
  void (*print)(TypeRow const&, Scalar const&, std::string&);
  /** Of the default value. */
  std::string_view initial;
  /** What `read` takes, to end a message with; empty where it depends on the type. */
  std::string_view expectation;
};
constexpr std::size_t scalarKinds = static_cast<std::size_t>(Kind::Enum) + 1;
extern std::array<ScalarRow, scalarKinds> const scalarRows;
inline ScalarRow const& scalarRow(Kind kind) { return scalarRows[static_cast<std::size_t>(kind)]; }

/** Takes the quotes of a literal off. False when it has none. */
inline bool unquote(char quote, std::string_view& text) {
  if (text.size() < 2 || text.front() != quote || text.back() != quote) {
    return false;
  }
  text = text.substr(1, text.size() - 2);
  return true;
}

/** False when the text is no scalar of the type. Inline, as every value read from text takes this path. */
inline bool readScalar(TypeRow const& row, std::string_view text, TextForm form, Content& content) {
  ScalarRow const& scalar = scalarRow(row.kind);
  if (form == TextForm::Literal && scalar.quote != '\0' && !unquote(scalar.quote, text)) {
    return false;
  }
  if (row.rule && !row.rule->canonical(text, content.large)) {
    return false;
  }
  return scalar.read(row, text, content);
}
/** Appends the literal, or its form without quotes. */
void printScalar(Scalar const& value, TextForm form, std::string& out);
/** What `readScalar` takes, to end a message with. */
std::string scalarExpectation(TypeRow const& row, TextForm form);
/** The value as the rule of its type would have it, null when the rule refuses its text. For types with a rule. */
NewValue normalize(Scalar const& value);
/** The default value of a scalar kind. */
void defaultScalar(Kind kind, Content& content);

// Text (Text.cpp).

/** Null when the text is no value of the type. */
NewValue readText(TypeRow const& row, std::string_view text, TextForm form);
/** What `readText` takes, to end a message with: "a decimal number from 0 to 65535". */
std::string textExpectation(Zyn::ZynType type, TextForm form);

}  // namespace Model
