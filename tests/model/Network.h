// A small network to make values of, and short ways to make them.
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "Zyn/Zyn.h"
#include "model/Schema.h"
#include "model/Value.h"

namespace ModelTest {

using Model::Kind;
using Value = Velko::Ptr<Zyn::GenericIf>;

struct Network {
  Model::Schema schema;
  Model::Module& module = schema.module("Network");
  Zyn::ZynType protocol = module.enumeration("Protocol", {{"connected", 1}, {"bgp", 9}, {"it's", -3}});
  Zyn::ZynType vlanId = module.wrapper("VlanId", Model::core(Kind::U16));
  Zyn::ZynType portName =
      module.unionOf("PortName", {{"number", Model::core(Kind::U32)}, {"name", Model::core(Kind::String)}});
  Zyn::ZynType portRange = module.value("PortRange")
                               .attr("low", Model::core(Kind::U16))
                               .attr("high", Model::core(Kind::U16))
                               .args({"low", "high"})
                               .gnmi("{low}-{high}");
  Zyn::ZynType rangeBox = module.wrapper("RangeBox", portRange);
  Zyn::ZynType endpoint = module.value("Endpoint")
                              .attr("host", Model::core(Kind::String))
                              .attr("ports", rangeBox)
                              .attr("protocol", protocol)
                              .gnmi("<{host}>:{ports}/{protocol}!");
  Zyn::ZynType routeKey = module.value("RouteKey")
                              .attr("vrf", Model::core(Kind::String))
                              .attr("protocol", protocol)
                              .attr("tag", Model::core(Kind::U32))
                              .args({"vrf", "protocol"})
                              .s4({{"vrf", 3}, {"protocol", 1}, {"tag", 2}});
  Zyn::ZynType outer = module.value("Outer")
                           .attr("key", routeKey)
                           .attr("port", portName)
                           .attr("ports", rangeBox)
                           .attr("vlan", vlanId)
                           .attr("note", Model::core(Kind::String))
                           .args({"key"})
                           .s4({{"key", 1}, {"port", 2}, {"ports", 3}, {"vlan", 4}});
  Zyn::ZynType anyPort = module.unionOf("AnyPort", {{"protocol", protocol}, {"range", portRange}, {"port", portName}});
  Zyn::ZynType plain = module.value("Plain").attr("x", Model::core(Kind::U8));
  Zyn::ZynType vrf = module.entity("Vrf").attr("name", Model::core(Kind::String));
};

inline Value literal(Zyn::ZynType type, std::string_view text) { return type.genericIf(Velko::String(text), false); }
inline Value gnmi(Zyn::ZynType type, std::string_view text) {
  return type.genericIfFromGnmiString(Velko::String(text), false);
}
inline Value initial(Zyn::ZynType type) { return type.genericIf(static_cast<void const*>(nullptr), false); }

template <typename... Args>
Value build(Zyn::ZynType type, Args const&... args) {
  Zyn::GenericIfArgs const list{args...};
  return type.genericIf(list, false);
}

inline void set(Value const& object, std::string_view name, Velko::Ptr<Zyn::GenericIf const> const& value) {
  Model::typeOf(*object).attr(name).genericIfSet(object, nullptr, value);
}

inline std::string jsonText(Zyn::GenericIf const& value) {
  std::string text;
  Model::appendJson(value, text);
  return text;
}

/** What the `Velko::Exception` says; "no exception" when there is none. */
template <typename Function>
std::string errorOf(Function&& function) {
  try {
    function();
  } catch (Velko::Exception const& exception) {
    return std::string(exception.what().view());
  }
  return "no exception";
}

}  // namespace ModelTest
