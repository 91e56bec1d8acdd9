// What gnmi/ does with paths, once more and as plainly as can be: the oracle that the resolver is compared with.
//
// It follows the rules of the public headers (gnmi/Path.h, Message.h, Resolver.h) and shares nothing with their
// implementation but the types of options and errors. It asks each type anew, compares names one after the other, and
// tries all ways in which wildcards can be read. Values are decoded by the decoder's own operations.
//
// Time is no concern: a path with wildcards that has too many ways throws `TooMany`. Threads: any; it keeps nothing.
#pragma once

#include <cstddef>
#include <expected>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "gnmi/Resolver.h"
#include "model/Value.h"

namespace NaiveGnmi {

template <typename T>
using Result = std::expected<T, Gnmi::Error>;

struct Key {
  std::string name;
  std::string value;
  std::size_t nameAt = 0;
  std::size_t valueAt = 0;
};

struct Element {
  std::string name;
  std::vector<Key> keys = {};
  std::size_t at = 0;
};

struct Path {
  std::string origin = {};
  std::string target = {};
  std::vector<Element> elements = {};
  /** How many of the elements are a prefix's. */
  std::size_t prefixSize = 0;
  bool isFromText = false;
};

Result<Path> readText(std::string_view text);
/** As a message has them: keys in any order; `strings` is the deprecated field `element`. */
Result<Path> readMessage(Path const& message, std::vector<std::string> const& strings);
Result<Path> joined(Path const& prefix, Path const& path);
/** Keys in the order of their names. */
std::string writeText(Path const& path);

struct Selected {
  std::size_t node = 0;
  Zyn::ZynAttr collection;
  /** The exact key; null for a filter. */
  Model::ValuePtr key = {};
  std::vector<std::pair<Zyn::ZynAttr, Model::ValuePtr>> filter = {};
};

struct Found {
  std::string origin;
  Gnmi::Node node;
  std::vector<Zyn::ZynAttr> nodes;
  std::vector<Selected> selections;
};

struct TooMany {};

class Oracle {
 public:
  /** The options outlive it. */
  Oracle(Zyn::ZynType root, Gnmi::Options const& options, Gnmi::Bounds const& bounds)
      : root_(root), options_(options), bounds_(bounds) {}

  Result<Found> resolve(Path const& path, Gnmi::Mode mode) const;

  struct Expanded {
    std::vector<Found> nodes;
    std::optional<Gnmi::Error> error;
  };
  /** All nodes up to the error, unless `most` nodes come first. */
  Expanded expand(Path const& path, Gnmi::Mode mode, std::size_t most) const;

  Result<Path> canonical(Found const& found) const;
  Result<Path> pathOf(std::vector<std::pair<Zyn::ZynAttr, Model::ValuePtr>> const& entries) const;

 private:
  using Attrs = std::vector<Zyn::ZynAttr>;
  /** Where an element is looked up. */
  struct Place {
    Zyn::ZynType type;
    std::string module = {};
    bool isTop = false;
    std::string origin = {};
  };
  /** The keys of one element that are wrong: without a place. */
  struct Wrong {
    Gnmi::ErrorClass kind;
    std::string text;
    /** The index of the key. */
    std::optional<std::size_t> key = {};
    bool ofValue = false;
    std::string unknown = {};
    std::vector<std::string> names = {};
  };
  struct Way;
  struct Event;

  Attrs nodesOf(Zyn::ZynType type) const;
  std::string moduleOf(Zyn::ZynAttr attr) const;
  std::string plainName(Zyn::ZynAttr attr) const;
  Gnmi::NodeKind kindOf(Zyn::ZynAttr attr) const;
  std::optional<Gnmi::Error> wrongOrigin(std::string const& origin) const;
  bool countsAtTop(Place const& place, std::string const& module) const;
  /** None, one or several. */
  Attrs named(Place const& place, std::string const& name) const;
  std::string nameAt(Place const& place, Zyn::ZynAttr attr) const;
  Gnmi::Error unknownElement(Place const& place, std::string const& name) const;
  /** The elements that take keys. */
  std::vector<std::string> keyedNames(Place const& place) const;
  Place placeBelow(Zyn::ZynAttr attr) const;

  std::expected<Selected, Wrong> select(Zyn::ZynAttr attr, std::vector<Key> const& keys, Gnmi::Mode mode) const;
  std::expected<Selected, Wrong> selectOne(Zyn::ZynAttr attr, std::vector<Key> const& keys, Gnmi::Mode mode) const;
  std::expected<Selected, Wrong> selectParts(Zyn::ZynAttr attr, std::vector<Key> const& keys, Gnmi::Mode mode) const;
  std::expected<Attrs, Wrong> partOf(Zyn::ZynAttr attr, std::string const& name) const;
  std::expected<Attrs, Wrong> partOfPart(Zyn::ZynAttr attr, std::string const& name) const;
  std::vector<std::string> keyNames(Zyn::ZynAttr attr) const;
  Wrong unknownKey(Zyn::ZynAttr attr, std::string const& name) const;
  /** `parts` are given. */
  static Wrong missingKeys(Zyn::ZynAttr attr, std::vector<Attrs> const& parts);
  bool isScalar(Zyn::ZynType type) const;
  std::optional<std::vector<Key>> writeKeys(Selected const& selected) const;
  bool writeParts(Zyn::GenericIf const& value, std::string const& before, std::vector<Key>& keys) const;

  void ways(Path const& path, Gnmi::Mode mode, Way const& way, std::vector<Event>& events) const;

  Zyn::ZynType root_;
  Gnmi::Options const& options_;
  Gnmi::Bounds bounds_;
};

}  // namespace NaiveGnmi
