// What the type system throws when a text, an argument list or a value does not fit.
//
// Only the operations that say so throw it. `what()` is a complete, readable message: callers show it as it is, and
// never use it as a format. Catch it by reference, and copy the text: a copy of the base class alone may have none.
#pragma once

#include <utility>

#include "Velko/String.h"

namespace Velko {

class Exception {
 public:
  explicit Exception(String what) : what_(std::move(what)) {}
  Exception(Exception const&) = default;
  Exception& operator=(Exception const&) = default;
  /** Defined by the provider, so that every library of the process means the same type when it catches. */
  virtual ~Exception();

  /**
   * Any bytes, NUL included: the message may quote what was refused. A provider may make it here, so that an exception
   * which nobody reads costs no text. Throws `std::bad_alloc` only.
   */
  virtual String what() const { return what_; }

 private:
  String what_;
};

}  // namespace Velko
