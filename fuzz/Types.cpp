#include "fuzz/Types.h"

#include <array>
#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "Drovan/ZynKeyDecoder.h"
#include "Velko/Pb.h"
#include "fuzz/Fuzz.h"

namespace Fuzz {
namespace {

using Model::core;
using Model::Kind;
using Model::Mark;

bool isScalar(Kind kind) { return kind <= Kind::MacAddress; }

Types made() {
  Types all;
  Model::Module& module = all.schema.module("Fuzz");
  auto const add = [&](Zyn::ZynType type) {
    all.values.push_back(type);
    return type;
  };
  for (Kind kind = Kind::Bool; isScalar(kind); kind = static_cast<Kind>(static_cast<int>(kind) + 1)) {
    add(core(kind));
  }
  for (Kind kind = Kind::Bool; isScalar(kind); kind = static_cast<Kind>(static_cast<int>(kind) + 1)) {
    add(module.scalar("S4" + std::string(Model::kindName(kind)), kind).mark(Mark::S4));
  }

  Zyn::ZynType const colour = add(module.enumeration("Colour", {{"red", 0},
                                                                {"it's", -1},
                                                                {"'", std::numeric_limits<std::int32_t>::min()},
                                                                {"*", std::numeric_limits<std::int32_t>::max()}}));
  Zyn::ZynType const vlan = add(module.wrapper("Vlan", core(Kind::U16)));
  Zyn::ZynType const vlans = add(module.wrapper("Vlans", vlan));
  Zyn::ZynType const port =
      add(module.unionOf("Port", {{"number", core(Kind::U32)}, {"name", core(Kind::String)}}).mark(Mark::S4));
  Zyn::ZynType const range = add(module.value("Range")
                                     .attr("low", core(Kind::U16))
                                     .attr("high", vlans)
                                     .args({"low", "high"})
                                     .gnmi("{low}-{high}"));
  Zyn::ZynType const picky = add(module.unionOf("Picky", {{"ip", core(Kind::IpAddress)},
                                                          {"prefix", core(Kind::IpPrefix)},
                                                          {"mac", core(Kind::MacAddress)},
                                                          {"time", core(Kind::Time)},
                                                          {"colour", colour},
                                                          {"flag", core(Kind::Bool)},
                                                          {"small", core(Kind::S8)},
                                                          {"real", core(Kind::Double)}}));
  Zyn::ZynType const boxed = add(module.wrapper("Boxed", picky));
  Zyn::ZynType const outer = add(
      module.unionOf("Outer", {{"picky", picky}, {"range", range}, {"boxed", boxed}, {"port", port}}).mark(Mark::S4));
  Zyn::ZynType const outers = add(module.wrapper("Outers", module.wrapper("Outer1", outer)).mark(Mark::S4));
  add(module.unionOf("Nothing").mark(Mark::S4));
  Zyn::ZynType const framed = add(module.value("Framed")
                                      .attr("host", core(Kind::String))
                                      .attr("range", range)
                                      .attr("port", outer)
                                      .attr("note", core(Kind::Bytes))
                                      .gnmi("<{host}>:{range}/{port}!"));
  Zyn::ZynType const pair = add(module.value("Pair")
                                    .attr("first", core(Kind::S64))
                                    .attr("second", colour)
                                    .args({"second"})
                                    .s4({{"first", 2}, {"second", 1}}));
  add(module.wrapper("Pairs", pair).mark(Mark::S4));
  Zyn::ZynType const nested = add(module.value("Nested")
                                      .attr("pair", pair)
                                      .attr("framed", framed)
                                      .attr("outers", outers)
                                      .attr("vlans", vlans)
                                      .attr("unset", core(Kind::String))
                                      .args({"pair", "vlans"})
                                      .s4({{"pair", 536870911}, {"framed", 1}, {"outers", 16}, {"vlans", 15}}));
  add(module.unionOf("Messages", {{"nested", nested}, {"pair", pair}, {"real", core(Kind::Float)}}).mark(Mark::S4));

  for (Zyn::ZynType const type : all.values) {
    if (type.hasS4Encoding()) {
      all.s4.push_back(type);
    }
  }
  auto key = module.value("Key");
  for (Zyn::ZynType const type : all.values) {
    key.attr(Model::shortName(type), type);
  }
  all.key = key;
  all.entity = module.entity("Entry").attr("key", all.key);
  all.collection = Zyn::ZynType(module.entity("Table").keyed("entry", all.entity, "key")).attr("entry");
  return all;
}

template <typename Exception = Velko::Exception, typename Call>
Made textOf(Call call) {
  try {
    return {.value = call(), .error = {}};
  } catch (Exception const& exception) {
    return {.value = {}, .error = std::string(exception.what().view())};
  }
}

std::string dumped(nlohmann::ordered_json const& json) {
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

void requireEqual(Made const& read, Zyn::GenericIf const& value, std::string_view what) {
  require(read.value && Model::equal(*read.value, value), std::string(what) + ": " + read.error);
}

void checkScalar(Zyn::GenericIf const& value) {
  Zyn::ZynType const type = Model::typeOf(value);
  requireEqual(fromLiteral(type, Model::print(value)), value, "a literal reads back equal");
  // Bytes are the one scalar whose text is not its gNMI form.
  if (Model::kindOf(type) != Kind::Bytes) {
    requireEqual(fromGnmi(type, Model::as<std::string>(value)), value, "a gNMI form reads back equal");
  }
}

void checkS4(Zyn::GenericIf const& value) {
  try {
    std::string const text = Model::s4Text(value);
    Made const again = decoded(Model::typeOf(value), text, true);
    require(again.value && Model::s4Text(*again.value) == text, "an s4 text reads back to the same text");
  } catch (Velko::Exception const&) {
    // What was never set has no message.
  }
}

// Few names, so that a type and those inside it share them.
constexpr std::array<std::string_view, 6> names = {"a", "b", "c", "key", "_", "a_b"};

/** Marks are set and cleared at will, but a union keeps its default value: the decoder relies on it. */
void addMarks(Input& input, Model::TypeBuilder& type) {
  for (std::size_t left = input.choice(3); left != 0; --left) {
    auto const mark = static_cast<Mark>(input.choice(6));
    type.mark(mark, input.choice(2) == 0);
  }
  if (Model::hasMark(type, Mark::Union)) {
    type.mark(Mark::Value);
  }
}

Zyn::ZynType addType(Input& input, Model::Module& module, std::string const& name,
                     std::vector<Zyn::ZynType> const& parts) {
  auto const part = [&] { return parts[input.choice(parts.size())]; };
  std::size_t const kind = input.choice(6);
  if (kind == 1) {
    auto type = module.enumeration(name, {{"a", 0}, {"*", 1}, {"it's", -1}});
    addMarks(input, type);
    return type;
  }
  if (kind == 2) {
    auto type = module.wrapper(name, part());
    addMarks(input, type);
    return type;
  }
  auto type = kind == 3 ? module.unionOf(name) : module.value(name);
  std::vector<std::string_view> attributes;
  for (std::size_t left = input.choice(names.size() + 1); left != 0; --left) {
    std::string_view const attribute = names[input.choice(names.size())];
    if (Zyn::ZynType(type).attr(attribute).empty()) {
      type.attr(attribute, part());
      attributes.push_back(attribute);
    }
  }
  if (kind == 3) {
    addMarks(input, type);
    return type;
  }
  std::vector<std::string_view> args;
  std::vector<std::pair<std::string_view, std::uint32_t>> numbers;
  std::string pattern;
  for (std::string_view const attribute : attributes) {
    std::size_t const choice = input.choice(3);
    if (choice == 0) {
      args.push_back(attribute);
    }
    // Backwards, since the order of numbers need not be that of arguments.
    numbers.insert(numbers.begin(), {attribute, static_cast<std::uint32_t>(numbers.size() + 1)});
    pattern += (pattern.empty() ? "{" : "-{") + std::string(attribute) + "}";
  }
  type.args(args);
  if (kind == 4 && !attributes.empty()) {
    type.gnmi(pattern);
  }
  if (kind == 5) {
    type.s4(numbers);
  }
  addMarks(input, type);
  return type;
}

}  // namespace

std::vector<Zyn::ZynType> madeUp(Input& input, Model::Module& module) {
  std::vector<Zyn::ZynType> parts;
  for (Kind kind = Kind::Bool; isScalar(kind); kind = static_cast<Kind>(static_cast<int>(kind) + 1)) {
    parts.push_back(core(kind));
  }
  for (std::size_t left = 1 + input.choice(8); left != 0; --left) {
    parts.push_back(addType(input, module, "T" + std::to_string(left), parts));
  }
  return parts;
}

Types const& types() {
  static Types const all = made();
  return all;
}

void check(Zyn::GenericIf const& value) {
  Zyn::ZynType const type = Model::typeOf(value);
  require(Model::equal(value, value), "a value equals itself");
  // Bytes may be none, and print as nothing.
  require(!Model::print(value).empty() || Model::kindOf(type) == Kind::Bytes, "a value prints");
  std::string const json = dumped(Model::toJson(value));
  require(dumped(nlohmann::ordered_json::parse(json)) == json, "JSON reads back the same");
  std::string written;
  Model::appendJson(value, written);
  require(written == json, "JSON is written as its document is");
  // A wrapper's text is that of what it holds, so the message would not read back through it.
  if (type.hasS4Encoding() && type.valAttr().empty()) {
    checkS4(value);
  }
  if (isScalar(Model::kindOf(type)) || Model::kindOf(type) == Kind::Enum) {
    checkScalar(value);
    return;
  }
  std::size_t parts = 0;
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    if (Model::ValuePtr const part = Model::attribute(value, *attr)) {
      check(*part);
      ++parts;
    }
  }
  require(parts <= 1 || Model::kindOf(type) == Kind::Value, "a union holds one alternative");
}

bool operator==(Made const& a, Made const& b) {
  return a.value && b.value ? Model::equal(*a.value, *b.value) && Model::hash(*a.value) == Model::hash(*b.value)
                            : !a.value && !b.value && a.error == b.error;
}

Made fromLiteral(Zyn::ZynType type, std::string_view text) {
  return textOf([&] { return type.genericIf(Velko::String(text), false); });
}

Made fromGnmi(Zyn::ZynType type, std::string_view text) {
  return textOf([&] { return type.genericIfFromGnmiString(Velko::String(text), false); });
}

Made fromMessage(Zyn::ZynType type, std::string_view message) {
  return textOf<Velko::Pb::PbReadException>([&] {
    Velko::Pb::ReadCursor cursor{message.data(), 0, message.size()};
    return type.genericIfFromPbMessage(&cursor, false);
  });
}

Made decoded(Zyn::ZynType type, std::string_view text, bool s4) {
  using Drovan::ZynKeyDecoder;
  auto const key = ZynKeyDecoder(Zyn::ZynAttr(), s4).decodeScalarKey(type, "", text);
  if (!key) {
    return {.value = {}, .error = std::string(key.error().view())};
  }
  Made one{.value = std::get<ZynKeyDecoder::Single>(*key).value, .error = {}};
  require(one.value != nullptr, "a key has a value");
  return one;
}

}  // namespace Fuzz
