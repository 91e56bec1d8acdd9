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
  /** Entries of lists that a request looks at, but for those of exact keys. */
  std::size_t entries = 10'000'000;
  /** Of what a Get answers: clients of gRPC take no more, unless they are told to. */
  std::size_t answerBytes = std::size_t{4} << 20U;
  /** Calls that a connection has under way; further ones wait in the client. Streams count as well. */
  std::size_t calls = 256;
  /** Of a connection. */
  std::size_t connectionStreams = 200;
  /** Of all connections together. */
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
  /** Each node of the schema that the path means; all but the first are taken from the allowance. */
  void expand(Gnmi::Path const& path, Gnmi::Mode mode, Gnmi::Call call, Allowance& allowance,
              std::function<void(Gnmi::Resolved const&)> const& visit) const;
  /** The canonical path. */
  void write(DataNode const& node, std::span<KeyPtr const> keys, gnmi::Path& into) const;

  /** What the answer holds. Checks what Get and Subscribe have in common. */
  Filter filterOf(gnmi::Encoding encoding, google::protobuf::RepeatedPtrField<gnmi::ModelData> const& models) const;
  /** Of one request. */
  Allowance allowance() const { return {limits.expansions, limits.entries, limits.answerBytes}; }

  Schema const& schema;
  Limits const limits;
};

/** Extensions are not supported. */
void refuseExtensions(int count);

}  // namespace Target
