// Types of every kind for the targets, and what holds for every value of them.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "Zyn/Zyn.h"
#include "fuzz/Fuzz.h"
#include "model/Schema.h"
#include "model/Value.h"

namespace Fuzz {

struct Types {
  Model::Schema schema;
  /** All but entities: core types first, then enumerations, wrappers, unions and value types, nested in each other. */
  std::vector<Zyn::ZynType> values;
  /** Those of `values` that have an s4 encoding. */
  std::vector<Zyn::ZynType> s4;
  /** An entity: no text is a value of it. */
  Zyn::ZynType entity;
  /** A value type with an attribute of each type of `values`, called by its short name. */
  Zyn::ZynType key;
  /** Keyed by `key`. */
  Zyn::ZynAttr collection;
};

/** Made once. */
Types const& types();

/**
 * The core types, and one to eight that the input makes up: for each its kind, its attributes (a name out of few and a
 * type each) and what is said of them, a byte each. A type is made of core types and of those before it.
 */
std::vector<Zyn::ZynType> madeUp(Input& input, Model::Module& module);

/**
 * What holds for every value, however it was made: it prints, equals itself, its JSON reads back the same, a union
 * holds one alternative at most, and scalars read back equal from their literals and from their gNMI form. Where it has
 * an s4 text, that reads back equal as well.
 */
void check(Zyn::GenericIf const& value);

/** What a call gives: a value, or an error text. Throws nothing. */
struct Made {
  Model::ValuePtr value;
  std::string error;

  friend bool operator==(Made const& a, Made const& b);
};

Made fromLiteral(Zyn::ZynType type, std::string_view text);
Made fromGnmi(Zyn::ZynType type, std::string_view text);
Made fromMessage(Zyn::ZynType type, std::string_view message);

/** By a decoder that checks no key name. `text` is not "*". */
Made decoded(Zyn::ZynType type, std::string_view text, bool s4);

}  // namespace Fuzz
