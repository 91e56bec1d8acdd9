// The base library: storage, counters, references, messages, traces, assertions.
#include "model/Runtime.h"

#include <fmt/core.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <latch>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <string_view>
#include <thread>
#include <typeinfo>
#include <utility>
#include <vector>

#include "KvFmt/Format.h"
#include "KvSlab/Slab.h"
#include "Velko/Allocator.h"
#include "Velko/Assert.h"
#include "Velko/Exception.h"
#include "Velko/Pb.h"
#include "Velko/Ptr.h"
#include "Velko/Trace.h"
#include "Zyn/Zyn.h"
#include "model/Schema.h"
#include "model/Value.h"

#if defined(__SANITIZE_ADDRESS__)
#define HEAP_ONLY 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define HEAP_ONLY 1
#endif
#endif

namespace {

using namespace std::string_view_literals;
using testing::ElementsAre;
using testing::IsEmpty;

// Storage

void* take(std::size_t size) { return KvSlab::slabAllocOrStdMalloc(size); }
void give(void* storage) { KvSlab::slabFreeOrStdFree(storage, typeid(char)); }

/** Uses the slab before main starts and after it has ended. */
struct Early {
  void* storage = take(40);
  ~Early() {
    give(storage);
    give(take(40));
  }
} const early;

TEST(Slab, EverySizeIsAlignedWritableAndItsOwn) {
  std::vector<std::pair<unsigned char*, std::size_t>> blocks;
  std::vector<std::size_t> sizes = {4096, 100'000, 1 << 20};
  for (std::size_t size = 0; size <= 2100; ++size) {
    sizes.push_back(size);
  }
  for (std::size_t const size : sizes) {
    auto* const block = static_cast<unsigned char*>(take(size));
    ASSERT_NE(block, nullptr);
    std::size_t const alignment = size % alignof(std::max_align_t) == 0 ? alignof(std::max_align_t) : 8;
    ASSERT_EQ(reinterpret_cast<std::uintptr_t>(block) % alignment, 0U) << size;
    std::memset(block, static_cast<int>(size % 251), size);
    blocks.emplace_back(block, size);
  }
  for (auto const& [block, size] : blocks) {
    ASSERT_EQ(std::count(block, block + size, static_cast<unsigned char>(size % 251)), std::ptrdiff_t(size)) << size;
    give(block);
  }
}

TEST(Slab, NullIsGivenBackWithoutEffect) { give(nullptr); }

TEST(Slab, WhatNoMemoryCouldHoldIsBadAlloc) {
  constexpr std::size_t most = std::numeric_limits<std::size_t>::max();
  for (std::size_t const size : {most, most - 15, most - 16, most / 2 + 1}) {
    EXPECT_THROW(static_cast<void>(take(size)), std::bad_alloc) << size;
  }
}

#ifndef HEAP_ONLY

TEST(Slab, AFreedBlockIsUsedAgainForTheSameSizeStep) {
  void* const first = take(33);
  give(first);
  EXPECT_EQ(take(40), first) << "33 to 40 bytes are one step";
  void* const other = take(41);
  give(first);
  EXPECT_NE(take(41), first) << "41 bytes are the next step";
  static_cast<void>(other);
}

/** Chunks of this size go to and fro between the slab and the system. */
constexpr std::size_t chunkSize = 32'768;
/** What threads keep of one size, and what is in hand for all, pins no more than this. */
constexpr std::size_t fewChunks = 80 * chunkSize;

std::vector<void*> takeMany(std::size_t count) {
  std::vector<void*> blocks(count);
  std::ranges::generate(blocks, [] { return take(48); });
  std::ranges::shuffle(blocks, std::mt19937(7));
  return blocks;
}

TEST(Slab, MemoryGoesBackToTheSystem) {
  std::size_t const before = Model::slabMemory().used;
  std::vector<void*> const blocks = takeMany(300'000);
  std::size_t const full = Model::slabMemory().used;
  EXPECT_GE(full, before + std::size_t{300'000} * 48 - fewChunks);
  EXPECT_LE(full, before + std::size_t{300'000} * 48 + fewChunks);
  std::ranges::for_each(blocks, give);
  EXPECT_LE(Model::slabMemory().used, before + fewChunks);
  EXPECT_LE(Model::slabMemory().inHand, fewChunks);
}

TEST(Slab, WhatOtherThreadsGiveBackGoesToTheSystemToo) {
  std::size_t const before = Model::slabMemory().used;
  std::vector<void*> const blocks = takeMany(300'000);
  {
    std::vector<std::jthread> threads;
    for (std::size_t me = 0; me < 3; ++me) {
      threads.emplace_back([&, me] { std::for_each_n(blocks.begin() + std::ptrdiff_t(me * 100'000), 100'000, give); });
    }
  }
  EXPECT_LE(Model::slabMemory().used, before + fewChunks);
  EXPECT_LE(Model::slabMemory().inHand, fewChunks);
}

TEST(Slab, GapsAreFilledBeforeMoreMemoryIsTaken) {
  std::size_t const before = Model::slabMemory().used;
  std::vector<void*> blocks = takeMany(50'000);
  std::size_t const full = Model::slabMemory().used;
  for (unsigned round = 0; round < 3; ++round) {
    // Nine of ten, at random: almost every chunk keeps a block, so almost none goes back.
    std::for_each_n(blocks.begin(), 45'000, give);
    std::generate_n(blocks.begin(), 45'000, [] { return take(48); });
    EXPECT_LE(Model::slabMemory().used, full);
    std::ranges::shuffle(blocks, std::mt19937(round));
  }
  std::ranges::for_each(blocks, give);
  EXPECT_LE(Model::slabMemory().used, before + fewChunks);
}

TEST(Slab, WhatAnEndedThreadHeldIsUsedAgain) {
  for (std::size_t const size : {0U, 1U, 1000U, 2048U}) {
    std::set<void*> seen;
    std::size_t fresh = 0;
    for (int round = 0; round < 50; ++round) {
      std::jthread([&] {
        std::vector<void*> blocks(100);
        std::ranges::generate(blocks, [size] { return take(size); });
        for (void* const block : blocks) {
          fresh += seen.insert(block).second ? 1 : 0;
          give(block);
        }
      }).join();
    }
    EXPECT_LE(fresh, 200U) << size << ": 5000 without reuse";
  }
}

TEST(Slab, AThreadThatOnlyFreesPassesBlocksOn) {
  // One thread takes, another gives back, in turns: the number of distinct blocks stays bounded.
  std::set<void*> seen;
  std::vector<void*> passed;
  std::atomic<int> turn = 0;
  constexpr int rounds = 200;
  auto const waitFor = [&](int expected) {
    for (int now = turn.load(); now != expected; now = turn.load()) {
      turn.wait(now);
    }
  };
  auto const pass = [&] {
    ++turn;
    turn.notify_all();
  };
  std::jthread const consumer([&] {
    for (int round = 0; round < rounds; ++round) {
      waitFor(2 * round + 1);
      std::ranges::for_each(passed, give);
      passed.clear();
      pass();
    }
  });
  for (int round = 0; round < rounds; ++round) {
    for (int i = 0; i < 50; ++i) {
      passed.push_back(take(200));
    }
    seen.insert(passed.begin(), passed.end());
    pass();
    waitFor(2 * round + 2);
  }
  EXPECT_LE(seen.size(), 500U) << "10000 without reuse";
}

#endif

TEST(Slab, ServesThreadLocalDestructorsThatRunAfterItsOwn) {
  static std::set<void*> seen;
  struct Late {
    void* storage = nullptr;
    ~Late() {
      void* const one = take(64);
      void* const two = take(2000);
      seen.insert({storage, one});
      give(storage);
      give(one);
      give(two);
    }
  };
  for (int round = 0; round < 200; ++round) {
    std::jthread([] {
      // Constructed before the thread first uses the slab, so destroyed after what the slab keeps for the thread.
      thread_local Late late;
      late.storage = nullptr;
      late.storage = take(64);
    }).join();
  }
#ifndef HEAP_ONLY
  EXPECT_LE(seen.size(), 150U) << "400 without reuse";
#endif
}

TEST(Slab, ThreadsTakeAndGiveAtOnce) {
  constexpr int threadCount = 4;
  constexpr int blockCount = 300;
  std::array<std::vector<std::pair<unsigned char*, unsigned char>>, threadCount> blocks;
  {
    std::latch taken(threadCount);
    std::vector<std::jthread> threads;
    for (std::size_t me = 0; me < threadCount; ++me) {
      threads.emplace_back([&, me] {
        for (int i = 0; i < blockCount; ++i) {
          std::size_t const size = 16 + static_cast<std::size_t>(i) % 500;
          auto* const block = static_cast<unsigned char*>(take(size));
          auto const fill = static_cast<unsigned char>(me * 50 + static_cast<std::size_t>(i) % 50);
          std::memset(block, fill, size);
          blocks[me].emplace_back(block, fill);
          if (i % 3 == 0) {
            give(blocks[me].back().first);
            blocks[me].pop_back();
          }
        }
        taken.arrive_and_wait();
        for (auto const& [block, fill] : blocks[(me + 1) % threadCount]) {
          EXPECT_EQ(block[0], fill);
          EXPECT_EQ(block[15], fill);
          give(block);
        }
      });
    }
  }
}

// Counters

struct Tag;
struct OtherTag;

Model::Memory memoryOf(std::string_view tag) {
  for (Model::Memory const& memory : Model::memory()) {
    if (memory.tag == tag) {
      return memory;
    }
  }
  return {};
}

/** `typeid(Tag*)` as another library would have it: the same name, another object. */
class NamedType : public std::type_info {
 public:
  explicit NamedType(char const* name) : std::type_info(name) {}
};

TEST(MemTrack, CountsWhatATagHolds) {
  using Vector = std::vector<std::uint32_t, Velko::Allocator<std::uint32_t, false, Velko::VectorOf<std::uint32_t>>>;
  constexpr auto tag = "Velko::VectorOf<unsigned int>"sv;
  EXPECT_EQ(memoryOf(tag).allocations, 0U);
  {
    Vector vector;
    vector.reserve(5);
    Model::Memory const held = memoryOf(tag);
    EXPECT_EQ(held.allocations, 1U);
    EXPECT_EQ(held.elements, 5);
    EXPECT_EQ(held.bytes, 20);
    vector.reserve(7);
    EXPECT_EQ(memoryOf(tag).allocations, 2U);
    EXPECT_EQ(memoryOf(tag).elements, 7);
    EXPECT_EQ(memoryOf(tag).bytes, 28);
  }
  EXPECT_EQ(memoryOf(tag).allocations, 2U);
  EXPECT_EQ(memoryOf(tag).elements, 0);
  EXPECT_EQ(memoryOf(tag).bytes, 0);
}

TEST(MemTrack, ATagHasOneTrackerByName) {
  using Velko::MemTrack::Impl::tracker;
  EXPECT_EQ(&tracker(typeid(Tag*)), &tracker(typeid(Tag*)));
  EXPECT_NE(&tracker(typeid(Tag*)), &tracker(typeid(OtherTag*)));
  auto& one = tracker(NamedType("P8SomeTag1"));
  EXPECT_EQ(&one, &tracker(NamedType("*P8SomeTag1"))) << "a leading star is no part of the name";
  EXPECT_NE(&one, &tracker(NamedType("P8SomeTag2")));
}

TEST(MemTrack, TagsAreReadableAndSorted) {
  using Velko::MemTrack::Impl::tracker;
  static_cast<void>(tracker(NamedType("PN5Velko8VectorOfISt17basic_string_viewIcSt11char_traitsIcEEEE")));
  static_cast<void>(tracker(NamedType("no mangled name")));
  std::vector<std::string> tags;
  for (Model::Memory const& memory : Model::memory()) {
    tags.push_back(memory.tag);
  }
  EXPECT_TRUE(std::ranges::is_sorted(tags));
  EXPECT_THAT(tags, testing::Contains("Velko::VectorOf<std::basic_string_view<char, std::char_traits<char> > >"));
  EXPECT_THAT(tags, testing::Contains("no mangled name"));
}

TEST(MemTrack, ACountThatNoMemoryCouldHoldIsRefusedAndNotCounted) {
  Velko::Allocator<std::uint64_t, false, Velko::VectorOf<std::uint64_t>> allocator;
  EXPECT_THROW(static_cast<void>(allocator.allocate(std::numeric_limits<std::size_t>::max() / 8 + 1)),
               std::bad_array_new_length);
  EXPECT_THROW(static_cast<void>(allocator.allocate(std::numeric_limits<std::size_t>::max() / 8)), std::bad_alloc);
  EXPECT_EQ(memoryOf("Velko::VectorOf<unsigned long>").allocations, 0U);
}

TEST(MemTrack, BalancesOverMoreThreadsThanShards) {
  using Allocator = Velko::Allocator<char, false, Velko::SmallVectorOf<char>>;
  std::array<char*, 40> held{};
  std::vector<std::jthread> threads;
  for (char*& storage : held) {
    threads.emplace_back([&storage] {
      storage = Allocator().allocate(3);
      Allocator().deallocate(Allocator().allocate(9), 9);
    });
  }
  threads.clear();
  EXPECT_EQ(memoryOf("Velko::SmallVectorOf<char>").allocations, 80U);
  EXPECT_EQ(memoryOf("Velko::SmallVectorOf<char>").elements, 120);
  for (char* const storage : held) {
    Allocator().deallocate(storage, 3);
  }
  EXPECT_EQ(memoryOf("Velko::SmallVectorOf<char>").elements, 0);
  EXPECT_EQ(memoryOf("Velko::SmallVectorOf<char>").bytes, 0);
}

// References

class Counted : public Velko::Node {
 public:
  explicit Counted(std::atomic<int>& destroyed) : destroyed_(destroyed) {}
  ~Counted() override { ++destroyed_; }

 private:
  std::atomic<int>& destroyed_;
};

class PtrTest : public testing::TestWithParam<bool> {
 protected:
  PtrTest() { Model::setThreadSafe(GetParam()); }
  ~PtrTest() override { Model::setThreadSafe(true); }
};

TEST_P(PtrTest, TheLastOneDestroys) {
  EXPECT_EQ(Velko::ThreadControl::tsp_, GetParam());
  std::atomic<int> destroyed = 0;
  {
    Velko::Ptr<Counted> one(new Counted(destroyed));
    EXPECT_EQ(one->useCount(), 1U);
    Velko::Ptr<Counted const> two = one;
    EXPECT_EQ(one->useCount(), 2U);
    Velko::Ptr<Counted const> three = std::move(one);
    EXPECT_EQ(one, nullptr);  // NOLINT(bugprone-use-after-move): a pointer moved from is null
    EXPECT_EQ(three->useCount(), 2U);
    three = three.get() == two.get() ? two : nullptr;
    two = nullptr;
    EXPECT_EQ(destroyed, 0);
    EXPECT_EQ(three->useCount(), 1U);
  }
  EXPECT_EQ(destroyed, 1);
}

TEST_P(PtrTest, ACopyMadeAloneCountsLikeAnyOther) {
  std::atomic<int> destroyed = 0;
  {
    Velko::Ptr<Counted> const one(new Counted(destroyed));
    Velko::Ptr<Counted> two = one.copyAlone();
    EXPECT_EQ(one, two);
    EXPECT_EQ(one->useCount(), 2U);
    Velko::Ptr<Counted> const three = one.copyAlone();
    EXPECT_EQ(one->useCount(), 3U);
    two = nullptr;
    EXPECT_EQ(one->useCount(), 2U);
    EXPECT_EQ(two.copyAlone(), nullptr);
    EXPECT_EQ(destroyed, 0);
  }
  EXPECT_EQ(destroyed, 1);
}

INSTANTIATE_TEST_SUITE_P(ThreadSafe, PtrTest, testing::Bool());

TEST(Ptr, ThreadsShareAnObject) {
  std::atomic<int> destroyed = 0;
  {
    Velko::Ptr<Counted const> const shared(new Counted(destroyed));
    std::vector<std::jthread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([mine = shared] {
        for (int round = 0; round < 500; ++round) {
          Velko::Ptr<Counted const> const copy = mine;  // NOLINT(performance-unnecessary-copy-initialization)
        }
      });
    }
    threads.clear();
    EXPECT_EQ(shared->useCount(), 1U);
  }
  EXPECT_EQ(destroyed, 1);
}

/** Small parts lie in the block of their value: whoever goes last frees the block, and only then. */
TEST(Ptr, PartsOfAValueGoOnAnyThread) {
  Model::Schema schema;
  Zyn::ZynType const text = Model::core(Model::Kind::String);
  Zyn::ZynType const type = schema.module("Network")
                                .value("Route")
                                .attr("vrf", text)
                                .attr("prefix", text)
                                .attr("tag", text)
                                .args({"vrf", "prefix", "tag"});
  Zyn::GenericIfArgs const args(3, text.genericIf(Velko::String("\"red\""), false));
  for (int round = 0; round < 2000; ++round) {
    Velko::Ptr<Zyn::GenericIf const> value = type.genericIf(args, false);
    Velko::Ptr<Zyn::GenericIf const> vrf = Model::attribute(*value, "vrf");
    Velko::Ptr<Zyn::GenericIf const> prefix = Model::attribute(*value, "prefix");
    Velko::Ptr<Zyn::GenericIf const> tag = Model::attribute(*value, "tag");
    std::jthread const other([&] {
      vrf = nullptr;
      tag = nullptr;
    });
    value = nullptr;
    prefix = nullptr;
  }
}

// Exceptions and messages

TEST(Exceptions, AreCaughtByTheirOwnTypeAndKeepEveryByte) {
  Velko::String const text("a\0b", 3);
  try {
    throw Velko::Exception(text);
  } catch (Velko::Pb::PbReadException const&) {
    FAIL();
  } catch (Velko::Exception const& exception) {
    EXPECT_EQ(exception.what(), text);
  }
  try {
    throw Velko::Pb::PbReadException(text);
  } catch (Velko::Exception const&) {
    FAIL();
  } catch (Velko::Pb::PbReadException const& exception) {
    EXPECT_EQ(exception.what(), text);
  }
}

template <typename... Args>
std::string formatted(fmt::string_view format, Args const&... args) {
  return std::string(KvFmt::Detail::formatVelkoString(format, fmt::make_format_args(args...)).view());
}

TEST(Format, FillsPlaceholdersAndNothingElse) {
  EXPECT_EQ(formatted(""), "");
  EXPECT_EQ(formatted("plain"), "plain");
  EXPECT_EQ(formatted("'{}' of {}", "a", 7), "'a' of 7");
  EXPECT_EQ(formatted("{}", "{}{0}{{"), "{}{0}{{") << "braces in an argument mean nothing";
  EXPECT_EQ(formatted("{}", "a\0b"sv), "a\0b"sv);
  EXPECT_EQ(formatted("{}", Velko::String("a\0b", 3)), "a\0b"sv);
  std::string const large(1 << 20, 'x');
  EXPECT_EQ(formatted("{}", large), large) << "longer than what is formatted in place";
}

// Traces

Velko::Platform::DebugHandler& handle(char const* name) {
  return *Velko::Platform::_getRawDebugHandler(Velko::String(name), false);
}

/** Not formattable: it throws where another type would print. */
struct Thrower {};

}  // namespace

template <>
struct fmt::formatter<Thrower> : KvFmt::TextFormatter {
  template <typename Context>
  auto format(Thrower const&, Context& context) const -> decltype(context.out()) {
    throw std::runtime_error("cannot print");
  }
};

namespace {

class TraceTest : public testing::Test {
 protected:
  ~TraceTest() override { Model::setTraceSink({}); }

  void collect() {
    Model::setTraceSink([this](Model::Trace const& trace) {
      lines.push_back(fmt::format("{}|{}|{}|{}|{}|{}|{}", trace.handle, trace.level, trace.file, trace.function,
                                  trace.line, trace.className, trace.text));
    });
  }

  std::vector<std::string> lines;
};

TEST_F(TraceTest, AHandleIsOneByNameAndStartsDisabled) {
  EXPECT_EQ(&handle("one"), &handle("one"));
  EXPECT_NE(&handle("one"), &handle("two"));
  EXPECT_NE(&handle(""), &handle("one"));
  EXPECT_FALSE(handle("one").enabled());
}

TEST_F(TraceTest, AreTurnedOnBeforeAndAfterTheHandleIsAskedFor) {
  Model::enableTraces("before", true);
  EXPECT_TRUE(handle("before").enabled());
  Velko::Platform::DebugHandler const& after = handle("after");
  EXPECT_FALSE(after.enabled());
  Model::enableTraces("after", true);
  EXPECT_TRUE(after.enabled());
  Model::enableTraces("after", false);
  EXPECT_FALSE(after.enabled());
  EXPECT_TRUE(handle("before").enabled()) << "each name for itself";
}

TEST_F(TraceTest, ReachTheSinkWithEveryPart) {
  collect();
  Velko::fmtrace(handle("name"), 7, "File", "function", 12, "Class", "{} and {}", "a{}b", 7);
  Velko::fmtrace(handle("name"), 0, "File", "function", 13, nullptr, "plain");
  Velko::fmtrace(handle("name"), 9, "File", "function", 14, nullptr, "{}", "x\0y"sv);
  EXPECT_THAT(lines, ElementsAre("name|7|File|function|12|Class|a{}b and 7", "name|0|File|function|13||plain",
                                 "name|9|File|function|14||x\0y"sv));
}

TEST_F(TraceTest, GoToStderrByDefaultOneLineEach) {
  testing::internal::CaptureStderr();
  Velko::fmtrace(handle("Name"), 7, "Folder/File", "construct", 123, "Node", "Type: '{}'", "A\0B"sv);
  Velko::fmtrace(handle("Name"), 7, "Folder/File", "decode", 9, nullptr, "Found");
  EXPECT_EQ(testing::internal::GetCapturedStderr(),
            "Name/7 Folder/File:123 Node::construct: Type: 'A\0B'\nName/7 Folder/File:9 decode: Found\n"sv);
  EXPECT_THAT(lines, IsEmpty());
}

TEST_F(TraceTest, NothingEscapes) {
  collect();
  Velko::fmtrace(handle("name"), 7, "f", "g", 1, nullptr, "{}", Thrower());
  EXPECT_THAT(lines, IsEmpty());
  Model::setTraceSink([](Model::Trace const&) { throw std::runtime_error("sink"); });
  Velko::fmtrace(handle("name"), 7, "f", "g", 1, nullptr, "text");
}

TEST_F(TraceTest, ASinkMayTraceAndReplaceItself) {
  int calls = 0;
  Model::setTraceSink([&](Model::Trace const& trace) {
    ++calls;
    collect();
    Velko::fmtrace(handle("inner"), 1, "f", "g", 2, nullptr, "{}", trace.text);
  });
  Velko::fmtrace(handle("outer"), 7, "f", "g", 1, nullptr, "text");
  EXPECT_EQ(calls, 1);
  EXPECT_THAT(lines, ElementsAre("inner|1|f|g|2||text"));
}

TEST_F(TraceTest, ThreadsTraceWhileTheSinkChanges) {
  std::atomic<int> calls = 0;
  auto const sink = [&calls](Model::Trace const& trace) { calls += trace.text == "7" ? 1 : 0; };
  Model::setTraceSink(sink);
  {
    std::vector<std::jthread> threads;
    for (int i = 0; i < 3; ++i) {
      threads.emplace_back([] {
        for (int round = 0; round < 200; ++round) {
          Velko::fmtrace(handle("threads"), 7, "f", "g", 1, nullptr, "{}", 7);
        }
      });
    }
    for (int round = 0; round < 50; ++round) {
      Model::setTraceSink(sink);
      Model::enableTraces("threads", round % 2 == 0);
    }
  }
  EXPECT_EQ(calls, 600);
}

// Assertions

template <typename... Args>
[[noreturn]] void fail(fmt::string_view format, Args const&... args) {
  Velko::Impl::vfmassert("a == b", "File", "function", 12, format, fmt::make_format_args(args...));
}

TEST(AssertionDeathTest, EndsTheProcessWithOneLine) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(fail("{} is not {}", 1, 2), "^assertion failed: a == b: 1 is not 2 \\(File:12 function\\)\n$");
  EXPECT_DEATH(fail(""), "^assertion failed: a == b \\(File:12 function\\)\n$");
  EXPECT_DEATH(fail("{}", Thrower()), "^assertion failed: a == b \\(File:12 function\\)\n$");
  EXPECT_DEATH(Velko::Impl::vfmassert(handle("Name"), "c", "File", "f", 3, "text", fmt::make_format_args()),
               "^Name: assertion failed: c: text \\(File:3 f\\)\n$");
}

TEST(AssertionDeathTest, TellsTheSinkFirst) {
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  EXPECT_DEATH(
      {
        Model::setAssertionSink([](Model::Assertion const& assertion) {
          fmt::print(stderr, "{}|{}|{}|{}|{}|{}\n", assertion.handle, assertion.condition, assertion.file,
                     assertion.function, assertion.line, assertion.text);
        });
        Velko::Impl::vfmassert(handle("Name"), "c", "File", "f", 3, "{}", fmt::make_format_args("text"));
      },
      "^Name\\|c\\|File\\|f\\|3\\|text\n$");
  EXPECT_DEATH(
      {
        Model::setAssertionSink([](Model::Assertion const&) { throw std::runtime_error("sink"); });
        fail("text");
      },
      "^assertion failed, and so did its report\n$");
  EXPECT_DEATH(
      {
        Model::setAssertionSink([](Model::Assertion const&) {});
        Model::setAssertionSink({});
        fail("text");
      },
      "^assertion failed: a == b: text \\(File:12 function\\)\n$");
}

}  // namespace
