// How each scalar kind is read and printed: a row of a table each.
#include <absl/strings/escaping.h>
#include <absl/time/civil_time.h>
#include <arpa/inet.h>
#include <endian.h>
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

#include "model/Zyn/Ipv4.h"
#include "model/Zyn/Objects.h"
#include "model/Zyn/Tables.h"
#include "text/Messages.h"

namespace Model {
namespace {

constexpr bool isDigit(char c) { return c >= '0' && c <= '9'; }
bool allDigits(std::string_view text) { return !text.empty() && std::ranges::all_of(text, isDigit); }

/** The whole text, or false. `number` is changed either way. */
template <typename Number>
bool wholeNumber(std::string_view text, Number& number) {
  char const* const end = text.data() + text.size();
  auto const [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end;
}

template <typename Number>
void appendNumber(Number number, std::string& out) {
  std::array<char, 32> buffer;
  out.append(buffer.data(), std::to_chars(buffer.data(), buffer.data() + buffer.size(), number).ptr);
}

bool readBool(TypeRow const&, std::string_view text, Content& content) {
  content.number = text == "true" ? 1 : 0;
  return text == "true" || text == "false";
}

void printBool(TypeRow const&, Scalar const& value, std::string& out) { out += value.number() != 0 ? "true" : "false"; }

bool readSigned(TypeRow const& row, std::string_view text, Content& content) {
  std::int64_t number = 0;
  if (!wholeNumber(text, number) || number < rangeOf(row.kind).min ||
      number > static_cast<std::int64_t>(rangeOf(row.kind).max)) {
    return false;
  }
  content.number = static_cast<std::uint64_t>(number);
  return true;
}

void printSigned(TypeRow const&, Scalar const& value, std::string& out) {
  appendNumber(static_cast<std::int64_t>(value.number()), out);
}

bool readUnsigned(TypeRow const& row, std::string_view text, Content& content) {
  return wholeNumber(text, content.number) && content.number <= rangeOf(row.kind).max;
}

void printUnsigned(TypeRow const&, Scalar const& value, std::string& out) { appendNumber(value.number(), out); }

/** Refused besides what is no number: infinities, and numbers so small that they would be rounded to zero. */
template <typename Float>
bool readFloat(TypeRow const&, std::string_view text, Content& content) {
  Float number = 0;
  if (!wholeNumber(text, number) || !std::isfinite(number)) {
    return false;
  }
  std::string_view const digits = text.substr(0, text.find_first_of("eE"));
  if (number == 0 && digits.find_first_of("123456789") != std::string_view::npos) {
    return false;
  }
  content.number = std::bit_cast<std::uint64_t>(static_cast<double>(number));
  return true;
}

template <typename Float>
void printFloat(TypeRow const&, Scalar const& value, std::string& out) {
  appendNumber(static_cast<Float>(std::bit_cast<double>(value.number())), out);
}

bool readString(TypeRow const&, std::string_view text, Content& content) {
  content.text = text;
  return true;
}

void printString(TypeRow const&, Scalar const& value, std::string& out) { out += value.text(); }

bool readBytes(TypeRow const&, std::string_view text, Content& content) {
  absl::string_view const encoded(text.data(), text.size());
  std::string bytes;
  // Abseil also takes blanks and missing padding, which printing would not give back.
  if (!absl::Base64Unescape(encoded, &bytes) || absl::Base64Escape(bytes) != encoded) {
    return false;
  }
  content.large = std::move(bytes);
  content.text = content.large;
  return true;
}

void printBytes(TypeRow const&, Scalar const& value, std::string& out) {
  out += absl::Base64Escape({value.text().data(), value.text().size()});
}

constexpr std::int64_t nanosecondsPerSecond = 1'000'000'000;

/** ".5" is 500,000,000 nanoseconds, and nothing is none. Removes it from the front of the text. */
bool readFraction(std::string_view& text, std::int64_t& nanoseconds) {
  nanoseconds = 0;
  if (!text.starts_with('.')) {
    return true;
  }
  text.remove_prefix(1);
  auto const end = std::ranges::find_if_not(text, isDigit);
  std::string_view const digits = text.substr(0, static_cast<std::size_t>(end - text.begin()));
  if (digits.size() > 9 || !wholeNumber(digits, nanoseconds)) {
    return false;
  }
  for (std::size_t i = digits.size(); i < 9; ++i) {
    nanoseconds *= 10;
  }
  text.remove_prefix(digits.size());
  return true;
}

void printFraction(std::uint64_t nanoseconds, std::string& out) {
  if (nanoseconds != 0) {
    out += fmt::format(".{:09}", nanoseconds);
    out.resize(out.find_last_not_of('0') + 1);
  }
}

/** False when the number of nanoseconds does not fit. */
bool addUp(std::int64_t seconds, std::int64_t nanoseconds, Content& content) {
  // Both get one sign, so that the product fits whenever the sum does, down to the smallest number.
  if (seconds < 0 && nanoseconds > 0) {
    ++seconds;
    nanoseconds -= nanosecondsPerSecond;
  }
  std::int64_t sum = 0;
  if (__builtin_mul_overflow(seconds, nanosecondsPerSecond, &sum) || __builtin_add_overflow(sum, nanoseconds, &sum)) {
    return false;
  }
  content.number = static_cast<std::uint64_t>(sum);
  return true;
}

bool readSeconds(TypeRow const&, std::string_view text, Content& content) {
  bool const isNegative = text.starts_with('-');
  text.remove_prefix(isNegative ? 1 : 0);
  std::string_view const whole = text.substr(0, text.find('.'));
  text.remove_prefix(whole.size());
  std::int64_t seconds = 0;
  std::int64_t nanoseconds = 0;
  if (!allDigits(whole) || !wholeNumber(whole, seconds) || !readFraction(text, nanoseconds) || !text.empty()) {
    return false;
  }
  return isNegative ? addUp(-seconds, -nanoseconds, content) : addUp(seconds, nanoseconds, content);
}

void printSeconds(TypeRow const&, Scalar const& value, std::string& out) {
  constexpr auto perSecond = static_cast<std::uint64_t>(nanosecondsPerSecond);
  bool const isNegative = static_cast<std::int64_t>(value.number()) < 0;
  std::uint64_t const nanoseconds = isNegative ? 0 - value.number() : value.number();
  out.append(isNegative ? 1 : 0, '-');
  appendNumber(nanoseconds / perSecond, out);
  printFraction(nanoseconds % perSecond, out);
}

/** Whether the text is like `pattern`, where '0' stands for any digit. */
bool isLike(std::string_view text, std::string_view pattern) {
  return std::ranges::equal(text, pattern, [](char c, char like) { return like == '0' ? isDigit(c) : c == like; });
}

int digitsAt(std::string_view text, std::size_t at, std::size_t count) {
  int number = 0;
  for (char const c : text.substr(at, count)) {
    number = number * 10 + (c - '0');
  }
  return number;
}

/** "Z" or "+02:00", in seconds east of UTC. */
bool readOffset(std::string_view text, std::int64_t& seconds) {
  seconds = 0;
  if (text == "Z" || text == "z") {
    return true;
  }
  if (!isLike(text, "+00:00") && !isLike(text, "-00:00")) {
    return false;
  }
  std::int64_t const hours = digitsAt(text, 1, 2);
  std::int64_t const minutes = digitsAt(text, 4, 2);
  seconds = (hours * 60 + minutes) * (text.front() == '-' ? -60 : 60);
  return hours < 24 && minutes < 60;
}

constexpr std::size_t dateAndTimeSize = 19;

/** A leap second is refused: nanoseconds since 1970 have no number for it. */
bool readTime(TypeRow const&, std::string_view text, Content& content) {
  std::string_view const dateAndTime = text.substr(0, dateAndTimeSize);
  if (!isLike(dateAndTime, "0000-00-00T00:00:00") && !isLike(dateAndTime, "0000-00-00t00:00:00")) {
    return false;
  }
  int const month = digitsAt(text, 5, 2);
  int const day = digitsAt(text, 8, 2);
  int const hour = digitsAt(text, 11, 2);
  int const minute = digitsAt(text, 14, 2);
  int const second = digitsAt(text, 17, 2);
  // Abseil turns a 31st of April into a 1st of May: what differs from the text was no date.
  absl::CivilSecond const local(digitsAt(text, 0, 4), month, day, hour, minute, second);
  text.remove_prefix(dateAndTimeSize);
  std::int64_t nanoseconds = 0;
  std::int64_t offset = 0;
  return local.month() == month && local.day() == day && local.hour() == hour && local.minute() == minute &&
         local.second() == second && readFraction(text, nanoseconds) && readOffset(text, offset) &&
         addUp(local - absl::CivilSecond(1970) - offset, nanoseconds, content);
}

void printTime(TypeRow const&, Scalar const& value, std::string& out) {
  auto [seconds, nanoseconds] = std::lldiv(static_cast<std::int64_t>(value.number()), nanosecondsPerSecond);
  if (nanoseconds < 0) {
    --seconds;
    nanoseconds += nanosecondsPerSecond;
  }
  absl::CivilSecond const utc = absl::CivilSecond(1970) + seconds;
  out += fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", utc.year(), utc.month(), utc.day(), utc.hour(),
                     utc.minute(), utc.second());
  printFraction(static_cast<std::uint64_t>(nanoseconds), out);
  out += 'Z';
}

/**
 * The first bytes of the number, most significant first, as what the value holds. They are written as one word: what
 * several stores have written is waited for when it is copied, which takes 2 % of a key.
 */
void setBytes(std::uint64_t number, std::size_t count, Content& content) {
  std::uint64_t const word = htobe64(number);
  std::memcpy(content.small.data(), &word, sizeof word);
  content.text = {content.small.data(), count};
}

constexpr std::size_t ipv6Bytes = 16;

/** Into the small buffer. */
bool readIpv6(std::string_view text, Content& content) {
  std::array<char, INET6_ADDRSTRLEN> terminated{};
  if (text.size() >= terminated.size() || text.contains('\0')) {
    return false;
  }
  std::ranges::copy(text, terminated.begin());
  return inet_pton(AF_INET6, terminated.data(), content.small.data()) == 1;
}

void printAddress(std::string_view bytes, std::string& out) {
  if (bytes.size() == 4) {
    // As `inet_ntop` does, which goes through `sprintf` for it.
    for (std::size_t i = 0; i != 4; ++i) {
      out += i == 0 ? "" : ".";
      appendNumber(static_cast<unsigned>(static_cast<std::uint8_t>(bytes[i])), out);
    }
    return;
  }
  std::array<char, INET6_ADDRSTRLEN> buffer{};
  out += inet_ntop(AF_INET6, bytes.data(), buffer.data(), buffer.size());
}

bool readIpAddress(TypeRow const&, std::string_view text, Content& content) {
  if (std::uint32_t address = 0; readIpv4(text, address)) {
    setBytes(std::uint64_t{address} << 32U, 4, content);
    return true;
  }
  content.text = {content.small.data(), ipv6Bytes};
  return readIpv6(text, content);
}

void printIpAddress(TypeRow const&, Scalar const& value, std::string& out) { printAddress(value.text(), out); }

bool readIpPrefix(TypeRow const&, std::string_view text, Content& content) {
  // A longer text is no prefix, and searching it from its end would take a step for each byte.
  if (text.size() > INET6_ADDRSTRLEN + std::string_view("/128").size()) {
    return false;
  }
  std::size_t const slash = text.rfind('/');
  if (slash == std::string_view::npos) {
    return false;
  }
  std::string_view const digits = text.substr(slash + 1);
  std::size_t length = 0;
  if (std::uint32_t address = 0; readIpv4(text.substr(0, slash), address)) {
    if (!readPrefixLength(digits, 32, length)) {
      return false;
    }
    auto const mask = static_cast<std::uint32_t>(0xFFFFFFFF00000000U >> length);
    setBytes(std::uint64_t{address & mask} << 32U | length << 24U, 5, content);
    return true;
  }
  if (!readIpv6(text.substr(0, slash), content) || !readPrefixLength(digits, 8 * ipv6Bytes, length)) {
    return false;
  }
  for (std::size_t i = length / 8; i < ipv6Bytes; ++i) {
    auto const mask = i == length / 8 ? static_cast<std::uint8_t>(0xFF00U >> (length % 8)) : std::uint8_t{0};
    content.small[i] = static_cast<char>(static_cast<std::uint8_t>(content.small[i]) & mask);
  }
  content.small[ipv6Bytes] = static_cast<char>(length);
  content.text = {content.small.data(), ipv6Bytes + 1};
  return true;
}

void printIpPrefix(TypeRow const&, Scalar const& value, std::string& out) {
  std::string_view const bytes = value.text();
  printAddress(bytes.substr(0, bytes.size() - 1), out);
  out += '/';
  appendNumber(static_cast<unsigned>(static_cast<std::uint8_t>(bytes.back())), out);
}

constexpr std::size_t macBytes = 6;

bool readMacAddress(TypeRow const&, std::string_view text, Content& content) {
  if (text.size() != 3 * macBytes - 1) {
    return false;
  }
  for (std::size_t i = 0; i < macBytes; ++i) {
    std::string_view const group = text.substr(3 * i, 2);
    std::uint8_t byte = 0;
    char const* const end = group.data() + group.size();
    auto const [rest, error] = std::from_chars(group.data(), end, byte, 16);
    if (error != std::errc() || rest != end || (i != 0 && text[3 * i - 1] != ':')) {
      return false;
    }
    content.small[i] = static_cast<char>(byte);
  }
  content.text = {content.small.data(), macBytes};
  return true;
}

void printMacAddress(TypeRow const&, Scalar const& value, std::string& out) {
  std::string_view separator;
  for (char const byte : value.text()) {
    out += fmt::format("{}{:02x}", separator, static_cast<std::uint8_t>(byte));
    separator = ":";
  }
}

bool readEnum(TypeRow const& row, std::string_view text, Content& content) {
  auto const found = row.enumeratorsByName.find(text);
  content.number = found == row.enumeratorsByName.end() ? 0 : found->second;
  return found != row.enumeratorsByName.end();
}

void printEnum(TypeRow const& row, Scalar const& value, std::string& out) {
  out += row.enumerators[static_cast<std::size_t>(value.number())].name;
}

constexpr std::string_view floatExpectation = "a finite decimal number, not too small to be told from 0";

}  // namespace

constexpr std::array<ScalarRow, scalarKinds> scalarRows = {{
    {Kind::Bool, '\0', readBool, printBool, "false", "true or false"},
    {Kind::S8, '\0', readSigned, printSigned, "0", "a decimal number from -128 to 127"},
    {Kind::S16, '\0', readSigned, printSigned, "0", "a decimal number from -32768 to 32767"},
    {Kind::S32, '\0', readSigned, printSigned, "0", "a decimal number from -2147483648 to 2147483647"},
    {Kind::S64, '\0', readSigned, printSigned, "0",
     "a decimal number from -9223372036854775808 to 9223372036854775807"},
    {Kind::U8, '\0', readUnsigned, printUnsigned, "0", "a decimal number from 0 to 255"},
    {Kind::U16, '\0', readUnsigned, printUnsigned, "0", "a decimal number from 0 to 65535"},
    {Kind::U32, '\0', readUnsigned, printUnsigned, "0", "a decimal number from 0 to 4294967295"},
    {Kind::U64, '\0', readUnsigned, printUnsigned, "0", "a decimal number from 0 to 18446744073709551615"},
    {Kind::Float, '\0', readFloat<float>, printFloat<float>, "0", floatExpectation},
    {Kind::Double, '\0', readFloat<double>, printFloat<double>, "0", floatExpectation},
    {Kind::String, '"', readString, printString, "", ""},
    {Kind::Bytes, '\0', readBytes, printBytes, "", "base64, padded with '='"},
    {Kind::Seconds, '\0', readSeconds, printSeconds, "0",
     "seconds as a decimal number like -1.5, from -9223372036.854775808 to 9223372036.854775807, with at most 9 digits "
     "after the point"},
    {Kind::Time, '\0', readTime, printTime, "1970-01-01T00:00:00Z",
     "a time like 2024-02-29T12:34:56.5Z or 2024-02-29T12:34:56+01:00, from 1677-09-21T00:12:43.145224192Z to "
     "2262-04-11T23:47:16.854775807Z, with at most 9 digits after the point"},
    {Kind::IpAddress, '\0', readIpAddress, printIpAddress, "0.0.0.0", "an IPv4 or IPv6 address"},
    {Kind::IpPrefix, '\0', readIpPrefix, printIpPrefix, "0.0.0.0/0", "a prefix like 10.0.0.0/8 or 2001:db8::/32"},
    {Kind::MacAddress, '\0', readMacAddress, printMacAddress, "00:00:00:00:00:00", "an address like 02:00:5e:10:00:ff"},
    {Kind::Enum, '\'', readEnum, printEnum, "", ""},
}};

namespace {

consteval bool inOrderOfKinds() {
  for (std::size_t i = 0; i < scalarRows.size(); ++i) {
    if (scalarRows[i].kind != static_cast<Kind>(i)) {
      return false;
    }
  }
  return true;
}
static_assert(inOrderOfKinds());

}  // namespace

Range rangeOf(Kind kind) noexcept {
  // Of Bool, S8 to S64, U8 to U64; all other kinds have 64 bits.
  static constexpr std::array spareBits = {0, 56, 48, 32, 0, 56, 48, 32, 0};
  auto const index = static_cast<std::size_t>(kind);
  int const spare = index < spareBits.size() ? spareBits[index] : 0;
  if (isUnsigned(kind)) {
    return {0, std::numeric_limits<std::uint64_t>::max() >> spare};
  }
  return {std::numeric_limits<std::int64_t>::min() >> spare,
          static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max() >> spare)};
}

NewValue normalize(Scalar const& value) {
  std::string text;
  printScalar(value, TextForm::Gnmi, text);
  return readText(value.row(), text, TextForm::Gnmi);
}

void printScalar(Scalar const& value, TextForm form, std::string& out) {
  ScalarRow const& scalar = scalarRow(value.kind());
  std::size_t const quotes = form == TextForm::Literal && scalar.quote != '\0' ? 1 : 0;
  out.append(quotes, scalar.quote);
  scalar.print(value.row(), value, out);
  out.append(quotes, scalar.quote);
}

std::string scalarExpectation(TypeRow const& row, TextForm form) {
  if (row.rule) {
    std::string_view const quotes = form == TextForm::Literal && row.kind == Kind::String ? ", in double quotes" : "";
    return row.rule->expectation().append(quotes);
  }
  if (row.kind == Kind::String) {
    return form == TextForm::Literal ? "a text in double quotes" : "any text";
  }
  if (row.kind != Kind::Enum) {
    return std::string(scalarRow(row.kind).expectation);
  }
  return Text::list(row.enumerators, [](Enumerator const& each) { return Text::inQuotes(each.name); }) +
         (form == TextForm::Literal ? ", in single quotes" : "");
}

void defaultScalar(Kind kind, Content& content) {
  // The first enumerator is the one at position 0, whatever it is called.
  if (kind != Kind::Enum) {
    static TypeRow const none;
    scalarRow(kind).read(none, scalarRow(kind).initial, content);
  }
}

}  // namespace Model
