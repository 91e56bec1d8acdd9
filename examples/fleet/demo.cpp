// Events for a fleet to type, and what has to come of them:
//
//   generate N   puts N messages into EVENTS: most with an event, some with a list of three; some have a flaw
//   left         how many messages are not typed yet, and how many of them workers have at the moment
//   count N      reads ROWS and ERRORS from the start, and compares with what N messages give
//
// What has to come of a message is worked out from its number alone, without the libraries that the worker uses.
#include <CLI/CLI.hpp>

#include <chrono>
#include <iostream>
#include <nlohmann/json.hpp>
#include <set>
#include <thread>
#include <vector>

#include "Fleet.h"

namespace {

using Json = nlohmann::ordered_json;

struct Event {
  std::uint32_t message;
  std::uint32_t place;

  std::string id() const { return std::to_string(message) + '/' + std::to_string(place); }
  std::string vrf() const { return "v" + std::to_string(message % 7); }
  std::string prefix(int last) const {
    return "10." + std::to_string(message >> 8U & 255U) + '.' + std::to_string(message & 255U) + '.' +
           std::to_string(last) + "/24";
  }
  std::uint32_t tag() const { return message * 3 + place; }
  /** The second of three events, now and then. */
  bool isUnknown() const { return message % 100 == 53 && place == 1; }
};

std::uint32_t eventsOf(std::uint32_t message) { return message % 10 == 3 ? 3 : 1; }
bool isCut(std::uint32_t message) { return message % 100 == 57; }

/** As a collector sends it: every key is text, and written in one of several ways. */
Json json(Event const& event) {
  return {{"id", event.id()},
          {"name", "demo"},
          {"timestamp", 1'700'000'000'000'000'000 + event.message},
          {"tags",
           {{"source", "192.0.2.1"},
            {"vrf_name", event.vrf()},
            {"route_vrf", event.vrf()},
            {"route_prefix", event.prefix(event.message % 2 == 0 ? 0 : 9)},
            {"route_protocol", event.isUnknown() ? "BGP" : "bgp"},
            {"route_tag", (event.message % 2 == 0 ? "" : "00") + std::to_string(event.tag())}}},
          {"values", {{"/vrf/route/nextHop/weight", 0.5}}}};
}

std::string text(std::uint32_t message) {
  Json all = Json::array();
  for (std::uint32_t place = 0; place != eventsOf(message); ++place) {
    all.push_back(json({message, place}));
  }
  std::string text = all.size() == 1 ? all[0].dump() : all.dump();
  return isCut(message) ? text.substr(0, text.size() / 2) : text;
}

void generate(jsCtx* context, std::uint32_t messages) {
  for (std::uint32_t message = 0; message != messages; ++message) {
    std::string const body = text(message);
    std::string const id = "demo." + std::to_string(message);
    jsPubOptions options;
    jsPubOptions_Init(&options);
    options.MsgId = id.c_str();
    options.MaxWait = 1000;
    while (js_Publish(nullptr, context, "events.demo", body.data(), static_cast<int>(body.size()), &options, nullptr) !=
           NATS_OK) {
      std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
  }
}

void left(jsCtx* context, std::string const& consumer) {
  auto const info = Fleet::consumerInfo(context, consumer);
  std::cout << info->NumPending + static_cast<std::uint64_t>(info->NumAckPending) << ' ' << info->NumAckPending << '\n';
}

/** Each message of a stream, from the first to what is now the last. */
template <typename Each>
void read(jsCtx* context, char const* stream, char const* subject, Each each) {
  auto const info = Fleet::streamInfo(context, stream);
  jsSubOptions options;
  jsSubOptions_Init(&options);
  options.Stream = stream;
  options.Ordered = true;
  options.Config.DeliverPolicy = js_DeliverAll;
  natsSubscription* made = nullptr;
  Fleet::check(js_SubscribeSync(&made, context, subject, nullptr, &options, nullptr), stream);
  Fleet::Subscription const subscription(made);
  for (std::uint64_t i = 0; i != info->State.Msgs; ++i) {
    natsMsg* message = nullptr;
    Fleet::check(natsSubscription_NextMsg(&message, made, 10'000), stream);
    Fleet::Message const owned(message);
    each(std::string_view(natsMsg_GetData(message), static_cast<std::size_t>(natsMsg_GetDataLength(message))));
  }
}

struct Tally {
  std::uint64_t expected = 0;
  std::uint64_t doubled = 0;
  std::uint64_t wrong = 0;
  std::set<std::string> seen = {};

  void add(std::string id, bool isRight) {
    wrong += isRight ? 0 : 1;
    doubled += seen.insert(std::move(id)).second ? 0 : 1;
  }
  bool print(std::string_view what) const {
    // What is there and was not expected is counted as wrong.
    std::uint64_t const missing = expected - std::min<std::uint64_t>(expected, seen.size());
    std::cout << what << ": expected " << expected << ", there " << seen.size() << ", missing " << missing
              << ", doubled " << doubled << ", wrong " << wrong << '\n';
    return missing == 0 && doubled == 0 && wrong == 0 && seen.size() == expected;
  }
};

bool count(jsCtx* context, std::uint32_t messages) {
  Tally rows;
  Tally errors;
  for (std::uint32_t message = 0; message != messages; ++message) {
    std::uint32_t const unknown = message % 100 == 53 ? 1 : 0;
    rows.expected += isCut(message) ? 0 : eventsOf(message) - unknown;
    errors.expected += isCut(message) ? 1 : unknown;
  }
  read(context, Fleet::rowStream, Fleet::rowSubject, [&](std::string_view data) {
    Json const row = Json::parse(data);
    std::string id = row["id"];
    Event const event = {static_cast<std::uint32_t>(std::stoul(id)),
                         static_cast<std::uint32_t>(std::stoul(id.substr(id.find('/') + 1)))};
    bool const isRight = event.message < messages && event.place < eventsOf(event.message) && !event.isUnknown() &&
                         !isCut(event.message) && row["kind"] == "one" && row["vrf"] == event.vrf() &&
                         row["prefix"] == event.prefix(0) && row["protocol"] == "bgp" && row["tag"] == event.tag();
    rows.add(std::move(id), isRight);
  });
  read(context, Fleet::errorStream, Fleet::errorSubject, [&](std::string_view data) {
    std::size_t const at = data.find(R"("id":")");
    auto const message = static_cast<std::uint32_t>(std::stoul(std::string(data.substr(at + 6, 10))));
    errors.add(std::to_string(message),
               message < messages && (isCut(message) || message % 100 == 53) && data == text(message));
  });
  bool const rowsAreRight = rows.print("rows");
  return errors.print("messages in ERRORS") && rowsAreRight;
}

}  // namespace

int main(int argc, char** argv) {
  std::string server = Fleet::defaultServer;
  std::string consumer = Fleet::defaultConsumer;
  std::uint32_t messages = 0;
  CLI::App app("Puts events into EVENTS, and compares what workers made of them with what has to come");
  app.add_option("--server", server)->capture_default_str();
  app.add_option("--consumer", consumer)->capture_default_str();
  app.require_subcommand(1);
  app.fallthrough();  // `--server` may stand behind a subcommand, too.
  app.add_subcommand("generate")->add_option("messages", messages)->required();
  app.add_subcommand("left");
  app.add_subcommand("count")->add_option("messages", messages)->required();
  CLI11_PARSE(app, argc, argv);
  try {
    Fleet::Connection const connection = Fleet::connect(server);
    Fleet::JetStream const context = Fleet::jetStream(connection.get());
    if (app.got_subcommand("generate")) {
      generate(context.get(), messages);
    } else if (app.got_subcommand("left")) {
      left(context.get(), consumer);
    } else {
      return count(context.get(), messages) ? 0 : 1;
    }
  } catch (std::exception const& error) {
    std::cerr << "demo: " << error.what() << '\n';
    return 2;
  }
}
