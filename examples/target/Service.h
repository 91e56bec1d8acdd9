// The service gNMI over one tree. gRPC calls it from any number of threads: Get reads the tree that it finds, Sets
// commit one after the other.
#pragma once

#include <grpcpp/grpcpp.h>

#include <vector>

#include "Requests.h"
#include "Streams.h"
#include "Tree.h"
#include "gnmi.grpc.pb.h"

namespace Target {

/** Messages of a Set, which may have thousands of parts: on an arena they are made, and go, at once. */
struct SetArenas final : grpc::MessageAllocator<gnmi::SetRequest, gnmi::SetResponse> {
  grpc::MessageHolder<gnmi::SetRequest, gnmi::SetResponse>* AllocateMessages() override { return new Messages; }

 private:
  struct Messages final : grpc::MessageHolder<gnmi::SetRequest, gnmi::SetResponse> {
    Messages() {
      set_request(google::protobuf::Arena::CreateMessage<gnmi::SetRequest>(&arena));
      set_response(google::protobuf::Arena::CreateMessage<gnmi::SetResponse>(&arena));
    }
    void Release() override { delete this; }

    google::protobuf::Arena arena;
  };
};

class Service final : public gnmi::gNMI::CallbackService {
 public:
  Service(Schema const& schema, Limits const& limits) : requests_(schema, limits), store_(schema) {
    SetMessageAllocatorFor_Set(&arenas_);
  }

  grpc::ServerUnaryReactor* Capabilities(grpc::CallbackServerContext* context, gnmi::CapabilityRequest const* request,
                                         gnmi::CapabilityResponse* response) override;
  grpc::ServerUnaryReactor* Get(grpc::CallbackServerContext* context, gnmi::GetRequest const* request,
                                gnmi::GetResponse* response) override;
  grpc::ServerUnaryReactor* Set(grpc::CallbackServerContext* context, gnmi::SetRequest const* request,
                                gnmi::SetResponse* response) override;
  Reactor* Subscribe(grpc::CallbackServerContext* context) override;

  /** Ends all streams, with UNAVAILABLE. */
  void drain() { streams_.drain(); }

 private:
  void get(gnmi::GetRequest const& request, gnmi::GetResponse& response) const;
  void set(gnmi::SetRequest const& request, gnmi::SetResponse& response);

  void readDelete(Gnmi::Path const& path, Allowance& allowance, std::vector<Edit>& into) const;
  Edit readWrite(Gnmi::Path const& path, gnmi::TypedValue const& value, gnmi::UpdateResult::Operation operation) const;

  SetArenas arenas_;
  Requests requests_;
  Store store_;
  Streams streams_{requests_, store_};
};

}  // namespace Target
