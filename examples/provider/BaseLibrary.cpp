// The base library of a process that has none: memory from the heap, traces and assertions to stderr.
#include <KvFmt/Format.h>
#include <KvSlab/Slab.h>
#include <Velko/Allocator.h>
#include <Velko/Assert.h>
#include <Velko/Exception.h>
#include <Velko/Pb.h>
#include <Velko/Ptr.h>
#include <Velko/Trace.h>
#include <fmt/format.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <mutex>
#include <new>
#include <string>

namespace {

/** One entry for each name, made on first use: at a fixed place, and never destroyed. */
template <typename T>
T& entry(std::string const& name) {
  static auto& mutex = *new std::mutex;
  static auto& entries = *new std::map<std::string, T>;
  std::lock_guard const lock(mutex);
  return entries[name];
}

/** On when the environment says so. */
class Handler final : public Velko::Platform::DebugHandler {
 public:
  Handler() { enabled_ = std::getenv("PROVIDER_TRACES") != nullptr; }
  ~Handler() = default;
};

}  // namespace

namespace Velko {

bool ThreadControl::tsp_ = true;
Node::~Node() = default;
void Node::decUseImpl() const noexcept { delete this; }

Exception::~Exception() = default;
Pb::PbReadException::~PbReadException() = default;

class MemTrack::Tracker {
 public:
  std::atomic<std::size_t> elements = 0;
};

MemTrack::Tracker& MemTrack::Impl::tracker(std::type_info const& tagPointer) {
  return entry<Tracker>(tagPointer.name());
}

void MemTrack::Impl::alloc(Tracker& tracker, std::type_info const& /*element*/, std::size_t /*elementSize*/,
                           std::size_t count) noexcept {
  tracker.elements += count;
}

void MemTrack::Impl::dealloc(Tracker& tracker, std::size_t count) noexcept { tracker.elements -= count; }

Platform::DebugHandler* Platform::_getRawDebugHandler(String const& name, bool /*mode*/) {
  return &entry<Handler>(std::string(name.view()));
}

void Impl::vfmtrace(Platform::DebugHandler const& /*handle*/, unsigned short level, char const* file,
                    char const* function, int line, char const* className, fmt::string_view format,
                    fmt::format_args args) noexcept {
  try {
    fmt::print(stderr, "{}:{} {}{}{} [{}] {}\n", file, line, className == nullptr ? "" : className,
               className == nullptr ? "" : "::", function, level, fmt::vformat(format, args));
  } catch (...) {
    // A trace that cannot be made is lost: it must not change what the program does.
  }
}

void Impl::vfmassert(char const* condition, char const* file, char const* function, int line, fmt::string_view format,
                     fmt::format_args args) noexcept {
  fmt::print(stderr, "assertion failed: {} ({}:{} {}) {}\n", condition, file, line, function,
             fmt::vformat(format, args));
  std::abort();
}

void Impl::vfmassert(Platform::DebugHandler const& /*handle*/, char const* condition, char const* file,
                     char const* function, int line, fmt::string_view format, fmt::format_args args) noexcept {
  vfmassert(condition, file, function, line, format, args);
}

}  // namespace Velko

Velko::String KvFmt::Detail::formatVelkoString(fmt::string_view format, fmt::format_args args) {
  return Velko::String(fmt::vformat(format, args));
}

void* KvSlab::slabAllocOrStdMalloc(std::size_t size) {
  void* const storage = std::malloc(size == 0 ? 1 : size);
  return storage != nullptr ? storage : throw std::bad_alloc();
}

void KvSlab::slabFreeOrStdFree(void* pointer, std::type_info const& /*type*/) noexcept { std::free(pointer); }
