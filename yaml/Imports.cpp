#include "yaml/Imports.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstddef>
#include <expected>
#include <filesystem>
#include <iterator>
#include <optional>
#include <ranges>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

#include "text/Messages.h"

namespace Yaml {
namespace {

constexpr std::size_t mostNestedImports = 100;
// Following symbolic links takes time that grows with the square of a path's length.
constexpr std::size_t longestPath = 1000;
constexpr std::size_t mostLookedUp = 1000;

/** An empty path stands for the folder that the program runs in. */
std::filesystem::path folderOf(std::string const& file) {
  std::filesystem::path const folder = std::filesystem::path(file).parent_path();
  return folder.empty() ? "." : folder;
}

bool isWithin(std::filesystem::path const& folder, std::filesystem::path const& path) {
  return std::ranges::mismatch(folder, path).in1 == folder.end();
}

}  // namespace

void Imports::allowFolder(std::filesystem::path const& folder) {
  std::error_code error;
  if (std::filesystem::path where = std::filesystem::canonical(folder, error); !error) {
    folders_.push_back(std::move(where));
  }
}

void Imports::loadFirst(std::string const& name, std::optional<std::string_view> text,
                        std::vector<std::string> const& folders) {
  File& file = files_.emplace_back(name, told_);
  allowFolder(folderOf(name));
  std::ranges::for_each(folders, [this](std::string const& folder) { allowFolder(folder); });
  std::error_code error;
  known_.emplace(std::filesystem::weakly_canonical(name, error).string(), &file);
  Bytes bytes;
  if (!text) {
    bytes = readAny(name, bytesLeft_);
  } else if (text->size() > bytesLeft_) {
    bytes = std::unexpected(tooLarge);
  }
  if (bytes) {
    read(file, text.value_or(*bytes));
  } else {
    file.problems.add({}, "cannot be read: " + bytes.error());
  }
}

File const* Imports::load(File& from, Node const& import) {
  auto const found = find((std::filesystem::path(from.name()).parent_path() / import.text).string());
  if (!found) {
    from.problems.add(import.place, found.error());
    return nullptr;
  }
  File const* const file = *found;
  auto const open = std::ranges::find(loading_, file);
  if (open == loading_.end()) {
    return file;
  }
  std::string const way = Text::list(
      std::ranges::subrange(open, loading_.end()), [](File const* each) { return fmt::format("'{}'", each->name()); },
      " imports ");
  from.problems.add(import.place,
                    fmt::format("{} imports '{}' again; leave one of these imports out", way, file->name()));
  return nullptr;
}

std::expected<File*, std::string> Imports::find(std::string const& path) {
  if (auto const known = known_.find(path); known != known_.end()) {
    return known->second;
  }
  auto const cannotRead = [&](std::string_view why) {
    return std::unexpected(fmt::format("cannot read '{}': {}", path, why));
  };
  if (path.contains('\0')) {
    return cannotRead("its name holds a NUL byte");
  }
  if (path.size() > longestPath) {
    return cannotRead(fmt::format("its name has more than {} bytes", longestPath));
  }
  if (lookedUp_ == mostLookedUp) {
    return std::unexpected(fmt::format("more than {} files, or ways to write their names; import fewer", mostLookedUp));
  }
  ++lookedUp_;
  std::error_code error;
  std::filesystem::path where = std::filesystem::canonical(path, error);
  if (error) {
    // Of a file that is not there, its folder says whether it may be looked for.
    std::error_code folderError;
    where = std::filesystem::canonical(folderOf(path), folderError) / std::filesystem::path(path).filename();
    if (folderError) {
      return cannotRead(error.message());
    }
  }
  if (std::ranges::none_of(folders_, [&](std::filesystem::path const& folder) { return isWithin(folder, where); })) {
    return std::unexpected(
        fmt::format("'{}' leads out of the folder of the first file; imports stay in it or below, and in folders that "
                    "are allowed besides",
                    path));
  }
  if (auto const known = known_.find(where.string()); known != known_.end()) {
    File* const file = known->second;  // what follows may move the map
    known_.emplace(path, file);
    return file;
  }
  if (loading_.size() == mostNestedImports) {
    return std::unexpected(fmt::format("imports nested more than {} deep; import fewer files", mostNestedImports));
  }
  Bytes const bytes = readRegular(where.string(), bytesLeft_);
  if (!bytes) {
    return cannotRead(bytes.error());
  }
  File& file = files_.emplace_back(path, told_);
  known_.emplace(path, &file);
  known_.emplace(where.string(), &file);
  read(file, *bytes);
  return &file;
}

void Imports::read(File& file, std::string_view text) {
  bytesLeft_ -= text.size();
  loading_.push_back(&file);
  read_(file, text);
  loading_.pop_back();
}

std::vector<Problem> Imports::takeProblems() {
  std::vector<Problem> all;
  for (File& file : files_) {
    std::ranges::move(file.problems.take(), std::back_inserter(all));
  }
  return all;
}

}  // namespace Yaml
