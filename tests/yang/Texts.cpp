#include "tests/yang/Texts.h"

#include <libyang/plugins_types.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <span>
#include <string_view>

namespace YangTest {
namespace {

using namespace std::string_literals;

std::size_t below(Random& random, std::size_t end) {
  return std::uniform_int_distribution<std::size_t>(0, end - 1)(random);
}

template <typename List>
auto const& oneOf(List const& list, Random& random) {
  return list[below(random, std::size(list))];
}

template <typename T>
std::span<T const> all(T const* array) {
  return {array, LY_ARRAY_COUNT(array)};
}

// ---- patterns

class PatternWriter {
 public:
  PatternWriter(std::string_view pattern, Random& random) : rest_(pattern), random_(random) {}

  std::string alternatives() {
    std::vector<std::string> texts(1);
    while (!rest_.empty() && rest_.front() != ')') {
      if (rest_.front() == '|') {
        rest_.remove_prefix(1);
        texts.emplace_back();
        continue;
      }
      // The text of one piece is written as often as its quantifier may ask for, each time anew.
      std::string_view const piece = rest_;
      std::string const first = atom();
      std::string_view const afterAtom = rest_;
      auto const [least, most] = quantifier();
      std::string_view const afterPiece = rest_;
      std::size_t const times = least + below(random_, std::min<std::size_t>(most - least, 3) + 1);
      for (std::size_t i = 0; i < times; ++i) {
        texts.back() += i == 0 ? first : again(piece);
      }
      (void)afterAtom;
      rest_ = afterPiece;
    }
    return oneOf(texts, random_);
  }

 private:
  std::string again(std::string_view piece) {
    rest_ = piece;
    return atom();
  }

  char take() {
    char const c = rest_.empty() ? 'x' : rest_.front();
    rest_.remove_prefix(rest_.empty() ? 0 : 1);
    return c;
  }

  std::string atom() {
    char const c = take();
    switch (c) {
      case '(': {
        std::string text = alternatives();
        take();
        return text;
      }
      case '[':
        return characterClass();
      case '.':
        return std::string(1, oneOf("abc019.:/-_%"s, random_));
      case '\\':
        return std::string(1, oneOf(escape(), random_));
      default:
        return std::string(1, c);
    }
  }

  std::string escape() {
    switch (char const c = take()) {
      case 'd':
        return "0123456789";
      case 's':
        return " \t\n";
      case 'S':
      case 'w':
      case 'i':
      case 'c':
        return "abcxyzABC019";
      case 'n':
        return "\n";
      case 't':
        return "\t";
      case 'p':
      case 'P': {
        bool const isNumber = rest_.starts_with("{N");
        rest_.remove_prefix(std::min(rest_.find('}') + 1, rest_.size()));
        return isNumber ? "0123456789" : "abcxyzABC";
      }
      default:
        return std::string(1, c);
    }
  }

  std::string characterClass() {
    bool const isNegative = rest_.starts_with('^');
    rest_.remove_prefix(isNegative ? 1 : 0);
    std::string members;
    for (bool isFirst = true; !rest_.empty() && (rest_.front() != ']' || isFirst); isFirst = false) {
      if (rest_.starts_with("-[")) {
        rest_.remove_prefix(2);
        (void)characterClass();
        continue;
      }
      char const from = rest_.front();
      rest_.remove_prefix(1);
      std::string const one = from == '\\' ? escape() : std::string(1, from);
      if (one.size() == 1 && rest_.starts_with('-') && rest_.size() > 1 && rest_[1] != ']' && rest_[1] != '[') {
        rest_.remove_prefix(1);
        for (int c = static_cast<unsigned char>(one.front()); c <= static_cast<unsigned char>(rest_.front()); ++c) {
          members += static_cast<char>(c);
        }
        rest_.remove_prefix(1);
      } else {
        members += one;
      }
    }
    take();
    if (isNegative) {
      std::string others;
      for (char c = ' '; c < '\x7F'; ++c) {
        if (!members.contains(c)) {
          others += c;
        }
      }
      members = others;
    }
    return members.empty() ? "" : std::string(1, oneOf(members, random_));
  }

  std::pair<std::size_t, std::size_t> quantifier() {
    constexpr std::size_t many = 1000;
    char const c = rest_.empty() ? '\0' : rest_.front();
    if (c != '?' && c != '*' && c != '+' && c != '{') {
      return {1, 1};
    }
    rest_.remove_prefix(1);
    if (c != '{') {
      return {c == '+' ? 1 : 0, c == '?' ? 1 : many};
    }
    std::size_t const least = number();
    if (take() == '}') {
      return {least, least};
    }
    std::size_t const most = rest_.starts_with('}') ? many : number();
    take();
    return {least, std::max(least, most)};
  }

  std::size_t number() {
    std::size_t value = 0;
    while (!rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9') {
      value = value * 10 + static_cast<std::size_t>(take() - '0');
    }
    return value;
  }

  std::string_view rest_;
  Random& random_;
};

// ---- types

std::string address4(Random& random) {
  std::string text;
  for (int i = 0; i < 4; ++i) {
    text += (i == 0 ? "" : ".") + std::to_string(below(random, below(random, 8) == 0 ? 300 : 256));
  }
  return text;
}

std::string address6(Random& random) {
  std::string text;
  std::size_t const gap = below(random, 9);
  for (std::size_t i = 0; i < 8; ++i) {
    if (i == gap) {
      text += "::";
      i += below(random, 4);
      continue;
    }
    static std::string const digits = "0123456789abcdefABCDEF";
    text += text.empty() || text.ends_with(':') ? "" : ":";
    for (std::size_t n = below(random, 4) + 1; n != 0; --n) {
      text += oneOf(digits, random);
    }
  }
  return below(random, 8) == 0 ? "::ffff:" + address4(random) : text;
}

std::string address(std::string_view plugin, Random& random) {
  bool const isFour = plugin.contains("ipv4") || (!plugin.contains("ipv6") && below(random, 2) == 0);
  std::string text = isFour ? address4(random) : address6(random);
  if (below(random, 4) == 0) {
    text = isFour ? "224.0.1." + std::to_string(below(random, 256)) : "ff0e::" + std::to_string(below(random, 9999));
  }
  if (plugin.contains("prefix")) {
    return text + "/" + std::to_string(below(random, isFour ? 34 : 130));
  }
  static std::string const zones[] = {"%eth0", "%1", "%\u00e9", "%", "%a b"};
  return below(random, 3) == 0 ? text + oneOf(zones, random) : text;
}

std::string characters(std::size_t count, Random& random) {
  static std::string const some[] = {"a",      "Z",          "0",    " ",    "-",    "\u00e9",
                                     "\u20ac", "\U0001F600", "\xFF", "\xC3", "\x80", "\xF4"};
  std::string text;
  bool const isPlain = below(random, 2) == 0;
  for (; count != 0; --count) {
    text += isPlain ? some[below(random, 5)] : oneOf(some, random);
  }
  return text;
}

std::string number(lysc_range const* range, bool isSigned, Random& random) {
  std::vector<std::string> near = {"0",
                                   "1",
                                   "-1",
                                   "127",
                                   "128",
                                   "255",
                                   "256",
                                   "-128",
                                   "-129",
                                   "32767",
                                   "32768",
                                   "-32768",
                                   "-32769",
                                   "65535",
                                   "65536",
                                   "2147483647",
                                   "2147483648",
                                   "-2147483648",
                                   "-2147483649",
                                   "4294967295",
                                   "4294967296",
                                   "9223372036854775807",
                                   "9223372036854775808",
                                   "-9223372036854775808",
                                   "-9223372036854775809",
                                   "18446744073709551615",
                                   "18446744073709551616",
                                   "99999999999999999999999"};
  if (range != nullptr) {
    for (auto const& part : all(range->parts)) {
      for (std::uint64_t const end : {part.min_u64, part.max_u64}) {
        for (std::uint64_t const n : {end - 1, end, end + 1}) {
          near.push_back(isSigned ? std::to_string(static_cast<std::int64_t>(n)) : std::to_string(n));
          near.push_back(near.back());
        }
      }
    }
  }
  std::string const text = below(random, 3) == 0 ? std::to_string(random() >> below(random, 64)) : oneOf(near, random);
  static std::string const before[] = {"", "", "", " ", "+", "0", "00", "\t", "-", " +0", "0x", "\v\f"};
  static std::string const behind[] = {"", "", "", "", " ", "\n", "\r\f", ".0", "e1", " 1"};
  return oneOf(before, random) + text + oneOf(behind, random);
}

std::string decimal(lysc_type const& type, Random& random) {
  auto const& dec = reinterpret_cast<lysc_type_dec const&>(type);
  std::size_t const digits = dec.fraction_digits;
  std::string text =
      below(random, 2) == 0 ? number(dec.range, true, random) : std::to_string(random() >> below(random, 64));
  std::size_t const places = below(random, digits + 2);
  if (below(random, 3) != 0 && text.size() > places) {
    text.insert(text.size() - places, ".");
  }
  static std::string const before[] = {"", "", "-", "+", " ", "0"};
  static std::string const behind[] = {"", "", "0", "000000000000000000000", " "};
  return oneOf(before, random) + text + oneOf(behind, random);
}

std::string identity(lysc_type const& type, Random& random) {
  std::vector<lysc_ident const*> found;
  for (lysc_ident const* const base : all(reinterpret_cast<lysc_type_identityref const&>(type).bases)) {
    found.push_back(base);
  }
  for (std::size_t i = 0; i < found.size() && i < 1000; ++i) {
    for (lysc_ident const* const derived : all(found[i]->derived)) {
      found.push_back(derived);
    }
  }
  lysc_ident const* const one = oneOf(found, random);
  static std::string const prefixes[] = {"frr-routing:", ":", "nowhere:", "yang:", " "};
  std::size_t const how = below(random, 8);
  return (how < 4 ? one->module->name + ":"s : how < 7 ? "" : oneOf(prefixes, random)) + one->name;
}

std::string bits(lysc_type const& type, Random& random) {
  auto const items = all(reinterpret_cast<lysc_type_bits const&>(type).bits);
  std::string text;
  for (std::size_t n = below(random, items.size() + 1); n != 0; --n) {
    static std::string const blanks[] = {" ", "  ", "\t", "\n"};
    text += (text.empty() ? "" : oneOf(blanks, random)) + oneOf(items, random).name;
  }
  return text;
}

std::string base64(Random& random) {
  static std::string const letters = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  std::string text;
  for (std::size_t n = below(random, 13); n != 0; --n) {
    text += oneOf(letters, random);
  }
  static std::string const ends[] = {"", "=", "==", "==="};
  return text + oneOf(ends, random);
}

std::string restrictedString(lysc_type const& type, Random& random) {
  auto const& string = reinterpret_cast<lysc_type_str const&>(type);
  if (below(random, 2) == 0) {
    if (std::string_view const plugin = type.plugin->id; plugin.contains("ip")) {
      return address(plugin, random);
    }
  }
  auto const patterns = all(string.patterns);
  if (!patterns.empty() && below(random, 4) != 0) {
    return likePattern(oneOf(patterns, random)->expr, random);
  }
  std::size_t length = below(random, 12);
  if (string.length != nullptr) {
    auto const& part = oneOf(all(string.length->parts), random);
    std::uint64_t const end = below(random, 2) == 0 ? part.min_u64 : std::min<std::uint64_t>(part.max_u64, 300);
    length = static_cast<std::size_t>(end) + below(random, 3);
    length -= length == 0 ? 0 : 1;
  }
  return characters(length, random);
}

std::string oneText(lysc_type const& type, Random& random) {
  switch (type.basetype) {
    case LY_TYPE_LEAFREF:
      return oneText(*reinterpret_cast<lysc_type_leafref const&>(type).realtype, random);
    case LY_TYPE_UNION:
      return oneText(*oneOf(all(reinterpret_cast<lysc_type_union const&>(type).types), random), random);
    case LY_TYPE_STRING:
      return restrictedString(type, random);
    case LY_TYPE_ENUM:
      return oneOf(all(reinterpret_cast<lysc_type_enum const&>(type).enums), random).name;
    case LY_TYPE_BOOL:
      return below(random, 2) == 0 ? "true" : "false";
    case LY_TYPE_IDENT:
      return identity(type, random);
    case LY_TYPE_BITS:
      return bits(type, random);
    case LY_TYPE_BINARY:
      return base64(random);
    case LY_TYPE_DEC64:
      return decimal(type, random);
    case LY_TYPE_EMPTY:
      return "";
    case LY_TYPE_INST: {
      static std::string const paths[] = {"/kinds:kinds/int8[id='5']/id",
                                          "/kinds:kinds",
                                          " /kinds:kinds ",
                                          "/kinds:nothing",
                                          "/kinds:kinds/kinds:int8",
                                          "/kinds:kinds/empty[id=''][also=\"07\"]"};
      return oneOf(paths, random);
    }
    default:
      return number(reinterpret_cast<lysc_type_num const&>(type).range, type.basetype >= LY_TYPE_INT8, random);
  }
}

std::string mutated(std::string text, Random& random) {
  static std::string const pieces[] = {" ", "\n", "\t", "0", "9",      "a",    "A",    ".", ":",
                                       "/", "%",  "-",  "+", "\u00e9", "\xFF", "\xC3", "'", "\""};
  std::size_t const at = below(random, text.size() + 1);
  switch (below(random, 6)) {
    case 0:
      return text.substr(0, at);
    case 1:
      return text.substr(at);
    case 2:
      return text.insert(at, oneOf(pieces, random));
    case 3:
      return text + text;
    case 4:
      return text.replace(at, 1, oneOf(pieces, random));
    default:
      std::ranges::transform(text, text.begin(), [](char c) {
        return c >= 'a' && c <= 'z'   ? static_cast<char>(c - 'a' + 'A')
               : c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a')
                                      : c;
      });
      return text;
  }
}

}  // namespace

std::string likePattern(std::string_view pattern, Random& random) {
  return PatternWriter(pattern, random).alternatives();
}

std::vector<std::string> textsFor(lysc_type const& type, Random& random, std::size_t count) {
  std::vector<std::string> texts = {"",       " ",        "0",     "5",          "-5",         "true",
                                    "*",      "a",        "ab",    "eth0",       "10.0.0.1",   "::1",
                                    "a:b",    "{}",       "%s",    "10.0.0.0/8", "\n",         "__",
                                    "\u00e9", "\xFF\xFE", "'red'", "/",          "127.0.0.1/", "fe80::1%eth0"};
  while (texts.size() < count) {
    texts.push_back(oneText(type, random));
    if (below(random, 3) == 0) {
      texts.push_back(mutated(texts.back(), random));
    }
  }
  std::erase_if(texts, [](std::string const& text) { return text.contains('\0'); });
  return texts;
}

}  // namespace YangTest
