// What the tests of the decoder over the embedded provider share: captured traces, and a check that all memory of the
// decoder's containers went back, after errors too.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <initializer_list>
#include <ostream>
#include <string>
#include <string_view>
#include <utility>
#include <variant>
#include <vector>

#include "model/Runtime.h"
#include "model/Schema.h"
#include "model/Value.h"
#include "tests/support/Results.h"

namespace Test {

using Model::core;
using Model::Kind;
using Model::Mark;
using testing::ElementsAre;
using testing::IsEmpty;

inline std::string shown(Velko::Ptr<Zyn::GenericIf> const& value) { return value ? Model::print(*value) : "null"; }

class DecoderTest : public testing::Test {
 protected:
  DecoderTest() {
    Model::setTraceSink([this](Model::Trace const& trace) {
      std::string const scope = trace.className.empty() ? "" : std::string(trace.className) + "::";
      traces.push_back(scope + std::string(trace.function) + ": " + std::string(trace.text));
      EXPECT_EQ(trace.handle, "ZynKeyDecoder");
      EXPECT_EQ(trace.level, 7);
      EXPECT_EQ(trace.file, "Drovan/ZynKeyDecoder");
      EXPECT_GT(trace.line, 0);
    });
  }

  ~DecoderTest() override {
    traceCalls(false);
    Model::setTraceSink({});
    for (Model::Memory const& tag : Model::memory()) {
      EXPECT_EQ(tag.elements, 0) << tag.tag;
      EXPECT_EQ(tag.bytes, 0) << tag.tag;
    }
  }

  void traceCalls(bool on = true) { Model::enableTraces("ZynKeyDecoder", on); }

  /** The traces since the last look. */
  std::vector<std::string> taken() { return std::exchange(traces, {}); }

  /** One scalar, through a decoder that checks no key name. */
  std::string scalar(Zyn::ZynType type, std::string_view value, bool s4 = false) {
    return shown(ZynKeyDecoder(Zyn::ZynAttr(), s4).decodeScalarKey(type, "", value));
  }

  using Fields = std::initializer_list<std::pair<std::string_view, std::string_view>>;

  /** A whole key, by paths below the root: the key, or the first error. */
  static std::string key(Zyn::ZynType type, Fields fields, bool s4 = false) {
    KeyElemNode root(type, s4);
    for (auto const& [path, value] : fields) {
      if (auto const done = insert(root, path, value); !done) {
        return shown(done);
      }
    }
    auto const done = root.instantiate();
    return done ? shown(root.value) : shown(done);
  }

  Model::Schema schema;
  Model::Module& module = schema.module("Test");
  std::vector<std::string> traces;
};

}  // namespace Test

// So that a failing test shows names and not bytes.
namespace Zyn {
inline void PrintTo(ZynType const& type, std::ostream* out) { *out << (type.empty() ? "no type" : type.name()); }
inline void PrintTo(ZynAttr const& attr, std::ostream* out) { *out << (attr.empty() ? "no attribute" : attr.name()); }
}  // namespace Zyn
