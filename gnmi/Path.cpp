#include "gnmi/Path.h"

#include <algorithm>
#include <cstdint>
#include <utility>

namespace Gnmi {
namespace {

constexpr std::string_view special = "\\/[]=:";

struct Part {
  /** What it is, where it may not be empty. */
  std::string_view what;
  std::string_view ends;
  /** What a refused byte stands in the place of. */
  std::string_view instead;
  /** `ends`, what is refused, and the backslash. */
  std::string_view stops;
};

constexpr Part elementName = {"the name of an element", "/[", "'[' before the name of a key", "/[]\\"};
constexpr Part keyName = {"the name of a key", "=", "'=' after the name of a key", "=[]\\"};
constexpr Part value = {"", "]", "", "]\\"};

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
    if (!readText(element.name, elementName)) {
      return false;
    }
    while (next() == '[') {
      ++at_;
      Key& key = element.keys.emplace_back();
      key.nameAt = at_;
      if (!readText(key.name, keyName) || !take('=', keyName.instead)) {
        return false;
      }
      key.valueAt = at_;
      if (!readText(key.value, value) || !take(']', "']' after the value")) {
        return false;
      }
    }
    return true;
  }

  /** Up to one of the bytes that end it, or to the end of the text. */
  bool readText(std::string& text, Part const& part) {
    for (;;) {
      std::size_t const stop = std::min(text_.find_first_of(part.stops, at_), text_.size());
      text += text_.substr(at_, stop - at_);
      at_ = stop;
      if (at_ == text_.size() || part.ends.find(text_[at_]) != std::string_view::npos) {
        break;
      }
      if (text_[at_] != '\\') {
        return fail(text.empty() ? part.what : part.instead);
      }
      ++at_;
      if (at_ == text_.size() || special.find(text_[at_]) == std::string_view::npos) {
        return fail(R"(one of \ / [ ] = : after '\')");
      }
      text += text_[at_++];
    }
    return !text.empty() || part.what.empty() || fail(part.what);
  }

  bool take(char byte, std::string_view what) {
    if (next() != byte) {
      return fail(what);
    }
    ++at_;
    return true;
  }

  /** NUL at the end; nobody asks for a NUL. */
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
