// How a gNMI target answers: a path comes in as a message, the entries that it means are found by their typed keys in a
// map of the target's own, and their paths go out.
#include <gnmi/Message.h>
#include <gnmi/ModelValues.h>
#include <gnmi/Resolver.h>

#include <iostream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <variant>

#include "gnmi.pb.h"

// What this target has: the next hop of each route.
using Routes = std::unordered_map<Model::Key, std::string>;

// Adds the routes that one path of a Get means to the answer.
std::expected<void, Gnmi::Error> get(Gnmi::Resolver const& resolver, Routes const& routes, gnmi::Path const& asked,
                                     gnmi::Notification& answer) {
  Gnmi::Path path;
  if (auto read = Gnmi::readPath(asked, path); !read) {
    return read;
  }
  Gnmi::Resolved found;
  if (auto resolved = resolver.resolve(path, found); !resolved || found.selections.empty()) {
    return resolved;
  }
  auto const& [node, collection, selection] = found.selections.back();
  auto const add = [&](Model::Key const& key, std::string const& nextHop) {
    gnmi::Update& update = *answer.add_update();
    Gnmi::Entry const entry = {collection, key.pointer()};
    Gnmi::writePath(*resolver.pathOf({&entry, 1}, Gnmi::ModelValues()), *update.mutable_path());
    update.mutable_val()->set_string_val(nextHop);
  };
  if (auto const* const exact = std::get_if<Drovan::ZynKeyDecoder::Single>(&selection)) {
    if (auto const route = routes.find(exact->value); route != routes.end()) {
      add(route->first, route->second);
    }
    return {};
  }
  for (auto const& [key, nextHop] : routes) {
    if (Model::matches(std::get<Drovan::ZynKeyDecoder::Multiple>(selection).values, *key)) {
      add(key, nextHop);
    }
  }
  return {};
}

int main() {
  Model::Schema schema;
  Model::Module& network = schema.module("Network");
  Zyn::ZynType const key = network.value("RouteKey")
                               .attr("vrf", Model::core(Model::Kind::String))
                               .attr("prefix", Model::core(Model::Kind::IpPrefix))
                               .args({"vrf", "prefix"});
  Zyn::ZynType const route = network.entity("Route").attr("key", key);
  Gnmi::Resolver const resolver(network.entity("Device").keyed("route", route, "key"));

  Routes routes;
  auto const learn = [&](std::string_view path, std::string_view nextHop) {
    Gnmi::Resolved found;
    if (resolver.resolve(*Gnmi::parsePath(path), found, Gnmi::Mode::Write)) {
      routes.emplace(std::get<Drovan::ZynKeyDecoder::Single>(found.selections[0].selection).value, nextHop);
    }
  };
  learn("/route[vrf=red][prefix=10.0.0.0/8]", "192.0.2.1");
  learn("/route[vrf=blue][prefix=10.0.0.0/8]", "192.0.2.2");

  for (std::string_view const text : {"/route[prefix=10.1.2.3/8][vrf=red]", "/route[vrf=blue]", "/route[color=red]"}) {
    gnmi::Path asked;
    Gnmi::writePath(*Gnmi::parsePath(text), asked);
    gnmi::Notification answer;
    if (auto const got = get(resolver, routes, asked, answer); !got) {
      std::cout << nameOf(codeOf(got.error().kind, Gnmi::Call::Get)) << ": " << got.error().text << '\n';
    }
    for (gnmi::Update const& update : answer.update()) {
      std::cout << formatPath(*Gnmi::readPath(update.path())) << ": " << update.val().string_val() << '\n';
    }
  }
}
