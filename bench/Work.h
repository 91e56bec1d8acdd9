// What is measured: named pieces of work, each of which may be done any number of times.
#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Drovan/ZynKeyDecoder.h"

namespace Bench {

struct Work {
  std::string name;
  /** Does it once, and leaves nothing behind. */
  std::function<void()> run;
  /** How often it is done for one count of instructions. */
  int rounds = 200;
};

using Works = std::vector<Work>;
/** Paths and values. */
using Fields = std::vector<std::pair<std::string, std::string>>;

/** Keeps the compiler from leaving out what nobody looks at. */
template <typename T>
void keep(T const& value) {
  asm volatile("" : : "r,m"(&value) : "memory");
}

/** Ends the program: what is measured would not be what its name says. */
[[noreturn]] void fail(std::string_view what, std::string_view why);

// The decoder's jobs. Each is tried once before it is handed out and must succeed, or fail where `fails` says so.

Work split(std::string name, std::string path);
Work scalar(std::string name, Zyn::ZynAttr collection, Zyn::ZynType type, std::string value, bool s4 = false,
            bool fails = false);
/** The root, every path, `instantiate`, and the drop of the tree with its key. */
Work wholeKey(std::string name, Zyn::ZynAttr collection, Fields fields, bool fails = false);
Work filter(std::string name, Zyn::ZynAttr collection, Fields fields);

// What a program measures; each program has its own.

/** In the order of the report. */
Works works();
/** Called before each measurement, with what its name ends in: "plain counts", for instance. */
void setThreadSafe(bool on);

}  // namespace Bench
