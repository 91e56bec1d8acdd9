#include "zynkey/PathJob.h"

#include <algorithm>
#include <optional>
#include <span>

#include "gnmi/Message.h"
#include "gnmi/ModelValues.h"
#include "zynkey/Names.h"

namespace ZynKey {
namespace {

using Drovan::ZynKeyDecoder;

std::variant<Model::ValuePtr, All, Filter> keysOf(Gnmi::Selection const& selection) {
  if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(&selection)) {
    return Model::ValuePtr(single->value);
  }
  ZynKeyDecoder::FilterMap const& values = std::get<ZynKeyDecoder::Multiple>(selection).values;
  if (values.empty()) {
    return All();
  }
  return sorted(values);
}

/** Quotes around a value are part of it, and nearly always a slip. */
std::string quotesIn(Gnmi::Path const& path) {
  for (Gnmi::Element const& element : path.elements()) {
    for (Gnmi::Key const& key : path.keys(element)) {
      bool const isQuoted = key.value.size() > 1 && key.value.front() == key.value.back() &&
                            (key.value.front() == '"' || key.value.front() == '\'');
      if (isQuoted) {
        return "the quotes in [" + std::string(key.name) + "=" + std::string(key.value) +
               "] are part of the value; a path takes values without quotes";
      }
    }
  }
  return {};
}

PathAnswer answerOf(PathRequest const& request, Gnmi::Path const& path, Gnmi::Resolved const& found) {
  auto const canonical = request.resolver->canonical(found, Gnmi::ModelValues(request.s4));
  // A value that cannot be written in a path stands as it was given.
  PathAnswer answer{.path = Gnmi::formatPath(canonical ? *canonical : path), .node = found.node, .collections = {}};
  answer.collections.reserve(found.selections.size());
  for (Gnmi::Selected const& one : found.selections) {
    answer.collections.push_back({one.collection, keysOf(one.selection)});
  }
  answer.warning = quotesIn(path);
  return answer;
}

std::expected<void, Gnmi::Error> checkPayload(PathRequest const& request, Gnmi::Resolved const& found) {
  if (request.payload.empty()) {
    return {};
  }
  if (found.selections.empty()) {
    return std::unexpected(Gnmi::Error{.kind = Gnmi::ErrorClass::Conflict,
                                       .text = "a payload has keys where the path names no list",
                                       .element = found.nodes.size()});
  }
  std::vector<Gnmi::PayloadLeaf> const leaves(request.payload.begin(), request.payload.end());
  return request.resolver->checkPayload(found.selections.back(), leaves, Gnmi::ModelValues(request.s4));
}

}  // namespace

std::expected<Gnmi::Path, Gnmi::Error> readPath(PathInput const& input) {
  return input.isText ? Gnmi::parsePath(input.text) : Gnmi::readPath(input);
}

std::expected<Gnmi::Path, Gnmi::Error> behindPrefix(std::expected<Gnmi::Path, Gnmi::Error> path,
                                                    PathInput const* prefix) {
  if (!path || prefix == nullptr) {
    return path;
  }
  auto front = readPath(*prefix);
  if (!front) {
    front.error().inPrefix = true;
    return front;
  }
  return Gnmi::join(*front, *path);
}

Gnmi::Error explained(Gnmi::Error error, Gnmi::Path const& path) {
  if (std::string const quotes = quotesIn(path); error.kind == Gnmi::ErrorClass::ValueRefused && !quotes.empty()) {
    error.text += "; " + quotes;
  }
  return error;
}

bool hasWildcards(Gnmi::Path const& path) {
  return std::ranges::any_of(path.elements(),
                             [](Gnmi::Element const& element) { return element.name == "*" || element.name == "..."; });
}

std::expected<std::variant<PathAnswer, Expansions>, Gnmi::Error> resolvePath(PathRequest const& request) {
  auto path = behindPrefix(readPath(request.path), request.hasPrefix ? &request.prefix : nullptr);
  if (!path) {
    return std::unexpected(std::move(path).error());
  }
  bool const takesWildcards = request.mode == Gnmi::Mode::Read || request.mode == Gnmi::Mode::Delete;
  if (takesWildcards && hasWildcards(*path)) {
    Expansions expansions;
    std::optional<Gnmi::Error> conflict;
    auto done = request.resolver->expand(
        *path,
        [&](Gnmi::Resolved const& found) {
          if (auto checked = checkPayload(request, found); !checked) {
            conflict = std::move(checked).error();
            return false;
          }
          expansions.push_back(answerOf(request, *path, found));
          return true;
        },
        request.mode, request.bounds);
    if (!done || conflict) {
      return std::unexpected(done ? *std::move(conflict) : explained(std::move(done).error(), *path));
    }
    return expansions;
  }
  Gnmi::Resolved found;
  auto done = request.resolver->resolve(*path, found, request.mode);
  if (!done) {
    return std::unexpected(explained(std::move(done).error(), *path));
  }
  if (auto checked = checkPayload(request, found); !checked) {
    return std::unexpected(std::move(checked).error());
  }
  return answerOf(request, *path, found);
}

Filter sorted(ZynKeyDecoder::FilterMap const& map) {
  Filter sorted;
  for (auto const& [attr, value] : map) {
    sorted.emplace_back(attr.name(), value);
  }
  std::ranges::sort(sorted, {}, &Filter::value_type::first);
  return sorted;
}

std::string sentence(Gnmi::Error const& error) { return error.text + suggestion(error.unknown, error.names); }

}  // namespace ZynKey
