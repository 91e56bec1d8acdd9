// Rows of cells as text: JSON, tab-separated or comma-separated.
//
//   format   a row                            a text              a number  none    the end of a row
//   Json     one object, names in each row    "a\tb"              7         null    LF
//   Tsv      cells with a tab between them    a\tb, as written    7         \N      LF
//   Csv      cells with a comma between them  "a""b"              7                 CR LF
//
// Tsv is what ClickHouse calls TabSeparated: backslash, tab, LF, CR, NUL, backspace and form feed come with a
// backslash, so a row is one line. Csv is RFC 4180, every text in quotes: an empty text differs from none, and a text
// with a line end makes a row of several lines. Every output is UTF-8: bytes that are none become U+FFFD.
//
// Threads: a writer belongs to one thread. It throws `std::bad_alloc` only. Not checked: that each row has the
// same cells.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace ZynKey {

enum class RowFormat : std::uint8_t { Json, Tsv, Csv };

/** Appends `text` to `out` as a JSON string, with its quotes. */
void appendJsonString(std::string_view text, std::string& out);

/** How many bytes in front are characters of UTF-8: all of them, where the text is UTF-8. */
std::size_t utf8Prefix(std::string_view text);
inline constexpr std::string_view noUtf8 = "a byte that is no UTF-8";
/** Each byte that is no UTF-8 as U+FFFD. */
std::string toUtf8(std::string_view text);

class CellWriter {
 public:
  explicit CellWriter(RowFormat format) : format_(format) {}

  /** The row goes to the end of `out`, which stays where it is until `end`. */
  void start(std::string& out);
  void end();

  void none(std::string_view name);
  void text(std::string_view name, std::string_view value);
  /** A number, `true` or `false`, as JSON writes it. */
  void literal(std::string_view name, std::string_view value);
  /** An object or a list, as JSON text in one line. */
  void json(std::string_view name, std::string_view value);

 private:
  void name(std::string_view name);

  RowFormat format_;
  bool isFirst_ = true;
  std::string* out_ = nullptr;
};

}  // namespace ZynKey
