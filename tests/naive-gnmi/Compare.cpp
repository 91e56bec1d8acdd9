#include "tests/naive-gnmi/Compare.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

#include "gnmi/Message.h"
#include "gnmi/ModelValues.h"
#include "tests/naive-gnmi/Oracle.h"
#include "tests/naive-gnmi/World.h"
#include "tests/support/PathMessage.h"

namespace NaiveGnmi {

std::string_view const wanted[] = {"Malformed",
                                   "UnknownNode",
                                   "UnknownOrigin",
                                   "Ambiguous",
                                   "KeyMissing",
                                   "KeyUnknown",
                                   "KeyTwice",
                                   "ValueRefused",
                                   "WildcardRefused",
                                   "Conflict",
                                   "Unsupported",
                                   "BoundPassed",
                                   "text",
                                   "message",
                                   "strings",
                                   "prefix",
                                   "error in a prefix",
                                   "exact key",
                                   "filter",
                                   "every key",
                                   "several nodes",
                                   "key written",
                                   "key not written",
                                   "entry written",
                                   "entry not found",
                                   "part of a part",
                                   "a key of one value"};
std::size_t const wantedCount = std::size(wanted);

namespace {

using Drovan::ZynKeyDecoder;
using Gnmi::Mode;
using Message = Test::PathMessage;

// What may stand where a name or a value is expected.
constexpr std::array<std::string_view, 18> hostile = {"*",    "",        "...",   "zz", "a",
                                                      "__",   "a__b",    "m:a",   ":a", "key",
                                                      "\n\r", "[x=y]",   "a/b:c", "\\", std::string_view("re\0d", 4),
                                                      "\xff", "é\u2028", "=="};

// ---- requests

struct Request {
  Path path;
  /** A prefix is the front of the path, with an origin and a target of its own. */
  std::optional<Path> prefix;
  bool isText = false;
  bool isPrefixText = false;
  std::string text;
  std::string prefixText;
  std::vector<std::string> strings;
  Mode mode = Mode::Read;
  std::size_t stopAfter = 0;
};

class RequestMaker {
 public:
  RequestMaker(Choices& choices, World const& world) : choices_(choices), world_(world), isBent_(choices.percent(40)) {}

  Request made() {
    Request request;
    walk(request.path);
    if (choices_.percent(25)) {
      addWildcards(request.path);
    }
    if (choices_.percent(25)) {
      request.path.origin = origin();
    }
    if (choices_.percent(40)) {
      Path& prefix = request.prefix.emplace();
      auto& elements = request.path.elements;
      std::size_t const cut = choices_.below(elements.size() + 1);
      prefix.elements.assign(elements.begin(), elements.begin() + static_cast<std::ptrdiff_t>(cut));
      elements.erase(elements.begin(), elements.begin() + static_cast<std::ptrdiff_t>(cut));
      if (!choices_.percent(bent(20))) {
        std::swap(prefix.origin, request.path.origin);
      } else if (choices_.percent(50)) {
        prefix.origin = origin();
      }
      prefix.target = choices_.percent(30) ? "device" : "";
      request.isPrefixText = choices_.percent(40);
      request.prefixText = text(prefix);
    }
    if (choices_.percent(bent(4))) {
      request.path.target = "elsewhere";
    }
    request.isText = !choices_.percent(50);
    request.text = text(request.path);
    if (!request.isText && choices_.percent(15)) {
      for (Element const& element : request.path.elements) {
        std::string one = text({.elements = {element}});
        one.erase(0, 1);
        request.strings.push_back(choices_.percent(bent(10)) ? std::string(choices_.of(hostile)) : one);
      }
      if (!choices_.percent(20)) {
        request.path.elements.clear();
      }
    }
    constexpr std::array<Mode, 4> modes = {Mode::Read, Mode::Write, Mode::Delete, Mode::Notify};
    request.mode = choices_.percent(50) ? choices_.of(modes) : Mode::Read;
    request.stopAfter = choices_.percent(10) ? 1 + choices_.below(4) : 1000;
    return request;
  }

 private:
  std::size_t bent(std::size_t chance) const { return isBent_ ? chance * 2 : 0; }

  std::string origin() {
    constexpr std::array<std::string_view, 6> some = {"openconfig", "rfc7951", "n", "else", "x_cli", ""};
    return std::string(choices_.of(some));
  }

  std::string module() {
    constexpr std::array<std::string_view, 4> some = {"m", "n", "o", ""};
    return std::string(choices_.of(some));
  }

  std::string moduleOf(Zyn::ZynAttr attr) {
    auto const found = world_.modules.find(attr);
    return found == world_.modules.end() || choices_.percent(bent(5)) ? module() : found->second;
  }

  void walk(Path& path) {
    Zyn::ZynType type = world_.entities.front();
    for (std::size_t left = choices_.below(5); left != 0; --left) {
      auto const attrs = attrsOf(type);
      if (attrs.empty()) {
        if (isBent_ && choices_.percent(20)) {
          path.elements.push_back({.name = std::string(choices_.of(hostile))});
        }
        return;
      }
      Zyn::ZynAttr attr = choices_.of(attrs);
      for (int again = 0; again != 2 && !attr.isKeyed() && !choices_.percent(40); ++again) {
        attr = choices_.of(attrs);
      }
      Element element{.name = attr.name()};
      std::string const plain = element.name.substr(element.name.find(':') + 1);
      switch (choices_.below(4)) {
        case 1:
          element.name = plain;
          break;
        case 2:
          element.name = moduleOf(attr) + ":" + plain;
          break;
        default:
          break;
      }
      if (choices_.percent(bent(4))) {
        element.name = choices_.of(hostile);
      }
      addKeys(attr, element.keys);
      path.elements.push_back(element);
      type = attr.attrType();
    }
  }

  void addKeys(Zyn::ZynAttr attr, std::vector<Key>& keys) {
    bool const s4 = world_.options.useS4Encoding;
    if (attr.isKeyed() && !choices_.percent(12)) {
      char const* const by = attr.internalKeyName();
      std::string const name = by == nullptr ? "key" : by;
      if (Drovan::isScalarKeyType(attr.keyType(), s4)) {
        std::string const before =
            choices_.percent(10) ? moduleOf(attr.attrType().attr(std::string_view(name))) + ":" : "";
        keys.push_back({.name = before + name, .value = textOf(choices_, attr.keyType(), s4)});
      } else {
        addParts(attr.keyType(), attr.attrType(), "", choices_.percent(10) ? name + "__" : "", 0, keys);
      }
    } else if (choices_.percent(bent(3))) {
      keys.push_back({.name = "key", .value = "5"});
    }
    for (std::size_t bends = isBent_ ? choices_.below(3) : 0; bends != 0 && !keys.empty(); --bends) {
      std::size_t const at = choices_.below(keys.size());
      switch (choices_.below(8)) {
        case 0:
          break;
        case 1:
          keys.push_back(keys[at]);
          keys.back().name = choices_.percent(70) ? "m:" + keys[at].name : keys[at].name;
          break;
        case 2:
          keys[at].name = choices_.of(hostile);
          break;
        case 3:
          keys.push_back({.name = std::string(choices_.of(hostile)), .value = "5"});
          break;
        case 4:
          keys.push_back({.name = keys[at].name.substr(0, keys[at].name.find("__")), .value = "5"});
          break;
        case 5:
          keys[at].name += "__a";
          break;
        case 6:
          keys[at].value = choices_.of(hostile);
          break;
        default:
          keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(at));
          break;
      }
    }
    if (!keys.empty() && choices_.percent(30)) {
      std::ranges::rotate(keys, keys.begin() + static_cast<std::ptrdiff_t>(choices_.below(keys.size())));
    }
    // A message cannot have a key twice.
    if (!choices_.percent(50)) {
      for (std::size_t i = 0; i != keys.size(); ++i) {
        for (std::size_t j = keys.size(); j-- > i + 1;) {
          if (keys[i].name == keys[j].name) {
            keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(j));
          }
        }
      }
    }
  }

  void addParts(Zyn::ZynType type, Zyn::ZynType entry, std::string const& before, std::string const& named, int depth,
                std::vector<Key>& keys) {
    bool const s4 = world_.options.useS4Encoding;
    for (Zyn::ZynAttr const attr : attrsOf(type)) {
      if (keys.size() > 12 || choices_.percent(12)) {
        continue;
      }
      std::string const name = attr.name();
      std::string whole = keys.empty() || choices_.percent(30) ? named : "";
      whole.append(before).append(name);
      if (depth == 0 && choices_.percent(8)) {
        Zyn::ZynAttr const leaf = entry.attr(std::string_view(name));
        whole = moduleOf(choices_.percent(50) && !leaf.empty() ? leaf : attr) + ":" + name;
      }
      if (Drovan::isScalarKeyType(attr.attrType(), s4) || choices_.percent(bent(3))) {
        std::string const value = choices_.percent(6) ? "*" : textOf(choices_, attr.attrType(), s4);
        keys.push_back({.name = whole, .value = value});
      } else if (depth < 4 && !choices_.percent(25)) {
        addParts(attr.attrType(), entry, before + name + "__", named, depth + 1, keys);
      }
    }
  }

  void addWildcards(Path& path) {
    auto& elements = path.elements;
    for (std::size_t i = 0; i != elements.size(); ++i) {
      std::size_t const kind = choices_.below(5);
      if (kind == 0 || kind == 1) {
        elements[i].name = "*";
        if (!choices_.percent(40)) {
          elements[i].keys.clear();
        }
      } else if (kind == 2) {
        elements[i] = {.name = "..."};
      }
    }
    for (std::size_t left = choices_.below(3); left != 0; --left) {
      Element const added{.name = choices_.percent(30) ? "*" : "..."};
      elements.insert(elements.begin() + static_cast<std::ptrdiff_t>(choices_.below(elements.size() + 1)), added);
    }
    if (choices_.percent(bent(3)) && !elements.empty()) {
      elements[choices_.below(elements.size())].keys.push_back({.name = "key", .value = "5"});
    }
  }

  /** With more escapes than needed, and now and then a byte that is wrong. */
  std::string text(Path const& path) {
    std::string written = path.origin.empty() ? "" : path.origin + ":";
    for (Element const& element : path.elements) {
      written += "/" + escaped(element.name, "\\/[]");
      for (Key const& key : element.keys) {
        written += "[" + escaped(key.name, "\\[]=") + "=" + escaped(key.value, "\\]") + "]";
      }
    }
    if (choices_.percent(bent(10))) {
      constexpr std::string_view bytes("/[]=\\:*\n\0nu0", 12);
      std::size_t const at = choices_.below(written.size() + 1);
      char const byte = choices_.of(bytes);
      if (choices_.percent(50) || at == written.size()) {
        written.insert(at, 1, byte);
      } else {
        written[at] = byte;
      }
    }
    if (choices_.percent(bent(3))) {
      written.resize(choices_.below(written.size() + 1));
    }
    return written;
  }

  std::string escaped(std::string_view text, std::string_view special) {
    std::string written;
    for (char const byte : text) {
      bool const isSpecial = special.find(byte) != std::string_view::npos;
      if (isSpecial || (std::string_view("/[]=:\\").find(byte) != std::string_view::npos && choices_.percent(10))) {
        written += '\\';
        written += byte;
      } else if (byte >= '\0' && choices_.percent(1)) {
        std::array<char, 16> digits = {};
        std::snprintf(digits.data(), digits.size(), choices_.percent(50) ? "\\U%08x" : "\\u%04X",
                      static_cast<unsigned>(byte));
        written += digits.data();
      } else {
        written += byte;
      }
    }
    return written;
  }

  Choices& choices_;
  World const& world_;
  bool isBent_;
};

Message messageOf(Path const& path, std::vector<std::string> const& strings) {
  Message message;
  message.set_origin(path.origin);
  message.set_target(path.target);
  for (Element const& element : path.elements) {
    auto& elem = *message.add_elem();
    elem.set_name(element.name);
    for (Key const& key : element.keys) {
      elem.mutable_key()->emplace(key.name, key.value);
    }
  }
  for (std::string const& string : strings) {
    message.add_element(string);
  }
  return message;
}

/** What the message above holds: the first of several keys of one name. */
Path asInMessage(Path path) {
  for (Element& element : path.elements) {
    auto& keys = element.keys;
    for (std::size_t i = 0; i != keys.size(); ++i) {
      for (std::size_t j = keys.size(); j-- > i + 1;) {
        if (keys[j].name == keys[i].name) {
          keys.erase(keys.begin() + static_cast<std::ptrdiff_t>(j));
        }
      }
    }
  }
  return path;
}

// ---- both sides as text

std::string shown(Gnmi::Error const& error) {
  std::string text = std::string(Gnmi::nameOf(error.kind)) + ": " + error.text +
                     (error.inPrefix ? " (prefix " : " (path ") + std::to_string(error.element) + ", key '" +
                     error.key + "', byte " + (error.offset ? std::to_string(*error.offset) : "none") + ", unknown '" +
                     error.unknown + "'";
  for (std::string const& name : error.names) {
    text += ", '" + name + "'";
  }
  return text + ")";
}

std::string shown(Zyn::ZynAttr attr) { return std::string(attr.name()) + "#" + std::to_string(attr.index()); }

std::string shown(std::string const& origin, Gnmi::Node const& node, std::vector<Zyn::ZynAttr> const& nodes) {
  std::string text = origin + ":";
  for (Zyn::ZynAttr const attr : nodes) {
    text += "/" + shown(attr);
  }
  return text + " " + shown(node.attr) + " " + node.type.name() + " " + std::string(nameOf(node.kind));
}

std::string shown(Selected const& selected) {
  std::string text = " [" + std::to_string(selected.node) + " " + shown(selected.collection);
  if (selected.key) {
    return text + " exact " + Model::print(*selected.key) + "]";
  }
  std::vector<std::string> parts;
  for (auto const& [attr, value] : selected.filter) {
    parts.push_back(" " + shown(attr) + "=" + Model::print(*value));
  }
  std::ranges::sort(parts);
  for (std::string const& part : parts) {
    text += part;
  }
  return text + "]";
}

Selected asNaive(Gnmi::Selected const& real) {
  Selected selected{.node = real.node, .collection = real.collection};
  if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(&real.selection)) {
    selected.key = single->value;
  } else {
    for (auto const& [attr, value] : std::get<ZynKeyDecoder::Multiple>(real.selection).values) {
      selected.filter.emplace_back(attr, value);
    }
  }
  return selected;
}

std::string shown(Found const& found) {
  std::string text = shown(found.origin, found.node, found.nodes);
  for (Selected const& selected : found.selections) {
    text += shown(selected);
  }
  return text;
}

std::string shown(Gnmi::Resolved const& found) {
  std::string text = shown(found.origin, found.node, found.nodes);
  for (Gnmi::Selected const& selected : found.selections) {
    text += shown(asNaive(selected));
  }
  return text;
}

std::string shownKey(std::string_view name, std::string_view value, std::size_t nameAt, std::size_t valueAt) {
  return "[" + std::string(name) + " at " + std::to_string(nameAt) + "=" + std::string(value) + " at " +
         std::to_string(valueAt) + "]";
}

std::string shownHead(std::string_view origin, std::string_view target, std::size_t prefixSize, bool isFromText) {
  return std::string(origin) + ":" + std::string(target) + " prefix " + std::to_string(prefixSize) +
         (isFromText ? " text" : " no text");
}

std::string shown(Path const& path) {
  std::string text = shownHead(path.origin, path.target, path.prefixSize, path.isFromText);
  for (Element const& element : path.elements) {
    text += "/" + element.name + " at " + std::to_string(element.at);
    for (Key const& key : element.keys) {
      text += shownKey(key.name, key.value, key.nameAt, key.valueAt);
    }
  }
  return text;
}

std::string shown(Gnmi::Path const& path) {
  std::string text = shownHead(path.origin, path.target, path.prefixSize(), path.isFromText());
  for (Gnmi::Element const& element : path.elements()) {
    text += "/" + std::string(element.name) + " at " + std::to_string(element.at);
    for (Gnmi::Key const& key : path.keys(element)) {
      text += shownKey(key.name, key.value, key.nameAt, key.valueAt);
    }
  }
  return text;
}

template <typename Expected>
std::string shownEither(Expected const& either) {
  return either ? shown(*either) : shown(either.error());
}

/** Thrown where the two sides differ. */
struct Differs {
  std::string what;
};

void compare(std::string const& what, std::string const& real, std::string const& naive) {
  if (real != naive) {
    throw Differs{what + "\n  resolver: " + real + "\n  oracle:   " + naive};
  }
}

// ---- the comparison

class Comparison {
 public:
  Comparison(World const& world, Request const& request, Tally& tally)
      : world_(world),
        request_(request),
        tally_(tally),
        oracle_(world.entities.front(), world.options, world.bounds),
        resolver_(world.entities.front(), world.options) {}

  void run() {
    Message const prefixMessage = messageOf(request_.prefix.value_or(Path()), {});
    Message const message = messageOf(request_.path, request_.strings);
    auto real = request_.isText ? Gnmi::parsePath(request_.text) : Gnmi::readPath(message);
    auto naive = request_.isText ? readText(request_.text) : readMessage(asInMessage(request_.path), request_.strings);
    tally_[request_.isText ? "text" : request_.strings.empty() ? "message" : "strings"] += 1;
    comparePaths("reading", real, naive);
    if (naive && request_.prefix) {
      auto const realPrefix =
          request_.isPrefixText ? Gnmi::parsePath(request_.prefixText) : Gnmi::readPath(prefixMessage);
      auto const naivePrefix =
          request_.isPrefixText ? readText(request_.prefixText) : readMessage(asInMessage(*request_.prefix), {});
      comparePaths("reading a prefix", realPrefix, naivePrefix);
      if (!naivePrefix) {
        return;
      }
      tally_["prefix"] += 1;
      real = Gnmi::join(*realPrefix, *real);
      naive = joined(*naivePrefix, *naive);
      comparePaths("joining", real, naive);
    }
    if (naive) {
      compareResolved(*real, *naive);
      compareExpanded(*real, *naive);
    }
  }

 private:
  void comparePaths(std::string const& what, std::expected<Gnmi::Path, Gnmi::Error> const& real,
                    Result<Path> const& naive) {
    compare(what, shownEither(real), shownEither(naive));
    if (!naive) {
      count(naive.error());
      return;
    }
    compare("writing", Gnmi::formatPath(*real), writeText(*naive));
    compare("owning", shown(Gnmi::owned(*real)), shown(*naive));
    // What no text is written for: an origin with a byte that the grammar refuses, or a name that is empty.
    std::string const text = Gnmi::formatPath(*real);
    if (auto const again = Gnmi::parsePath(text)) {
      Gnmi::Path untargeted = *real;
      untargeted.target = "";
      compare("reading what was written", *again == untargeted ? "equal" : shown(*again), "equal");
    } else {
      compare("reading what was written", shown(again.error()), "a path");
    }
    Message message;
    Gnmi::writePath(*real, message);
    compare("writing a message", *Gnmi::readPath(message) == *real ? "equal" : shown(*Gnmi::readPath(message)),
            "equal");
  }

  void compareResolved(Gnmi::Path const& path, Path const& naivePath) {
    auto const naive = oracle_.resolve(naivePath, request_.mode);
    Gnmi::Resolved found;
    auto const done = resolver_.resolve(path, found, request_.mode);
    compare("resolving", done ? shown(found) : shown(done.error()), shownEither(naive));
    if (naive) {
      countSelections(*naive);
      compareBack(found, *naive);
    } else {
      count(naive.error());
    }
  }

  void compareExpanded(Gnmi::Path const& path, Path const& naivePath) {
    Oracle::Expanded naive;
    try {
      naive = oracle_.expand(naivePath, request_.mode, request_.stopAfter);
    } catch (TooMany const&) {
      tally_["too many ways"] += 1;
      return;
    }
    std::vector<Gnmi::Resolved> found;
    auto const visit = [&](Gnmi::Resolved const& one) {
      found.push_back(one);
      return found.size() != request_.stopAfter;
    };
    auto const done = resolver_.expand(path, visit, request_.mode, world_.bounds);
    // The oracle does not know how many nodes the resolver looks at.
    bool const isCutShort = !done && done.error().text.contains("nodes be looked at, which is the bound");
    if (isCutShort && found.size() <= naive.nodes.size()) {
      naive.nodes.resize(found.size());
      naive.error = std::nullopt;
      tally_["too many nodes looked at"] += 1;
    }
    for (std::size_t i = 0; i != std::max(found.size(), naive.nodes.size()); ++i) {
      compare("expanding, node " + std::to_string(i), i < found.size() ? shown(found[i]) : "nothing",
              i < naive.nodes.size() ? shown(naive.nodes[i]) : "nothing");
    }
    compare("expanding, the error", done || isCutShort ? "none" : shown(done.error()),
            naive.error ? shown(*naive.error) : "none");
    tally_["several nodes"] += naive.nodes.size() > 1 ? 1 : 0;
    if (naive.error) {
      count(*naive.error);
    }
    for (std::size_t i = 0; i != std::min<std::size_t>(found.size(), 3); ++i) {
      compareBack(found[i], naive.nodes[i]);
    }
  }

  /** From what was found back to paths, and from those again to what was found. */
  void compareBack(Gnmi::Resolved const& found, Found const& naiveFound) {
    auto const path = resolver_.canonical(found, values_);
    auto const naive = oracle_.canonical(naiveFound);
    compare("canonical path", shownEither(path), shownEither(naive));
    tally_[naive ? "key written" : "key not written"] += naive && naiveFound.selections.empty() ? 0 : 1;
    if (path) {
      requireSame("canonical path read again", *path, found.origin, found.nodes, naiveFound.selections);
      checkPayload(found, *path);
    }
    std::vector<Gnmi::Entry> entries;
    std::vector<std::pair<Zyn::ZynAttr, Model::ValuePtr>> naiveEntries;
    for (Selected const& selected : naiveFound.selections) {
      if (selected.key) {
        entries.push_back({.collection = selected.collection, .key = selected.key});
        naiveEntries.emplace_back(selected.collection, selected.key);
      }
    }
    if (entries.empty()) {
      return;
    }
    try {
      auto const naiveEntry = oracle_.pathOf(naiveEntries);
      auto const entry = resolver_.pathOf(entries, values_);
      compare("path of an entry", shownEither(entry), shownEither(naiveEntry));
      tally_[entry ? "entry written" : "entry not found"] += 1;
      if (entry) {
        compareEntries(*entry, naiveFound);
      }
    } catch (TooMany const&) {
      tally_["too many ways"] += 1;
    }
  }

  Gnmi::Resolved again(std::string const& what, Gnmi::Path const& path) const {
    std::string const text = Gnmi::formatPath(path);
    auto const read = Gnmi::parsePath(text);
    compare(what, read ? "read" : shown(read.error()) + " in " + text, "read");
    Gnmi::Resolved found;
    auto const done = resolver_.resolve(*read, found);
    compare(what, done ? "resolved" : shown(done.error()) + " in " + text, "resolved");
    return found;
  }

  void requireSame(std::string const& what, Gnmi::Path const& path, std::string const& origin,
                   std::vector<Zyn::ZynAttr> const& nodes, std::vector<Selected> const& selections) const {
    Gnmi::Resolved const found = again(what, path);
    std::string wantedText;
    std::string text;
    for (Selected const& selected : selections) {
      wantedText += shown(selected);
    }
    for (Gnmi::Selected const& selected : found.selections) {
      text += shown(asNaive(selected));
    }
    compare(what, shown(found.origin, {}, found.nodes) + text, shown(origin, {}, nodes) + wantedText);
  }

  void compareEntries(Gnmi::Path const& path, Found const& naiveFound) const {
    Gnmi::Resolved const found = again("path of an entry read again", path);
    std::string wantedText;
    std::string text;
    auto const add = [](std::string& to, Selected selected) {
      selected.node = 0;
      to += selected.key ? shown(selected) : "";
    };
    for (Selected const& selected : naiveFound.selections) {
      add(wantedText, selected);
    }
    for (Gnmi::Selected const& selected : found.selections) {
      add(text, asNaive(selected));
    }
    compare("path of an entry read again", text, wantedText);
  }

  /** The texts of an exact key agree with it. */
  void checkPayload(Gnmi::Resolved const& found, Gnmi::Path const& path) {
    for (Gnmi::Selected const& selected : found.selections) {
      if (!std::holds_alternative<ZynKeyDecoder::Single>(selected.selection)) {
        continue;
      }
      std::vector<Gnmi::PayloadLeaf> leaves;
      for (Gnmi::Key const& key : path.keys(path.elements()[selected.node])) {
        Zyn::ZynType const type = selected.collection.keyType();
        bool const isOne = Drovan::isScalarKeyType(type, world_.options.useS4Encoding);
        if (isOne || !type.attr(key.name).empty()) {
          leaves.emplace_back(key.name, key.value);
          tally_["a key of one value"] += isOne ? 1 : 0;
        } else {
          tally_["part of a part"] += 1;
        }
      }
      auto const done = resolver_.checkPayload(selected, leaves, values_);
      compare("payload of a key's own texts", done ? "agrees" : shown(done.error()), "agrees");
    }
  }

  void count(Gnmi::Error const& error) {
    tally_[Gnmi::nameOf(error.kind)] += 1;
    tally_["error in a prefix"] += error.inPrefix ? 1 : 0;
  }

  void countSelections(Found const& found) {
    for (Selected const& selected : found.selections) {
      tally_[selected.key ? "exact key" : selected.filter.empty() ? "every key" : "filter"] += 1;
    }
  }

  World const& world_;
  Request const& request_;
  Tally& tally_;
  Oracle oracle_;
  Gnmi::Resolver resolver_;
  Gnmi::ModelValues values_;
};

std::string shown(World const& world, Request const& request) {
  constexpr std::array<std::string_view, 4> modes = {"read", "write", "delete", "notify"};
  std::string text = "\n" + world.shown();
  if (request.prefix) {
    text += request.isPrefixText ? "prefix text " + request.prefixText : "prefix message " + shown(*request.prefix);
    text += "\n";
  }
  text += request.isText ? "text " + request.text : "message " + shown(request.path);
  for (std::string const& string : request.strings) {
    text += "\n  string " + string;
  }
  return text + "\nmode " + std::string(modes.at(static_cast<std::size_t>(request.mode))) + "\n";
}

}  // namespace

std::string difference(Choices& choices, Tally& tally) {
  std::optional<World> world;
  try {
    world.emplace(choices);
  } catch (Model::SchemaError const&) {
    tally["no schema"] += 1;
    return "";
  }
  Request const request = RequestMaker(choices, *world).made();
  try {
    Comparison(*world, request, tally).run();
  } catch (Differs const& differs) {
    return differs.what + shown(*world, request);
  }
  return "";
}

}  // namespace NaiveGnmi
