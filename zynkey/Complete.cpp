#include "zynkey/Complete.h"

#include <set>

#include "gnmi/Path.h"

namespace ZynKey {
namespace {

/** The name as it stands in a path. */
std::string inPath(std::string const& name) {
  Gnmi::Path path;
  path.add(name);
  return Gnmi::formatPath(path).substr(1);
}

/** With the bracket in front. */
std::string keyInPath(std::string const& name) {
  Gnmi::Path path;
  path.add("e").addKey(name, "");
  std::string const text = Gnmi::formatPath(path);
  return text.substr(2, text.size() - 3);
}

}  // namespace

std::vector<std::string> completePath(Gnmi::Resolver const& resolver, std::string_view text) {
  using End = Gnmi::UnfinishedPath::End;
  auto const typed = Gnmi::parseUnfinishedPath(text);
  if (!typed || typed->end == End::Value) {
    return {};
  }
  // Names alone say where it is, whatever the values of the keys are.
  Gnmi::Path names;
  names.origin = typed->before.origin;
  for (Gnmi::Element const& element : typed->before.elements()) {
    names.add(element.name);
  }
  Gnmi::Resolved found;
  if (!resolver.resolve(names, found)) {
    return {};
  }
  std::vector<std::string> rest;
  if (typed->end == End::ElementName) {
    for (auto const& [name, node] : resolver.nodesBelow(found)) {
      auto const goesOn = static_cast<bool>(Zyn::AttributeQIterator(node.type));
      rest.push_back(inPath(name) + (!resolver.keyNames(node.attr).empty() ? "[" : goesOn ? "/" : " "));
    }
  } else {
    std::set<std::string_view> given;
    for (Gnmi::Key const& key : typed->before.keys(typed->before.elements().back())) {
      given.insert(key.name);
    }
    for (std::string const& name : resolver.keyNames(found.node.attr)) {
      if (!given.contains(name)) {
        rest.push_back(keyInPath(name).substr(typed->end == End::KeyName ? 1 : 0));
      }
    }
    if (typed->end == End::AfterKey && Zyn::AttributeQIterator(found.node.type)) {
      rest.emplace_back("/");
    }
  }
  std::vector<std::string> whole;
  for (std::string const& one : rest) {
    if (one.starts_with(text.substr(typed->at))) {
      whole.push_back(std::string(text.substr(0, typed->at)) + one);
    }
  }
  return whole;
}

}  // namespace ZynKey
