// The decoder beside the naive one, on random cases: the same results and error texts, the same traces and calls in the
// same order, no query asked more often, the same tree and filter left behind.
//
//   NAIVE_SEED=n      the first case's number; a random one unless given, and printed
//   NAIVE_CASES=n     how many; 20,000 unless given
//   NAIVE_MINUTES=n   go on for so long instead
//
// A difference is made as small as it gets and printed as a schema file and command lines.
#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <memory>
#include <optional>
#include <random>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include <unistd.h>

#include "Drovan/ZynKeyDecoder.h"
#include "model/Runtime.h"
#include "model/Value.h"
#include "tests/naive/Calls.h"
#include "tests/naive/Case.h"
#include "tests/naive/Decoder.h"
#include "tests/support/Plain.h"

namespace Naive {
namespace {

using Drovan::ZynKeyDecoder;

/** A block of its own size for each text, so that reading past the end shows under the address sanitizer. */
class Exact {
 public:
  explicit Exact(std::string_view text) : size_(text.size()), bytes_(new char[size_]) {
    std::ranges::copy(text, bytes_.get());
  }
  std::string_view view() const { return {bytes_.get(), size_}; }

 private:
  std::size_t size_;
  std::unique_ptr<char[]> bytes_;
};

// ---- what either decoder leaves behind, as text

/** With the number of its holders: what one decoder forgets to drop, the other does not. */
std::string shown(Velko::Ptr<Zyn::GenericIf> const& value) {
  return value ? Model::print(*value) + " held " + std::to_string(value->useCount()) + " times" : "no value";
}
std::string shown(Velko::String const& error) { return "error: " + std::string(error.view()); }
std::string shown(Result<void> const& done) { return done ? "done" : shown(done.error()); }
std::string shown(Result<Value> const& value) { return value ? shown(*value) : shown(value.error()); }
std::string shown(Result<std::optional<Value>> const& key) {
  return !key ? shown(key.error()) : *key ? shown(**key) : "every key";
}
std::string shown(
    KvStd::Expected<std::variant<ZynKeyDecoder::Single, ZynKeyDecoder::Multiple>, Velko::String> const& key) {
  if (!key) {
    return shown(key.error());
  }
  if (auto const* const all = std::get_if<ZynKeyDecoder::Multiple>(&*key)) {
    return all->values.empty() ? "every key" : "a filter";
  }
  return shown(std::get<ZynKeyDecoder::Single>(*key).value);
}

std::string built(Result<void> const& done, Value const& value) {
  return done ? "built: " + shown(value) : shown(done.error());
}

template <typename Elements>
std::string shownElements(Elements const& elements, std::string_view path) {
  std::string text;
  for (std::string_view const element : elements) {
    text += "[" + std::string(element) + " at " + std::to_string(element.data() - path.data()) + "]";
  }
  return text;
}

std::string joined(std::vector<std::string> lines) {
  std::ranges::sort(lines);
  std::string text;
  for (std::string const& line : lines) {
    text += line + "\n";
  }
  return text;
}

Zyn::ZynAttr attrOf(Child const& child) { return child.attr; }
Node const& nodeOf(Child const& child) { return child.node; }
Zyn::ZynAttr attrOf(ZynKeyDecoder::KeyElemNode::Children::value_type const& child) { return child.first; }
ZynKeyDecoder::KeyElemNode const& nodeOf(ZynKeyDecoder::KeyElemNode::Children::value_type const& child) {
  return child.second;
}

template <typename AnyNode>
void show(AnyNode const& node, std::string const& path, std::vector<std::string>& lines) {
  lines.push_back(path + ": " + node.type.name() + (node.useS4Encoding ? " s4 " : " ") + shown(node.value));
  for (auto const& child : node.children) {
    show(nodeOf(child), path + "." + attrOf(child).name(), lines);
  }
}

/** Children are a set: sorted. */
template <typename AnyNode>
std::string shownTree(AnyNode const& node) {
  std::vector<std::string> lines;
  show(node, "root", lines);
  return joined(lines);
}

template <typename AnyFilter>
std::string shownFilter(AnyFilter const& filter) {
  std::vector<std::string> lines;
  for (auto const& [attr, value] : filter) {
    lines.push_back(std::string(attr.name()) + " = " + shown(value));
  }
  return joined(lines);
}

// ---- one case

/**
 * Children that construction leaves over are set in the order in which the map holds them, whatever that is. So the
 * naive tree takes its order over, and all that follows can be compared call by call.
 */
void takeOrder(Node& naive, ZynKeyDecoder::KeyElemNode const& real) {
  std::vector<Child> ordered;
  for (auto const& [attr, node] : real.children) {
    auto const child = std::ranges::find(naive.children, attr, &Child::attr);
    takeOrder(child->node, node);
    ordered.push_back(std::move(*child));
  }
  naive.children = std::move(ordered);
}

struct Side {
  std::string result;
  Calls::Log log = {};
  std::string tree = {};
  std::string filter = {};
};

/** The decoder that users get. */
class Real {
 public:
  Real(Case const& one, World const& world) : decoder_(world.collection, one.decoderS4), root(world.root, one.treeS4) {}

  std::string run(Step const& step, Zyn::ZynType type) {
    Exact const path(step.path);
    Exact const value(step.value);
    switch (step.job) {
      case Job::Split:
        return shownElements(ZynKeyDecoder::splitPath(path.view()), path.view());
      case Job::Scalar:
        return shown(decoder_.decodeScalarKey(type, path.view(), value.view()));
      case Job::Path:
        return shown(decoder_.processKeyPath(root, path.view(), value.view()));
      case Job::Suffix: {
        auto const elements = ZynKeyDecoder::splitPath(path.view());
        return shown(root.insertPathSuffix(elements.begin(), elements.end(), Velko::String(value.view())));
      }
      case Job::Instantiate:
        return built(root.instantiate(), root.value);
      case Job::Construct:
        return shown(root.construct(type));
      case Job::Filter:
        break;
    }
    return shown(decoder_.updateFilter(filter, path.view(), value.view()));
  }

 private:
  ZynKeyDecoder decoder_;

 public:
  ZynKeyDecoder::KeyElemNode root;
  ZynKeyDecoder::FilterMap filter;
};

class Plain {
 public:
  Plain(Case const& one, World const& world)
      : decoder_{world.collection, one.decoderS4}, root(world.root, one.treeS4) {}

  std::string run(Step const& step, Zyn::ZynType type) {
    std::string_view const path = step.path;
    switch (step.job) {
      case Job::Split:
        return shownElements(::Plain::splitPath(path), path);
      case Job::Scalar:
        return shown(decodeScalarKey(decoder_, type, path, step.value));
      case Job::Path:
        return shown(processKeyPath(decoder_, root, path, step.value));
      case Job::Suffix:
        return shown(insertPathSuffix(root, ::Plain::splitPath(path), step.value));
      case Job::Instantiate:
        return built(instantiate(root), root.value);
      case Job::Construct:
        return shown(construct(root, type));
      case Job::Filter:
        break;
    }
    return shown(updateFilter(decoder_, filter, path, step.value));
  }

 private:
  Decoder decoder_;

 public:
  Node root;
  Filter filter;
};

template <typename AnyDecoder>
Side ran(AnyDecoder& decoder, Step const& step, Zyn::ZynType type) {
  Side side;
  side.log.refusedCall = step.refusedCall;
  side.log.answersNull = step.answersNull;
  {
    Calls::Recording const recording(side.log);
    side.result = decoder.run(step, type);
  }
  side.tree = shownTree(decoder.root);
  side.filter = shownFilter(decoder.filter);
  return side;
}

std::string both(std::string const& what, std::string const& real, std::string const& naive) {
  return what + "\n  decoder: " + real + "\n  naive:   " + naive + "\n";
}

/** What differs; empty when nothing does. */
std::string difference(Side const& real, Side const& naive) {
  if (real.result != naive.result) {
    return both("results differ", real.result, naive.result);
  }
  std::size_t const lines = std::max(real.log.lines.size(), naive.log.lines.size());
  for (std::size_t i = 0; i < lines; ++i) {
    std::string const ofReal = i < real.log.lines.size() ? real.log.lines[i] : "nothing";
    std::string const ofNaive = i < naive.log.lines.size() ? naive.log.lines[i] : "nothing";
    if (ofReal != ofNaive) {
      return both("calls or traces differ at " + std::to_string(i + 1), ofReal, ofNaive);
    }
  }
  if (real.tree != naive.tree) {
    return both("trees differ", real.tree, naive.tree);
  }
  if (real.filter != naive.filter) {
    return both("filters differ", real.filter, naive.filter);
  }
  for (auto const& [query, times] : real.log.queries) {
    auto const allowed = naive.log.queries.find(query);
    int const most = allowed == naive.log.queries.end() ? 0 : allowed->second;
    if (times > most) {
      return both("asked too often: " + Calls::shown(query), std::to_string(times), std::to_string(most));
    }
  }
  return "";
}

/** How often something worth trying happened. */
using Tally = std::map<std::string_view, std::uint64_t>;

// In results, traces or calls: what the cases must come by, or they are no longer worth running.
constexpr std::string_view wanted[] = {
    "built: ",
    "done",
    "every key",
    "no value",
    "error: Missing attribute '",
    "error: Attribute '",
    "error: Expecting a scalar at leaf element '",
    "error: Expecting key path '",
    "error: Expected key name for '",
    "error: Filtering nested key '",
    "is not a keyed collection",
    "error: refused {} by the test",
    "does not fit",
    "doesn't match any alternatives",
    "Inserting a new KeyElemNode '",
    "Constructing type: '",
    "Found a wildcard",
    ".genericIf([",
    ".genericIf(no data, ",
    ".genericIfSet(",
    ".genericIfFromPbMessage(",
    ".genericIfFromGnmiString(",
    "'red', false)",
    "\"red\", false)",
};

void count(Side const& side, Tally& tally) {
  auto const look = [&](std::string_view text) {
    for (std::string_view const part : wanted) {
      tally[part] += text.find(part) != std::string_view::npos ? 1 : 0;
    }
  };
  look(side.result);
  std::ranges::for_each(side.log.lines, look);
}

/** What differs first; empty when nothing does. A case that cannot be built differs in nothing. */
std::string difference(Case const& one, Tally* tally = nullptr) {
  std::optional<World> world;
  try {
    world.emplace(one);
  } catch (Model::SchemaError const&) {
    return "";
  }
  Model::enableTraces("ZynKeyDecoder", one.traces);
  Real real(one, *world);
  Plain naive(one, *world);
  for (Step const& step : one.steps) {
    takeOrder(naive.root, real.root);
    Side const ofReal = ran(real, step, world->type(step.type));
    Side const ofNaive = ran(naive, step, world->type(step.type));
    if (std::string const found = difference(ofReal, ofNaive); !found.empty()) {
      return found;
    }
    if (tally != nullptr) {
      count(ofNaive, *tally);
    }
  }
  return "";
}

// ---- all of them

// A case that ends the process cannot be made smaller here: at least it is named.
char nowRunning[64];

void sayWhichCase(int signal) {
  [[maybe_unused]] auto const written = write(STDERR_FILENO, nowRunning, std::strlen(nowRunning));
  std::signal(signal, SIG_DFL);
  std::raise(signal);
}

std::uint64_t number(char const* variable, std::uint64_t unlessGiven) {
  char const* const text = std::getenv(variable);
  return text == nullptr ? unlessGiven : std::strtoull(text, nullptr, 10);
}

TEST(Naive, TheDecoderDoesWhatTheNaiveOneDoes) {
  using Clock = std::chrono::steady_clock;
  std::uint64_t const seed = number("NAIVE_SEED", std::random_device()() % 1'000'000'000U);
  std::uint64_t const minutes = number("NAIVE_MINUTES", 0);
  std::uint64_t const cases = number("NAIVE_CASES", 20'000);
  auto const end = Clock::now() + std::chrono::minutes(minutes);
  std::printf("first case: NAIVE_SEED=%llu\n", static_cast<unsigned long long>(seed));
  std::signal(SIGABRT, sayWhichCase);
  std::signal(SIGSEGV, sayWhichCase);

  Tally tally;
  std::uint64_t tried = 0;
  std::uint64_t steps = 0;
  std::uint64_t differences = 0;
  for (; (minutes == 0 ? tried < cases : Clock::now() < end) && differences < 5; ++tried) {
    std::snprintf(nowRunning, sizeof nowRunning, "ended in NAIVE_SEED=%llu NAIVE_CASES=1\n",
                  static_cast<unsigned long long>(seed) + tried);
    Case const one = randomCase(seed + tried);
    steps += one.steps.size();
    std::string const found = difference(one, &tally);
    if (!found.empty()) {
      ++differences;
      // Of the same kind: a wrong result is not to end as a query too many.
      std::string const kind = found.substr(0, found.find(' '));
      Case const small = shrunk(one, [&](Case const& smaller) { return difference(smaller).starts_with(kind); });
      ADD_FAILURE() << "NAIVE_SEED=" << seed + tried << " NAIVE_CASES=1\n" << difference(small) << shown(small);
    }
  }
  Model::enableTraces("ZynKeyDecoder", false);
  std::signal(SIGABRT, SIG_DFL);
  std::signal(SIGSEGV, SIG_DFL);

  std::printf("%llu cases of %llu steps tried, %llu differences\n", static_cast<unsigned long long>(tried),
              static_cast<unsigned long long>(steps), static_cast<unsigned long long>(differences));
  for (std::string_view const part : wanted) {
    std::printf("%10llu  %.*s\n", static_cast<unsigned long long>(tally[part]), static_cast<int>(part.size()),
                part.data());
    EXPECT_TRUE(tally[part] > 0 || tried < 10'000) << "no case came by: " << part;
  }
  for (Model::Memory const& tag : Model::memory()) {
    EXPECT_EQ(tag.elements, 0) << tag.tag;
  }
}

}  // namespace
}  // namespace Naive
