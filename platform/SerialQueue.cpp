// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/SerialQueue.h"

#include <condition_variable>
#include <deque>
#include <mutex>
#include <variant>

namespace vaultmere {
namespace {

using Operation = std::function<void(std::shared_ptr<SerialQueue::Turn>)>;

/// A thread that waits for its turn.
struct Waiter {
  std::condition_variable called;
  bool isCalled = false;
};

}  // namespace

struct SerialQueue::State : std::enable_shared_from_this<State> {
  explicit State(ThreadPool& thePool) : pool(thePool) {}

  /// Gives the turn to the next in line, or to nobody. Called by the holder.
  void passOn() {
    const std::lock_guard lock(mutex);
    if (line.empty()) {
      taken = false;
      return;
    }
    auto next = std::move(line.front());
    line.pop_front();
    if (auto* waiter = std::get_if<Waiter*>(&next)) {
      (*waiter)->isCalled = true;
      (*waiter)->called.notify_one();
    } else {
      start(std::move(std::get<Operation>(next)));
    }
  }

  void start(Operation operation) {
    pool.post([self = shared_from_this(), operation = std::move(operation)] {
      operation(std::make_shared<Turn>(self));
    });
  }

  ThreadPool& pool;
  std::mutex mutex;  // guards the rest
  bool taken = false;
  std::deque<std::variant<Operation, Waiter*>> line;
};

SerialQueue::SerialQueue(ThreadPool& pool) : state_(std::make_shared<State>(pool)) {}

void SerialQueue::async(std::function<void(std::shared_ptr<Turn>)> operation) {
  const std::lock_guard lock(state_->mutex);
  if (state_->taken) {
    state_->line.emplace_back(std::move(operation));
  } else {
    state_->taken = true;
    state_->start(std::move(operation));
  }
}

SerialQueue::Turn SerialQueue::wait() {
  std::unique_lock lock(state_->mutex);
  if (state_->taken) {
    Waiter waiter;
    state_->line.emplace_back(&waiter);
    waiter.called.wait(lock, [&] { return waiter.isCalled; });
  }
  state_->taken = true;
  return Turn(state_);
}

SerialQueue::Turn& SerialQueue::Turn::operator=(Turn&& other) noexcept {
  if (this != &other) {
    end();
    state_ = std::move(other.state_);
  }
  return *this;
}

void SerialQueue::Turn::end() {
  if (const auto state = std::exchange(state_, nullptr)) {
    state->passOn();
  }
}

}  // namespace vaultmere
