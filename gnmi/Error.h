// What is wrong with a path, where, and which status code a gNMI server answers with.
//
//   class            what it means                                                   Get            Set            Subscribe
//   Malformed        the text is no path, or the message is none                     INVALID        INVALID        INVALID
//   UnknownNode      an element that the schema does not have                        UNIMPLEMENTED  NOT_FOUND      UNIMPLEMENTED
//   UnknownOrigin    an origin that names no model                                   INVALID        INVALID        INVALID
//   Ambiguous        a plain name that several modules have at that place            INVALID        INVALID        INVALID
//   KeyMissing       keys are left out where an exact entry is asked for             INVALID        INVALID        INVALID
//   KeyUnknown       a key that the list does not have                               INVALID        INVALID        INVALID
//   KeyTwice         a key that is given twice                                       INVALID        INVALID        INVALID
//   ValueRefused     a key's value that its type refuses                             INVALID        INVALID        INVALID
//   WildcardRefused  a wildcard where an exact node is asked for                     INVALID        INVALID        INVALID
//   Conflict         prefix and path, or payload and path, that contradict           INVALID        INVALID        INVALID
//   Unsupported      a filter on a part of a part of a key                           UNIMPLEMENTED  UNIMPLEMENTED  UNIMPLEMENTED
//   BoundPassed      wildcards that mean too many nodes, or a key of too many parts  EXHAUSTED      EXHAUSTED      EXHAUSTED
//
// INVALID stands for INVALID_ARGUMENT, EXHAUSTED for RESOURCE_EXHAUSTED. The codes are those that the main document of
// gNMI gives ("gRPC Network Management Interface (gNMI)", sections 3.3.4, 3.4 and 3.5.2.4); where it gives none, a
// wrong request is INVALID_ARGUMENT. NOT_FOUND for a node that exists in the schema and has no data is the server's to
// answer.
//
// Values only; any thread may use them.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Gnmi {

enum class ErrorClass : std::uint8_t {
  Malformed,
  UnknownNode,
  UnknownOrigin,
  Ambiguous,
  KeyMissing,
  KeyUnknown,
  KeyTwice,
  ValueRefused,
  WildcardRefused,
  Conflict,
  Unsupported,
  BoundPassed,
};

/** As it is written above. */
std::string_view nameOf(ErrorClass kind) noexcept;

/** The codes of gRPC that errors of a path lead to, with gRPC's numbers. */
enum class StatusCode : std::uint8_t { InvalidArgument = 3, NotFound = 5, ResourceExhausted = 8, Unimplemented = 12 };

enum class Call : std::uint8_t { Get, Set, Subscribe };

/** The code that a server answers a call with, by the table above. */
StatusCode codeOf(ErrorClass kind, Call call) noexcept;

/** The name of a code in gRPC: "INVALID_ARGUMENT". */
std::string_view nameOf(StatusCode code) noexcept;

struct Error {
  ErrorClass kind = ErrorClass::Malformed;
  /** One sentence: what is wrong and what would be right, without the place. */
  std::string text;
  /** Whether the place is in the prefix; else it is in the path. */
  bool inPrefix = false;
  /** The index of the element there; the number of elements where the error belongs to none of them. */
  std::size_t element = 0;
  /** The name of the key; empty where the error belongs to none. */
  std::string key = {};
  /**
   * Of a path that was read from text: the byte, or the text's length where something is missing at its end. Empty
   * where the error belongs to none of its elements, and the text is a path.
   */
  std::optional<std::size_t> offset = {};
  /** The name that does not exist, and those that do; both may be empty. */
  std::string unknown = {};
  std::vector<std::string> names = {};
};

}  // namespace Gnmi
