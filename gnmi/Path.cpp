#include "gnmi/Path.h"

#include <cstdint>
#include <utility>

namespace Gnmi {
namespace {

constexpr std::string_view special = "\\/[]=:";

std::string shown(std::string_view rest) {
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

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  std::expected<Path, PathError> path() {
    Path path;
    std::size_t const slash = text_.find_first_of("/[\\");
    if (slash != std::string_view::npos && slash != 0 && text_[slash] == '/' && text_[slash - 1] == ':') {
      path.origin = text_.substr(0, slash - 1);
      if (path.origin.empty()) {
        return std::unexpected(expected("an origin before ':'"));
      }
      at_ = path.origin.find_first_of("]=");
      if (at_ != std::string::npos) {
        return std::unexpected(expected("an origin without ']' and '='"));
      }
      at_ = slash;
    }
    if (next() == '/') {
      ++at_;
    }
    while (at_ != text_.size()) {
      Element& element = path.elements.emplace_back();
      if (!readElement(element)) {
        return std::unexpected(std::move(error_));
      }
      if (at_ != text_.size() && !take('/', "'/' or '[' after a key")) {
        return std::unexpected(std::move(error_));
      }
    }
    return path;
  }

 private:
  bool readElement(Element& element) {
    element.at = at_;
    if (!readText(element.name, "/[", "]", "'[' before the name of a key") ||
        (element.name.empty() && !fail("the name of an element"))) {
      return false;
    }
    while (next() == '[') {
      ++at_;
      Key& key = element.keys.emplace_back();
      key.nameAt = at_;
      if (!readText(key.name, "=", "[]", "'=' after the name of a key") ||
          (key.name.empty() && !fail("the name of a key")) || !take('=', "'=' after the name of a key")) {
        return false;
      }
      key.valueAt = at_;
      if (!readText(key.value, "]", "", "") || !take(']', "']' after the value")) {
        return false;
      }
    }
    return true;
  }

  /** Up to one of `ends` or the end of the text; `instead` is what one of `refused` stands in the place of. */
  bool readText(std::string& text, std::string_view ends, std::string_view refused, std::string_view instead) {
    for (; at_ != text_.size(); ++at_) {
      char const byte = text_[at_];
      if (ends.find(byte) != std::string_view::npos) {
        return true;
      }
      if (refused.find(byte) != std::string_view::npos) {
        return fail(instead);
      }
      if (byte == '\\') {
        ++at_;
        if (at_ == text_.size() || special.find(text_[at_]) == std::string_view::npos) {
          return fail(R"(one of \ / [ ] = : after '\')");
        }
      }
      text += text_[at_];
    }
    return true;
  }

  bool take(char byte, std::string_view what) {
    if (next() != byte || at_ == text_.size()) {
      return fail(what);
    }
    ++at_;
    return true;
  }

  /** NUL at the end, which is told from a NUL in the text by the place. */
  char next() const { return at_ == text_.size() ? '\0' : text_[at_]; }

  PathError expected(std::string_view what) const {
    return {.offset = at_, .text = "expected " + std::string(what) + "; found " + shown(text_.substr(at_))};
  }

  bool fail(std::string_view what) {
    error_ = expected(what);
    return false;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  PathError error_;
};

void append(std::string& text, std::string_view part, std::string_view escaped) {
  for (char const byte : part) {
    if (escaped.find(byte) != std::string_view::npos) {
      text += '\\';
    }
    text += byte;
  }
}

}  // namespace

std::expected<Path, PathError> parsePath(std::string_view text) { return Reader(text).path(); }

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
