// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "gallery/http/HttpConnection.h"
#include "gallery/http/ResourceBudget.h"

namespace vaultmere {

/// The open connections and what they may take together. On the loop's thread;
/// ends before the loop's objects do.
class ConnectionTable : private HttpConnection::Host {
 public:
  struct Limits {
    /// Bytes of all unfinished heads, and of requests that are being answered.
    std::size_t requests = std::size_t{64} << 20;
    /// Bytes of responses that clients are slow to take, with those in the
    /// system's buffers. The latest one may go beyond, since a large library
    /// makes one large list of points.
    std::size_t responses = std::size_t{512} << 20;
    /// Connections, and the files that they send.
    std::size_t descriptors = 1024;
    /// A connection that takes none of its response for so long is aborted.
    std::chrono::milliseconds stall{30'000};
    /// How often that is looked at. A client may go on sending for twice as long
    /// after it has its response.
    std::chrono::milliseconds tick{1000};
  };
  using Handle = std::function<void(const PendingRequest& pending)>;

  /// `queues` reads what isn't in memory of the files that are sent.
  ConnectionTable(IoLoop& loop, const WorkQueues& queues, const Limits& limits, Handle handle);
  ~ConnectionTable() override { endAll(); }
  ConnectionTable(const ConnectionTable&) = delete;
  ConnectionTable& operator=(const ConnectionTable&) = delete;

  /// Takes over an accepted, non-blocking socket. May end older connections.
  void open(int descriptor, const PeerAddress& peer);
  /// True when there is no room for one more, and none that could be evicted.
  [[nodiscard]] bool isFull() const;
  /// Ends the least recently active connection, if there is one.
  void evictOne();
  void endAll();

 private:
  using Pointer = HttpConnection*;

  void handle(const PendingRequest& pending) override { handle_(pending); }
  void update(HttpConnection& connection, const HttpConnection::Holding& holding) override;
  void waitsForClient(HttpConnection& connection) override;
  void ended(HttpConnection& connection) override;
  std::span<char> scratch() override { return scratch_; }

  /// Evicts connections until the budget is kept; false when none is left that
  /// could be.
  static bool enforce(const ResourceBudget<Pointer>& budget);
  void scheduleTick();
  void tick();

  IoLoop& loop_;
  const WorkQueues& queues_;
  const Limits limits_;
  const Handle handle_;
  std::vector<char> scratch_;

  std::unordered_map<Pointer, std::shared_ptr<HttpConnection>> connections_;
  ResourceBudget<Pointer> requests_;
  ResourceBudget<Pointer> responses_;
  ResourceBudget<Pointer> descriptors_;

  std::unordered_set<Pointer> waiting_;   // for their clients to take bytes
  std::shared_ptr<const bool> nextTick_;  // while there are any
};

}  // namespace vaultmere
