#include "zynkey/Requests.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <iterator>
#include <nlohmann/json.hpp>
#include <span>
#include <vector>

#include "text/Messages.h"
#include "text/Nearest.h"
#include "zynkey/UsageError.h"

namespace ZynKey {
namespace {

using Json = nlohmann::json;

enum Field : std::uint8_t { OpField, CollectionField, TypeField, S4Field, KeysField, PathField, RootField, fieldCount };

struct FieldRow {
  std::string_view name;
  std::string_view shape;
};

constexpr std::string_view textShape = "a text";
constexpr std::array<FieldRow, fieldCount> fields = {{{"op", textShape},
                                                      {"collection", textShape},
                                                      {"type", textShape},
                                                      {"s4", "true or false"},
                                                      {"keys", "a list of [path, value] pairs of texts"},
                                                      {"path", textShape},
                                                      {"root", textShape}}};

constexpr unsigned bit(Field field) { return 1U << field; }

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
    {"path", Op::Path, pathFields, pathFields | bit(S4Field) | bit(RootField)},
}};

/** "; did you mean ...", or all there are. */
template <typename Rows>
std::string suggestion(std::string_view name, Rows const& rows) {
  std::vector<std::string> names;
  std::ranges::transform(rows, std::back_inserter(names), [](auto const& row) { return std::string(row.name); });
  std::string const near = Text::didYouMean(name, names);
  return near.empty() ? Text::listNames(names) : near;
}

/** The text after the first `end`; all of it where there is none. */
std::string_view after(std::string_view text, std::string_view end) {
  std::size_t const at = text.find(end);
  return at == std::string_view::npos ? text : text.substr(at + end.size());
}

/** Takes the parser's events. Answering false ends the parse, with `error` set. */
class Reader final : public nlohmann::json_sax<Json> {
 public:
  std::array<std::string, fieldCount> texts;
  bool s4 = false;
  Keys keys;
  unsigned seen = 0;
  std::string error;

  bool null() override { return wrongShape(); }
  bool number_integer(number_integer_t) override { return wrongShape(); }
  bool number_unsigned(number_unsigned_t) override { return wrongShape(); }
  bool number_float(number_float_t, string_t const&) override { return wrongShape(); }
  bool binary(binary_t&) override { return wrongShape(); }

  bool boolean(bool value) override {
    if (place_ != InRequest || field_ != S4Field) {
      return wrongShape();
    }
    s4 = value;
    return true;
  }

  bool string(string_t& value) override {
    if (place_ == InRequest && fields[field_].shape == textShape) {
      texts[field_] = std::move(value);
      return true;
    }
    if (place_ != InPair || inPair_ == 2) {
      return wrongShape();
    }
    (inPair_ == 0 ? keys.back().first : keys.back().second) = std::move(value);
    ++inPair_;
    return true;
  }

  bool start_object(std::size_t) override {
    if (place_ != Outside) {
      return wrongShape();
    }
    place_ = InRequest;
    return true;
  }

  bool key(string_t& name) override {
    auto const* const row = std::ranges::find(fields, name, &FieldRow::name);
    if (row == fields.end()) {
      return fail("unknown field " + Text::inQuotes(name) + suggestion(name, fields));
    }
    field_ = static_cast<Field>(row - fields.begin());
    if ((seen & bit(field_)) != 0) {
      return fail("field " + Text::inQuotes(name) + " is given twice");
    }
    seen |= bit(field_);
    return true;
  }

  bool end_object() override { return true; }

  bool start_array(std::size_t) override {
    if (place_ == InRequest && field_ == KeysField) {
      place_ = InKeys;
      return true;
    }
    if (place_ != InKeys) {
      return wrongShape();
    }
    place_ = InPair;
    inPair_ = 0;
    keys.emplace_back();
    return true;
  }

  bool end_array() override {
    if (place_ == InPair && inPair_ != 2) {
      return wrongShape();
    }
    place_ = place_ == InPair ? InKeys : InRequest;
    return true;
  }

  bool parse_error(std::size_t position, std::string const&, nlohmann::detail::exception const& exception) override {
    // Without the parser's own prefixes, whose line number is always 1 here; the rest may quote a text of any length.
    std::string_view what = exception.what();
    what = after(what, "] ");
    what = what.starts_with("parse error at ") ? after(what, ": ") : what;
    constexpr std::size_t shown = 200;
    return fail("not JSON at byte " + std::to_string(position) + ": " + std::string(what.substr(0, shown)) +
                (what.size() > shown ? "..." : ""));
  }

 private:
  enum Place : std::uint8_t { Outside, InRequest, InKeys, InPair };

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
  unsigned inPair_ = 0;
};

std::string unfitFields(OpRow const& op, unsigned seen) {
  std::string text;
  for (unsigned field = 0; field < fieldCount; ++field) {
    unsigned const mask = 1U << field;
    bool const missing = (op.required & mask & ~seen) != 0;
    bool const foreign = (seen & mask & ~op.allowed) != 0;
    if (text.empty() && (missing || foreign)) {
      text = "op " + Text::inQuotes(op.name) + (missing ? " needs" : " takes no") + " field " +
             Text::inQuotes(fields[field].name);
    }
  }
  return text;
}

}  // namespace

std::expected<Request, std::string> readRequest(std::string_view json, Names& names) {
  Reader reader;
  if (!Json::sax_parse(json.data(), json.data() + json.size(), &reader)) {
    return std::unexpected(std::move(reader.error));
  }
  if ((reader.seen & bit(OpField)) == 0) {
    return std::unexpected("field 'op' is missing" + suggestion("", ops));
  }
  std::string const& name = reader.texts[OpField];
  auto const* const op = std::ranges::find(ops, name, &OpRow::name);
  if (op == ops.end()) {
    return std::unexpected("unknown op " + Text::inQuotes(name) + suggestion(name, ops));
  }
  if (std::string unfit = unfitFields(*op, reader.seen); !unfit.empty()) {
    return std::unexpected(std::move(unfit));
  }
  Request request{.op = op->op,
                  .collection = {},
                  .type = {},
                  .s4 = reader.s4,
                  .keys = std::move(reader.keys),
                  .path = std::move(reader.texts[PathField])};
  if (op->op == Op::Path) {
    auto const root = names.root(reader.texts[RootField]);
    if (!root) {
      return std::unexpected(root.error());
    }
    request.root = *root;
    request.moduleOf = names.moduleOf();
    request.pathOf = names.pathOf();
  } else if (op->op != Op::Split) {
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
  return request;
}

}  // namespace ZynKey
