#include "yang/Rules.h"

#include <absl/container/flat_hash_set.h>
#include <absl/container/inlined_vector.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <limits>
#include <new>
#include <optional>
#include <ranges>
#include <string_view>
#include <system_error>
#include <thread>
#include <type_traits>
#include <utility>
#include <vector>

#include "model/Zyn/Ipv4.h"
#include "text/Messages.h"
#include "text/NameHash.h"
#include "text/Nearest.h"

namespace Yang {
namespace {

bool isBlank(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }

std::string_view trimmed(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) {
    text.remove_prefix(1);
  }
  while (!text.empty() && isBlank(text.back())) {
    text.remove_suffix(1);
  }
  return text;
}

// ---- ranges

/** Ends included. Numbers are mapped so that unsigned order is theirs: a signed one has its top bit flipped. */
struct Interval {
  std::uint64_t min;
  std::uint64_t max;
};

constexpr std::uint64_t topBit = std::uint64_t{1} << 63;

std::vector<Interval> intervalsOf(lysc_range const* range, bool isSigned) {
  std::vector<Interval> intervals;
  if (range != nullptr) {
    std::uint64_t const flip = isSigned ? topBit : 0;
    for (auto const& part : elements(range->parts)) {
      intervals.push_back({part.min_u64 ^ flip, part.max_u64 ^ flip});
    }
  }
  return intervals;
}

bool within(std::span<Interval const> intervals, std::uint64_t number) {
  return std::ranges::any_of(intervals,
                             [&](Interval interval) { return number >= interval.min && number <= interval.max; });
}

/** "1 to 10, 20"; `show` prints a number. */
template <typename Show>
std::string shownIntervals(std::span<Interval const> intervals, Show show) {
  return Text::list(intervals, [&](Interval interval) {
    return interval.min == interval.max ? show(interval.min) : show(interval.min) + " to " + show(interval.max);
  });
}

/** "1 to 8 characters", "1 character", "at least 1 character". */
std::string shownLength(std::span<Interval const> intervals, std::string_view unit) {
  std::uint64_t last = 0;
  std::string const text = Text::list(intervals, [&](Interval interval) {
    bool const isOpen = interval.max == std::numeric_limits<std::uint64_t>::max();
    last = isOpen ? interval.min : interval.max;
    return isOpen                         ? fmt::format("at least {}", interval.min)
           : interval.min == interval.max ? fmt::format("{}", interval.min)
                                          : fmt::format("{} to {}", interval.min, interval.max);
  });
  return fmt::format("{} {}{}", text, unit, last == 1 ? "" : "s");
}

// ---- integers

/** Blanks around, a sign and zeros in front are taken; the canonical text has none of them. */
class IntegerRule final : public Model::TextRule {
 public:
  explicit IntegerRule(lysc_type const& type)
      : isSigned_(type.basetype >= LY_TYPE_INT8), intervals_(intervalsOf(as<lysc_type_num>(type).range, isSigned_)) {
    if (intervals_.empty()) {
      // LY_TYPE_UINT8 to LY_TYPE_UINT64 and LY_TYPE_INT8 to LY_TYPE_INT64 double in width.
      unsigned const doublings = type.basetype - (isSigned_ ? LY_TYPE_INT8 : LY_TYPE_UINT8);
      unsigned const bits = 8U << doublings;
      std::uint64_t const span = std::numeric_limits<std::uint64_t>::max() >> (64 - bits);
      std::uint64_t const min = isSigned_ ? topBit - (span / 2 + 1) : 0;
      intervals_.push_back({min, min + span});
    }
  }

  bool canonical(std::string_view& text, std::string& buffer) const override {
    std::string_view digits = trimmed(text);
    bool isNegative = digits.starts_with('-');
    digits.remove_prefix(isNegative || digits.starts_with('+') ? 1 : 0);
    std::uint64_t magnitude = 0;
    char const* const end = digits.data() + digits.size();
    if (auto const [rest, error] = std::from_chars(digits.data(), end, magnitude);
        error != std::errc() || rest != end) {
      return false;
    }
    isNegative = isNegative && magnitude != 0;
    bool const isWideEnough = isSigned_ ? magnitude <= topBit - (isNegative ? 0 : 1) : !isNegative;
    std::uint64_t const number = isNegative ? 0 - magnitude : magnitude;
    if (!isWideEnough || !within(intervals_, number ^ (isSigned_ ? topBit : 0))) {
      return false;
    }
    bool const hasZeros = digits.size() > 1 && digits.front() == '0';
    if (hasZeros || text.size() != digits.size() + (isNegative ? 1 : 0)) {
      buffer = isNegative ? fmt::format("-{}", magnitude) : fmt::format("{}", magnitude);
      text = buffer;
    }
    return true;
  }

  std::string expectation() const override {
    return "a decimal number from " + shownIntervals(intervals_, [this](std::uint64_t number) {
             return isSigned_ ? fmt::format("{}", static_cast<std::int64_t>(number ^ topBit))
                              : fmt::format("{}", number);
           });
  }

 private:
  bool isSigned_;
  std::vector<Interval> intervals_;
};

// ---- strings

/** Characters by their leading bytes, as libyang counts them: it takes a sequence to be as long as its first byte says.
 */
std::uint64_t countCharacters(std::string_view text) {
  std::uint64_t count = 0;
  for (std::size_t at = 0; at < text.size(); ++count) {
    auto const byte = static_cast<unsigned char>(text[at]);
    at += byte < 0xC0 ? 1 : byte < 0xE0 ? 2 : byte < 0xF0 ? 3 : byte < 0xF8 ? 4 : byte < 0xFC ? 5 : byte < 0xFE ? 6 : 1;
  }
  return count;
}

/** A step may look at the whole rest of the text: a long one gets fewer, or the time would grow with its square. */
std::uint32_t maxSteps(std::string_view text) {
  constexpr std::size_t steps = 1'000'000;
  constexpr std::size_t bytes = 1'000'000'000;
  return static_cast<std::uint32_t>(std::min(steps, bytes / std::max<std::size_t>(text.size(), 1)));
}

constexpr std::uint32_t maxKibibytes = 64 * 1024;

/** What matching works with: one for each thread, as the patterns are shared. */
struct Matcher {
  pcre2_match_data* data = pcre2_match_data_create(1, nullptr);
  pcre2_match_context* limits = pcre2_match_context_create(nullptr);

  Matcher() { pcre2_set_heap_limit(limits, maxKibibytes); }
  ~Matcher() {
    pcre2_match_context_free(limits);
    pcre2_match_data_free(data);
  }
  Matcher(Matcher const&) = delete;
  Matcher& operator=(Matcher const&) = delete;
};

/** What the library answers: 0 or more for a match, PCRE2_ERROR_NOMATCH, or why it cannot tell. */
int match(lysc_pattern const& pattern, std::string_view text) {
  thread_local std::optional<Matcher> matcher;
  if (!matcher) {
    matcher.emplace();
    if (matcher->data == nullptr || matcher->limits == nullptr) {
      matcher.reset();
      throw std::bad_alloc();
    }
  }
  pcre2_set_match_limit(matcher->limits, maxSteps(text));
  // libyang has compiled the pattern to match the whole text.
  int const answer = pcre2_match(pattern.code, reinterpret_cast<PCRE2_SPTR>(text.data()), text.size(), 0, 0,
                                 matcher->data, matcher->limits);
  if (answer < PCRE2_ERROR_NOMATCH) {
    matcher.reset();  // it may have taken much memory, and would keep it
  }
  return answer;
}

/** A length, patterns, or both. */
class StringRule final : public Model::TextRule {
 public:
  StringRule(Context context, lysc_type const& type)
      : context_(std::move(context)), lengths_(intervalsOf(as<lysc_type_str>(type).length, false)) {
    for (lysc_pattern const* const pattern : elements(as<lysc_type_str>(type).patterns)) {
      patterns_.push_back(pattern);
    }
  }

  bool canonical(std::string_view& text, std::string& /*buffer*/) const override {
    return isMatched(text) && std::ranges::all_of(patterns_, [&](lysc_pattern const* pattern) {
             int const answer = match(*pattern, text);
             return answer >= PCRE2_ERROR_NOMATCH && (answer >= 0) != bool(pattern->inverted);
           });
  }

  std::string expectation() const override {
    std::string text = "a text";
    if (!lengths_.empty()) {
      text += " of " + shownLength(lengths_, "character");
    }
    std::string_view also;
    for (lysc_pattern const* const pattern : patterns_) {
      text += fmt::format("{} {} '{}'", also, pattern->inverted ? "unlike" : "like", pattern->expr);
      also = ", and";
    }
    return text;
  }

  std::string hint(std::string_view text) const override {
    for (lysc_pattern const* const pattern : patterns_) {
      int const answer = isMatched(text) ? match(*pattern, text) : PCRE2_ERROR_NOMATCH;
      if (answer == PCRE2_ERROR_MATCHLIMIT || answer == PCRE2_ERROR_HEAPLIMIT) {
        return fmt::format("; whether it is like '{}' takes more than {} steps or {} MiB to tell", pattern->expr,
                           maxSteps(text), maxKibibytes / 1024);
      }
    }
    return {};
  }

 private:
  /** Whether it comes to the patterns. */
  bool isMatched(std::string_view text) const {
    return !text.contains('\0') && (lengths_.empty() || within(lengths_, countCharacters(text)));
  }

  Context context_;
  std::vector<Interval> lengths_;
  std::vector<lysc_pattern const*> patterns_;
};

// ---- what libyang is asked

/** A text as libyang's value, for as long as its canonical text is read. */
class LibyangValue {
 public:
  LibyangValue(ly_ctx const* context, lysc_type const& type, lysc_node const& node, std::string_view text)
      : context_(context), type_(type) {
    ly_err_item* error = nullptr;
    LY_ERR const result = type.plugin->store(context, &type, text.data(), text.size(), 0, LY_VALUE_JSON, nullptr,
                                             LYD_HINT_DATA, &node, &value_, nullptr, &error);
    ly_err_free(error);
    // Incomplete: what it refers to is data, and there is none.
    fits_ = result == LY_SUCCESS || result == LY_EINCOMPLETE;
  }
  ~LibyangValue() {
    if (fits_) {
      value_.realtype->plugin->free(context_, &value_);
    }
  }
  LibyangValue(LibyangValue const&) = delete;
  LibyangValue& operator=(LibyangValue const&) = delete;

  bool fits() const { return fits_; }

  std::string canonical() const {
    ly_bool isOurs = 0;
    std::size_t length = 0;
    auto* const text =
        static_cast<char const*>(type_.plugin->print(context_, &value_, LY_VALUE_CANON, nullptr, &isOurs, &length));
    std::string copy(text, length);
    if (isOurs != 0) {
      std::free(const_cast<char*>(text));
    }
    return copy;
  }

 private:
  ly_ctx const* context_;
  lysc_type const& type_;
  lyd_value value_ = {};
  bool fits_ = false;
};

/** What libyang calls the type's plugin: "ipv4-address, version 1". */
std::string_view pluginName(lysc_type const& type) {
  std::string_view const id = type.plugin->id;
  std::size_t const dash = id.find(" - ");
  return dash == std::string_view::npos ? id : id.substr(dash + 3);
}

std::string pluginExpectation(lysc_type const& type) {
  std::string_view const name = pluginName(type).substr(0, pluginName(type).find(','));
  return fmt::format("{} {}", name.find_first_of("aeiou") == 0 ? "an" : "a", name);
}

std::string bitsExpectation(lysc_type const& type) {
  auto const nameOf = [](lysc_type_bitenum_item const& bit) { return bit.name; };
  return fmt::format("none or some of {}, with blanks between",
                     Text::list(elements(as<lysc_type_bits>(type).bits), nameOf));
}

std::string decimalExpectation(lysc_type const& type) {
  auto const& decimal = as<lysc_type_dec>(type);
  auto const intervals = intervalsOf(decimal.range, true);
  std::string text = fmt::format("a decimal number with at most {} digits after the point", decimal.fraction_digits);
  if (!intervals.empty()) {
    text += ", from " + shownIntervals(intervals, [&](std::uint64_t number) {
              auto const raw = static_cast<std::int64_t>(number ^ topBit);
              auto const magnitude = raw < 0 ? 0 - static_cast<std::uint64_t>(raw) : static_cast<std::uint64_t>(raw);
              std::string digits = fmt::format("{:0{}}", magnitude, decimal.fraction_digits + 1);
              digits.insert(digits.size() - decimal.fraction_digits, 1, '.');
              digits.resize(std::max(digits.find_last_not_of('0') + 1, digits.find('.') + 2));
              return (raw < 0 ? "-" : "") + digits;
            });
  }
  return text;
}

std::string libyangExpectation(lysc_type const& type) {
  switch (type.basetype) {
    case LY_TYPE_DEC64:
      return decimalExpectation(type);
    case LY_TYPE_BITS:
      return bitsExpectation(type);
    case LY_TYPE_BINARY: {
      auto const intervals = intervalsOf(as<lysc_type_bin>(type).length, false);
      return "base64, padded with '='" + (intervals.empty() ? "" : ", of " + shownLength(intervals, "byte"));
    }
    case LY_TYPE_EMPTY:
      return "no text at all";
    case LY_TYPE_INST:
      return "a path like /module:container/list[key='value']/leaf";
    default:
      return pluginExpectation(type);
  }
}

/** libyang reads an expression of operators in quadratic time; a hundred kilobytes take it seconds. */
constexpr std::size_t maxExpression = std::size_t{16} * 1024;

bool isExpression(lysc_type const& type) {
  std::string_view const id = type.plugin->id;
  return id.contains("instance-identifier") || id.contains("xpath");
}

/**
 * An expression leaves its log location in the thread: pointers into the context, which libyang reads at the thread's
 * next error, whoever's that is. In a thread of its own they go with it, and the context may go before the caller's.
 */
template <typename Function>
std::invoke_result_t<Function> inThread(Function const& function) {
  std::invoke_result_t<Function> result;
  std::exception_ptr thrown;
  try {
    std::thread([&] {
      try {
        result = function();
      } catch (...) {
        thrown = std::current_exception();
      }
    }).join();
  } catch (std::system_error const&) {
    throw std::bad_alloc();  // no thread can be had
  }
  if (thrown) {
    std::rethrow_exception(thrown);
  }
  return result;
}

class LibyangRule final : public Model::TextRule {
 public:
  LibyangRule(Context context, lysc_type const& type, lysc_node const& node)
      : context_(std::move(context)), type_(type), node_(node) {}

  bool canonical(std::string_view& text, std::string& buffer) const override {
    if (text.contains('\0') || isTooLong(text)) {
      return false;
    }
    auto const canonical = isExpression(type_) ? inThread([&] { return canonicalOf(text); }) : canonicalOf(text);
    if (!canonical) {
      return false;
    }
    buffer = *canonical;
    text = buffer;
    return true;
  }

  std::string expectation() const override { return libyangExpectation(type_); }

  std::string hint(std::string_view text) const override {
    return isTooLong(text) ? fmt::format("; more than {} bytes are too many", maxExpression) : "";
  }

 private:
  bool isTooLong(std::string_view text) const { return text.size() > maxExpression && isExpression(type_); }

  std::optional<std::string> canonicalOf(std::string_view text) const {
    NoLog const noLog;
    LibyangValue const value(context_.get(), type_, node_, text);
    return value.fits() ? std::optional(value.canonical()) : std::nullopt;
  }

  Context context_;
  lysc_type const& type_;
  lysc_node const& node_;
};

// ---- IPv4

// What the patterns of ietf-inet-types say of the texts that `isCanonicalIpv4` knows: all of them fit.
#define OCTET "([0-9]|[1-9][0-9]|1[0-9][0-9]|2[0-4][0-9]|25[0-5])"
constexpr std::string_view addressPattern = "(" OCTET "\\.){3}" OCTET "(%[\\p{N}\\p{L}]+)?";
constexpr std::string_view noZonePattern = "[0-9\\.]*";
constexpr std::string_view prefixPattern = "(" OCTET "\\.){3}" OCTET "/(([0-9])|([1-2][0-9])|(3[0-2]))";
#undef OCTET

/** An address without a zone, or a prefix with no bit set behind its length: its canonical text is the text itself. */
bool isCanonicalIpv4(std::string_view text, bool isPrefix) {
  std::uint32_t address = 0;
  if (!isPrefix) {
    return Model::readIpv4(text, address);
  }
  std::size_t const slash = text.substr(0, std::string_view("255.255.255.255/").size()).find('/');
  std::size_t length = 0;
  bool const isRead = slash != std::string_view::npos && Model::readIpv4(text.substr(0, slash), address) &&
                      Model::readPrefixLength(text.substr(slash + 1), 32, length);
  return isRead && (std::uint64_t{address} << length & 0xFFFF'FFFFU) == 0;
}

/** Whether nobody restricts libyang's type for IPv4 any further. */
bool isUnrestrictedIpv4(lysc_type const& type) {
  constexpr std::array known = {addressPattern, noZonePattern, prefixPattern};
  auto const& string = as<lysc_type_str>(type);
  return pluginName(type).starts_with("ipv4-") && string.length == nullptr &&
         std::ranges::all_of(elements(string.patterns), [&](lysc_pattern const* pattern) {
           return !pattern->inverted && std::ranges::find(known, std::string_view(pattern->expr)) != known.end();
         });
}

/**
 * Addresses and prefixes. Asks libyang only for texts that look like one and are not canonical: storing a value costs
 * more than all else that a key needs, and a text that does not fit costs more still.
 */
class AddressRule final : public Model::TextRule {
 public:
  AddressRule(Context context, lysc_type const& type, lysc_node const& node)
      : other_(std::move(context), type, node),
        isIpv4_(pluginName(type).starts_with("ipv4-")),
        isPrefix_(pluginName(type).contains("prefix")),
        isUnrestricted_(isUnrestrictedIpv4(type)) {}

  bool canonical(std::string_view& text, std::string& buffer) const override {
    if (isUnrestricted_ && isCanonicalIpv4(text, isPrefix_)) {
      return true;
    }
    // All patterns of IPv4 begin with one to three digits and a point; those of IPv6 have a colon.
    std::size_t const digits = std::min(text.find_first_not_of("0123456789"), text.size());
    bool const looksRight =
        isIpv4_ ? digits >= 1 && digits <= 3 && text.substr(digits).starts_with('.') : text.contains(':');
    return looksRight && other_.canonical(text, buffer);
  }
  std::string expectation() const override { return other_.expectation(); }
  std::string hint(std::string_view text) const override { return other_.hint(text); }

 private:
  LibyangRule other_;
  bool isIpv4_;
  bool isPrefix_;
  bool isUnrestricted_;
};

// ---- identities

std::string fullName(lysc_ident const& identity) { return fmt::format("{}:{}", identity.module->name, identity.name); }

/** Every identity below the bases, once each. */
std::vector<lysc_ident const*> derivedFrom(std::span<lysc_ident* const> bases) {
  std::vector<lysc_ident const*> found(bases.begin(), bases.end());
  absl::flat_hash_set<lysc_ident const*> seen;
  for (std::size_t i = 0; i < found.size(); ++i) {
    for (lysc_ident const* const identity : elements(found[i]->derived)) {
      if (seen.insert(identity).second) {
        found.push_back(identity);
      }
    }
  }
  found.erase(found.begin(), found.begin() + static_cast<std::ptrdiff_t>(bases.size()));
  return found;
}

/** All texts are known beforehand; libyang takes no other, not even blanks around one. */
class IdentityRule final : public Model::TextRule {
 public:
  IdentityRule(Context context, lysc_type const& type, lysc_node const& node, bool allowUnprefixed)
      : context_(std::move(context)), base_(baseOf(type)), node_(node), allowUnprefixed_(allowUnprefixed) {
    NoLog const noLog;
    auto identities = derivedFrom(elements(as<lysc_type_identityref>(type).bases));
    std::ranges::sort(identities, {}, [](lysc_ident const* identity) {
      return std::pair(std::string_view(identity->module->name), std::string_view(identity->name));
    });
    for (lysc_ident const* const identity : identities) {
      std::string full = fullName(*identity);
      // Not of modules that are only imported, nor where a feature is off. Of several bases, libyang takes what is
      // derived from any.
      if (LibyangValue const value(context_.get(), type, node, full); value.fits()) {
        byName_[identity->name].push_back(static_cast<std::uint32_t>(names_.size()));
        names_.push_back(std::move(full));
        modules_.push_back(identity->module);
      } else {
        others_.push_back(identity);
      }
    }
  }

  static std::string baseOf(lysc_type const& type) {
    auto const bases = elements(as<lysc_type_identityref>(type).bases);
    return fmt::format("{}",
                       fmt::join(std::views::transform(bases, [](auto* base) { return fullName(*base); }), " or "));
  }

  /** "module:identity", sorted by module and name. */
  std::span<std::string const> names() const { return names_; }

  bool canonical(std::string_view& text, std::string& /*buffer*/) const override {
    std::size_t const colon = text.find(':');
    bool const isBare = colon == std::string_view::npos;
    auto const found = byName_.find(isBare ? text : text.substr(colon + 1));
    if (found == byName_.end()) {
      return false;
    }
    std::string_view const prefix = isBare ? std::string_view() : text.substr(0, colon);
    for (std::uint32_t const index : found->second) {
      // An identity without a module, or with an empty one, is of the node's.
      if (prefix.empty() ? modules_[index] == node_.module : prefix == modules_[index]->name) {
        text = names_[index];
        return true;
      }
    }
    bool const isOnly = isBare && allowUnprefixed_ && found->second.size() == 1;
    text = isOnly ? std::string_view(names_[found->second.front()]) : text;
    return isOnly;
  }

  std::string expectation() const override {
    return fmt::format("an identity derived from {}: {}", base_, names_.empty() ? "there is none" : Text::list(names_));
  }

  std::string hint(std::string_view text) const override {
    std::string_view const bare = text.substr(text.find(':') + 1);
    for (lysc_ident const* const identity : others_) {
      if (bare == identity->name && (bare == text || text == fullName(*identity))) {
        return identity->module->implemented != 0
                   ? fmt::format("; '{}' needs a feature that is off", fullName(*identity))
                   : fmt::format("; '{}' is an identity of '{}', which is only imported: load that module as well",
                                 identity->name, identity->module->name);
      }
    }
    return Text::didYouMean(text, names_);
  }

 private:
  Context context_;
  std::string base_;
  lysc_node const& node_;
  bool allowUnprefixed_;
  /** By the name without its module, which the context holds: the positions in `names_` and `modules_`. */
  Text::NameMap<absl::InlinedVector<std::uint32_t, 1>> byName_;
  std::vector<std::string> names_;
  std::vector<lys_module const*> modules_;
  /** That are no values. */
  std::vector<lysc_ident const*> others_;
};

// ---- which rule, which kind

struct AddressRow {
  /** Of libyang's plugin, behind "libyang 2 - ". */
  std::string_view plugin;
  Model::Kind kind;
};

/** Those whose canonical text is what the model prints for the kind. An address with a zone is none of these. */
constexpr AddressRow addresses[] = {
    {"ipv4-address-no-zone,", Model::Kind::IpAddress},
    {"ipv6-address-no-zone,", Model::Kind::IpAddress},
    {"ipv4-prefix,", Model::Kind::IpPrefix},
    {"ipv6-prefix,", Model::Kind::IpPrefix},
};

}  // namespace

bool isPlainString(lysc_type const& type) {
  return type.basetype == LY_TYPE_STRING && type.plugin->store == lyplg_type_store_string &&
         as<lysc_type_str>(type).length == nullptr && as<lysc_type_str>(type).patterns == nullptr;
}

Model::Kind addressKind(lysc_type const& type) {
  auto const* const row = std::ranges::find_if(
      addresses, [name = pluginName(type)](AddressRow const& address) { return name.starts_with(address.plugin); });
  return row == std::end(addresses) ? Model::Kind::String : row->kind;
}

std::string identityBase(lysc_type const& type) { return IdentityRule::baseOf(type); }

Rule ruleOf(Context const& context, lysc_type const& type, lysc_node const& node, bool allowUnprefixed) {
  auto const store = type.plugin->store;
  if (store == lyplg_type_store_int || store == lyplg_type_store_uint) {
    return {std::make_shared<IntegerRule>(type)};
  }
  if (store == lyplg_type_store_string) {
    return {std::make_shared<StringRule>(context, type)};
  }
  if (store == lyplg_type_store_identityref) {
    auto rule = std::make_shared<IdentityRule>(context, type, node, allowUnprefixed);
    return {rule, rule->names()};
  }
  std::string_view const plugin = pluginName(type);
  if (plugin.starts_with("ipv4-") || plugin.starts_with("ipv6-")) {
    return {std::make_shared<AddressRule>(context, type, node)};
  }
  return {std::make_shared<LibyangRule>(context, type, node)};
}

}  // namespace Yang
