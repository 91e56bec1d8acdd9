#include "text/Nearest.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Text {
namespace {

constexpr std::size_t longestName = 64;
constexpr std::size_t mostNames = 10000;
constexpr std::size_t mostAnswers = 3;

// What differences cost. Any number of differences in the qualifier is less than one in the name itself.
constexpr std::size_t editCost = 32;
constexpr std::size_t caseCost = 1;
constexpr std::size_t noQualifierCost = 1;

char lower(char byte) { return 'A' <= byte && byte <= 'Z' ? static_cast<char>(byte - 'A' + 'a') : byte; }

std::size_t substitutionCost(char a, char b) { return a == b ? 0 : lower(a) == lower(b) ? caseCost : editCost; }

/** Two neighbours that are swapped are one difference. Exact up to `most`; above it, any number above it. */
std::size_t distance(std::string_view a, std::string_view b, std::size_t most) {
  // Each byte that one text has more is a difference.
  std::size_t const surplus = (std::max(a.size(), b.size()) - std::min(a.size(), b.size())) * editCost;
  if (surplus > most) {
    return surplus;
  }
  std::array<std::array<std::size_t, longestName + 1>, 3> rows;
  std::size_t leastOfLast = 0;
  for (std::size_t i = 0; i <= a.size(); ++i) {
    auto& row = rows[i % 3];
    auto const& last = rows[(i + 2) % 3];
    auto const& beforeLast = rows[(i + 1) % 3];
    row[0] = i * editCost;
    std::size_t least = row[0];
    for (std::size_t j = 1; j <= b.size(); ++j) {
      row[j] = row[j - 1] + editCost;
      if (i == 0) {
        continue;
      }
      row[j] = std::min({row[j], last[j] + editCost, last[j - 1] + substitutionCost(a[i - 1], b[j - 1])});
      if (i > 1 && j > 1 && lower(a[i - 1]) == lower(b[j - 2]) && lower(a[i - 2]) == lower(b[j - 1])) {
        row[j] = std::min(row[j], beforeLast[j - 2] + editCost);
      }
      least = std::min(least, row[j]);
    }
    // No later row has less than both of these.
    if (std::min(least, leastOfLast) > most) {
      return std::min(least, leastOfLast);
    }
    leastOfLast = least;
  }
  return rows[a.size() % 3][b.size()];
}

struct Name {
  std::string_view qualifier;
  std::string_view rest;
};

Name split(std::string_view name) {
  std::size_t const at = name.find_last_of(".:");
  return at == std::string_view::npos ? Name{"", name} : Name{name.substr(0, at), name.substr(at + 1)};
}

std::size_t qualifierCost(std::string_view a, std::string_view b) {
  if (a.empty() || b.empty()) {
    return a.empty() && b.empty() ? 0 : noQualifierCost;
  }
  while (a.ends_with(':')) {
    a.remove_suffix(1);
  }
  while (b.ends_with(':')) {
    b.remove_suffix(1);
  }
  return std::min(distance(a, b, 8 * editCost) / 8, editCost - 1);
}

}  // namespace

std::vector<std::string> nearest(std::string_view name, std::span<std::string const> names) {
  if (name.size() > longestName) {
    return {};
  }
  auto const [qualifier, rest] = split(name);
  std::size_t const limit = std::max<std::size_t>(rest.size() / 3, 1) * editCost + editCost - 1;
  std::vector<std::pair<std::size_t, std::size_t>> near;  // cost and position: sorted, equals keep their order
  for (std::size_t at = 0; at < std::min(names.size(), mostNames); ++at) {
    std::string_view const candidate = names[at];
    if (candidate.size() > longestName) {
      continue;
    }
    auto const [otherQualifier, otherRest] = split(candidate);
    std::size_t const cost = distance(rest, otherRest, limit) + qualifierCost(qualifier, otherQualifier);
    // A name that has no byte in common is not near, however short it is.
    if (cost <= limit && cost < std::max(rest.size(), otherRest.size()) * editCost) {
      near.emplace_back(cost, at);
    }
  }
  std::ranges::sort(near);
  std::vector<std::string> answers;
  for (auto const& [cost, at] : std::span(near).first(std::min(near.size(), mostAnswers))) {
    answers.push_back(names[at]);
  }
  return answers;
}

std::string didYouMean(std::string_view name, std::span<std::string const> names) {
  std::string text;
  for (std::string const& near : nearest(name, names)) {
    text += text.empty() ? "; did you mean '" : ", '";
    text += near;
    text += '\'';
  }
  return text.empty() ? text : text + '?';
}

}  // namespace Text
