// The job `path`: what a gNMI path selects, given as text or in the fields of a message.
//
// Threads: a request and its answer belong to one thread. Errors are those of gnmi/, with their class and place.
#pragma once

#include <cstddef>
#include <expected>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "gnmi/Resolver.h"
#include "model/Value.h"

namespace ZynKey {

/** Names and texts. */
using NamedTexts = std::vector<std::pair<std::string, std::string>>;
/** The same, which live elsewhere. */
using NamedViews = std::vector<std::pair<std::string_view, std::string_view>>;

/**
 * A path as a request gives it; its texts live elsewhere. Its members are those of the message, so that it is read as
 * one.
 */
class PathInput {
 public:
  class Elem {
   public:
    std::string_view name() const { return nameText; }
    NamedViews const& key() const { return keys; }

    std::string_view nameText;
    NamedViews keys;
  };

  std::vector<Elem> const& elem() const { return elems; }
  std::vector<std::string_view> const& element() const { return elements; }
  std::string_view origin() const { return originText; }
  std::string_view target() const { return targetText; }

  /** The text of the whole path, where that is how it is given; the fields of the message are empty then. */
  bool isText = false;
  std::string_view text;
  std::vector<Elem> elems;
  std::vector<std::string_view> elements;
  std::string_view originText;
  std::string_view targetText;
};

struct PathRequest {
  PathInput path;
  /** In front of the path, where there is one. */
  PathInput prefix;
  bool hasPrefix = false;
  Gnmi::Mode mode = Gnmi::Mode::Read;
  Gnmi::Bounds bounds;
  /** Leaves of a payload that hold the key of the last list. */
  NamedViews payload;
  bool s4 = false;
  Gnmi::Resolver const* resolver = nullptr;
};

/** Every key there is. */
struct All {};
/** Sorted by attribute name. */
using Filter = std::vector<std::pair<std::string, Model::ValuePtr>>;

/** What a path selects of one keyed collection. */
struct Selected {
  Zyn::ZynAttr collection;
  std::variant<Model::ValuePtr, All, Filter> keys;
};
/** What one path means. */
struct PathAnswer {
  /** The canonical text. */
  std::string path;
  Gnmi::Node node;
  std::vector<Selected> collections;
  /** What is probably a slip, in a sentence; empty for nothing. */
  std::string warning = {};
};
/** What a path with wildcards for elements means. */
using Expansions = std::vector<PathAnswer>;

std::expected<std::variant<PathAnswer, Expansions>, Gnmi::Error> resolvePath(PathRequest const& request);

/** "a filter's values", sorted by attribute name. */
Filter sorted(Drovan::ZynKeyDecoder::FilterMap const& map);

/** The error of a path, with what is probably the reason where a value is refused: quotes around it. */
Gnmi::Error explained(Gnmi::Error error, Gnmi::Path const& path);

/** Whether the path has elements "*" or "...", and so may mean several nodes. */
bool hasWildcards(Gnmi::Path const& path);

/** The path that the input is, which lives longer. */
std::expected<Gnmi::Path, Gnmi::Error> readPath(PathInput const& input);
/** `path` behind `prefix`, which may be null. */
std::expected<Gnmi::Path, Gnmi::Error> behindPrefix(std::expected<Gnmi::Path, Gnmi::Error> path,
                                                    PathInput const* prefix);

/** `error` as a sentence that names what exists: near names where there are some. */
std::string sentence(Gnmi::Error const& error);

}  // namespace ZynKey
