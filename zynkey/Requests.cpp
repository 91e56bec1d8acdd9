#include "zynkey/Requests.h"

#include <algorithm>
#include <array>
#include <bit>
#include <charconv>
#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>
#include <system_error>
#include <vector>

#include "text/Messages.h"

namespace ZynKey {
namespace {

using Json = nlohmann::json;

/** The fields of a request; those of a message, from `PathField` to `TargetField`, are the fields of a prefix as well.
 */
enum Field : std::uint8_t {
  OpField,
  CollectionField,
  TypeField,
  S4Field,
  KeysField,
  PathField,
  ElemField,
  ElementField,
  OriginField,
  TargetField,
  PrefixField,
  RootField,
  ModeField,
  PayloadField,
  MaxExpansionsField,
  MaxDepthField,
  FieldCount
};

struct FieldRow {
  std::string_view name;
  std::string_view shape;
};

constexpr std::string_view textShape = "a text";
constexpr std::string_view numberShape = "a number from 1";
constexpr std::string_view pairsShape = "a list of [path, value] pairs of texts";
constexpr std::array<FieldRow, FieldCount> fields = {
    {{"op", textShape},
     {"collection", textShape},
     {"type", textShape},
     {"s4", "true or false"},
     {"keys", pairsShape},
     {"path", textShape},
     {"elem", R"(a list of elements such as {"name": "vrf", "key": {"name": "red"}})"},
     {"element", "a list of texts"},
     {"origin", textShape},
     {"target", textShape},
     {"prefix", "an object with fields of a path"},
     {"root", textShape},
     {"mode", textShape},
     {"payload", pairsShape},
     {"max_expansions", numberShape},
     {"max_depth", numberShape}}};

constexpr unsigned bit(Field field) { return 1U << field; }
constexpr unsigned messageFields = bit(ElemField) | bit(ElementField) | bit(OriginField) | bit(TargetField);

struct OpRow {
  std::string_view name;
  Op op;
  unsigned required;
  unsigned allowed;
};

constexpr unsigned keyFields = bit(OpField) | bit(CollectionField) | bit(KeysField);
constexpr unsigned pathFields = bit(OpField) | bit(PathField);
constexpr std::array<OpRow, 5> ops = {{
    {"decode", Op::Decode, keyFields, keyFields | bit(S4Field)},
    {"scalar", Op::Scalar, keyFields, keyFields | bit(S4Field) | bit(TypeField)},
    {"filter", Op::Filter, keyFields, keyFields | bit(S4Field)},
    {"split", Op::Split, pathFields, pathFields},
    {"path", Op::Path, bit(OpField),
     pathFields | messageFields | bit(PrefixField) | bit(S4Field) | bit(RootField) | bit(ModeField) |
         bit(PayloadField) | bit(MaxExpansionsField) | bit(MaxDepthField)},
}};

struct ModeRow {
  std::string_view name;
  Gnmi::Mode mode;
};
constexpr std::array<ModeRow, 4> modes = {{{"read", Gnmi::Mode::Read},
                                           {"write", Gnmi::Mode::Write},
                                           {"delete", Gnmi::Mode::Delete},
                                           {"notify", Gnmi::Mode::Notify}}};

/** "; did you mean ...", or all there are. */
template <typename Rows>
std::string suggestionOf(std::string_view name, Rows const& rows) {
  std::vector<std::string> names;
  std::ranges::transform(rows, std::back_inserter(names), [](auto const& row) { return std::string(row.name); });
  return suggestion(name, names);
}

/** The text after the first `end`; all of it where there is none. */
std::string_view after(std::string_view text, std::string_view end) {
  std::size_t const at = text.find(end);
  return at == std::string_view::npos ? text : text.substr(at + end.size());
}

/** Takes the parser's events. Answering false ends the parse, with `error` set. */
class Reader final : public nlohmann::json_sax<Json> {
 public:
  Request request;
  /** What stands in the fields of shape text, of the request itself. */
  std::array<std::string_view, FieldCount> texts;
  unsigned seen = 0;
  std::string error;

  bool null() override { return wrongShape(); }
  bool number_integer(number_integer_t) override { return wrongShape(); }
  bool number_float(number_float_t, string_t const&) override { return wrongShape(); }
  bool binary(binary_t&) override { return wrongShape(); }

  bool number_unsigned(number_unsigned_t value) override {
    if (place_ != InFields || inPrefix_ || fields[field_].shape != numberShape || value == 0) {
      return wrongShape();
    }
    Gnmi::Bounds& bounds = request.path.bounds;
    (field_ == MaxDepthField ? bounds.depth : bounds.expansions) = value;
    return true;
  }

  bool boolean(bool value) override {
    if (place_ != InFields || inPrefix_ || field_ != S4Field) {
      return wrongShape();
    }
    request.s4 = value;
    return true;
  }

  bool string(string_t& text) override { return value(kept(text)); }
  bool key(string_t& text) override { return name(kept(text)); }

  /** A string that lives as long as the request. */
  bool value(std::string_view text) {
    switch (place_) {
      case InFields:
        return takeText(text);
      case InPair:
        if (inPair_ == 2) {
          return wrongShape();
        }
        (inPair_ == 0 ? pairs().back().first : pairs().back().second) = text;
        ++inPair_;
        return true;
      case InElementList:
        input().elements.push_back(text);
        return true;
      case InElem:
        if (elemField_ != NamePart) {
          return wrongShape();
        }
        input().elems.back().nameText = text;
        return true;
      case InKeyMap:
        input().elems.back().keys.back().second = text;
        return true;
      default:
        return wrongShape();
    }
  }

  /** The name of a member, which lives as long. */
  bool name(std::string_view text) {
    if (place_ == InKeyMap) {
      input().elems.back().keys.emplace_back(text, "");
      return true;
    }
    return place_ == InElem ? startElemField(text) : startField(text);
  }

  bool start_object(std::size_t) override {
    if (place_ == Outside) {
      return enter(InFields);
    }
    if (place_ == InFields && !inPrefix_ && field_ == PrefixField) {
      request.path.hasPrefix = true;
      inPrefix_ = true;
      return true;
    }
    if (place_ == InElemList) {
      input().elems.emplace_back();
      elemFieldsSeen_ = 0;
      return enter(InElem);
    }
    return place_ == InElem && elemField_ == KeyPart ? enter(InKeyMap) : wrongShape();
  }

  bool end_object() override {
    if (place_ == InFields && inPrefix_) {
      inPrefix_ = false;
      field_ = PrefixField;
      return true;
    }
    return leave();
  }

  bool start_array(std::size_t) override {
    if (place_ == InPairs) {
      inPair_ = 0;
      pairs().emplace_back();
      return enter(InPair);
    }
    if (place_ != InFields) {
      return wrongShape();
    }
    if (fields[field_].shape == pairsShape) {
      // Nearly every key has at most so many parts.
      pairs().reserve(8);
      return enter(InPairs);
    }
    return field_ == ElemField ? enter(InElemList) : field_ == ElementField ? enter(InElementList) : wrongShape();
  }

  bool end_array() override { return place_ == InPair && inPair_ != 2 ? wrongShape() : leave(); }

  bool parse_error(std::size_t position, std::string const&, nlohmann::detail::exception const& exception) override {
    return fail("not JSON at byte " + std::to_string(position) + ": " + parserReason(exception.what()));
  }

 private:
  enum Place : std::uint8_t { Outside, InFields, InPairs, InPair, InElemList, InElem, InKeyMap, InElementList };
  enum ElemPart : std::uint8_t { NoPart, NamePart, KeyPart };

  std::string_view kept(string_t& text) { return request.owned.emplace_front(std::move(text)); }

  bool enter(Place place) {
    place_ = place;
    return true;
  }
  bool leave() {
    constexpr std::array outer = {Outside, Outside, InFields, InPairs, InFields, InElemList, InElem, InFields};
    place_ = outer[place_];
    return true;
  }

  Keys& pairs() { return field_ == PayloadField ? request.path.payload : request.keys; }
  /** The path that a field belongs to: that of the request, or that of its prefix. */
  PathInput& input() { return inPrefix_ ? request.path.prefix : request.path.path; }

  bool startField(std::string_view name) {
    auto const* const row = std::ranges::find(fields, name, &FieldRow::name);
    if (row == fields.end()) {
      return fail("unknown field " + Text::inQuotes(name) + suggestionOf(name, fields));
    }
    field_ = static_cast<Field>(row - fields.begin());
    if (inPrefix_ && ((messageFields | bit(PathField)) & bit(field_)) == 0) {
      return fail("field 'prefix' takes no field " + Text::inQuotes(name));
    }
    unsigned& known = inPrefix_ ? seenInPrefix_ : seen;
    if ((known & bit(field_)) != 0) {
      return fail("field " + Text::inQuotes(name) + " is given twice");
    }
    known |= bit(field_);
    if ((known & bit(PathField)) != 0 && (known & messageFields) != 0) {
      return fail("a path is given as 'path', or in the fields of a message; not as both");
    }
    return true;
  }

  bool startElemField(std::string_view name) {
    elemField_ = name == "name" ? NamePart : name == "key" ? KeyPart : NoPart;
    if (elemField_ == NoPart) {
      return fail("unknown field " + Text::inQuotes(name) + " of an element; there are 'name', 'key'");
    }
    if ((elemFieldsSeen_ & elemField_) != 0) {
      return fail("field " + Text::inQuotes(name) + " is given twice");
    }
    elemFieldsSeen_ |= elemField_;
    return true;
  }

  bool takeText(std::string_view text) {
    if (fields[field_].shape != textShape) {
      return wrongShape();
    }
    PathInput& to = input();
    switch (field_) {
      case PathField:
        to.isText = true;
        to.text = text;
        break;
      case OriginField:
        to.originText = text;
        break;
      case TargetField:
        to.targetText = text;
        break;
      default:
        texts[field_] = text;
    }
    return true;
  }

  bool fail(std::string text) {
    error = std::move(text);
    return false;
  }

  bool wrongShape() {
    return fail(place_ == Outside
                    ? R"(a request is an object such as {"op": "split", "path": "a__b"})"
                    : "field " + Text::inQuotes(fields[field_].name) + " must be " + std::string(fields[field_].shape));
  }

  Place place_ = Outside;
  Field field_ = OpField;
  bool inPrefix_ = false;
  unsigned seenInPrefix_ = 0;
  ElemPart elemField_ = NoPart;
  unsigned elemFieldsSeen_ = 0;
  unsigned inPair_ = 0;
};

/**
 * Shows a `Reader` the events of the usual requests without the parser: their texts are ASCII without escapes, their
 * numbers whole. It takes nothing that the parser refuses, and leaves all else to it: what is wrong is worded there.
 */
class Scanner {
 public:
  Scanner(std::string_view json, Reader& reader) : at_(json.data()), end_(at_ + json.size()), reader_(reader) {}

  /** False where the parser must read the request, with another reader. */
  bool scan() {
    bool const isRead = value();
    skipBlanks();
    return isRead && at_ == end_;
  }

 private:
  void skipBlanks() {
    while (at_ != end_ && (*at_ == ' ' || *at_ == '\t' || *at_ == '\r' || *at_ == '\n')) {
      ++at_;
    }
  }

  /** Blanks before it as well. */
  bool skip(char wanted) {
    skipBlanks();
    bool const isThere = at_ != end_ && *at_ == wanted;
    at_ += isThere ? 1 : 0;
    return isThere;
  }

  bool take(std::string_view wanted) {
    bool const isThere = std::string_view(at_, end_).starts_with(wanted);
    at_ += isThere ? wanted.size() : 0;
    return isThere;
  }

  // As deep as the reader lets it.
  bool value() {
    if (skip('"')) {
      return text() && reader_.value(text_);
    }
    if (skip('[')) {
      return reader_.start_array(0) && list(']', [this] { return value(); }) && reader_.end_array();
    }
    if (skip('{')) {
      auto const member = [this] { return skip('"') && text() && reader_.name(text_) && skip(':') && value(); };
      return reader_.start_object(0) && list('}', member) && reader_.end_object();
    }
    return take("true") ? reader_.boolean(true) : take("false") ? reader_.boolean(false) : number();
  }

  template <typename Item>
  bool list(char end, Item item) {
    if (skip(end)) {
      return true;
    }
    while (item()) {
      if (!skip(',')) {
        return skip(end);
      }
    }
    return false;
  }

  /** Behind the quote that it begins with. */
  bool text() {
    char const* const begin = at_;
    while (at_ != end_ && ' ' <= *at_ && *at_ <= '~' && *at_ != '"' && *at_ != '\\') {
      ++at_;
    }
    text_ = {begin, at_};
    return take("\"");
  }

  /** No number that fits begins with a zero. */
  bool number() {
    std::uint64_t number = 0;
    auto const [end, error] = std::from_chars(at_, end_, number);
    if (error != std::errc() || *at_ == '0') {
      return false;
    }
    at_ = end;
    return reader_.number_unsigned(number);
  }

  char const* at_;
  char const* end_;
  Reader& reader_;
  std::string_view text_;
};

/** What is wrong with the first field that is missing, or that the operation does not take; empty where all fit. */
std::string unfitFields(OpRow const& op, unsigned seen) {
  unsigned const missing = op.required & ~seen;
  unsigned const unfit = missing | (seen & ~op.allowed);
  if (unfit == 0) {
    return {};
  }
  auto const first = static_cast<std::size_t>(std::countr_zero(unfit));
  return "op " + Text::inQuotes(op.name) + ((missing >> first & 1U) != 0 ? " needs" : " takes no") + " field " +
         Text::inQuotes(fields[first].name);
}

std::expected<void, std::string> readPathJob(Reader& reader, Names& names) {
  PathRequest& path = reader.request.path;
  if ((reader.seen & (bit(PathField) | messageFields)) == 0) {
    return std::unexpected("op 'path' needs field 'path', or 'elem'");
  }
  if ((reader.seen & bit(ModeField)) != 0) {
    auto const mode = modeOf(reader.texts[ModeField]);
    if (!mode) {
      return std::unexpected(mode.error());
    }
    path.mode = *mode;
  }
  auto const root = names.root(reader.texts[RootField]);
  if (!root) {
    return std::unexpected(root.error());
  }
  path.s4 = reader.request.s4;
  path.resolver = &names.resolver(*root, path.s4);
  return {};
}

/** What a reader has taken in whole. */
std::expected<Request, std::string> requestOf(Reader& reader, Names& names) {
  if ((reader.seen & bit(OpField)) == 0) {
    return std::unexpected("field 'op' is missing" + suggestionOf("", ops));
  }
  std::string_view const name = reader.texts[OpField];
  auto const* const op = std::ranges::find(ops, name, &OpRow::name);
  if (op == ops.end()) {
    return std::unexpected("unknown op " + Text::inQuotes(name) + suggestionOf(name, ops));
  }
  if (std::string unfit = unfitFields(*op, reader.seen); !unfit.empty()) {
    return std::unexpected(std::move(unfit));
  }
  Request& request = reader.request;
  request.op = op->op;
  if (op->op == Op::Split) {
    request.text = request.path.path.text;
  } else if (op->op == Op::Path) {
    if (auto unfit = readPathJob(reader, names); !unfit) {
      return std::unexpected(std::move(unfit).error());
    }
  } else {
    auto const collection = names.collection(reader.texts[CollectionField]);
    if (!collection) {
      return std::unexpected(collection.error());
    }
    request.collection = *collection;
  }
  if ((reader.seen & bit(TypeField)) != 0) {
    auto const type = names.type(reader.texts[TypeField]);
    if (!type) {
      return std::unexpected(type.error());
    }
    request.type = *type;
  }
  return std::move(request);
}

}  // namespace

std::string parserReason(std::string_view what) {
  // Its line number is always 1 here, and what it quotes may be of any length.
  what = after(what, "] ");
  what = what.starts_with("parse error at ") ? after(what, ": ") : what;
  constexpr std::size_t shown = 200;
  return std::string(what.substr(0, shown)) + (what.size() > shown ? "..." : "");
}

std::expected<Gnmi::Mode, std::string> modeOf(std::string_view name) {
  auto const* const mode = std::ranges::find(modes, name, &ModeRow::name);
  if (mode == modes.end()) {
    return std::unexpected("unknown mode " + Text::inQuotes(name) + suggestionOf(name, modes));
  }
  return mode->mode;
}

std::expected<Request, std::string> readRequest(std::string_view json, Names& names) {
  Reader reader;
  return Scanner(json, reader).scan() ? requestOf(reader, names) : parseRequest(json, names);
}

std::expected<Request, std::string> parseRequest(std::string_view json, Names& names) {
  Reader reader;
  if (!Json::sax_parse(json.data(), json.data() + json.size(), &reader)) {
    return std::unexpected(std::move(reader.error));
  }
  return requestOf(reader, names);
}

}  // namespace ZynKey
