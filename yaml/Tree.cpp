#include "yaml/Tree.h"

#include <fmt/core.h>
#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/exceptions.h>
#include <yaml-cpp/parser.h>

#include <algorithm>
#include <optional>
#include <sstream>
#include <string>
#include <string_view>
#include <unordered_map>
#include <utility>
#include <vector>

namespace Yaml {
namespace {

// Far beyond what a schema needs. Texts end up in messages, so they must not be endless.
constexpr std::size_t kDeepest = 20;
constexpr std::size_t kLongestText = 1000;

/** Ends the reading of a file of which nothing more is worth telling. */
struct Stop {};

Place placeOf(YAML::Mark const& mark) {
  return {static_cast<std::size_t>(mark.line) + 1, static_cast<std::size_t>(mark.column) + 1};
}

/** Makes the tree from what the parser reads, event by event. */
class TreeBuilder final : public YAML::EventHandler {
 public:
  explicit TreeBuilder(Report const& report) : report_(report) {}

  Node takeRoot() { return std::move(root_); }
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
            (isValue ? fmt::format("'{}' is a bare null", open_.back().key->text) : "a bare null") +
                "; write a value, or put quotes around a name like 'null' or '~'");
    add({.place = placeOf(mark)});
  }

  void OnAlias(YAML::Mark const& mark, YAML::anchor_t) override {
    report_(placeOf(mark), "an alias; write out what it stands for");
    add({.place = placeOf(mark)});
  }

  void OnScalar(YAML::Mark const& mark, std::string const& tag, YAML::anchor_t, std::string const& text) override {
    checkTag(mark, tag);
    Node node{.shape = Shape::Text, .place = placeOf(mark), .text = text};
    if (text.size() > kLongestText) {
      report_(node.place, fmt::format("a text of {} bytes; at most {} are taken", text.size(), kLongestText));
      node.shape = Shape::Bad;
      node.text.clear();
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
    std::unordered_map<std::string, std::size_t> keys;
  };

  void checkTag(YAML::Mark const& mark, std::string const& tag) {
    // The parser's own tags for what has none: plain and quoted.
    if (!tag.empty() && tag != "?" && tag != "!") {
      report_(placeOf(mark), fmt::format("the tag '{}' has no meaning here; leave it out", tag.substr(0, 64)));
    }
  }

  void begin(YAML::Mark const& mark, std::string const& tag, Shape shape) {
    checkTag(mark, tag);
    if (open_.size() == kDeepest) {
      report_(placeOf(mark), fmt::format("lists and maps nested more than {} deep; no schema needs that", kDeepest));
      throw Stop();
    }
    open_.push_back({.node = {.shape = shape, .place = placeOf(mark)}, .key = {}, .keys = {}});
  }

  void end() {
    Node node = std::move(open_.back().node);
    open_.pop_back();
    add(std::move(node));
  }

  void add(Node node) {
    if (open_.empty()) {
      root_ = std::move(node);
      return;
    }
    Open& parent = open_.back();
    if (parent.node.shape == Shape::List) {
      parent.node.items.push_back(std::move(node));
    } else if (!parent.key) {
      checkKey(parent, node);
      parent.key = std::move(node);
    } else {
      if (parent.key->shape == Shape::Text) {
        node.key = std::move(parent.key->text);
        node.keyPlace = parent.key->place;
        parent.node.items.push_back(std::move(node));
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
        report_(key.place,
                fmt::format("the key '{}' is written twice, first on line {}; keep one", key.text, first->second));
        key.shape = Shape::Bad;
      }
    }
  }

  Report const& report_;
  bool begun_ = false;
  Node root_;
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
  std::string_view const before(text.begin(), found);
  report({static_cast<std::size_t>(std::ranges::count(before, '\n')) + 1, before.size() - (before.rfind('\n') + 1) + 1},
         fmt::format("not YAML: a control byte 0x{:02x}; a schema file is UTF-8 text", *found));
  return true;
}

}  // namespace

Node readTree(std::string_view text, Report const& report) {
  if (hasControlByte(text, report)) {
    return {};
  }
  TreeBuilder tree(report);
  try {
    std::istringstream stream{std::string(text)};
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
  return tree.takeRoot();
}

}  // namespace Yaml
