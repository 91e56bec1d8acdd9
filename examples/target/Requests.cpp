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
    refuse(grpc::StatusCode::RESOURCE_EXHAUSTED,
           fmt::format("a path of {} elements and {} keys: at most {} and {} are taken", whole.elements().size(), keys,
                       limits.elements, limits.keys));
  }
  return whole;
}

void Requests::expand(Gnmi::Path const& path, Gnmi::Mode mode, Gnmi::Call call, std::size_t& budget,
                      std::function<void(Gnmi::Resolved const&)> const& visit) const {
  std::size_t found = 0;
  auto const visitAll = [&](Gnmi::Resolved const& node) {
    ++found;
    visit(node);
    return true;
  };
  orRefuse(schema.resolver().expand(path, visitAll, mode, {.expansions = budget + 1}), call);
  budget -= found - 1;
}

void Requests::write(Gnmi::Resolved const& at, gnmi::Path& into) const {
  Gnmi::writePath(orRefuse(schema.resolver().canonical(at, Gnmi::ModelValues()), Gnmi::Call::Get), into);
}

void Requests::checkModel(std::string const& name) const {
  if (std::ranges::find(schema.models(), name, &gnmi::ModelData::name) == schema.models().end()) {
    refuse(grpc::StatusCode::INVALID_ARGUMENT, fmt::format("model '{}' is not served", name));
  }
}

void Requests::checkEncoding(gnmi::Encoding encoding) {
  if (encoding != gnmi::JSON && encoding != gnmi::JSON_IETF && encoding != gnmi::PROTO) {
    refuse(grpc::StatusCode::UNIMPLEMENTED, "this encoding is not supported: JSON, JSON_IETF and PROTO are");
  }
}

}  // namespace Target
