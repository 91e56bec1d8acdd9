// Cases at random: half of the keys are good, half are bent.
#include <algorithm>
#include <array>
#include <iterator>
#include <span>
#include <string_view>
#include <vector>

#include "Velko/Exception.h"
#include "model/Value.h"
#include "tests/naive/Case.h"

namespace Naive {
namespace {

using Model::Kind;
using Model::Mark;

/** The same numbers on every machine, unlike the distributions of the standard library. */
class Random {
 public:
  explicit Random(std::uint64_t seed) : state_(seed) {}

  std::uint64_t next() {
    state_ += 0x9E3779B97F4A7C15U;
    std::uint64_t mixed = state_;
    mixed = (mixed ^ (mixed >> 30U)) * 0xBF58476D1CE4E5B9U;
    mixed = (mixed ^ (mixed >> 27U)) * 0x94D049BB133111EBU;
    return mixed ^ (mixed >> 31U);
  }
  std::size_t below(std::size_t limit) { return static_cast<std::size_t>(next() % limit); }
  int from(int least, int most) { return least + static_cast<int>(below(static_cast<std::size_t>(most - least) + 1)); }
  bool percent(std::size_t chance) { return below(100) < chance; }
  template <typename List>
  auto const& of(List const& list) {
    return *std::next(std::begin(list), static_cast<std::ptrdiff_t>(below(std::size(list))));
  }
  template <typename T>
  void shuffle(std::vector<T>& list) {
    for (std::size_t i = list.size(); i > 1; --i) {
      std::swap(list[i - 1], list[below(i)]);
    }
  }

 private:
  std::uint64_t state_;
};

// Few names, so that types share them. Some look like parts of paths and of format texts.
constexpr std::array<std::string_view, 9> names = {"a", "b", "c", "d", "e", "key", "value", "_a", "{}"};

// What may stand where a value or a name is expected.
constexpr std::array<std::string_view, 20> hostile = {
    "",         "*",       "**",   " *",      "\"",
    "'",        "\"red\"", "{}",   "{0}{:d}", std::string_view("\0", 1),
    "\xff\xfe", "_",       "__",   "a__b",    std::string_view("re\0d", 4),
    "-1",       "65536",   "%s%n", "===",     "5",
};

std::string literalOf(Kind kind, Random& random) {
  using Texts = std::vector<std::string_view>;
  static std::array<Texts, coreTypes> const texts = {{
      {"true", "false"},
      {"-128", "127", "0", "128"},
      {"-32768", "5", "32768"},
      {"7", "-2147483648"},
      {"-1", "9223372036854775807"},
      {"0", "5", "255", "256"},
      {"5", "65535", "65536"},
      {"5", "4294967295"},
      {"5", "18446744073709551615"},
      {"1.5", "5", "-0"},
      {"0.25", "-3e2", "5"},
      {"red", "blue", "5", "", "a\"b", "x-y", "true", "10.0.0.1"},
      {"AAEC", "", "/w=="},
      {"1.5", "-2", "0.000000001"},
      {"2024-02-29T12:34:56Z", "1970-01-01T00:00:00.5Z"},
      {"10.0.0.1", "::1"},
      {"10.1.2.3/8", "2001:db8::1/32"},
      {"02:00:5e:10:00:ff", "02:00:5E:10:00:FF"},
  }};
  return std::string(random.of(texts.at(static_cast<std::size_t>(kind))));
}

// ---- schemas

TypeNumber randomType(Random& random, std::size_t typesSoFar) {
  if (typesSoFar == 0 || random.percent(45)) {
    constexpr std::array<Kind, 5> often = {Kind::String, Kind::U8, Kind::U32, Kind::Bool, Kind::IpAddress};
    return random.percent(70) ? static_cast<int>(random.of(often)) : random.from(0, coreTypes - 1);
  }
  // Late ones hold more.
  std::size_t const back = std::min(random.below(typesSoFar), random.below(typesSoFar));
  return coreTypes + static_cast<int>(typesSoFar - 1 - back);
}

std::vector<Attribute> randomAttrs(Random& random, std::size_t count, std::size_t typesSoFar) {
  std::vector<std::string> free(names.begin(), names.end());
  for (char letter = 'f'; letter < 'j'; ++letter) {
    free.emplace_back(1, letter);
  }
  // The first ones are taken more often: types share names.
  if (random.percent(30)) {
    random.shuffle(free);
  }
  std::vector<Attribute> attrs;
  for (std::size_t i = 0; i < count; ++i) {
    attrs.push_back({free.at(i), randomType(random, typesSoFar)});
  }
  random.shuffle(attrs);
  return attrs;
}

std::string randomPattern(Random& random, Type const& type) {
  std::string pattern = random.percent(20) ? "<" : "";
  std::vector<Attribute> named = type.attrs;
  random.shuffle(named);
  for (std::size_t i = 0; i < named.size(); ++i) {
    constexpr std::array<std::string_view, 4> separators = {"-", "/", ":", "--"};
    pattern += i == 0 ? "" : random.of(separators);
    pattern += "{" + named[i].name + "}";
  }
  return pattern;
}

Type randomValueType(Random& random, std::size_t typesSoFar) {
  Type type{.kind = Kind::Value};
  // More than eight arguments no longer fit inline.
  std::size_t const count = random.percent(5) ? 10 + random.below(3) : random.below(5) + (random.percent(90) ? 1 : 0);
  type.attrs = randomAttrs(random, count, typesSoFar);
  for (Attribute const& attr : type.attrs) {
    if (random.percent(count > 8 ? 90 : 65)) {
      type.args.push_back(attr.name);
    }
  }
  random.shuffle(type.args);
  bool const hasBraces = std::ranges::any_of(type.attrs, [](Attribute const& attr) { return attr.name == "{}"; });
  if (random.percent(15) && count != 0 && !hasBraces) {
    type.gnmi = randomPattern(random, type);
  }
  if (random.percent(40) && count != 0) {
    for (Attribute const& attr : type.attrs) {
      if (random.percent(80) || std::ranges::find(type.args, attr.name) != type.args.end()) {
        type.s4.emplace_back(attr.name, static_cast<std::uint32_t>(type.s4.size() + 1 + random.below(2) * 20));
      }
    }
    // A number may have come twice.
    for (std::size_t i = 0; i < type.s4.size(); ++i) {
      type.s4[i].second =
          type.s4[i].second > 20 ? static_cast<std::uint32_t>(100 + i) : static_cast<std::uint32_t>(1 + i);
    }
  }
  if (random.percent(6) && count != 0) {
    type.valAttr = random.of(type.attrs).name;
  }
  return type;
}

Type randomType(Random& random, std::size_t typesSoFar, bool isLast) {
  std::size_t const dice = isLast ? 99 : random.below(100);
  Type type;
  if (dice < 12) {
    type.kind = Kind::Enum;
    for (std::string_view const name : {"red", "blue", "5", "a'b", "{}", "*"}) {
      if (type.enumerators.empty() || random.percent(50)) {
        type.enumerators.emplace_back(name);
      }
    }
  } else if (dice < 30) {
    type.kind = Kind::Wrapper;
    type.attrs = {{"value", randomType(random, typesSoFar)}};
  } else if (dice < 48) {
    type.kind = Kind::Union;
    type.attrs = randomAttrs(random, random.below(5), typesSoFar);
  } else if (dice < 54) {
    type.kind = static_cast<Kind>(random.below(coreTypes));
  } else {
    type = randomValueType(random, typesSoFar);
  }
  while (random.percent(14)) {
    constexpr std::array<Mark, 6> marks = {Mark::Value,      Mark::Enum,  Mark::S4,
                                           Mark::GnmiString, Mark::Union, Mark::ScalarKind};
    type.marks.emplace_back(random.of(marks), random.percent(65));
  }
  return type;
}

/**
 * Two composite attributes of the key, each built from an argument that has the other's name: arguments are looked up
 * on the node that is being built, so the two lead to each other.
 */
void addCircle(Random& random, Case& one) {
  auto const leadsTo = [&](std::string const& name) {
    Type type{.kind = Kind::Value, .attrs = {{name, static_cast<int>(Kind::U8)}}, .args = {name}};
    if (random.percent(40)) {
      type.attrs.push_back({"d", static_cast<int>(Kind::String)});
      type.args.insert(type.args.begin(), "d");
    }
    one.types.push_back(type);
    return coreTypes + static_cast<int>(one.types.size() - 1);
  };
  Type key{.kind = Kind::Value, .attrs = {{"a", leadsTo("b")}, {"b", leadsTo("a")}}, .args = {"a"}};
  key.attrs.push_back({"d", static_cast<int>(random.percent(50) ? Kind::String : Kind::U8)});
  if (random.percent(40)) {
    key.attrs.push_back({"e", randomType(random, one.types.size())});
    key.args.insert(key.args.begin() + random.from(0, 1), "e");
  }
  if (random.percent(40)) {
    key.args.emplace_back("b");
  }
  one.types.push_back(key);
}

void addSchema(Random& random, Case& one) {
  std::size_t const count = 1 + random.below(8);
  for (std::size_t i = 0; i < count; ++i) {
    one.types.push_back(randomType(random, i, i + 1 == count && random.percent(85)));
  }
  if (random.percent(8)) {
    addCircle(random, one);
  }
  TypeNumber const last = coreTypes + static_cast<int>(one.types.size()) - 1;
  TypeNumber const key = random.percent(93) ? last : randomType(random, one.types.size());

  // The entries have the key, and often fields of the key as well.
  if (random.percent(94)) {
    one.entry.push_back({"key", key});
  }
  if (key >= coreTypes) {
    for (Attribute const& field : one.types[static_cast<std::size_t>(key - coreTypes)].attrs) {
      bool const isNew = std::ranges::none_of(one.entry, [&](Attribute const& a) { return a.name == field.name; });
      if (isNew && random.percent(45)) {
        one.entry.push_back({field.name, random.percent(70) ? field.type : randomType(random, one.types.size())});
      }
    }
  }
  constexpr std::array<std::string_view, 4> otherNames = {"", "a", "nokey", "value"};
  if (random.percent(85)) {
    one.by = "key";
  } else if (random.percent(70)) {
    one.by = random.of(otherNames);
  }
  if (random.percent(one.entry.empty() ? 90 : 60)) {
    one.keyType = key;
  }
  if (random.percent(10)) {
    constexpr std::array<Shape, 3> others = {Shape::List, Shape::Plain, Shape::None};
    one.shape = random.of(others);
  }
  if (one.shape != Shape::Keyed || random.percent(5)) {
    one.root = random.percent(90) ? key : randomType(random, one.types.size());
  }
}

// ---- texts that decode

Velko::Ptr<Zyn::GenericIf> makeValue(Random& random, Zyn::ZynType type);

Zyn::GenericIfArgs makeArgs(Random& random, Zyn::ZynType type) {
  Zyn::GenericIfArgs args;
  for (auto name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
    args.emplace_back(makeValue(random, type.attr(*name).attrType()));
  }
  return args;
}

std::vector<Zyn::ZynAttr> attrsOf(Zyn::ZynType type) {
  std::vector<Zyn::ZynAttr> attrs;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    attrs.push_back(*attr);
  }
  return attrs;
}

Velko::Ptr<Zyn::GenericIf> makeValue(Random& random, Zyn::ZynType type) {
  auto const literal = [&](std::string const& text) {
    return type.genericIf(Velko::String(std::string_view(text)), false);
  };
  switch (Kind const kind = Model::kindOf(type)) {
    case Kind::Enum:
      return literal("'" + random.of(Model::enumerators(type)).name + "'");
    case Kind::String:
      return literal("\"" + literalOf(kind, random) + "\"");
    case Kind::Wrapper:
      return type.genericIf(makeArgs(random, type), false);
    case Kind::Value:
    case Kind::Union: {
      bool const isUnion = kind == Kind::Union;
      auto value = isUnion ? type.genericIf(static_cast<void const*>(nullptr), false)
                           : type.genericIf(makeArgs(random, type), false);
      std::vector<Zyn::ZynAttr> attrs = attrsOf(type);
      random.shuffle(attrs);
      attrs.resize(std::min<std::size_t>(attrs.size(), isUnion ? 1 : random.below(3)));
      for (Zyn::ZynAttr const attr : attrs) {
        attr.genericIfSet(value, nullptr, makeValue(random, attr.attrType()));
      }
      return value;
    }
    default:
      return literal(literalOf(kind, random));
  }
}

std::string s4TextOf(Random& random, Zyn::ZynType type) {
  std::string text;
  try {
    text = Model::s4Text(*makeValue(random, type));
    if (random.percent(3) && Model::kindOf(type) == Kind::Value) {
      // A field that nobody knows, so long that it takes more than one slice: number 18, 3,000 to 8,000 bytes.
      std::size_t const groups = static_cast<std::size_t>(random.from(1000, 2600));
      std::size_t const bytes = groups * 3 - 4;
      std::string head;
      auto const group = [&](std::uint32_t bits) {
        constexpr std::string_view alphabet = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
        for (unsigned shift = 24; shift != 0; shift -= 6) {
          head += alphabet[bits >> (shift - 6) & 63U];
        }
      };
      group(0x920100U | (static_cast<std::uint32_t>(bytes) & 0x7FU) | 0x80U);
      group((static_cast<std::uint32_t>(bytes) >> 7U) << 16U);
      text = head + std::string((bytes - 2) / 3 * 4, 'A') + text;
    }
  } catch (Velko::Exception const&) {
    return "CAE=";
  }
  if (random.percent(20)) {
    text.resize(std::min(text.size(), text.find('=')));
  }
  return text;
}

/** What the type takes, more often than not. */
std::string goodText(Random& random, Zyn::ZynType type, bool s4) {
  if (type.empty()) {
    return "x";
  }
  if (s4 && type.hasS4Encoding() && type.valAttr().empty()) {
    return s4TextOf(random, type);
  }
  if (!type.hasGnmiStringForm() && !type.valAttr().empty()) {
    return goodText(random, type.valAttr().attrType(), s4);
  }
  switch (Kind const kind = Model::kindOf(type)) {
    case Kind::Enum:
      return random.of(Model::enumerators(type)).name;
    case Kind::Wrapper:
    case Kind::Union: {
      std::vector<Zyn::ZynAttr> const attrs = attrsOf(type);
      return attrs.empty() ? "x" : goodText(random, random.of(attrs).attrType(), s4);
    }
    case Kind::Value: {
      std::string text(Model::gnmiPattern(type));
      for (Zyn::ZynAttr const attr : attrsOf(type)) {
        std::string const name = "{" + std::string(attr.name()) + "}";
        if (std::size_t const at = text.find(name); at != std::string::npos) {
          text.replace(at, name.size(), goodText(random, attr.attrType(), false));
        }
      }
      return text.empty() ? "x" : text;
    }
    default:
      return literalOf(kind, random);
  }
}

// ---- what is asked

bool isWhole(Zyn::ZynType type, bool s4) {
  return (s4 && type.hasS4Encoding()) || type.isEnumType() || type.isScalarKind() || !type.valAttr().empty();
}

/** A path to every field of a key, but for composite parts that are left to be built from what stands around, and a
 * path to a composite part now and then. */
void addFields(Random& random, World const& world, Zyn::ZynType type, std::string const& before, int depth, Case& one,
               std::vector<Step>& fields) {
  for (Zyn::ZynAttr const attr : attrsOf(type)) {
    std::string const path = before + attr.name();
    if (fields.size() >= 16) {
      return;
    }
    if (isWhole(attr.attrType(), one.treeS4)) {
      fields.push_back({.job = Job::Path, .path = path, .value = goodText(random, attr.attrType(), one.treeS4)});
    } else if (random.percent(3)) {
      fields.push_back({.job = Job::Path, .path = path, .value = "x"});
    } else if (depth < 5 && random.percent(93)) {
      addFields(random, world, attr.attrType(), path + "__", depth + 1, one, fields);
    }
  }
}

std::string hostileText(Random& random) {
  if (random.percent(3)) {
    return std::string(static_cast<std::size_t>(random.from(60, 5000)), 'x');
  }
  return std::string(random.of(hostile));
}

std::string bentPath(Random& random, std::string path) {
  switch (random.below(9)) {
    case 0:
      return path + "__" + std::string(random.of(names));
    case 1:
      return path + "__";
    case 2:
      return "__" + path;
    case 3:
      return path.substr(0, path.rfind("__"));
    case 4: {
      std::size_t const separator = path.find("__");
      return separator == std::string::npos ? path : path.substr(separator + 2);
    }
    case 5:
      return path.insert(path.find('_') == std::string::npos ? 0 : path.find('_'), "_");
    case 6:
      return std::string(random.of(names)) + "__" + path;
    case 7:
      return path.empty() ? "K" : path.replace(random.below(path.size()), 1, 1, "_Aa\0{"[random.below(5)]);
    default:
      return hostileText(random);
  }
}

std::string bentText(Random& random, std::string text) {
  switch (random.below(5)) {
    case 0:
      return text.substr(0, random.below(text.size() + 1));
    case 1:
      return text.insert(random.below(text.size() + 1), random.of(hostile));
    case 2:
      return "\"" + text + "\"";
    default:
      return hostileText(random);
  }
}

void bendFields(Random& random, std::vector<Step>& fields) {
  for (int bends = random.from(1, 3); bends != 0 && !fields.empty(); --bends) {
    std::size_t const at = random.below(fields.size());
    switch (random.below(7)) {
      case 0:
        fields.erase(fields.begin() + static_cast<std::ptrdiff_t>(at));
        break;
      case 1:
        fields.push_back(fields[at]);
        fields.back().value = random.percent(50) ? fields[random.below(fields.size())].value : hostileText(random);
        break;
      case 2:
        random.shuffle(fields);
        break;
      case 3:
      case 4:
        fields[at].path = bentPath(random, fields[at].path);
        break;
      default:
        fields[at].value = bentText(random, fields[at].value);
        break;
    }
  }
}

void maybeRefuse(Random& random, Step& step) {
  if (random.percent(4)) {
    step.refusedCall = random.from(1, 6);
    step.answersNull = random.percent(40);
  }
}

void addKey(Random& random, World const& world, Case& one, bool isBent) {
  std::vector<Step> fields;
  bool const isNamed = one.shape == Shape::Keyed && one.by == "key" && !one.entry.empty() &&
                       one.entry.front().name == "key" && random.percent(90);
  std::string const before = isNamed ? "key" : "";
  if (!world.root.empty()) {
    if (isWhole(world.root, one.treeS4) || random.percent(2)) {
      fields.push_back({.job = Job::Path, .path = before, .value = goodText(random, world.root, one.treeS4)});
    } else {
      addFields(random, world, world.root, isNamed ? "key__" : "", 0, one, fields);
    }
  } else {
    fields.push_back({.job = Job::Path, .path = before + "__a", .value = "x"});
  }
  if (isBent) {
    bendFields(random, fields);
  }
  for (Step& field : fields) {
    if (isBent && random.percent(3)) {
      field.job = Job::Suffix;
    }
  }
  one.steps.insert(one.steps.end(), fields.begin(), fields.end());
  if (isBent && random.percent(15)) {
    one.steps.push_back({.job = Job::Construct, .type = randomType(random, one.types.size())});
  }
  one.steps.push_back({.job = Job::Instantiate});
  if (random.percent(25)) {
    one.steps.push_back({.job = Job::Instantiate});
  }
  if (isBent && !fields.empty() && random.percent(15)) {
    one.steps.push_back(random.of(fields));
    one.steps.push_back({.job = Job::Instantiate});
  }
}

void addScalar(Random& random, World const& world, Case& one, bool isBent) {
  TypeNumber const number = random.percent(2) ? -1 : randomType(random, one.types.size());
  Step step{.job = Job::Scalar,
            .path = one.by.value_or("any"),
            .value = goodText(random, world.type(number), one.decoderS4),
            .type = number};
  if (random.percent(8)) {
    step.value = "*";
  }
  if (isBent && random.percent(25)) {
    step.path = bentPath(random, step.path);
  }
  if (isBent && random.percent(70)) {
    step.value = bentText(random, step.value);
  }
  one.steps.push_back(step);
}

void addFilter(Random& random, World const& world, Case& one, bool isBent) {
  std::vector<Zyn::ZynAttr> const attrs = attrsOf(world.collection.keyType());
  Zyn::ZynAttr const attr = attrs.empty() ? Zyn::ZynAttr() : random.of(attrs);
  Step step{.job = Job::Filter, .path = attr.name(), .value = goodText(random, attr.attrType(), one.decoderS4)};
  if (random.percent(8)) {
    step.value = "*";
  }
  if (isBent && random.percent(30)) {
    step.path = bentPath(random, step.path);
  }
  if (isBent && random.percent(50)) {
    step.value = bentText(random, step.value);
  }
  one.steps.push_back(step);
}

void addSplit(Random& random, Case& one) {
  std::string path;
  while (random.percent(85)) {
    path += random.percent(60) ? "_" : random.percent(80) ? "a" : random.of(hostile);
  }
  one.steps.push_back({.job = Job::Split, .path = path});
}

}  // namespace

Case randomCase(std::uint64_t seed) {
  Random random(seed);
  Case one;
  addSchema(random, one);
  one.decoderS4 = random.percent(50);
  one.treeS4 = random.percent(80) ? one.decoderS4 : !one.decoderS4;
  one.traces = random.percent(50);
  World const world(one);
  bool const isBent = random.percent(50);
  if (random.percent(65)) {
    addKey(random, world, one, isBent);
  } else {
    addScalar(random, world, one, isBent);
  }
  for (std::size_t scalars = random.percent(30) ? 1 + random.below(4) : 0; scalars != 0; --scalars) {
    addScalar(random, world, one, isBent);
  }
  for (std::size_t filters = random.percent(30) ? 1 + random.below(4) : 0; filters != 0; --filters) {
    addFilter(random, world, one, isBent);
  }
  if (random.percent(20)) {
    addSplit(random, one);
  }
  if (isBent) {
    for (Step& step : one.steps) {
      maybeRefuse(random, step);
    }
  }
  return one;
}

}  // namespace Naive
