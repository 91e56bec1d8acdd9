// How a protobuf message is handed to the type system, and what it throws when the message is malformed.
#pragma once

#include <cstdint>
#include <utility>

#include "Velko/String.h"

namespace Velko::Pb {

/**
 * A place in a serialised protobuf message: what `Zyn::ZynType::genericIfFromPbMessage` gets as an untyped pointer.
 * Three words in this order. The bytes belong to the caller and live for the call only. The reader may advance
 * `position`: the decoder does not look at it afterwards.
 */
struct ReadCursor {
  char const* data;
  /** Where reading starts, in bytes from `data`; the decoder passes 0. */
  std::uint64_t position;
  /** Of the whole message, in bytes. */
  std::uint64_t length;
};

/**
 * A message that cannot be read as a value of the type: it is malformed, holds a number out of range, or lacks a part
 * that the type needs. It is no `Velko::Exception`: name it to catch it.
 */
class PbReadException {
 public:
  explicit PbReadException(String what) : what_(std::move(what)) {}
  PbReadException(PbReadException const&) = default;
  PbReadException& operator=(PbReadException const&) = default;
  /** Defined by the provider, for the reason that `Velko::Exception` gives. */
  virtual ~PbReadException();

  /** A complete, readable message; any bytes, NUL included. Made with the exception, so it need not be virtual. */
  String const& what() const noexcept { return what_; }

 private:
  String what_;
};

}  // namespace Velko::Pb
