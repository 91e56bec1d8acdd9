// A message of a type that is known at run time only: what a reflective system over protobuf would do with the text.
#include <arpa/inet.h>
#include <fmt/core.h>
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/text_format.h>

#include <array>
#include <charconv>
#include <memory>
#include <string>
#include <string_view>

#include "bench/Decoder.h"
#include "bench/Held.h"

namespace Bench {
namespace {

namespace Pb = google::protobuf;

Pb::Message const* prototypeOf(char const* fileText, char const* name) {
  static Pb::DescriptorPool pool;
  static Pb::DynamicMessageFactory factory;
  Pb::FileDescriptorProto file;
  if (!Pb::TextFormat::ParseFromString(fileText, &file) || pool.BuildFile(file) == nullptr) {
    fail("protobuf", "the message type does not build");
  }
  return factory.GetPrototype(pool.FindMessageTypeByName(name));
}

/** The prefix as text, which TextFormat takes as it is. */
Pb::Message const* textKey() {
  static Pb::Message const* const one = prototypeOf(R"(
      name: "text.proto"
      message_type {
        name: "TextKey"
        field { name: "vrf" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
        field { name: "tag" number: 2 label: LABEL_OPTIONAL type: TYPE_UINT32 }
        field { name: "prefix" number: 3 label: LABEL_OPTIONAL type: TYPE_STRING }
      })",
                                                    "TextKey");
  return one;
}

/** The prefix as a message of its own, as protobuf holds what has parts. */
Pb::Message const* structuredKey() {
  static Pb::Message const* const one = prototypeOf(R"(
      name: "structured.proto"
      message_type {
        name: "Prefix"
        field { name: "address" number: 1 label: LABEL_OPTIONAL type: TYPE_BYTES }
        field { name: "length" number: 2 label: LABEL_OPTIONAL type: TYPE_UINT32 }
      }
      message_type {
        name: "StructuredKey"
        field { name: "vrf" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
        field { name: "tag" number: 2 label: LABEL_OPTIONAL type: TYPE_UINT32 }
        field { name: "prefix" number: 3 label: LABEL_OPTIONAL type: TYPE_MESSAGE type_name: ".Prefix" }
      })",
                                                    "StructuredKey");
  return one;
}

/** The prefix as five bytes, the length last: less than protobuf's own way, and the least that a user could do. */
Pb::Message const* flatKey() {
  static Pb::Message const* const one = prototypeOf(R"(
      name: "flat.proto"
      message_type {
        name: "FlatKey"
        field { name: "vrf" number: 1 label: LABEL_OPTIONAL type: TYPE_STRING }
        field { name: "tag" number: 2 label: LABEL_OPTIONAL type: TYPE_UINT32 }
        field { name: "prefix" number: 3 label: LABEL_OPTIONAL type: TYPE_BYTES }
      })",
                                                    "FlatKey");
  return one;
}

/** Eight numbers, `f0` to `f7`. */
Pb::Message const* wideKey() {
  static Pb::Message const* const one = [] {
    std::string file = "name: \"wide.proto\" message_type { name: \"WideKey\"";
    for (int i = 0; i < 8; ++i) {
      file += fmt::format(" field {{ name: \"f{}\" number: {} label: LABEL_OPTIONAL type: TYPE_UINT32 }}", i, i + 1);
    }
    return prototypeOf((file + " }").c_str(), "WideKey");
  }();
  return one;
}

std::unique_ptr<Pb::Message> byTextFormat(std::string const& text) {
  std::unique_ptr<Pb::Message> message(textKey()->New());
  if (!Pb::TextFormat::ParseFromString(text, message.get())) {
    fail("protobuf", text);
  }
  return message;
}

// By hand: what the decoder refuses is refused here too, so that both do the same work.

std::uint32_t numberOf(std::string_view text) {
  std::uint32_t number = 0;
  char const* const end = text.data() + text.size();
  auto const [rest, error] = std::from_chars(text.data(), end, number);
  if (error != std::errc() || rest != end) {
    fail("protobuf, no number", text);
  }
  return number;
}

/** The address's bytes, those behind the prefix cleared; `length` is set beside. */
std::string prefixOf(std::string const& text, std::uint32_t& length) {
  std::size_t const slash = text.find('/');
  if (slash == std::string::npos) {
    fail("protobuf, no prefix", text);
  }
  std::string const address = text.substr(0, slash);
  std::array<char, 16> bytes{};
  std::size_t const size = address.find(':') == std::string::npos ? 4 : 16;
  if (inet_pton(size == 4 ? AF_INET : AF_INET6, address.c_str(), bytes.data()) != 1) {
    fail("protobuf, no address", text);
  }
  length = numberOf(std::string_view(text).substr(slash + 1));
  if (length > 8 * size) {
    fail("protobuf, prefix too long", text);
  }
  for (std::size_t i = length / 8; i < size; ++i) {
    bytes[i] = static_cast<char>(i == length / 8 ? bytes[i] & (0xFF00 >> (length % 8)) : 0);
  }
  return {bytes.data(), size};
}

/** Each field is found by the name in its path and set by its type, and each must be there in the end. */
std::unique_ptr<Pb::Message> byHand(Pb::Message const& prototype, Fields const& fields) {
  std::unique_ptr<Pb::Message> message(prototype.New());
  Pb::Reflection const* const reflection = message->GetReflection();
  Pb::Descriptor const* const type = message->GetDescriptor();
  for (auto const& [path, text] : fields) {
    std::size_t const separator = path.find("__");
    if (separator == std::string::npos || path.compare(0, separator, "key") != 0) {
      fail("protobuf, path that does not start with the key", path);
    }
    Pb::FieldDescriptor const* const field = type->FindFieldByName(path.substr(separator + 2));
    if (field == nullptr) {
      fail("protobuf, unknown field", path);
    }
    std::uint32_t length = 0;
    switch (field->type()) {
      case Pb::FieldDescriptor::TYPE_STRING:
        reflection->SetString(message.get(), field, text);
        break;
      case Pb::FieldDescriptor::TYPE_UINT32:
        reflection->SetUInt32(message.get(), field, numberOf(text));
        break;
      case Pb::FieldDescriptor::TYPE_MESSAGE: {
        Pb::Message* const prefix = reflection->MutableMessage(message.get(), field);
        Pb::Descriptor const* const prefixType = prefix->GetDescriptor();
        prefix->GetReflection()->SetString(prefix, prefixType->field(0), prefixOf(text, length));
        prefix->GetReflection()->SetUInt32(prefix, prefixType->field(1), length);
        break;
      }
      default: {
        std::string bytes = prefixOf(text, length);
        bytes += static_cast<char>(length);
        reflection->SetString(message.get(), field, std::move(bytes));
      }
    }
  }
  for (int i = 0; i < type->field_count(); ++i) {
    if (!reflection->HasField(*message, type->field(i))) {
      fail("protobuf, field left out", type->field(i)->name());
    }
  }
  return message;
}

}  // namespace

void addProtobufPeer(Works& works) {
  std::string const text = std::string("vrf: \"") + vrfText + "\" tag: " + tagText + " prefix: \"" + prefixText + '"';
  Fields const fields = fieldsOf({vrfText, tagText, prefixText});
  if (byTextFormat(text)->ByteSizeLong() != 28 || byHand(*structuredKey(), fields)->ByteSizeLong() != 24 ||
      byHand(*flatKey(), fields)->ByteSizeLong() != 21) {
    fail("protobuf", byHand(*structuredKey(), fields)->ShortDebugString());
  }
  works.push_back({"protobuf, by hand, 3 fields", [fields] { keep(byHand(*structuredKey(), fields)); }});
  works.push_back({"protobuf, by hand, prefix as bytes", [fields] { keep(byHand(*flatKey(), fields)); }});
  works.push_back({"protobuf, TextFormat, 3 fields", [text] { keep(byTextFormat(text)); }});
  works.push_back({"protobuf, by hand, 8 fields", [eight = numberFields(8)] { keep(byHand(*wideKey(), eight)); }});
  works.push_back(later("protobuf, by hand, varied", [] {
    return inTurn(variedFields(), [](Fields const& fields) { keep(byHand(*structuredKey(), fields)); });
  }));
}

Held holdMessages(std::size_t count) {
  return hold(count, [](std::size_t i) { return byHand(*structuredKey(), fieldsOf(numberedKey(i))); });
}

Held holdFlatMessages(std::size_t count) {
  return hold(count, [](std::size_t i) { return byHand(*flatKey(), fieldsOf(numberedKey(i))); });
}

}  // namespace Bench
