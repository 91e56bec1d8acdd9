#include "model/Error.h"

#include <memory>
#include <string>
#include <string_view>
#include <utility>

#include "model/Schema.h"

namespace Model {
namespace {

/** For readers of NUL-terminated texts, which end at the first NUL byte. */
std::string withoutNul(std::string_view message) {
  std::string text;
  for (char const byte : message) {
    byte == '\0' ? text.append("\\0") : text.append(1, byte);
  }
  return text;
}

}  // namespace

// What has been made of the message stays with the original, which another thread may be asking for it.
Error::Error(Error const& other) : StdException(other), VelkoException(other) {}

Error::~Error() { delete text_.load(std::memory_order_relaxed); }

char const* Error::terminated() const noexcept {
  std::string const* text = text_.load(std::memory_order_acquire);
  if (text != nullptr) {
    return text->c_str();
  }
  try {
    auto made = std::make_unique<std::string const>(withoutNul(message().view()));
    // Another thread may have been faster; then its text is there to stay.
    return text_.compare_exchange_strong(text, made.get(), std::memory_order_acq_rel) ? made.release()->c_str()
                                                                                      : text->c_str();
  } catch (...) {
    return "out of memory";
  }
}

SchemaError::~SchemaError() = default;

PbError::PbError(Velko::String message) : PbReadException(std::move(message)) {
  text_ = withoutNul(PbReadException::what().view());
}

PbError::~PbError() = default;

}  // namespace Model
