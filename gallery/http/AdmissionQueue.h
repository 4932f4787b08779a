// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <unordered_map>
#include <utility>

#include "gallery/http/HttpResponse.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// Admits one kind of work for clients to a pool: so much at once, of which one
/// client has at most a share, and in turns between the clients, so that a
/// thousand requests of one don't delay the first of another. What waits holds
/// no thread. Requests of half-closed connections come after all others, those
/// of disconnected ones are dropped. Any thread. Kept in a shared_ptr.
class AdmissionQueue : public std::enable_shared_from_this<AdmissionQueue> {
 public:
  struct Limits {
    int atOnce = 1;
    int perClient = 1;
  };
  /// Given back when its last copy goes, which may be after the task.
  using Permit = std::shared_ptr<void>;
  using Task = std::function<void(Permit)>;

  /// The pool outlives the tasks.
  AdmissionQueue(ThreadPool& pool, const Limits& limits) : pool_(pool), limits_(limits) {}

  /// Runs the task on the pool once it is admitted.
  void submit(const PendingRequest& pending, Task task);
  /// The same for work that is a part of sending a response.
  void submit(const PeerAddress& client, Task task);
  /// Work that no single client waits for; it shares as one more client.
  void submit(Task task) { submit(PeerAddress{}, std::move(task)); }

  /// Drops what waits and what comes.
  void shutDown();

 private:
  using State = PendingRequest::State;
  struct Entry {
    PeerAddress client;
    std::function<State()> state;
    Task task;
  };
  struct Client {
    std::deque<Entry> waiting;
    int running = 0;
  };

  void add(Entry entry);
  void release(const PeerAddress& client);
  // The rest with the mutex held.
  void admit();
  bool admitNext();
  bool admitHalfClosed();
  void run(Entry entry);
  [[nodiscard]] bool hasShareLeft(const PeerAddress& client) const;
  void forgetIdle(const PeerAddress& client);

  ThreadPool& pool_;
  const Limits limits_;
  std::mutex mutex_;  // guards the rest
  bool isShutDown_ = false;
  int running_ = 0;
  std::unordered_map<PeerAddress, Client> clients_;  // with waiting or running work
  std::list<PeerAddress> turns_;                     // clients with waiting work, next one first
  std::list<Entry> halfClosed_;
};

}  // namespace vaultmere
