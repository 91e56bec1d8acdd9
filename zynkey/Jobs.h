// The decoder's jobs as requests and answers: the same for a command line and for a line of a batch.
//
// Threads: a request and its answer belong to one thread; any number of them run at once. Errors of the decoder are
// part of the answer, byte for byte as the decoder made them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <expected>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "gnmi/Resolve.h"
#include "model/Schema.h"
#include "model/Value.h"
#include "zynkey/Names.h"

namespace ZynKey {

enum class Op : std::uint8_t { Decode, Scalar, Filter, Split, Path };

/** Paths, or one name, and the texts of their values. */
using Keys = std::vector<std::pair<std::string, std::string>>;

struct Request {
  Op op = Op::Decode;
  Zyn::ZynAttr collection;
  /** Scalar: what the text is decoded into; empty for the collection's key type. */
  Zyn::ZynType type;
  bool s4 = false;
  Keys keys;
  /** Split and Path only. */
  std::string path;
  /** Path only: the entity that the path starts from. */
  Zyn::ZynType root = {};
  /** Path only: what checks the modules of its elements, where the schema has modules. */
  Gnmi::ModuleOf moduleOf = {};
  /** Path only: what names the leaf whose value is wrong, where the schema has paths. */
  PathOf pathOf = {};
};

/** Every key there is. */
struct All {};
/** Sorted by attribute name. */
using Filter = std::vector<std::pair<std::string, Model::ValuePtr>>;
using Elements = std::vector<std::string>;
/** What a path selects of each keyed collection that it passes. */
struct Selected {
  Zyn::ZynAttr collection;
  std::variant<Model::ValuePtr, All, Filter> keys;
};
struct Selections {
  std::string path;
  std::vector<Selected> collections;
};

using Answer = std::variant<Model::ValuePtr, All, Filter, Elements, Selections>;

/** The error text that came with the key. */
struct Failure {
  Failure(Velko::String text) : text(std::move(text)) {}
  Failure(Velko::String text, std::size_t offset) : text(std::move(text)), offset(offset) {}

  Velko::String text;
  /** Of a path: the byte that the text is about. */
  std::optional<std::size_t> offset;
};
using Outcome = std::expected<Answer, Failure>;

/** Is shown the tree of a key before it is instantiated. */
using ShowTree = std::function<void(Drovan::ZynKeyDecoder::KeyElemNode const&)>;

/** What is wrong with a request that cannot be run, such as a collection without keys; nothing when it can. */
std::optional<std::string> validate(Request const& request, Model::Schema const& schema);

/** Runs a request without a flaw. */
Outcome run(Request const& request, ShowTree const& showTree = {});

/** A value of `type` from its paths; the empty path stands for the value as a whole. */
Outcome build(Zyn::ZynType type, Keys const& keys);

/** Lines, each with its end. */
std::string toText(Answer const& answer);
/** One JSON object in one line, with its end; bytes that are not UTF-8 become U+FFFD. */
std::string toJsonLine(Outcome const& outcome);
std::string errorLine(std::string_view error);

/** `error` as a sentence that names what exists: near names where there are some. */
std::string sentence(Gnmi::PathError const& error);

/** The tree, children in declaration order, leaves with their values. */
std::string drawTree(Drovan::ZynKeyDecoder::KeyElemNode const& root);

}  // namespace ZynKey
