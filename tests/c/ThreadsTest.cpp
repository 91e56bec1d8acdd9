// One resolver and its keys in several threads, and what a debug build says of a handle that is freed too early.
#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "c/drovan.h"

namespace {

class CThreads : public testing::Test {
 protected:
  CThreads() {
    drovan_text const yaml = drovan_str(
        "module: M\n"
        "types:\n"
        "  Key: {value: {a: U16, b: String}, args: [a, b]}\n"
        "  E: {entity: {key: Key}}\n"
        "  R: {entity: {e: {keyed: E, by: key}}}\n");
    EXPECT_EQ(drovan_schema_yaml_text(yaml, drovan_str("x.yaml"), &schema, nullptr), DROVAN_OK);
    EXPECT_EQ(drovan_resolver_new(schema, drovan_str("R"), 0, &resolver, nullptr), DROVAN_OK);
  }
  ~CThreads() override { drovan_schema_free(schema); }

  drovan_schema* schema = nullptr;
  drovan_resolver* resolver = nullptr;
};

TEST_F(CThreads, ResolveWithOneResolver) {
  drovan_selection* first = nullptr;
  drovan_key* shared = nullptr;
  ASSERT_EQ(drovan_selection_new(&first, nullptr), DROVAN_OK);
  ASSERT_EQ(drovan_resolve_text(resolver, drovan_str("/e[a=7][b=x]"), DROVAN_READ, first, nullptr), DROVAN_OK);
  ASSERT_EQ(drovan_selection_key(first, 0, &shared, nullptr), DROVAN_OK);
  drovan_selection_free(first);

  std::atomic<int> equal = 0;
  auto const work = [&](int number) {
    drovan_selection* found = nullptr;
    drovan_error error = DROVAN_ERROR_INIT;
    ASSERT_EQ(drovan_selection_new(&found, &error), DROVAN_OK);
    for (int i = 0; i != 500; ++i) {
      std::string const path = "/e[a=" + std::to_string((i + number) % 10) + "][b=x]";
      ASSERT_EQ(drovan_resolve_text(resolver, {path.data(), path.size()}, DROVAN_READ, found, &error), DROVAN_OK);
      drovan_key* key = nullptr;
      drovan_key* part = nullptr;
      ASSERT_EQ(drovan_selection_key(found, 0, &key, &error), DROVAN_OK);
      int is = 0;
      ASSERT_EQ(drovan_key_equal(key, shared, &is, &error), DROVAN_OK);
      equal += is;
      // Counts its uses from all threads.
      ASSERT_EQ(drovan_key_part_named(shared, drovan_str("b"), &part, &error), DROVAN_OK);
      drovan_key_free(part);
      drovan_key_free(key);
      ASSERT_EQ(drovan_resolve_text(resolver, drovan_str("/e[a=x][b=x]"), DROVAN_READ, found, &error),
                DROVAN_VALUE_REFUSED);
    }
    drovan_selection_free(found);
    drovan_error_clear(&error);
  };
  std::vector<std::thread> threads;
  for (int number = 0; number != 4; ++number) {
    threads.emplace_back(work, number);
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  EXPECT_EQ(equal, 4 * 50);
  drovan_resolver_free(resolver);
  drovan_key_free(shared);
}

#if !defined(NDEBUG) && !defined(__SANITIZE_THREAD__)
TEST_F(CThreads, AHandleThatIsFreedWhileItIsUsedEndsTheProcess) {
  auto const freeIt = [](void* context, drovan_selection const*) {
    drovan_resolver_free(static_cast<drovan_resolver*>(context));
    return 1;
  };
  EXPECT_DEATH((void)drovan_expand_text(resolver, drovan_str("/*"), DROVAN_READ, 0, freeIt, resolver, nullptr),
               "a handle is freed while another thread uses it");
  drovan_resolver_free(resolver);
}
#endif

}  // namespace
