// What is wrong with a file, in words. Not installed: only yaml/ looks in here.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "yaml/Tree.h"
#include "yaml/Yaml.h"

namespace Yaml {

/** Ends the loading: there are more problems than anybody reads. The last one says so. */
struct TooManyProblems {};

/** What was told of all files of a schema together, which is bounded. */
struct Told {
  std::size_t problems = 0;
  std::size_t suggestions = 0;
};

/** The problems of one file. `told` outlives it. */
class Problems {
 public:
  Problems(std::string file, Told& told) : file_(std::move(file)), told_(told) {}

  std::string const& file() const { return file_; }

  /** Throws `TooManyProblems` with the last one that is told. */
  void add(Place place, std::string what);

  /** Whether the node has the shape; if not, says that `what` should stand there. */
  bool expect(Node const& node, Shape shape, std::string_view what);

  /** Tells of the keys of a map that are not among those known. */
  void checkKeys(Node const& map, std::span<std::string_view const> known);

  /**
   * To end a message with, about a name that does not exist: those that are near. Nothing from the 101st on: looking
   * for them takes long where there are many names, and nobody reads hundreds of them.
   */
  std::string didYouMean(std::string_view name, std::span<std::string const> names);

  /** In the order of the lines. */
  std::vector<Problem> take();

 private:
  std::string file_;
  Told& told_;
  std::vector<Problem> problems_;
};

}  // namespace Yaml
