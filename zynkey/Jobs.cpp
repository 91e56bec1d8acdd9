#include "zynkey/Jobs.h"

#include <utility>

#include "text/Json.h"
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

template <typename Items, typename Append>
void appendList(Items const& items, Append append, std::string& out) {
  for (std::string_view separator; auto const& item : items) {
    out += std::exchange(separator, ",");
    append(item, out);
  }
}

template <typename Held>
void appendObject(Held const& held, std::string& out);

// The members of the object that each answer is.

void appendMembers(Model::ValuePtr const& key, std::string& out) {
  out += R"("type":)";
  Text::appendJson(Model::typeOf(*key).name(), out);
  out += R"(,"key":)";
  Model::appendJson(*key, out);
}
void appendMembers(All, std::string& out) { out += R"("all":true)"; }
void appendMembers(Filter const& filter, std::string& out) {
  auto const append = [](Filter::value_type const& one, std::string& to) {
    Text::appendJson(one.first, to);
    to += ':';
    Model::appendJson(*one.second, to);
  };
  out += R"("filter":{)";
  appendList(filter, append, out);
  out += '}';
}
void appendMembers(Elements const& elements, std::string& out) {
  out += R"("elements":[)";
  appendList(elements, Text::appendJson, out);
  out += ']';
}
void appendMembers(Selected const& selected, std::string& out) {
  out += R"("collection":)";
  Text::appendJson(fullName(selected.collection), out);
  out += ',';
  std::visit([&](auto const& held) { appendMembers(held, out); }, selected.keys);
}

void appendMembers(PathAnswer const& answer, std::string& out) {
  out += R"("path":)";
  Text::appendJson(answer.path, out);
  out += R"(,"node":{"name":)";
  Text::appendJson(answer.node.attr.name(), out);
  out += R"(,"kind":)";
  Text::appendJson(nameOf(answer.node.kind), out);
  out += R"(,"type":)";
  Text::appendJson(answer.node.type.name(), out);
  out += R"(},"selections":[)";
  appendList(answer.collections, appendObject<Selected>, out);
  out += ']';
  if (!answer.warning.empty()) {
    out += R"(,"warning":)";
    Text::appendJson(answer.warning, out);
  }
}
void appendMembers(Expansions const& expansions, std::string& out) {
  out += R"("expansions":[)";
  appendList(expansions, appendObject<PathAnswer>, out);
  out += ']';
}

void appendMembers(Failure const& failure, std::string& out) {
  out += R"("error":)";
  Text::appendJson(failure.text.view(), out);
  if (!failure.path) {
    return;
  }
  Gnmi::Error const& error = *failure.path;
  out += R"(,"class":)";
  Text::appendJson(nameOf(error.kind), out);
  if (error.offset) {
    out += R"(,"offset":)" + std::to_string(*error.offset);
  }
  out += error.inPrefix ? R"(,"in":"prefix")" : R"(,"in":"path")";
  out += R"(,"element":)" + std::to_string(error.element);
  if (!error.key.empty()) {
    out += R"(,"key":)";
    Text::appendJson(error.key, out);
  }
}

template <typename Held>
void appendObject(Held const& held, std::string& out) {
  out += '{';
  appendMembers(held, out);
  out += '}';
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

void appendJsonLine(Outcome const& outcome, std::string& out) {
  if (outcome) {
    std::visit([&](auto const& held) { appendObject(held, out); }, *outcome);
  } else {
    appendObject(outcome.error(), out);
  }
  out += '\n';
}

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
