// What ends the command with status 2: wrong usage, a file that cannot be read, output that cannot be written.
#pragma once

#include <stdexcept>
#include <string>

namespace ZynKey {

/** `what()` is one line for stderr, without the command's name. */
class UsageError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

}  // namespace ZynKey
