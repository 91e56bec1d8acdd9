// Paths from and to messages, with classes that protoc generates. Compiled with warnings for deprecated members as
// errors: reading what old senders fill is no warning of the caller's.
#include "gnmi/Message.h"

#include <google/protobuf/stubs/logging.h>
#include <google/protobuf/text_format.h>
#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "examples/target/gnmi.pb.h"

namespace Gnmi {
namespace {

gnmi::Path message(std::string const& text) {
  // It warns of the deprecated field.
  google::protobuf::LogSilencer const silence;
  gnmi::Path message;
  EXPECT_TRUE(google::protobuf::TextFormat::ParseFromString(text, &message)) << text;
  return message;
}

std::string shown(gnmi::Path const& message) {
  Path path;
  if (auto const read = readPath(message, path); !read) {
    Error const& error = read.error();
    EXPECT_FALSE(error.offset);
    return std::string(nameOf(error.kind)) + " in element " + std::to_string(error.element) +
           (error.key.empty() ? "" : ", key " + error.key) + ": " + error.text;
  }
  EXPECT_FALSE(path.isFromText());
  return (path.target.empty() ? "" : "target " + std::string(path.target) + ": ") + formatPath(path);
}

TEST(Message, IsRead) {
  EXPECT_EQ(shown(message("")), "/");
  EXPECT_EQ(shown(message("origin: 'openconfig' target: 'r1' elem { name: 'a' } elem { name: 'b' }")),
            "target r1: openconfig:/a/b");
  EXPECT_EQ(shown(message("elem { name: 'r' key { key: 'vrf' value: 'red' } key { key: 'prefix' value: '' } }")),
            "/r[prefix=][vrf=red]");
  // What is special in text is plain here.
  EXPECT_EQ(shown(message(R"(elem { name: 'a/b[c]' key { key: 'k=' value: ']\n\\u002a' } })")),
            R"(/a\/b\[c\][k\==\]\n\\u002a])");
}

TEST(Message, KeysComeInTheOrderOfTheirNames) {
  for (std::size_t const count : {1U, 2U, 3U, 7U, 8U, 9U, 16U, 17U, 90U}) {
    gnmi::Path one;
    auto& elem = *one.add_elem();
    elem.set_name("e");
    for (std::size_t i = count; i != 0; --i) {
      (*elem.mutable_key())["k" + std::to_string(9 + i)] = std::to_string(i);
    }
    Path const path = *readPath(one);
    auto const keys = path.keys(path.elements()[0]);
    ASSERT_EQ(keys.size(), count);
    for (std::size_t i = 0; i != count; ++i) {
      EXPECT_EQ(keys[i].name, "k" + std::to_string(10 + i));
      EXPECT_EQ(keys[i].value, std::to_string(1 + i));
    }
  }
}

TEST(Message, ViewsItsStrings) {
  gnmi::Path const one = message("origin: 'o' elem { name: 'element' key { key: 'k' value: 'v' } }");
  Path const path = *readPath(one);
  EXPECT_EQ(path.origin.data(), one.origin().data());
  EXPECT_EQ(path.elements()[0].name.data(), one.elem(0).name().data());
  EXPECT_EQ(path.keys(path.elements()[0])[0].value.data(), one.elem(0).key().at("k").data());
}

TEST(Message, OfOldSendersIsReadAsTexts) {
  EXPECT_EQ(shown(message(R"(element: 'a' element: 'b[k=v/w][l=\\]]' element: 'c\\/d')")), R"(/a/b[k=v/w][l=\]]/c\/d)");
  // Many senders fill both.
  EXPECT_EQ(shown(message("element: 'a' element: '' elem { name: 'b' }")), "/b");
}

TEST(Message, IsRefused) {
  EXPECT_EQ(shown(message("elem { name: 'a' } elem { }")), "Malformed in element 1: the element has no name");
  EXPECT_EQ(shown(message("elem { name: 'a' key { key: 'b' value: 'c' } key { value: 'd' } }")),
            "Malformed in element 0: a key of the element has no name");
  EXPECT_EQ(shown(message("element: 'a' element: ''")),
            "Malformed in element 1: expected the name of an element; found the end");
  EXPECT_EQ(shown(message("element: 'a/b'")), "Malformed in element 0: expected one element alone; found '/'");
  EXPECT_EQ(shown(message("element: '/a'")), "Malformed in element 0: expected the name of an element; found '/'");
  EXPECT_EQ(shown(message("element: 'a[k=v]b'")), "Malformed in element 0: expected one element alone; found 'b'");
  EXPECT_EQ(shown(message("element: 'a[k=v][k=w]'")), "KeyTwice in element 0, key k: key 'k' is given twice");
}

TEST(Message, IsWritten) {
  gnmi::Path const one = message(
      R"(origin: 'o' target: 't' elem { name: 'a/b' key { key: 'k' value: ']\n' } key { key: 'l' value: '' } } elem { name: 'c' })");
  gnmi::Path again;
  writePath(*readPath(one), again);
  EXPECT_EQ(again.DebugString(), one.DebugString());
  gnmi::Path fromText;
  writePath(*parsePath(R"(o:/a\/b[l=][k=\]\n]/c)"), fromText);
  fromText.set_target("t");
  EXPECT_EQ(fromText.DebugString(), one.DebugString());
}

TEST(Message, ReusesThePath) {
  Path path;
  ASSERT_TRUE(readPath(message("origin: 'o' target: 't' elem { name: 'a' key { key: 'k' value: 'v' } }"), path));
  gnmi::Path const other = message("elem { name: 'b' }");
  ASSERT_TRUE(readPath(other, path));
  EXPECT_EQ(formatPath(path), "/b");
  EXPECT_EQ(path.target, "");
}

}  // namespace
}  // namespace Gnmi
