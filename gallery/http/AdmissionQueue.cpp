// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/AdmissionQueue.h"

#include <utility>

namespace vaultmere {

void AdmissionQueue::submit(const PendingRequest& pending, Task task) {
  add({pending.client(), [pending] { return pending.state(); }, std::move(task)});
}

void AdmissionQueue::submit(const PeerAddress& client, Task task) {
  add({client, [] { return State::connected; }, std::move(task)});
}

void AdmissionQueue::shutDown() {
  std::unordered_map<PeerAddress, Client> clients;
  std::list<Entry> halfClosed;
  const std::lock_guard lock(mutex_);
  isShutDown_ = true;
  // What they hold may come back here when it goes: that is after the lock.
  clients.swap(clients_);
  halfClosed.swap(halfClosed_);
  turns_.clear();
}

void AdmissionQueue::add(Entry entry) {
  const std::lock_guard lock(mutex_);
  if (isShutDown_) {
    return;
  }
  const PeerAddress address = entry.client;
  Client& client = clients_[address];
  client.waiting.push_back(std::move(entry));
  if (client.waiting.size() == 1) {
    turns_.push_back(address);
  }
  admit();
}

void AdmissionQueue::release(const PeerAddress& address) {
  const std::lock_guard lock(mutex_);
  --running_;
  if (const auto client = clients_.find(address); client != clients_.end()) {
    --client->second.running;
    forgetIdle(address);
  }
  admit();
}

void AdmissionQueue::admit() {
  while (!isShutDown_ && running_ < limits_.atOnce && (admitNext() || admitHalfClosed())) {
  }
}

bool AdmissionQueue::admitNext() {
  for (auto turn = turns_.begin(); turn != turns_.end();) {
    const PeerAddress address = *turn;
    if (!hasShareLeft(address)) {
      ++turn;
      continue;
    }
    Client& client = clients_.at(address);
    Entry entry = std::move(client.waiting.front());
    client.waiting.pop_front();
    turn = turns_.erase(turn);
    if (!client.waiting.empty()) {
      const auto last = turns_.insert(turns_.end(), address);
      turn = turn == turns_.end() ? last : turn;
    }
    switch (entry.state()) {
      case State::connected:
        run(std::move(entry));
        return true;
      case State::halfClosed:
        halfClosed_.push_back(std::move(entry));
        break;
      case State::disconnected:
        break;
    }
    forgetIdle(address);
  }
  return false;
}

bool AdmissionQueue::admitHalfClosed() {
  for (auto entry = halfClosed_.begin(); entry != halfClosed_.end();) {
    if (entry->state() == State::disconnected) {
      entry = halfClosed_.erase(entry);
    } else if (hasShareLeft(entry->client)) {
      Entry next = std::move(*entry);
      halfClosed_.erase(entry);
      run(std::move(next));
      return true;
    } else {
      ++entry;
    }
  }
  return false;
}

void AdmissionQueue::run(Entry entry) {
  ++running_;
  ++clients_[entry.client].running;
  Permit permit(nullptr, [self = shared_from_this(), client = entry.client](void*) {
    self->release(client);
  });
  pool_.post([task = std::move(entry.task), permit = std::move(permit)]() mutable {
    task(std::move(permit));
  });
}

bool AdmissionQueue::hasShareLeft(const PeerAddress& address) const {
  const auto client = clients_.find(address);
  return client == clients_.end() || client->second.running < limits_.perClient;
}

void AdmissionQueue::forgetIdle(const PeerAddress& address) {
  const auto client = clients_.find(address);
  if (client->second.running == 0 && client->second.waiting.empty()) {
    clients_.erase(client);
  }
}

}  // namespace vaultmere
