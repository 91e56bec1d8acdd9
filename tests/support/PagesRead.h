// How often a text is read, counted by the memory that it lies in: whether something is linear, without a clock.
#pragma once

#include <signal.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

namespace Support {

/**
 * Counts the pages that are read while it lives, of those that lie within `text` as a whole. A page counts again when
 * it is read after two others: what reads a text once from its start to its end counts `pages()`. What reads it over
 * and over is let go after a hundred times that, so that a test of it fails instead of hanging.
 *
 * One at a time, and on one thread: the pages are locked, and a signal tells that one is wanted. `text` is in memory
 * that may be written, is not changed while it is counted, and not handed to the kernel.
 */
class PagesRead {
 public:
  explicit PagesRead(std::string_view text)
      : first_((reinterpret_cast<std::uintptr_t>(text.data()) + size() - 1) / size() * size()),
        end_(std::max(first_, reinterpret_cast<std::uintptr_t>(text.data() + text.size()) / size() * size())) {
    current = this;
    struct sigaction action = {};
    action.sa_flags = SA_SIGINFO;
    action.sa_sigaction = [](int, siginfo_t* info, void*) {
      current->open(reinterpret_cast<std::uintptr_t>(info->si_addr));
    };
    sigaction(SIGSEGV, &action, &before_);
    protect(first_, end_ - first_, PROT_NONE);
  }
  ~PagesRead() {
    protect(first_, end_ - first_, PROT_READ | PROT_WRITE);
    sigaction(SIGSEGV, &before_, nullptr);
  }
  PagesRead(PagesRead const&) = delete;
  PagesRead& operator=(PagesRead const&) = delete;

  std::size_t pages() const { return (end_ - first_) / size(); }
  std::size_t count() const { return count_; }

 private:
  static std::size_t size() { return static_cast<std::size_t>(sysconf(_SC_PAGESIZE)); }

  static void protect(std::uintptr_t page, std::size_t length, int access) {
    if (length != 0 && mprotect(reinterpret_cast<void*>(page), length, access) != 0) {
      std::abort();
    }
  }

  /** Two pages are open at a time, for what lies across their border. */
  void open(std::uintptr_t address) {
    if (address < first_ || address >= end_) {
      std::abort();
    }
    if (++count_ > mostReadings * pages()) {
      protect(first_, end_ - first_, PROT_READ);
      return;
    }
    std::uintptr_t& oldest = open_[count_ % open_.size()];
    if (oldest != 0) {
      protect(oldest, size(), PROT_NONE);
    }
    oldest = address / size() * size();
    protect(oldest, size(), PROT_READ);
  }

  static constexpr std::size_t mostReadings = 100;
  static inline PagesRead* current = nullptr;

  std::uintptr_t const first_;
  std::uintptr_t const end_;
  std::size_t count_ = 0;
  std::array<std::uintptr_t, 2> open_ = {};
  struct sigaction before_ = {};
};

}  // namespace Support
