// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/ConnectionTable.h"

#include <utility>

namespace vaultmere {
namespace {

constexpr std::size_t kScratch = std::size_t{64} * 1024;

}  // namespace

ConnectionTable::ConnectionTable(IoLoop& loop, const WorkQueues& queues, const Limits& limits,
                                 Handle handle)
    : loop_(loop),
      queues_(queues),
      limits_(limits),
      handle_(std::move(handle)),
      scratch_(kScratch),
      requests_(limits.requests),
      responses_(limits.responses),
      descriptors_(limits.descriptors) {}

void ConnectionTable::open(int descriptor, const PeerAddress& peer) {
  Host& host = *this;
  const auto connection =
      std::make_shared<HttpConnection>(loop_, queues_, host, descriptor, peer.client());
  connections_.emplace(connection.get(), connection);
  update(*connection, {});
  connection->start();
}

bool ConnectionTable::isFull() const { return descriptors_.isExceeded(); }

void ConnectionTable::evictOne() {
  if (const auto connection = descriptors_.leastRecentlyActive()) {
    (*connection)->abort();
  }
}

void ConnectionTable::endAll() {
  while (!connections_.empty()) {
    connections_.begin()->second->end();
  }
}

void ConnectionTable::update(HttpConnection& connection, const HttpConnection::Holding& holding) {
  const Pointer pointer = &connection;
  requests_.set(pointer, holding.request, holding.isBusy);
  responses_.set(pointer, holding.response, holding.isBusy);
  descriptors_.set(pointer, holding.descriptors, holding.isBusy);
  enforce(responses_);
  enforce(descriptors_);
  if (!enforce(requests_) && holding.request > 0) {
    connection.end();
  }
}

bool ConnectionTable::enforce(const ResourceBudget<Pointer>& budget) {
  while (budget.isExceeded()) {
    const auto connection = budget.leastRecentlyActive();
    if (!connection) {
      return false;
    }
    (*connection)->abort();
  }
  return true;
}

void ConnectionTable::ended(HttpConnection& connection) {
  const Pointer pointer = &connection;
  requests_.forget(pointer);
  responses_.forget(pointer);
  descriptors_.forget(pointer);
  waiting_.erase(pointer);
  connections_.erase(pointer);  // the last, since it may take the connection with it
}

// MARK: Clients that take their time

void ConnectionTable::waitsForClient(HttpConnection& connection) {
  waiting_.insert(&connection);
  if (nextTick_ == nullptr) {
    scheduleTick();
  }
}

void ConnectionTable::scheduleTick() {
  nextTick_ = std::make_shared<const bool>(true);
  loop_.after(limits_.tick, [this, weak = std::weak_ptr(nextTick_)] {
    if (!weak.expired()) {
      tick();
    }
  });
}

void ConnectionTable::tick() {
  const auto now = std::chrono::steady_clock::now();
  std::vector<std::shared_ptr<HttpConnection>> waiting;
  for (const Pointer connection : waiting_) {
    waiting.push_back(connections_.at(connection));
  }
  for (const auto& connection : waiting) {
    if (!connection->checkProgress(now, limits_.stall)) {
      waiting_.erase(connection.get());
    }
  }
  nextTick_.reset();
  if (!waiting_.empty()) {
    scheduleTick();
  }
}

}  // namespace vaultmere
