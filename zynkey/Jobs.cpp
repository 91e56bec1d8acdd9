#include "zynkey/Jobs.h"

#include <algorithm>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>
#include <string_view>
#include <type_traits>

#include "text/Messages.h"
#include "zynkey/Names.h"

namespace ZynKey {
namespace {

using Drovan::ZynKeyDecoder;
using Node = ZynKeyDecoder::KeyElemNode;

Outcome instantiated(Node& root) {
  if (auto done = root.instantiate(); !done) {
    return std::unexpected(std::move(done).error());
  }
  return Model::ValuePtr(root.value);
}

Outcome decode(Request const& request, ShowTree const& showTree) {
  ZynKeyDecoder const decoder(request.collection, request.s4);
  Node root(request.collection.keyType(), request.s4);
  for (auto const& [path, value] : request.keys) {
    if (auto done = decoder.processKeyPath(root, path, value); !done) {
      return std::unexpected(std::move(done).error());
    }
  }
  if (showTree) {
    showTree(root);
  }
  return instantiated(root);
}

Outcome scalar(Request const& request) {
  auto const& [name, value] = request.keys.front();
  Zyn::ZynType const type = request.type.empty() ? request.collection.keyType() : request.type;
  auto decoded = ZynKeyDecoder(request.collection, request.s4).decodeScalarKey(type, name, value);
  if (!decoded) {
    return std::unexpected(std::move(decoded).error());
  }
  auto const* const single = std::get_if<ZynKeyDecoder::Single>(&*decoded);
  return single == nullptr ? Answer(All()) : Answer(Model::ValuePtr(single->value));
}

Outcome filter(Request const& request) {
  ZynKeyDecoder const decoder(request.collection, request.s4);
  ZynKeyDecoder::FilterMap map;
  for (auto const& [path, value] : request.keys) {
    if (auto done = decoder.updateFilter(map, path, value); !done) {
      return std::unexpected(std::move(done).error());
    }
  }
  return sorted(map);
}

Outcome path(Request const& request) {
  auto resolved = resolvePath(request.path);
  if (!resolved) {
    return std::unexpected(Failure(std::move(resolved).error()));
  }
  return std::visit([](auto& answer) { return Answer(std::move(answer)); }, *resolved);
}

void draw(Node const& node, std::string const& margin, std::string& text) {
  text += node.type.name();
  if (node.value) {
    text += " = " + Model::print(*node.value);
  }
  text += '\n';
  std::size_t left = node.children.size();
  for (Zyn::AttributeQIterator attr(node.type); attr; ++attr) {
    if (auto const child = node.children.find(*attr); child != node.children.end()) {
      --left;
      text += margin + (left == 0 ? "`-- " : "|-- ") + (*attr).name() + ": ";
      draw(child->second, margin + (left == 0 ? "    " : "|   "), text);
    }
  }
}

std::string dump(nlohmann::ordered_json const& json) {
  return json.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace);
}

/** In parts: the document of a long list takes many times the memory of its text. */
template <typename Item, typename ToJson>
std::string dumpList(std::vector<Item> const& items, ToJson toJson) {
  constexpr std::size_t partSize = 1000;
  std::string text = "[";
  for (std::span<Item const> rest = items; !rest.empty();) {
    auto part = nlohmann::ordered_json::array();
    std::size_t const count = std::min(rest.size(), partSize);
    std::ranges::transform(rest.first(count), std::back_inserter(part), toJson);
    rest = rest.subspan(count);
    std::string const dumped = dump(part);
    text.append(dumped, 1, dumped.size() - 2).append(rest.empty() ? "" : ",");
  }
  return text += ']';
}

// How each answer looks, as text and as JSON.

std::string text(Model::ValuePtr const& key) { return Model::print(*key) + '\n'; }
std::string text(All) { return "*\n"; }
std::string text(Filter const& filter) {
  std::string lines;
  for (auto const& [attr, value] : filter) {
    lines += attr + " = " + Model::print(*value) + '\n';
  }
  return lines;
}
std::string text(Elements const& elements) {
  std::string lines;
  for (std::string const& element : elements) {
    lines += '"' + element + "\"\n";
  }
  return lines;
}

// In one line each.
std::string phrase(Model::ValuePtr const& key) { return "exact " + Model::print(*key); }
std::string phrase(All) { return "every"; }
std::string phrase(Filter const& filter) {
  std::string list;
  for (auto const& [attr, value] : filter) {
    list += (list.empty() ? "filter " : ", ") + attr + "=" + Model::print(*value);
  }
  return list;
}
std::string text(PathAnswer const& answer) {
  std::string lines = answer.collections.empty() ? "no keyed collection\n" : "";
  for (auto const& [collection, keys] : answer.collections) {
    lines += fullName(collection) + ": " + std::visit([](auto const& held) { return phrase(held); }, keys) + '\n';
  }
  return lines;
}
std::string text(Expansions const& expansions) {
  std::string lines;
  for (PathAnswer const& one : expansions) {
    lines += one.path + '\n' + indented(text(one));
  }
  return lines;
}

nlohmann::ordered_json json(Model::ValuePtr const& key) {
  return {{"type", Model::typeOf(*key).name()}, {"key", Model::toJson(*key)}};
}
nlohmann::ordered_json json(All) { return {{"all", true}}; }
nlohmann::ordered_json json(Filter const& filter) {
  auto values = nlohmann::ordered_json::object();
  for (auto const& [attr, value] : filter) {
    values[attr] = Model::toJson(*value);
  }
  return {{"filter", std::move(values)}};
}

template <typename Held>
std::string jsonText(Held const& held) {
  return dump(json(held));
}
std::string jsonText(Elements const& elements) {
  return "{\"elements\":" + dumpList(elements, [](std::string const& element) { return element; }) + "}";
}
nlohmann::ordered_json json(Selected const& selected) {
  nlohmann::ordered_json one{{"collection", fullName(selected.collection)}};
  one.update(std::visit([](auto const& held) { return json(held); }, selected.keys));
  return one;
}
std::string jsonText(PathAnswer const& answer) {
  nlohmann::ordered_json const node{
      {"name", answer.node.attr.name()}, {"kind", nameOf(answer.node.kind)}, {"type", answer.node.type.name()}};
  return "{\"path\":" + dump(answer.path) + ",\"node\":" + dump(node) +
         ",\"selections\":" + dumpList(answer.collections, [](Selected const& selected) { return json(selected); }) +
         (answer.warning.empty() ? "" : ",\"warning\":" + dump(answer.warning)) + "}";
}
std::string jsonText(Expansions const& expansions) {
  std::string text = "{\"expansions\":[";
  for (PathAnswer const& one : expansions) {
    text += (text.ends_with('[') ? "" : ",") + jsonText(one);
  }
  return text += "]}";
}

nlohmann::ordered_json json(Failure const& failure) {
  nlohmann::ordered_json json{{"error", failure.text.view()}};
  if (failure.path) {
    Gnmi::Error const& error = *failure.path;
    json["class"] = nameOf(error.kind);
    if (error.offset) {
      json["offset"] = *error.offset;
    }
    json["in"] = error.inPrefix ? "prefix" : "path";
    json["element"] = error.element;
    if (!error.key.empty()) {
      json["key"] = error.key;
    }
  }
  return json;
}

}  // namespace

std::optional<std::string> validate(Request const& request, Model::Schema const& schema) {
  if (request.op == Op::Scalar && request.keys.size() != 1) {
    return "a scalar key takes one name and value; " + std::to_string(request.keys.size()) + " are given";
  }
  bool const needsKeyType = request.op == Op::Decode || (request.op == Op::Scalar && request.type.empty());
  if (!needsKeyType || !request.collection.keyType().empty()) {
    return {};
  }
  Zyn::ZynType const owner(request.collection.module(), request.collection.owner());
  return "'" + nameOf(schema, owner) + "." + request.collection.name() +
         "' has no keys; collections that have: " + Text::list(collectionNames(schema, true), Text::inQuotes);
}

Outcome run(Request const& request, ShowTree const& showTree) {
  switch (request.op) {
    case Op::Decode:
      return decode(request, showTree);
    case Op::Scalar:
      return scalar(request);
    case Op::Filter:
      return filter(request);
    case Op::Path:
      return path(request);
    case Op::Split:
      break;
  }
  auto const elements = ZynKeyDecoder::splitPath(request.text);
  return Elements(elements.begin(), elements.end());
}

Outcome build(Zyn::ZynType type, Keys const& keys) {
  Node root(type, false);
  for (auto const& [path, value] : keys) {
    auto const elements = ZynKeyDecoder::splitPath(path);
    auto const begin = path.empty() ? elements.end() : elements.begin();
    if (auto done = root.insertPathSuffix(begin, elements.end(), Velko::String(value)); !done) {
      return std::unexpected(std::move(done).error());
    }
  }
  return instantiated(root);
}

std::string toText(Answer const& answer) {
  return std::visit([](auto const& held) { return text(held); }, answer);
}

std::string toJsonLine(Outcome const& outcome) {
  if (outcome) {
    return std::visit([](auto const& held) { return jsonText(held); }, *outcome) += '\n';
  }
  return dump(json(outcome.error())) += '\n';
}

std::string errorLine(std::string_view error) { return dump({{"error", error}}) += '\n'; }

std::string indented(std::string_view lines) {
  std::string text;
  for (bool atStart = true; char const byte : lines) {
    text.append(atStart ? "  " : "").push_back(byte);
    atStart = byte == '\n';
  }
  return text;
}

std::string drawTree(Node const& root) {
  std::string text;
  draw(root, "", text);
  return text;
}

}  // namespace ZynKey
