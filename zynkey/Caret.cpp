#include "zynkey/Caret.h"

#include <clocale>
#include <cwchar>

#include <algorithm>

#include "zynkey/Utf8.h"

namespace ZynKey {
namespace {

/** The C library's table of widths, whatever the user's locale is. Where there is none, a character is one column. */
class Widths {
 public:
  Widths() : locale_(::newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)), former_(::uselocale(locale_)) {}
  ~Widths() {
    ::uselocale(former_);
    if (locale_ != nullptr) {
      ::freelocale(locale_);
    }
  }
  Widths(Widths const&) = delete;
  Widths& operator=(Widths const&) = delete;

  /** -1 for what has no shape of its own. */
  int of(char32_t code) const {
    if (code < 0x80 || locale_ == nullptr) {
      return code < ' ' || (0x7F <= code && code < 0xA0) || code == noCharacter ? -1 : 1;
    }
    return code == noCharacter ? -1 : ::wcwidth(static_cast<wchar_t>(code));
  }

 private:
  locale_t locale_;
  locale_t former_;
};

struct Shown {
  std::string_view bytes;
  std::size_t offset;
  std::size_t column;
  std::size_t width;
};

/** Calls `use` with each character as it is shown. Answers how many columns there are. */
template <typename Use>
std::size_t eachCharacter(std::string_view text, Use use) {
  Widths const widths;
  std::size_t column = 0;
  for (std::size_t at = 0; at < text.size();) {
    auto const [code, size] = firstCharacter(text.substr(at));
    int const width = widths.of(code);
    Shown const shown{.bytes = width < 0 ? std::string_view("?") : text.substr(at, size),
                      .offset = at,
                      .column = column,
                      .width = width < 0 ? 1U : static_cast<unsigned>(width)};
    use(shown);
    column += shown.width;
    at += size;
  }
  return column;
}

}  // namespace

std::string caret(std::string_view text, std::size_t offset) {
  constexpr std::size_t width = 72;
  constexpr std::string_view cut = "...";
  // As many on one character as any script needs: those beyond take no columns, so that the width would not cut them.
  constexpr std::size_t mostCombining = 4;
  std::size_t caretColumn = 0;
  std::size_t const columns = eachCharacter(
      text, [&](Shown const& shown) { caretColumn = shown.offset <= offset ? shown.column : caretColumn; });
  caretColumn = offset >= text.size() ? columns : caretColumn;
  std::size_t const last = columns <= width ? 0 : columns - width;
  std::size_t const begin = std::min(caretColumn <= width / 2 ? 0 : caretColumn - width / 2, last);

  std::string line(begin == 0 ? "" : cut);
  std::size_t printed = line.size();
  std::size_t column = printed;
  std::size_t combining = 0;
  eachCharacter(text, [&](Shown const& shown) {
    combining = shown.width == 0 ? combining + 1 : 0;
    if (shown.column < begin || shown.column + shown.width > begin + width || combining > mostCombining) {
      return;
    }
    line += shown.bytes;
    printed += shown.width;
    column = shown.column + shown.width <= caretColumn ? printed : column;
  });
  line += begin == last ? "" : cut;
  return "  " + line + "\n  " + std::string(column, ' ') + "^\n";
}

}  // namespace ZynKey
