#include "gnmi/Path.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Gnmi {
namespace {

/** What a backslash may stand before. */
constexpr std::string_view escapable = "\\/[]=:";

/** A name or a value, as the grammar has it. */
struct Token {
  /** Its name in errors; empty where it may be empty itself. */
  std::string_view name;
  /** The bytes that end it. */
  std::string_view ends;
  /** Every byte to stop at: those that end it, those that it must not hold, and the backslash. */
  std::string_view stops;
  /** What is missing before a byte that it must not hold. */
  std::string_view missing;
};

constexpr Token elementName = {"the name of an element", "/[", "/[]\\", "'[' before the name of a key"};
constexpr Token keyName = {"the name of a key", "=", "=[]\\", "'=' after the name of a key"};
constexpr Token value = {"", "]", "]\\", ""};

/** The first byte of the rest of a text, for a message. */
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

class Parser {
 public:
  explicit Parser(std::string_view text) : text_(text) {}

  std::expected<Path, PathError> path() {
    if (!readPath()) {
      return std::unexpected(std::move(error_));
    }
    return std::move(read_.before);
  }

  std::expected<UnfinishedPath, PathError> unfinishedPath() {
    // What is only missing at the end is still to be typed.
    if (!readPath() && error_.offset != text_.size()) {
      return std::unexpected(std::move(error_));
    }
    std::vector<Element>& elements = read_.before.elements;
    if (read_.end == End::KeyName || read_.end == End::Value) {
      elements.back().keys.pop_back();
    } else if (read_.end == End::ElementName && !elements.empty() && elements.back().at == read_.at) {
      elements.pop_back();
    }
    return std::move(read_);
  }

 private:
  using End = UnfinishedPath::End;

  bool readPath() {
    if (!readOrigin()) {
      return false;
    }
    if (next() == '/') {
      ++at_;
    }
    begin(End::ElementName);
    while (at_ != text_.size()) {
      if (!readElement()) {
        return false;
      }
      if (at_ != text_.size()) {
        if (!take('/', "'/' or '[' after a key")) {
          return false;
        }
        begin(End::ElementName);
      }
    }
    return true;
  }

  bool readOrigin() {
    std::size_t const slash = text_.find_first_of("/[\\");
    if (slash == std::string_view::npos || slash == 0 || text_[slash] != '/' || text_[slash - 1] != ':') {
      return true;
    }
    std::string_view const origin = text_.substr(0, slash - 1);
    if (origin.empty()) {
      return fail("an origin before ':'");
    }
    if (std::size_t const refused = origin.find_first_of("]="); refused != std::string_view::npos) {
      at_ = refused;
      return fail("an origin without ']' and '='");
    }
    read_.before.origin = origin;
    at_ = slash;
    return true;
  }

  bool readElement() {
    Element& element = read_.before.elements.emplace_back();
    element.at = at_;
    if (!readToken(element.name, elementName)) {
      return false;
    }
    while (next() == '[') {
      ++at_;
      Key& key = element.keys.emplace_back();
      key.nameAt = begin(End::KeyName);
      if (!readToken(key.name, keyName) || !take('=', keyName.missing)) {
        return false;
      }
      key.valueAt = begin(End::Value);
      if (!readToken(key.value, value) || !take(']', "']' after the value")) {
        return false;
      }
      begin(End::AfterKey);
    }
    return true;
  }

  /** Up to one of the bytes that end it, or to the end of the text. */
  bool readToken(std::string& text, Token const& token) {
    for (;;) {
      std::size_t const stop = std::min(text_.find_first_of(token.stops, at_), text_.size());
      text += text_.substr(at_, stop - at_);
      at_ = stop;
      if (at_ == text_.size() || token.ends.find(text_[at_]) != std::string_view::npos) {
        break;
      }
      if (text_[at_] != '\\') {
        return fail(text.empty() ? token.name : token.missing);
      }
      ++at_;
      if (at_ == text_.size() || escapable.find(text_[at_]) == std::string_view::npos) {
        return fail(R"(one of \ / [ ] = : after '\')");
      }
      text += text_[at_++];
    }
    return !text.empty() || token.name.empty() || fail(token.name);
  }

  bool take(char byte, std::string_view what) {
    if (next() != byte) {
      return fail(what);
    }
    ++at_;
    return true;
  }

  /** NUL at the end of the text. No caller asks for a NUL. */
  char next() const { return at_ == text_.size() ? '\0' : text_[at_]; }

  std::size_t begin(End end) {
    read_.end = end;
    read_.at = at_;
    return at_;
  }

  bool fail(std::string_view what) {
    error_ = {.offset = at_, .text = "expected " + std::string(what) + "; found " + firstOf(text_.substr(at_))};
    return false;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  /** The path so far, and what its last byte belongs to. */
  UnfinishedPath read_;
  PathError error_;
};

void append(std::string& text, std::string_view token, std::string_view escaped) {
  for (char const byte : token) {
    if (escaped.find(byte) != std::string_view::npos) {
      text += '\\';
    }
    text += byte;
  }
}

}  // namespace

std::expected<Path, PathError> parsePath(std::string_view text) { return Parser(text).path(); }

std::expected<UnfinishedPath, PathError> parseUnfinishedPath(std::string_view text) {
  return Parser(text).unfinishedPath();
}

std::string formatPath(Path const& path) {
  std::string text;
  if (!path.origin.empty()) {
    text = path.origin + ':';
  }
  for (Element const& element : path.elements) {
    text += '/';
    append(text, element.name, "\\/[]");
    for (Key const& key : element.keys) {
      text += '[';
      append(text, key.name, "\\[]=");
      text += '=';
      append(text, key.value, "\\]");
      text += ']';
    }
  }
  return path.elements.empty() ? text + '/' : text;
}

}  // namespace Gnmi
