// Lines of a batch, with the command's own schema.
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
    auto const request = ZynKey::readRequest(line.view(), names);
    if (auto const flaw = request ? ZynKey::validate(*request, *loaded) : request.error()) {
      require(!flaw->empty(), "a flaw has a text");
      requireLine(ZynKey::errorLine(*flaw));
      continue;
    }
    auto const outcome = ZynKey::run(*request, requireTree);
    requireLine(ZynKey::toJsonLine(outcome));
    if (outcome) {
      std::string const text = ZynKey::toText(*outcome);
      require(text.empty() || text.ends_with('\n'), "an answer is whole lines");
      std::string const shown = ZynKey::forTerminal(text);
      require(std::ranges::none_of(shown, isControl), "a terminal gets no control byte");
    }
  }
}
