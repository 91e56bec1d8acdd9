// The messages of examples/target/gnmi.proto beside the public table of names and numbers: clients that are built from
// the same file would not notice a slip.
#include <google/protobuf/descriptor.h>
#include <google/protobuf/descriptor.pb.h>
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "examples/target/gnmi.pb.h"

namespace {

namespace pb = google::protobuf;

/** "name number type", with "repeated", "[deprecated]" and the oneof. */
std::string shown(pb::FieldDescriptor const& field) {
  std::string text = field.name() + " " + std::to_string(field.number()) + " ";
  if (field.is_map()) {
    text += "map " + std::string(field.message_type()->map_key()->type_name()) + " " +
            field.message_type()->map_value()->type_name();
  } else {
    text += field.is_repeated() ? "repeated " : "";
    text += field.message_type() != nullptr ? field.message_type()->full_name()
            : field.enum_type() != nullptr  ? field.enum_type()->full_name()
                                            : field.type_name();
  }
  text += field.containing_oneof() != nullptr ? " of " + field.containing_oneof()->name() : "";
  return text + (field.options().deprecated() ? " deprecated" : "");
}

using Fields = std::vector<std::string>;

std::map<std::string, Fields> const messages = {
    {"Path",
     {"element 1 repeated string deprecated", "origin 2 string", "elem 3 repeated gnmi.PathElem", "target 4 string"}},
    {"PathElem", {"name 1 string", "key 2 map string string"}},
    {"TypedValue",
     {"string_val 1 string of value", "int_val 2 int64 of value", "uint_val 3 uint64 of value",
      "bool_val 4 bool of value", "bytes_val 5 bytes of value", "float_val 6 float of value deprecated",
      "double_val 14 double of value", "decimal_val 7 gnmi.Decimal64 of value deprecated",
      "leaflist_val 8 gnmi.ScalarArray of value", "any_val 9 google.protobuf.Any of value",
      "json_val 10 bytes of value", "json_ietf_val 11 bytes of value", "ascii_val 12 string of value",
      "proto_bytes 13 bytes of value"}},
    {"ScalarArray", {"element 1 repeated gnmi.TypedValue"}},
    {"Decimal64", {"digits 1 int64", "precision 2 uint32"}},
    {"QOSMarking", {"marking 1 uint32"}},
    {"Value", {"value 1 bytes", "type 2 gnmi.Encoding"}},
    {"Error", {"code 1 uint32", "message 2 string", "data 3 google.protobuf.Any"}},
    {"Extension", {}},
    {"Poll", {}},
    {"Update", {"path 1 gnmi.Path", "value 2 gnmi.Value deprecated", "val 3 gnmi.TypedValue", "duplicates 4 uint32"}},
    {"Notification",
     {"timestamp 1 int64", "prefix 2 gnmi.Path", "update 4 repeated gnmi.Update", "delete 5 repeated gnmi.Path",
      "atomic 6 bool"}},
    {"GetRequest",
     {"prefix 1 gnmi.Path", "path 2 repeated gnmi.Path", "type 3 gnmi.GetRequest.DataType", "encoding 5 gnmi.Encoding",
      "use_models 6 repeated gnmi.ModelData", "extension 7 repeated gnmi.Extension"}},
    {"GetResponse",
     {"notification 1 repeated gnmi.Notification", "error 2 gnmi.Error deprecated",
      "extension 3 repeated gnmi.Extension"}},
    {"SetRequest",
     {"prefix 1 gnmi.Path", "delete 2 repeated gnmi.Path", "replace 3 repeated gnmi.Update",
      "update 4 repeated gnmi.Update", "union_replace 6 repeated gnmi.Update", "extension 5 repeated gnmi.Extension"}},
    {"SetResponse",
     {"prefix 1 gnmi.Path", "response 2 repeated gnmi.UpdateResult", "message 3 gnmi.Error deprecated",
      "timestamp 4 int64", "extension 5 repeated gnmi.Extension"}},
    {"UpdateResult",
     {"timestamp 1 int64 deprecated", "path 2 gnmi.Path", "message 3 gnmi.Error deprecated",
      "op 4 gnmi.UpdateResult.Operation"}},
    {"SubscribeRequest",
     {"subscribe 1 gnmi.SubscriptionList of request", "poll 3 gnmi.Poll of request",
      "extension 5 repeated gnmi.Extension"}},
    {"SubscriptionList",
     {"prefix 1 gnmi.Path", "subscription 2 repeated gnmi.Subscription", "qos 4 gnmi.QOSMarking",
      "mode 5 gnmi.SubscriptionList.Mode", "allow_aggregation 6 bool", "use_models 7 repeated gnmi.ModelData",
      "encoding 8 gnmi.Encoding", "updates_only 9 bool"}},
    {"Subscription",
     {"path 1 gnmi.Path", "mode 2 gnmi.SubscriptionMode", "sample_interval 3 uint64", "suppress_redundant 4 bool",
      "heartbeat_interval 5 uint64"}},
    {"SubscribeResponse",
     {"update 1 gnmi.Notification of response", "sync_response 3 bool of response",
      "error 4 gnmi.Error of response deprecated", "extension 5 repeated gnmi.Extension"}},
    {"CapabilityRequest", {"extension 1 repeated gnmi.Extension"}},
    {"CapabilityResponse",
     {"supported_models 1 repeated gnmi.ModelData", "supported_encodings 2 repeated gnmi.Encoding",
      "gNMI_version 3 string", "extension 4 repeated gnmi.Extension"}},
    {"ModelData", {"name 1 string", "organization 2 string", "version 3 string"}},
};

std::map<std::string, Fields> const enums = {
    {"gnmi.Encoding", {"JSON 0", "BYTES 1", "PROTO 2", "ASCII 3", "JSON_IETF 4"}},
    {"gnmi.SubscriptionMode", {"TARGET_DEFINED 0", "ON_CHANGE 1", "SAMPLE 2"}},
    {"gnmi.GetRequest.DataType", {"ALL 0", "CONFIG 1", "STATE 2", "OPERATIONAL 3"}},
    {"gnmi.SubscriptionList.Mode", {"STREAM 0", "ONCE 1", "POLL 2"}},
    {"gnmi.UpdateResult.Operation", {"INVALID 0", "DELETE 1", "REPLACE 2", "UPDATE 3", "UNION_REPLACE 4"}},
};

std::map<std::string, Fields> enumsOf(pb::FileDescriptor const& file) {
  std::map<std::string, Fields> found;
  auto const add = [&](pb::EnumDescriptor const& type) {
    for (int i = 0; i < type.value_count(); ++i) {
      found[type.full_name()].push_back(type.value(i)->name() + " " + std::to_string(type.value(i)->number()));
    }
  };
  for (int i = 0; i < file.enum_type_count(); ++i) {
    add(*file.enum_type(i));
  }
  for (int i = 0; i < file.message_type_count(); ++i) {
    for (int j = 0; j < file.message_type(i)->enum_type_count(); ++j) {
      add(*file.message_type(i)->enum_type(j));
    }
  }
  return found;
}

TEST(Descriptors, OfEachMessageAreThoseOfTheTable) {
  pb::FileDescriptor const& file = *gnmi::Path::descriptor()->file();
  EXPECT_EQ(file.package(), "gnmi");
  EXPECT_EQ(file.syntax(), pb::FileDescriptor::SYNTAX_PROTO3);
  std::map<std::string, Fields> found;
  for (int i = 0; i < file.message_type_count(); ++i) {
    pb::Descriptor const& message = *file.message_type(i);
    Fields& fields = found[message.name()];
    for (int j = 0; j < message.field_count(); ++j) {
      fields.push_back(shown(*message.field(j)));
    }
  }
  EXPECT_EQ(found, messages);
}

TEST(Descriptors, OfEachEnumerationAreThoseOfTheTable) { EXPECT_EQ(enumsOf(*gnmi::Path::descriptor()->file()), enums); }

TEST(Descriptors, TheServiceHasFourCalls) {
  pb::ServiceDescriptor const* const service = gnmi::Path::descriptor()->file()->FindServiceByName("gNMI");
  ASSERT_NE(service, nullptr);
  Fields calls;
  for (int i = 0; i < service->method_count(); ++i) {
    pb::MethodDescriptor const& call = *service->method(i);
    calls.push_back(call.name() + (call.client_streaming() ? " stream " : " ") + call.input_type()->name() +
                    (call.server_streaming() ? " stream " : " ") + call.output_type()->name());
  }
  EXPECT_EQ(calls,
            Fields({"Capabilities CapabilityRequest CapabilityResponse", "Get GetRequest GetResponse",
                    "Set SetRequest SetResponse", "Subscribe stream SubscribeRequest stream SubscribeResponse"}));
}

}  // namespace
