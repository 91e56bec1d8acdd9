// What can be built, what cannot, and what types answer when asked.
#include "model/Schema.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <functional>
#include <optional>
#include <ostream>
#include <set>
#include <span>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "model/Zyn/Tables.h"
#include "tests/support/TypeNames.h"

namespace {

using Model::core;
using Model::Kind;
using Model::Mark;
using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// A static that is initialised before main starts may use the core types.
Zyn::ZynType const beforeMain = core(Kind::U32);

std::string describe(Zyn::ZynType type) {
  std::string text = std::string(Model::kindName(Model::kindOf(type))) + ":";
  constexpr std::pair<Mark, char const*> marks[] = {
      {Mark::Value, " value"},     {Mark::Enum, " enum"},   {Mark::S4, " s4"},
      {Mark::GnmiString, " gnmi"}, {Mark::Union, " union"}, {Mark::ScalarKind, " scalar"},
  };
  for (auto const& [mark, name] : marks) {
    text += Model::hasMark(type, mark) ? name : "";
  }
  return text;
}

/** The same, by the queries of the type system. */
std::string asked(Zyn::ZynType type) {
  std::string text = std::string(Model::kindName(Model::kindOf(type))) + ":";
  text += type.isValue() ? " value" : "";
  text += type.isEnumType() ? " enum" : "";
  text += type.hasS4Encoding() ? " s4" : "";
  text += type.hasGnmiStringForm() ? " gnmi" : "";
  text += type.isUnionType() ? " union" : "";
  text += type.isScalarKind() ? " scalar" : "";
  return text;
}

/** Everything that a refused change could have changed. */
std::string snapshot(Model::Schema const& schema) {
  std::string text;
  for (Model::Module const* const module : schema.modules()) {
    for (Zyn::ZynType const type : module->types()) {
      text += std::string(type.name()) + " " + describe(type) + " " + std::string(Model::gnmiPattern(type)) + " (";
      for (std::string const& arg : argNames(type)) {
        text += arg + ",";
      }
      text += ") val=" + std::string(type.valAttr().name());
      for (Model::Enumerator const& enumerator : Model::enumerators(type)) {
        text += " " + enumerator.name + "=" + std::to_string(enumerator.number);
      }
      for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
        text += std::string(" ") + (*attr).name() + ":" + (*attr).attrType().name() + "#" +
                std::to_string(Model::s4Number(type, *attr));
      }
      text += "\n";
    }
  }
  return text;
}

TEST(CoreTypes, EachScalarKindHasOne) {
  struct Row {
    Kind kind;
    char const* name;
    char const* marks;
  };
  constexpr Row rows[] = {
      {Kind::Bool, "Zyn::Bool", "Bool: value scalar"},
      {Kind::S8, "Zyn::S8", "S8: value scalar"},
      {Kind::S16, "Zyn::S16", "S16: value scalar"},
      {Kind::S32, "Zyn::S32", "S32: value scalar"},
      {Kind::S64, "Zyn::S64", "S64: value scalar"},
      {Kind::U8, "Zyn::U8", "U8: value scalar"},
      {Kind::U16, "Zyn::U16", "U16: value scalar"},
      {Kind::U32, "Zyn::U32", "U32: value scalar"},
      {Kind::U64, "Zyn::U64", "U64: value scalar"},
      {Kind::Float, "Zyn::Float", "Float: value scalar"},
      {Kind::Double, "Zyn::Double", "Double: value scalar"},
      {Kind::String, "Zyn::String", "String: value scalar"},
      {Kind::Bytes, "Zyn::Bytes", "Bytes: value scalar"},
      {Kind::Seconds, "Zyn::Seconds", "Seconds: value scalar"},
      {Kind::Time, "Zyn::Time", "Time: value scalar"},
      {Kind::IpAddress, "Zyn::IpAddress", "IpAddress: value gnmi scalar"},
      {Kind::IpPrefix, "Zyn::IpPrefix", "IpPrefix: value gnmi scalar"},
      {Kind::MacAddress, "Zyn::MacAddress", "MacAddress: value gnmi scalar"},
  };
  std::vector<std::string> names;
  for (Row const& row : rows) {
    Zyn::ZynType const type = core(row.kind);
    EXPECT_STREQ(type.name(), row.name);
    EXPECT_EQ(describe(type), row.marks);
    EXPECT_EQ(asked(type), row.marks);
    EXPECT_EQ(type.module(), &Velko::_Velko_FundamentalTypes_Module());
    EXPECT_EQ(type.isFundamentalString(), row.kind == Kind::String) << row.name;
    EXPECT_THAT(argNames(type), IsEmpty());
    EXPECT_TRUE(type.valAttr().empty());
    names.emplace_back(row.name);
  }
  EXPECT_EQ(Model::Schema().names(), names);
  EXPECT_EQ(beforeMain, core(Kind::U32));
}

TEST(CoreTypes, KindsThatAreNoScalarsHaveNone) {
  for (Kind const kind : {Kind::Enum, Kind::Wrapper, Kind::Union, Kind::Value, Kind::Entity}) {
    EXPECT_TRUE(core(kind).empty()) << Model::kindName(kind);
  }
}

TEST(Kinds, StartWithTheirMarks) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  EXPECT_EQ(asked(m.enumeration("E", {{"on", 1}})), "Enum: value enum");
  EXPECT_EQ(asked(m.wrapper("W", core(Kind::U8))), "Wrapper: value");
  EXPECT_EQ(asked(m.unionOf("U")), "Union: value union scalar");
  EXPECT_EQ(asked(m.value("V")), "Value: value");
  EXPECT_EQ(asked(m.entity("N")), "Entity:");
  EXPECT_EQ(asked(m.scalar("S", Kind::String)), "String: value scalar");
  EXPECT_EQ(asked(m.scalar("A", Kind::IpAddress)), "IpAddress: value gnmi scalar");
  EXPECT_EQ(asked(m.value("P").attr("a", core(Kind::U8)).gnmi("{a}")), "Value: value gnmi scalar");
  EXPECT_EQ(asked(m.value("Q").attr("a", core(Kind::U8)).s4({{"a", 1}})), "Value: value s4");
}

TEST(Kinds, AnyMarkCanBeSetAndClearedWhateverTheKind) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const types[] = {
      m.enumeration("E", {{"on", 1}}), m.wrapper("W", core(Kind::U8)), m.unionOf("U"), m.value("V"), m.entity("N"),
      m.scalar("S", Kind::U8)};
  for (Zyn::ZynType const type : types) {
    for (Mark const mark : {Mark::Value, Mark::Enum, Mark::S4, Mark::GnmiString, Mark::Union, Mark::ScalarKind}) {
      m.extend(type).mark(mark);
    }
    EXPECT_TRUE(asked(type).ends_with(": value enum s4 gnmi union scalar")) << asked(type);
    for (Mark const mark : {Mark::Value, Mark::Enum, Mark::S4, Mark::GnmiString, Mark::Union, Mark::ScalarKind}) {
      m.extend(type).mark(mark, false);
    }
    EXPECT_TRUE(asked(type).ends_with(":")) << asked(type);
  }
}

TEST(Types, AScalarOfOnesOwnIsNotTheCoreType) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  // Fill the module, so that the own type stands where the core module has its string.
  for (int index = 0; index < static_cast<int>(Kind::String); ++index) {
    m.value(std::to_string(index));
  }
  Zyn::ZynType const own = m.scalar("String", Kind::String);
  ASSERT_EQ(own.index(), core(Kind::String).index());
  EXPECT_FALSE(own.isFundamentalString());
  EXPECT_STREQ(own.name(), "M::String");
  EXPECT_NE(own, core(Kind::String));
}

TEST(Types, KeepWhatTheyWereBuiltFrom) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const protocol = m.enumeration("Protocol", {{"connected", 1}, {"bgp", -9}});
  ASSERT_EQ(Model::enumerators(protocol).size(), 2U);
  EXPECT_EQ(Model::enumerators(protocol)[1].name, "bgp");
  EXPECT_EQ(Model::enumerators(protocol)[1].number, -9);

  Zyn::ZynType const vlan = m.wrapper("Vlan", core(Kind::U16));
  EXPECT_STREQ(vlan.valAttr().name(), "value");
  EXPECT_EQ(vlan.valAttr().attrType(), core(Kind::U16));
  EXPECT_THAT(attrNames(vlan), ElementsAre("value"));
  EXPECT_THAT(argNames(vlan), ElementsAre("value"));

  Zyn::ZynType const port = m.unionOf("Port", {{"number", core(Kind::U32)}, {"name", core(Kind::String)}});
  m.extend(port).attr("vlan", vlan);
  EXPECT_THAT(attrNames(port), ElementsAre("number", "name", "vlan"));
  EXPECT_THAT(argNames(port), IsEmpty());

  Zyn::ZynType const key = m.value("Key")
                               .attr("z", core(Kind::U8))
                               .attr("a", protocol)
                               .attr("m", port)
                               .args({"m", "z"})
                               .s4({{"z", 1}, {"m", 536870911}});
  EXPECT_THAT(attrNames(key), ElementsAre("z", "a", "m"));
  EXPECT_THAT(argNames(key), ElementsAre("m", "z"));
  EXPECT_TRUE(key.valAttr().empty());
  EXPECT_EQ(Model::shortName(key), "Key");
  EXPECT_EQ(Model::s4Number(key, key.attr("m")), 536870911U);
  EXPECT_EQ(Model::s4Number(key, key.attr("a")), 0U);
  EXPECT_EQ(Model::s4Number(port, key.attr("z")), 0U) << "z is no part of Port";
  EXPECT_EQ(Model::gnmiPattern(key), "");

  m.extend(key).gnmi("<{m}>{z}.").args({"z"}).s4({{"z", 2}});
  EXPECT_EQ(Model::gnmiPattern(key), "<{m}>{z}.");
  EXPECT_THAT(argNames(key), ElementsAre("z")) << "new arguments replace the former";
  EXPECT_TRUE(Model::rowOf(key.attr("z")).isArgument);
  EXPECT_FALSE(Model::rowOf(key.attr("m")).isArgument);
  EXPECT_EQ(Model::s4Number(key, key.attr("m")), 0U) << "new numbers replace the former";
  EXPECT_THAT(argNames(m.extend(key).args({})), IsEmpty());

  EXPECT_STREQ(static_cast<Zyn::ZynType>(m.extend(key).valAttr("a")).valAttr().name(), "a");
  EXPECT_THAT(m.types(), ElementsAre(protocol, vlan, port, key));
}

TEST(Types, FieldNumbersLeaveOutWhatProtobufReserves) {
  struct Row {
    std::uint32_t number;
    bool accepted;
  };
  constexpr Row rows[] = {{0, false},           {1, true},           {18999, true},     {19000, false},
                          {19999, false},       {20000, true},       {536870911, true}, {536870912, false},
                          {0x7fffffffU, false}, {0xffffffffU, false}};
  for (Row const& row : rows) {
    Model::Schema schema;
    Model::TypeBuilder type = schema.module("M").value("V").attr("a", core(Kind::U8));
    if (row.accepted) {
      EXPECT_NO_THROW(type.s4({{"a", row.number}})) << row.number;
    } else {
      EXPECT_THROW(type.s4({{"a", row.number}}), Model::SchemaError) << row.number;
    }
  }
}

TEST(Collections, SayHowTheyAreKeyed) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const key = m.value("Key").attr("a", core(Kind::U8));
  Zyn::ZynType const route = m.entity("Route").attr("key", key).attr("up", core(Kind::Bool));
  m.extend(route).attr("parent", route);
  Zyn::ZynType const vrf = m.entity("Vrf")
                               .keyed("byKey", route, "key")
                               .keyed("given", route, "key", core(Kind::U8))
                               .keyed("elsewhere", route, "id", core(Kind::U8))
                               .keyed("unnamed", route, std::nullopt, core(Kind::U8))
                               .keyed("empty", route, "")
                               .keyed("open", route, "id")
                               .keyed("bare", route, std::nullopt)
                               .keyed("ofValues", key, "a")
                               .list("events", route)
                               .list("numbers", core(Kind::U8));
  m.extend(route).list("children", route);
  struct Row {
    char const* attr;
    Zyn::ZynType entries;
    bool keyed;
    std::optional<std::string> keyName;
    Zyn::ZynType keyType;
    bool list = false;
  };
  Row const rows[] = {
      {"byKey", route, true, "key", key},
      {"given", route, true, "key", core(Kind::U8)},
      {"elsewhere", route, true, "id", core(Kind::U8)},
      {"unnamed", route, true, std::nullopt, core(Kind::U8)},
      {"empty", route, true, "", {}},
      {"open", route, true, "id", {}},
      {"bare", route, true, std::nullopt, {}},
      {"ofValues", key, true, "a", core(Kind::U8)},
      {"events", route, false, std::nullopt, {}, true},
      {"numbers", core(Kind::U8), false, std::nullopt, {}, true},
  };
  for (Row const& row : rows) {
    SCOPED_TRACE(row.attr);
    Zyn::ZynAttr const attr = vrf.attr(row.attr);
    ASSERT_FALSE(attr.empty());
    EXPECT_EQ(attr.attrType(), row.entries);
    EXPECT_EQ(attr.isKeyed(), row.keyed);
    EXPECT_EQ(Model::isList(attr), row.list);
    EXPECT_EQ(attr.internalKeyName() == nullptr, !row.keyName);
    if (row.keyName && attr.internalKeyName() != nullptr) {
      EXPECT_EQ(attr.internalKeyName(), *row.keyName);
    }
    EXPECT_EQ(attr.keyType(), row.keyType);
  }
  Zyn::ZynAttr const plain = route.attr("up");
  EXPECT_FALSE(plain.isKeyed());
  EXPECT_FALSE(Model::isList(plain));
  EXPECT_EQ(plain.internalKeyName(), nullptr);
  EXPECT_TRUE(plain.keyType().empty());
  // A collection is no attribute that holds a key.
  Zyn::ZynType const odd = m.entity("Odd").keyed("odd", vrf, "events");
  EXPECT_TRUE(odd.attr("odd").keyType().empty());
}

/** Names that the type system hands out are looked up again, on any type, as any other text is. */
TEST(Attributes, AreFoundByNamesThatWereHandedOut) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  std::vector<std::string> names;
  Model::TypeBuilder builder = m.value("Key");
  for (int i = 0; i < 12; ++i) {
    builder.attr(names.emplace_back("f" + std::to_string(i)), core(Kind::U8));
  }
  Zyn::ZynType const key = builder.args({"f9", "f8", "f7", "f6", "f5", "f4", "f3", "f2", "f1", "f0"});
  Zyn::ZynType const other = m.value("Other").attr("f3", core(Kind::U8)).attr("key", core(Kind::U8)).args({"f3"});
  Zyn::ZynType const late = m.entity("Late");
  Zyn::ZynType const route = m.entity("Route").attr("key", key);
  Zyn::ZynType const vrf = m.entity("Vrf")
                               .keyed("routes", route, "key")
                               .keyed("again", route, "key")
                               .keyed("others", other, "f3")
                               .keyed("late", late, "key");
  m.extend(late).attr("key", key);
  m.extend(key).args({"f11", "f10", "f9"});
  std::vector<char const*> handedOut;
  for (Zyn::ZynType const type : {key, other}) {
    for (Zyn::ArgNameQIterator name = type.module()->argNameQIterator(type.argListIndex()); name; ++name) {
      handedOut.push_back(*name);
    }
  }
  for (Zyn::AttributeQIterator attr(vrf); attr; ++attr) {
    handedOut.push_back((*attr).internalKeyName());
  }
  ASSERT_EQ(handedOut.size(), 8U);
  for (char const* const name : handedOut) {
    std::string const copy = name;
    for (Zyn::ZynType const type : {key, other, late, route, vrf, core(Kind::U8), Zyn::ZynType()}) {
      Zyn::ZynAttr const found = type.attr(name);
      EXPECT_EQ(found, type.attr(std::string_view(copy))) << type.name() << '.' << name;
      EXPECT_EQ(found, type.attr(copy.c_str())) << type.name() << '.' << name;
      EXPECT_STREQ(found.name(), found.empty() ? "" : name);
      EXPECT_EQ(found.owner(), found.empty() ? 0U : type.index());
    }
  }
  EXPECT_FALSE(late.attr(vrf.attr("late").internalKeyName()).empty());
}

TEST(Attributes, AreFoundByExactlyTheirName) {
  Model::Schema schema;
  Zyn::ZynType const type = schema.module("M")
                                .value("V")
                                .attr("name", core(Kind::U8))
                                .attr("name2", core(Kind::U16))
                                .attr("_", core(Kind::S8));
  EXPECT_EQ(type.attr("name").attrType(), core(Kind::U8));
  EXPECT_EQ(type.attr("name2"sv.substr(0, 4)).attrType(), core(Kind::U8)) << "a view that no NUL follows";
  EXPECT_EQ(type.attr("_").attrType(), core(Kind::S8));
  for (std::string_view const missing : {""sv, "nam"sv, "Name"sv, "name "sv, "name\0"sv, "name\0two"sv, "name3"sv}) {
    EXPECT_TRUE(type.attr(missing).empty()) << missing;
  }
  EXPECT_TRUE(type.attr("nothing").empty());
}

TEST(Attributes, AreOneHandleHoweverFound) {
  Model::Schema schema;
  Zyn::ZynType const type = schema.module("M").value("V").attr("a", core(Kind::U8)).attr("b", core(Kind::U8));
  EXPECT_EQ(*Zyn::AttributeQIterator(type), type.attr("a"));
  EXPECT_NE(type.attr("a"), type.attr("b"));
  EXPECT_EQ(type.attr("b").owner(), type.index());
  EXPECT_EQ(type.attr("b").module(), type.module());
}

TEST(EmptyHandles, AnswerAsForNone) {
  Zyn::ZynType const type;
  EXPECT_STREQ(type.name(), "");
  EXPECT_FALSE(type.isValue() || type.isEnumType() || type.hasS4Encoding() || type.hasGnmiStringForm() ||
               type.isUnionType() || type.isScalarKind() || type.isFundamentalString());
  EXPECT_TRUE(type.valAttr().empty());
  EXPECT_EQ(type.argListIndex(), 0U);
  EXPECT_TRUE(type.attr("a").empty());
  EXPECT_TRUE(type.attr("a"sv).empty());
  EXPECT_FALSE(Zyn::AttributeQIterator(type));
  EXPECT_TRUE((*Zyn::AttributeQIterator(type)).empty());
  EXPECT_FALSE(Zyn::AttributeQIterator(core(Kind::U8))) << "no attributes";

  Zyn::ZynAttr const attr;
  EXPECT_STREQ(attr.name(), "");
  EXPECT_TRUE(attr.attrType().empty());
  EXPECT_FALSE(attr.isKeyed());
  EXPECT_EQ(attr.internalKeyName(), nullptr);
  EXPECT_TRUE(attr.keyType().empty());

  EXPECT_FALSE(Velko::_Velko_FundamentalTypes_Module().argNameQIterator(0xffffffffU)) << "no such type";
}

TEST(Lookups, ThrowAndNameTheNearest) {
  Model::Schema schema;
  Model::Module& m = schema.module("Network");
  schema.module("Other").value("Device");
  Zyn::ZynType const device = m.value("Device").attr("name", core(Kind::U8)).attr("port", core(Kind::U8));
  Zyn::ZynType const route = m.entity("Route");
  EXPECT_EQ(schema.type("Network::Device"), device);
  EXPECT_EQ(schema.type("Route"), route);
  EXPECT_EQ(m.type("Route"), route);
  EXPECT_EQ(&schema.existingModule("Network"), &m);
  EXPECT_EQ(Model::attr(device, "port"), device.attr("port"));
  struct Row {
    std::function<void()> act;
    std::string what;
  };
  for (auto const& [act, what] : std::vector<Row>{
           {[&] { schema.type("Rout"); }, "no type 'Rout'; did you mean 'Network::Route'?"},
           {[&] { schema.type("Device"); },
            "type 'Device' is in more than one module; write 'Network::Device' or 'Other::Device'"},
           {[&] { schema.type("Network::Devise"); },
            "no type 'Network::Devise'; did you mean 'Network::Device', 'Other::Device'?"},
           {[&] { schema.type("nothing like it"); }, "no type 'nothing like it'"},
           {[&] { schema.type(""); }, "no type ''"},
           {[&] { m.type("Devise"); }, "no type 'Devise' in module 'Network'; did you mean 'Device'?"},
           {[&] { m.type("x"); }, "no type 'x' in module 'Network'; there are 'Device', 'Route'"},
           {[&] { schema.existingModule("network"); }, "no module 'network'; did you mean 'Network'?"},
           {[&] { schema.existingModule("x"); }, "no module 'x'; there are 'Network', 'Other'"},
           {[&] { Model::attr(device, "naem"); }, "Network::Device: it has no attribute 'naem'; did you mean 'name'?"},
           {[&] { Model::attr(device, "x"); }, "Network::Device: it has no attribute 'x'; there are 'name', 'port'"},
           {[&] { Model::attr(core(Kind::U8), "x"); }, "Zyn::U8: it has no attribute 'x'"},
           {[&] { Model::attr({}, "x"); }, "an empty type has no attributes"},
       }) {
    try {
      act();
      ADD_FAILURE() << "found: " << what;
    } catch (Model::Error const& error) {
      EXPECT_EQ(error.what(), what);
    }
  }
}

TEST(Schema, FindsTypesByEveryFormOfTheirName) {
  Model::Schema schema;
  Model::Module& a = schema.module("A");
  Model::Module& b = schema.module("B");
  Zyn::ZynType const one = a.value("One");
  Zyn::ZynType const two = a.value("Two");
  Zyn::ZynType const two2 = b.value("Two");
  Zyn::ZynType const u8 = b.value("U8");
  struct Row {
    std::string_view name;
    Zyn::ZynType type;
  };
  Row const rows[] = {
      {"One", one},
      {"A::One", one},
      {"A.One", one},
      {"A::Two", two},
      {"B.Two", two2},
      {"Two", {}},  // which?
      {"Zyn::U8", core(Kind::U8)},
      {"Zyn.U8", core(Kind::U8)},
      {"B::U8", u8},
      {"U8", {}},  // which?
      {"U16", core(Kind::U16)},
      {"", {}},
      {"A", {}},
      {"A.", {}},
      {"A::", {}},
      {"A:One", {}},
      {"A:::One", {}},
      {".One", {}},
      {"::One", {}},
      {"C::One", {}},
      {"B::One", {}},
      {"A::One::", {}},
      {"A.One.x", {}},
      {"one", {}},
      {"One\0"sv, {}},
      {"A::One!"sv.substr(0, 6), one},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(schema.find(row.name), row.type) << row.name;
  }
  EXPECT_THAT(schema.modules(), ElementsAre(&a, &b));
  EXPECT_EQ(schema.findModule("B"), &b);
  EXPECT_EQ(schema.findModule("Zyn"), nullptr);
  EXPECT_EQ(a.name(), "A");
  EXPECT_EQ(a.find("One"), one);
  EXPECT_TRUE(a.find("U8").empty());
  std::vector<std::string> const names = schema.names();
  EXPECT_EQ(std::vector(names.begin() + 18, names.end()),
            (std::vector<std::string>{"A::One", "A::Two", "B::Two", "B::U8"}));

  Model::Schema const moved = std::move(schema);
  EXPECT_EQ(moved.find("One"), one) << "handles stay what they are when the schema moves";
  EXPECT_STREQ(one.name(), "A::One");
}

TEST(Schema, TypeNamesMayHoldSeparators) {
  Model::Schema schema;
  Model::Module& a = schema.module("A");
  Zyn::ZynType const path = a.entity("/x:top/a.b");
  Zyn::ZynType const dotted = a.entity("B.c");
  Zyn::ZynType const odd = a.entity(":");
  struct Row {
    std::string_view name;
    Zyn::ZynType type;
  };
  std::vector<Row> const rows = {
      {"A::/x:top/a.b", path},
      {"A./x:top/a.b", path},
      {"/x:top/a.b", path},
      {"/x:top/a", {}},
      {"top/a.b", {}},
      {"A::B.c", dotted},
      {"A.B.c", dotted},
      {"B.c", dotted},
      {"A:::", odd},
      {":", odd},
      {"A::", {}},
  };
  for (Row const& row : rows) {
    EXPECT_EQ(schema.find(row.name), row.type) << row.name;
  }
  Zyn::ZynType const c = schema.module("B").entity("c");
  EXPECT_EQ(schema.find("B.c"), c) << "a module's name comes first";
  EXPECT_EQ(schema.find("A::B.c"), dotted);
}

TEST(Schema, NamesStayWhereTheyAreWhileTypesAreAdded) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const first = m.value("V0").attr("a", core(Kind::U8)).args({"a"});
  char const* const name = first.name();
  char const* const attr = first.attr("a").name();
  char const* const arg = *first.module()->argNameQIterator(first.argListIndex());
  for (int i = 1; i < 1000; ++i) {
    m.value("V" + std::to_string(i)).attr("a", core(Kind::U8)).attr("b", core(Kind::U8)).args({"b"});
    m.extend(first).attr("a" + std::to_string(i), core(Kind::U8));
  }
  EXPECT_EQ(first.name(), name);
  EXPECT_EQ(first.attr("a").name(), attr);
  EXPECT_STREQ(arg, "a");
  EXPECT_EQ(attrNames(first).size(), 1000U);
  EXPECT_EQ(first.attr("a999").attrType(), core(Kind::U8));
}

TEST(Schema, BuiltTypesCanBeAskedByThreads) {
  Model::Schema schema;
  Zyn::ZynType const type = schema.module("M").value("V").attr("a", core(Kind::U8)).args({"a"});
  auto const ask = [&] {
    EXPECT_FALSE(type.attr("a").empty());
    EXPECT_THAT(argNames(type), ElementsAre("a"));
    EXPECT_EQ(schema.find("V"), type);
  };
  std::jthread const one(ask);
  std::jthread const two(ask);
}

/** Does what is refused, in a module `M` that holds what `refusals` prepares. */
struct Refusal {
  char const* what;
  std::function<void(Model::Schema&, Model::Module&)> act;
};

void PrintTo(Refusal const& refusal, std::ostream* out) { *out << refusal.what; }

class Refused : public testing::TestWithParam<Refusal> {};

TEST_P(Refused, WithAMessageAndWithoutAChange) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const key = m.value("Key").attr("a", core(Kind::U8)).attr("b", core(Kind::U8)).attr("c", core(Kind::U8));
  m.extend(key).args({"a"}).gnmi("{a}-{b}").s4({{"a", 1}, {"b", 2}});
  m.value("Inner").attr("key", key);
  m.enumeration("Enum", {{"on", 1}});
  m.wrapper("Wrapper", key);
  m.unionOf("Union", {{"n", core(Kind::U8)}});
  Zyn::ZynType const entity = m.entity("Entity").attr("key", key);
  m.extend(entity).attr("parent", entity).list("list", entity);
  std::string const before = snapshot(schema);
  try {
    GetParam().act(schema, m);
    ADD_FAILURE() << "accepted";
  } catch (Model::SchemaError const& error) {
    EXPECT_STREQ(error.what(), GetParam().what);
  }
  EXPECT_EQ(snapshot(schema), before);
  EXPECT_EQ(schema.modules().size(), 1U);
}

using Model::Module;
using Model::Schema;

Model::TypeBuilder at(Module& m, std::string_view name) { return m.extend(m.find(name)); }

Refusal const refusals[] = {
    // Modules
    {"the name of a module is empty; write at least one character", [](Schema& s, Module&) { s.module(""); }},
    {"the name 'a\\0b' of a module holds a NUL byte; leave it out", [](Schema& s, Module&) { s.module("a\0b"sv); }},
    {"the name 'a.b' of a module holds '.' or ':', which stand between module and type; leave them out",
     [](Schema& s, Module&) { s.module("a.b"); }},
    {"the name 'a:' of a module holds '.' or ':', which stand between module and type; leave them out",
     [](Schema& s, Module&) { s.module("a:"); }},
    {"'Zyn' is the module of the core types; choose another name", [](Schema& s, Module&) { s.module("Zyn"); }},
    {"the schema already has a module 'M'; choose another name", [](Schema& s, Module&) { s.module("M"); }},

    // Names of types
    {"the name of a type of module 'M' is empty; write at least one character",
     [](Schema&, Module& m) { m.value(""); }},
    {"the name '\\0' of a type of module 'M' holds a NUL byte; leave it out",
     [](Schema&, Module& m) { m.entity("\0"sv); }},
    {"module 'M' already has a type 'Key'; choose another name", [](Schema&, Module& m) { m.value("Key"); }},
    {"module 'M' already has a type 'Key'; choose another name", [](Schema&, Module& m) { m.entity("Key"); }},
    {"module 'M' already has a type 'Key'; choose another name", [](Schema&, Module& m) { m.unionOf("Key"); }},
    {"module 'M' already has a type 'Key'; choose another name", [](Schema&, Module& m) { m.scalar("Key", Kind::U8); }},
    {"module 'M' already has a type 'Key'; choose another name",
     [](Schema&, Module& m) { m.wrapper("Key", core(Kind::U8)); }},
    {"module 'M' already has a type 'Key'; choose another name",
     [](Schema&, Module& m) { m.enumeration("Key", {{"on", 1}}); }},

    // Enumerations, wrappers, unions, scalars
    {"the enumeration 'M::E' has no enumerators; give it at least one",
     [](Schema&, Module& m) { m.enumeration("E", {}); }},
    {"the name of an enumerator of 'M::E' is empty; write at least one character",
     [](Schema&, Module& m) { m.enumeration("E", {{"", 1}}); }},
    {"the name 'o\\0n' of an enumerator of 'M::E' holds a NUL byte; leave it out",
     [](Schema&, Module& m) { m.enumeration("E", {{std::string("o\0n", 3), 1}}); }},
    {"'M::E' already has an enumerator 'on'; choose another name",
     [](Schema&, Module& m) { m.enumeration("E", {{"on", 1}, {"on", 2}}); }},
    {"the enumerators 'on' and 'off' of 'M::E' have the same number 1; choose another one",
     [](Schema&, Module& m) { m.enumeration("E", {{"on", 1}, {"x", 2}, {"off", 1}}); }},
    {"the wrapper 'M::W' has no inner type; give it one", [](Schema&, Module& m) { m.wrapper("W", {}); }},
    {"the wrapper 'M::W' is of the entity type 'M::Entity'; wrap a value",
     [](Schema&, Module& m) { m.wrapper("W", m.find("Entity")); }},
    {"'M::U' already has an attribute 'a'; choose another name",
     [](Schema&, Module& m) { m.unionOf("U", {{"a", core(Kind::U8)}, {"a", core(Kind::U16)}}); }},
    {"the attribute 'b' of 'M::U' has no type; give it one",
     [](Schema&, Module& m) { m.unionOf("U", {{"a", m.find("Key")}, {"b", {}}}); }},
    {"the scalar 'M::S' cannot be of kind Enum; its kind is one from Bool to MacAddress",
     [](Schema&, Module& m) { m.scalar("S", Kind::Enum); }},
    {"'Zyn::U8' is no type of module 'M'; only its own types can be extended",
     [](Schema&, Module& m) { m.extend(core(Kind::U8)); }},
    {"'' is no type of module 'M'; only its own types can be extended", [](Schema&, Module& m) { m.extend({}); }},

    // Attributes
    {"the name of an attribute of 'M::Key' is empty; write at least one character",
     [](Schema&, Module& m) { at(m, "Key").attr("", core(Kind::U8)); }},
    {"the name 'a\\0' of an attribute of 'M::Key' holds a NUL byte; leave it out",
     [](Schema&, Module& m) { at(m, "Key").attr("a\0"sv, core(Kind::U8)); }},
    {"'M::Key' already has an attribute 'a'; choose another name",
     [](Schema&, Module& m) { at(m, "Key").attr("a", core(Kind::U8)); }},
    {"the attribute 'x' of 'M::Key' has no type; give it one", [](Schema&, Module& m) { at(m, "Key").attr("x", {}); }},
    {"'M::Enum' is of kind Enum; only a union, a value type or an entity takes attributes",
     [](Schema&, Module& m) { at(m, "Enum").attr("x", core(Kind::U8)); }},
    {"'M::Wrapper' is of kind Wrapper; only a union, a value type or an entity takes attributes",
     [](Schema&, Module& m) { at(m, "Wrapper").attr("x", core(Kind::U8)); }},
    {"the attribute 'x' of 'M::Key' is of the entity type 'M::Entity'; only an entity has such attributes",
     [](Schema&, Module& m) { at(m, "Key").attr("x", m.find("Entity")); }},
    {"the attribute 'x' of 'M::Union' is of the entity type 'M::Entity'; only an entity has such attributes",
     [](Schema&, Module& m) { at(m, "Union").attr("x", m.find("Entity")); }},
    {"'M::Key' would contain itself by M::Key.x; leave one of these attributes out",
     [](Schema&, Module& m) { at(m, "Key").attr("x", m.find("Key")); }},
    {"'M::Key' would contain itself by M::Key.x, M::Inner.key; leave one of these attributes out",
     [](Schema&, Module& m) { at(m, "Key").attr("x", m.find("Inner")); }},
    {"'M::Key' would contain itself by M::Key.x, M::Wrapper.value; leave one of these attributes out",
     [](Schema&, Module& m) { at(m, "Key").attr("x", m.find("Wrapper")); }},
    {"'M::Union' would contain itself by M::Union.u; leave one of these attributes out",
     [](Schema&, Module& m) { at(m, "Union").attr("u", m.find("Union")); }},

    // Collections
    {"'M::Key' is of kind Value; only an entity has collections",
     [](Schema&, Module& m) { at(m, "Key").keyed("x", m.find("Entity"), "key"); }},
    {"'M::Union' is of kind Union; only an entity has collections",
     [](Schema&, Module& m) { at(m, "Union").list("x", m.find("Entity")); }},
    {"'M::Entity' already has an attribute 'key'; choose another name",
     [](Schema&, Module& m) { at(m, "Entity").list("key", m.find("Entity")); }},
    {"the attribute 'x' of 'M::Entity' has no type; give it one",
     [](Schema&, Module& m) { at(m, "Entity").list("x", {}); }},
    {"the attribute 'x' of 'M::Entity' has no type; give it one",
     [](Schema&, Module& m) { at(m, "Entity").keyed("x", {}, "key"); }},
    {"the entries 'Zyn::U8' of 'M::Entity.x' are of kind U8; keyed entries are of an entity or a value type",
     [](Schema&, Module& m) { at(m, "Entity").keyed("x", core(Kind::U8), "key"); }},
    {"the key name 'k\\0' of 'M::Entity.x' holds a NUL byte; leave it out",
     [](Schema&, Module& m) { at(m, "Entity").keyed("x", m.find("Entity"), "k\0"sv); }},
    {"the key type 'M::Entity' of 'M::Entity.x' is an entity; a key is a value",
     [](Schema&, Module& m) { at(m, "Entity").keyed("x", m.find("Entity"), "parent"); }},
    {"the key type 'M::Entity' of 'M::Entity.x' is an entity; a key is a value",
     [](Schema&, Module& m) { at(m, "Entity").keyed("x", m.find("Entity"), "key", m.find("Entity")); }},

    // Constructor arguments
    {"'M::Key' has no attribute 'z'; name one that it has", [](Schema&, Module& m) { at(m, "Key").args({"a", "z"}); }},
    {"'M::Key' has no attribute 'a\\0'; name one that it has",
     [](Schema&, Module& m) { at(m, "Key").args({"a\0"sv}); }},
    {"the constructor argument 'b' of 'M::Key' is named twice; name it once",
     [](Schema&, Module& m) { at(m, "Key").args({"b", "a", "b"}); }},
    {"the gNMI pattern '{a}-{b}' of 'M::Key' leaves out the constructor argument 'c'; name each of them",
     [](Schema&, Module& m) { at(m, "Key").args({"b", "c"}); }},
    {"the constructor argument 'x' of 'M::V' has no s4 number; give it one",
     [](Schema&, Module& m) {
       // The type itself is a change: it goes again with its schema.
       Schema other;
       other.module("M").value("V").attr("x", core(Kind::U8)).s4({}).args({"x"});
       static_cast<void>(m);
     }},
    {"'M::Wrapper' is of kind Wrapper; only a value type has constructor arguments",
     [](Schema&, Module& m) { at(m, "Wrapper").args({}); }},
    {"'M::Entity' is of kind Entity; only a value type has constructor arguments",
     [](Schema&, Module& m) { at(m, "Entity").args({"key"}); }},

    // gNMI patterns
    {"'M::Union' is of kind Union; only a value type has a gNMI pattern",
     [](Schema&, Module& m) { at(m, "Union").gnmi("{n}"); }},
    {"the gNMI pattern '' of 'M::Key' names no attribute; write attributes as {name}",
     [](Schema&, Module& m) { at(m, "Key").gnmi(""); }},
    {"the gNMI pattern 'a-b' of 'M::Key' names no attribute; write attributes as {name}",
     [](Schema&, Module& m) { at(m, "Key").gnmi("a-b"); }},
    {"the gNMI pattern '{a' of 'M::Key' has a brace without its partner; write attributes as {name}",
     [](Schema&, Module& m) { at(m, "Key").gnmi("{a"); }},
    {"the gNMI pattern '{' of 'M::Key' has a brace without its partner; write attributes as {name}",
     [](Schema&, Module& m) { at(m, "Key").gnmi("{"); }},
    {"the gNMI pattern 'a}' of 'M::Key' has a brace without its partner; write attributes as {name}",
     [](Schema&, Module& m) { at(m, "Key").gnmi("a}"); }},
    {"the gNMI pattern '{a}}b}' of 'M::Key' has a brace without its partner; write attributes as {name}",
     [](Schema&, Module& m) { at(m, "Key").gnmi("{a}}b}"); }},
    {"'M::Key' has no attribute '{a'; name one that it has", [](Schema&, Module& m) { at(m, "Key").gnmi("{{a}}"); }},
    {"'M::Key' has no attribute ''; name one that it has", [](Schema&, Module& m) { at(m, "Key").gnmi("{}"); }},
    {"the gNMI pattern '{a}-{a}' of 'M::Key' names 'a' twice; name it once",
     [](Schema&, Module& m) { at(m, "Key").gnmi("{a}-{a}"); }},
    {"the gNMI pattern '{a}{b}' of 'M::Key' has nothing between 'a' and 'b'; write a text by which to tell where one "
     "ends",
     [](Schema&, Module& m) { at(m, "Key").gnmi("{a}{b}"); }},
    {"the gNMI pattern '{b}-{c}' of 'M::Key' leaves out the constructor argument 'a'; name each of them",
     [](Schema&, Module& m) { at(m, "Key").gnmi("{b}-{c}"); }},

    // Field numbers
    {"'M::Entity' is of kind Entity; only a value type has s4 numbers",
     [](Schema&, Module& m) { at(m, "Entity").s4({{"key", 1}}); }},
    {"'M::Key' has no attribute 'z'; name one that it has", [](Schema&, Module& m) { at(m, "Key").s4({{"z", 1}}); }},
    {"the s4 number 19000 of 'M::Key.a' is no field number; choose one from 1 to 536870911, but none from 19000 to "
     "19999",
     [](Schema&, Module& m) { at(m, "Key").s4({{"a", 19000}}); }},
    {"'M::Key.a' has two s4 numbers, 1 and 2; give it one",
     [](Schema&, Module& m) { at(m, "Key").s4({{"a", 1}, {"a", 2}}); }},
    {"'M::Key.a' and 'M::Key.b' have the same s4 number 7; choose another one",
     [](Schema&, Module& m) { at(m, "Key").s4({{"a", 7}, {"b", 7}}); }},
    {"the constructor argument 'a' of 'M::Key' has no s4 number; give it one",
     [](Schema&, Module& m) { at(m, "Key").s4({{"b", 1}}); }},

    // The value attribute
    {"'M::Key' has no attribute 'z'; name one that it has", [](Schema&, Module& m) { at(m, "Key").valAttr("z"); }},
    {"'M::Enum' has no attribute 'on'; name one that it has", [](Schema&, Module& m) { at(m, "Enum").valAttr("on"); }},
    {"'M::Entity.list' is a collection; the value attribute holds one value",
     [](Schema&, Module& m) { at(m, "Entity").valAttr("list"); }},
    {"'M::Entity.parent' is of the entity type 'M::Entity'; the value attribute holds a value",
     [](Schema&, Module& m) { at(m, "Entity").valAttr("parent"); }},
};

INSTANTIATE_TEST_SUITE_P(Schema, Refused, testing::ValuesIn(refusals));

TEST(Cycles, DiamondsAndEntitiesAreNone) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const leaf = m.value("Leaf").attr("a", core(Kind::U8));
  Zyn::ZynType const left = m.value("Left").attr("leaf", leaf);
  Zyn::ZynType const right = m.wrapper("Right", leaf);
  EXPECT_NO_THROW(m.value("Top").attr("left", left).attr("right", right).attr("leaf", leaf));
  Zyn::ZynType const entity = m.entity("Entity");
  EXPECT_NO_THROW(m.extend(entity).attr("self", entity).keyed("all", entity, std::nullopt));
}

TEST(Cycles, AreFoundAtTheEndOfALongChainAndAcrossModules) {
  Model::Schema schema;
  Model::Module& a = schema.module("A");
  Model::Module& b = schema.module("B");
  Zyn::ZynType const first = a.value("V0");
  Zyn::ZynType last = first;
  // Ten of them have two parts, and so will the last one: each is one level more.
  for (int i = 1; i < 989; ++i) {
    Model::TypeBuilder made = (i % 2 == 0 ? a : b).value("V" + std::to_string(i)).attr("next", last);
    last = i <= 10 ? made.attr("again", last) : made;
  }
  EXPECT_THROW(a.extend(first).attr("next", last), Model::SchemaError);
  EXPECT_THAT(attrNames(first), IsEmpty());
  EXPECT_NO_THROW(a.extend(last).attr("first", first));
}

TEST(Attributes, AreFoundByTheirNameAndByNoneThatIsNearlyTheSame) {
  Model::Schema schema;
  Model::TypeBuilder builder = schema.module("M").value("V");
  std::vector<std::string> names;
  // Every length up to beyond two words, and every place where two names of a length can differ.
  for (std::size_t length = 1; length <= 20; ++length) {
    for (std::size_t place = 0; place < length; ++place) {
      std::string name(length, 'a');
      name[place] = 'b';
      builder.attr(names.emplace_back(name), core(Kind::U8));
    }
  }
  Zyn::ZynType const type = builder;
  for (std::string const& name : names) {
    EXPECT_EQ(type.attr(name).name(), name);
    EXPECT_EQ(type.attr(name.c_str()), type.attr(name));
    for (std::size_t place = 0; place < name.size(); ++place) {
      for (char const other : {'c', '\0'}) {
        std::string nearly = name;
        nearly[place] = other;
        EXPECT_TRUE(type.attr(std::string_view(nearly)).empty()) << nearly << " is near " << name;
      }
    }
    EXPECT_TRUE(type.attr(name + '\0').empty()) << name;
    EXPECT_TRUE(type.attr(std::string(name.size(), 'a')).empty()) << name.size();
  }
  EXPECT_TRUE(type.attr("").empty());
}

TEST(Refusals, SayWhichItemOfAListTheyAreAbout) {
  struct Row {
    char const* why;
    std::function<void(Module&)> act;
    std::optional<std::size_t> item = {};
  };
  for (auto const& [why, act, item] : std::vector<Row>{
           {"no attribute", [](Module& m) { at(m, "V").args({"a", "x", "y"}); }, 1},
           {"an argument twice", [](Module& m) { at(m, "V").args({"a", "b", "a"}); }, 2},
           {"an argument not in the pattern", [](Module& m) { at(m, "P").args({"a", "b"}); }, 1},
           {"an argument without a number", [](Module& m) { at(m, "S").args({"a", "c", "b"}); }, 2},
           {"a number for no attribute", [](Module& m) { at(m, "V").s4({{"a", 1}, {"x", 2}}); }, 1},
           {"no field number", [](Module& m) { at(m, "V").s4({{"a", 0}, {"b", 0}}); }, 0},
           {"two numbers for one", [](Module& m) { at(m, "V").s4({{"a", 1}, {"b", 2}, {"a", 3}}); }, 2},
           {"one number for two", [](Module& m) { at(m, "V").s4({{"a", 1}, {"b", 1}}); }, 1},
           {"enumerators without a name", [](Module& m) { m.enumeration("E", {{"a", 1}, {"", 2}, {"", 3}}); }, 1},
           {"enumerators of one name", [](Module& m) { m.enumeration("E", {{"a", 1}, {"b", 2}, {"a", 3}}); }, 2},
           {"enumerators of one number", [](Module& m) { m.enumeration("E", {{"a", 1}, {"b", 1}}); }, 1},
           {"alternatives", [](Module& m) { m.unionOf("U", {{"a", core(Kind::U8)}, {"a", core(Kind::U8)}}); }, 1},
           {"no arguments of this kind of type", [](Module& m) { at(m, "W").args({"value"}); }},
           {"no enumerators", [](Module& m) { m.enumeration("E", {}); }},
           {"a name that is taken", [](Module& m) { m.enumeration("V", {{"a", 1}, {"a", 2}}); }},
           {"a pattern without an argument", [](Module& m) { at(m, "A").gnmi("{b}"); }},
           {"numbers without an argument's", [](Module& m) { at(m, "A").s4({{"b", 1}}); }},
       }) {
    Schema schema;
    Module& m = schema.module("M");
    for (std::string_view const name : {"V", "P", "S", "A"}) {
      m.value(name).attr("a", core(Kind::U8)).attr("b", core(Kind::U8)).attr("c", core(Kind::U8));
    }
    at(m, "P").gnmi("{a}-{c}");
    at(m, "S").s4({{"a", 1}, {"c", 3}});
    at(m, "A").args({"a"});
    m.wrapper("W", core(Kind::U8));
    try {
      act(m);
      ADD_FAILURE() << why << " was accepted";
    } catch (Model::SchemaError const& error) {
      EXPECT_EQ(error.item(), item) << why << ": " << error.what();
    }
  }
}

TEST(NameIndex, NamesThatDifferInBitsThatCancelHaveHashesOfTheirOwn) {
  // A hash of the first eight bytes and the turned last eight, joined by exclusive or, would be the same for all.
  std::set<std::size_t> hashes;
  for (unsigned number = 0; number < 4096; ++number) {
    std::uint64_t first = 0x4040404040404040;
    std::uint64_t last = 0x4040404040404040;
    for (unsigned bit = 0; bit < 12; ++bit) {
      std::uint64_t const flip = std::uint64_t{number >> bit & 1U} << (bit / 3 * 8 + bit % 3);
      first ^= flip;
      last ^= std::rotr(flip, 29);
    }
    std::string name(16, ' ');
    std::memcpy(name.data(), &first, 8);
    std::memcpy(name.data() + 8, &last, 8);
    hashes.insert(Model::NameIndex::hashOf(name) & 0xFFFFFU);
  }
  EXPECT_GT(hashes.size(), 4000U) << "of 4,096 names, by the 20 bits that an index of 500,000 names looks at";
}

TEST(NameIndex, FindsEveryNameAtEverySize) {
  // Of 1 to 20 bytes; some differ in one byte at the front, in the middle or at the end.
  std::vector<std::string> names;
  for (std::size_t i = 0; i < 40; ++i) {
    std::string name(1 + i % 20, 'n');
    name[i % 3 * (name.size() - 1) / 2] = static_cast<char>('A' + i);
    names.push_back(name);
  }
  Model::NameIndex index;
  EXPECT_EQ(index.find(""), Model::NameIndex::none);
  for (std::uint32_t count = 0; count < names.size(); ++count) {
    EXPECT_EQ(index.find(names[count]), Model::NameIndex::none) << count;
    EXPECT_EQ(index.find(names[count] + "#"), Model::NameIndex::none) << count;
    index.add(names[count], count);
    for (std::uint32_t known = 0; known <= count; ++known) {
      EXPECT_EQ(index.find(names[known]), known) << count;
    }
  }
}

TEST(Unions, ThatFailedCanBeBuiltAgain) {
  Model::Schema schema;
  Model::Module& m = schema.module("M");
  Zyn::ZynType const before = m.value("V").attr("a", core(Kind::U8));
  EXPECT_THROW(m.unionOf("U", {{"a", core(Kind::U8)}, {"", core(Kind::U8)}}), Model::SchemaError);
  EXPECT_TRUE(m.find("U").empty());
  Zyn::ZynType const type = m.unionOf("U", {{"x", core(Kind::U16)}});
  EXPECT_THAT(attrNames(type), ElementsAre("x"));
  EXPECT_EQ(type.attr("x").attrType(), core(Kind::U16));
  EXPECT_EQ(before.attr("a").attrType(), core(Kind::U8));
}

}  // namespace
