#include "Values.h"

#include <absl/strings/escaping.h>
#include <absl/strings/numbers.h>
#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <nlohmann/json.hpp>
#include <utility>

namespace Target {
namespace {

/** Ordered by name: a map that keeps the order of the text takes a time that grows with the square of the members. */
using Json = nlohmann::json;

/** How deep JSON may nest; no schema is as deep. */
constexpr int deepest = 100;

enum class Dialect : std::uint8_t { JsonIetf, Json, Proto };

// Kinds of scalars, one bit each. Typed values are read as JSON as well, in which bytes are a kind of their own.

constexpr unsigned bitOf(Json::value_t kind) { return 1U << static_cast<unsigned>(kind); }
constexpr unsigned text = bitOf(Json::value_t::string);
constexpr unsigned integer = bitOf(Json::value_t::number_integer) | bitOf(Json::value_t::number_unsigned);
constexpr unsigned real = bitOf(Json::value_t::number_float);
constexpr unsigned boolean = bitOf(Json::value_t::boolean);
constexpr unsigned array = bitOf(Json::value_t::array);
constexpr unsigned bytes = bitOf(Json::value_t::binary);

/** What a leaf takes in each dialect, and how to say so. */
struct FormRow {
  std::array<unsigned, 3> takes;
  std::array<std::string_view, 3> names;
};

constexpr std::array formRows{
    FormRow{{boolean, boolean, boolean}, {"true or false", "true or false", "bool_val"}},
    FormRow{{integer, integer, integer}, {"a number", "a number", "int_val or uint_val"}},
    FormRow{{text, text | integer, integer},
            {"a number as a string", "a number, also as a string", "int_val or uint_val"}},
    FormRow{{text, text | integer | real, real}, {"a number as a string", "a number, also as a string", "double_val"}},
    FormRow{{array, array, boolean}, {"[null]", "[null]", "bool_val that is true"}},
    FormRow{{text, text, bytes}, {"base64 as a string", "base64 as a string", "bytes_val"}},
    FormRow{{text, text, text}, {"a string", "a string", "string_val"}},
    FormRow{{text | integer | boolean, text | integer | real | boolean, text | integer | real | boolean | bytes},
            {"a string, a number, true or false", "a string, a number, true or false", "a scalar"}},
};

static_assert(formRows.size() == static_cast<std::size_t>(Form::Any) + 1);

/** A typed value that is no JSON, as JSON. */
Json jsonOf(gnmi::TypedValue const& value) {
  switch (value.value_case()) {
    case gnmi::TypedValue::kStringVal:
      return value.string_val();
    case gnmi::TypedValue::kIntVal:
      return value.int_val();
    case gnmi::TypedValue::kUintVal:
      return value.uint_val();
    case gnmi::TypedValue::kBoolVal:
      return value.bool_val();
    case gnmi::TypedValue::kBytesVal:
      return Json::binary({value.bytes_val().begin(), value.bytes_val().end()});
    case gnmi::TypedValue::kDoubleVal:
      return value.double_val();
    case gnmi::TypedValue::kLeaflistVal: {
      Json items = Json::array();
      std::ranges::for_each(value.leaflist_val().element(), [&](auto const& item) { items.push_back(jsonOf(item)); });
      return items;
    }
    case gnmi::TypedValue::VALUE_NOT_SET:
      refuse("there is no value");
    default:
      refuse("values of this kind are not taken: a scalar, leaflist_val, json_val and json_ietf_val are",
             grpc::StatusCode::UNIMPLEMENTED);
  }
}

/** The text that the type of a leaf reads. */
std::string textOf(Json const& scalar) {
  if (scalar.is_string()) {
    return scalar.get<std::string>();
  }
  if (scalar.is_binary()) {
    return absl::Base64Escape({reinterpret_cast<char const*>(scalar.get_binary().data()), scalar.get_binary().size()});
  }
  if (scalar.is_number_float()) {
    // With the fewest digits that read back the same, and without an exponent.
    std::array<char, 400> digits{};
    return {digits.begin(),
            std::to_chars(digits.begin(), digits.end(), scalar.get<double>(), std::chars_format::fixed).ptr};
  }
  return scalar.is_array() ? "" : scalar.dump();
}

Value readScalar(DataNode const& leaf, Json const& scalar, Dialect dialect) {
  FormRow const& row = formRows[static_cast<std::size_t>(leaf.form)];
  auto const which = static_cast<std::size_t>(dialect);
  bool const isEmpty = leaf.form == Form::Empty;
  if ((row.takes[which] & bitOf(scalar.type())) == 0 ||
      (isEmpty && scalar != Json(true) && scalar != Json::array({nullptr}))) {
    refuse(fmt::format("leaf '{}' takes {}", leaf.name, row.names[which]));
  }
  try {
    return readText(leaf.type(), isEmpty ? "" : textOf(scalar));
  } catch (Refused& refused) {
    refused.text = fmt::format("leaf '{}': {}", leaf.name, refused.text);
    throw;
  }
}

Json const& checkArray(DataNode const& node, Json const& json, Dialect dialect) {
  if (!json.is_array()) {
    refuse(fmt::format("{} '{}' takes {}", Gnmi::nameOf(node.kind), node.name,
                       dialect != Dialect::Proto           ? "an array"
                       : node.kind == Gnmi::NodeKind::List ? "json_val or json_ietf_val"
                                                           : "leaflist_val"));
  }
  return json;
}

void readLeafList(DataNode const& node, Json const& json, Dialect dialect, Entry& into) {
  std::vector<Leaf> values;
  std::set<Model::Key> seen;
  for (Json const& item : checkArray(node, json, dialect)) {
    // Configuration is a set of values (RFC 7950, 7.7).
    if (!seen.insert(values.emplace_back(&node, readScalar(node, item, dialect)).value).second) {
      refuse(fmt::format("leaf-list '{}' has '{}' twice", node.name, textOf(item)));
    }
  }
  into.set(values.empty() ? std::vector{Leaf(&node, nullptr)} : values);
}

/** From the leaves of an entry: its key, as the decoder builds it. */
KeyPtr keyOf(DataNode const& list, Entry const& entry) {
  Drovan::ZynKeyDecoder const decoder(list.attr, false);
  Drovan::ZynKeyDecoder::KeyElemNode key(list.attr.keyType(), false);
  Drovan::ZynKeyDecoder::PathElements const whole;
  auto const orRefuse = [](auto const& done) {
    if (!done) {
      refuse(std::string(done.error().view()));
    }
  };
  for (DataNode const* const leaf : list.keys) {
    auto const values = entry.held(*leaf);
    if (values.empty()) {
      refuse(fmt::format("an entry of '{}' lacks its key '{}'", list.name, leaf->name));
    }
    std::string const value = Model::gnmiText(*values.front().value).value_or("");
    if (value == "*") {
      refuse(fmt::format("key '{}' of '{}' is '*', which in a path is every key", leaf->name, list.name));
    }
    orRefuse(list.keys.size() == 1 ? key.insertPathSuffix(whole.begin(), whole.end(), Velko::String(value))
                                   : decoder.processKeyPath(key, leaf->attr.name(), value));
  }
  orRefuse(key.instantiate());
  return key.value;
}

void read(DataNode const& node, Json const& json, Dialect dialect, Entry& into);

void readMembers(DataNode const& node, Json const& json, Dialect dialect, Entry& into) {
  if (!json.is_object()) {
    refuse(fmt::format("{} '{}' takes {}", Gnmi::nameOf(node.kind), node.name,
                       dialect == Dialect::Proto ? "json_val or json_ietf_val" : "an object"));
  }
  std::set<DataNode const*> seen;
  for (auto const& [name, value] : json.items()) {
    DataNode const* const child = node.child(name);
    if (child == nullptr) {
      refuse(fmt::format("'{}' has no member '{}'", node.name, name));
    }
    checkSettable(*child);
    if (!seen.insert(child).second) {
      refuse(fmt::format("'{}' has member '{}' twice", node.name, child->name));
    }
    read(*child, value, dialect, into);
  }
}

void readList(DataNode const& list, Json const& json, Dialect dialect, Entry& into) {
  Entries& entries = into.list(list);
  for (Json const& item : checkArray(list, json, dialect)) {
    Entry payload;
    readMembers(list, item, dialect, payload);
    KeyPtr const key = keyOf(list, payload);
    if (entries.find(*key) != nullptr) {
      refuse(fmt::format("list '{}' has the entry {} twice", list.name, Model::print(*key)));
    }
    Entry& entry = entries.at(key);
    entry.leaves = std::move(payload.leaves);
    entry.lists = std::move(payload.lists);
  }
}

void read(DataNode const& node, Json const& json, Dialect dialect, Entry& into) {
  switch (node.kind) {
    case Gnmi::NodeKind::Leaf:
      return into.set(std::vector{Leaf(&node, readScalar(node, json, dialect))});
    case Gnmi::NodeKind::LeafList:
      return readLeafList(node, json, dialect, into);
    case Gnmi::NodeKind::List:
      return readList(node, json, dialect, into);
    case Gnmi::NodeKind::Container:
      if (node.isPresence) {
        into.set(std::vector{Leaf(&node, nullptr)});
      }
      return readMembers(node, json, dialect, into);
  }
}

Json parse(std::string const& json) {
  try {
    return Json::parse(json, [](int depth, Json::parse_event_t, Json const&) {
      // Each bracket would take a hundred bytes.
      if (depth > deepest) {
        refuse(fmt::format("the JSON nests more than {} levels", deepest));
      }
      return true;
    });
  } catch (Json::exception const& error) {
    refuse(fmt::format("no JSON: {}", error.what()));
  }
}

/** What a union holds, down to the scalar. */
Value scalarIn(Value value) {
  while (Model::typeOf(*value).isUnionType()) {
    Zyn::AttributeQIterator alternative(Model::typeOf(*value));
    while (!Model::attribute(*value, *alternative)) {
      ++alternative;
    }
    value = Model::attribute(*value, *alternative);
  }
  return value;
}

/** Appends the values of a leaf or leaf-list. */
void appendJson(std::span<Leaf const> values, std::string& out) {
  bool const isList = values.front().node->kind == Gnmi::NodeKind::LeafList;
  for (Leaf const& leaf : values) {
    out += !isList ? "" : &leaf == values.data() ? "[" : ",";
    leaf.node->form == Form::Empty ? void(out += "[null]") : Model::appendJson(*scalarIn(leaf.value), out);
  }
  out += isList ? "]" : "";
}

void setTyped(Leaf const& leaf, gnmi::TypedValue& into) {
  Form const form = leaf.node->form;
  Value const scalar = scalarIn(leaf.value);
  Model::Kind const kind = Model::kindOf(Model::typeOf(*scalar));
  std::string const printed = Model::gnmiText(*scalar).value_or("");
  double number = 0;
  if (form == Form::Empty || kind == Model::Kind::Bool) {
    into.set_bool_val(form == Form::Empty || Model::as<bool>(*scalar));
  } else if (kind >= Model::Kind::S8 && kind <= Model::Kind::S64) {
    into.set_int_val(Model::as<std::int64_t>(*scalar));
  } else if (kind >= Model::Kind::U8 && kind <= Model::Kind::U64) {
    into.set_uint_val(Model::as<std::uint64_t>(*scalar));
  } else if (form == Form::Decimal && absl::SimpleAtod(printed, &number)) {
    into.set_double_val(number);
  } else if (form == Form::Binary) {
    absl::Base64Unescape(printed, into.mutable_bytes_val());
  } else {
    into.set_string_val(printed);
  }
}

void setJson(std::string json, gnmi::Encoding encoding, gnmi::TypedValue& into) {
  encoding == gnmi::JSON_IETF ? into.set_json_ietf_val(std::move(json)) : into.set_json_val(std::move(json));
}

/** Writes a container or an entry of a list as JSON text; nothing where the filter takes nothing of it. */
class JsonWriter {
 public:
  JsonWriter(Filter const& filter, bool isIetf, Allowance& allowance)
      : filter_(filter), isIetf_(isIetf), allowance_(allowance) {}

  bool write(DataNode const& node, Entry const& entry) {
    if (node.isPresence && entry.held(node).empty()) {
      return false;
    }
    std::size_t const start = json.size();
    bool holdsMore = node.isPresence && filter_.takes(node);
    for (DataNode const* const child : node.children) {
      std::size_t const before = json.size();
      json += before == start ? "{\"" : ",\"";
      json += isIetf_ && child->isQualified ? child->module + ":" + child->name : child->plainName();
      json += "\":";
      if (!writeChild(*child, entry)) {
        json.resize(before);
      } else if (!child->isLeaf() || filter_.takes(*child)) {
        holdsMore = true;
      }
    }
    allowance_.checkBytes(json.size());
    if (!holdsMore) {
      json.resize(start);
      return false;
    }
    json += json.size() == start ? "{}" : "}";
    return true;
  }

  std::string json;

 private:
  bool writeChild(DataNode const& child, Entry const& entry) {
    if (child.kind == Gnmi::NodeKind::Container) {
      return write(child, entry);
    }
    if (child.isLeaf()) {
      // The keys of an entry tell what the rest belongs to.
      auto const values = filter_.takes(child) || child.isKey ? entry.values(child) : std::span<Leaf const>();
      if (!values.empty()) {
        appendJson(values, json);
      }
      return !values.empty();
    }
    json += '[';
    std::size_t const before = json.size();
    entry.list(child).visit([&](Entry const& below) {
      allowance_.takeEntry();
      json += write(child, below) ? "," : "";
    });
    json.back() = ']';
    return json.size() != before;
  }

  Filter const& filter_;
  bool isIetf_;
  Allowance& allowance_;
};

}  // namespace

void checkSettable(DataNode const& node) {
  if (node.isState) {
    refuse(fmt::format("'{}' is state: it cannot be set", node.name));
  }
}

void readPayload(DataNode const& node, gnmi::TypedValue const& value, bool isWholeList, Entry& into) {
  bool const isIetf = value.has_json_ietf_val();
  bool const isJson = isIetf || value.has_json_val();
  Json const json = isJson ? parse(isIetf ? value.json_ietf_val() : value.json_val()) : jsonOf(value);
  Dialect const dialect = isIetf ? Dialect::JsonIetf : isJson ? Dialect::Json : Dialect::Proto;
  node.kind == Gnmi::NodeKind::List && !isWholeList ? readMembers(node, json, dialect, into)
                                                    : read(node, json, dialect, into);
}

void writeLeaf(std::span<Leaf const> values, gnmi::Encoding encoding, gnmi::TypedValue& into) {
  if (encoding != gnmi::PROTO) {
    std::string json;
    appendJson(values, json);
    setJson(std::move(json), encoding, into);
  } else if (values.front().node->kind == Gnmi::NodeKind::Leaf) {
    setTyped(values.front(), into);
  } else {
    auto& list = *into.mutable_leaflist_val();
    std::ranges::for_each(values, [&](Leaf const& leaf) { setTyped(leaf, *list.add_element()); });
  }
}

bool writeJson(DataNode const& node, Entry const& entry, Filter const& filter, gnmi::Encoding encoding,
               Allowance& allowance, gnmi::TypedValue& into) {
  JsonWriter writer(filter, encoding == gnmi::JSON_IETF, allowance);
  bool const isThere = writer.write(node, entry);
  setJson(std::move(writer.json), encoding, into);
  return isThere;
}

}  // namespace Target
