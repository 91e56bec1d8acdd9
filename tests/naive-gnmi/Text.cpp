// Paths as text and as messages, a byte at a time.
#include <algorithm>
#include <array>

#include "tests/naive-gnmi/Oracle.h"
#include "text/Messages.h"

namespace NaiveGnmi {
namespace {

using Gnmi::Error;
using Gnmi::ErrorClass;

/** Thrown by the reader, and turned into a result by those who call it. */
struct Refused {
  Error error;
};

class Reader {
 public:
  explicit Reader(std::string_view text) : text_(text) {}

  Path path() {
    readOrigin();
    if (is('/')) {
      ++at_;
    }
    while (!isEnd()) {
      readElement();
      if (!isEnd() && !is('/')) {
        refuse("'/' or '[' after a key");
      }
      at_ += isEnd() ? 0 : 1;
    }
    path_.isFromText = true;
    return path_;
  }

  Element element() {
    readElement();
    if (!isEnd()) {
      refuse("one element alone");
    }
    return path_.elements.back();
  }

 private:
  bool isEnd() const { return at_ == text_.size(); }
  bool is(char byte) const { return !isEnd() && text_[at_] == byte; }

  [[noreturn]] void refuse(std::string const& expected) const {
    std::string found = "the end";
    if (!isEnd()) {
      char const byte = text_[at_];
      std::array<char, 16> hexadecimal = {};
      std::snprintf(hexadecimal.data(), hexadecimal.size(), "byte 0x%02x", static_cast<unsigned char>(byte));
      found = byte >= ' ' && byte <= '~' ? std::string("'") + byte + "'" : hexadecimal.data();
    }
    fail(ErrorClass::Malformed, "expected " + expected + "; found " + found);
  }
  [[noreturn]] void fail(ErrorClass kind, std::string text, std::string key = "") const {
    std::size_t const element = path_.elements.empty() ? 0 : path_.elements.size() - 1;
    throw Refused{{.kind = kind, .text = std::move(text), .element = element, .key = std::move(key), .offset = at_}};
  }

  void readOrigin() {
    std::size_t const slash = text_.find('/');
    if (slash == std::string_view::npos || slash == 0 || text_[slash - 1] != ':') {
      return;
    }
    std::string const origin(text_.substr(0, slash - 1));
    if (origin.find_first_of("[\\") != std::string::npos) {
      return;  // The slash stands within a key, or an escape is in the way: there is no origin.
    }
    if (origin.empty()) {
      refuse("an origin before ':'");
    }
    for (; at_ != origin.size(); ++at_) {
      if (is(']') || is('=')) {
        refuse("an origin without ']' and '='");
      }
    }
    path_.origin = origin;
    at_ = slash;
  }

  void readElement() {
    path_.elements.push_back({.name = "", .at = at_});
    Element& element = path_.elements.back();
    element.name = readUntil("/[", "]");
    if (element.name.empty()) {
      refuse("the name of an element");
    }
    if (is(']')) {
      refuse("'[' before the name of a key");
    }
    while (is('[')) {
      ++at_;
      Key key{.name = "", .value = "", .nameAt = at_};
      key.name = readUntil("=", "[]");
      if (key.name.empty()) {
        refuse("the name of a key");
      }
      if (!is('=')) {
        refuse("'=' after the name of a key");
      }
      key.valueAt = ++at_;
      key.value = readUntil("]", "");
      if (!is(']')) {
        refuse("']' after the value");
      }
      ++at_;
      for (Key const& other : element.keys) {
        if (other.name == key.name) {
          at_ = key.nameAt;
          fail(ErrorClass::KeyTwice, "key " + Text::inQuotes(key.name) + " is given twice", key.name);
        }
      }
      element.keys.push_back(key);
    }
  }

  std::string readUntil(std::string const& ends, std::string const& refused) {
    std::string text;
    while (!isEnd() && (ends + refused).find(text_[at_]) == std::string::npos) {
      if (!is('\\')) {
        text += text_[at_++];
        continue;
      }
      std::size_t const backslash = at_++;
      if (is('u') || is('U')) {
        text += readCharacter(backslash);
      } else if (is('n') || is('r')) {
        text += text_[at_++] == 'n' ? '\n' : '\r';
      } else if (is('\\') || is('/') || is('[') || is(']') || is('=') || is(':')) {
        text += text_[at_++];
      } else {
        refuse(R"(one of \ / [ ] = : n r u U after '\')");
      }
    }
    return text;
  }

  std::string readCharacter(std::size_t backslash) {
    bool const isShort = text_[at_++] == 'u';
    std::uint64_t number = 0;
    bool isGood = true;
    for (int left = isShort ? 4 : 8; left != 0; --left) {
      std::string_view const digits = "0123456789abcdef";
      char const byte = isEnd() ? '?' : text_[at_++];
      std::size_t const digit = digits.find(byte >= 'A' && byte <= 'F' ? static_cast<char>(byte + 32) : byte);
      isGood = isGood && digit != std::string_view::npos;
      number = number * 16 + (isGood ? digit : 0);
    }
    if (!isGood || number > 0x10FFFF || (number >= 0xD800 && number <= 0xDFFF)) {
      at_ = backslash;
      fail(ErrorClass::Malformed, std::string("expected ") + (isShort ? "four" : "eight") +
                                      " hexadecimal digits after '\\" + (isShort ? "u" : "U") +
                                      "', of a character that is no surrogate and at most 10ffff");
    }
    auto const byte = [](std::uint64_t bits) { return static_cast<char>(bits); };
    if (number < 0x80) {
      return {byte(number)};
    }
    std::string rest;
    for (; number >= (rest.empty() ? 0x40U : rest.size() == 1 ? 0x20U : 0x10U); number /= 64) {
      rest.insert(rest.begin(), byte(0x80 | number % 64));
    }
    std::uint64_t const lead = rest.size() == 1 ? 0xC0 : rest.size() == 2 ? 0xE0 : 0xF0;
    return byte(lead | number) + rest;
  }

  std::string_view text_;
  std::size_t at_ = 0;
  Path path_;
};

std::string escaped(std::string_view text, std::string_view special) {
  std::string escaped;
  for (char const byte : text) {
    escaped += byte == '\n'                                   ? "\\n"
               : byte == '\r'                                 ? "\\r"
               : special.find(byte) != std::string_view::npos ? std::string("\\") + byte
                                                              : std::string(1, byte);
  }
  return escaped;
}

}  // namespace

Result<Path> readText(std::string_view text) try { return Reader(text).path(); } catch (Refused const& refused) {
  return std::unexpected(refused.error);
}

Result<Path> readMessage(Path const& message, std::vector<std::string> const& strings) {
  Path path;
  path.origin = message.origin;
  path.target = message.target;
  auto const malformed = [&](std::string text) {
    return std::unexpected(
        Error{.kind = ErrorClass::Malformed, .text = std::move(text), .element = path.elements.size()});
  };
  for (Element element : message.elements) {
    if (element.name.empty()) {
      return malformed("the element has no name");
    }
    std::ranges::sort(element.keys, {}, &Key::name);
    if (!element.keys.empty() && element.keys.front().name.empty()) {
      return malformed("a key of the element has no name");
    }
    path.elements.push_back(element);
  }
  if (path.elements.empty()) {
    for (std::string const& text : strings) {
      try {
        path.elements.push_back(Reader(text).element());
      } catch (Refused& refused) {
        refused.error.element = path.elements.size();
        refused.error.offset.reset();
        return std::unexpected(refused.error);
      }
    }
  }
  return path;
}

Result<Path> joined(Path const& prefix, Path const& path) {
  std::string wrong;
  if (!path.target.empty()) {
    wrong = "target " + Text::inQuotes(path.target) + " stands in a path; it belongs in the prefix";
  } else if (!prefix.origin.empty() && !path.origin.empty()) {
    wrong = "origin " + Text::inQuotes(path.origin) + " stands in the path, and " + Text::inQuotes(prefix.origin) +
            " in the prefix; write it once";
  } else if (!path.origin.empty() && !prefix.elements.empty()) {
    wrong = "the path has an origin, " + Text::inQuotes(path.origin) +
            ", so the prefix can have no elements; move the origin into the prefix";
  }
  if (!wrong.empty()) {
    return std::unexpected(Error{.kind = ErrorClass::Conflict, .text = wrong, .element = path.elements.size()});
  }
  Path whole = path;
  whole.origin += prefix.origin;
  whole.target = prefix.target;
  whole.elements.insert(whole.elements.begin(), prefix.elements.begin(), prefix.elements.end());
  whole.prefixSize = prefix.elements.size();
  return whole;
}

std::string writeText(Path const& path) {
  std::string text = path.origin.empty() ? "" : path.origin + ":";
  for (Element element : path.elements) {
    text += "/" + escaped(element.name, "\\/[]");
    std::ranges::sort(element.keys, {}, &Key::name);
    for (Key const& key : element.keys) {
      text += "[" + escaped(key.name, "\\[]=") + "=" + escaped(key.value, "\\]") + "]";
    }
  }
  return path.elements.empty() ? text + "/" : text;
}

}  // namespace NaiveGnmi
