// Values from protobuf messages, and back to messages.
//
// Reading recurses as deep as the types nest, whatever the message; groups, which are unknown fields, are skipped by
// libprotobuf, which limits their depth. Of a field that occurs more than once the last occurrence counts, also where
// it is a message: nothing is merged.
#include <absl/strings/escaping.h>
#include <fmt/core.h>
#include <google/protobuf/io/coded_stream.h>
#include <google/protobuf/wire_format_lite.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <ranges>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "Velko/Pb.h"
#include "Zyn/Zyn.h"
#include "model/Value.h"
#include "model/Zyn/Objects.h"
#include "model/Zyn/Tables.h"
#include "model/Zyn/Wire.h"
#include "text/Messages.h"

namespace Model {
namespace {

// Private to libprotobuf, whose public headers have no wire format without a descriptor: SkipField, and one-liners for
// tags and zigzag numbers. When it goes, write those out: a varint tag is number * 8 + wire type, zigzag maps 0, -1, 1,
// -2 to 0, 1, 2, 3, and a field is skipped by its wire type, groups up to their end tag and no deeper than a limit.
using google::protobuf::internal::WireFormatLite;
using google::protobuf::io::CodedInputStream;
using google::protobuf::io::CodedOutputStream;

template <typename... Args>
[[noreturn]] void fault(fmt::format_string<Args const&...> format, Args const&... args) {
  throw PbError(Velko::String(fmt::format(format, args...)));
}

/** Where something is wrong: "Network::RouteKey.tag". */
struct Place {
  Zyn::ZynType owner;
  std::string_view field;

  std::string text() const { return fmt::format("{}.{}", owner.name(), field); }
};

WireFormatLite::WireType wireType(Wire wire) {
  switch (wire) {
    case Wire::Unsigned:
    case Wire::ZigZag:
    case Wire::Enum:
      return WireFormatLite::WIRETYPE_VARINT;
    case Wire::Fixed32:
      return WireFormatLite::WIRETYPE_FIXED32;
    case Wire::Fixed64:
      return WireFormatLite::WIRETYPE_FIXED64;
    default:
      return WireFormatLite::WIRETYPE_LENGTH_DELIMITED;
  }
}

/** What a field of the type takes, to end a message with. */
std::string fieldExpectation(Zyn::ZynType type) {
  Kind const kind = rowOf(type).kind;
  auto const [wire, protoType] = wireOf(kind);
  auto const [min, max] = rangeOf(kind);
  switch (wire) {
    case Wire::Unsigned:
      return fmt::format("{} from 0 to {}", protoType, kind == Kind::Bool ? 1 : max);
    case Wire::ZigZag:
      return fmt::format("{} from {} to {}", protoType, min, max);
    case Wire::Fixed32:
    case Wire::Fixed64:
      return fmt::format("a finite {}", protoType);
    case Wire::Bytes:
      return "bytes";
    case Wire::Text:
      return fmt::format("a string with {}", textExpectation(type, TextForm::Gnmi));
    case Wire::Message:
      return fmt::format("a message of {}", type.name());
    case Wire::Enum:
      break;
  }
  return "an enumerator " + Text::list(rowOf(type).enumerators, [](Enumerator const& each) {
           return fmt::format("{} ({})", each.number, each.name);
         });
}

/** A message that is being read. */
class Reader {
 public:
  /** `bytes` are at most 2,147,483,647: libprotobuf counts in `int`. */
  Reader(Zyn::ZynType owner, std::string_view bytes)
      : owner_(owner),
        bytes_(bytes),
        input_(reinterpret_cast<std::uint8_t const*>(bytes.data()), static_cast<int>(bytes.size())) {}

  bool atEnd() const { return position() == bytes_.size(); }

  /** The number of the next field. */
  std::uint32_t next() {
    start_ = position();
    std::uint64_t tag = 0;
    if (!input_.ReadVarint64(&tag) || tag > std::numeric_limits<std::uint32_t>::max() || tag >> 3 == 0) {
      malformed();
    }
    tag_ = static_cast<std::uint32_t>(tag);
    return tag_ >> 3;
  }

  void skip() {
    if (!WireFormatLite::SkipField(&input_, tag_)) {
      malformed();
    }
  }

  void expect(WireFormatLite::WireType wanted, Place place, Zyn::ZynType type) const {
    if (WireFormatLite::GetTagWireType(tag_) != wanted) {
      fault("{}: wire type {} does not fit: {}", place.text(), tag_ & 7, fieldExpectation(type));
    }
  }

  std::uint64_t varint() {
    std::uint64_t number = 0;
    return input_.ReadVarint64(&number) ? number : malformed();
  }

  std::uint32_t fixed32() {
    std::uint32_t number = 0;
    return input_.ReadLittleEndian32(&number) ? number : static_cast<std::uint32_t>(malformed());
  }

  std::uint64_t fixed64() {
    std::uint64_t number = 0;
    return input_.ReadLittleEndian64(&number) ? number : malformed();
  }

  std::string_view bytes() {
    std::uint64_t const length = varint();
    std::size_t const from = position();
    if (length > bytes_.size() - from) {
      malformed();
    }
    input_.Skip(static_cast<int>(length));
    return bytes_.substr(from, static_cast<std::size_t>(length));
  }

 private:
  std::size_t position() const { return static_cast<std::size_t>(input_.CurrentPosition()); }

  [[noreturn]] std::uint64_t malformed() const {
    fault("{}: malformed or cut off in the field at byte {} of a message of {} bytes: a protobuf field would fit",
          owner_.name(), start_, bytes_.size());
  }

  Zyn::ZynType owner_;
  std::string_view bytes_;
  CodedInputStream input_;
  std::size_t start_ = 0;
  std::uint32_t tag_ = 0;
};

NewValue readMessage(Zyn::ZynType type, std::string_view bytes);

/** From the raw varint to what the kind holds. False when it is out of range. */
bool readNumber(TypeRow const& row, Wire wire, std::uint64_t raw, Content& content) {
  auto const [min, max] = rangeOf(row.kind);
  if (wire == Wire::ZigZag) {
    std::int64_t const number = WireFormatLite::ZigZagDecode64(raw);
    content.number = static_cast<std::uint64_t>(number);
    return number >= min && number <= static_cast<std::int64_t>(max);
  }
  if (wire == Wire::Unsigned) {
    content.number = raw;
    return raw <= (row.kind == Kind::Bool ? 1 : max);
  }
  auto const number = static_cast<std::int64_t>(raw);
  auto const found = std::in_range<std::int32_t>(number)
                         ? row.enumeratorsByNumber.find(static_cast<std::int32_t>(number))
                         : row.enumeratorsByNumber.end();
  content.number = found == row.enumeratorsByNumber.end() ? 0 : found->second;
  return found != row.enumeratorsByNumber.end();
}

/** A number that does not fit, as its sender meant it. */
std::string shownNumber(Wire wire, std::uint64_t raw) {
  return wire == Wire::Unsigned ? fmt::format("{}", raw)
         : wire == Wire::ZigZag ? fmt::format("{}", WireFormatLite::ZigZagDecode64(raw))
                                : fmt::format("{}", static_cast<std::int64_t>(raw));
}

NewValue readField(Reader& reader, Place place, Zyn::ZynType type) {
  TypeRow const& row = rowOf(type);
  if (row.kind == Kind::Wrapper) {
    ValuePtr inner = readField(reader, place, attrRow(type, 0).type);
    Velko::Ptr<Composed> const value = Composed::make(type);
    value->slots()[0] = std::move(inner);
    return value;
  }
  Wire const wire = wireOf(row.kind).wire;
  reader.expect(wireType(wire), place, type);
  Content content;
  switch (wire) {
    case Wire::Message:
      return readMessage(type, reader.bytes());
    case Wire::Bytes:
      content.text = reader.bytes();
      break;
    case Wire::Text: {
      std::string_view const text = reader.bytes();
      if (!readScalar(row, text, TextForm::Gnmi, content)) {
        fault("{}: {} does not fit: {}", place.text(), Text::inQuotes(text), fieldExpectation(type));
      }
      break;
    }
    case Wire::Fixed32:
    case Wire::Fixed64: {
      double const number = wire == Wire::Fixed32 ? static_cast<double>(std::bit_cast<float>(reader.fixed32()))
                                                  : std::bit_cast<double>(reader.fixed64());
      if (!std::isfinite(number)) {
        fault("{}: {} does not fit: {}", place.text(), number, fieldExpectation(type));
      }
      content.number = std::bit_cast<std::uint64_t>(number);
      break;
    }
    default:
      if (std::uint64_t const raw = reader.varint(); !readNumber(row, wire, raw, content)) {
        fault("{}: {} does not fit: {}", place.text(), shownNumber(wire, raw), fieldExpectation(type));
      }
  }
  NewValue value = Scalar::make(row, content);
  // The rule of a type has been asked already where the field is a text.
  if (row.rule && wire != Wire::Text) {
    auto const& scalar = static_cast<Scalar const&>(*value);
    if (NewValue normalized = normalize(scalar)) {
      return normalized;
    }
    std::string text;
    printScalar(scalar, TextForm::Gnmi, text);
    fault("{}: {} does not fit: {}", place.text(), Text::inQuotes(text), row.rule->expectation());
  }
  return value;
}

/** For types whose values are messages by themselves: value types and unions. */
NewValue readMessage(Zyn::ZynType type, std::string_view bytes) {
  TypeRow const& row = rowOf(type);
  Velko::Ptr<Composed> const value = Composed::make(type);
  auto const slots = value->slots();
  Reader reader(type, bytes);
  std::uint32_t slot = 0;
  while (!reader.atEnd()) {
    std::uint32_t const number = reader.next();
    // Fields mostly come in order, so the search starts at the field before.
    std::size_t tried = 0;
    while (tried < slots.size() && fieldNumber(type, slot) != number) {
      slot = slot + 1 < slots.size() ? slot + 1 : 0;
      ++tried;
    }
    if (tried == slots.size()) {
      reader.skip();
      continue;
    }
    AttrRow const& attr = attrRow(type, slot);
    ValuePtr part = readField(reader, {type, attr.name}, attr.type);
    if (row.kind == Kind::Union) {
      std::ranges::fill(slots, nullptr);
    }
    slots[slot] = std::move(part);
  }
  for (std::uint32_t const needed : row.args | std::views::transform(&Argument::slot)) {
    if (!slots[needed]) {
      AttrRow const& attr = attrRow(type, needed);
      fault("{}.{}: missing from the message: {}", type.name(), attr.name, fieldExpectation(unwrapped(attr.type)));
    }
  }
  if (row.kind == Kind::Union && std::ranges::none_of(slots, [](ValuePtr const& part) { return part != nullptr; })) {
    fault("{}: no alternative in the message: {}", type.name(), textExpectation(type, TextForm::Literal));
  }
  return value;
}

NewValue fromMessage(Zyn::ZynType type, std::string_view bytes) {
  Kind const kind = rowOf(type).kind;
  if (kind == Kind::Entity) {
    fault("{}: an entity has no values", type.name());
  }
  if (kind == Kind::Value || kind == Kind::Union) {
    return readMessage(type, bytes);
  }
  Place const place = {type, onlyFieldName};
  NewValue value;
  for (Reader reader(type, bytes); !reader.atEnd();) {
    if (reader.next() == onlyField) {
      value = readField(reader, place, type);
    } else {
      reader.skip();
    }
  }
  if (!value) {
    fault("{}: missing from the message: {}", place.text(), fieldExpectation(unwrapped(type)));
  }
  return value;
}

template <typename... Args>
[[noreturn]] void refuse(fmt::format_string<Args const&...> format, Args const&... args) {
  throw Error(Velko::String(fmt::format(format, args...)));
}

void writeVarint(std::uint64_t number, std::string& out) {
  std::array<std::uint8_t, 10> buffer{};
  std::uint8_t const* const end = CodedOutputStream::WriteVarint64ToArray(number, buffer.data());
  out.append(reinterpret_cast<char const*>(buffer.data()), static_cast<std::size_t>(end - buffer.data()));
}

template <typename Number>
void writeFixed(Number number, std::string& out) {
  for (std::size_t i = 0; i < sizeof(number); ++i) {
    out += static_cast<char>(static_cast<std::uint8_t>(number >> (8 * i)));
  }
}

void writeBytes(std::string_view bytes, std::string& out) {
  writeVarint(bytes.size(), out);
  out += bytes;
}

std::string messageOf(Composed const& value);

void writeField(std::uint32_t number, Zyn::GenericIf const& value, std::string& out) {
  ValueObject const& object = valueObject(value);
  if (object.kind() == Kind::Wrapper) {
    ValuePtr const& inner = static_cast<Composed const&>(object).slots()[0];
    if (!inner) {
      refuse("{}: it holds nothing, and has no message", object.type().name());
    }
    writeField(number, *inner, out);
    return;
  }
  Wire const wire = wireOf(object.kind()).wire;
  writeVarint(WireFormatLite::MakeTag(static_cast<int>(number), wireType(wire)), out);
  if (wire == Wire::Message) {
    writeBytes(messageOf(static_cast<Composed const&>(object)), out);
    return;
  }
  auto const& scalar = static_cast<Scalar const&>(object);
  switch (wire) {
    case Wire::Unsigned:
      writeVarint(scalar.number(), out);
      break;
    case Wire::ZigZag:
      writeVarint(WireFormatLite::ZigZagEncode64(static_cast<std::int64_t>(scalar.number())), out);
      break;
    case Wire::Enum: {
      // A negative number is sign-extended to 64 bits, so it takes ten bytes, as protobuf wants it.
      auto const position = static_cast<std::size_t>(scalar.number());
      writeVarint(static_cast<std::uint64_t>(std::int64_t{scalar.row().enumerators[position].number}), out);
      break;
    }
    case Wire::Fixed32:
      writeFixed(std::bit_cast<std::uint32_t>(static_cast<float>(std::bit_cast<double>(scalar.number()))), out);
      break;
    case Wire::Fixed64:
      writeFixed(scalar.number(), out);
      break;
    case Wire::Bytes:
      writeBytes(scalar.text(), out);
      break;
    default: {
      std::string text;
      printScalar(scalar, TextForm::Gnmi, text);
      writeBytes(text, out);
    }
  }
}

/** Refuses a value whose message could not be read back. */
void checkWhole(Composed const& value) {
  for (std::uint32_t const slot : value.row().args | std::views::transform(&Argument::slot)) {
    if (!value.slots()[slot]) {
      refuse("{}.{}: it is not set, but a message needs it", value.type().name(), attrRow(value.type(), slot).name);
    }
  }
  if (value.kind() == Kind::Union &&
      std::ranges::none_of(value.slots(), [](ValuePtr const& part) { return part != nullptr; })) {
    refuse("{}: no alternative is set, but a message needs one", value.type().name());
  }
}

std::string messageOf(Composed const& value) {
  checkWhole(value);
  std::vector<std::pair<std::uint32_t, Zyn::GenericIf const*>> fields;
  for (std::uint32_t slot = 0; slot < value.slots().size(); ++slot) {
    std::uint32_t const number = fieldNumber(value.type(), slot);
    if (number != 0 && value.slots()[slot]) {
      fields.emplace_back(number, value.slots()[slot].get());
    }
  }
  std::ranges::sort(fields);
  std::string out;
  for (auto const& [number, part] : fields) {
    writeField(number, *part, out);
  }
  return out;
}

}  // namespace

std::string s4Text(Zyn::GenericIf const& value) {
  ValueObject const& object = valueObject(value);
  if (!hasMark(object.type(), Mark::S4)) {
    refuse("{}: it has no s4 encoding", object.type().name());
  }
  std::string message;
  if (object.kind() == Kind::Value || object.kind() == Kind::Union) {
    message = messageOf(static_cast<Composed const&>(object));
  } else {
    writeField(onlyField, value, message);
  }
  return absl::Base64Escape(message);
}

}  // namespace Model

namespace Zyn {

Velko::Ptr<GenericIf> ZynType::genericIfFromPbMessage(void* cursor, bool /*mode*/) const {
  if (empty()) {
    Model::fault("An empty type has no values");
  }
  if (cursor == nullptr) {
    Model::fault("{}: there is no message to read", name());
  }
  auto& place = *static_cast<Velko::Pb::ReadCursor*>(cursor);
  if (place.position > place.length || (place.data == nullptr && place.length != 0)) {
    Model::fault("{}: position {} is not in a message of {} bytes", name(), place.position, place.length);
  }
  std::uint64_t const size = place.length - place.position;
  if (!std::in_range<int>(size)) {
    Model::fault("{}: a message of {} bytes is too long: at most {} would fit", name(), size,
                 std::numeric_limits<int>::max());
  }
  std::string_view const bytes =
      place.data == nullptr ? std::string_view() : std::string_view(place.data + place.position, size);
  Velko::Ptr<GenericIf> value = Model::fromMessage(*this, bytes);
  place.position = place.length;
  return value;
}

}  // namespace Zyn
