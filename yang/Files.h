// The YANG files of folders: which module or submodule each one holds, of which revision. Only yang/ looks in here.
//
// Every `.yang` and `.yin` file of the folders and those below them counts, hidden ones excepted; symbolic links to
// folders are not followed. Name and revision are those that the file states: the newest of its `revision` statements.
// A file that states no name, or cannot be read, goes by its own, so that loading it says what is wrong.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace Yang {

struct File {
  std::string name;
  /** Empty where there is none. */
  std::string revision;
  std::string path;
  bool isSubmodule = false;
  bool isReadable = true;
  /** Its position among all files, folder by folder. */
  std::size_t order = 0;
};

/** One YANG statement after another, in the order of the text, without what they mean. */
class Statements {
 public:
  explicit Statements(std::string_view text) : rest_(text) {}

  /** False at the end of the text, and where it is no YANG any more. */
  bool next();

  std::string_view keyword;
  std::string argument;
  /** How many statements this one is inside of. */
  std::size_t depth = 0;

 private:
  bool skipBlanks();

  std::string_view rest_;
  std::size_t open_ = 0;
};

class Files {
 public:
  Files() = default;
  /** Throws nothing but `std::bad_alloc`: folders that cannot be read are left out. */
  explicit Files(std::span<std::string const> folders);

  /**
   * Of the revision, or the newest for an empty one; of several, that of the first folder, and there the first by path.
   * Null where there is none.
   */
  File const* find(std::string_view name, std::string_view revision, bool isSubmodule) const;
  std::span<File const> all() const { return files_; }
  /** All of one name, the newest first. */
  std::span<File const> all(std::string_view name, bool isSubmodule) const;
  /** Names without submodules, sorted, once each. */
  std::vector<std::string> modules() const;

 private:
  /** By kind and name, then the newest first, then in the order of the folders. */
  std::vector<File> files_;
};

/** More bytes than any module has; what such a file would cost is not tried. */
inline constexpr std::ptrdiff_t maxFileSize = 256 << 20;

/** Nothing where it cannot be read, or is too large. */
std::optional<std::string> contentOf(File const& file);

/**
 * Whether a statement of the file names a node or an identity of the module, so that libyang implements that one: in a
 * path, a condition, a default value, an augment or a deviation. Not what types and groupings are used from there.
 */
bool refersTo(File const& file, std::string_view module);

/** Whether the file adds a data node of that name to the tree of another module. */
bool adds(File const& file, std::string_view node);

/** The modules and submodules that the file imports and includes. */
std::vector<std::string> importsOf(File const& file);

}  // namespace Yang
