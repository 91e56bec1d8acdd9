#include "zynkey/Completion.h"

#include <algorithm>
#include <cstddef>
#include <string_view>
#include <utility>

#include "gnmi/Resolver.h"
#include "model/Schema.h"
#include "zynkey/CommandLine.h"
#include "zynkey/Complete.h"
#include "zynkey/Names.h"
#include "zynkey/Output.h"
#include "zynkey/Schemas.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

std::vector<std::string> typeNames(Model::Schema const& schema, bool entitiesOnly) {
  std::vector<std::string> names;
  for (std::string const& full : schema.names()) {
    Zyn::ZynType const type = schema.find(full);
    if (!entitiesOnly || Model::kindOf(type) == Model::Kind::Entity) {
      names.push_back(nameOf(schema, type));
    }
  }
  return names;
}

/** Nobody reads warnings while they type. */
void ignoreWarning(std::string_view /*line*/) {}

/** The names that may stand in place of the word that is being typed. */
std::vector<std::string> namesFor(Unfinished const& line, std::string const& word) {
  if (word.starts_with('-')) {
    return line.optionNames;
  }
  if (line.valueOf == "--collection") {
    return collectionNames(loadSchema(line.options.schema, ignoreWarning), false);
  }
  if (line.valueOf == "--type" || line.valueOf == "--root") {
    return typeNames(loadSchema(line.options.schema, ignoreWarning), line.valueOf == "--root");
  }
  if (line.valueOf == "--in") {
    return {"path", "json", "event"};
  }
  if (line.valueOf == "--out") {
    return {"json", "tsv", "csv"};
  }
  if (line.valueOf == "--ddl") {
    return {"clickhouse"};
  }
  if (!line.valueOf.empty()) {
    return {};
  }
  if (line.subcommand.empty()) {
    return line.subcommands;
  }
  if (line.subcommand == "types" || line.subcommand == "s4") {
    return typeNames(loadSchema(line.options.schema, ignoreWarning), false);
  }
  return {};
}

std::vector<std::string> candidates(Unfinished const& line, std::string const& word) {
  if (line.subcommand == "path" && line.valueOf.empty() && !word.starts_with('-')) {
    Source const source = loadSource(line.options.schema, ignoreWarning);
    auto const root = Names(source.schema).root(line.options.root);
    if (!root) {
      throw UsageError(root.error());
    }
    return completePath(Gnmi::Resolver(*root, {.facts = source.facts}), word);
  }
  std::vector<std::string> names = namesFor(line, word);
  for (std::string& name : names) {
    name += ' ';
  }
  return names;
}

}  // namespace

Status complete(std::vector<std::string> words) {
  std::string word = std::move(words.back());
  words.pop_back();
  std::string before;
  if (std::size_t const end = word.find('='); word.starts_with("--") && end != std::string::npos) {
    words.push_back(word.substr(0, end));
    before = word.substr(0, end + 1);
    word.erase(0, end + 1);
  }
  for (std::string const& candidate : candidates(parseUnfinished(std::move(words)), word)) {
    if (candidate.starts_with(word)) {
      writeOut(before + candidate + '\n');
    }
  }
  return Done;
}

}  // namespace ZynKey
