// A schema made up by `Choices`: entities with leaves, containers, lists and keyed collections, which may lead back to
// themselves; key types of every kind, nested in each other; and what a loader would tell of it.
//
// Threads: one for an object. The facts refer to the world, which outlives them. Throws `std::bad_alloc` only.
#pragma once

#include <absl/container/flat_hash_map.h>

#include <string>
#include <vector>

#include "gnmi/Resolver.h"
#include "model/Schema.h"
#include "tests/naive-gnmi/Choices.h"

namespace NaiveGnmi {

struct World {
  explicit World(Choices& choices);
  World(World const&) = delete;
  World& operator=(World const&) = delete;

  /** For people: types with their attributes, and the options. */
  std::string shown() const;

  Model::Schema schema;
  std::vector<Zyn::ZynType> values;
  /** The first is the root. */
  std::vector<Zyn::ZynType> entities;
  absl::flat_hash_map<Zyn::ZynAttr, std::string> modules;
  absl::flat_hash_map<Zyn::ZynAttr, bool> hidden;
  Gnmi::Options options;
  Gnmi::Bounds bounds;

 private:
  void addValue(Choices& choices, Model::Module& module);
  void addMarks(Choices& choices, Model::TypeBuilder& type) const;
  void addFields(Choices& choices, Model::Module& module, Zyn::ZynType entity);
  void addFacts(Choices& choices);
  Zyn::ZynType anyValue(Choices& choices) const;
  Zyn::ZynType anyKey(Choices& choices) const;
};

/** A text that the type reads, mostly. */
std::string textOf(Choices& choices, Zyn::ZynType type, bool useS4Encoding);

std::vector<Zyn::ZynAttr> attrsOf(Zyn::ZynType type);

}  // namespace NaiveGnmi
