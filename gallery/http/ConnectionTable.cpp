// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/ConnectionTable.h"

#include <utility>

#include "gallery/http/ConcurrencyLimits.h"

namespace vaultmere {
namespace {

constexpr std::size_t kScratch = std::size_t{64} * 1024;

}  // namespace

ConnectionTable::ConnectionTable(IoLoop& loop, ThreadPool& pool, const Limits& limits,
                                 Handle handle)
    : loop_(loop),
      slowReads_(std::make_shared<AsyncSemaphore>(pool, kSlowReadsAtOnce)),
      limits_(limits),
      handle_(std::move(handle)),
      scratch_(kScratch),
      heads_(limits.heads),
      answers_(limits.answers),
      descriptors_(limits.descriptors) {}

void ConnectionTable::open(int descriptor) {
  Host& host = *this;
  const auto connection = std::make_shared<HttpConnection>(loop_, slowReads_, host, descriptor);
  connections_.emplace(connection.get(), connection);
  update(*connection, {});
  connection->start();
}

bool ConnectionTable::isFull() const { return descriptors_.isExceeded(); }

void ConnectionTable::endSilentLongest() {
  if (const auto connection = descriptors_.leastRecentlyActive()) {
    (*connection)->end();
  }
}

void ConnectionTable::endAll() {
  while (!connections_.empty()) {
    connections_.begin()->second->end();
  }
}

void ConnectionTable::update(HttpConnection& connection, const HttpConnection::Holding& holding) {
  const Pointer pointer = &connection;
  heads_.set(pointer, holding.head, holding.isBusy);
  answers_.set(pointer, holding.answer, holding.isBusy);
  descriptors_.set(pointer, holding.descriptors, holding.isBusy);
  keep(answers_);
  keep(descriptors_);
  if (!keep(heads_) && holding.head > 0) {
    connection.end();
  }
}

bool ConnectionTable::keep(const ResourceBudget<Pointer>& budget) {
  while (budget.isExceeded()) {
    const auto connection = budget.leastRecentlyActive();
    if (!connection) {
      return false;
    }
    (*connection)->end();
  }
  return true;
}

void ConnectionTable::ended(HttpConnection& connection) {
  const Pointer pointer = &connection;
  heads_.forget(pointer);
  answers_.forget(pointer);
  descriptors_.forget(pointer);
  newDrains_.erase(pointer);
  oldDrains_.erase(pointer);
  connections_.erase(pointer);  // the last, since it may take the connection with it
}

// MARK: Drains

void ConnectionTable::lingers(HttpConnection& connection) {
  newDrains_.insert(&connection);
  if (tick_ == nullptr) {
    waitForDrains();
  }
}

void ConnectionTable::waitForDrains() {
  tick_ = std::make_shared<const bool>(true);
  loop_.after(limits_.drain, [this, weak = std::weak_ptr(tick_)] {
    if (!weak.expired()) {
      endOldDrains();
    }
  });
}

void ConnectionTable::endOldDrains() {
  while (!oldDrains_.empty()) {
    (*oldDrains_.begin())->end();
  }
  oldDrains_.swap(newDrains_);
  tick_.reset();
  if (!oldDrains_.empty()) {
    waitForDrains();
  }
}

}  // namespace vaultmere
