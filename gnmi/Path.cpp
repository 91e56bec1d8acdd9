#include "gnmi/Path.h"

#include <absl/container/flat_hash_set.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "text/Messages.h"
#include "text/NameHash.h"

namespace Gnmi {
namespace {

/** What a byte is within a name or a value: what ends it, what is refused in it, or the backslash. */
enum class Byte : std::uint8_t { Plain, End, Refused, Backslash };

constexpr std::array<Byte, 256> bytesOf(std::string_view ends, std::string_view refused) {
  std::array<Byte, 256> bytes{};
  auto const mark = [&bytes](std::string_view which, Byte as) {
    for (char const byte : which) {
      bytes[static_cast<std::uint8_t>(byte)] = as;
    }
  };
  mark(ends, Byte::End);
  mark(refused, Byte::Refused);
  mark("\\", Byte::Backslash);
  return bytes;
}

/** A name or a value of the grammar. */
struct Part {
  /** What it is, where it may not be empty. */
  std::string_view what;
  /** What is expected in the place of a refused byte. */
  std::string_view instead;
  std::array<Byte, 256> bytes;

  Byte operator[](char byte) const { return bytes[static_cast<std::uint8_t>(byte)]; }
};

constexpr Part elementName = {"the name of an element", "'[' before the name of a key", bytesOf("/[", "]")};
constexpr Part keyName = {"the name of a key", "'=' after the name of a key", bytesOf("=", "[]")};
constexpr Part keyValue = {"", "", bytesOf("]", "")};

/** The first byte from `at` on that is not plain, or the end of the text. */
std::size_t stopOf(Part const& part, std::string_view text, std::size_t at) {
  char const* const end = text.data() + text.size();
  char const* byte = text.data() + at;
  while (byte != end && part[*byte] == Byte::Plain) {
    ++byte;
  }
  return static_cast<std::size_t>(byte - text.data());
}

/** Bytes that may stand for themselves after a backslash. */
constexpr std::string_view plainEscapes = "\\/[]=:";

/** From this many keys of one element on, names are compared by hash. */
constexpr std::size_t manyKeys = 16;

std::string firstOf(std::string_view rest) {
  if (rest.empty()) {
    return "the end";
  }
  char const byte = rest.front();
  if (' ' <= byte && byte <= '~') {
    return {'\'', byte, '\''};
  }
  constexpr std::string_view digits = "0123456789abcdef";
  auto const number = static_cast<std::uint8_t>(byte);
  return std::string("byte 0x") + digits[number / 16U] + digits[number % 16U];
}

/** The value of a hexadecimal digit, or -1. */
int digitOf(char byte) {
  return '0' <= byte && byte <= '9'   ? byte - '0'
         : 'a' <= byte && byte <= 'f' ? byte - 'a' + 10
         : 'A' <= byte && byte <= 'F' ? byte - 'A' + 10
                                      : -1;
}

/** Appends a character as UTF-8, and returns the place behind it. */
char* writeUtf8(std::uint32_t character, char* to) {
  auto const put = [&to](std::uint32_t byte) { *to++ = static_cast<char>(byte); };
  if (character < 0x80) {
    put(character);
  } else if (character < 0x800) {
    put(0xC0U | (character >> 6U));
  } else if (character < 0x10000) {
    put(0xE0U | (character >> 12U));
    put(0x80U | ((character >> 6U) & 0x3FU));
  } else {
    put(0xF0U | (character >> 18U));
    put(0x80U | ((character >> 12U) & 0x3FU));
    put(0x80U | ((character >> 6U) & 0x3FU));
  }
  if (character >= 0x80) {
    put(0x80U | (character & 0x3FU));
  }
  return to;
}

bool isBefore(Key const& a, Key const& b) {
  int const order = a.name.compare(b.name);
  return order != 0 ? order < 0 : a.value < b.value;
}

boost::container::small_vector<Key, 8> sortedKeys(Path const& path, Element const& element) {
  auto const keys = path.keys(element);
  boost::container::small_vector<Key, 8> sorted(keys.begin(), keys.end());
  std::ranges::sort(sorted, isBefore);
  return sorted;
}

void append(std::string& text, std::string_view part, std::string_view escaped) {
  for (char const byte : part) {
    if (escaped.find(byte) != std::string_view::npos) {
      text += '\\';
    }
    text += byte == '\n' ? 'n' : byte == '\r' ? 'r' : byte;
  }
}

}  // namespace

/** Reads a text from its start to its end, into a path that it is a friend of. */
class PathReader {
 public:
  PathReader(std::string_view text, Path& path) : text_(text), path_(path) {}

  std::expected<void, Error> readPath();
  /** Adds the one element that the text is. */
  std::expected<void, Error> readOne();

  /** The name or value that was read last, and where it begins. */
  Part const* lastPart() const { return lastPart_; }
  std::size_t lastPartAt() const { return lastPartAt_; }
  /** Whether an element could begin where reading has ended. */
  bool isAfterSlash() const { return isAfterSlash_; }

 private:
  std::expected<void, Error> readOrigin();
  // These answer whether to read on; if not, `error_` says why.
  bool readElement();
  bool readKeys(Element& element);
  bool readPart(std::string_view& part, Part const& grammar);
  /** A part with escapes, or a refused one. Inlined, it would make every part save more registers. */
  [[gnu::noinline]] bool readUnusual(std::string_view& part, Part const& grammar);
  bool readEscaped(std::size_t begin, std::string_view& part, Part const& grammar);
  bool readEscape();
  bool take(char byte, std::string_view what) {
    if (next() != byte) {
      return fail(what);
    }
    ++at_;
    return true;
  }
  bool fail(std::string_view what);

  /** NUL at the end; nobody asks for a NUL. */
  char next() const { return at_ == text_.size() ? '\0' : text_[at_]; }
  Error errorHere(ErrorClass kind, std::string text) const;
  std::unexpected<Error> unexpected(std::string_view what) const;

  std::string_view text_;
  Path& path_;
  std::size_t at_ = 0;
  Part const* lastPart_ = nullptr;
  std::size_t lastPartAt_ = 0;
  bool isAfterSlash_ = true;
  /** Where the next text with escapes goes; null until there is one. */
  char* escaped_ = nullptr;
  Error error_;
};

std::expected<void, Error> PathReader::readPath() {
  path_.clear();
  path_.isFromText_ = true;
  if (!text_.starts_with('/')) {
    if (auto read = readOrigin(); !read) {
      return read;
    }
  }
  if (next() == '/') {
    ++at_;
  }
  while (at_ != text_.size()) {
    isAfterSlash_ = false;
    if (!readElement()) {
      return std::unexpected(std::move(error_));
    }
    if (at_ != text_.size()) {
      if (!take('/', "'/' or '[' after a key")) {
        return std::unexpected(std::move(error_));
      }
      isAfterSlash_ = true;
    }
  }
  return {};
}

std::expected<void, Error> PathReader::readOrigin() {
  std::size_t const slash = text_.find_first_of("/[\\");
  if (slash == std::string_view::npos || slash == 0 || text_[slash] != '/' || text_[slash - 1] != ':') {
    return {};
  }
  path_.origin = text_.substr(0, slash - 1);
  if (path_.origin.empty()) {
    return unexpected("an origin before ':'");
  }
  if (at_ = path_.origin.find_first_of("]="); at_ != std::string_view::npos) {
    return unexpected("an origin without ']' and '='");
  }
  at_ = slash;
  return {};
}

std::expected<void, Error> PathReader::readOne() {
  if (!readElement()) {
    return std::unexpected(std::move(error_));
  }
  return at_ == text_.size() ? std::expected<void, Error>() : unexpected("one element alone");
}

bool PathReader::readElement() {
  Element& element = path_.elements_.emplace_back();
  element.at = at_;
  element.firstKey = path_.keys_.size();
  return readPart(element.name, elementName) && (next() != '[' || readKeys(element));
}

bool PathReader::readKeys(Element& element) {
  std::optional<absl::flat_hash_set<std::string_view, Text::NameHash>> names;
  while (next() == '[') {
    ++at_;
    Key key;
    key.nameAt = at_;
    if (!readPart(key.name, keyName) || !take('=', keyName.instead)) {
      return false;
    }
    key.valueAt = at_;
    if (!readPart(key.value, keyValue) || !take(']', "']' after the value")) {
      return false;
    }
    std::span<Key const> const others = path_.keys(element);
    if (others.size() == manyKeys) {
      names.emplace();
      for (Key const& other : others) {
        names->insert(other.name);
      }
    }
    if (others.size() < manyKeys ? std::ranges::find(others, key.name, &Key::name) != others.end()
                                 : !names->insert(key.name).second) {
      at_ = key.nameAt;
      error_ = errorHere(ErrorClass::KeyTwice, "key " + Text::inQuotes(key.name) + " is given twice");
      error_.key = key.name;
      return false;
    }
    path_.keys_.push_back(key);
    ++element.keyCount;
  }
  return true;
}

bool PathReader::readPart(std::string_view& part, Part const& grammar) {
  std::size_t const begin = at_;
  lastPart_ = &grammar;
  lastPartAt_ = begin;
  at_ = stopOf(grammar, text_, begin);
  part = {text_.data() + begin, at_ - begin};
  bool const isEnded = at_ == text_.size() || grammar[text_[at_]] == Byte::End;
  bool const mayBeEmpty = grammar.what.empty();
  return (isEnded && (!part.empty() || mayBeEmpty)) || readUnusual(part, grammar);
}

bool PathReader::readUnusual(std::string_view& part, Part const& grammar) {
  if (next() == '\\' && !readEscaped(lastPartAt_, part, grammar)) {
    return false;
  }
  if (at_ != text_.size() && grammar[text_[at_]] != Byte::End) {
    return fail(part.empty() ? grammar.what : grammar.instead);
  }
  return !part.empty() || grammar.what.empty() || fail(grammar.what);
}

bool PathReader::readEscaped(std::size_t begin, std::string_view& part, Part const& grammar) {
  if (escaped_ == nullptr) {
    // An escape is longer than what it stands for, so what is left of the text has room for all of them.
    std::shared_ptr<char[]> const room = std::make_shared_for_overwrite<char[]>(text_.size() - begin);
    escaped_ = room.get();
    path_.texts_.push_back(room);
  }
  char* const first = escaped_;
  std::size_t plain = begin;
  for (;;) {
    std::size_t const stop = stopOf(grammar, text_, at_);
    escaped_ = std::copy(text_.begin() + static_cast<std::ptrdiff_t>(plain),
                         text_.begin() + static_cast<std::ptrdiff_t>(stop), escaped_);
    at_ = stop;
    if (at_ == text_.size() || text_[at_] != '\\') {
      part = {first, escaped_};
      return true;
    }
    if (!readEscape()) {
      return false;
    }
    plain = at_;
  }
}

bool PathReader::readEscape() {
  std::size_t const backslash = at_++;
  char const kind = at_ == text_.size() ? '\0' : text_[at_];
  if (kind == 'u' || kind == 'U') {
    std::size_t const count = kind == 'u' ? 4 : 8;
    std::string_view const digits = text_.substr(at_ + 1, count);
    std::uint32_t character = 0;
    for (char const digit : digits) {
      int const number = digitOf(digit);
      character = number < 0 ? UINT32_MAX : (character << 4U) + static_cast<std::uint32_t>(number);
      if (number < 0) {
        break;
      }
    }
    bool const isSurrogate = 0xD800 <= character && character < 0xE000;
    if (digits.size() != count || character > 0x10FFFF || isSurrogate) {
      at_ = backslash;
      error_ = errorHere(ErrorClass::Malformed, std::string("expected ") + (count == 4 ? "four" : "eight") +
                                                    " hexadecimal digits after '\\" + kind +
                                                    "', of a character that is no surrogate and at most 10ffff");
      return false;
    }
    escaped_ = writeUtf8(character, escaped_);
    at_ += 1 + count;
    return true;
  }
  bool const isPlain = at_ != text_.size() && plainEscapes.find(kind) != std::string_view::npos;
  if (!isPlain && kind != 'n' && kind != 'r') {
    return fail(R"(one of \ / [ ] = : n r u U after '\')");
  }
  *escaped_++ = kind == 'n' ? '\n' : kind == 'r' ? '\r' : kind;
  ++at_;
  return true;
}

Error PathReader::errorHere(ErrorClass kind, std::string text) const {
  return {.kind = kind,
          .text = std::move(text),
          .element = path_.elements_.empty() ? 0 : path_.elements_.size() - 1,
          .offset = at_};
}

std::unexpected<Error> PathReader::unexpected(std::string_view what) const {
  return std::unexpected(
      errorHere(ErrorClass::Malformed, "expected " + std::string(what) + "; found " + firstOf(text_.substr(at_))));
}

bool PathReader::fail(std::string_view what) {
  error_ = unexpected(what).error();
  return false;
}

void Path::clear() noexcept {
  origin = {};
  target = {};
  elements_.clear();
  keys_.clear();
  texts_.clear();
  prefixSize_ = 0;
  isFromText_ = false;
}

void Path::sortKeys() noexcept {
  Element const& last = elements_.back();
  if (last.keyCount < 2) {
    return;
  }
  std::sort(keys_.begin() + static_cast<std::ptrdiff_t>(last.firstKey), keys_.end(), isBefore);
}

bool operator==(Path const& a, Path const& b) {
  if (a.origin != b.origin || a.target != b.target) {
    return false;
  }
  return std::ranges::equal(a.elements(), b.elements(), [&](Element const& one, Element const& other) {
    if (one.name != other.name || one.keyCount != other.keyCount) {
      return false;
    }
    return std::ranges::equal(sortedKeys(a, one), sortedKeys(b, other), [](Key const& left, Key const& right) {
      return left.name == right.name && left.value == right.value;
    });
  });
}

std::expected<void, Error> parsePath(std::string_view text, Path& into) { return PathReader(text, into).readPath(); }

std::expected<Path, Error> parsePath(std::string_view text) {
  Path path;
  if (auto read = parsePath(text, path); !read) {
    return std::unexpected(std::move(read).error());
  }
  return path;
}

std::expected<UnfinishedPath, Error> parseUnfinishedPath(std::string_view text) {
  using End = UnfinishedPath::End;
  UnfinishedPath unfinished;
  PathReader reader(text, unfinished.before);
  auto const read = reader.readPath();
  if (!read && read.error().offset != text.size()) {
    return std::unexpected(read.error());
  }
  bool const isName = reader.lastPart() == &elementName;
  if (read && (reader.isAfterSlash() || !isName)) {
    unfinished.end = reader.isAfterSlash() ? End::ElementName : End::AfterKey;
    unfinished.at = text.size();
    return unfinished;
  }
  unfinished.end = isName ? End::ElementName : reader.lastPart() == &keyName ? End::KeyName : End::Value;
  unfinished.at = reader.lastPartAt();
  if (isName) {
    unfinished.before.elements_.pop_back();
  }
  return unfinished;
}

std::expected<void, Error> parseElement(std::string_view text, Path& into) {
  auto read = PathReader(text, into).readOne();
  if (!read) {
    read.error().offset.reset();
  }
  return read;
}

Path owned(Path const& path) {
  Path copy = path;
  std::size_t size = path.origin.size() + path.target.size();
  for (Element const& element : path.elements_) {
    size += element.name.size();
  }
  for (Key const& key : path.keys_) {
    size += key.name.size() + key.value.size();
  }
  std::shared_ptr<char[]> const texts = std::make_shared_for_overwrite<char[]>(size);
  char* to = texts.get();
  auto const own = [&to](std::string_view& text) {
    char* const begin = to;
    to = std::ranges::copy(text, to).out;
    text = {begin, to};
  };
  own(copy.origin);
  own(copy.target);
  for (Element& element : copy.elements_) {
    own(element.name);
  }
  for (Key& key : copy.keys_) {
    own(key.name);
    own(key.value);
  }
  copy.texts_.assign(1, texts);
  return copy;
}

std::string formatPath(Path const& path) {
  std::string text(path.origin);
  text += path.origin.empty() ? "" : ":";
  for (Element const& element : path.elements()) {
    text += '/';
    append(text, element.name, "\\/[]\n\r");
    for (Key const& key : sortedKeys(path, element)) {
      text += '[';
      append(text, key.name, "\\[]=\n\r");
      text += '=';
      append(text, key.value, "\\]\n\r");
      text += ']';
    }
  }
  return path.elements().empty() ? text + '/' : text;
}

std::expected<Path, Error> join(Path const& prefix, Path const& path) {
  auto const conflict = [&](std::string text) {
    return std::unexpected(
        Error{.kind = ErrorClass::Conflict, .text = std::move(text), .element = path.elements().size()});
  };
  if (!path.target.empty()) {
    return conflict("target " + Text::inQuotes(path.target) + " stands in a path; it belongs in the prefix");
  }
  if (!prefix.origin.empty() && !path.origin.empty()) {
    return conflict("origin " + Text::inQuotes(path.origin) + " stands in the path, and " +
                    Text::inQuotes(prefix.origin) + " in the prefix; write it once");
  }
  if (!path.origin.empty() && !prefix.elements().empty()) {
    return conflict("the path has an origin, " + Text::inQuotes(path.origin) +
                    ", so the prefix can have no elements; move the origin into the prefix");
  }
  Path joined = prefix;
  joined.origin = prefix.origin.empty() ? path.origin : prefix.origin;
  joined.prefixSize_ = prefix.elements_.size();
  joined.isFromText_ = path.isFromText_;
  for (Element element : path.elements_) {
    element.firstKey += prefix.keys_.size();
    joined.elements_.push_back(element);
  }
  joined.keys_.insert(joined.keys_.end(), path.keys_.begin(), path.keys_.end());
  joined.texts_.insert(joined.texts_.end(), path.texts_.begin(), path.texts_.end());
  return joined;
}

}  // namespace Gnmi
