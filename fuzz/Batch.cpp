// Lines of a batch, with the command's own schema.
//
// The oracle is the slow way: the parser of JSON alone reads a line, and an answer is a document that is written out.
#include <algorithm>
#include <nlohmann/json.hpp>

#include "fuzz/Fuzz.h"
#include "gnmi/ModelValues.h"
#include "yaml/Yaml.h"
#include "zynkey/ExampleSchema.h"
#include "zynkey/Jobs.h"
#include "zynkey/Output.h"
#include "zynkey/Requests.h"
#include "zynkey/Resolvers.h"

namespace {

void requireLine(std::string_view line) {
  Fuzz::require(!line.empty() && line.find('\n') == line.size() - 1, "an answer is one line");
  Fuzz::require(nlohmann::json::accept(line), "an answer is JSON");
}

using Json = nlohmann::ordered_json;

Json json(Model::ValuePtr const& key) { return {{"type", Model::typeOf(*key).name()}, {"key", Model::toJson(*key)}}; }
Json json(ZynKey::All) { return {{"all", true}}; }
Json json(ZynKey::Filter const& filter) {
  auto values = Json::object();
  for (auto const& [attr, value] : filter) {
    values[attr] = Model::toJson(*value);
  }
  return {{"filter", std::move(values)}};
}
Json json(ZynKey::Elements const& elements) { return {{"elements", elements}}; }
Json json(ZynKey::PathAnswer const& answer) {
  auto selections = Json::array();
  for (auto const& [collection, keys] : answer.collections) {
    Json one{{"collection", ZynKey::fullName(collection)}};
    one.update(std::visit([](auto const& held) { return json(held); }, keys));
    selections.push_back(std::move(one));
  }
  Json const node{
      {"name", answer.node.attr.name()}, {"kind", nameOf(answer.node.kind)}, {"type", answer.node.type.name()}};
  Json whole{{"path", answer.path}, {"node", node}, {"selections", std::move(selections)}};
  if (!answer.warning.empty()) {
    whole["warning"] = answer.warning;
  }
  return whole;
}
Json json(ZynKey::Expansions const& expansions) {
  auto list = Json::array();
  for (ZynKey::PathAnswer const& one : expansions) {
    list.push_back(json(one));
  }
  return {{"expansions", std::move(list)}};
}
Json json(ZynKey::Failure const& failure) {
  Json whole{{"error", failure.text.view()}};
  if (failure.path) {
    Gnmi::Error const& error = *failure.path;
    whole["class"] = nameOf(error.kind);
    if (error.offset) {
      whole["offset"] = *error.offset;
    }
    whole["in"] = error.inPrefix ? "prefix" : "path";
    whole["element"] = error.element;
    if (!error.key.empty()) {
      whole["key"] = error.key;
    }
  }
  return whole;
}

std::string lineOf(ZynKey::Outcome const& outcome) {
  Json const whole =
      outcome ? std::visit([](auto const& held) { return json(held); }, *outcome) : json(outcome.error());
  return whole.dump(-1, ' ', false, Json::error_handler_t::replace) + '\n';
}

bool isControl(char byte) { return (0 <= byte && byte < ' ' && byte != '\n' && byte != '\t') || byte == '\x7f'; }

}  // namespace

void Fuzz::run(std::string_view bytes) {
  static Yaml::Loaded const loaded = Yaml::loadText(ZynKey::exampleSchema, "example.yaml");
  // For each input: what resolvers hold would count as memory that is not given back.
  auto const requireTree = [](auto const& root) { require(!ZynKey::drawTree(root).empty(), "a tree can be drawn"); };
  ZynKey::Resolvers resolvers(Gnmi::modelFacts(), requireTree);
  ZynKey::Names names(*loaded, &resolvers);
  Input lines(bytes);
  while (!lines.empty()) {
    Exact const line(lines.upTo('\n'));
    auto const answer = [&](auto read) -> ZynKey::Outcome {
      auto const request = read(line.view(), names);
      if (auto const flaw = request ? ZynKey::validate(*request, *loaded) : request.error()) {
        require(!flaw->empty(), "a flaw has a text");
        return std::unexpected(ZynKey::Failure(Velko::String(*flaw)));
      }
      return ZynKey::run(*request, requireTree);
    };
    auto const outcome = answer(ZynKey::readRequest);
    std::string written = "an answer goes behind others\n";
    std::size_t const before = written.size();
    ZynKey::appendJsonLine(outcome, written);
    requireLine(written.substr(before));
    require(written.substr(before) == lineOf(answer(ZynKey::parseRequest)), "the answer is that of the slow way");
    if (outcome) {
      std::string const text = ZynKey::toText(*outcome);
      require(text.empty() || text.ends_with('\n'), "an answer is whole lines");
      std::string const shown = ZynKey::forTerminal(text);
      require(std::ranges::none_of(shown, isControl), "a terminal gets no control byte");
    }
  }
}
