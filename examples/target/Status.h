// What a request is refused with: a status code of gRPC and a text.
#pragma once

#include <gnmi/Error.h>
#include <grpcpp/support/status.h>

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

[[noreturn]] inline void refuse(grpc::StatusCode code, std::string text) { throw Refused(code, std::move(text)); }

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
