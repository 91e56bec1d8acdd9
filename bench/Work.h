// What is measured: named pieces of work, each of which may be done any number of times.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
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
  /** How often it is done for one count of instructions; 0 where it is only timed. */
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

/** What takes time or memory to prepare: prepared when it is first done. Only timed. */
Work later(std::string name, std::function<std::function<void()>()> prepare);

/** Calls with the next item each time, from first to last and again. */
template <typename Items, typename Call>
auto inTurn(Items items, Call call) {
  return [items = std::move(items), call = std::move(call), next = std::size_t{0}]() mutable {
    call(items[next]);
    next = next + 1 == items.size() ? 0 : next + 1;
  };
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
/** A key of the collection; the program ends where there is none. */
Velko::Ptr<Zyn::GenericIf> decodedKey(Zyn::ZynAttr collection, Fields const& fields);

/** What a program measures, in the order of the report; each program has its own. */
Works works();
/** Of these the ones named, in this order; all where none is named. The program ends where there is no such name. */
Works worksNamed(std::span<char const* const> names);

}  // namespace Bench
