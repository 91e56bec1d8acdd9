// Where reports go: a function that any thread may replace while others call it.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string_view>
#include <utility>

namespace Model {

template <typename Report>
class Sink {
 public:
  void set(std::function<void(Report const&)> function) {
    auto next = function ? std::make_shared<Function const>(std::move(function)) : nullptr;
    std::lock_guard const lock(mutex_);
    function_.swap(next);  // the former function is destroyed without the lock: its destructor may do anything
  }

  /** Calls the function without holding the lock, so that it may report, or replace the sink, itself. */
  bool call(Report const& report) {
    std::shared_ptr<Function const> function;
    {
      std::lock_guard const lock(mutex_);
      function = function_;
    }
    if (!function) {
      return false;
    }
    (*function)(report);
    return true;
  }

 private:
  using Function = std::function<void(Report const&)>;

  std::mutex mutex_;
  std::shared_ptr<Function const> function_;
};

/** In one call, so that lines of several threads do not mix. */
inline void writeToStderr(std::string_view text) { std::fwrite(text.data(), 1, text.size(), stderr); }

}  // namespace Model
