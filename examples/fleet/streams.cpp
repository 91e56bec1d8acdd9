// Makes the streams and the consumer of a fleet, or changes those that are there to what is asked for.
#include <CLI/CLI.hpp>

#include <iostream>

#include "Fleet.h"

namespace {

struct Settings {
  std::string server = Fleet::defaultServer;
  std::string consumer = Fleet::defaultConsumer;
  std::string filter;
  std::int64_t ackWait = 10;
  std::int64_t window = 3600;
  std::int64_t keep = 24 * 3600;
  std::int64_t maxBytes = std::int64_t{1} << 30U;
  std::int64_t maxRowBytes = std::int64_t{1} << 30U;
};

jsStreamConfig stream(char const* name, char const*& subject) {
  jsStreamConfig config;
  jsStreamConfig_Init(&config);
  config.Name = name;
  config.Subjects = &subject;
  config.SubjectsLen = 1;
  config.Storage = js_FileStorage;
  // A stream that is full refuses what comes; by default it would forget what is oldest.
  config.Discard = js_DiscardNew;
  return config;
}

void make(jsCtx* context, jsStreamConfig config) {
  jsErrCode error{};
  natsStatus status = js_AddStream(nullptr, context, &config, nullptr, &error);
  if (status != NATS_OK && error == JSStreamNameExistErr) {
    status = js_UpdateStream(nullptr, context, &config, nullptr, &error);
  }
  Fleet::check(status, std::string("stream ") + config.Name);
}

void makeAll(Settings const& settings) {
  Fleet::Connection const connection = Fleet::connect(settings.server);
  Fleet::JetStream const context = Fleet::jetStream(connection.get());

  char const* subject = Fleet::eventSubject;
  jsStreamConfig events = stream(Fleet::eventStream, subject);
  // Events stay when they were acknowledged: with retention by acknowledgement a server that was killed (2.9) has
  // forgotten those that workers had at that time.
  events.Retention = js_LimitsPolicy;
  events.MaxAge = settings.keep * Fleet::second;
  events.MaxBytes = settings.maxBytes;
  events.Duplicates = settings.window * Fleet::second;
  // An event that fails is kept in ERRORS with headers, and both together have to fit a message.
  events.MaxMsgSize = static_cast<std::int32_t>(natsConnection_GetMaxPayload(connection.get()) - 32 * 1024);
  make(context.get(), events);

  subject = Fleet::rowSubject;
  jsStreamConfig rows = stream(Fleet::rowStream, subject);
  // The server learns again after a restart which ids it had from the messages that are still there. So rows stay for
  // the window at least, however soon they are read.
  rows.Retention = js_LimitsPolicy;
  rows.MaxAge = settings.keep * Fleet::second;
  rows.MaxBytes = settings.maxRowBytes;
  rows.Duplicates = settings.window * Fleet::second;
  make(context.get(), rows);

  subject = Fleet::errorSubject;
  jsStreamConfig errors = stream(Fleet::errorStream, subject);
  errors.MaxBytes = settings.maxBytes;
  errors.Duplicates = settings.window * Fleet::second;
  make(context.get(), errors);

  jsConsumerConfig consumer;
  jsConsumerConfig_Init(&consumer);
  consumer.Durable = settings.consumer.c_str();
  consumer.FilterSubject = settings.filter.empty() ? nullptr : settings.filter.c_str();
  consumer.AckPolicy = js_AckExplicit;
  consumer.AckWait = settings.ackWait * Fleet::second;
  // However often a message came back: the worker says when it is enough, and puts it elsewhere.
  consumer.MaxDeliver = -1;
  consumer.MaxAckPending = 10'000;
  Fleet::check(js_AddConsumer(nullptr, context.get(), Fleet::eventStream, &consumer, nullptr, nullptr),
               "consumer " + settings.consumer);
}

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  CLI::App app("Makes the streams EVENTS, ROWS and ERRORS, and the consumer of the workers; times are in seconds");
  app.add_option("--server", settings.server)->capture_default_str();
  app.add_option("--consumer", settings.consumer)->capture_default_str();
  app.add_option("--filter", settings.filter, "Subject of the events of this consumer; all unless given");
  app.add_option("--ack-wait", settings.ackWait, "A message not acknowledged for this long goes to another worker")
      ->capture_default_str()
      ->check(CLI::Range(1, 3600));
  app.add_option("--window", settings.window, "For this long a message with an id that was there is dropped")
      ->capture_default_str()
      ->check(CLI::Range(2, 365 * 24 * 3600));
  app.add_option("--keep", settings.keep, "For this long events and rows are kept")
      ->capture_default_str()
      ->check(CLI::Range(2, 365 * 24 * 3600));
  app.add_option("--max-bytes", settings.maxBytes, "Of EVENTS, and of ERRORS")->capture_default_str();
  app.add_option("--max-row-bytes", settings.maxRowBytes, "Of ROWS")->capture_default_str();
  CLI11_PARSE(app, argc, argv);
  try {
    if (settings.window <= settings.ackWait || settings.keep < settings.window) {
      throw std::runtime_error("--window is to be above --ack-wait, and --keep is to be no less than --window");
    }
    makeAll(settings);
  } catch (std::exception const& error) {
    std::cerr << "streams: " << error.what() << '\n';
    return 2;
  }
}
