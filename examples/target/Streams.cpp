#include "Streams.h"

#include <fmt/core.h>

#include <algorithm>
#include <deque>
#include <iostream>
#include <optional>
#include <ranges>
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

/** What changed, with its path, which streams share. */
struct News {
  Changed changed;
  gnmi::Path path = {};
  /** Streams are sampled only when all was sent, so samples do not count among what waits. */
  bool isSampled = false;
};

/** What a stream has to send: a change, or the leaves of a tree at and below some nodes, as far as not sent yet. */
struct Item {
  std::shared_ptr<News const> news = nullptr;
  Tree tree = nullptr;
  /** None where there is only to say that all was sent. */
  Nodes nodes = nullptr;
  /** Whether sync_response follows. */
  bool isSynced = false;
  std::size_t next = 0;
  std::unique_ptr<Walk> walk = nullptr;
};

std::shared_ptr<News const> newsOf(Requests const& requests, Changed changed, bool isSampled) {
  auto news = std::make_shared<News>(News{.changed = std::move(changed), .isSampled = isSampled});
  requests.write(*news->changed.node, news->changed.keys, news->path);
  return news;
}

std::vector<Gnmi::Matcher::Id> concernedBy(Changed const& changed, Gnmi::Matcher const& matcher) {
  std::vector<Gnmi::Matcher::Id> ids;
  bool const isDeleted = changed.values.empty();
  matcher.match(resolvedOf(*changed.node, changed.keys),
                isDeleted ? Gnmi::Matcher::Reach::Subtree : Gnmi::Matcher::Reach::Node, ids);
  return ids;
}

/** What is sent again and again: of a SAMPLE what it selects, and heartbeats. */
struct Timed {
  Nodes nodes;
  Clock::duration interval;
  /** All values, or only what changed since the last time. */
  bool isAll;
  /** Of a SAMPLE: which changes concern it. */
  std::unique_ptr<Gnmi::Matcher> matcher = nullptr;
  Clock::time_point next = {};
  /** Of the last time. */
  Tree last = nullptr;
};

}  // namespace

class Stream final : public Reactor {
 public:
  Stream(Streams& streams, std::uint64_t id, std::string connection)
      : connection(std::move(connection)), streams_(streams), id_(id) {}

  void start() { StartRead(&request_); }

  void OnReadDone(bool ok) override;
  void OnWriteDone(bool ok) override;
  void OnCancel() override { end(grpc::Status::CANCELLED); }
  void OnDone() override;

  void push(std::shared_ptr<News const> news);
  /** Sends nothing more. What is being sent goes first. */
  void end(grpc::Status const& status);
  /** Sends what is due by the clock. */
  void tick(Clock::time_point time);

  std::string const connection;

 private:
  using Lock = std::unique_lock<std::mutex>;

  void read();
  void subscribe(gnmi::SubscriptionList const& list);
  void addTimed(gnmi::Subscription const& one, Nodes const& nodes, std::vector<Timed>& into) const;
  // With the lock held.
  void enqueue(std::shared_ptr<News const> news);
  void sample(Timed& timed);
  void finish(grpc::Status const& status);
  void send(Lock& lock);
  // Without it.
  bool fill(Item& item);

  Streams& streams_;
  std::uint64_t id_;
  gnmi::SubscribeRequest request_;
  gnmi::SubscribeResponse response_;

  std::mutex mutex_;
  std::optional<gnmi::SubscriptionList> list_;
  Filter filter_;
  /** All nodes of all subscriptions; null where only changes are asked for. */
  Nodes wanted_;
  std::vector<Timed> timed_;
  std::deque<Item> queue_;
  /** Changes in the queue. */
  std::size_t waiting_ = 0;
  /** Somebody is making or sending a message, and nobody else does until that is sent. */
  bool isSending_ = false;
  bool isLast_ = false;
  bool isEnded_ = false;
};

void Stream::OnReadDone(bool ok) {
  if (!ok) {
    Lock lock(mutex_);
    // The client says no more. Changes go on; else what is asked for is sent, and that is all.
    if (!list_ || list_->mode() != gnmi::SubscriptionList::STREAM) {
      isLast_ = true;
      send(lock);
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
  refuseExtensions(request_.extension_size());
  if (request_.has_subscribe()) {
    if (list_) {
      refuse("a second list of subscriptions on one stream");
    }
    subscribe(request_.subscribe());
  } else if (!request_.has_poll() || !list_ || list_->mode() != gnmi::SubscriptionList::POLL) {
    refuse("a list of subscriptions comes first, and polls are for the mode POLL");
  } else {
    Tree tree = streams_.store_.tree();
    Lock lock(mutex_);
    queue_.push_back({.tree = std::move(tree), .nodes = wanted_, .isSynced = true});
    send(lock);
  }
  Lock const lock(mutex_);
  // A poll is read when the one before is answered: see `send`.
  if (!isEnded_ && list_->mode() != gnmi::SubscriptionList::POLL) {
    StartRead(&request_);
  }
}

/** What a subscription of a list in mode STREAM sends by the clock. */
void Stream::addTimed(gnmi::Subscription const& one, Nodes const& nodes, std::vector<Timed>& into) const {
  std::chrono::nanoseconds const shortest = std::chrono::milliseconds(streams_.requests_.limits.sampleMilliseconds);
  auto const add = [&](Clock::duration interval, bool isAll) {
    if (interval < shortest) {
      refuse(fmt::format("an interval is at least {} ms", streams_.requests_.limits.sampleMilliseconds));
    }
    into.push_back({nodes, interval, isAll});
  };
  if (one.mode() == gnmi::SAMPLE) {
    add(one.sample_interval() == 0 ? shortest : nanoseconds(one.sample_interval()), !one.suppress_redundant());
    into.back().matcher = std::make_unique<Gnmi::Matcher>(streams_.values_);
    std::ranges::for_each(*nodes, [&](Gnmi::Resolved const& node) { into.back().matcher->add(0, node); });
  }
  if (one.heartbeat_interval() != 0) {
    add(nanoseconds(one.heartbeat_interval()), true);
  }
}

void Stream::subscribe(gnmi::SubscriptionList const& list) {
  Requests const& requests = streams_.requests_;
  Filter filter = requests.filterOf(list.encoding(), list.use_models());
  if (!gnmi::SubscriptionList::Mode_IsValid(list.mode()) || list.subscription().empty()) {
    refuse("a list of subscriptions has a mode of STREAM, ONCE and POLL, and at least one subscription");
  }
  if (static_cast<std::size_t>(list.subscription_size()) > requests.limits.subscriptions) {
    refuse(
        fmt::format("{} subscriptions: at most {} are taken", list.subscription_size(), requests.limits.subscriptions),
        grpc::StatusCode::RESOURCE_EXHAUSTED);
  }
  bool const isStream = list.mode() == gnmi::SubscriptionList::STREAM;
  auto all = std::make_shared<std::vector<Gnmi::Resolved>>();
  std::vector<Gnmi::Resolved> onChange;
  std::vector<Timed> timed;
  Allowance allowance = requests.allowance();
  for (gnmi::Subscription const& one : list.subscription()) {
    auto nodes = std::make_shared<std::vector<Gnmi::Resolved>>();
    requests.expand(requests.absolute(list.prefix(), one.path(), Gnmi::Call::Subscribe), Gnmi::Mode::Read,
                    Gnmi::Call::Subscribe, allowance, [&](Gnmi::Resolved const& node) { nodes->push_back(node); });
    all->insert(all->end(), nodes->begin(), nodes->end());
    if (!gnmi::SubscriptionMode_IsValid(one.mode())) {
      refuse("the mode of a subscription is one of TARGET_DEFINED, ON_CHANGE and SAMPLE");
    }
    if (isStream) {
      addTimed(one, nodes, timed);
    }
    if (isStream && one.mode() != gnmi::SAMPLE) {
      onChange.insert(onChange.end(), nodes->begin(), nodes->end());
    }
  }
  // No change is lost and none is sent twice: the first values are those of a tree, and changes those that follow it.
  streams_.store_.between([&](Tree const& tree) {
    Lock const lock(mutex_);
    if (isEnded_) {
      return;
    }
    list_ = list;
    filter_ = std::move(filter);
    wanted_ = list.updates_only() ? nullptr : std::move(all);
    timed_ = std::move(timed);
    for (Timed& one : timed_) {
      one.last = tree;
      one.next = Clock::now() + one.interval;
    }
    std::ranges::for_each(onChange, [&](Gnmi::Resolved const& node) { streams_.matcher_.add(id_, node); });
    queue_.push_back({.tree = tree, .nodes = wanted_, .isSynced = true});
    isLast_ = list.mode() == gnmi::SubscriptionList::ONCE;
    // The first message is made below, where no writer waits for it.
    isSending_ = true;
  });
  Lock lock(mutex_);
  isSending_ = false;
  send(lock);
}

void Stream::enqueue(std::shared_ptr<News const> news) {
  DataNode const& node = *news->changed.node;
  if (isEnded_ || (node.isLeaf() && !filter_.takes(node))) {
    return;
  }
  if (!news->isSampled && waiting_++ == streams_.requests_.limits.queue) {
    std::cerr << fmt::format("stream {}: ended, {} changes wait for a client that does not read\n", id_, waiting_ - 1);
    finish({grpc::StatusCode::RESOURCE_EXHAUSTED, "changes come faster than they are read"});
    return;
  }
  queue_.push_back({.news = std::move(news)});
}

void Stream::sample(Timed& timed) {
  Tree tree = streams_.store_.tree();
  if (timed.matcher != nullptr) {
    for (Changed& changed : changesBetween(streams_.requests_.schema, *timed.last, *tree)) {
      // Values are in the walk, where that sends all.
      if ((changed.values.empty() || !timed.isAll) && !concernedBy(changed, *timed.matcher).empty()) {
        enqueue(newsOf(streams_.requests_, std::move(changed), true));
      }
    }
    timed.last = tree;
  }
  if (timed.isAll) {
    queue_.push_back({.tree = std::move(tree), .nodes = timed.nodes});
  }
}

void Stream::push(std::shared_ptr<News const> news) {
  Lock lock(mutex_);
  enqueue(std::move(news));
  send(lock);
}

void Stream::tick(Clock::time_point time) {
  Lock lock(mutex_);
  // What was not sent yet need not be sent twice.
  bool const isIdle = queue_.empty() && !isSending_;
  for (Timed& timed : timed_) {
    if (timed.next <= time) {
      timed.next = std::max(timed.next + timed.interval, time);
      if (isIdle) {
        sample(timed);
      }
    }
  }
  if (isIdle && !queue_.empty()) {
    send(lock);
  }
}

/** The next message of an item; none where nothing is left of it. */
bool Stream::fill(Item& item) {
  Requests const& requests = streams_.requests_;
  response_.Clear();
  gnmi::Notification& notification = *response_.mutable_update();
  notification.set_timestamp(now());
  notification.mutable_prefix()->set_target(list_->prefix().target());
  auto const add = [&](std::span<Leaf const> values) {
    gnmi::Update& update = *notification.add_update();
    writeLeaf(values, list_->encoding(), *update.mutable_val());
    return update.mutable_path();
  };
  if (item.news != nullptr) {
    Changed const& changed = item.news->changed;
    *(changed.values.empty() ? notification.add_delete_() : add(changed.values)) = item.news->path;
  }
  while (item.nodes != nullptr && notification.update_size() < leavesPerMessage) {
    if (item.walk == nullptr) {
      if (item.next == item.nodes->size()) {
        break;
      }
      item.walk = std::make_unique<Walk>(requests.schema, *item.tree, (*item.nodes)[item.next++], true);
    }
    if (!item.walk->next()) {
      item.walk.reset();
      continue;
    }
    item.walk->visitLeaves([&](DataNode const& leaf, std::span<Leaf const> values) {
      if (filter_.takes(leaf)) {
        requests.write(leaf, item.walk->keys(), *add(values));
      }
    });
  }
  return notification.update_size() + notification.delete__size() != 0;
}

/** Sends the next message, where there is one. The lock is not held while it is made, which may take a while. */
void Stream::send(Lock& lock) {
  if (isSending_) {
    return;
  }
  isSending_ = true;
  while (!isEnded_ && !queue_.empty()) {
    Item item = std::move(queue_.front());
    queue_.pop_front();
    lock.unlock();
    bool const isFilled = fill(item);
    lock.lock();
    if (isEnded_) {
      break;
    }
    if (item.news != nullptr) {
      waiting_ -= item.news->isSampled ? 0 : 1;
    } else if (isFilled) {
      queue_.push_front(std::move(item));
    } else if (item.isSynced) {
      response_.set_sync_response(true);
      if (list_->mode() == gnmi::SubscriptionList::POLL && !isLast_) {
        StartRead(&request_);
      }
    } else {
      continue;
    }
    StartWrite(&response_);
    return;
  }
  isSending_ = false;
  if (isLast_) {
    finish(grpc::Status::OK);
  }
}

void Stream::OnWriteDone(bool ok) {
  Lock lock(mutex_);
  isSending_ = false;
  if (ok) {
    send(lock);
  }
}

void Stream::finish(grpc::Status const& status) {
  if (!isEnded_) {
    isEnded_ = true;
    queue_.clear();
    timed_.clear();
    Finish(status);
  }
}

void Stream::end(grpc::Status const& status) {
  Lock const lock(mutex_);
  finish(status);
}

void Stream::OnDone() {
  streams_.matcher_.remove(id_);
  std::shared_ptr<Stream> last;  // Goes when the lock has gone.
  std::lock_guard const lock(streams_.mutex_);
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

Reactor* Streams::open(std::string const& connection) {
  Limits const& limits = requests_.limits;
  std::shared_ptr<Stream> stream;
  {
    std::lock_guard const lock(mutex_);
    if (isDraining_) {
      return new Refusal({grpc::StatusCode::UNAVAILABLE, "the target is going down"});
    }
    auto const ofConnection = std::ranges::count(std::views::values(open_), connection, &Stream::connection);
    if (open_.size() == limits.streams || static_cast<std::size_t>(ofConnection) == limits.connectionStreams) {
      return new Refusal(
          {grpc::StatusCode::RESOURCE_EXHAUSTED,
           fmt::format("{} streams are open, of all clients; at most {} are taken, and {} of a connection",
                       open_.size(), limits.streams, limits.connectionStreams)});
    }
    stream = std::make_shared<Stream>(*this, ++lastId_, connection);
    open_.emplace(lastId_, stream);
  }
  stream->start();
  return stream.get();
}

void Streams::publish(std::span<Changed const> changes) {
  if (std::lock_guard const lock(mutex_); open_.empty()) {
    return;
  }
  for (Changed const& changed : changes) {
    auto const ids = concernedBy(changed, matcher_);
    auto const news = ids.empty() ? nullptr : newsOf(requests_, changed, false);
    for (Gnmi::Matcher::Id const id : ids) {
      std::unique_lock lock(mutex_);
      auto const found = open_.find(id);
      auto const stream = found == open_.end() ? nullptr : found->second;
      lock.unlock();
      if (stream != nullptr) {
        stream->push(news);
      }
    }
  }
}

std::vector<std::shared_ptr<Stream>> Streams::all() {
  std::lock_guard const lock(mutex_);
  auto const streams = std::views::values(open_);
  return {streams.begin(), streams.end()};
}

void Streams::drain() {
  {
    std::lock_guard const lock(mutex_);
    isDraining_ = true;
    draining_.notify_one();
  }
  for (auto const& stream : all()) {
    stream->end({grpc::StatusCode::UNAVAILABLE, "the target is going down"});
  }
}

void Streams::keepTime() {
  // Four times as often as anything may be due.
  std::chrono::microseconds const step(requests_.limits.sampleMilliseconds * 250);
  for (std::unique_lock lock(mutex_); !draining_.wait_for(lock, step, [&] { return isDraining_; }); lock.lock()) {
    lock.unlock();
    for (auto const& stream : all()) {
      stream->tick(Clock::now());
    }
  }
}

}  // namespace Target
