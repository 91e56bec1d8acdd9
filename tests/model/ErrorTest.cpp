// What the model throws, as hosts and as C++ users catch it; errors as C++ users read them.
#include "model/Error.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <concepts>
#include <exception>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <thread>
#include <type_traits>
#include <vector>

#include "KvStd/Expected.h"
#include "tests/model/Network.h"
#include "text/Messages.h"

namespace ModelTest {
namespace {

using namespace std::string_literals;
using namespace std::string_view_literals;

/** What a handler of each kind reads; nothing where it does not catch. */
struct Caught {
  std::string std;
  std::string velko;
  std::string model;
  std::string pb;
};

template <typename Exception>
std::string caughtAs(std::function<void()> const& act) {
  try {
    try {
      act();
    } catch (Exception const& exception) {
      return exception.what();
    }
  } catch (...) {
    return "";
  }
  return "nothing thrown";
}

Caught caught(std::function<void()> const& act) {
  return {.std = caughtAs<std::exception>(act),
          .velko = caughtAs<Velko::Exception>(act),
          .model = caughtAs<Model::Error>(act),
          .pb = caughtAs<Velko::Pb::PbReadException>(act)};
}

TEST(Errors, AreCaughtAsTheHostsAndAsTheStandardLibrarys) {
  Network network;
  Value const key = literal(network.vlanId, "7");
  struct Row {
    std::string what;
    std::function<void()> act;
  };
  for (auto const& [what, act] : std::vector<Row>{
           {"Network::VlanId: '70000' does not fit: a decimal number from 0 to 65535",
            [&] { literal(network.vlanId, "70000"); }},
           {"Network::VlanId: expected arguments (value Zyn::U16), found 0 of them", [&] { build(network.vlanId); }},
           {"Network::VlanId: it has no attribute 'x'; there is 'value'", [&] { Model::attribute(*key, "x"); }},
           {"Network::VlanId: it has no s4 encoding", [&] { Model::s4Text(*key); }},
           {"Network::VlanId: Network::VlanId(7) is no boolean", [&] { Model::as<bool>(*key); }},
           {"Attribute 'value' of 'Network::VlanId' is not set",
            [&] { Model::get<std::uint64_t>(*initial(network.vlanId), "value"); }},
           {"module 'Network' already has a type 'Vrf'; choose another name", [&] { network.module.value("Vrf"); }},
       }) {
    Caught const found = caught(act);
    EXPECT_EQ(found.std, what);
    EXPECT_EQ(found.velko, what);
    EXPECT_EQ(found.model, what);
    EXPECT_EQ(found.pb, "") << what;
  }
}

TEST(Errors, OfMessagesAreTheHostsAndTheStandardLibrarys) {
  Network network;
  Caught const found = caught([&] {
    Velko::Pb::ReadCursor cursor{"\x08", 0, 1};
    network.vlanId.genericIfFromPbMessage(&cursor, false);
  });
  EXPECT_THAT(found.pb, testing::StartsWith("Network::VlanId: malformed or cut off"));
  EXPECT_EQ(found.std, found.pb);
  EXPECT_EQ(found.velko, "") << "the platform's two exceptions are two";
}

TEST(Errors, KeepNulBytesAndShowThem) {
  Network network;
  auto const act = [&] { literal(network.vlanId, "a\0b"sv); };
  EXPECT_THAT(caughtAs<Velko::Exception>(act), testing::HasSubstr("'a\0b'"s));
  EXPECT_THAT(caughtAs<std::exception>(act), testing::HasSubstr("'a\\0b'"));
  EXPECT_THAT(caughtAs<std::exception>([] { throw Model::PbError(Velko::String("a\0b"sv)); }), "a\\0b");
}

TEST(Errors, TellOfTextsOfAnyLength) {
  // Up to 128 bytes are kept in the exception. What does not fit here is the last byte.
  Model::Schema schema;
  Zyn::ZynType const port = schema.module("Test")
                                .value("Port")
                                .attr("name", Model::core(Model::Kind::String))
                                .attr("number", Model::core(Model::Kind::U8))
                                .args({"name", "number"})
                                .gnmi("{name}-{number}");
  for (std::size_t const size : {2U, 3U, 65U, 127U, 128U, 129U, 5000U}) {
    std::string const text = std::string(size - 2, 'a') + "-x";
    std::string const what = "Test::Port: " + Text::inQuotes(text) +
                             " does not fit: {name}-{number}; number takes a decimal number from 0 to 255";
    Caught const found = caught([&] { gnmi(port, text); });
    EXPECT_EQ(found.std, what);
    EXPECT_EQ(found.velko, what);
  }
}

TEST(Errors, KeepTheirTextWhenCopied) {
  std::optional<Model::Error> copy;
  {
    Model::Error const error(Velko::String("lost"));
    EXPECT_STREQ(error.what(), "lost");
    copy.emplace(error);
  }
  EXPECT_STREQ(copy->what(), "lost");
  EXPECT_EQ(copy->what(), copy->what()) << "made once";
}

TEST(Errors, AreReadByManyThreads) {
  Network const network;
  std::exception_ptr thrown;
  try {
    literal(network.vlanId, "70000");
  } catch (...) {
    thrown = std::current_exception();
  }
  std::vector<std::string> read(4);
  {
    std::vector<std::jthread> threads;
    for (std::string& text : read) {
      threads.emplace_back([&] { text = caughtAs<std::exception>([&] { std::rethrow_exception(thrown); }); });
    }
  }
  EXPECT_THAT(read, testing::Each(testing::StartsWith("Network::VlanId: '70000' does not fit")));
}

TEST(Errors, OfResultsStreamAndConvert) {
  KvStd::Expected<int, Velko::String> const result = KvStd::Unexpected(Velko::String("a\0b"sv));
  std::string const text = result.error();
  EXPECT_EQ(text, "a\0b"s);
  std::ostringstream out;
  out << result.error() << '!';
  EXPECT_EQ(out.str(), "a\0b!"s);
  std::string assigned;
  assigned = result.error();
  assigned += result.error();
  EXPECT_EQ(assigned, text + text);
  EXPECT_EQ(std::string(result.error()), text);
  EXPECT_EQ(fmt::format("{}", result.error()), text);
  EXPECT_EQ(testing::PrintToString(Velko::String("plain")), "plain");
}

// One way into a String and one way out: anything else is written out.
static_assert(!std::convertible_to<std::string, Velko::String> && !std::convertible_to<char const*, Velko::String>);
static_assert(!std::convertible_to<Velko::String, std::string_view>, "a view of a temporary would dangle");

}  // namespace
}  // namespace ModelTest
