// A folder of YANG modules that a test writes.
#pragma once

#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <fstream>
#include <string>

namespace YangTest {

/** A folder that goes with the test. */
class Folder {
 public:
  Folder() {
    static std::atomic<int> count = 0;
    path_ = std::filesystem::temp_directory_path() /
            ("yang-load-" + std::to_string(getpid()) + "-" + std::to_string(++count));
    std::filesystem::create_directories(path_);
  }
  ~Folder() { std::filesystem::remove_all(path_); }
  Folder(Folder const&) = delete;
  Folder& operator=(Folder const&) = delete;

  /** "NAME.yang", with what a module begins with and `body`. */
  void add(std::string const& name, std::string const& body, std::string const& file = {}) const {
    write(file.empty() ? name + ".yang" : file, "module " + name + " {\n yang-version 1.1; namespace \"urn:" + name +
                                                    "\"; prefix " + name + ";\n" + body + "\n}\n");
  }
  void write(std::string const& file, std::string const& text) const {
    std::filesystem::create_directories((path_ / file).parent_path());
    std::ofstream(path_ / file) << text;
  }
  std::string file(std::string const& name) const { return path_ / name; }
  std::string path() const { return path_; }

 private:
  std::filesystem::path path_;
};

inline std::string import(std::string const& name) { return " import " + name + " { prefix " + name + "; }\n"; }

}  // namespace YangTest
