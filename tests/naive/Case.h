// One case of the comparison: a schema, a collection of it, and what is asked of a decoder for it, as plain data. So a
// case can be made at random, made smaller, built, and printed for a person to try.
//
//   accepted   build(randomCase(seed))          always builds
//   refused    a case whose parts do not fit    `World` throws `Model::SchemaError`, as making a case smaller may
//
// Threads: one for a case. Not checked: that a type's attributes are of types before it, which `World` relies on.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "model/Schema.h"

namespace Naive {

/** A core type by its kind, then the types of the case in order; -1 for none. */
using TypeNumber = int;
constexpr TypeNumber coreTypes = static_cast<int>(Model::Kind::MacAddress) + 1;

struct Attribute {
  std::string name;
  TypeNumber type;
};

struct Type {
  /** A scalar kind stands for a further type of that kind. */
  Model::Kind kind = Model::Kind::Value;
  /** A wrapper has one, whose name does not count; a union's are its alternatives. */
  std::vector<Attribute> attrs = {};
  std::vector<std::string> args = {};
  std::vector<std::string> enumerators = {};
  std::string gnmi = {};
  std::vector<std::pair<std::string, std::uint32_t>> s4 = {};
  std::string valAttr = {};
  /** Set or cleared, in order. A union always stays a value type: the decoder may rely on that. */
  std::vector<std::pair<Model::Mark, bool>> marks = {};
};

enum class Job { Split, Scalar, Path, Suffix, Instantiate, Construct, Filter };

struct Step {
  Job job;
  /** A key path; the key name of a scalar. */
  std::string path = {};
  std::string value = {};
  /** What a scalar is decoded into, what is constructed. */
  TypeNumber type = -1;
  /** The call of the step, from 1, that the type system refuses, or answers with null; 0 for none. */
  int refusedCall = 0;
  bool answersNull = false;
};

enum class Shape { Keyed, List, Plain, None };

/** The collection is `Owner.entries`; its entries are of the entity `Entry`. */
struct Case {
  std::vector<Type> types = {};
  std::vector<Attribute> entry = {};
  Shape shape = Shape::Keyed;
  /** The internal key name. */
  std::optional<std::string> by = {};
  /** -1: that of the attribute `by`. */
  TypeNumber keyType = -1;
  /** What the tree is made for; unless there is one, the key type. */
  std::optional<TypeNumber> root = {};
  bool decoderS4 = false;
  bool treeS4 = false;
  bool traces = false;
  /** All on one decoder, one tree and one filter. */
  std::vector<Step> steps = {};
};

struct World {
  explicit World(Case const& from);

  Zyn::ZynType type(TypeNumber number) const {
    return number < 0 ? Zyn::ZynType() : types.at(static_cast<unsigned>(number));
  }

  Model::Schema schema;
  std::vector<Zyn::ZynType> types;
  Zyn::ZynAttr collection;
  Zyn::ZynType root;
};

/** The same case for the same number, on every machine. */
Case randomCase(std::uint64_t seed);

/** The case with everything left out, and every text shortened, that `isStillOne` does not need. */
Case shrunk(Case from, std::function<bool(Case const&)> const& isStillOne);

/** A schema file and command lines; says where they only come close to the case. */
std::string shown(Case const& one);

}  // namespace Naive
