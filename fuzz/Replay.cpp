// Runs a target over every file of the folders named: what the fuzzer has found, as a test.
//
//   fuzz_split DIRECTORY-OR-FILE...
//
// Exit status 1 when a folder has no file or a file cannot be read; a find ends the process.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>
#include <system_error>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size);

namespace {

std::vector<std::filesystem::path> filesOf(std::filesystem::path const& place) {
  std::error_code error;
  if (!std::filesystem::is_directory(place, error)) {
    return {place};
  }
  std::vector<std::filesystem::path> files;
  for (auto const& entry : std::filesystem::directory_iterator(place, error)) {
    files.push_back(entry.path());
  }
  return files;
}

bool replay(std::filesystem::path const& path) {
  std::ifstream file(path, std::ios::binary);
  std::string const bytes{std::istreambuf_iterator<char>(file), {}};
  if (!file) {
    std::fprintf(stderr, "cannot read %s\n", path.c_str());
    return false;
  }
  // Before the run: a find ends the process, and this tells which file it was.
  std::fprintf(stderr, "%s\n", path.c_str());
  LLVMFuzzerTestOneInput(reinterpret_cast<std::uint8_t const*>(bytes.data()), bytes.size());
  return true;
}

}  // namespace

int main(int argc, char** argv) {
  bool good = argc > 1;
  for (char const* const place : std::span(argv, static_cast<std::size_t>(argc)).subspan(1)) {
    auto const files = filesOf(place);
    if (files.empty()) {
      std::fprintf(stderr, "no files in %s\n", place);
      good = false;
    }
    for (auto const& file : files) {
      good = replay(file) && good;
    }
  }
  return good ? 0 : 1;
}
