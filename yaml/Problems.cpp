#include "yaml/Problems.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#include "text/Messages.h"
#include "text/Nearest.h"

namespace Yaml {
namespace {

constexpr std::size_t mostProblems = 1000;
constexpr std::size_t mostSuggestions = 100;
constexpr std::size_t longestProblem = 5000;

std::string_view shapeName(Shape shape) {
  return shape == Shape::Map ? "a map" : shape == Shape::List ? "a list" : "a plain text";
}

}  // namespace

void Problems::add(Place place, std::string what) {
  bool const isLast = ++told_.problems == mostProblems;
  if (isLast) {
    what = fmt::format("more than {} problems; no more are looked for", mostProblems - 1);
  }
  // A problem is one line that can be read, whatever the names in it hold, and however many they are.
  std::ranges::replace_if(what, [](char byte) { return 0 <= byte && byte < ' '; }, '?');
  if (what.size() > longestProblem) {
    what.resize(longestProblem);
    what += "...";
  }
  problems_.push_back({file_, place.line, place.column, std::move(what)});
  if (isLast) {
    throw TooManyProblems();
  }
}

bool Problems::expect(Node const& node, Shape shape, std::string_view what) {
  if (node.shape != shape && node.shape != Shape::Bad) {
    add(node.place, fmt::format("expected {}, found {}", what, shapeName(node.shape)));
  }
  return node.shape == shape;
}

void Problems::checkKeys(Node const& map, std::span<std::string_view const> known) {
  for (Node const& item : map.items) {
    if (std::ranges::find(known, item.key) == known.end()) {
      std::string const near = Text::didYouMean(item.key, std::vector<std::string>(known.begin(), known.end()));
      add(item.keyPlace, fmt::format("unknown key {}{}", Text::inQuotes(item.key),
                                     near.empty() ? fmt::format("; known here: {}", fmt::join(known, ", ")) : near));
    }
  }
}

std::string Problems::didYouMean(std::string_view name, std::span<std::string const> names) {
  return ++told_.suggestions > mostSuggestions ? "" : Text::didYouMean(name, names);
}

std::vector<Problem> Problems::take() {
  std::ranges::sort(problems_, {}, [](Problem const& p) { return std::tie(p.line, p.column, p.what); });
  return std::move(problems_);
}

}  // namespace Yaml
