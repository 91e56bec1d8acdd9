// The decoder's jobs as requests and answers: the same for a command line and for a line of a batch.
//
// Threads: a request and its answer belong to one thread; any number of them run at once. Errors of the decoder are
// part of the answer, byte for byte as the decoder made them.
#pragma once

#include <cstdint>
#include <expected>
#include <forward_list>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"
#include "model/Schema.h"
#include "model/Value.h"
#include "zynkey/PathJob.h"

namespace ZynKey {

enum class Op : std::uint8_t { Decode, Scalar, Filter, Split, Path };

/** Paths, or one name, and the texts of their values. */
using Keys = NamedViews;

/**
 * Its texts are views: of a line, of arguments, or of what it owns. It is moved and not copied: the texts of a copy
 * would be those that the original owns.
 */
struct Request {
  Op op = Op::Decode;
  Zyn::ZynAttr collection;
  /** Scalar: what the text is decoded into; empty for the collection's key type. */
  Zyn::ZynType type;
  bool s4 = false;
  Keys keys;
  /** Split only. */
  std::string_view text;
  /** Path only. */
  PathRequest path = {};
  /** Texts that stand nowhere else, such as those that had escapes. */
  std::forward_list<std::string> owned = {};
};

using Elements = std::vector<std::string>;

using Answer = std::variant<Model::ValuePtr, All, Filter, Elements, PathAnswer, Expansions>;

/** Why there is no answer. */
struct Failure {
  Failure(Velko::String reason) : text(std::move(reason)) {}
  explicit Failure(Gnmi::Error error) : text(sentence(error)), path(std::move(error)) {}

  /** The error text that came with the key; of a path a sentence. */
  Velko::String text;
  /** Of a path: its class and place. */
  std::optional<Gnmi::Error> path = {};
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
/** Appends one JSON object in one line, with its end; bytes that are not UTF-8 become U+FFFD. */
void appendJsonLine(Outcome const& outcome, std::string& out);
/** Each of the lines, two blanks further in. */
std::string indented(std::string_view lines);

/** The tree, children in declaration order, leaves with their values. */
std::string drawTree(Drovan::ZynKeyDecoder::KeyElemNode const& root);

}  // namespace ZynKey
