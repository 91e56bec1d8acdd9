// The matcher beside its rules, tried on one subscription after the other.
//
// Paths lead along one way through a schema or a little beside it, so that many of them have to do with each other.
// They are resolved by the resolver, which is compared elsewhere.
#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "gnmi/Matcher.h"
#include "gnmi/ModelValues.h"
#include "tests/naive-gnmi/Compare.h"
#include "tests/naive-gnmi/Oracle.h"
#include "tests/naive-gnmi/World.h"

namespace NaiveGnmi {

std::string_view const wantedOfMatcher[] = {"concerned",
                                            "not concerned",
                                            "exact beside exact",
                                            "filter beside exact",
                                            "exact beside filter",
                                            "filter beside filter",
                                            "a node above",
                                            "a node below",
                                            "wildcard",
                                            "removed",
                                            "a bound passed"};
std::size_t const wantedOfMatcherCount = std::size(wantedOfMatcher);

namespace {

using Drovan::ZynKeyDecoder;
using Filter = ZynKeyDecoder::FilterMap;
using LeftOut = Gnmi::Matcher::LeftOut;
using Reach = Gnmi::Matcher::Reach;
using Ids = std::vector<Gnmi::Matcher::Id>;

// ---- the rules

/** Whether some entry has the keys of both. */
bool keysAgree(Gnmi::Selection const& subscribed, Gnmi::Selection const& changed, LeftOut leftOut, Tally& tally) {
  auto const* const wantedKey = std::get_if<ZynKeyDecoder::Single>(&subscribed);
  auto const* const changedKey = std::get_if<ZynKeyDecoder::Single>(&changed);
  auto const has = [](Zyn::GenericIf const& key, Zyn::ZynAttr attr, Zyn::GenericIf const& value) {
    auto const part = Model::attribute(key, attr);
    return part && Model::equal(*part, value);
  };
  if (wantedKey != nullptr && changedKey != nullptr) {
    ++tally["exact beside exact"];
    return Model::equal(*wantedKey->value, *changedKey->value);
  }
  if (changedKey != nullptr) {
    ++tally["filter beside exact"];
    Filter const& filter = std::get<ZynKeyDecoder::Multiple>(subscribed).values;
    return std::ranges::all_of(filter,
                               [&](auto const& one) { return has(*changedKey->value, one.first, *one.second); });
  }
  Filter const& given = std::get<ZynKeyDecoder::Multiple>(changed).values;
  if (wantedKey != nullptr) {
    ++tally["exact beside filter"];
    return leftOut == LeftOut::MatchesAll &&
           std::ranges::all_of(given, [&](auto const& one) { return has(*wantedKey->value, one.first, *one.second); });
  }
  ++tally["filter beside filter"];
  Filter const& filter = std::get<ZynKeyDecoder::Multiple>(subscribed).values;
  return std::ranges::all_of(filter, [&](auto const& one) {
    auto const found = given.find(one.first);
    return found == given.end() ? leftOut == LeftOut::MatchesAll : Model::equal(*found->second, *one.second);
  });
}

bool isConcerned(Gnmi::Resolved const& subscribed, Gnmi::Resolved const& changed, Reach reach, LeftOut leftOut,
                 Tally& tally) {
  std::size_t const size = std::min(subscribed.nodes.size(), changed.nodes.size());
  if (subscribed.nodes.size() > size && reach == Reach::Node) {
    return false;
  }
  if (!std::equal(subscribed.nodes.begin(), subscribed.nodes.begin() + static_cast<std::ptrdiff_t>(size),
                  changed.nodes.begin())) {
    return false;
  }
  for (std::size_t i = 0; i != std::min(subscribed.selections.size(), changed.selections.size()); ++i) {
    if (!keysAgree(subscribed.selections[i].selection, changed.selections[i].selection, leftOut, tally)) {
      return false;
    }
  }
  tally["a node above"] += subscribed.nodes.size() < changed.nodes.size() ? 1 : 0;
  tally["a node below"] += subscribed.nodes.size() > changed.nodes.size() ? 1 : 0;
  return true;
}

// ---- cases

/** A way down, with all its keys; some of them have a second value to choose. */
struct Way {
  struct Step {
    std::string name;
    std::vector<std::array<std::string, 3>> keys;
  };
  std::vector<Step> steps;
};

class WayMaker {
 public:
  WayMaker(Choices& choices, World const& world) : choices_(choices), world_(world) {}

  Way made() {
    Way way;
    Zyn::ZynType type = world_.entities.front();
    for (std::size_t left = 1 + choices_.below(4); left != 0; --left) {
      auto const attrs = attrsOf(type);
      if (attrs.empty()) {
        break;
      }
      Zyn::ZynAttr attr = choices_.of(attrs);
      for (int again = 0; again != 3 && !attr.isKeyed(); ++again) {
        attr = choices_.of(attrs);
      }
      auto& step = way.steps.emplace_back();
      auto const module = world_.modules.find(attr);
      std::string const own = attr.name();
      bool const isQualified =
          own.find(':') != std::string::npos || module == world_.modules.end() || module->second.empty();
      step.name = isQualified ? own : module->second + ":" + own;
      if (attr.isKeyed()) {
        char const* const by = attr.internalKeyName();
        if (Drovan::isScalarKeyType(attr.keyType(), world_.options.useS4Encoding)) {
          addKey(step, by == nullptr ? "key" : by, attr.keyType());
        } else {
          addParts(step, attr.keyType(), "", 0);
        }
      }
      type = attr.attrType();
    }
    return way;
  }

 private:
  void addKey(Way::Step& step, std::string const& name, Zyn::ZynType type) {
    bool const s4 = world_.options.useS4Encoding;
    step.keys.push_back({name, textOf(choices_, type, s4), textOf(choices_, type, s4)});
  }
  void addParts(Way::Step& step, Zyn::ZynType type, std::string const& before, int depth) {
    for (Zyn::ZynAttr const attr : attrsOf(type)) {
      if (step.keys.size() > 6) {
        return;
      }
      if (Drovan::isScalarKeyType(attr.attrType(), world_.options.useS4Encoding)) {
        addKey(step, before + attr.name(), attr.attrType());
      } else if (depth < 3) {
        addParts(step, attr.attrType(), before + attr.name() + "__", depth + 1);
      }
    }
  }

  Choices& choices_;
  World const& world_;
};

/** A path along the way: not always to its end, with other keys or fewer, and with wildcards. */
struct Texts {
  Gnmi::Path path;
  bool hasWildcard = false;
};

Texts along(Way const& way, Choices& choices, std::size_t keysLeftOut, bool mayHaveWildcards) {
  Texts texts;
  std::size_t const size = choices.percent(50) ? way.steps.size() : choices.below(way.steps.size() + 1);
  std::size_t const other = choices.percent(40) ? choices.below(10) : 10;
  std::size_t at = 0;
  bool const hasWildcards = mayHaveWildcards && choices.percent(30);
  for (std::size_t i = 0; i != size; ++i) {
    Way::Step const& step = way.steps[i];
    std::size_t const kind = hasWildcards ? choices.below(5) : 4;
    texts.hasWildcard |= kind < 2;
    texts.path.add(kind == 0 ? "*" : kind == 1 ? "..." : std::string_view(step.name));
    if (kind == 1) {
      continue;
    }
    bool const hasNone = choices.percent(keysLeftOut / 2);
    for (auto const& [name, one, two] : step.keys) {
      bool const isOther = at++ == other;
      if (!hasNone && !choices.percent(keysLeftOut)) {
        texts.path.addKey(name, isOther ? two : one);
      }
    }
  }
  return texts;
}

struct Case {
  std::vector<Gnmi::Path> subscriptions;
  std::vector<bool> removed;
  Gnmi::Path changed;
  Reach reach = Reach::Node;
  LeftOut leftOut = LeftOut::MatchesAll;
};

std::string shown(World const& world, Case const& one) {
  std::string text = "\n" + world.shown();
  for (std::size_t i = 0; i != one.subscriptions.size(); ++i) {
    text += std::to_string(i) + (one.removed[i] ? ", removed: " : ": ") + formatPath(one.subscriptions[i]) + "\n";
  }
  return text + "changed: " + formatPath(one.changed) + (one.reach == Reach::Subtree ? ", with all below" : "") +
         (one.leftOut == LeftOut::MatchesAll ? ", left out matches all\n" : ", left out matches left out\n");
}

std::string shown(Ids const& ids) {
  std::string text;
  for (auto const id : ids) {
    text += " " + std::to_string(id);
  }
  return text;
}

}  // namespace

std::string matcherDifference(Choices& choices, Tally& tally) {
  std::optional<World> world;
  try {
    world.emplace(choices);
  } catch (Model::SchemaError const&) {
    ++tally["no schema"];
    return "";
  }
  Way const way = WayMaker(choices, *world).made();
  Case one;
  one.reach = choices.percent(30) ? Reach::Subtree : Reach::Node;
  one.leftOut = choices.percent(50) ? LeftOut::MatchesLeftOut : LeftOut::MatchesAll;
  Gnmi::Resolver const resolver(world->entities.front(), world->options);
  Gnmi::ModelValues const values(world->options.useS4Encoding);
  Gnmi::Matcher matcher(values, one.leftOut);

  one.changed = along(way, choices, choices.percent(50) ? 0 : 30, false).path;
  Gnmi::Resolved changed;
  if (!resolver.resolve(one.changed, changed, Gnmi::Mode::Notify)) {
    ++tally["a changed path that is refused"];
    return "";
  }
  std::size_t const count = 1 + choices.below(8);
  Ids expected;
  for (std::size_t id = 0; id != count; ++id) {
    auto const [path, hasWildcard] = along(way, choices, 30, true);
    one.subscriptions.push_back(path);
    one.removed.push_back(choices.percent(20));
    std::vector<Gnmi::Resolved> nodes;
    auto const visit = [&](Gnmi::Resolved const& node) {
      nodes.push_back(node);
      return true;
    };
    bool const isTaken = resolver.expand(path, visit, Gnmi::Mode::Read, world->bounds).has_value();
    if (matcher.add(id, resolver, path, world->bounds).has_value() != isTaken) {
      return "adding and expanding answer differently" + shown(*world, one);
    }
    tally["a bound passed"] += !isTaken && !nodes.empty() ? 1 : 0;
    if (one.removed.back()) {
      ++tally["removed"];
      continue;
    }
    bool const concerned = isTaken && std::ranges::any_of(nodes, [&](Gnmi::Resolved const& node) {
                             return isConcerned(node, changed, one.reach, one.leftOut, tally);
                           });
    tally["wildcard"] += concerned && hasWildcard ? 1 : 0;
    ++tally[concerned ? "concerned" : "not concerned"];
    if (concerned) {
      expected.push_back(id);
    }
  }
  for (std::size_t id = 0; id != count; ++id) {
    if (one.removed[id]) {
      matcher.remove(id);
    }
  }
  Ids found;
  matcher.match(changed, one.reach, found);
  return found == expected ? ""
                           : "other subscriptions,\n  matcher:" + shown(found) + "\n  rules:  " + shown(expected) +
                                 shown(*world, one);
}

}  // namespace NaiveGnmi
