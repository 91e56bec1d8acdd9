#include "zynkey/Complete.h"

#include <set>

#include "gnmi/Path.h"
#include "gnmi/Resolve.h"

namespace ZynKey {
namespace {

/** The name as it stands in a path. */
std::string inPath(std::string const& name) {
  return Gnmi::formatPath({.origin = {}, .elements = {{.name = name}}}).substr(1);
}

/** With the bracket in front. */
std::string keyInPath(std::string const& name) {
  std::string const path =
      Gnmi::formatPath({.origin = {}, .elements = {{.name = "e", .keys = {{.name = name, .value = {}}}}}});
  return path.substr(2, path.size() - 3);
}

std::string afterElement(Zyn::ZynAttr attr) {
  return !Gnmi::keyNames(attr, false).empty() ? "[" : Zyn::AttributeQIterator(attr.attrType()) ? "/" : " ";
}

}  // namespace

std::vector<std::string> completePath(Zyn::ZynType root, std::string_view text) {
  using End = Gnmi::UnfinishedPath::End;
  auto const typed = Gnmi::parseUnfinishedPath(text);
  if (!typed || typed->end == End::Value) {
    return {};
  }
  std::vector<Gnmi::Element> const& elements = typed->before.elements;
  Zyn::ZynType type = root;
  Zyn::ZynAttr last;
  for (Gnmi::Element const& element : elements) {
    last = Gnmi::findElement(type, element.name, {});
    type = last.attrType();
  }
  std::vector<std::string> rest;
  if (typed->end == End::ElementName) {
    for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
      rest.push_back(inPath((*attr).name()) + afterElement(*attr));
    }
  } else {
    std::set<std::string_view> given;
    for (Gnmi::Key const& key : elements.back().keys) {
      given.insert(key.name);
    }
    for (std::string const& name : Gnmi::keyNames(last, false)) {
      if (!given.contains(name)) {
        rest.push_back(keyInPath(name).substr(typed->end == End::KeyName ? 1 : 0));
      }
    }
    if (typed->end == End::AfterKey && Zyn::AttributeQIterator(type)) {
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
