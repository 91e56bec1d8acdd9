// The bytes of a file. Not installed: only yaml/ looks in here.
#pragma once

#include <cstddef>
#include <expected>
#include <string>

namespace Yaml {

/** The bytes, or why they cannot be had: "No such file or directory". */
using Bytes = std::expected<std::string, std::string>;

/** All files of one schema together have at most so many bytes. */
inline constexpr std::size_t mostBytesOfAll = 4 << 20;
inline constexpr char const* tooLarge = "the files of the schema are larger than 4 MiB together";

/** Reads a file that the user named: of any kind that has bytes. It may be a pipe, and is waited for then. */
Bytes readAny(std::string const& path, std::size_t mostBytes);

/**
 * Reads a file that another file named: only a regular one, which `path` itself is, not a symbolic link to it. Never
 * waits. Takes as many bytes as the file is said to have: those of /proc are said to have none.
 */
Bytes readRegular(std::string const& path, std::size_t mostBytes);

}  // namespace Yaml
