// The files that a schema is made of. Not installed: only yaml/ looks in here.
#pragma once

#include <absl/container/flat_hash_map.h>

#include <cstddef>
#include <deque>
#include <expected>
#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "yaml/File.h"
#include "yaml/Problems.h"
#include "yaml/Source.h"
#include "yaml/Tree.h"
#include "yaml/Yaml.h"

namespace Yaml {

/** Finds and reads files, each once, however often and by whatever paths it is imported. */
class Imports {
 public:
  /** Makes types of the text of a file, and calls `load` for what the file imports. */
  using Read = std::function<void(File&, std::string_view text)>;

  explicit Imports(Read read) : read_(std::move(read)) {}

  /** Reads the first file: `text`, or else what the file `name` holds. Imports stay in its folder, or in `folders`. */
  void loadFirst(std::string const& name, std::optional<std::string_view> text,
                 std::vector<std::string> const& folders);

  /** Reads what an import list of `from` names, unless it has been read. Null when it is refused. */
  File const* load(File& from, Node const& import);

  /** Of all files, in the order met. */
  std::vector<Problem> takeProblems();

 private:
  void allowFolder(std::filesystem::path const& folder);
  /** What `path` leads to, read where it has not been; or why it is refused. */
  std::expected<File*, std::string> find(std::string const& path);
  void read(File& file, std::string_view text);

  Read read_;
  Told told_;
  /** Without symbolic links. */
  std::vector<std::filesystem::path> folders_;
  /** They stay where they are. */
  std::deque<File> files_;
  /** By each path that leads to it, as written and without symbolic links. */
  absl::flat_hash_map<std::string, File*> known_;
  /** The file that is being read, after those that import it. */
  std::vector<File const*> loading_;
  std::size_t bytesLeft_ = mostBytesOfAll;
  std::size_t lookedUp_ = 0;
};

}  // namespace Yaml
