// A second provider of platform/, whose every answer a test scripts and whose every call it can read afterwards.
//
// There is one world at a time. Making one starts empty; destroying it fails the test when a value or memory of a
// container is still held. The calls of the decoder stand in `log`, one line each, in order:
//
//   Key.isEnumType                      a query
//   Key.attr("vrf")                     a lookup
//   String.genericIf("\"red\"", false)  a text, byte for byte
//   Key.genericIf([v1(2), null], false) arguments, with the reference count of each value at that moment
//   tag.genericIfSet(v2(1), null, v1(2))
//   trace KeyElemNode::construct: ...   with file, level and handle where they are not the usual ones
//   format "Missing ..." / alloc VectorOf<...> 1 / dealloc VectorOf<...> 1 / drop v1 / handle "ZynKeyDecoder", false
//
// Threads: the log is locked; types are scripted before threads start.
#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "Zyn/Zyn.h"

namespace Recording {

struct Type {
  std::string name;
  bool isValue = false;
  bool isEnum = false;
  bool hasS4 = false;
  bool hasGnmi = false;
  bool isUnion = false;
  bool isScalarKind = false;
  bool isString = false;
  std::vector<std::string> args = {};
  std::string valAttr = {};
};

struct Attr {
  std::string name;
  Zyn::ZynType type;
  bool keyed = false;
  std::optional<std::string> keyName = {};
  Zyn::ZynType keyType = {};
  /** Found by its name, but not walked: an inherited one. */
  bool isInherited = false;
};

/** What happens instead of the call's answer; it may throw anything, or return for a null value. */
using Fault = std::function<void()>;

class World {
 public:
  World();
  ~World();
  World(World const&) = delete;
  World& operator=(World const&) = delete;

  Zyn::ZynType type(Type type);
  Zyn::ZynAttr attr(Zyn::ZynType owner, Attr attr);
  /** To change an answer between two calls. */
  Type& of(Zyn::ZynType type);
  Attr& of(Zyn::ZynAttr attr);

  /** The n-th call (from 1) whose line starts with `call` fails in this way. */
  void fault(std::string call, int nth, Fault fault);

  /** Lines that start with one of the words are left out of `calls()`. */
  std::vector<std::string> calls(std::vector<std::string> const& without = {}) const;
  /** Of the lines, those that hold the text. */
  std::vector<std::string> lines(std::string_view holding) const;
  std::size_t count(std::string_view holding) const { return lines(holding).size(); }
  void forget() {
    log.clear();
    slab.clear();
  }

  /** Elements held under tags now. */
  std::int64_t elements() const;
  /** Values alive now. */
  int values() const;

  /** The owner that lookups put into attribute handles, in place of the type asked. */
  std::optional<std::uint32_t> owner;
  /** `genericIfFromPbMessage` leaves nothing behind in its cursor. */
  bool spoilCursor = false;
  /** No container gets memory any more. */
  bool outOfMemory = false;
  /** Unless null, what every constructor answers, in place of a new value. */
  Velko::Ptr<Zyn::GenericIf> answer;
  std::vector<std::string> log;
  /** "take 16" and "give i": bytes asked of the slab, and the mangled name of what lived there. */
  std::vector<std::string> slab;
  /** The bytes that `genericIfFromPbMessage` was last given. */
  std::string message;
};

/** Where the slab's storage comes from; null is out of memory. */
extern void* (*slabAllocation)(std::size_t);

/** Turns traces on or off; a new world starts with them off. */
void trace(bool on = true);

/** A value of the provider, by its number: "v1". */
std::string nameOf(Zyn::GenericIf const* value);

/** Every kind of line that is no call to the type system. */
inline std::vector<std::string> const services = {"trace", "format", "alloc", "dealloc", "drop", "handle"};

}  // namespace Recording
