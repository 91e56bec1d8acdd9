// Messages that a worker fetched together, and acknowledges one by one.
#pragma once

#include <nats/nats.h>

namespace Fleet {

/** What has not had its turn when the batch goes is given back to the server, which hands it to another worker. */
class Batch {
 public:
  ~Batch() {
    for (; next_ < list_.Count; ++next_) {
      natsMsg_Nak(list_.Msgs[next_], nullptr);
    }
    natsMsgList_Destroy(&list_);
  }
  Batch() = default;
  Batch(Batch const&) = delete;
  Batch& operator=(Batch const&) = delete;

  natsStatus fetch(natsSubscription* subscription, jsFetchRequest request) {
    return natsSubscription_FetchRequest(&list_, subscription, &request);
  }
  natsMsg* front() const { return next_ < list_.Count ? list_.Msgs[next_] : nullptr; }
  /** Without an acknowledgement it comes back when the server has waited for one. */
  void endFront(bool isDone) {
    if (isDone) {
      natsMsg_Ack(list_.Msgs[next_], nullptr);
    }
    ++next_;
  }

  /** The server starts to wait for them anew. */
  void keep() {
    for (int i = next_; i < list_.Count; ++i) {
      natsMsg_InProgress(list_.Msgs[i], nullptr);
    }
  }

 private:
  natsMsgList list_ = {};
  int next_ = 0;
};

}  // namespace Fleet
