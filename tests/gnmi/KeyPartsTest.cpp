// Which keys are whole: the decoder itself is asked over random types, and the work is counted.
#include "gnmi/KeyParts.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <functional>
#include <random>
#include <string>

#include "gnmi/Resolver.h"
#include "tests/support/Provider.h"

namespace Recording {
namespace {

using Drovan::ZynKeyDecoder;
using Gnmi::KeyParts;

/** Types of a test, and a collection that is keyed by one of them. */
class Types {
 public:
  explicit Types(std::vector<std::string> keyArgs = {}) : key(type("Key", std::move(keyArgs))) {}

  Zyn::ZynType type(std::string name, std::vector<std::string> typeArgs) {
    args += typeArgs.size();
    return world.type({.name = std::move(name), .isValue = true, .args = std::move(typeArgs)});
  }

  void attr(Zyn::ZynType owner, std::string name, Zyn::ZynType type) {
    world.attr(owner, {.name = std::move(name), .type = type});
  }

  void give(std::string name) { keys.push_back(std::move(name)); }

  KeyParts::Result build(std::size_t mostArguments = SIZE_MAX / 4) const {
    KeyParts parts(key, false);
    for (std::size_t i = 0; i != keys.size(); ++i) {
      auto part = KeyParts::root;
      for (std::string_view const element : ZynKeyDecoder::splitPath(keys[i])) {
        part = parts.add(part, parts[part].type.attr(element));
      }
      parts[part].key = i;
    }
    return parts.build(mostArguments);
  }

  /** How much there is to look at: elements of names, and arguments. */
  std::size_t size() const {
    std::size_t elements = 0;
    for (std::string const& name : keys) {
      elements += ZynKeyDecoder::splitPath(name).size();
    }
    return elements + args;
  }

  std::string error(Gnmi::Mode mode = Gnmi::Mode::Read) const {
    Gnmi::Path path;
    path.add("list");
    for (std::string const& name : keys) {
      path.addKey(name, "1");
    }
    Gnmi::Resolved found;
    auto const done = Gnmi::Resolver(root).resolve(path, found, mode);
    return done ? "" : done.error().text;
  }

  World world;
  std::size_t args = 0;
  /** Names; each value is "1". */
  std::vector<std::string> keys;
  Zyn::ZynType const text = world.type({.name = "Text", .isScalarKind = true, .isString = true});
  Zyn::ZynType const key;
  Zyn::ZynType const entry = world.type({.name = "Entry"});
  Zyn::ZynType const root = world.type({.name = "Root"});
  Zyn::ZynAttr const list =
      world.attr(root, {.name = "list", .type = entry, .keyed = true, .keyName = std::nullopt, .keyType = key});
};

std::uint64_t seedOf(char const* variable) {
  char const* const given = std::getenv(variable);
  return given == nullptr ? std::random_device()() : std::strtoull(given, nullptr, 10);
}

TEST(KeyParts, AreMissedWhereTheDecoderMissesThem) {
  std::uint64_t const seed = seedOf("KEY_PARTS_SEED");
  SCOPED_TRACE("KEY_PARTS_SEED=" + std::to_string(seed));
  std::mt19937_64 random(seed);
  auto const below = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
  std::string const names[] = {"a", "b", "c", "d", "e", "f"};
  std::size_t whole = 0;
  std::size_t several = 0;
  for (int round = 0; round != 5000; ++round) {
    // Also of names that the type will not have.
    auto const randomArgs = [&] {
      std::vector<std::string> args;
      std::ranges::copy_if(names, std::back_inserter(args), [&](auto const&) { return below(4) == 0; });
      return args;
    };
    Types types(randomArgs());
    std::vector<Zyn::ZynType> all = {types.text, types.text, types.key};
    for (std::size_t i = 1 + below(4); i != 0; --i) {
      all.push_back(types.type("T" + std::to_string(i), randomArgs()));
    }
    for (Zyn::ZynType const type : std::vector(all.begin() + 2, all.end())) {
      for (std::string const& name : names) {
        if (below(10) != 0) {
          types.attr(type, name, all[below(all.size())]);
        }
      }
    }
    ZynKeyDecoder::KeyElemNode root(types.key, false);
    for (std::size_t i = below(10); i != 0; --i) {
      std::string name;
      for (Zyn::ZynType type = types.key; !(type == types.text);) {
        std::string const& element = names[below(std::size(names))];
        if (type.attr(element).empty() || name.size() > 20) {
          break;
        }
        name += (name.empty() ? "" : "__") + element;
        type = type.attr(element).attrType();
      }
      auto const elements = ZynKeyDecoder::splitPath(name);
      bool const isNew = std::ranges::find(types.keys, name) == types.keys.end();
      ZynKeyDecoder::KeyElemNode probe(types.key, false);
      if (isNew && !name.empty() && probe.insertPathSuffix(elements.begin(), elements.end(), Velko::String("1"))) {
        ASSERT_TRUE(root.insertPathSuffix(elements.begin(), elements.end(), Velko::String("1")));
        types.give(name);
      }
    }
    KeyParts::Result const result = types.build();
    types.world.forget();
    trace();
    auto const built = root.instantiate();
    trace(false);
    std::string const error = built ? "" : std::string(built.error().view());
    ASSERT_TRUE(built || error.starts_with("Missing attribute")) << error;
    ASSERT_EQ(result.complete, built.has_value()) << "round " << round << ": " << error;
    if (built) {
      // The decoder looks each argument up.
      ASSERT_EQ(result.arguments, types.world.count(".attr(")) << "round " << round;
      ++whole;
      several += types.world.count("Constructing type") > 1 ? 1 : 0;
    }
  }
  EXPECT_GT(whole, 500U);
  EXPECT_LT(whole, 4500U);
  EXPECT_GT(several, 200U);
  RecordProperty("whole", std::to_string(whole) + ", of several constructions " + std::to_string(several));
}

std::string numbered(std::string_view name, std::size_t number) { return std::string(name) + std::to_string(number); }

std::vector<std::string> numbered(std::string_view name, std::size_t from, std::size_t to) {
  std::vector<std::string> names;
  for (; from != to; ++from) {
    names.push_back(numbered(name, from));
  }
  return names;
}

/** A key type made of `n` of something, and keys for it. */
struct Shape {
  std::string_view name;
  bool complete;
  std::function<std::vector<std::string>(std::size_t n)> keyArgs;
  std::function<void(Types&, std::size_t n)> fill;
};

void fillWide(Types& types, std::size_t n) {
  for (std::string const& name : numbered("a", 0, n)) {
    types.attr(types.key, name, types.text);
    types.give(name);
  }
  types.attr(types.key, "last", types.text);
}

Shape const shapes[] = {
    {"side by side", true, [](std::size_t n) { return numbered("a", 0, n); }, fillWide},
    {"side by side, the last missing", false,
     [](std::size_t n) {
       auto args = numbered("a", 0, n);
       args.emplace_back("last");
       return args;
     },
     fillWide},
    {"side by side, set afterwards", true, [](std::size_t) { return std::vector<std::string>(); }, fillWide},
    {"within each other", true, [](std::size_t) { return std::vector<std::string>{"x", "t"}; },
     [](Types& types, std::size_t n) {
       Zyn::ZynType owner = types.key;
       std::string prefix;
       for (std::size_t i = 0; i != n; ++i) {
         bool const last = i + 1 == n;
         Zyn::ZynType const next =
             types.type(numbered("T", i), last ? std::vector<std::string>{"x"} : std::vector<std::string>{"x", "t"});
         types.attr(owner, "x", types.text);
         types.attr(owner, "t", next);
         types.give(prefix + "x");
         prefix += "t__";
         owner = next;
       }
       types.attr(owner, "x", types.text);
       types.give(prefix + "x");
     }},
    {"each built from parts beside it", true, [](std::size_t) { return std::vector<std::string>{"t0"}; },
     [](Types& types, std::size_t n) {
       for (std::size_t i = 0; i != n; ++i) {
         std::vector<std::string> args = {numbered("x", i)};
         types.attr(types.key, args[0], types.text);
         types.give(args[0]);
         if (i + 1 != n) {
           args.push_back(numbered("t", i + 1));
         }
         types.attr(types.key, numbered("t", i), types.type(numbered("T", i), args));
       }
     }},
    {"each needs the next twice, the last nothing", true,
     [](std::size_t) { return std::vector<std::string>{"s0", "t0"}; },
     [](Types& types, std::size_t n) {
       for (std::size_t i = 0; i != n; ++i) {
         std::vector<std::string> args;
         if (i + 1 != n) {
           args = {numbered("s", i + 1), numbered("t", i + 1)};
         }
         Zyn::ZynType const type = types.type(numbered("T", i), args);
         types.attr(types.key, numbered("s", i), type);
         types.attr(types.key, numbered("t", i), type);
       }
       types.attr(types.key, "x", types.text);
       types.give("x");
     }},
    {"back to the first", false, [](std::size_t) { return std::vector<std::string>{"t0"}; },
     [](Types& types, std::size_t n) {
       for (std::size_t i = 0; i != n; ++i) {
         types.attr(types.key, numbered("t", i), types.type(numbered("T", i), {numbered("t", (i + 1) % n)}));
       }
       types.attr(types.key, "x", types.text);
       types.give("x");
     }},
    {"a long name, of a type within itself", true, [](std::size_t) { return std::vector<std::string>(); },
     [](Types& types, std::size_t n) {
       types.attr(types.key, "t", types.key);
       types.attr(types.key, "x", types.text);
       std::string name;
       for (std::size_t i = 0; i != n; ++i) {
         name += "t__";
       }
       types.give(name + "x");
     }},
};

TEST(KeyParts, TakeStepsAndQueriesByTheirNumber) {
  for (Shape const& shape : shapes) {
    for (std::size_t const n : {50U, 200U, 800U}) {
      SCOPED_TRACE(std::string(shape.name) + ", " + std::to_string(n));
      Types types(shape.keyArgs(n));
      shape.fill(types, n);
      types.world.forget();
      KeyParts::Result const result = types.build();
      EXPECT_EQ(result.complete, shape.complete);
      EXPECT_LE(result.steps, 3 * types.size() + 3);
      EXPECT_LE(types.world.calls(services).size(), 10 * types.size() + 10);
    }
  }
}

TEST(KeyParts, OfALargeKeyAreCountedAsTheDecoderNeedsThem) {
  struct Row {
    std::size_t n, levels, arguments;
  };
  auto const check = [](std::string_view name, Row const& row) {
    auto const shape = std::ranges::find(shapes, name, &Shape::name);
    ASSERT_NE(shape, std::end(shapes));
    Types types(shape->keyArgs(row.n));
    shape->fill(types, row.n);
    KeyParts::Result const result = types.build();
    EXPECT_EQ(result.levels, row.levels) << name;
    EXPECT_EQ(result.arguments, row.arguments) << name;
  };
  check("side by side", {30, 1, 30});
  check("within each other", {30, 31, 61});
  check("a long name, of a type within itself", {30, 31, 0});
  check("each built from parts beside it", {30, 31, 60});
  check("each needs the next twice, the last nothing", {10, 11, (1U << 11U) - 2});
  // More than any number holds: it stays at a number that is large enough.
  check("each needs the next twice, the last nothing", {800, 801, SIZE_MAX / 2});
}

TEST(KeyParts, ThatAreTooManyStopTheCount) {
  // Each of n arguments of type T takes the next part, which is one argument further away: n * n / 2 of them.
  constexpr std::size_t n = 300;
  Types types(numbered("r", 0, n));
  Zyn::ZynType const first = types.type("T", {"a0"});
  for (std::size_t i = 0; i != n; ++i) {
    types.attr(types.key, numbered("r", i), first);
    Zyn::ZynType const part = types.type(numbered("A", i), {numbered("a", i + 1)});
    types.attr(part, numbered("a", i + 1), types.text);
    types.attr(types.key, numbered("a", i), part);
    types.give(numbered("a", i) + "__" + numbered("a", i + 1));
  }
  types.attr(types.key, numbered("a", n), types.text);
  KeyParts::Result const all = types.build();
  EXPECT_TRUE(all.complete);
  EXPECT_GT(all.arguments, n * n / 2);
  EXPECT_GT(all.steps, n * n / 2);
  KeyParts::Result const stopped = types.build(10000);
  EXPECT_TRUE(stopped.complete);
  EXPECT_EQ(stopped.arguments, 10001U);
  EXPECT_LT(stopped.steps, 3U * 10000U);
  EXPECT_EQ(types.build(all.arguments).levels, all.levels);
}

TEST(KeyParts, AreNamedWhereTheyAreLeftOut) {
  Types types({"end", "id", "peer"});
  Zyn::ZynType const site = types.type("Site", {"row", "seat"});
  Zyn::ZynType const end = types.type("End", {"site", "port"});
  types.attr(site, "row", types.text);
  types.attr(site, "seat", types.text);
  types.attr(end, "site", site);
  types.attr(end, "port", types.text);
  types.attr(types.key, "end", end);
  types.attr(types.key, "peer", end);
  types.attr(types.key, "id", types.text);
  types.attr(types.key, "spare", site);
  auto const needs = [&](std::vector<std::string> keys) {
    types.keys = std::move(keys);
    return types.error(Gnmi::Mode::Write);
  };
  EXPECT_EQ(needs({"id"}), "'list' needs key 'end', 'peer' to name one entry");
  EXPECT_EQ(needs({"id", "end__site__row"}),
            "'list' needs key 'peer', 'end__port', 'end__site__seat' to name one entry");
  EXPECT_EQ(needs({"end__site__row", "end__site__seat", "end__port", "peer__port", "id"}),
            "'list' needs key 'peer__site' to name one entry");
  // What is set afterwards is whole as well.
  EXPECT_EQ(needs({"end__site__row", "end__site__seat", "end__port", "peer__site__row", "peer__site__seat",
                   "peer__port", "id", "spare__seat"}),
            "'list' needs key 'spare__row' to name one entry");
  // Every level lacks one.
  Types deep({"x", "y"});
  deep.attr(deep.key, "t", deep.key);
  deep.attr(deep.key, "x", deep.text);
  deep.attr(deep.key, "y", deep.text);
  deep.give("x");
  for (int i = 0; i != 20'000; ++i) {
    deep.keys[0].insert(0, "t__");
  }
  std::string const text = deep.error(Gnmi::Mode::Write);
  EXPECT_TRUE(text.starts_with("'list' needs key 'x', 'y', 't__x', 't__y', 't__t__x', ")) << text;
  EXPECT_TRUE(text.ends_with(" and 39989 more to name one entry")) << text;
}

TEST(KeyParts, OfAKeyThatIsTooLargeAreRefused) {
  {
    Types types;
    types.attr(types.key, "t", types.key);
    types.attr(types.key, "x", types.text);
    std::string name = "x";
    for (int level = 1; level != 1000; ++level) {
      name.insert(0, "t__");
    }
    types.give(name);
    EXPECT_EQ(types.error(), "");
    types.keys[0].insert(0, "t__");
    EXPECT_EQ(types.error(), "the key of 'list' nests more than 1000 levels deep");
  }
  {
    auto const shape = std::ranges::find(shapes, "each needs the next twice, the last nothing", &Shape::name);
    Types types(shape->keyArgs(60));
    shape->fill(types, 60);
    EXPECT_EQ(types.error(), "the key of 'list' takes more than 1000000 arguments");
  }
}

TEST(KeyParts, AreAsManyAsANameHolds) {
  std::string deep;
  for (int i = 0; i != 100000; ++i) {
    deep += "t__";
  }
  // With the second argument list, a part is missing: a filter, which takes no parts of parts.
  for (auto const& [args, error] : {std::pair{std::vector<std::string>(), "the key of 'list' nests more than 1000 "},
                                    std::pair{std::vector<std::string>{"x"}, "Filtering nested key 't__t__"}}) {
    Types types(args);
    types.attr(types.key, "t", types.key);
    types.attr(types.key, "x", types.text);
    types.give(deep + "x");
    EXPECT_TRUE(types.error().starts_with(error)) << types.error().substr(0, 100);
    types.keys[0] += "x";
    EXPECT_TRUE(types.error().starts_with("unknown key 't__t__")) << types.error().substr(0, 100);
  }
}

}  // namespace
}  // namespace Recording
