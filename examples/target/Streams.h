// Subscribe: all streams of a target. Which of them a change concerns a matcher tells.
//
// A stream has one queue: walks of a tree (the first values, a poll, a sample), of which each message takes the next
// leaves, and changes. A tree never changes, so a walk may take as long as the client takes to read, and costs no
// memory for what was not sent yet; changes wait behind it, up to a limit.
#pragma once

#include <gnmi/Matcher.h>
#include <grpcpp/grpcpp.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

#include "Requests.h"
#include "Tree.h"

namespace Target {

using Reactor = grpc::ServerBidiReactor<gnmi::SubscribeRequest, gnmi::SubscribeResponse>;
using Clock = std::chrono::steady_clock;

class Stream;

class Streams {
 public:
  Streams(Requests const& requests, Store& store);
  ~Streams();

  /** A stream of that connection, or what refuses it; it deletes itself when it is done. */
  Reactor* open(std::string const& connection);
  /** Tells those streams that a change concerns. Called by one writer at a time. */
  void publish(std::span<Changed const> changes);
  /** Ends all of them, and those that come later, with UNAVAILABLE. */
  void drain();

 private:
  friend class Stream;

  void keepTime();
  std::vector<std::shared_ptr<Stream>> all();

  Requests const& requests_;
  Store& store_;
  Gnmi::ModelValues const values_;
  /** Of ON_CHANGE: the nodes that each stream asked for. */
  Gnmi::Matcher matcher_{values_};

  std::mutex mutex_;
  std::map<std::uint64_t, std::shared_ptr<Stream>> open_;
  std::uint64_t lastId_ = 0;
  bool isDraining_ = false;
  std::condition_variable draining_;
  std::thread timekeeper_;
};

}  // namespace Target
