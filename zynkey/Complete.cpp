#include "zynkey/Complete.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "gnmi/Resolve.h"

namespace ZynKey {
namespace {

enum class Place : std::uint8_t { Element, KeyName, Value, AfterKey };

/** Where a text ends, and where what it ends with begins. */
struct End {
  Place place = Place::Element;
  std::size_t begin = 0;
};

End endOf(std::string_view text) {
  End end;
  for (std::size_t at = 0; at < text.size(); ++at) {
    char const byte = text[at];
    if (byte == '\\') {
      ++at;
    } else if (end.place == Place::KeyName && byte == '=') {
      end = {Place::Value, at + 1};
    } else if (end.place == Place::Value && byte == ']') {
      end = {Place::AfterKey, at + 1};
    } else if ((end.place == Place::Element || end.place == Place::AfterKey) && (byte == '/' || byte == '[')) {
      end = {byte == '/' ? Place::Element : Place::KeyName, at + 1};
    }
  }
  return end;
}

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
  auto const [place, begin] = endOf(text);
  // What stands before is read by itself: a path up to a slash, or to a key, which is made a whole one.
  auto before = Gnmi::parsePath(std::string(text.substr(0, begin)) + (place == Place::KeyName ? "k=]" : ""));
  if (!before || place == Place::Value) {
    return {};
  }
  Zyn::ZynType type = root;
  Zyn::ZynAttr last;
  for (Gnmi::Element const& element : before->elements) {
    last = Gnmi::findElement(type, element.name, {});
    type = last.attrType();
  }
  std::vector<std::string> rest;
  if (place == Place::Element) {
    for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
      rest.push_back(inPath((*attr).name()) + afterElement(*attr));
    }
  } else {
    std::vector<Gnmi::Key>& given = before->elements.back().keys;
    if (place == Place::KeyName) {
      given.pop_back();
    }
    for (std::string const& name : Gnmi::keyNames(last, false)) {
      if (std::ranges::find(given, name, &Gnmi::Key::name) == given.end()) {
        rest.push_back(keyInPath(name).substr(place == Place::KeyName ? 1 : 0));
      }
    }
    if (place == Place::AfterKey && Zyn::AttributeQIterator(type)) {
      rest.emplace_back("/");
    }
  }
  std::vector<std::string> whole;
  for (std::string const& one : rest) {
    if (one.starts_with(text.substr(begin))) {
      whole.push_back(std::string(text.substr(0, begin)) + one);
    }
  }
  return whole;
}

}  // namespace ZynKey
