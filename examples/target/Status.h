// What a request is refused with, a status code of gRPC and a text; and what it may take.
#pragma once

#include <gnmi/Error.h>
#include <grpcpp/support/status.h>

#include <cstddef>
#include <exception>
#include <expected>
#include <string>
#include <utility>

namespace Target {

struct Refused final : std::exception {
  Refused(grpc::StatusCode code, std::string text) : code(code), text(std::move(text)) {}
  /** The library's text with its place in the path. */
  Refused(Gnmi::Error const& error, Gnmi::Call call);

  char const* what() const noexcept override { return text.c_str(); }
  /** Texts quote what a client sent; cut, as trailers of a call are limited. */
  grpc::Status status() const;

  grpc::StatusCode code;
  std::string text;
};

[[noreturn]] inline void refuse(std::string text, grpc::StatusCode code = grpc::StatusCode::INVALID_ARGUMENT) {
  throw Refused(code, std::move(text));
}

/** What a request may still take of what costs time or memory. */
struct Allowance {
  /** Nodes of the schema that wildcards mean. */
  std::size_t expansions;
  /** Entries of lists that are looked at. */
  std::size_t entries;
  /** Of the answer. */
  std::size_t bytes;

  void takeEntry() {
    if (entries-- == 0) {
      refuse("the request looks at too many entries of lists", grpc::StatusCode::RESOURCE_EXHAUSTED);
    }
  }
  void checkBytes(std::size_t wanted) const {
    if (wanted > bytes) {
      refuse("the answer is too long", grpc::StatusCode::RESOURCE_EXHAUSTED);
    }
  }
};

/** What the library answers; an error is thrown, with the code of the call. */
template <typename T>
T orRefuse(std::expected<T, Gnmi::Error> answer, Gnmi::Call call) {
  if (!answer) {
    throw Refused(answer.error(), call);
  }
  if constexpr (!std::is_void_v<T>) {
    return *std::move(answer);
  }
}

}  // namespace Target
