// reflect ADDRESS COUNT: a client that knows nothing of gNMI's messages but what the server tells. Makes COUNT Sets and
// as many Gets with keys in spellings that are not canonical, and prints how many answers were not the expected ones.
#include <google/protobuf/descriptor.pb.h>
#include <google/protobuf/dynamic_message.h>
#include <google/protobuf/text_format.h>
#include <grpcpp/generic/generic_stub.h>
#include <grpcpp/grpcpp.h>

#include <algorithm>
#include <array>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <mutex>
#include <random>
#include <stdexcept>
#include <string>
#include <vector>

#include "reflection.grpc.pb.h"

namespace {

namespace pb = google::protobuf;
namespace reflection = grpc::reflection::v1alpha;

class Client {
 public:
  explicit Client(std::string const& address)
      : channel_(grpc::CreateChannel(address, grpc::InsecureChannelCredentials())), stub_(channel_) {
    auto const service = reflection::ServerReflection::NewStub(channel_);
    grpc::ClientContext context;
    auto const stream = service->ServerReflectionInfo(&context);
    reflection::ServerReflectionRequest request;
    request.set_file_containing_symbol("gnmi.gNMI");
    reflection::ServerReflectionResponse response;
    if (!stream->Write(request) || !stream->Read(&response)) {
      throw std::runtime_error("no reflection");
    }
    // What a file imports comes behind it.
    auto const& files = response.file_descriptor_response().file_descriptor_proto();
    for (auto file = files.rbegin(); file != files.rend(); ++file) {
      pb::FileDescriptorProto proto;
      if (!proto.ParseFromString(*file) || pool_.BuildFile(proto) == nullptr) {
        throw std::runtime_error("no descriptors");
      }
    }
    stream->WritesDone();
    (void)stream->Finish();
  }

  /** The answer as text, or "!" and the code. */
  std::string call(std::string const& name, std::string const& text) {
    pb::MethodDescriptor const& method = *pool_.FindServiceByName("gnmi.gNMI")->FindMethodByName(name);
    std::unique_ptr<pb::Message> const request(factory_.GetPrototype(method.input_type())->New());
    if (!pb::TextFormat::ParseFromString(text, request.get())) {
      throw std::runtime_error("no request: " + text);
    }
    grpc::Slice const slice(request->SerializeAsString());
    grpc::ByteBuffer const sent(&slice, 1);
    grpc::ByteBuffer received;
    grpc::ClientContext context;
    std::mutex mutex;
    std::condition_variable done;
    grpc::Status status;
    bool isDone = false;
    stub_.UnaryCall(&context, "/gnmi.gNMI/" + name, {}, &sent, &received, [&](grpc::Status const& answer) {
      std::lock_guard const lock(mutex);
      status = answer;
      isDone = true;
      done.notify_one();
    });
    std::unique_lock lock(mutex);
    done.wait(lock, [&] { return isDone; });
    if (!status.ok()) {
      return "!" + std::to_string(status.error_code()) + " " + status.error_message();
    }
    grpc::Slice flat;
    (void)received.DumpToSingleSlice(&flat);
    std::unique_ptr<pb::Message> const response(factory_.GetPrototype(method.output_type())->New());
    (void)response->ParseFromArray(flat.begin(), static_cast<int>(flat.size()));
    return response->ShortDebugString();
  }

 private:
  std::shared_ptr<grpc::Channel> channel_;
  grpc::GenericStub stub_;
  pb::DescriptorPool pool_;
  pb::DynamicMessageFactory factory_{&pool_};
};

std::string element(std::string const& name, std::vector<std::array<std::string, 2>> const& keys = {}) {
  std::string text = "elem { name: '" + name + "' ";
  for (auto const& [key, value] : keys) {
    text += "key { key: '" + key + "' value: '" + value + "' } ";
  }
  return text + "} ";
}

}  // namespace

int main(int count, char** words) {
  if (count != 3) {
    return 2;
  }
  Client client(words[1]);
  std::mt19937 chance(3);
  auto const pick = [&](std::vector<std::string> const& from) { return from[chance() % from.size()]; };
  int const calls = std::atoi(words[2]);
  int wrong = 0;
  std::vector<int> expected(500, -1);
  // Prefix and path part anywhere; keys stand in any order.
  auto const paths = [&](int entry) {
    std::string const n = std::to_string(entry);
    std::vector<std::array<std::string, 2>> keys{{"prefix", pick({"172.16.0.0/12", "172.31.255.1/12"})},
                                                 {"protocol", pick({"static", "example-network:static"})},
                                                 {"tag", pick({n, "+" + n, "00" + n})}};
    std::shuffle(keys.begin(), keys.end(), chance);
    std::vector<std::string> const elements{element("routing"), element("instance", {{"name", "reflected"}}),
                                            element(pick({"route", "example-network:route"}), keys), element("metric")};
    std::size_t const cut = chance() % elements.size();
    std::array<std::string, 2> parts;
    for (std::size_t i = 0; i < elements.size(); ++i) {
      parts[i < cut ? 0 : 1] += elements[i];
    }
    return parts;
  };
  for (int i = 0; i < calls; ++i) {
    std::size_t const entry = chance() % expected.size();
    expected[entry] = i;
    auto const [prefix, path] = paths(static_cast<int>(entry));
    std::string const answer = client.call(
        "Set", "prefix { " + prefix + "} update { path { " + path + "} val { uint_val: " + std::to_string(i) + " } }");
    wrong += answer.starts_with("!") ? 1 : 0;
  }
  for (int i = 0; i < calls; ++i) {
    std::size_t const entry = chance() % expected.size();
    auto const [prefix, path] = paths(static_cast<int>(entry));
    std::string const answer = client.call("Get", "encoding: PROTO prefix { " + prefix + "} path { " + path + "}");
    std::string const value = "val { uint_val: " + std::to_string(expected[entry]) + " }";
    wrong += expected[entry] < 0 ? !answer.starts_with("!5 ") : answer.find(value) == std::string::npos;
  }
  std::printf("reflection: a C++ client without the messages' classes: %d Sets, %d Gets; wrong answers %d\n", calls,
              calls, wrong);
  return wrong == 0 ? 0 : 1;
}
