// What the arguments of the command say.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace ZynKey {

/** The exit status of the command. */
enum Status : int { Done = 0, NotDecoded = 1, WrongUsage = 2 };

/** In place of the name of a file. */
inline constexpr std::string_view standardInput = "-";

struct SchemaOptions {
  /** Empty for the built-in example. */
  std::string file = {};
  /** Folders that the imports of the file may lead into. */
  std::vector<std::string> importFolders = {};
  /** Folders of YANG; empty where the schema is none. */
  std::vector<std::string> folders = {};
  /** Modules of YANG; empty for all that the folders have. */
  std::vector<std::string> modules = {};
  bool allFeatures = false;
  bool implementImports = false;
  bool isStrict = false;
};

struct Options {
  SchemaOptions schema;
  std::string collection;
  std::string type;
  std::string file;
  std::string path;
  std::string root;
  std::string prefix;
  std::string mode = "read";
  /** Of rows. */
  std::string input = "path";
  std::string output = "json";
  std::string ddl;
  std::vector<std::string> fields;
  /** Keys of a collection, or paths. */
  std::vector<std::string> keys;
  unsigned jobs = 1;
  std::size_t maxLine = std::size_t{1} << 20U;
  bool s4 = false;
  bool trace = false;
  bool tree = false;
  bool json = false;
  bool proto = false;
  bool canonical = false;
  bool failOnError = false;
};

}  // namespace ZynKey
