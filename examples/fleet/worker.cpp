// A worker of a fleet: takes messages with events from the stream EVENTS, types them, and puts the rows into ROWS.
//
// Nothing is lost: a message is acknowledged when the server has said that it stored all that came of it, and a message
// that is not acknowledged comes back, to any worker. Nothing is doubled: each row has an id that depends on the
// message and on the place in it, whoever makes it and however often, and the server drops an id that it had. A message
// with something that has no row goes to ERRORS as well, as it came.
#include <CLI/CLI.hpp>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <iostream>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>
#include <vector>

#include "Batch.h"
#include "Fleet.h"
#include "zynkey/Rows.h"
#include "zynkey/Schemas.h"

namespace {

using Clock = std::chrono::steady_clock;

struct Settings {
  std::string server = Fleet::defaultServer;
  std::string consumer = Fleet::defaultConsumer;
  ZynKey::SchemaOptions schema;
  std::string collection;
  std::size_t maxMessage = std::size_t{1} << 20U;
  int batch = 100;
  unsigned tries = 10;
  bool isBare = false;
};

struct Counts {
  std::uint64_t messages = 0;
  std::uint64_t rows = 0;
  std::uint64_t doubles = 0;
  std::uint64_t errors = 0;
};

volatile std::sig_atomic_t isStopping = 0;

/** Thrown where a publish that waits is told to stop. */
struct Stopped {};

/** Why a message was not stored. */
enum class Trouble : std::uint8_t { OfMessage, OfServer, Unknown };

Trouble troubleOf(natsStatus status, jsErrCode error) {
  if (status == NATS_MAX_PAYLOAD || error == JSStreamMessageExceedsMaximumErr) {
    return Trouble::OfMessage;
  }
  // Without a code nobody answered; with the others the stream or the disk is full.
  bool const isOfServer = error == jsErrCode{} || error == JSStreamStoreFailedErr ||
                          error == JSStorageResourcesExceededErr || error == JSMemoryResourcesExceededErr ||
                          error == JSAccountResourcesExceededErr || error == JSInsufficientResourcesErr;
  return isOfServer ? Trouble::OfServer : Trouble::Unknown;
}

class Worker {
 public:
  Worker(Settings const& settings, ZynKey::Rows rows)
      : settings_(settings),
        rows_(std::move(rows)),
        rowSubject_("rows." + settings.collection),
        errorSubject_("errors." + settings.collection),
        connection_(Fleet::connect(settings.server, true)),
        context_(Fleet::jetStream(connection_.get())) {
    auto const ackWait = Fleet::consumerInfo(context_.get(), settings.consumer)->Config->AckWait;
    for (char const* const stream : {Fleet::rowStream, Fleet::errorStream}) {
      if (Fleet::streamInfo(context_.get(), stream)->Config->Duplicates <= ackWait) {
        throw std::runtime_error(std::string("stream ") + stream +
                                 " forgets ids before messages come back: its window is to be above AckWait");
      }
    }
    pulse_ = std::chrono::milliseconds(std::max<std::int64_t>(ackWait / Fleet::second * 1000 / 3, 100));
    jsSubOptions options;
    jsSubOptions_Init(&options);
    options.Stream = Fleet::eventStream;
    options.Consumer = settings.consumer.c_str();
    natsSubscription* subscription = nullptr;
    Fleet::check(
        js_PullSubscribe(&subscription, context_.get(), nullptr, settings.consumer.c_str(), nullptr, &options, nullptr),
        "consumer " + settings.consumer);
    subscription_.reset(subscription);
  }

  /** Until it is told to stop. */
  Counts run() {
    jsFetchRequest request;
    jsFetchRequest_Init(&request);
    request.Batch = settings_.batch;
    // What bounds memory, whatever the messages are; one of them fits always.
    request.MaxBytes =
        std::max<std::int64_t>(std::int64_t{8} << 20U, 2 * natsConnection_GetMaxPayload(connection_.get()));
    request.Expires = Fleet::second;
    while (isStopping == 0) {
      Fleet::Batch batch;
      if (natsStatus const status = batch.fetch(subscription_.get(), request);
          status != NATS_OK && status != NATS_TIMEOUT) {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
      }
      keptAt_ = Clock::now();
      try {
        while (batch.front() != nullptr && isStopping == 0) {
          batch.endFront(handle(batch));
          ++counts_.messages;
        }
      } catch (Stopped const&) {
        // The batch gives back the rest.
      }
    }
    natsConnection_FlushTimeout(connection_.get(), 2000);
    return counts_;
  }

 private:
  /** Whether all that comes of the first message is stored. */
  bool handle(Fleet::Batch& batch) {
    natsMsg* const message = batch.front();
    jsMsgMetaData* read = nullptr;
    Fleet::check(natsMsg_GetMetaData(&read, message), "a message that is of no stream");
    Fleet::MetaData const meta(read);
    std::string_view const data(natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message)));
    // A stream that was deleted and made anew counts from 1 again: the time tells its messages from the former ones.
    std::string const id =
        settings_.consumer + '.' + std::to_string(meta->Sequence.Stream) + '.' + std::to_string(meta->Timestamp) + '.';
    std::vector<std::string> errors;
    if (meta->NumDelivered > settings_.tries) {
      // It may be what ends workers.
      errors.push_back("delivered " + std::to_string(meta->NumDelivered) + " times, and no worker came to its end");
    } else {
      errors = publishRows(batch, id, data);
    }
    if (errors.empty()) {
      return true;
    }
    ++counts_.errors;
    auto const refusal = publish(batch, errorSubject_, id + "errors", data, errors);
    if (refusal) {
      std::cerr << "worker: message " << meta->Sequence.Stream << " stays in EVENTS: " << *refusal << '\n';
    }
    return !refusal;
  }

  /** Returns what is wrong with rows, one text for each. */
  std::vector<std::string> publishRows(Fleet::Batch& batch, std::string const& id, std::string_view data) {
    out_.clear();
    std::vector<ZynKey::Row> rows;
    if (settings_.isBare) {
      out_.append(data);
      rows.push_back({.begin = 0, .end = data.size() + 1, .failed = false});
    } else {
      std::ranges::copy(rows_.rows(data, out_), std::back_inserter(rows));
    }
    std::vector<std::string> errors;
    for (std::size_t number = 0; number != rows.size(); ++number) {
      auto const& [begin, end, failed] = rows[number];
      std::string_view const text = std::string_view(out_).substr(begin, end - begin - 1);
      nlohmann::json error = {{"row", number}};
      if (failed) {
        auto const row = nlohmann::json::parse(text);
        for (char const* const column : {"id", "error", "class", "offset"}) {
          error[column] = row[column];
        }
      } else if (auto refusal = publish(batch, rowSubject_, id + std::to_string(number), text)) {
        error["error"] = *refusal;
      } else {
        ++counts_.rows;
        continue;
      }
      errors.push_back(error.dump());
    }
    return errors;
  }

  /** Returns when the message is stored; or why it will never be. Waits for a server that is not there, or full. */
  std::optional<std::string> publish(Fleet::Batch& batch, std::string const& subject, std::string const& id,
                                     std::string_view data, std::vector<std::string> const& errors = {}) {
    natsMsg* made = nullptr;
    Fleet::check(natsMsg_Create(&made, subject.c_str(), nullptr, data.data(), static_cast<int>(data.size())), subject);
    Fleet::Message const message(made);
    for (std::size_t i = 0; i != std::min<std::size_t>(errors.size(), 8); ++i) {
      natsMsgHeader_Add(made, "Zynkey-Error", errors[i].substr(0, 2048).c_str());
    }
    if (!errors.empty()) {
      natsMsgHeader_Set(made, "Zynkey-Errors", std::to_string(errors.size()).c_str());
    }
    jsPubOptions options;
    jsPubOptions_Init(&options);
    options.MsgId = id.c_str();
    options.MaxWait = pulse_.count();
    auto pause = std::chrono::milliseconds(50);
    for (unsigned tries = 1;; ++tries) {
      if (Clock::now() - keptAt_ > pulse_) {
        batch.keep();
        keptAt_ = Clock::now();
      }
      jsPubAck* answer = nullptr;
      jsErrCode code{};
      natsStatus const status = js_PublishMsg(&answer, context_.get(), made, &options, &code);
      Fleet::PubAck const ack(answer);
      if (status == NATS_OK) {
        counts_.doubles += ack->Duplicate ? 1 : 0;
        return std::nullopt;
      }
      std::string const text = Fleet::errorText(status);
      Trouble const trouble = troubleOf(status, code);
      if (trouble == Trouble::OfMessage || (trouble == Trouble::Unknown && tries == settings_.tries)) {
        return text;
      }
      if (isStopping != 0) {
        throw Stopped();
      }
      if (tries == 1) {
        std::cerr << "worker: waits: " << text << '\n';
      }
      std::this_thread::sleep_for(pause);
      pause = std::min(pause * 2, pulse_);
    }
  }

  Settings const& settings_;
  ZynKey::Rows rows_;
  std::string rowSubject_;
  std::string errorSubject_;
  Fleet::Connection connection_;
  Fleet::JetStream context_;
  Fleet::Subscription subscription_;
  std::chrono::milliseconds pulse_{};
  /** When the server last heard that the batch is worked at. */
  Clock::time_point keptAt_;
  std::string out_;
  Counts counts_;
};

}  // namespace

int main(int argc, char** argv) {
  Settings settings;
  CLI::App app("Types the events of EVENTS into ROWS until SIGTERM; start as many as it takes");
  app.add_option("--server", settings.server)->capture_default_str();
  app.add_option("--consumer", settings.consumer, "That all workers of one kind share")->capture_default_str();
  app.add_option("--collection", settings.collection, "Type.attribute: one row for each event, a column for each part")
      ->required();
  app.add_option("--schema", settings.schema.file, "Schema file in YAML; the built-in example unless given");
  app.add_option("--yang", settings.schema.folders, "Folder with YANG modules, which are the schema then; repeatable");
  app.add_option("--max-message", settings.maxMessage, "In bytes; a longer one goes to ERRORS")->capture_default_str();
  app.add_option("--batch", settings.batch, "Messages fetched at once")
      ->capture_default_str()
      ->check(CLI::Range(1, 10000));
  app.add_option("--tries", settings.tries, "Deliveries after which a message goes to ERRORS untouched")
      ->capture_default_str()
      ->check(CLI::Range(1, 1000));
  app.add_flag("--bare", settings.isBare, "Passes messages on as they are, to measure the rest");
  CLI11_PARSE(app, argc, argv);
  try {
    ZynKey::Source const source = ZynKey::loadSource(settings.schema);
    auto rows = ZynKey::Rows::make(
        source.schema, source.facts,
        {.input = ZynKey::RowInput::Event, .collection = settings.collection, .maxLine = settings.maxMessage});
    if (!rows) {
      throw std::runtime_error(rows.error());
    }
    Worker worker(settings, *std::move(rows));
    for (int const signal : {SIGTERM, SIGINT}) {
      std::signal(signal, [](int) { isStopping = 1; });
    }
    std::cerr << "worker: ready\n";
    Counts const counts = worker.run();
    std::cerr << "worker: " << counts.messages << " messages, " << counts.rows << " rows, " << counts.errors
              << " to ERRORS; the server dropped " << counts.doubles << " that it had\n";
  } catch (ZynKey::BadSchema const& bad) {
    std::cerr << bad.what();
    return 2;
  } catch (std::exception const& error) {
    std::cerr << "worker: " << error.what() << '\n';
    return 2;
  }
}
