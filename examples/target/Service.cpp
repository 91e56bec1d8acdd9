#include "Service.h"

#include <fmt/core.h>

#include <deque>
#include <string>
#include <string_view>
#include <utility>

namespace Target {
namespace {

/** Answers a call by what `work` does, or by what it refuses. */
template <typename Work>
grpc::ServerUnaryReactor* answer(grpc::CallbackServerContext* context, Work work) {
  grpc::ServerUnaryReactor* const reactor = context->DefaultReactor();
  grpc::Status status;
  try {
    work();
  } catch (Refused const& refused) {
    status = refused.status();
  }
  reactor->Finish(status);
  return reactor;
}

/** The keys in a payload are those of the path, however they are written. */
void checkKeys(Gnmi::Resolver const& resolver, DataNode const& node, bool isWholeList, Edit const& edit) {
  std::deque<std::string> texts;  // Which leaves view: they stay where they are while others are added.
  std::vector<Gnmi::PayloadLeaf> leaves;
  for (Leaf const& leaf : edit.payload.leaves) {
    if (leaf.node->isKey) {
      leaves.emplace_back(leaf.node->name, texts.emplace_back(Model::gnmiText(*leaf.value).value_or("")));
    }
  }
  for (DataNode const* const key : node.keys) {
    if (edit.operation == gnmi::UpdateResult::REPLACE && !isWholeList && edit.payload.held(*key).empty()) {
      refuse(fmt::format("the entry of '{}' lacks its key '{}', which a replacement has", node.name, key->name));
    }
  }
  if (!leaves.empty()) {
    orRefuse(resolver.checkPayload(edit.at.selections.back(), leaves, Gnmi::ModelValues()), Gnmi::Call::Set);
  }
}

}  // namespace

grpc::ServerUnaryReactor* Service::Capabilities(grpc::CallbackServerContext* context,
                                                gnmi::CapabilityRequest const* request,
                                                gnmi::CapabilityResponse* response) {
  return answer(context, [&] {
    refuseExtensions(request->extension_size());
    auto const& models = requests_.schema.models();
    response->mutable_supported_models()->Add(models.begin(), models.end());
    for (gnmi::Encoding const encoding : {gnmi::JSON, gnmi::JSON_IETF, gnmi::PROTO}) {
      response->add_supported_encodings(encoding);
    }
    response->set_gnmi_version("0.10.0");
  });
}

grpc::ServerUnaryReactor* Service::Get(grpc::CallbackServerContext* context, gnmi::GetRequest const* request,
                                       gnmi::GetResponse* response) {
  return answer(context, [&] { get(*request, *response); });
}

grpc::ServerUnaryReactor* Service::Set(grpc::CallbackServerContext* context, gnmi::SetRequest const* request,
                                       gnmi::SetResponse* response) {
  return answer(context, [&] { set(*request, *response); });
}

Reactor* Service::Subscribe(grpc::CallbackServerContext* context) { return streams_.open(context->peer()); }

void Service::get(gnmi::GetRequest const& request, gnmi::GetResponse& response) const {
  refuseExtensions(request.extension_size());
  Filter filter = requests_.filterOf(request.encoding(), request.use_models());
  if (!gnmi::GetRequest::DataType_IsValid(request.type())) {
    refuse("this type of data is none of ALL, CONFIG, STATE and OPERATIONAL");
  }
  filter.type = request.type();
  bool const isProto = request.encoding() == gnmi::PROTO;
  Allowance allowance = requests_.allowance();
  Tree const tree = store_.tree();
  for (gnmi::Path const& wanted : request.path()) {
    gnmi::Notification& notification = *response.add_notification();
    notification.set_timestamp(now());
    notification.mutable_prefix()->set_target(request.prefix().target());
    auto const path = requests_.absolute(request.prefix(), wanted, Gnmi::Call::Get);
    requests_.expand(path, Gnmi::Mode::Read, Gnmi::Call::Get, allowance, [&](Gnmi::Resolved const& found) {
      DataNode const& node = requests_.schema.node(found.node.attr);
      bool const isLeaves = isProto || node.isLeaf();
      for (Walk walk(requests_.schema, *tree, found, isLeaves, &allowance); walk.next();) {
        auto const add = [&](DataNode const& at, gnmi::TypedValue value) {
          gnmi::Update& update = *notification.add_update();
          requests_.write(at, walk.keys(), *update.mutable_path());
          *update.mutable_val() = std::move(value);
          std::size_t const bytes = update.ByteSizeLong();
          allowance.checkBytes(bytes);
          allowance.bytes -= bytes;
        };
        gnmi::TypedValue value;
        if (isLeaves) {
          walk.visitLeaves([&](DataNode const& leaf, std::span<Leaf const> values) {
            if (filter.takes(leaf)) {
              writeLeaf(values, request.encoding(), value);
              add(leaf, std::move(value));
            }
          });
        } else if (writeJson(node, walk.entry(), filter, request.encoding(), allowance, value)) {
          add(node, std::move(value));
        }
      }
    });
    if (notification.update().empty()) {
      refuse(fmt::format("no data at {}", Gnmi::formatPath(path)), grpc::StatusCode::NOT_FOUND);
    }
  }
}

void Service::readDelete(Gnmi::Path const& path, Allowance& allowance, std::vector<Edit>& into) const {
  std::size_t const others = into.size();
  requests_.expand(path, Gnmi::Mode::Delete, Gnmi::Call::Set, allowance,
                   [&](Gnmi::Resolved const& at) { into.push_back({.at = at}); });
  // What wildcards mean besides configuration is passed over.
  if (into.size() == others + 1) {
    DataNode const& node = requests_.schema.node(into.back().at.node.attr);
    checkSettable(node);
    if (node.isKey) {
      refuse(fmt::format("'{}' is a key: it goes with its entry alone", node.name));
    }
  }
}

Edit Service::readWrite(Gnmi::Path const& path, gnmi::TypedValue const& value,
                        gnmi::UpdateResult::Operation operation) const {
  Gnmi::Resolver const& resolver = requests_.schema.resolver();
  Edit edit{.operation = operation};
  orRefuse(resolver.resolve(path, edit.at, Gnmi::Mode::Write), Gnmi::Call::Set);
  DataNode const& node = requests_.schema.node(edit.at.node.attr);
  checkSettable(node);
  // Without keys, the last element is a list as a whole.
  bool const isWholeList = node.kind == Gnmi::NodeKind::List && path.elements().back().keyCount == 0;
  readPayload(node, value, isWholeList, edit.payload);
  checkKeys(resolver, node, isWholeList, edit);
  return edit;
}

void Service::set(gnmi::SetRequest const& request, gnmi::SetResponse& response) {
  if (request.union_replace_size() != 0) {
    refuse("union_replace is not supported", grpc::StatusCode::UNIMPLEMENTED);
  }
  int const operations = request.delete__size() + request.replace_size() + request.update_size();
  if (operations != 0) {
    refuseExtensions(request.extension_size());
  }
  std::vector<Edit> edits;
  edits.reserve(static_cast<std::size_t>(operations));
  response.mutable_response()->Reserve(operations);
  Allowance allowance = requests_.allowance();
  auto const read = [&](auto const& all, std::string_view what, gnmi::UpdateResult::Operation operation) {
    for (int i = 0; i < all.size(); ++i) {
      try {
        gnmi::UpdateResult& result = *response.add_response();
        result.set_op(operation);
        if constexpr (std::is_same_v<decltype(all[i]), gnmi::Path const&>) {
          *result.mutable_path() = all[i];
          readDelete(requests_.absolute(request.prefix(), all[i], Gnmi::Call::Set), allowance, edits);
        } else {
          *result.mutable_path() = all[i].path();
          Gnmi::Path const path = requests_.absolute(request.prefix(), all[i].path(), Gnmi::Call::Set);
          edits.push_back(readWrite(path, all[i].val(), operation));
        }
      } catch (Refused& refused) {
        refused.text = fmt::format("{}[{}]: {}", what, i, refused.text);
        throw;
      }
    }
  };
  read(request.delete_(), "delete", gnmi::UpdateResult::DELETE);
  read(request.replace(), "replace", gnmi::UpdateResult::REPLACE);
  read(request.update(), "update", gnmi::UpdateResult::UPDATE);
  store_.commit(edits, allowance, [&](std::span<Changed const> changes) { streams_.publish(changes); });
  *response.mutable_prefix() = request.prefix();
  response.set_timestamp(now());
}

}  // namespace Target
