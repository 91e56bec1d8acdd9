// How a protobuf message is handed to the type system, and what it throws when the message is malformed.
#pragma once

#include <cstdint>
#include <utility>

#include "Velko/String.h"

namespace Velko::Pb {

/**
 * A place in a serialised protobuf message: what `Zyn::ZynType::genericIfFromPbMessage` gets as an untyped pointer.
 * Three words in this order. The bytes belong to the caller and outlive the call; the reader may advance `position`.
 */
struct ReadCursor {
  char const* data;
  /** In bytes from `data`; 0 where reading starts. */
  std::uint64_t position;
  /** Of the whole message, in bytes. */
  std::uint64_t length;
};

/** A message that cannot be read as a value of the type. It is no `Velko::Exception`: name it to catch it. */
class PbReadException {
 public:
  explicit PbReadException(String what) : what_(std::move(what)) {}
  PbReadException(PbReadException const&) = default;
  PbReadException& operator=(PbReadException const&) = default;
  /** Defined by the provider, so that every library of the process means the same type when it catches. */
  virtual ~PbReadException();

  /** A complete, readable message; any bytes, NUL included. */
  String const& what() const noexcept { return what_; }

 private:
  String what_;
};

}  // namespace Velko::Pb
