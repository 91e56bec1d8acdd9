#include "yaml/Tree.h"

#include <fmt/core.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <istream>
#include <optional>
#include <streambuf>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/Messages.h"
#include "text/NameHash.h"

namespace Yaml {
namespace {

// Far beyond what a schema needs. Texts end up in messages, so they must not be endless.
constexpr std::size_t mostNested = 20;
constexpr std::size_t longestText = 1000;

// More than any legal text can hold: one text, 20 levels, and the portion that the parser reads ahead.
constexpr std::size_t mostOpenBrackets = 10000;
constexpr std::size_t portion = 4096;
constexpr std::size_t textBlock = 1 << 16;

/** Ends the reading of a file of which nothing more is worth telling. */
struct Stop {};

Place placeOf(YAML::Mark const& mark) {
  return {static_cast<std::uint32_t>(mark.line) + 1, static_cast<std::uint32_t>(mark.column) + 1};
}

/** The place behind `before`, the beginning of a text. */
Place placeAfter(std::string_view before) {
  auto const line = static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1;
  return {static_cast<std::uint32_t>(line), static_cast<std::uint32_t>(before.size() - (before.rfind('\n') + 1) + 1)};
}

/**
 * Gives the text to the parser, up to the bracket that nests too deeply: a list or map in brackets may be a key, so the
 * parser makes no event of it before it ends, and keeps 240 bytes for each bracket until then. Brackets in quotes and
 * comments are counted as well.
 */
class Feed final : public std::streambuf {
 public:
  Feed(std::string_view text, Report const& report) : text_(text), report_(report) {}

  /** The parser has understood what it read so far. */
  void onEvent() { open_ = 0; }

 protected:
  int_type underflow() override {
    std::string_view const part = text_.substr(given_, portion);
    if (part.empty()) {
      return traits_type::eof();
    }
    for (char const& byte : part) {
      if (byte == '[' || byte == '{') {
        if (++open_ > mostOpenBrackets) {
          report_(placeAfter({text_.data(), &byte}),
                  fmt::format("more than {} open brackets; lists and maps are nested at most {} deep", mostOpenBrackets,
                              mostNested));
          throw Stop();
        }
      } else if ((byte == ']' || byte == '}') && open_ != 0) {
        --open_;
      }
    }
    given_ += part.size();
    char* const begin = const_cast<char*>(part.data());  // a get area is never written to
    setg(begin, begin, begin + part.size());
    return traits_type::to_int_type(*begin);
  }

 private:
  std::string_view text_;
  Report const& report_;
  std::size_t given_ = 0;
  std::size_t open_ = 0;
};

/** Makes the tree from what the parser reads, event by event. */
class TreeBuilder final : public YAML::EventHandler {
 public:
  TreeBuilder(Feed& feed, Report const& report) : feed_(feed), report_(report) {}

  Tree take() { return std::move(tree_); }
  bool isEmpty() const { return !begun_; }

  void OnDocumentStart(YAML::Mark const& mark) override {
    if (begun_) {
      report_(placeOf(mark), "a second document; write one to a file");
      throw Stop();
    }
    begun_ = true;
  }
  void OnDocumentEnd() override {}

  void OnNull(YAML::Mark const& mark, YAML::anchor_t) override {
    // A value that was left out has no place of its own: the parser is at the next line already.
    bool const isValue = !open_.empty() && open_.back().key;
    report_(isValue ? open_.back().key->place : placeOf(mark),
            (isValue ? fmt::format("{} is a bare null", Text::inQuotes(open_.back().key->text)) : "a bare null") +
                "; write a value, or put quotes around a name like 'null' or '~'");
    add({.place = placeOf(mark)});
  }

  void OnAlias(YAML::Mark const& mark, YAML::anchor_t) override {
    report_(placeOf(mark), "an alias; write out what it stands for");
    add({.place = placeOf(mark)});
  }

  void OnScalar(YAML::Mark const& mark, std::string const& tag, YAML::anchor_t, std::string const& text) override {
    checkTag(mark, tag);
    Node node{.shape = Shape::Text, .place = placeOf(mark)};
    if (text.size() > longestText) {
      report_(node.place, fmt::format("a text of {} bytes; at most {} are taken", text.size(), longestText));
      node.shape = Shape::Bad;
    } else {
      node.text = keep(text);
    }
    add(std::move(node));
  }

  void OnSequenceStart(YAML::Mark const& mark, std::string const& tag, YAML::anchor_t,
                       YAML::EmitterStyle::value) override {
    begin(mark, tag, Shape::List);
  }
  void OnSequenceEnd() override { end(); }
  void OnMapStart(YAML::Mark const& mark, std::string const& tag, YAML::anchor_t, YAML::EmitterStyle::value) override {
    begin(mark, tag, Shape::Map);
  }
  void OnMapEnd() override { end(); }

 private:
  /** A list or map whose end has not come yet. */
  struct Open {
    Node node;
    /** In a map: the key, while its value is awaited. */
    std::optional<Node> key;
    /** In a map: the lines of the keys so far. */
    Text::NameMap<std::size_t> keys;
  };

  void checkTag(YAML::Mark const& mark, std::string const& tag) {
    // The parser's own tags for what has none: plain and quoted.
    if (!tag.empty() && tag != "?" && tag != "!") {
      report_(placeOf(mark), fmt::format("the tag {} has no meaning here; leave it out", Text::inQuotes(tag)));
    }
  }

  void begin(YAML::Mark const& mark, std::string const& tag, Shape shape) {
    checkTag(mark, tag);
    feed_.onEvent();
    if (open_.size() == mostNested) {
      report_(placeOf(mark), fmt::format("lists and maps nested more than {} deep; no schema needs that", mostNested));
      throw Stop();
    }
    open_.push_back({.node = {.shape = shape, .place = placeOf(mark)}, .key = {}, .keys = {}});
  }

  void end() {
    Node node = std::move(open_.back().node);
    open_.pop_back();
    node.items.reverse();
    add(std::move(node));
  }

  std::string_view keep(std::string_view text) {
    auto& texts = tree_.texts;
    if (texts.empty() || texts.back().capacity() - texts.back().size() < text.size()) {
      texts.emplace_back().reserve(textBlock);
    }
    std::size_t const at = texts.back().size();
    texts.back() += text;
    return std::string_view(texts.back()).substr(at);
  }

  /** Items are put in front and turned round at the end. */
  void add(Node node) {
    feed_.onEvent();
    if (open_.empty()) {
      tree_.root = std::move(node);
      return;
    }
    Open& parent = open_.back();
    if (parent.node.shape == Shape::List) {
      parent.node.items.push_front(std::move(node));
    } else if (!parent.key) {
      checkKey(parent, node);
      parent.key = std::move(node);
    } else {
      if (parent.key->shape == Shape::Text) {
        node.key = parent.key->text;
        node.keyPlace = parent.key->place;
        parent.node.items.push_front(std::move(node));
      }
      parent.key.reset();
    }
  }

  void checkKey(Open& parent, Node& key) {
    if (key.shape == Shape::List || key.shape == Shape::Map) {
      report_(key.place, "a list or map as a key; a key is a plain text");
      key.shape = Shape::Bad;
    }
    if (key.shape == Shape::Text) {
      if (auto const [first, isNew] = parent.keys.emplace(key.text, key.place.line); !isNew) {
        report_(key.place, fmt::format("the key {} is written twice, first on line {}; keep one",
                                       Text::inQuotes(key.text), first->second));
        key.shape = Shape::Bad;
      }
    }
  }

  Feed& feed_;
  Report const& report_;
  bool begun_ = false;
  Tree tree_;
  std::vector<Open> open_;
};

/** The parser takes some control bytes for the end of the text. */
bool hasControlByte(std::string_view text, Report const& report) {
  auto const isControl = [](char byte) {
    return 0 <= byte && byte < ' ' && byte != '\t' && byte != '\n' && byte != '\r';
  };
  auto const found = std::ranges::find_if(text, isControl);
  if (found == text.end()) {
    return false;
  }
  report(placeAfter({text.begin(), found}),
         fmt::format("not YAML: a control byte 0x{:02x}; a schema file is UTF-8 text", *found));
  return true;
}

}  // namespace

Tree readTree(std::string_view text, Report const& report) {
  if (hasControlByte(text, report)) {
    return {};
  }
  Feed feed(text, report);
  TreeBuilder tree(feed, report);
  try {
    std::istream stream(&feed);
    YAML::Parser parser(stream);
    while (parser.HandleNextDocument(tree)) {
    }
    if (tree.isEmpty()) {
      report({1, 1}, "the file is empty; write a map with 'module' and 'types'");
    }
  } catch (YAML::Exception const& e) {
    report(e.mark.is_null() ? Place{1, 1} : placeOf(e.mark), "not YAML: " + e.msg);
  } catch (Stop const&) {
  }
  return tree.take();
}

}  // namespace Yaml
