#include "yaml/Source.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <expected>
#include <string>
#include <system_error>

namespace Yaml {
namespace {

constexpr char const* notRegular = "it is no regular file";

std::unexpected<std::string> systemError() { return std::unexpected(std::generic_category().message(errno)); }

class Descriptor {
 public:
  explicit Descriptor(int number) : number_(number) {}
  Descriptor(Descriptor const&) = delete;
  Descriptor& operator=(Descriptor const&) = delete;
  ~Descriptor() {
    if (number_ >= 0) {
      ::close(number_);
    }
  }

  int get() const { return number_; }

 private:
  int number_;
};

Bytes readBytes(int file, std::size_t mostBytes) {
  constexpr std::size_t portion = 1 << 16;
  std::string bytes;
  while (bytes.size() < mostBytes) {
    std::size_t const before = bytes.size();
    bytes.resize(std::min(before + portion, mostBytes));
    ssize_t count = 0;
    do {
      count = ::read(file, bytes.data() + before, bytes.size() - before);
    } while (count < 0 && errno == EINTR);
    if (count < 0) {
      return systemError();
    }
    bytes.resize(before + static_cast<std::size_t>(count));
    if (count == 0) {
      break;
    }
  }
  return bytes;
}

}  // namespace

Bytes readAny(std::string const& path, std::size_t mostBytes) {
  Descriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
  struct stat status = {};
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
    return systemError();
  }
  if (S_ISDIR(status.st_mode)) {
    return std::unexpected("it is a directory");
  }
  Bytes bytes = readBytes(file.get(), mostBytes + 1);
  if (bytes && bytes->size() > mostBytes) {
    return std::unexpected(tooLarge);
  }
  return bytes;
}

Bytes readRegular(std::string const& path, std::size_t mostBytes) {
  struct stat status = {};
  if (::lstat(path.c_str(), &status) != 0) {
    return systemError();
  }
  if (S_ISDIR(status.st_mode)) {
    return std::unexpected("it is a directory");
  }
  // Nothing else is opened: that can have effects of its own, or wait.
  if (!S_ISREG(status.st_mode)) {
    return std::unexpected(notRegular);
  }
  Descriptor const file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY));
  if (file.get() < 0 || ::fstat(file.get(), &status) != 0) {
    return systemError();
  }
  // Another file may have got the name in between.
  if (!S_ISREG(status.st_mode)) {
    return std::unexpected(notRegular);
  }
  auto const size = static_cast<std::size_t>(status.st_size);
  return size > mostBytes ? std::unexpected(tooLarge) : readBytes(file.get(), size);
}

}  // namespace Yaml
