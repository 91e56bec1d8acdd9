// What is asked of the type system, call by call: this program stands between the decoders and the embedded provider.
//
// The program defines the operations of `Zyn/Zyn.h` itself, writes each call down, and hands it on to the provider's
// library. So both decoders get realistic answers, and their calls can be compared. What the provider asks of itself
// while it answers is no call and is not written.
//
// Threads: one. A log is written only while a `Recording` of it lives, and there is one at a time.
#pragma once

#include <compare>
#include <cstdint>
#include <map>
#include <string>
#include <vector>

#include "Zyn/Zyn.h"

namespace Calls {

/** A query or lookup, and what it was asked of. */
struct Query {
  /** A text of this library: told apart by its address. */
  char const* what;
  Zyn::ZynModule const* module;
  std::uint32_t index;
  /** What was looked up. */
  std::string name;
  friend auto operator<=>(Query const&, Query const&) = default;
};

std::string shown(Query const& query);

struct Log {
  /** Constructors, setters and traces: what has an order. A value shows as it prints. */
  std::vector<std::string> lines;
  /** How often each query was asked. */
  std::map<Query, int> queries;
  /** The constructor or setter, counted from 1, that refuses whatever it is given; 0 for none. */
  int refusedCall = 0;
  /** Instead of refusing, it answers null, where it answers at all and the contract allows null. */
  bool answersNull = false;
  int constructed = 0;
};

class Recording {
 public:
  explicit Recording(Log& log);
  ~Recording();
  Recording(Recording const&) = delete;
  Recording& operator=(Recording const&) = delete;
};

}  // namespace Calls
