// One schema, many threads: rules are asked by all of them at once.
#include <atomic>
#include <string>
#include <thread>
#include <vector>

#include "model/Runtime.h"
#include "tests/yang/Loaded.h"

#ifdef __SANITIZE_THREAD__
/** The C library reads the time zone, as libyang makes it do for dates, under a lock that the sanitizer does not see.
 */
extern "C" char const* __tsan_default_suppressions() {  // NOLINT(bugprone-reserved-identifier)
  return "race:tzset_internal\n";
}
#endif

namespace YangTest {
namespace {

TEST(Threads, ShareASchema) {
  Yang::Loaded const kinds = loaded({YANG_MODULES "/modules"}, {"kinds", "animals"});
  struct Row {
    char const* list;
    std::string text;
    char const* fits;
  };
  std::vector<Row> const rows = {
      {"int16", " +300", "300"},
      {"decimal64", "1.50", "1.5"},
      {"label", "a-b", "a-b"},
      {"label", "a-", nullptr},
      {"ip-prefix", "10.1.2.3/8", "10.0.0.0/8"},
      {"ip-address", "::G", nullptr},
      {"identity", "cow", "animals:cow"},
      {"union", "ABCD", "ABCD"},
      {"bits", "write read", "read write"},
      {"slow", std::string(200, 'a') + "cd", nullptr},
      {"date", "2020-01-01T00:00:00Z", "2020-01-01T00:00:00+00:00"},
      {"instance", "/kinds:kinds/int8[id='5']", "/kinds:kinds/int8[id='5']"},
  };
  Model::setThreadSafe(true);
  std::atomic<int> wrong = 0;
  {
    std::vector<std::jthread> threads;
    for (int id = 0; id < 8; ++id) {
      threads.emplace_back([&] {
        for (int round = 0; round < 5; ++round) {
          for (Row const& row : rows) {
            auto const value = read(attrAt(kinds.root, {"kinds", row.list}).keyType(), row.text);
            bool const isGood = row.fits == nullptr ? !value : value && canonical(value) == row.fits;
            wrong += isGood ? 0 : 1;
          }
        }
      });
    }
  }
  Model::setThreadSafe(false);
  EXPECT_EQ(wrong, 0);
}

TEST(Threads, LoadAtOnce) {
  std::atomic<int> good = 0;
  {
    std::vector<std::jthread> threads;
    for (int id = 0; id < 4; ++id) {
      threads.emplace_back([&good, id] {
        auto const result = Yang::load(std::vector<std::string>{YANG_MODULES "/modules"},
                                       std::vector<std::string>{id % 2 == 0 ? "kinds" : "nowhere"});
        good += result.has_value() == (id % 2 == 0) ? 1 : 0;
      });
    }
  }
  EXPECT_EQ(good, 4);
}

}  // namespace
}  // namespace YangTest
