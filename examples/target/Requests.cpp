#include "Requests.h"

#include <fmt/core.h>
#include <gnmi/Message.h>

#include <algorithm>
#include <chrono>

namespace Target {

std::int64_t now() {
  return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::system_clock::now().time_since_epoch())
      .count();
}

Gnmi::Path Requests::absolute(gnmi::Path const& prefix, gnmi::Path const& path, Gnmi::Call call) const {
  auto first = Gnmi::readPath(prefix);
  if (!first) {
    first.error().inPrefix = true;
  }
  Gnmi::Path const start = orRefuse(std::move(first), call);
  Gnmi::Path whole = orRefuse(Gnmi::join(start, orRefuse(Gnmi::readPath(path), call)), call);
  std::size_t keys = 0;
  std::ranges::for_each(whole.elements(), [&](Gnmi::Element const& element) { keys += element.keyCount; });
  if (whole.elements().size() > limits.elements || keys > limits.keys) {
    refuse(fmt::format("a path of {} elements and {} keys: at most {} and {} are taken", whole.elements().size(), keys,
                       limits.elements, limits.keys),
           grpc::StatusCode::RESOURCE_EXHAUSTED);
  }
  return whole;
}

void Requests::expand(Gnmi::Path const& path, Gnmi::Mode mode, Gnmi::Call call, Allowance& allowance,
                      std::function<void(Gnmi::Resolved const&)> const& visit) const {
  std::size_t found = 0;
  auto const visitAll = [&](Gnmi::Resolved const& node) {
    ++found;
    visit(node);
    return true;
  };
  orRefuse(schema.resolver().expand(path, visitAll, mode, {.expansions = allowance.expansions + 1}), call);
  allowance.expansions -= found - 1;
}

void Requests::write(DataNode const& node, std::span<KeyPtr const> keys, gnmi::Path& into) const {
  auto const path = schema.resolver().canonical(resolvedOf(node, keys), Gnmi::ModelValues());
  Gnmi::writePath(orRefuse(path, Gnmi::Call::Get), into);
}

Filter Requests::filterOf(gnmi::Encoding encoding,
                          google::protobuf::RepeatedPtrField<gnmi::ModelData> const& models) const {
  if (encoding != gnmi::JSON && encoding != gnmi::JSON_IETF && encoding != gnmi::PROTO) {
    refuse("this encoding is not supported: JSON, JSON_IETF and PROTO are", grpc::StatusCode::UNIMPLEMENTED);
  }
  Filter filter;
  for (gnmi::ModelData const& model : models) {
    if (std::ranges::find(schema.models(), model.name(), &gnmi::ModelData::name) == schema.models().end()) {
      refuse(fmt::format("model '{}' is not served", model.name()));
    }
    filter.modules.insert(model.name());
  }
  return filter;
}

void refuseExtensions(int count) {
  if (count != 0) {
    refuse("extensions are not supported", grpc::StatusCode::UNIMPLEMENTED);
  }
}

}  // namespace Target
