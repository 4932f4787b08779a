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
    /// Bytes of all unfinished heads, and of those that are being answered.
    std::size_t heads = std::size_t{64} << 20;
    /// Bytes of answers that clients are slow to take. The latest one may go
    /// beyond, since a large library makes one large list of points.
    std::size_t answers = std::size_t{512} << 20;
    /// Connections, and the files that they send.
    std::size_t descriptors = 1024;
    /// How long a client may go on sending after its answer: up to twice that.
    std::chrono::milliseconds drain{1000};
  };
  using Handle = std::function<void(const PendingRequest& reply)>;

  /// Reads on the pool what isn't in memory of the files that are sent.
  ConnectionTable(IoLoop& loop, ThreadPool& pool, const Limits& limits, Handle handle);
  ~ConnectionTable() override { endAll(); }
  ConnectionTable(const ConnectionTable&) = delete;
  ConnectionTable& operator=(const ConnectionTable&) = delete;

  /// Takes over an accepted, non-blocking socket. May end older connections.
  void open(int descriptor);
  /// True when there is no room for one more, and nobody to go for it.
  [[nodiscard]] bool isFull() const;
  /// Ends the connection that has been silent longest, if there is one.
  void endSilentLongest();
  void endAll();

 private:
  using Pointer = HttpConnection*;

  void handle(const PendingRequest& reply) override { handle_(reply); }
  void update(HttpConnection& connection, const HttpConnection::Holding& holding) override;
  void lingers(HttpConnection& connection) override;
  void ended(HttpConnection& connection) override;
  std::span<char> scratch() override { return scratch_; }

  /// Ends silent ones until the budget is kept; false when there are none left.
  static bool keep(const ResourceBudget<Pointer>& budget);
  void endOldDrains();
  void waitForDrains();

  IoLoop& loop_;
  const std::shared_ptr<AsyncSemaphore> slowReads_;
  const Limits limits_;
  const Handle handle_;
  std::vector<char> scratch_;

  std::unordered_map<Pointer, std::shared_ptr<HttpConnection>> connections_;
  ResourceBudget<Pointer> heads_;
  ResourceBudget<Pointer> answers_;
  ResourceBudget<Pointer> descriptors_;

  // Those that only wait for their client to close: since the last tick, and
  // from before. The tick runs while there are any.
  std::unordered_set<Pointer> newDrains_;
  std::unordered_set<Pointer> oldDrains_;
  std::shared_ptr<const bool> tick_;
};

}  // namespace vaultmere
