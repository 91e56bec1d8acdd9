// Every allocation failing in turn: DROVAN_NO_MEMORY, nothing handed out, nothing lost, and the next call works.
//
// Left out is what the header says ends the process.
#include <gtest/gtest.h>

#include <functional>
#include <string_view>
#include <utility>

#include "c/drovan.h"
#include "tests/support/Allocations.h"

namespace {

class CAllocation : public testing::Test {
 protected:
  CAllocation() {
    EXPECT_EQ(drovan_schema_yaml_text(drovan_str(yaml), drovan_str("x.yaml"), &schema, nullptr), DROVAN_OK);
    EXPECT_EQ(drovan_resolver_new(schema, drovan_str(""), 0, &resolver, nullptr), DROVAN_OK);
    EXPECT_EQ(drovan_selection_new(&found, nullptr), DROVAN_OK);
    EXPECT_EQ(resolve("/a_collection_with_a_long_name[the_first_part=7][the_second_part=some text of some length]"),
              DROVAN_OK);
    EXPECT_EQ(drovan_selection_key(found, 0, &key, nullptr), DROVAN_OK);
  }
  ~CAllocation() override {
    drovan_key_free(key);
    drovan_selection_free(found);
    drovan_resolver_free(resolver);
    drovan_schema_free(schema);
    drovan_error_clear(&error);
  }

  int resolve(char const* path) { return drovan_resolve_text(resolver, drovan_str(path), DROVAN_READ, found, &error); }

  /** Runs the call for each of its allocations, with that one failing, and then to its end. How many there were. */
  std::size_t failEach(int expected, std::function<int()> const& call) const {
    for (std::size_t failing = 1;; ++failing) {
      Support::allocations.failing = failing;
      int const kind = call();
      bool const isEnd = Support::allocations.failing != 0;
      Support::allocations.failing = 0;
      EXPECT_EQ(kind, isEnd ? expected : DROVAN_NO_MEMORY) << "allocation " << failing << ": " << error.text.data;
      EXPECT_EQ(error.kind, kind);
      if (!isEnd) {
        EXPECT_EQ(std::string_view(error.text.data), "out of memory");
      }
      if (isEnd || HasFailure()) {
        return failing - 1;
      }
    }
  }

  /** The same of a call that hands out a text or a handle. */
  template <typename T>
  std::size_t failEach(void (*drop)(T*), std::function<int(T**)> const& call) {
    return failEach(DROVAN_OK, [&] {
      T* out = nullptr;
      int const kind = call(&out);
      EXPECT_EQ(out != nullptr, kind == DROVAN_OK);
      drop(out);
      return kind;
    });
  }

  static constexpr char const* yaml =
      "module: AModuleWithALongName\n"
      "types:\n"
      "  Key: {value: {the_first_part: U16, the_second_part: String}, args: [the_first_part, the_second_part]}\n"
      "  Entry: {entity: {key: Key}}\n"
      "  Root: {entity: {a_collection_with_a_long_name: {keyed: Entry, by: key}, another: {keyed: Entry, by: key}}}\n";
  drovan_error error = DROVAN_ERROR_INIT;
  drovan_schema* schema = nullptr;
  drovan_resolver* resolver = nullptr;
  drovan_selection* found = nullptr;
  drovan_key* key = nullptr;
};

TEST_F(CAllocation, Paths) {
  EXPECT_GE(
      failEach<drovan_selection>(drovan_selection_free, [&](auto** out) { return drovan_selection_new(out, &error); }),
      1);
  EXPECT_GE(failEach(DROVAN_OK,
                     [&] {
                       drovan_selection* fresh = nullptr;
                       int const made = drovan_selection_new(&fresh, &error);
                       int const kind = made != DROVAN_OK ? made
                                                          : drovan_resolve_text(resolver, drovan_str("/another"),
                                                                                DROVAN_READ, fresh, &error);
                       EXPECT_EQ(drovan_selection_count(fresh), kind == DROVAN_OK ? 1U : 0U);
                       drovan_selection_free(fresh);
                       return kind;
                     }),
            3);
  // What was used before has all that it needs.
  EXPECT_EQ(failEach(DROVAN_OK, [&] { return resolve("/another"); }), 0);
  for (auto const& [path, kind] : {std::pair("/another[the_first_part=7", DROVAN_MALFORMED),
                                   std::pair("/an_element_that_there_is_not", DROVAN_UNKNOWN_NODE),
                                   std::pair("/another[the_fist_part_of_it=7]", DROVAN_KEY_UNKNOWN)}) {
    EXPECT_GT(failEach(kind, [&] { return resolve(path); }), 2) << path;
    EXPECT_EQ(drovan_selection_count(found), 0U);
  }
  EXPECT_GT(failEach(DROVAN_OK,
                     [&] {
                       auto const visit = [](void*, drovan_selection const*) { return 1; };
                       return drovan_expand_text(resolver, drovan_str("/..."), DROVAN_READ, 0, visit, nullptr, &error);
                     }),
            3);
}

TEST_F(CAllocation, Selections) {
  EXPECT_EQ(
      failEach<drovan_key>(drovan_key_free, [&](auto** out) { return drovan_selection_key(found, 0, out, &error); }),
      1);
  EXPECT_GT(failEach(DROVAN_NO_NAME,
                     [&] {
                       drovan_key* none = nullptr;
                       return drovan_selection_key(found, 9, &none, &error);
                     }),
            1);
  ASSERT_EQ(resolve("/another"), DROVAN_OK);
  EXPECT_GT(failEach<char>(drovan_free, [&](char** out) { return drovan_selection_path(found, out, nullptr, &error); }),
            1);
}

TEST_F(CAllocation, Keys) {
  EXPECT_GT(failEach<char>(drovan_free, [&](char** out) { return drovan_key_print(key, out, nullptr, &error); }), 1);
  EXPECT_GE(
      failEach<drovan_key>(drovan_key_free, [&](auto** out) { return drovan_key_part(key, 1, nullptr, out, &error); }),
      2);
  EXPECT_EQ(failEach<drovan_key>(
                drovan_key_free,
                [&](auto** out) { return drovan_key_part_named(key, drovan_str("the_first_part"), out, &error); }),
            1);
  EXPECT_GT(failEach(DROVAN_OTHER_KIND,
                     [&] {
                       char* none = nullptr;
                       return drovan_key_path_text(key, &none, nullptr, &error);
                     }),
            1);
}

TEST_F(CAllocation, Filters) {
  EXPECT_GE(failEach<drovan_filter>(drovan_filter_free,
                                    [&](auto** out) {
                                      return drovan_filter_new(schema, drovan_str("Root"), drovan_str("another"), 0,
                                                               out, &error);
                                    }),
            1);
}

}  // namespace
