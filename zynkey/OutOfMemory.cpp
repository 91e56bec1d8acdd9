#include "zynkey/OutOfMemory.h"

#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <charconv>
#include <cstddef>
#include <cstdlib>
#include <exception>
#include <new>
#include <string_view>

#include "zynkey/Options.h"

namespace ZynKey {
namespace {

std::terminate_handler formerHandler = nullptr;

/** An allocation that threw in code that may not throw. */
[[noreturn]] void onTerminate() {
  try {
    if (std::exception_ptr const thrown = std::current_exception()) {
      std::rethrow_exception(thrown);
    }
  } catch (std::bad_alloc const&) {
    outOfMemory();
  } catch (...) {
    // Anything else ends the process as it always does.
  }
  formerHandler();
  std::abort();
}

}  // namespace

void outOfMemory() noexcept {
  static std::atomic_flag isEnding;
  while (isEnding.test_and_set()) {
    ::pause();
  }
  std::array<char, 80> text;
  char* end = text.data();
  auto const append = [&](std::string_view part) { end = std::ranges::copy(part, end).out; };
  append("zynkey: ");
  if (currentLine != 0) {
    append("line ");
    end = std::to_chars(end, text.data() + text.size(), currentLine).ptr;
    append(": ");
  }
  append("out of memory\n");
  [[maybe_unused]] ssize_t const written =
      ::write(STDERR_FILENO, text.data(), static_cast<std::size_t>(end - text.data()));
  ::_exit(WrongUsage);
}

void exitWhenOutOfMemory() {
  // Memory of the C++ library; the model's own allocator throws.
  std::set_new_handler([] { outOfMemory(); });
  formerHandler = std::set_terminate(onTerminate);
}

}  // namespace ZynKey
