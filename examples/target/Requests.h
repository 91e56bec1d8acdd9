// What the calls have in common: paths, limits, and what requests may ask for.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <string>

#include "Schema.h"
#include "Status.h"
#include "Values.h"
#include "gnmi.pb.h"

namespace Target {

/** What clients may ask for; more is RESOURCE_EXHAUSTED. */
struct Limits {
  std::size_t messageBytes = std::size_t{4} << 20U;
  /** Of a path with its prefix. */
  std::size_t elements = 64;
  std::size_t keys = 256;
  /** Nodes of the schema that the wildcards of one request mean. */
  std::size_t expansions = 10'000;
  /** Of what a Get answers. */
  std::size_t answerBytes = std::size_t{64} << 20U;
  /** Of all clients together. */
  std::size_t streams = 2'000;
  /** Of a stream. */
  std::size_t subscriptions = 256;
  /** Changes that wait for a subscriber who reads slowly. */
  std::size_t queue = 10'000;
  /** Milliseconds between two samples, at least. */
  std::size_t sampleMilliseconds = 100;
};

/** Nanoseconds since 1970. */
std::int64_t now();

/** Reads what requests hold. Throws `Refused`. */
class Requests {
 public:
  Requests(Schema const& schema, Limits const& limits) : schema(schema), limits(limits) {}

  /** The path behind its prefix. It views the messages. */
  Gnmi::Path absolute(gnmi::Path const& prefix, gnmi::Path const& path, Gnmi::Call call) const;
  /** Each node of the schema that the path means; all but the first are taken from the budget of the request. */
  void expand(Gnmi::Path const& path, Gnmi::Mode mode, Gnmi::Call call, std::size_t& budget,
              std::function<void(Gnmi::Resolved const&)> const& visit) const;
  /** The canonical path. */
  void write(Gnmi::Resolved const& at, gnmi::Path& into) const;

  /** Checks what Get and Subscribe have in common. */
  template <typename Request>
  Filter filterOf(Request const& request) const {
    checkEncoding(request.encoding());
    Filter filter;
    for (gnmi::ModelData const& model : request.use_models()) {
      checkModel(model.name());
      filter.modules.insert(model.name());
    }
    return filter;
  }

  Schema const& schema;
  Limits const limits;

 private:
  void checkModel(std::string const& name) const;
  static void checkEncoding(gnmi::Encoding encoding);
};

template <typename Request>
void refuseExtensions(Request const& request) {
  if (request.extension_size() != 0) {
    refuse(grpc::StatusCode::UNIMPLEMENTED, "extensions are not supported");
  }
}

}  // namespace Target
