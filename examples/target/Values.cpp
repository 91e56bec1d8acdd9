#include "Values.h"

#include <absl/strings/escaping.h>
#include <absl/strings/numbers.h>
#include <fmt/core.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <utility>

#include "Status.h"

namespace Target {
namespace {

using Json = nlohmann::ordered_json;

/** How deep JSON may nest; no schema is as deep. */
constexpr int deepest = 100;

[[noreturn]] void refuse(std::string text) { Target::refuse(grpc::StatusCode::INVALID_ARGUMENT, std::move(text)); }

/** What a scalar came as: one bit each. */
enum Source : unsigned { Text = 1, Integer = 2, Real = 4, Boolean = 8, Null = 16, Bytes = 32 };

struct Scalar {
  Source source;
  std::string text;
};

enum class Dialect : std::uint8_t { JsonIetf, Json, Proto };

/** What a leaf of a form takes in each dialect, and how to say so. */
struct FormRow {
  Form form;
  std::array<unsigned, 3> takes;
  std::array<std::string_view, 3> names;
};

constexpr std::array formRows{
    FormRow{Form::Boolean, {Boolean, Boolean, Boolean}, {"true or false", "true or false", "bool_val"}},
    FormRow{Form::Number, {Integer, Integer, Integer}, {"a number", "a number", "int_val or uint_val"}},
    FormRow{Form::Number64,
            {Text, Text | Integer, Integer},
            {"a number as a string", "a number, also as a string", "int_val or uint_val"}},
    FormRow{Form::Decimal,
            {Text, Text | Integer | Real, Real},
            {"a number as a string", "a number, also as a string", "double_val"}},
    FormRow{Form::Empty, {Null, Null, Boolean}, {"[null]", "[null]", "bool_val that is true"}},
    FormRow{Form::Binary, {Text, Text, Bytes}, {"base64 as a string", "base64 as a string", "bytes_val"}},
    FormRow{Form::Text, {Text, Text, Text}, {"a string", "a string", "string_val"}},
    FormRow{Form::Any,
            {Text | Integer | Boolean, Text | Integer | Real | Boolean, Text | Integer | Real | Boolean | Bytes},
            {"a string, a number, true or false", "a string, a number, true or false", "a scalar"}},
};

static_assert(formRows.size() == static_cast<std::size_t>(Form::Any) + 1);

/** With the fewest digits that read back the same, and without an exponent. */
std::string decimal(double number) {
  std::array<char, 400> digits{};
  auto const end = std::to_chars(digits.begin(), digits.end(), number, std::chars_format::fixed).ptr;
  return {digits.begin(), end};
}

Value readScalar(DataNode const& leaf, Scalar const& scalar, Dialect dialect) {
  FormRow const& row = formRows[static_cast<std::size_t>(leaf.form)];
  auto const which = static_cast<std::size_t>(dialect);
  bool const isEmpty = leaf.form == Form::Empty && scalar.source == Boolean;
  if ((row.takes[which] & scalar.source) == 0 || (isEmpty && scalar.text != "true")) {
    refuse(fmt::format("leaf '{}' takes {}", leaf.name, row.names[which]));
  }
  try {
    return readText(leaf.type(), isEmpty ? "" : scalar.text);
  } catch (Refused& refused) {
    refused.text = fmt::format("leaf '{}': {}", leaf.name, refused.text);
    throw;
  }
}

std::optional<Scalar> scalarOf(Json const& json) {
  switch (json.type()) {
    case Json::value_t::string:
      return Scalar{Text, json.get<std::string>()};
    case Json::value_t::boolean:
      return Scalar{Boolean, json.get<bool>() ? "true" : "false"};
    case Json::value_t::number_integer:
      return Scalar{Integer, std::to_string(json.get<std::int64_t>())};
    case Json::value_t::number_unsigned:
      return Scalar{Integer, std::to_string(json.get<std::uint64_t>())};
    case Json::value_t::number_float:
      return Scalar{Real, decimal(json.get<double>())};
    case Json::value_t::array:
      return json.size() == 1 && json[0].is_null() ? std::optional(Scalar{Null, ""}) : std::nullopt;
    default:
      return std::nullopt;
  }
}

std::optional<Scalar> scalarOf(gnmi::TypedValue const& value) {
  switch (value.value_case()) {
    case gnmi::TypedValue::kStringVal:
      return Scalar{Text, value.string_val()};
    case gnmi::TypedValue::kIntVal:
      return Scalar{Integer, std::to_string(value.int_val())};
    case gnmi::TypedValue::kUintVal:
      return Scalar{Integer, std::to_string(value.uint_val())};
    case gnmi::TypedValue::kBoolVal:
      return Scalar{Boolean, value.bool_val() ? "true" : "false"};
    case gnmi::TypedValue::kBytesVal:
      return Scalar{Bytes, absl::Base64Escape(value.bytes_val())};
    case gnmi::TypedValue::kDoubleVal:
      return Scalar{Real, decimal(value.double_val())};
    default:
      return std::nullopt;
  }
}

/** Of a leaf one, of a leaf-list any number; `items` are JSON or typed values. */
template <typename Items>
std::vector<Value> readLeafList(DataNode const& node, Items const& items, Dialect dialect) {
  std::vector<Value> values;
  std::set<Model::Key> seen;
  for (auto const& item : items) {
    auto const scalar = scalarOf(item);
    if (!scalar) {
      refuse(fmt::format("leaf-list '{}' takes an array of scalars", node.name));
    }
    values.push_back(readScalar(node, *scalar, dialect));
    // Configuration is a set of values (RFC 7950, 7.7).
    if (!seen.insert(values.back()).second) {
      refuse(fmt::format("leaf-list '{}' has '{}' twice", node.name, scalar->text));
    }
  }
  return values;
}

/** The tree that a JSON text means: what is wrong is said with the names on the way. */
class JsonReader {
 public:
  explicit JsonReader(Dialect dialect) : dialect_(dialect) {}

  Held read(DataNode const& node, Json const& json) const {
    switch (node.kind) {
      case Gnmi::NodeKind::Leaf: {
        auto const scalar = scalarOf(json);
        if (!scalar) {
          refuse(fmt::format("leaf '{}' takes {}", node.name,
                             formRows[static_cast<std::size_t>(node.form)].names[static_cast<std::size_t>(dialect_)]));
        }
        return std::vector{readScalar(node, *scalar, dialect_)};
      }
      case Gnmi::NodeKind::LeafList:
        if (!json.is_array()) {
          refuse(fmt::format("leaf-list '{}' takes an array", node.name));
        }
        return readLeafList(node, json, dialect_);
      case Gnmi::NodeKind::List:
        return readList(node, json);
      default:
        return readEntry(node, json);
    }
  }

  EntryPtr readEntry(DataNode const& node, Json const& json) const {
    if (!json.is_object()) {
      refuse(fmt::format("'{}' takes an object", node.name));
    }
    auto entry = std::make_shared<Entry>();
    for (auto const& [name, value] : json.items()) {
      DataNode const* const child = node.child(name);
      if (child == nullptr) {
        refuse(fmt::format("'{}' has no member '{}'", node.name, name));
      }
      if (child->isState) {
        refuse(fmt::format("'{}' is state: it cannot be set", name));
      }
      if (entry->find(*child) != nullptr) {
        refuse(fmt::format("'{}' has member '{}' twice", node.name, child->name));
      }
      entry->at(*child) = read(*child, value);
    }
    return entry;
  }

 private:
  Entries readList(DataNode const& list, Json const& json) const {
    if (!json.is_array()) {
      refuse(fmt::format("list '{}' takes an array", list.name));
    }
    Entries entries;
    for (Json const& item : json) {
      EntryPtr const payload = readEntry(list, item);
      Velko::Ptr<Zyn::GenericIf> const key = keyOf(list, *payload);
      if (entries.find(*key) != nullptr) {
        refuse(fmt::format("list '{}' has the entry {} twice", list.name, Model::print(*key)));
      }
      entries.at(key).children = payload->children;
    }
    return entries;
  }

  /** From the leaves of an entry: its key, as the decoder builds it. */
  static Velko::Ptr<Zyn::GenericIf> keyOf(DataNode const& list, Entry const& entry) {
    Drovan::ZynKeyDecoder const decoder(list.attr, false);
    Drovan::ZynKeyDecoder::KeyElemNode key(list.attr.keyType(), false);
    Drovan::ZynKeyDecoder::PathElements const whole;
    for (DataNode const* const leaf : list.keys) {
      auto const* const held = entry.find(*leaf);
      if (held == nullptr) {
        refuse(fmt::format("an entry of '{}' lacks its key '{}'", list.name, leaf->name));
      }
      std::string const text = Model::gnmiText(*std::get<std::vector<Value>>(*held).front()).value_or("");
      if (text == "*") {
        refuse(fmt::format("key '{}' of '{}' is '*', which in a path is every key", leaf->name, list.name));
      }
      auto const done = list.keys.size() == 1 ? key.insertPathSuffix(whole.begin(), whole.end(), Velko::String(text))
                                              : decoder.processKeyPath(key, leaf->attr.name(), text);
      if (!done) {
        refuse(std::string(done.error().view()));
      }
    }
    if (auto const done = key.instantiate(); !done) {
      refuse(std::string(done.error().view()));
    }
    return key.value;
  }

  Dialect dialect_;
};

/** Refused before it is parsed, since each bracket would take a hundred bytes. */
bool isTooDeep(std::string_view text) {
  int depth = 0;
  bool inString = false;
  for (std::size_t i = 0; i < text.size(); ++i) {
    char const c = text[i];
    if (inString) {
      i += c == '\\' ? 1 : 0;
      inString = c != '"';
    } else if (c == '"') {
      inString = true;
    } else if (c == '[' || c == '{') {
      if (++depth > deepest) {
        return true;
      }
    } else if (c == ']' || c == '}') {
      --depth;
    }
  }
  return false;
}

Json parse(std::string const& text) {
  if (isTooDeep(text)) {
    refuse(fmt::format("the JSON nests more than {} levels", deepest));
  }
  try {
    return Json::parse(text);
  } catch (Json::exception const& error) {
    refuse(fmt::format("no JSON: {}", error.what()));
  }
}

/** What a union or wrapper holds, down to the scalar. */
Value scalarIn(Value value) {
  for (;;) {
    Zyn::ZynType const type = Model::typeOf(*value);
    Value inner;
    if (type.isUnionType()) {
      for (Zyn::AttributeQIterator it(type); it && !inner; ++it) {
        inner = Model::attribute(*value, *it);
      }
    }
    if (!inner) {
      return value;
    }
    value = std::move(inner);
  }
}

Json toJson(DataNode const& leaf, Value const& value) {
  return leaf.form == Form::Empty ? Json::array({nullptr}) : Model::toJson(*scalarIn(value));
}

Json toJson(DataNode const& leaf, std::span<Value const> values) {
  if (leaf.kind == Gnmi::NodeKind::Leaf) {
    return toJson(leaf, values.front());
  }
  Json array = Json::array();
  std::ranges::for_each(values, [&](Value const& value) { array.push_back(toJson(leaf, value)); });
  return array;
}

void toMessage(DataNode const& leaf, Value const& value, gnmi::TypedValue& into) {
  Value const scalar = scalarIn(value);
  std::string const text = Model::gnmiText(*scalar).value_or("");
  if (leaf.form == Form::Empty) {
    into.set_bool_val(true);
    return;
  }
  if (double number = 0; leaf.form == Form::Decimal && absl::SimpleAtod(text, &number)) {
    into.set_double_val(number);
    return;
  }
  if (leaf.form == Form::Binary) {
    absl::Base64Unescape(text, into.mutable_bytes_val());
    return;
  }
  switch (Model::kindOf(Model::typeOf(*scalar))) {
    case Model::Kind::Bool:
      into.set_bool_val(Model::as<bool>(*scalar));
      break;
    case Model::Kind::S8:
    case Model::Kind::S16:
    case Model::Kind::S32:
    case Model::Kind::S64:
      into.set_int_val(Model::as<std::int64_t>(*scalar));
      break;
    case Model::Kind::U8:
    case Model::Kind::U16:
    case Model::Kind::U32:
    case Model::Kind::U64:
      into.set_uint_val(Model::as<std::uint64_t>(*scalar));
      break;
    default:
      into.set_string_val(text);
  }
}

void setJson(Json const& json, gnmi::Encoding encoding, gnmi::TypedValue& into) {
  // YANG strings are UTF-8, but their bytes are not checked.
  std::string text = json.dump(-1, ' ', false, Json::error_handler_t::replace);
  encoding == gnmi::JSON_IETF ? into.set_json_ietf_val(std::move(text)) : into.set_json_val(std::move(text));
}

Json toJson(DataNode const& node, Entry const& entry, Filter const& filter, bool isIetf) {
  Json object = Json::object();
  bool holdsMore = false;
  for (DataNode const* const child : node.children) {
    std::string const name = isIetf && child->isQualified ? child->module + ":" + child->name : child->plainName();
    if (child->isLeaf()) {
      auto const values = entry.values(*child);
      // The keys of an entry tell what the rest belongs to.
      if (!values.empty() && (filter.takes(*child) || child->isKey)) {
        object[name] = toJson(*child, values);
        holdsMore = holdsMore || filter.takes(*child);
      }
    } else if (child->kind == Gnmi::NodeKind::Container) {
      Entry const* const below = entry.container(*child);
      Json inner = below == nullptr ? Json() : toJson(*child, *below, filter, isIetf);
      if (!inner.empty() || (below != nullptr && child->isPresence && filter.takes(*child))) {
        object[name] = std::move(inner);
        holdsMore = true;
      }
    } else {
      Json array = Json::array();
      entry.list(*child).visit([&](Entry const& below) {
        if (Json inner = toJson(*child, below, filter, isIetf); !inner.empty()) {
          array.push_back(std::move(inner));
        }
      });
      if (!array.empty()) {
        object[name] = std::move(array);
        holdsMore = true;
      }
    }
  }
  return holdsMore ? object : Json::object();
}

}  // namespace

Held readPayload(DataNode const& node, gnmi::TypedValue const& value, bool isWholeList) {
  bool const isIetf = value.has_json_ietf_val();
  if (isIetf || value.has_json_val()) {
    Json const json = parse(isIetf ? value.json_ietf_val() : value.json_val());
    JsonReader const reader(isIetf ? Dialect::JsonIetf : Dialect::Json);
    return node.kind == Gnmi::NodeKind::List && !isWholeList ? Held(reader.readEntry(node, json))
                                                             : reader.read(node, json);
  }
  if (value.value_case() == gnmi::TypedValue::VALUE_NOT_SET) {
    refuse("there is no value");
  }
  auto const scalar = scalarOf(value);
  if (!scalar && !value.has_leaflist_val()) {
    throw Refused(grpc::StatusCode::UNIMPLEMENTED,
                  "values of this kind are not taken: a scalar, leaflist_val, json_val "
                  "and json_ietf_val are");
  }
  if (scalar && node.kind == Gnmi::NodeKind::Leaf) {
    return std::vector{readScalar(node, *scalar, Dialect::Proto)};
  }
  if (!scalar && node.kind == Gnmi::NodeKind::LeafList) {
    return readLeafList(node, value.leaflist_val().element(), Dialect::Proto);
  }
  refuse(fmt::format("'{}' is a {}: it takes {}", node.name, Gnmi::nameOf(node.kind),
                     node.kind == Gnmi::NodeKind::Leaf       ? "a scalar"
                     : node.kind == Gnmi::NodeKind::LeafList ? "leaflist_val"
                                                             : "json_val or json_ietf_val"));
}

void writeLeaf(DataNode const& leaf, std::span<Value const> values, gnmi::Encoding encoding, gnmi::TypedValue& into) {
  if (encoding != gnmi::PROTO) {
    setJson(toJson(leaf, values), encoding, into);
  } else if (leaf.kind == Gnmi::NodeKind::Leaf) {
    toMessage(leaf, values.front(), into);
  } else {
    auto& list = *into.mutable_leaflist_val();
    std::ranges::for_each(values, [&](Value const& value) { toMessage(leaf, value, *list.add_element()); });
  }
}

bool writeNode(DataNode const& node, Entry const& entry, Filter const& filter, gnmi::Encoding encoding,
               gnmi::TypedValue& into) {
  if (node.isLeaf()) {
    writeLeaf(node, entry.values(node), encoding, into);
    return filter.takes(node);
  }
  Json const json = toJson(node, entry, filter, encoding == gnmi::JSON_IETF);
  setJson(json, encoding, into);
  return !json.empty() || (node.isPresence && filter.takes(node));
}

}  // namespace Target
