#include "Streams.h"

#include <fmt/core.h>

#include <algorithm>
#include <iostream>
#include <utility>

namespace Target {
namespace {

/** Leaves that one message of a walk holds. */
constexpr int leavesPerMessage = 64;

Clock::duration nanoseconds(std::uint64_t count) {
  // More is as good as never, and no overflow of the clock.
  constexpr std::uint64_t years = 100'000'000'000'000'000;
  return std::chrono::nanoseconds(std::min(count, years));
}

using Nodes = std::shared_ptr<std::vector<Gnmi::Resolved> const>;

/** The leaves of a tree at and below some nodes, as far as they were not sent yet. */
struct Dump {
  Tree tree;
  /** None where there is only to say that all was sent. */
  Nodes nodes;
  /** Whether sync_response follows. */
  bool isSynced;
  std::size_t next = 0;
  std::unique_ptr<Walk> walk = nullptr;
};

/** What changed, with its path, which streams share. */
struct News {
  Changed changed;
  gnmi::Path path;
};

/** A subscription that has something to send without a change. */
struct Timed {
  Nodes nodes;
  /** Zero where there is none. */
  Clock::duration sampleInterval;
  Clock::duration heartbeat;
  bool isRedundantSent;
  Clock::time_point nextSample = {};
  Clock::time_point nextHeartbeat = {};
  /** Of the last sample. */
  Tree last = nullptr;
  std::unique_ptr<Gnmi::Matcher> matcher = nullptr;
};

}  // namespace

class Stream final : public Reactor, public std::enable_shared_from_this<Stream> {
 public:
  Stream(Streams& streams, std::uint64_t id) : streams_(streams), id_(id) {}

  void start() { StartRead(&request_); }

  void OnReadDone(bool ok) override;
  void OnWriteDone(bool ok) override;
  void OnCancel() override { end(grpc::Status::CANCELLED); }
  void OnDone() override;

  void push(std::shared_ptr<News const> news);
  /** Sends nothing more. What is being sent goes first. */
  void end(grpc::Status const& status);
  /** Sends what is due; when the next is, or never. */
  std::optional<Clock::time_point> tick(Clock::time_point time);

 private:
  using Item = std::variant<Dump, std::shared_ptr<News const>>;

  void read();
  void subscribe(gnmi::SubscriptionList const& list);
  void dump(Tree const& tree, Nodes nodes, bool isSynced) {
    queue_.emplace_back(Dump{tree, std::move(nodes), isSynced});
  }
  void sample(Timed& timed, Tree const& tree);
  void send();
  bool fill(Dump& dump, gnmi::Notification& notification);
  bool fill(News const& news, gnmi::Notification& notification);

  Streams& streams_;
  std::uint64_t id_;
  gnmi::SubscribeRequest request_;
  gnmi::SubscribeResponse response_;

  std::mutex mutex_;
  std::optional<gnmi::SubscriptionList> list_;
  Filter filter_;
  /** All nodes of all subscriptions. */
  Nodes nodes_;
  std::vector<Timed> timed_;
  std::deque<Item> queue_;
  std::size_t waiting_ = 0;
  bool isWriting_ = false;
  bool isLast_ = false;
  bool isEnded_ = false;
};

void Stream::OnReadDone(bool ok) {
  if (!ok) {
    std::lock_guard const lock(mutex_);
    // The client says no more. Changes go on; else what is asked for is sent, and that is all.
    if (!list_ || list_->mode() != gnmi::SubscriptionList::STREAM) {
      isLast_ = true;
      send();
    }
    return;
  }
  try {
    read();
  } catch (Refused const& refused) {
    end(refused.status());
  }
}

void Stream::read() {
  refuseExtensions(request_);
  if (request_.has_subscribe()) {
    if (list_) {
      refuse(grpc::StatusCode::INVALID_ARGUMENT, "a second list of subscriptions on one stream");
    }
    subscribe(request_.subscribe());
  } else if (!request_.has_poll() || !list_ || list_->mode() != gnmi::SubscriptionList::POLL) {
    refuse(grpc::StatusCode::INVALID_ARGUMENT, "a list of subscriptions comes first, and polls are for the mode POLL");
  } else {
    Tree const tree = streams_.store_.tree();
    std::lock_guard const lock(mutex_);
    dump(tree, list_->updates_only() ? nullptr : nodes_, true);
    send();
  }
  std::lock_guard const lock(mutex_);
  // A poll is read when the one before is answered: see `send`.
  if (!isEnded_ && list_->mode() != gnmi::SubscriptionList::POLL) {
    StartRead(&request_);
  }
}

void Stream::subscribe(gnmi::SubscriptionList const& list) {
  Requests const& requests = streams_.requests_;
  auto const refuseList = [](std::string text) { refuse(grpc::StatusCode::INVALID_ARGUMENT, std::move(text)); };
  Filter filter = requests.filterOf(list);
  if (!gnmi::SubscriptionList::Mode_IsValid(list.mode()) || list.subscription().empty()) {
    refuseList("a list of subscriptions has a mode of STREAM, ONCE and POLL, and at least one subscription");
  }
  if (static_cast<std::size_t>(list.subscription_size()) > requests.limits.subscriptions) {
    refuse(grpc::StatusCode::RESOURCE_EXHAUSTED, fmt::format("{} subscriptions: at most {} are taken",
                                                             list.subscription_size(), requests.limits.subscriptions));
  }
  bool const isStream = list.mode() == gnmi::SubscriptionList::STREAM;
  std::chrono::nanoseconds const shortest = std::chrono::milliseconds(requests.limits.sampleMilliseconds);
  auto all = std::make_shared<std::vector<Gnmi::Resolved>>();
  std::vector<Gnmi::Resolved> onChange;
  std::vector<Timed> timed;
  std::size_t budget = requests.limits.expansions;
  for (gnmi::Subscription const& one : list.subscription()) {
    auto nodes = std::make_shared<std::vector<Gnmi::Resolved>>();
    requests.expand(requests.absolute(list.prefix(), one.path(), Gnmi::Call::Subscribe), Gnmi::Mode::Read,
                    Gnmi::Call::Subscribe, budget, [&](Gnmi::Resolved const& node) { nodes->push_back(node); });
    all->insert(all->end(), nodes->begin(), nodes->end());
    if (!isStream) {
      continue;
    }
    if (!gnmi::SubscriptionMode_IsValid(one.mode())) {
      refuseList("the mode of a subscription is one of TARGET_DEFINED, ON_CHANGE and SAMPLE");
    }
    bool const isSampled = one.mode() == gnmi::SAMPLE;
    auto const interval = !isSampled                   ? Clock::duration{}
                          : one.sample_interval() == 0 ? shortest
                                                       : nanoseconds(one.sample_interval());
    auto const heartbeat = nanoseconds(one.heartbeat_interval());
    if ((isSampled && interval < shortest) || (heartbeat != heartbeat.zero() && heartbeat < shortest)) {
      refuseList(fmt::format("an interval is at least {} ms", requests.limits.sampleMilliseconds));
    }
    if (!isSampled) {
      onChange.insert(onChange.end(), nodes->begin(), nodes->end());
    }
    if (isSampled || heartbeat != heartbeat.zero()) {
      Timed& added = timed.emplace_back(Timed{nodes, interval, heartbeat, !one.suppress_redundant()});
      if (isSampled) {
        added.matcher = std::make_unique<Gnmi::Matcher>(streams_.values_);
        std::ranges::for_each(*nodes, [&](Gnmi::Resolved const& node) { added.matcher->add(0, node); });
      }
    }
  }
  bool const isTimed = !timed.empty();
  // No change is lost and none is sent twice: the first values are those of a tree, and changes those that follow it.
  streams_.store_.between([&](Tree const& tree) {
    std::lock_guard const lock(mutex_);
    if (isEnded_) {
      return;
    }
    list_ = list;
    filter_ = std::move(filter);
    nodes_ = std::move(all);
    auto const time = Clock::now();
    for (Timed& one : timed) {
      one.last = tree;
      one.nextSample = time + one.sampleInterval;
      one.nextHeartbeat = time + one.heartbeat;
    }
    timed_ = std::move(timed);
    std::ranges::for_each(onChange, [&](Gnmi::Resolved const& node) { streams_.matcher_.add(id_, node); });
    dump(tree, list.updates_only() ? nullptr : nodes_, true);
    isLast_ = list.mode() == gnmi::SubscriptionList::ONCE;
    send();
  });
  if (isTimed) {
    std::lock_guard const lock(streams_.mutex_);
    streams_.due_.emplace(Clock::now(), id_);
    streams_.dueChanged_.notify_one();
  }
}

void Stream::push(std::shared_ptr<News const> news) {
  std::unique_lock lock(mutex_);
  if (isEnded_ || (news->changed.node != nullptr && !filter_.takes(*news->changed.node))) {
    return;
  }
  if (waiting_ == streams_.requests_.limits.queue) {
    lock.unlock();
    std::cerr << fmt::format("stream {}: ended, {} changes wait for a client that does not read\n", id_, waiting_);
    end({grpc::StatusCode::RESOURCE_EXHAUSTED, "changes come faster than they are read"});
    return;
  }
  ++waiting_;
  queue_.emplace_back(std::move(news));
  send();
}

std::optional<Clock::time_point> Stream::tick(Clock::time_point time) {
  Tree const tree = streams_.store_.tree();
  std::lock_guard const lock(mutex_);
  std::optional<Clock::time_point> next;
  for (Timed& timed : timed_) {
    // What was not sent yet need not be sent twice.
    bool const isBusy = !queue_.empty();
    bool const isHeartbeat = timed.heartbeat != timed.heartbeat.zero();
    bool const isSampled = timed.sampleInterval != timed.sampleInterval.zero();
    if (isHeartbeat && timed.nextHeartbeat <= time) {
      timed.nextHeartbeat = time + timed.heartbeat;
      if (!isBusy) {
        dump(tree, timed.nodes, false);
      }
    }
    if (isSampled && timed.nextSample <= time) {
      timed.nextSample = time + timed.sampleInterval;
      if (!isBusy) {
        sample(timed, tree);
      }
    }
    for (auto const& [isOn, at] :
         {std::pair(isHeartbeat, timed.nextHeartbeat), std::pair(isSampled, timed.nextSample)}) {
      if (isOn && (!next || at < *next)) {
        next = at;
      }
    }
  }
  send();
  return isEnded_ ? std::nullopt : next;
}

void Stream::sample(Timed& timed, Tree const& tree) {
  std::vector<Gnmi::Matcher::Id> ids;
  for (Changed& changed : changesBetween(streams_.requests_.schema, *timed.last, *tree)) {
    bool const isDeleted = changed.values.empty();
    timed.matcher->match(changed.at, isDeleted ? Gnmi::Matcher::Reach::Subtree : Gnmi::Matcher::Reach::Node, ids);
    // Values are in the walk, where that sends all.
    if (!ids.empty() && (isDeleted || !timed.isRedundantSent) &&
        (changed.node == nullptr || filter_.takes(*changed.node))) {
      auto news = std::make_shared<News>(News{std::move(changed), {}});
      streams_.requests_.write(news->changed.at, news->path);
      ++waiting_;
      queue_.emplace_back(std::move(news));
    }
  }
  timed.last = tree;
  if (timed.isRedundantSent) {
    dump(tree, timed.nodes, false);
  }
}

bool Stream::fill(Dump& dump, gnmi::Notification& notification) {
  Requests const& requests = streams_.requests_;
  while (dump.nodes != nullptr && notification.update_size() < leavesPerMessage) {
    if (dump.walk == nullptr) {
      if (dump.next == dump.nodes->size()) {
        break;
      }
      dump.walk = std::make_unique<Walk>(requests.schema, *dump.tree, (*dump.nodes)[dump.next++], true);
    }
    if (!dump.walk->next()) {
      dump.walk.reset();
    } else if (filter_.takes(dump.walk->node())) {
      gnmi::Update& update = *notification.add_update();
      requests.write(dump.walk->place(), *update.mutable_path());
      DataNode const& leaf = dump.walk->node();
      writeLeaf(leaf, dump.walk->entry().values(leaf), list_->encoding(), *update.mutable_val());
    }
  }
  return notification.update_size() != 0;
}

bool Stream::fill(News const& news, gnmi::Notification& notification) {
  if (news.changed.values.empty()) {
    *notification.add_delete_() = news.path;
  } else {
    gnmi::Update& update = *notification.add_update();
    *update.mutable_path() = news.path;
    writeLeaf(*news.changed.node, news.changed.values, list_->encoding(), *update.mutable_val());
  }
  return true;
}

/** Sends the next message, where there is one. The lock is held. */
void Stream::send() {
  if (isWriting_ || isEnded_) {
    return;
  }
  while (!queue_.empty()) {
    response_.Clear();
    gnmi::Notification& notification = *response_.mutable_update();
    notification.set_timestamp(now());
    notification.mutable_prefix()->set_target(list_->prefix().target());
    if (auto* const news = std::get_if<std::shared_ptr<News const>>(&queue_.front())) {
      fill(**news, notification);
      --waiting_;
      queue_.pop_front();
    } else if (Dump& first = std::get<Dump>(queue_.front()); !fill(first, notification)) {
      bool const isSynced = first.isSynced;
      queue_.pop_front();
      if (!isSynced) {
        continue;
      }
      response_.set_sync_response(true);
      if (list_->mode() == gnmi::SubscriptionList::POLL && !isLast_) {
        StartRead(&request_);
      }
    }
    isWriting_ = true;
    StartWrite(&response_);
    return;
  }
  if (isLast_) {
    isEnded_ = true;
    Finish(grpc::Status::OK);
  }
}

void Stream::OnWriteDone(bool ok) {
  std::lock_guard const lock(mutex_);
  isWriting_ = false;
  if (ok) {
    send();
  }
}

void Stream::end(grpc::Status const& status) {
  std::lock_guard const lock(mutex_);
  if (!isEnded_) {
    isEnded_ = true;
    queue_.clear();
    timed_.clear();
    Finish(status);
  }
}

void Stream::OnDone() {
  streams_.matcher_.remove(id_);
  std::shared_ptr<Stream> last;  // Goes when the lock has gone.
  std::lock_guard const lock(streams_.mutex_);
  std::erase_if(streams_.due_, [&](auto const& due) { return due.second == id_; });
  last = std::move(streams_.open_.extract(id_).mapped());
}

Streams::Streams(Requests const& requests, Store& store)
    : requests_(requests), store_(store), timekeeper_([this] { keepTime(); }) {}

Streams::~Streams() {
  drain();
  timekeeper_.join();
}

namespace {

/** Refuses a stream. */
struct Refusal final : Reactor {
  explicit Refusal(grpc::Status const& status) { Finish(status); }
  void OnDone() override { delete this; }
};

}  // namespace

Reactor* Streams::open() {
  std::shared_ptr<Stream> stream;
  {
    std::lock_guard const lock(mutex_);
    if (isDraining_) {
      return new Refusal({grpc::StatusCode::UNAVAILABLE, "the target is going down"});
    }
    if (open_.size() == requests_.limits.streams) {
      return new Refusal(
          {grpc::StatusCode::RESOURCE_EXHAUSTED, fmt::format("{} streams are open: no more are taken", open_.size())});
    }
    stream = std::make_shared<Stream>(*this, ++lastId_);
    open_.emplace(lastId_, stream);
  }
  stream->start();
  return stream.get();
}

void Streams::publish(std::span<Changed const> changes) {
  std::vector<Gnmi::Matcher::Id> ids;
  for (Changed const& changed : changes) {
    bool const isDeleted = changed.values.empty();
    matcher_.match(changed.at, isDeleted ? Gnmi::Matcher::Reach::Subtree : Gnmi::Matcher::Reach::Node, ids);
    if (ids.empty()) {
      continue;
    }
    auto news = std::make_shared<News>(News{changed, {}});
    requests_.write(changed.at, news->path);
    for (Gnmi::Matcher::Id const id : ids) {
      std::unique_lock lock(mutex_);
      auto const found = open_.find(id);
      std::shared_ptr<Stream> const stream = found == open_.end() ? nullptr : found->second;
      lock.unlock();
      if (stream != nullptr) {
        stream->push(news);
      }
    }
  }
}

void Streams::drain() {
  std::vector<std::shared_ptr<Stream>> all;
  {
    std::lock_guard const lock(mutex_);
    isDraining_ = true;
    dueChanged_.notify_one();
    std::ranges::for_each(open_, [&](auto const& one) { all.push_back(one.second); });
  }
  for (auto const& stream : all) {
    stream->end({grpc::StatusCode::UNAVAILABLE, "the target is going down"});
  }
}

void Streams::keepTime() {
  std::unique_lock lock(mutex_);
  while (!isDraining_) {
    if (due_.empty()) {
      dueChanged_.wait(lock);
    } else if (auto const [time, id] = *due_.begin(); time > Clock::now()) {
      dueChanged_.wait_until(lock, time);
    } else {
      due_.erase(due_.begin());
      auto const found = open_.find(id);
      std::shared_ptr<Stream> const stream = found == open_.end() ? nullptr : found->second;
      if (stream != nullptr) {
        lock.unlock();
        auto const next = stream->tick(Clock::now());
        lock.lock();
        if (next && open_.contains(id)) {
          due_.emplace(*next, id);
        }
      }
    }
  }
}

}  // namespace Target
