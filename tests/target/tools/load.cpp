// load ADDRESS: how many Gets and Sets a target answers with 1, 16 and 64 clients, and how long they take.
// load ADDRESS PID JOINED_ADDRESS JOINED_PID: what a Set of 500 updates takes of the processor, by the time of the
// target, process PID, beside the same server without typed keys: see joined.h.
#include <grpcpp/grpcpp.h>
#include <sys/types.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <functional>
#include <memory>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "gnmi.grpc.pb.h"

namespace {

using Clock = std::chrono::steady_clock;
using Stub = gnmi::gNMI::Stub;

double microseconds(Clock::duration time) { return std::chrono::duration<double, std::micro>(time).count(); }

void fillPath(gnmi::Path& path, int entry, char const* leaf = "metric") {
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
  path.add_elem()->set_name(leaf);
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

/** What a process has taken of the processor, in microseconds. */
double processorTime(pid_t pid) {
  clockid_t clock{};
  timespec time{};
  if (clock_getcpuclockid(pid, &clock) != 0 || clock_gettime(clock, &time) != 0) {
    std::exit(1);
  }
  return static_cast<double>(time.tv_sec) * 1e6 + static_cast<double>(time.tv_nsec) / 1e3;
}

/** What a Set of 500 updates takes: the least of some rounds, in turn with others, as other processes disturb. */
struct Sets {
  Sets(std::string const& address, std::string const& pid)
      : stub(gnmi::gNMI::NewStub(grpc::CreateChannel(address, grpc::InsecureChannelCredentials()))),
        pid(std::stoi(pid)) {}

  void round() {
    constexpr int count = 20;
    set(*stub, setOf(0, 500, ++value));
    double const before = processorTime(pid);
    for (int i = 0; i < count; ++i) {
      set(*stub, setOf(0, 500, ++value));
    }
    least = std::min(least, (processorTime(pid) - before) / count);
  }

  std::unique_ptr<Stub> stub;
  pid_t pid;
  std::uint64_t value = 0;
  double least = 1e12;
};

void showLoad(std::string const& address) {
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
}

void showKeys(Sets typed, Sets joined) {
  // Where the parts of the key are no leaves of an entry, others are, so that entries are of one size.
  gnmi::SetRequest others;
  for (int i = 0; i < 500; ++i) {
    gnmi::Update& prefix = *others.add_update();
    fillPath(*prefix.mutable_path(), i, "prefix");
    prefix.mutable_val()->set_string_val("10.0.0.0/24");
    gnmi::Update& tag = *others.add_update();
    fillPath(*tag.mutable_path(), i, "tag");
    tag.mutable_val()->set_uint_val(7);
  }
  set(*joined.stub, others);
  for (int i = 0; i < 100; ++i) {
    typed.round();
    joined.round();
  }
  std::printf("keys: a Set of 500 updates takes %.0f us of the processor; with texts as keys %.0f us: %+.1f%%\n",
              typed.least, joined.least, (typed.least / joined.least - 1) * 100);
}

}  // namespace

int main(int count, char** words) {
  if (count == 2) {
    showLoad(words[1]);
  } else if (count == 5) {
    showKeys({words[1], words[2]}, {words[3], words[4]});
  } else {
    return 2;
  }
}
