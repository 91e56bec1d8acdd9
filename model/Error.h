// What the model throws: caught as `Velko::Exception` by hosts and by the decoder, and as `std::exception` by all other
// C++ code.
//
//   try {
//     vlan.genericIf(Velko::String("70000"), false);
//   } catch (std::exception const& error) {
//     std::cerr << error.what() << '\n';  // Network::VlanId: '70000' does not fit: a decimal number from 0 to 65535
//   }
//
// Each is a class of its own between the two, as `Velko::Exception` belongs to the host and has no base class.
//
//   Model::SchemaError   a type that cannot be built (model/Schema.h)
//   Model::Error         all else: a text or a value that does not fit, an unknown name. `SchemaError` is one, too
//   Model::PbError       a protobuf message that does not fit: caught as `Velko::Pb::PbReadException` as well, and no
//                        `Velko::Exception`, as the platform has it
//
// Any number of threads may ask one exception for its text. Beside these, `std::bad_alloc` is thrown when memory runs
// out. Not checked: that the schema whose types threw an exception still exists when its text is asked for.
#pragma once

#include <atomic>
#include <exception>
#include <string>

#include "Velko/Exception.h"
#include "Velko/Pb.h"
#include "Velko/String.h"

namespace Model {
namespace Detail {

// The two functions `what()` answer different types, so no class can override both: each gets another name first.

class VelkoException : public Velko::Exception {
 public:
  using Exception::Exception;

  Velko::String what() const final { return message(); }
  /** Complete and readable; any bytes, NUL included. Throws `std::bad_alloc` only. */
  virtual Velko::String message() const { return Exception::what(); }
};

class StdException : public std::exception {
 public:
  char const* what() const noexcept final { return terminated(); }

 private:
  virtual char const* terminated() const noexcept = 0;
};

}  // namespace Detail

class Error : public Detail::StdException, public Detail::VelkoException {
 public:
  using VelkoException::VelkoException;
  Error(Error const& other);
  Error& operator=(Error const&) = delete;
  ~Error() override;

  /** The message, with "\0" for NUL bytes. It lives as long as the exception. */
  using StdException::what;

 private:
  char const* terminated() const noexcept override;

  /** Made when `what()` is first called: most exceptions are thrown for a union, which tries its next alternative. */
  mutable std::atomic<std::string const*> text_ = nullptr;
};

class PbError final : public Velko::Pb::PbReadException, public std::exception {
 public:
  explicit PbError(Velko::String message);
  ~PbError() override;

  /** The message, with "\0" for NUL bytes. It lives as long as the exception. */
  char const* what() const noexcept override { return text_.c_str(); }

 private:
  std::string text_;
};

}  // namespace Model
