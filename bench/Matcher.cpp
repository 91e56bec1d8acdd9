#include "gnmi/Matcher.h"

#include <fmt/core.h>

#include "bench/Decoder.h"
#include "bench/Gnmi.h"
#include "gnmi/ModelValues.h"
#include "model/Schema.h"

namespace Bench {
namespace {

using Model::core;
using Model::Kind;

/** Routing tables by name, routes in them by prefix, protocol and index. */
Zyn::ZynAttr tables() {
  static Model::Schema schema;
  static Zyn::ZynAttr const list = [] {
    Model::Module& module = schema.module("Routing");
    Zyn::ZynType const key = module.value("RouteKey")
                                 .attr("prefix", core(Kind::IpPrefix))
                                 .attr("protocol", core(Kind::String))
                                 .attr("index", core(Kind::U16))
                                 .args({"prefix", "protocol", "index"});
    Zyn::ZynType const route = module.entity("Route").attr("key", key).attr("metric", core(Kind::U32));
    Zyn::ZynType const vrf = module.entity("Vrf").attr("name", core(Kind::String)).keyed("route", route, "key");
    return Zyn::ZynType(module.entity("Root").keyed("vrf", vrf, "name")).attr("vrf");
  }();
  return list;
}

/** Ten that the change concerns or nearly so, and others of three kinds, which it does not. */
std::string subscription(std::size_t id) {
  static constexpr std::string_view first[] = {
      "/vrf[name=red]",
      "/vrf",
      "/vrf/route[protocol=bgp]",
      "/vrf/route[index=7]",
      "/vrf[name=red]/route",
      "/vrf[name=red]/route[prefix=10.0.0.0/8]",
      "/vrf[name=red]/route[protocol=bgp][index=7]",
      "/vrf[name=red]/route[prefix=10.0.0.0/8][protocol=bgp][index=7]",
      "/vrf[name=red]/route/metric",
      "/",
  };
  if (id < std::size(first)) {
    return std::string(first[id]);
  }
  switch (id % 3) {
    case 0:
      return fmt::format("/vrf[name=v{}]/route[protocol=bgp]", id);
    case 1:
      return fmt::format("/vrf[name=red]/route[prefix=11.{}.{}.{}/32][protocol=bgp][index=7]", id >> 16U & 0xFFU,
                         id >> 8U & 0xFFU, id & 0xFFU);
    default:
      return fmt::format("/vrf/route[protocol=p{}]", id);
  }
}

struct State {
  Gnmi::ModelValues values;
  Gnmi::Matcher matcher{values};
  Gnmi::Resolved changed;
  std::vector<Gnmi::Matcher::Id> ids;
};

std::function<void()> matches(std::size_t subscriptions) {
  auto const state = std::make_shared<State>();
  SharedResolver const resolver = resolverOf(tables());
  auto const resolve = [&](std::string const& text, Gnmi::Mode mode) {
    auto const path = Gnmi::parsePath(text);
    if (!path || !resolver->resolve(*path, state->changed, mode)) {
      fail("matcher", text);
    }
  };
  for (std::size_t id = 0; id < subscriptions; ++id) {
    resolve(subscription(id), Gnmi::Mode::Read);
    state->matcher.add(id, state->changed);
  }
  resolve("/vrf[name=red]/route[prefix=10.0.0.0/8][protocol=bgp][index=7]/metric", Gnmi::Mode::Notify);
  return [state] { state->matcher.match(state->changed, Gnmi::Matcher::Reach::Node, state->ids); };
}

}  // namespace

void addMatcher(Works& works) {
  for (std::size_t const count : {10U, 1'000U, 100'000U}) {
    works.push_back(later(fmt::format("matcher, {} subscriptions", count), [count] { return matches(count); }));
  }
}

}  // namespace Bench
