// load ADDRESS YANG PID: how many Gets and Sets a target answers with 1, 16 and 64 clients, how long they take, and how
// much of a Set of 500 updates is the work on keys, by the time of the processor that the target, process PID, takes.
#include <gnmi/Message.h>
#include <grpcpp/grpcpp.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include "Schema.h"
#include "gnmi.grpc.pb.h"

namespace {

using Clock = std::chrono::steady_clock;
using Stub = gnmi::gNMI::Stub;

double microseconds(Clock::duration time) { return std::chrono::duration<double, std::micro>(time).count(); }

void fillPath(gnmi::Path& path, int entry) {
  path.add_elem()->set_name("routing");
  gnmi::PathElem& instance = *path.add_elem();
  instance.set_name("instance");
  (*instance.mutable_key())["name"] = "load";
  gnmi::PathElem& route = *path.add_elem();
  route.set_name("route");
  (*route.mutable_key())["prefix"] =
      "10." + std::to_string(entry / 250 % 250) + "." + std::to_string(entry % 250) + ".0/24";
  (*route.mutable_key())["protocol"] = "bgp";
  (*route.mutable_key())["tag"] = std::to_string(entry);
  path.add_elem()->set_name("metric");
}

gnmi::SetRequest setOf(int first, int count, std::uint64_t value) {
  gnmi::SetRequest request;
  for (int i = first; i < first + count; ++i) {
    gnmi::Update& update = *request.add_update();
    fillPath(*update.mutable_path(), i);
    update.mutable_val()->set_uint_val(value);
  }
  return request;
}

void set(Stub& stub, gnmi::SetRequest const& request) {
  grpc::ClientContext context;
  gnmi::SetResponse response;
  if (auto const status = stub.Set(&context, request, &response); !status.ok()) {
    std::fprintf(stderr, "Set: %s\n", status.error_message().c_str());
    std::exit(1);
  }
}

void get(Stub& stub, int entry) {
  grpc::ClientContext context;
  gnmi::GetRequest request;
  request.set_encoding(gnmi::PROTO);
  fillPath(*request.add_path(), entry);
  gnmi::GetResponse response;
  if (auto const status = stub.Get(&context, request, &response);
      !status.ok() || response.notification(0).update_size() != 1) {
    std::fprintf(stderr, "Get: %s\n", status.error_message().c_str());
    std::exit(1);
  }
}

double percentile(std::vector<double>& sorted, double part) {
  return sorted[std::min(sorted.size() - 1, static_cast<std::size_t>(static_cast<double>(sorted.size()) * part))];
}

void measure(char const* what, std::string const& address, int clients, std::function<void(Stub&, int)> const& call) {
  constexpr auto length = std::chrono::seconds(4);
  std::vector<std::vector<double>> took(static_cast<std::size_t>(clients));
  std::vector<std::thread> threads;
  auto const began = Clock::now();
  for (int client = 0; client < clients; ++client) {
    threads.emplace_back([&, client] {
      grpc::ChannelArguments arguments;
      arguments.SetInt("client", client % 8);
      auto const stub =
          gnmi::gNMI::NewStub(grpc::CreateCustomChannel(address, grpc::InsecureChannelCredentials(), arguments));
      for (int i = 0; Clock::now() - began < length; ++i) {
        auto const start = Clock::now();
        call(*stub, client * 100 + i % 100);
        took[static_cast<std::size_t>(client)].push_back(microseconds(Clock::now() - start));
      }
    });
  }
  std::ranges::for_each(threads, &std::thread::join);
  double const seconds = microseconds(Clock::now() - began) / 1e6;
  std::vector<double> all;
  std::ranges::for_each(took, [&](auto const& one) { all.insert(all.end(), one.begin(), one.end()); });
  std::ranges::sort(all);
  std::printf("load: %2d clients: %6.0f %s a second; p50 %5.0f us, p99 %6.0f us\n", clients,
              static_cast<double>(all.size()) / seconds, what, percentile(all, 0.5), percentile(all, 0.99));
  std::fflush(stdout);
}

/** What a process has taken of the processor. */
double processorTime(std::string const& pid) {
  std::ifstream file("/proc/" + pid + "/stat");
  std::string word;
  std::getline(file, word, ')');
  for (int i = 3; i < 14; ++i) {
    file >> word;
  }
  double user = 0;
  double system = 0;
  file >> user >> system;
  return (user + system) * 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK));
}

constexpr int runs = 500;

/** What reading and resolving the paths of a request takes of the processor. */
double resolving(Target::Schema const& schema, gnmi::SetRequest const& request, Gnmi::Mode mode) {
  auto const began = std::clock();
  for (int i = 0; i < runs; ++i) {
    Gnmi::Path path;
    for (gnmi::Update const& update : request.update()) {
      Gnmi::Resolved found;
      if (!Gnmi::readPath(update.path(), path) || !schema.resolver().resolve(path, found, mode)) {
        std::fprintf(stderr, "a path is not resolved\n");
        std::exit(1);
      }
    }
  }
  return static_cast<double>(std::clock() - began) * 1e6 / CLOCKS_PER_SEC / runs;
}

}  // namespace

int main(int count, char** words) {
  if (count != 4) {
    return 2;
  }
  std::string const address = words[1];
  auto const stub = gnmi::gNMI::NewStub(grpc::CreateChannel(address, grpc::InsecureChannelCredentials()));
  for (int i = 0; i < 6400; i += 100) {
    set(*stub, setOf(i, 100, 1));
  }
  for (int const clients : {1, 16, 64}) {
    measure("Gets", address, clients, [](Stub& one, int entry) { get(one, entry); });
    measure("Sets", address, clients, [](Stub& one, int entry) {
      static std::atomic<std::uint64_t> value = 0;
      set(one, setOf(entry, 1, ++value % 4'000'000'000));
    });
  }
  std::uint64_t value = 0;
  double const before = processorTime(words[3]);
  for (int i = 0; i < runs; ++i) {
    set(*stub, setOf(0, 500, ++value));
  }
  double const whole = (processorTime(words[3]) - before) / runs;
  Target::Schema const schema(words[2]);
  gnmi::SetRequest const request = setOf(0, 500, 1);
  gnmi::SetRequest bare = request;
  for (gnmi::Update& update : *bare.mutable_update()) {
    for (gnmi::PathElem& elem : *update.mutable_path()->mutable_elem()) {
      elem.clear_key();
    }
  }
  double const keys = resolving(schema, request, Gnmi::Mode::Write) - resolving(schema, bare, Gnmi::Mode::Read);
  std::printf(
      "load: a Set of 500 updates: %.0f us; of these %.0f us are the work on 2000 keys: %.1f%% more than the rest\n",
      whole, keys, keys / (whole - keys) * 100);
}
