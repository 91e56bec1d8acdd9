// Measures how long whole folders of YANG modules take to load, and what they hold afterwards, beside libyang alone
// with the same modules and one compile: in one run, in turns, so that both meet the same machine.
//
//   bench_load FOLDER...
#include <libyang/libyang.h>
#include <malloc.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "yang/Yang.h"

namespace {

using Folders = std::vector<std::string>;

/** What is loaded; it holds its memory. */
using Load = std::function<std::shared_ptr<void>()>;

std::shared_ptr<void> byYang(Folders const& folders) {
  auto loaded = Yang::load(folders, {}, {.allFeatures = true});
  if (!loaded) {
    std::fprintf(stderr, "%s\n", loaded.error().front().c_str());
    std::exit(1);
  }
  return std::make_shared<Yang::Loaded>(*std::move(loaded));
}

std::shared_ptr<void> byLibyang(Folders const& folders, std::vector<std::string> const& modules) {
  ly_ctx* context = nullptr;
  if (ly_ctx_new(
          nullptr,
          LY_CTX_DISABLE_SEARCHDIR_CWD | LY_CTX_NO_YANGLIBRARY | LY_CTX_REF_IMPLEMENTED | LY_CTX_EXPLICIT_COMPILE,
          &context) != LY_SUCCESS) {
    std::exit(1);
  }
  for (std::string const& folder : folders) {
    ly_ctx_set_searchdir(context, folder.c_str());
  }
  char const* features[] = {"*", nullptr};
  for (std::string const& module : modules) {
    ly_ctx_load_module(context, module.c_str(), nullptr, features);
  }
  if (ly_ctx_compile(context) != LY_SUCCESS) {
    std::fprintf(stderr, "libyang does not compile the modules\n");
    std::exit(1);
  }
  return {context, ly_ctx_destroy};
}

struct Cost {
  double milliseconds = std::numeric_limits<double>::infinity();
  std::size_t bytes = 0;
};

std::size_t heap() {
  auto const info = mallinfo2();
  return info.uordblks + info.hblkhd;
}

void measure(Load const& load, Cost& best) {
  std::size_t const before = heap();
  auto const start = std::chrono::steady_clock::now();
  auto const loaded = load();
  std::chrono::duration<double, std::milli> const took = std::chrono::steady_clock::now() - start;
  best.milliseconds = std::min(best.milliseconds, took.count());
  best.bytes = heap() - before;
}

}  // namespace

int main(int count, char** arguments) {
  Folders const folders(arguments + 1, arguments + count);
  if (folders.empty()) {
    std::fprintf(stderr, "usage: bench_load FOLDER...\n");
    return 2;
  }
  auto const probe = Yang::load(folders, {}, {.allFeatures = true});
  if (!probe) {
    std::fprintf(stderr, "%s\n", probe.error().front().c_str());
    return 1;
  }
  auto const& names = probe->origins.at("rfc7951");
  std::vector<std::string> const modules(names.begin(), names.end());
  ly_log_options(0);
  Cost ours;
  Cost theirs;
  constexpr int rounds = 20;
  for (int i = 0; i < rounds; ++i) {
    measure([&] { return byYang(folders); }, ours);
    measure([&] { return byLibyang(folders, modules); }, theirs);
  }
  constexpr double mega = 1e6;
  std::printf(
      "%zu modules, %zu that do not load: %.0f ms and %.1f MB; libyang alone, one compile: %.0f ms and %.1f MB; "
      "%.2fx the time, %.2fx the memory\n",
      modules.size(), probe->warnings.size(), ours.milliseconds, static_cast<double>(ours.bytes) / mega,
      theirs.milliseconds, static_cast<double>(theirs.bytes) / mega, ours.milliseconds / theirs.milliseconds,
      static_cast<double>(ours.bytes) / static_cast<double>(theirs.bytes));
  return 0;
}
