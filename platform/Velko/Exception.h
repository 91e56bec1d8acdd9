// What the type system throws when a text, an argument list or a value does not fit.
//
// Only the operations that say so throw it. `what()` is a complete, readable message: the decoder returns it as its own
// error, without a prefix, and never uses it as a format. Catch it by reference, and copy the text: a copy of the base
// class alone may have none.
#pragma once

#include <utility>

#include "Velko/String.h"

namespace Velko {

class Exception {
 public:
  explicit Exception(String what) : what_(std::move(what)) {}
  Exception(Exception const&) = default;
  Exception& operator=(Exception const&) = default;
  /**
   * Defined by the provider, where the type information goes with it: so every library of the process means the same
   * type when it catches.
   */
  virtual ~Exception();

  /**
   * Any bytes, NUL included: the message may quote what was refused. Throws `std::bad_alloc` only.
   *
   * Virtual, because most exceptions are thrown by alternatives of a union, each of which is tried with the same text,
   * and nobody reads why the others refused it: a provider may make the message here, when it is asked for, or hand it
   * to the constructor.
   */
  virtual String what() const { return what_; }

 private:
  String what_;
};

}  // namespace Velko
