// What the programs of this folder share: the names of streams, and handles of the NATS library that free themselves.
#pragma once

#include <nats/nats.h>

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

namespace Fleet {

/** Streams, and the subjects that they take. */
inline constexpr char const* eventStream = "EVENTS";
inline constexpr char const* eventSubject = "events.>";
inline constexpr char const* rowStream = "ROWS";
inline constexpr char const* rowSubject = "rows.>";
inline constexpr char const* errorStream = "ERRORS";
inline constexpr char const* errorSubject = "errors.>";
/** The durable consumer that all workers share. */
inline constexpr char const* defaultConsumer = "typing";
inline constexpr char const* defaultServer = "nats://127.0.0.1:4222";

inline constexpr std::int64_t second = 1'000'000'000;

template <auto destroy>
struct Destroy {
  void operator()(auto* handle) const { destroy(handle); }
};
using Connection = std::unique_ptr<natsConnection, Destroy<natsConnection_Destroy>>;
using JetStream = std::unique_ptr<jsCtx, Destroy<jsCtx_Destroy>>;
using Subscription = std::unique_ptr<natsSubscription, Destroy<natsSubscription_Destroy>>;
using Message = std::unique_ptr<natsMsg, Destroy<natsMsg_Destroy>>;
using MetaData = std::unique_ptr<jsMsgMetaData, Destroy<jsMsgMetaData_Destroy>>;
using PubAck = std::unique_ptr<jsPubAck, Destroy<jsPubAck_Destroy>>;
using StreamInfo = std::unique_ptr<jsStreamInfo, Destroy<jsStreamInfo_Destroy>>;
using ConsumerInfo = std::unique_ptr<jsConsumerInfo, Destroy<jsConsumerInfo_Destroy>>;

/** What the last call of the library says of its failure, without the place in the library that stands in front. */
inline std::string errorText(natsStatus status) {
  char const* const last = nats_GetLastError(nullptr);
  std::string const text = last != nullptr ? last : "";
  std::size_t const place = text.starts_with('(') ? text.find("): ") : std::string::npos;
  return text.empty() ? natsStatus_GetText(status) : place != std::string::npos ? text.substr(place + 3) : text;
}

inline void check(natsStatus status, std::string const& what) {
  if (status != NATS_OK) {
    throw std::runtime_error(what + ": " + errorText(status));
  }
}

/** Connects again for as long as it takes, when the server goes; with `isPatient` also while it is not there yet. */
inline Connection connect(std::string const& server, bool isPatient = false) {
  natsOptions* made = nullptr;
  check(natsOptions_Create(&made), "options");
  std::unique_ptr<natsOptions, Destroy<natsOptions_Destroy>> const options(made);
  check(natsOptions_SetURL(made, server.c_str()), server);
  check(natsOptions_SetMaxReconnect(made, -1), "options");
  check(natsOptions_SetReconnectWait(made, 250), "options");
  check(natsOptions_SetRetryOnFailedConnect(made, isPatient, nullptr, nullptr), "options");
  natsConnection* connection = nullptr;
  check(natsConnection_Connect(&connection, made), server);
  return Connection(connection);
}

inline JetStream jetStream(natsConnection* connection) {
  jsCtx* made = nullptr;
  check(natsConnection_JetStream(&made, connection, nullptr), "JetStream");
  return JetStream(made);
}

inline StreamInfo streamInfo(jsCtx* context, char const* stream) {
  jsStreamInfo* info = nullptr;
  check(js_GetStreamInfo(&info, context, stream, nullptr, nullptr), std::string("stream ") + stream);
  return StreamInfo(info);
}

inline ConsumerInfo consumerInfo(jsCtx* context, std::string const& consumer) {
  jsConsumerInfo* info = nullptr;
  check(js_GetConsumerInfo(&info, context, eventStream, consumer.c_str(), nullptr, nullptr), "consumer " + consumer);
  return ConsumerInfo(info);
}

}  // namespace Fleet
