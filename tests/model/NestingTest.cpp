// How deep types may nest and to how many types one may lead, what building costs by that, and that a thread's stack
// bears whatever is done with values of the deepest.
#include <absl/strings/escaping.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <cstddef>
#include <cstdint>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Velko/Pb.h"
#include "model/Schema.h"
#include "model/Value.h"
#include "model/Zyn/Tables.h"
#include "tests/model/Network.h"

namespace ModelTest {
namespace {

using Model::core;
using Model::mostLevels;

std::string nameOf(std::uint32_t level) { return "T" + std::to_string(level); }

/** A type of one more level, which holds a value of `inner`. */
using Add = Zyn::ZynType (*)(Model::Module&, std::uint32_t level, Zyn::ZynType inner);

Zyn::ZynType addWrapper(Model::Module& m, std::uint32_t level, Zyn::ZynType inner) {
  return m.wrapper(nameOf(level), inner).mark(Model::Mark::S4);
}

Zyn::ZynType addUnion(Model::Module& m, std::uint32_t level, Zyn::ZynType inner) {
  return m.unionOf(nameOf(level), {{"no", core(Kind::Bool)}, {"inner", inner}}).mark(Model::Mark::S4);
}

Zyn::ZynType addValue(Model::Module& m, std::uint32_t level, Zyn::ZynType inner) {
  return m.value(nameOf(level)).attr("inner", inner).args({"inner"}).gnmi("{inner}").s4({{"inner", 1}});
}

Zyn::ZynType addMixed(Model::Module& m, std::uint32_t level, Zyn::ZynType inner) {
  return (level % 3 == 0 ? addWrapper : level % 3 == 1 ? addUnion : addValue)(m, level, inner);
}

/** The outermost of so many types around U8. */
Zyn::ZynType chain(Model::Module& m, Add add, std::uint32_t levels) {
  Zyn::ZynType type = core(Kind::U8);
  for (std::uint32_t level = 1; level <= levels; ++level) {
    type = add(m, level, type);
  }
  return type;
}

/** What `act` refuses; empty when it refuses nothing. */
template <typename Act>
std::string refusalOf(Act&& act) {
  try {
    act();
  } catch (Model::SchemaError const& error) {
    return error.what();
  }
  return "";
}

std::string tooDeep(std::string const& attr, std::string const& owner, std::string const& deepest, int levels) {
  return "the attribute '" + attr + "' of 'M::" + owner + "' would make 'M::" + deepest + "' " +
         std::to_string(levels) + " levels deep; types nest at most 1000 levels";
}

struct Shape {
  char const* name;
  Add add;
  char const* attr;
};

Shape const shapes[] = {
    {"Wrappers", addWrapper, "value"},
    {"Unions", addUnion, "inner"},
    {"Values", addValue, "inner"},
    {"Mixed", addMixed, "inner"},
};

class Nesting : public testing::TestWithParam<Shape> {
 protected:
  Model::Schema schema;
  Model::Module& m = schema.module("M");
};

INSTANTIATE_TEST_SUITE_P(Shapes, Nesting, testing::ValuesIn(shapes), [](auto const& info) { return info.param.name; });

TEST_P(Nesting, IsBounded) {
  Zyn::ZynType const deepest = chain(m, GetParam().add, mostLevels);
  EXPECT_EQ(refusalOf([&] { GetParam().add(m, 1001, deepest); }), tooDeep(GetParam().attr, "T1001", "T1001", 1001));
  // What was refused did not count, and an entity never does.
  EXPECT_EQ(refusalOf([&] { m.entity("E").attr("a", deepest).keyed("b", m.find("E"), "a").list("c", deepest); }), "");
  EXPECT_EQ(refusalOf([&] { m.extend(m.find("E")).attr("self", m.find("E")).valAttr("a"); }), "");
}

/** Runs `act` on a thread with a stack of so many bytes. */
void onStackOf(std::size_t bytes, std::function<void()> act) {
  pthread_attr_t attributes;
  pthread_attr_init(&attributes);
  ASSERT_EQ(pthread_attr_setstacksize(&attributes, bytes), 0);
  pthread_t thread{};
  auto const start = [](void* argument) -> void* {
    (*static_cast<std::function<void()>*>(argument))();
    return nullptr;
  };
  ASSERT_EQ(pthread_create(&thread, &attributes, start, &act), 0);
  pthread_join(thread, nullptr);
  pthread_attr_destroy(&attributes);
}

/** Every function that walks a value or a type. */
void useAll(Model::Schema const& schema, Zyn::ZynType type) {
  Value const value = gnmi(type, "7");
  Value const other = gnmi(type, "8");
  EXPECT_NE(Model::print(*value), Model::print(*other));
  EXPECT_NE(Model::toJson(*value).dump(), Model::toJson(*other).dump());
  EXPECT_TRUE(Model::compare(*value, *other) < 0);
  EXPECT_TRUE(Model::equal(*value, *gnmi(type, "7")));
  EXPECT_EQ(Model::hash(*value), Model::hash(*gnmi(type, "7")));
  std::string const s4 = Model::s4Text(*value);
  std::string message;
  ASSERT_TRUE(absl::Base64Unescape(s4, &message));
  Velko::Pb::ReadCursor cursor{message.data(), 0, message.size()};
  EXPECT_TRUE(Model::equal(*value, *type.genericIfFromPbMessage(&cursor, false)));
  message.back() = '\xFF';
  Velko::Pb::ReadCursor cut{message.data(), 0, message.size()};
  EXPECT_THROW(type.genericIfFromPbMessage(&cut, false), Velko::Pb::PbReadException);
  EXPECT_THAT(errorOf([&] { gnmi(type, "256"); }), testing::HasSubstr("'256' does not fit"));
  EXPECT_THAT(errorOf([&] { literal(type, "x"); }), testing::HasSubstr("'x' does not fit"));
  EXPECT_THAT(Model::protoFile(schema), testing::HasSubstr("message T1000 {"));
  Value const whole = initial(type);
  Zyn::ZynAttr const last = type.attr(Model::kindOf(type) == Kind::Wrapper ? "value" : "inner");
  last.genericIfSet(whole, nullptr, Model::attribute(*value, last));
  EXPECT_TRUE(Model::matches(
      std::vector<std::pair<Zyn::ZynAttr, Model::ValuePtr>>{{last, Model::attribute(*value, last)}}, *whole));
}

TEST_P(Nesting, FitsOnTheStack) {
  Zyn::ZynType const deepest = chain(m, GetParam().add, mostLevels);
  onStackOf(std::size_t{STACK_KIB} * 1024, [&] { useAll(schema, deepest); });
}

TEST(NestingGrows, WhenATypeIsExtendedThatOthersUse) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const bottom = m.value("Bottom").attr("a", core(Kind::U8));
  Zyn::ZynType const holder = m.value("Holder").attr("left", bottom).attr("right", bottom);
  Zyn::ZynType const aside = m.unionOf("Aside", {{"bottom", bottom}});
  Zyn::ZynType type = holder;
  // The holder is two levels, as it has two parts.
  for (std::uint32_t level = 4; level <= 998; ++level) {
    type = m.wrapper(nameOf(level), type);
  }
  Zyn::ZynType const one = m.wrapper("One", core(Kind::U8));
  Zyn::ZynType const two = m.wrapper("Two", one);
  Zyn::ZynType const three = m.wrapper("Three", two);
  EXPECT_EQ(refusalOf([&] { m.extend(bottom).attr("x", three); }), tooDeep("x", "Bottom", "T998", 1001));
  // A refusal leaves every depth as it was.
  EXPECT_EQ(refusalOf([&] { m.extend(bottom).attr("x", two); }), "");
  EXPECT_EQ(refusalOf([&] { m.extend(bottom).attr("y", two).attr("z", one).attr("b", core(Kind::U8)); }), "");
  EXPECT_EQ(refusalOf([&] { m.extend(holder).attr("x", three).attr("aside", aside); }),
            tooDeep("aside", "Holder", "T998", 1001));
  EXPECT_EQ(refusalOf([&] { m.wrapper("T1001", type); }), tooDeep("value", "T1001", "T1001", 1001));
  EXPECT_EQ(refusalOf([&] { m.entity("E").attr("type", type); }), "");
}

TEST(NestingGrows, OutsideIn) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  std::vector<Zyn::ZynType> types;
  for (std::uint32_t level = 0; level <= mostLevels; ++level) {
    types.push_back(m.value(nameOf(level)));
  }
  for (std::uint32_t level = 0; level + 1 < mostLevels; ++level) {
    m.extend(types[level]).attr("inner", types[level + 1]);
  }
  EXPECT_EQ(refusalOf([&] { m.extend(types[999]).attr("inner", types[1000]); }), tooDeep("inner", "T999", "T0", 1001));
  EXPECT_THAT(refusalOf([&] { m.extend(types[999]).attr("inner", types[500]); }),
              testing::AllOf(testing::StartsWith("'M::T999' would contain itself by M::T999.inner, M::T500.inner"),
                             testing::HasSubstr(" and 488 more; leave one of these attributes out")));
}

TEST(NestingGrows, ByEachPartOfAKey) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const site = m.value("Site").attr("row", core(Kind::U8));
  Zyn::ZynType const key = m.value("Key").attr("first", site);
  // 999 sites within each other at most, and what the last one holds is one level more.
  for (int i = 1; i != 998; ++i) {
    m.extend(key).attr("a" + std::to_string(i), site).attr("u" + std::to_string(i), core(Kind::U8));
  }
  EXPECT_EQ(refusalOf([&] { m.extend(key).attr("last", site); }), "");
  EXPECT_EQ(refusalOf([&] { m.extend(key).attr("more", site); }), tooDeep("more", "Key", "Key", 1001));
  EXPECT_EQ(refusalOf([&] { m.extend(key).attr("number", core(Kind::U8)); }), "");
  EXPECT_EQ(refusalOf([&] { m.extend(site).attr("seat", m.wrapper("Seat", core(Kind::U8))); }),
            tooDeep("seat", "Site", "Key", 1001));
}

TEST(NestingGrows, NotForAnotherSchema) {
  Model::Schema base;
  Model::Module& m = base.module("M");
  Zyn::ZynType const bottom = m.value("Bottom");
  Zyn::ZynType const holder = m.value("Holder").attr("bottom", bottom);
  {
    Model::Schema upper;
    Zyn::ZynType const user = upper.module("Upper").value("User").attr("holder", holder);
    EXPECT_EQ(refusalOf([&] { m.extend(bottom).attr("user", user); }),
              "'M::Bottom' would contain itself by M::Bottom.user, Upper::User.holder, M::Holder.bottom; leave one of "
              "these attributes out");
  }
  Zyn::ZynType const one = m.wrapper("One", core(Kind::U8));
  EXPECT_EQ(refusalOf([&] { m.extend(bottom).attr("one", one); }),
            "the attribute 'one' of 'M::Bottom' would make 'M::Holder' deeper, which another schema uses; add it "
            "before");
  EXPECT_EQ(refusalOf([&] { m.extend(bottom).attr("a", core(Kind::U8)); }), "");
  EXPECT_EQ(refusalOf([&] { m.extend(holder).attr("one", one); }), "");
}

TEST(NestingGrows, NotByAUnionThatWasRefused) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const bottom = m.value("Bottom");
  for (int i = 0; i < 3; ++i) {
    EXPECT_NE(refusalOf([&] { m.unionOf("U", {{"a", bottom}, {"b", bottom}, {"", bottom}}); }), "");
  }
  Zyn::ZynType const other = m.value("Other").attr("bottom", bottom);
  EXPECT_EQ(refusalOf([&] { m.extend(bottom).attr("a", m.wrapper("One", core(Kind::U8))); }), "");
  EXPECT_EQ(Model::kindOf(other), Kind::Value);
}

std::string tooMany(std::string const& attr, std::string const& owner, std::string const& type, int types) {
  return "the attribute '" + attr + "' of 'M::" + owner + "' would make 'M::" + type + "' lead to " +
         std::to_string(types) + " types, each counted once for each way there; a type leads to at most 100000";
}

std::vector<Model::Attribute> flat(std::size_t count) {
  std::vector<Model::Attribute> attrs;
  for (std::size_t i = 0; i < count; ++i) {
    attrs.push_back({"a" + std::to_string(i), core(Kind::U8)});
  }
  return attrs;
}

TEST(TypesBelow, AreCountedOnceForEachWay) {
  struct Twice {
    char const* why;
    Add add;
    char const* refused;
    char const* attr;
    int types;
  };
  // Each level is refused where the one before still fits: 2, 6, 14, ... and with wrappers 4, 12, 28, ...
  for (Twice const &row : {
           Twice{"unions",
                 [](Model::Module& m, std::uint32_t level, Zyn::ZynType inner) -> Zyn::ZynType {
                   return m.unionOf(nameOf(level), {{"a", inner}, {"b", inner}});
                 },
                 "T16", "b", 131070},
           Twice{"value types",
                 [](Model::Module& m, std::uint32_t level, Zyn::ZynType inner) -> Zyn::ZynType {
                   return m.value(nameOf(level)).attr("a", inner).attr("b", inner).args({"a", "b"});
                 },
                 "T16", "b", 131070},
           Twice{"unions of wrappers",
                 [](Model::Module& m, std::uint32_t level, Zyn::ZynType inner) -> Zyn::ZynType {
                   Zyn::ZynType const left = m.wrapper("L" + nameOf(level), inner);
                   Zyn::ZynType const right = m.wrapper("R" + nameOf(level), inner);
                   return m.unionOf(nameOf(level), {{"a", left}, {"b", right}});
                 },
                 "T15", "b", 131068},
           Twice{"unions of patterns",
                 [](Model::Module& m, std::uint32_t level, Zyn::ZynType inner) -> Zyn::ZynType {
                   Zyn::ZynType const held = m.value("P" + nameOf(level)).attr("p", inner).gnmi("<{p}>");
                   return m.unionOf(nameOf(level), {{"a", held}, {"b", held}});
                 },
                 "T15", "b", 131068},
       }) {
    Model::Schema schema;
    Model::Module& m = schema.module("M");
    EXPECT_EQ(refusalOf([&] { chain(m, row.add, 30); }), tooMany(row.attr, row.refused, row.refused, row.types))
        << row.why;
  }
}

TEST(TypesBelow, AreAtMostSoMany) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  std::vector<Model::Attribute> const most = flat(Model::mostTypesBelow);
  Zyn::ZynType const full = m.value("Full").attrs(most);
  EXPECT_EQ(refusalOf([&] { m.extend(full).attr("x", core(Kind::U8)); }), tooMany("x", "Full", "Full", 100001));
  EXPECT_EQ(refusalOf([&] { m.wrapper("W", full); }), tooMany("value", "W", "W", 100001));
  EXPECT_EQ(refusalOf([&] { m.unionOf("Union", {{"full", full}}); }), tooMany("full", "Union", "Union", 100001));
  EXPECT_EQ(refusalOf([&] { m.value("Longer").attrs(flat(Model::mostTypesBelow + 1)); }),
            tooMany("a100000", "Longer", "Longer", 100001));
  EXPECT_EQ(refusalOf([&] { m.entity("E").attrs(flat(Model::mostTypesBelow + 1)).attr("full", full); }), "");
}

TEST(TypesBelow, GrowWithATypeThatOthersUse) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const bottom = m.unionOf("Bottom");
  Zyn::ZynType type = bottom;
  for (std::uint32_t level = 1; level <= 8; ++level) {
    Zyn::ZynType const wrapper = m.wrapper("W" + nameOf(level), type);
    type = m.value(nameOf(level)).attr("one", type).attr("two", type).attr("three", wrapper);
  }
  // T8 leads to Bottom on 6,561 ways, and to 13,120 types in all while Bottom is empty.
  EXPECT_EQ(refusalOf([&] { m.extend(bottom).attrs(flat(13)); }), "");
  EXPECT_EQ(refusalOf([&] { m.extend(bottom).attr("x", core(Kind::U8)); }), tooMany("x", "Bottom", "T8", 104974));
  // A refusal leaves every count as it was.
  EXPECT_EQ(refusalOf([&] { m.extend(type).attrs(flat(100000 - 98413)); }), "");
  EXPECT_EQ(refusalOf([&] { m.extend(type).attr("x", core(Kind::U8)); }), tooMany("x", "T8", "T8", 100001));
}

TEST(Growth, TakesAStepForEachTypeThatIsCompleteBeforeOthersUseIt) {
  for (Shape const& shape : shapes) {
    for (std::uint32_t const count : {500U, 8000U}) {
      Model::Schema schema;
      Model::Module& m = schema.module("M");
      for (std::uint32_t part = 0; part < count / 500; ++part) {
        Zyn::ZynType type = core(Kind::U8);
        for (std::uint32_t level = 1; level <= 500; ++level) {
          type = shape.add(m, part * 500 + level, type);
        }
      }
      EXPECT_LE(static_cast<Model::ModuleTables&>(m).growthSteps, count) << shape.name;
    }
  }
}

TEST(Growth, TakesAStepForEachUseAndOneForAWholeList) {
  constexpr std::size_t users = 1000;
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const bottom = m.unionOf("Bottom");
  for (std::uint32_t i = 0; i < users; ++i) {
    m.value("V" + nameOf(i)).attr("w", m.wrapper(nameOf(i), bottom));
  }
  std::size_t& steps = static_cast<Model::ModuleTables&>(m).growthSteps;
  steps = 0;
  m.extend(bottom).attrs(flat(1000));
  // Bottom, the wrappers and the values, and what uses the first two.
  EXPECT_EQ(steps, 1 + 2 * users + 2 * users);
}

}  // namespace
}  // namespace ModelTest
