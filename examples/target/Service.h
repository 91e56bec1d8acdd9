// The service gNMI over one tree: Capabilities, Get and Set.
//
// Threads: gRPC calls from any number of them. Get reads the tree that it finds; Sets commit one after the other.
#pragma once

#include <grpcpp/grpcpp.h>

#include <cstddef>
#include <functional>
#include <memory>
#include <mutex>
#include <vector>

#include "Tree.h"
#include "Values.h"
#include "gnmi.grpc.pb.h"

namespace Target {

/** What one client may ask for; more is RESOURCE_EXHAUSTED. */
struct Limits {
  std::size_t messageBytes = std::size_t{4} << 20U;
  /** Of a prefix and a path together. */
  std::size_t elements = 64;
  std::size_t keys = 256;
  /** Nodes of the schema that one path with wildcards means. */
  std::size_t expansions = 1'000;
};

using Tree = std::shared_ptr<Entry const>;

/** A leaf and its new values, none where it was deleted; or an entry that has gone: then there is no `node`. */
struct Changed {
  Gnmi::Resolved at;
  DataNode const* node;
  std::vector<Value> values;
};

class Store {
 public:
  explicit Store(Schema const& schema) : schema_(schema), tree_(std::make_shared<Entry>()) {}

  Tree tree() const;
  /** One transaction: no reader sees a part of it. */
  void commit(std::span<Edit const> edits);

 private:
  /** Adds one to the counter of every entry that changed and is still there. */
  void count(Entry& root, std::vector<Changed>& changes) const;

  Schema const& schema_;
  /** Held while a tree is made from the last one. */
  std::mutex writing_;
  /** Held while a pointer is copied. */
  mutable std::mutex publishing_;
  Tree tree_;
};

class Service final : public gnmi::gNMI::CallbackService {
 public:
  Service(Schema const& schema, Limits const& limits) : schema_(schema), limits_(limits), store_(schema) {}

  grpc::ServerUnaryReactor* Capabilities(grpc::CallbackServerContext* context, gnmi::CapabilityRequest const* request,
                                         gnmi::CapabilityResponse* response) override;
  grpc::ServerUnaryReactor* Get(grpc::CallbackServerContext* context, gnmi::GetRequest const* request,
                                gnmi::GetResponse* response) override;
  grpc::ServerUnaryReactor* Set(grpc::CallbackServerContext* context, gnmi::SetRequest const* request,
                                gnmi::SetResponse* response) override;

 private:
  void get(gnmi::GetRequest const& request, gnmi::GetResponse& response) const;
  void set(gnmi::SetRequest const& request, gnmi::SetResponse& response);

  Gnmi::Path absolute(gnmi::Path const& prefix, gnmi::Path const& path, Gnmi::Call call) const;
  void readEdits(gnmi::Path const& prefix, gnmi::Path const& path, gnmi::TypedValue const* value, Edit::Kind kind,
                 std::vector<Edit>& into) const;
  void writePath(Gnmi::Resolved const& at, gnmi::Path& into) const;

  Schema const& schema_;
  Limits limits_;
  Store store_;
};

}  // namespace Target
