#include "zynkey/KeyColumns.h"

#include <optional>
#include <variant>

#include "Drovan/ZynKeyDecoder.h"

namespace ZynKey {
namespace {

using Drovan::ZynKeyDecoder;
using Model::Kind;

bool isNumber(Kind kind) { return kind <= Kind::Double || kind == Kind::Seconds; }

Kind columnKind(Zyn::ZynType type) {
  Kind const kind = Model::kindOf(type);
  if (kind != Kind::Wrapper && kind != Kind::Union) {
    return isNumber(kind) ? kind : Kind::String;
  }
  Zyn::AttributeQIterator attr(type);
  if (!attr) {
    return Kind::String;
  }
  Kind const first = columnKind((*attr).attrType());
  for (++attr; attr; ++attr) {
    if (columnKind((*attr).attrType()) != first) {
      return Kind::String;
    }
  }
  return first;
}

void addColumns(Zyn::ZynType type, std::string const& name, std::vector<Zyn::ZynAttr>& parts,
                std::vector<KeyColumn>& columns) {
  if (Model::kindOf(type) != Kind::Value) {
    columns.push_back({name, parts, columnKind(type)});
    return;
  }
  for (Zyn::AttributeQIterator attr(type); attr; ++attr) {
    parts.push_back(*attr);
    addColumns((*attr).attrType(), parts.size() == 1 ? (*attr).name() : name + "__" + (*attr).name(), parts, columns);
    parts.pop_back();
  }
}

}  // namespace

std::vector<KeyColumn> keyColumns(Zyn::ZynType keyType, std::string_view keyName) {
  std::vector<KeyColumn> columns;
  std::vector<Zyn::ZynAttr> parts;
  addColumns(keyType, std::string(keyName.empty() ? "key" : keyName), parts, columns);
  return columns;
}

Model::ValuePtr partOf(Gnmi::Selection const& selection, KeyColumn const& column) {
  Model::ValuePtr value;
  auto part = column.parts.begin();
  if (auto const* const single = std::get_if<ZynKeyDecoder::Single>(&selection)) {
    value = single->value;
  } else if (part != column.parts.end()) {
    auto const& values = std::get<ZynKeyDecoder::Multiple>(selection).values;
    if (auto const given = values.find(*part); given != values.end()) {
      value = given->second;
      ++part;
    }
  }
  for (; value && part != column.parts.end(); ++part) {
    value = Model::attribute(*value, *part);
  }
  return value;
}

void write(Model::ValuePtr const& part, KeyColumn const& column, CellWriter& cells) {
  auto const text = part ? Model::gnmiText(*part) : std::nullopt;
  if (!part || (!text && isNumber(column.kind))) {
    cells.none(column.name);
  } else if (isNumber(column.kind)) {
    cells.literal(column.name, *text);
  } else {
    // What has no text of its own, such as a union's alternative that is built from attributes, stands as it prints.
    cells.text(column.name, text ? *text : Model::print(*part));
  }
}

std::string_view clickHouseType(Kind kind) {
  switch (kind) {
    case Kind::Bool:
      return "Bool";
    case Kind::S8:
      return "Int8";
    case Kind::S16:
      return "Int16";
    case Kind::S32:
      return "Int32";
    case Kind::S64:
      return "Int64";
    case Kind::U8:
      return "UInt8";
    case Kind::U16:
      return "UInt16";
    case Kind::U32:
      return "UInt32";
    case Kind::U64:
      return "UInt64";
    case Kind::Float:
      return "Float32";
    case Kind::Double:
      return "Float64";
    case Kind::Seconds:
      return "Decimal(19, 9)";  // 64 bits of nanoseconds.
    default:
      return "String";
  }
}

}  // namespace ZynKey
