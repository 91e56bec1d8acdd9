// Texts and paths: what is read, what is refused and where, and that every path comes back from its text.
#include "gnmi/Path.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <deque>
#include <random>

#include "tests/gnmi/Sizes.h"

namespace Gnmi {
namespace {

using namespace std::string_view_literals;

/** One line, with what the text said in quotes: `origin "o"; "a" "k"="v"; "b"`. */
std::string shown(std::expected<Path, Error> const& path) {
  if (!path) {
    Error const& error = path.error();
    return (error.kind == ErrorClass::Malformed ? "at " : std::string(nameOf(error.kind)) + " at ") +
           std::to_string(error.offset.value()) + ": " + error.text;
  }
  auto const quoted = [](std::string_view text) { return '"' + std::string(text) + '"'; };
  std::string text = path->origin.empty() ? "" : "origin " + quoted(path->origin);
  for (Element const& element : path->elements()) {
    text += (text.empty() ? "" : "; ") + quoted(element.name);
    for (Key const& key : path->keys(element)) {
      text += " " + quoted(key.name) + "=" + quoted(key.value);
    }
  }
  return text.empty() ? "the root" : text;
}

struct Row {
  std::string_view text;
  std::string_view result;
};

TEST(Path, Reads) {
  Row const rows[] = {
      {"/", "the root"},
      {"", "the root"},
      {"/a", "\"a\""},
      {"a", "\"a\""},
      {"/a/", "\"a\""},
      {"a/b", R"("a"; "b")"},
      {"/a/b[k=v][k2=v2]/c", R"("a"; "b" "k"="v" "k2"="v2"; "c")"},
      {"/a[k=v]/", R"("a" "k"="v")"},
      {"/a[k=]", R"("a" "k"="")"},
      // What is special elsewhere stands for itself in a value.
      {"/a[k=b/c]/d", R"("a" "k"="b/c"; "d")"},
      {"/a[k=[b[]", R"("a" "k"="[b[")"},
      {"/a[k==b=c]", R"("a" "k"="=b=c")"},
      {"/a[k=o:/b]", R"("a" "k"="o:/b")"},
      {"/a[k= b ]", R"("a" "k"=" b ")"},
      {"/a[k=\"b'c]", R"("a" "k"=""b'c")"},
      {"/a[k=*]/*/...", R"("a" "k"="*"; "*"; "...")"},
      // Backslashes.
      {R"(/a[k=\]])", R"("a" "k"="]")"},
      {R"(/a[k=\\])", R"("a" "k"="\")"},
      {R"(/a[k=\\\]\\])", R"("a" "k"="\]\")"},
      {R"(/a[k=\/\[\=\:])", R"("a" "k"="/[=:")"},
      {R"(/a\/b\[c\]\\d)", R"("a/b[c]\d")"},
      {R"(/a[k\=\[\]\\l=v])", R"("a" "k=[]\l"="v")"},
      // Escapes for characters.
      {R"(/a[k=\n\r])", "\"a\" \"k\"=\"\n\r\""},
      {R"(/a\n[k\r=v])", "\"a\n\" \"k\r\"=\"v\""},
      {R"(/a[k=\u002a])", R"("a" "k"="*")"},
      {R"(/a[k=\u0000\u007f\u0080\u07ff])", "\"a\" \"k\"=\"\0\x7f\xc2\x80\xdf\xbf\""sv},
      {R"(/a[k=\u0800\uD7fF\ue000\uffff])", "\"a\" \"k\"=\"\xe0\xa0\x80\xed\x9f\xbf\xee\x80\x80\xef\xbf\xbf\""},
      {R"(/a[k=\U00010000\U0010FFFF])", "\"a\" \"k\"=\"\xf0\x90\x80\x80\xf4\x8f\xbf\xbf\""},
      {R"(/a[k=\u00411]/\u0062[\U00000063=\]])", R"("a" "k"="A1"; "b" "c"="]")"},
      // Names.
      {"/m:a/m:b[m:k=v]", R"("m:a"; "m:b" "m:k"="v")"},
      {"m:a/b", R"("m:a"; "b")"},
      {"/a=b/ c ", R"("a=b"; " c ")"},
      {"/a[b/c=d]", R"("a" "b/c"="d")"},
      {"/a\0b[\0=\0]"sv, "\"a\0b\" \"\0\"=\"\0\""sv},
      {"/\xff[\x80=\xc3]", "\"\xff\" \"\x80\"=\"\xc3\""},
      // Origins: only before the first slash, and only of a path that has one.
      {"o:/", "origin \"o\""},
      {"o:/a[k=v]", R"(origin "o"; "a" "k"="v")"},
      {"a:b c:/d", R"(origin "a:b c"; "d")"},
      {"/o:/a", R"("o:"; "a")"},
      {"a/b:/c", R"("a"; "b:"; "c")"},
      {R"(a\:/b)", R"("a:"; "b")"},
      {"a:b", "\"a:b\""},
      {"a:", "\"a:\""},
  };
  for (auto const& [text, result] : rows) {
    EXPECT_EQ(shown(parsePath(text)), result) << text;
  }
}

TEST(Path, RefusesWithTheByteAndWhatWouldFit) {
  Row const rows[] = {
      {"//", "at 1: expected the name of an element; found '/'"},
      {"/a//b", "at 3: expected the name of an element; found '/'"},
      {"/[k=v]", "at 1: expected the name of an element; found '['"},
      {"[k=v]", "at 0: expected the name of an element; found '['"},
      {"/]", "at 1: expected the name of an element; found ']'"},
      {"/a]", "at 2: expected '[' before the name of a key; found ']'"},
      {"/a/k=v]", "at 6: expected '[' before the name of a key; found ']'"},
      {"/a[", "at 3: expected the name of a key; found the end"},
      {"/a[=v]", "at 3: expected the name of a key; found '='"},
      {"/a[]", "at 3: expected the name of a key; found ']'"},
      {"/a[k]", "at 4: expected '=' after the name of a key; found ']'"},
      {"/a[k", "at 4: expected '=' after the name of a key; found the end"},
      {"/a[k[l=v]", "at 4: expected '=' after the name of a key; found '['"},
      {"/a[k=v", "at 6: expected ']' after the value; found the end"},
      {"/a[k=", "at 5: expected ']' after the value; found the end"},
      {"/a[k=v/b", "at 8: expected ']' after the value; found the end"},
      {"/a[[k=v]", "at 3: expected the name of a key; found '['"},
      {"/a[k=v]b", "at 7: expected '/' or '[' after a key; found 'b'"},
      {"/a[k=v]]", "at 7: expected '/' or '[' after a key; found ']'"},
      {"/a[k=v]\0"sv, "at 7: expected '/' or '[' after a key; found byte 0x00"},
      {"/a[k=v]\xff", "at 7: expected '/' or '[' after a key; found byte 0xff"},
      {"/a[k=v]\x7f", "at 7: expected '/' or '[' after a key; found byte 0x7f"},
      {"/a[k=v] ", "at 7: expected '/' or '[' after a key; found ' '"},
      {R"(/a\b)", R"(at 3: expected one of \ / [ ] = : n r u U after '\'; found 'b')"},
      {R"(/a[k\t=v])", R"(at 5: expected one of \ / [ ] = : n r u U after '\'; found 't')"},
      {R"(/a[k=\N])", R"(at 6: expected one of \ / [ ] = : n r u U after '\'; found 'N')"},
      {R"(/a[k=\u12])",
       R"(at 5: expected four hexadecimal digits after '\u', of a character that is no surrogate and at most 10ffff)"},
      {R"(/a[k=x\u123g])",
       R"(at 6: expected four hexadecimal digits after '\u', of a character that is no surrogate and at most 10ffff)"},
      {R"(/a[k=\ud800])",
       R"(at 5: expected four hexadecimal digits after '\u', of a character that is no surrogate and at most 10ffff)"},
      {R"(/a[k=\udfff])",
       R"(at 5: expected four hexadecimal digits after '\u', of a character that is no surrogate and at most 10ffff)"},
      {R"(/a[k=\U0010FFF])",
       R"(at 5: expected eight hexadecimal digits after '\U', of a character that is no surrogate and at most 10ffff)"},
      {R"(/a[k=\U00110000])",
       R"(at 5: expected eight hexadecimal digits after '\U', of a character that is no surrogate and at most 10ffff)"},
      {R"(/a[k=\Uffffffff])",
       R"(at 5: expected eight hexadecimal digits after '\U', of a character that is no surrogate and at most 10ffff)"},
      {R"(/a\u)",
       R"(at 2: expected four hexadecimal digits after '\u', of a character that is no surrogate and at most 10ffff)"},
      {"/a[k=v][k=w]", "KeyTwice at 8: key 'k' is given twice"},
      {R"(/a[k=v][l=][\u006b=w]/[)", "KeyTwice at 12: key 'k' is given twice"},
      {R"(/a[k=v\)", R"(at 7: expected one of \ / [ ] = : n r u U after '\'; found the end)"},
      {R"(/a[k=v\])", R"(at 8: expected ']' after the value; found the end)"},
      {"/a[k=\\\0]"sv, R"(at 6: expected one of \ / [ ] = : n r u U after '\'; found byte 0x00)"},
      {":/a", "at 0: expected an origin before ':'; found ':'"},
      {"a=b:/c", "at 1: expected an origin without ']' and '='; found '='"},
      {"a]:/c", "at 1: expected an origin without ']' and '='; found ']'"},
      {"a[k=v]:/c", "at 6: expected '/' or '[' after a key; found ':'"},
  };
  for (auto const& [text, result] : rows) {
    EXPECT_EQ(shown(parsePath(text)), result) << text;
  }
}

TEST(Path, TellsWhereNamesAndValuesStand) {
  Path const path = *parsePath(R"(o:/a\/b[k\=l=v\]w][m=]/c)");
  Element const& first = path.elements()[0];
  EXPECT_EQ(first.at, 3U);
  EXPECT_EQ(path.keys(first)[0].nameAt, 8U);
  EXPECT_EQ(path.keys(first)[0].valueAt, 13U);
  EXPECT_EQ(path.keys(first)[1].nameAt, 19U);
  EXPECT_EQ(path.keys(first)[1].valueAt, 21U);
  EXPECT_EQ(path.elements()[1].at, 23U);
  EXPECT_TRUE(path.isFromText());
}

TEST(Path, ViewsTheTextAndOwnsWhatEscapesStandFor) {
  std::string const text = R"(/plain[k=v]/es\/caped)";
  Path const path = *parsePath(text);
  EXPECT_EQ(path.elements()[0].name.data(), text.data() + 1);
  EXPECT_EQ(path.elements()[1].name, "es/caped");
  Path const moved = Path(path);
  EXPECT_EQ(moved, path);
  Path own;
  {
    std::string const gone = R"(o:/a[k=v\]])";
    own = owned(*parsePath(gone));
  }
  EXPECT_EQ(formatPath(own), R"(o:/a[k=v\]])");
}

TEST(Path, IsMadeInCode) {
  Path path;
  path.add("vrf").addKey("name", "red").add("route").addKey("vrf", "red").addKey("prefix", "10.0.0.0/8");
  EXPECT_EQ(formatPath(path), "/vrf[name=red]/route[prefix=10.0.0.0/8][vrf=red]");
  EXPECT_EQ(path, *parsePath("/vrf[name=red]/route[vrf=red][prefix=10.0.0.0/8]"));
  EXPECT_NE(path, *parsePath("/vrf[name=red]/route[vrf=red][prefix=10.0.0.0/9]"));
  EXPECT_NE(path, *parsePath("/vrf[name=red]/route[vrf=red]"));
  EXPECT_FALSE(path.isFromText());
  path.clear();
  EXPECT_EQ(formatPath(path), "/");
}

TEST(Path, FormatsSortedWithNoMoreEscapesThanNeeded) {
  EXPECT_EQ(formatPath({}), "/");
  EXPECT_EQ(formatPath(*parsePath("o:/")), "o:/");
  EXPECT_EQ(formatPath(*parsePath(R"(o:a\:b/c[k=\/\[\=\:\]\\]/)")), R"(/o:a:b/c[k=/[=:\]\\])");
  EXPECT_EQ(formatPath(*parsePath(R"(/a[z=1][b=\n][\r=\u0000])")), "/a[\\r=\0][b=\\n][z=1]"sv);
  Path special;
  special.add("/[]\\=:").addKey("/[]\\=:", "");
  EXPECT_EQ(formatPath(special), R"(/\/\[\]\\=:[/\[\]\\\=:=])");
}

TEST(Join, PutsThePrefixInFront) {
  Path const path = *parsePath(R"(/route[prefix=10.0.0.0/8]/x\/y)");
  Path prefix = *parsePath(R"(openconfig:/vrf[name=a\]b])");
  prefix.target = "router1";
  Path const joined = *join(prefix, path);
  EXPECT_EQ(formatPath(joined), R"(openconfig:/vrf[name=a\]b]/route[prefix=10.0.0.0/8]/x\/y)");
  EXPECT_EQ(joined.target, "router1");
  EXPECT_EQ(joined.prefixSize(), 1U);
  EXPECT_EQ(formatPath(*join({}, *parsePath("o:/a"))), "o:/a");
  EXPECT_EQ(formatPath(*join(*parsePath("o:/"), *parsePath("/a"))), "o:/a");
  EXPECT_EQ(formatPath(*join({}, {})), "/");
}

TEST(Join, RefusesWhatContradicts) {
  auto const refused = [](Path const& prefix, Path const& path) {
    auto const joined = join(prefix, path);
    return joined ? "joined" : std::string(nameOf(joined.error().kind)) + ": " + joined.error().text;
  };
  Path targeted = *parsePath("/a");
  targeted.target = "router1";
  EXPECT_EQ(refused({}, targeted), "Conflict: target 'router1' stands in a path; it belongs in the prefix");
  EXPECT_EQ(refused(*parsePath("o:/"), *parsePath("p:/a")),
            "Conflict: origin 'p' stands in the path, and 'o' in the prefix; write it once");
  EXPECT_EQ(
      refused(*parsePath("/a"), *parsePath("p:/b")),
      "Conflict: the path has an origin, 'p', so the prefix can have no elements; move the origin into the prefix");
}

TEST(Path, ThatIsUnfinishedTellsWhatItEndsIn) {
  struct Unfinished {
    std::string_view text;
    UnfinishedPath::End end;
    std::size_t at;
    std::string_view before;
  };
  using enum UnfinishedPath::End;
  Unfinished const rows[] = {
      {"", ElementName, 0, "/"},
      {"a", ElementName, 0, "/"},
      {"/", ElementName, 1, "/"},
      {"/a", ElementName, 1, "/"},
      {"/a/", ElementName, 3, "/a"},
      {"/a/b", ElementName, 3, "/a"},
      {"o:", ElementName, 0, "/"},
      {"o:/", ElementName, 3, "o:/"},
      {"o:/a", ElementName, 3, "o:/"},
      {"/a[", KeyName, 3, "/a"},
      {"/a[k", KeyName, 3, "/a"},
      {"/a[k=v][l", KeyName, 8, "/a[k=v]"},
      {"/a[k=", Value, 5, "/a"},
      {"/a[k=v/w[", Value, 5, "/a"},
      {"/a[k=v][l=w", Value, 10, "/a[k=v]"},
      {"/a[k=]", AfterKey, 6, "/a[k=]"},
      {"/a[k=v][l=w]", AfterKey, 12, "/a[k=v][l=w]"},
      {"/a[k=v]/", ElementName, 8, "/a[k=v]"},
      // What is escaped ends nothing, and a backslash may still be typed on.
      {R"(/a\/b\[)", ElementName, 1, "/"},
      {R"(/a[k\=)", KeyName, 3, "/a"},
      {R"(/a[k=\])", Value, 5, "/a"},
      {R"(/a\)", ElementName, 1, "/"},
      {R"(/a[k=\)", Value, 5, "/a"},
  };
  for (auto const& [text, end, at, before] : rows) {
    auto const path = parseUnfinishedPath(text);
    ASSERT_TRUE(path) << text;
    EXPECT_EQ(path->end, end) << text;
    EXPECT_EQ(path->at, at) << text;
    EXPECT_EQ(formatPath(path->before), before) << text;
  }
  Row const refused[] = {
      {"//", "at 1: expected the name of an element; found '/'"},
      {"/a]", "at 2: expected '[' before the name of a key; found ']'"},
      {"/a[]", "at 3: expected the name of a key; found ']'"},
      {"/a[=", "at 3: expected the name of a key; found '='"},
      {"/a[k=v]b", "at 7: expected '/' or '[' after a key; found 'b'"},
      {R"(/a\b)", R"(at 3: expected one of \ / [ ] = : n r u U after '\'; found 'b')"},
      {":/", "at 0: expected an origin before ':'; found ':'"},
  };
  for (auto const& [text, error] : refused) {
    auto const path = parseUnfinishedPath(text);
    ASSERT_FALSE(path) << text;
    EXPECT_EQ(shown(std::unexpected(path.error())), error) << text;
  }
}

/** Bytes of the grammar come up often. */
std::string randomText(std::mt19937_64& random, std::size_t least) {
  constexpr std::string_view often = "\\/[]=:*a_\0\xff\""sv;
  std::string text;
  for (std::size_t left = least + random() % 6; left != 0; --left) {
    text += random() % 2 == 0 ? often[random() % often.size()] : static_cast<char>(random());
  }
  return text;
}

TEST(Path, ComesBackFromItsText) {
  char const* const given = std::getenv("PATH_SEED");
  std::uint64_t const seed = given == nullptr ? std::random_device()() : std::strtoull(given, nullptr, 10);
  SCOPED_TRACE("PATH_SEED=" + std::to_string(seed));
  RecordProperty("seed", std::to_string(seed));
  std::mt19937_64 random(seed);
  for (int round = 0; round != 100000; ++round) {
    std::deque<std::string> texts;
    auto const text = [&](std::size_t least) -> std::string_view {
      return texts.emplace_back(randomText(random, least));
    };
    Path path;
    for (std::size_t left = random() % 4; left != 0; --left) {
      path.add(text(1));
      for (std::size_t keys = random() % 3; keys != 0; --keys) {
        // No name twice in one element.
        path.addKey(texts.emplace_back(std::to_string(keys) + randomText(random, 0)), text(0));
      }
    }
    path.origin = random() % 4 == 0 ? "open config:1" : "";
    std::string const formatted = formatPath(path);
    auto const again = parsePath(formatted);
    ASSERT_TRUE(again) << formatted << ": " << again.error().text;
    ASSERT_EQ(*again, path) << formatted;
    ASSERT_EQ(formatPath(*again), formatted);
  }
}

TEST(Path, AnyLengthIsReadInOneGo) {
  std::string keys = "/a";
  std::string elements;
  std::string escapes = "/a[k=";
  for (std::size_t i = 0; i != many; ++i) {
    keys += "[k" + std::to_string(i) + "=v]";
    elements += "/a";
    escapes += "\\]";
  }
  escapes += "]";
  std::string const huge(hugeSize, 'v');
  std::string const hugeValue = "/a[k=" + huge + "]";
  EXPECT_EQ(parsePath(keys)->elements()[0].keyCount, many);
  EXPECT_EQ(parsePath(elements)->elements().size(), many);
  Path const escaped = *parsePath(escapes);
  EXPECT_EQ(escaped.keys(escaped.elements()[0])[0].value.size(), many);
  Path const path = *parsePath(hugeValue);
  EXPECT_EQ(path.keys(path.elements()[0])[0].value.size(), huge.size());
  EXPECT_EQ(parsePath("/" + huge)->elements()[0].name.size(), huge.size());
  EXPECT_EQ(shown(parsePath(keys + "[k7=v]")),
            "KeyTwice at " + std::to_string(keys.size() + 1) + ": key 'k7' is given twice");
}

TEST(Path, AnyLengthIsRefusedWhereItGoesWrong) {
  EXPECT_EQ(shown(parsePath("/a" + std::string(many, '['))), "at 3: expected the name of a key; found '['");
  EXPECT_EQ(shown(parsePath("/a" + std::string(many, ']'))), "at 2: expected '[' before the name of a key; found ']'");
  EXPECT_EQ(shown(parsePath("/a[k=" + std::string(many, '['))),
            "at " + std::to_string(many + 5) + ": expected ']' after the value; found the end");
  EXPECT_EQ(shown(parsePath("/a[k=" + std::string(many, '"'))),
            "at " + std::to_string(many + 5) + ": expected ']' after the value; found the end");
}

}  // namespace
}  // namespace Gnmi
