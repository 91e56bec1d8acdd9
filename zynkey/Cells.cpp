#include "zynkey/Cells.h"

#include <array>
#include <cstddef>

#include "zynkey/Utf8.h"

namespace ZynKey {
namespace {

constexpr std::string_view replacement = "\xEF\xBF\xBD";

/** What stands for a byte of ASCII; empty where it stands for itself. */
struct Escapes {
  std::array<std::array<char, 6>, 128> texts = {};
  std::array<std::uint8_t, 128> sizes = {};

  constexpr void set(char byte, std::string_view text) {
    auto const at = static_cast<unsigned char>(byte);
    for (std::size_t i = 0; i != text.size(); ++i) {
      texts[at][i] = text[i];
    }
    sizes[at] = static_cast<std::uint8_t>(text.size());
  }
};

/** Those that JSON and TSV have in common. */
constexpr void setShortEscapes(Escapes& escapes) {
  escapes.set('\\', "\\\\");
  escapes.set('\b', "\\b");
  escapes.set('\f', "\\f");
  escapes.set('\n', "\\n");
  escapes.set('\r', "\\r");
  escapes.set('\t', "\\t");
}

constexpr Escapes jsonEscapes = [] {
  constexpr std::string_view digits = "0123456789abcdef";
  Escapes escapes;
  for (char byte = 0; byte != ' '; ++byte) {
    std::array<char, 6> const code = {'\\',
                                      'u',
                                      '0',
                                      '0',
                                      digits[static_cast<unsigned char>(byte) / 16U],
                                      digits[static_cast<unsigned char>(byte) % 16U]};
    escapes.set(byte, {code.data(), code.size()});
  }
  escapes.set('"', "\\\"");
  setShortEscapes(escapes);
  return escapes;
}();

constexpr Escapes tsvEscapes = [] {
  Escapes escapes;
  escapes.set('\0', "\\0");
  setShortEscapes(escapes);
  return escapes;
}();

constexpr Escapes csvEscapes = [] {
  Escapes escapes;
  escapes.set('"', "\"\"");
  return escapes;
}();

constexpr Escapes noEscapes;

void append(std::string_view text, Escapes const& escapes, std::string& out) {
  while (!text.empty()) {
    std::size_t plain = 0;
    while (plain != text.size() && static_cast<unsigned char>(text[plain]) < 0x80 &&
           escapes.sizes[static_cast<unsigned char>(text[plain])] == 0) {
      ++plain;
    }
    out += text.substr(0, plain);
    text.remove_prefix(plain);
    if (text.empty()) {
      return;
    }
    std::size_t size = 1;
    if (auto const byte = static_cast<unsigned char>(text.front()); byte < 0x80) {
      out.append(escapes.texts[byte].data(), escapes.sizes[byte]);
    } else {
      Character const character = firstCharacter(text);
      size = character.size;
      out += character.code == noCharacter ? replacement : text.substr(0, size);
    }
    text.remove_prefix(size);
  }
}

}  // namespace

void appendJsonString(std::string_view text, std::string& out) {
  out += '"';
  append(text, jsonEscapes, out);
  out += '"';
}

std::size_t utf8Prefix(std::string_view text) {
  for (std::size_t at = 0; at != text.size();) {
    if (static_cast<unsigned char>(text[at]) < 0x80) {
      ++at;
      continue;
    }
    Character const character = firstCharacter(text.substr(at));
    if (character.code == noCharacter) {
      return at;
    }
    at += character.size;
  }
  return text.size();
}

std::string toUtf8(std::string_view text) {
  std::string out;
  append(text, noEscapes, out);
  return out;
}

void CellWriter::start(std::string& out) {
  out_ = &out;
  isFirst_ = true;
}

void CellWriter::end() {
  if (format_ == RowFormat::Json) {
    *out_ += isFirst_ ? "{}\n" : "}\n";
  } else {
    *out_ += format_ == RowFormat::Tsv ? "\n" : "\r\n";
  }
}

void CellWriter::name(std::string_view name) {
  if (format_ != RowFormat::Json) {
    if (!isFirst_) {
      *out_ += format_ == RowFormat::Tsv ? '\t' : ',';
    }
  } else {
    *out_ += isFirst_ ? '{' : ',';
    appendJsonString(name, *out_);
    *out_ += ':';
  }
  isFirst_ = false;
}

void CellWriter::none(std::string_view name) {
  this->name(name);
  *out_ += format_ == RowFormat::Json ? "null" : format_ == RowFormat::Tsv ? "\\N" : "";
}

void CellWriter::text(std::string_view name, std::string_view value) {
  this->name(name);
  if (format_ == RowFormat::Tsv) {
    append(value, tsvEscapes, *out_);
    return;
  }
  if (format_ == RowFormat::Json) {
    appendJsonString(value, *out_);
    return;
  }
  *out_ += '"';
  append(value, csvEscapes, *out_);
  *out_ += '"';
}

void CellWriter::literal(std::string_view name, std::string_view value) {
  this->name(name);
  *out_ += value;
}

void CellWriter::json(std::string_view name, std::string_view value) {
  if (format_ == RowFormat::Json) {
    literal(name, value);
  } else {
    text(name, value);
  }
}

}  // namespace ZynKey
