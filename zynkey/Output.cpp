#include "zynkey/Output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "zynkey/UsageError.h"
#include "zynkey/Utf8.h"

namespace ZynKey {
namespace {

bool write(std::string_view text, std::FILE* file, bool isTerminal) {
  if (isTerminal) {
    std::string const shown = forTerminal(text);
    return std::fwrite(shown.data(), 1, shown.size(), file) == shown.size();
  }
  return std::fwrite(text.data(), 1, text.size(), file) == text.size();
}

}  // namespace

void writeOut(std::string_view text) {
  static bool const isTerminal = ::isatty(STDOUT_FILENO) != 0;
  if (!write(text, stdout, isTerminal)) {
    throw UsageError(std::string("cannot write: ") + std::strerror(errno));
  }
}

void writeWhole(std::string_view text) {
  flushOut();
  auto const sizeOfFile = [] {
    struct stat file{};
    return ::fstat(STDOUT_FILENO, &file) == 0 && S_ISREG(file.st_mode) ? file.st_size : -1;
  };
  off_t const before = sizeOfFile();
  if (before < 0) {
    writeOut(text);
    flushOut();
    return;
  }
  for (std::string_view rest = text; !rest.empty();) {
    ssize_t const count = ::write(STDOUT_FILENO, rest.data(), rest.size());
    if (count >= 0) {
      rest.remove_prefix(static_cast<std::size_t>(count));
    } else if (int const error = errno; error != EINTR) {
      // Not where somebody else has written to the file meanwhile.
      bool const isOwnEnd = sizeOfFile() == before + static_cast<off_t>(text.size() - rest.size());
      [[maybe_unused]] bool const isCut = isOwnEnd && ::ftruncate(STDOUT_FILENO, before) == 0;
      throw UsageError(std::string("cannot write: ") + std::strerror(error));
    }
  }
}

void flushOut() {
  if (std::fflush(stdout) != 0) {
    throw UsageError(std::string("cannot write: ") + std::strerror(errno));
  }
}

void writeError(std::string_view text) {
  static bool const isTerminal = ::isatty(STDERR_FILENO) != 0;
  write(text, stderr, isTerminal);
}

std::string forTerminal(std::string_view text) {
  constexpr std::string_view digits = "0123456789abcdef";
  std::string shown;
  while (!text.empty()) {
    auto const [code, size] = firstCharacter(text);
    bool const isControl = (code < ' ' && code != '\n' && code != '\t') || (0x7F <= code && code < 0xA0);
    if (!isControl && code != noCharacter) {
      shown += text.substr(0, size);
    } else {
      for (char const byte : text.substr(0, size)) {
        auto const value = static_cast<unsigned char>(byte);
        shown += {'\\', 'x', digits[value >> 4U], digits[value & 0xFU]};
      }
    }
    text.remove_prefix(size);
  }
  return shown;
}

}  // namespace ZynKey
