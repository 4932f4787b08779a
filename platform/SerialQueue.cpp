// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/SerialQueue.h"

#include <algorithm>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <variant>

namespace vaultmere {
namespace {

using Operation = std::function<void()>;

/// A thread inside `perform`, or on its way there.
struct Waiter {
  std::condition_variable wake;
};

using Entry = std::variant<Operation, Waiter*>;

}  // namespace

struct SerialQueue::State : std::enable_shared_from_this<State> {
  explicit State(ThreadPool& thePool) : pool(thePool) {}

  [[nodiscard]] bool operationIsNext() const {
    return !isBusy && !line.empty() && std::holds_alternative<Operation>(line.front());
  }

  /// Hands the first entry to a thread that can run it: a posted operation to a task
  /// of the pool and to the first waiting thread, whichever comes first. Needs
  /// the lock.
  void dispatch() {
    if (operationIsNext() && !isScheduled) {
      isScheduled = true;
      pool.post([self = shared_from_this()] { self->runScheduled(); });
    }
    const auto waiter = std::find_if(line.begin(), line.end(), [](const Entry& entry) {
      return std::holds_alternative<Waiter*>(entry);
    });
    if (!isBusy && waiter != line.end()) {
      std::get<Waiter*>(*waiter)->wake.notify_one();
    }
  }

  void runScheduled() {
    std::unique_lock lock(mutex);
    isScheduled = false;
    if (operationIsNext()) {
      runNext(lock);
    }
    dispatch();
  }

  /// Runs the first entry, which is an operation, without the lock.
  void runNext(std::unique_lock<std::mutex>& lock) noexcept {
    isBusy = true;
    Operation operation = std::move(std::get<Operation>(line.front()));
    line.pop_front();
    lock.unlock();
    operation();
    operation = nullptr;  // what it holds may use this queue when it goes
    lock.lock();
    isBusy = false;
  }

  ThreadPool& pool;
  std::mutex mutex;          // guards the rest
  bool isBusy = false;       ///< an operation runs
  bool isScheduled = false;  ///< a task of the pool is on its way
  std::deque<Entry> line;
};

SerialQueue::SerialQueue(ThreadPool& pool) : state_(std::make_shared<State>(pool)) {}

void SerialQueue::async(std::function<void()> operation) {
  const std::lock_guard lock(state_->mutex);
  state_->line.emplace_back(std::move(operation));
  state_->dispatch();
}

SerialQueue::Turn::Turn(State& state) : state_(state) {
  std::unique_lock lock(state.mutex);
  Waiter self;
  state.line.emplace_back(&self);
  const auto isNext = [&] {
    const auto* waiter = std::get_if<Waiter*>(&state.line.front());
    return !state.isBusy && waiter != nullptr && *waiter == &self;
  };
  while (!isNext()) {
    if (state.operationIsNext()) {
      state.runNext(lock);
      state.dispatch();
    } else {
      self.wake.wait(lock, [&] { return isNext() || state.operationIsNext(); });
    }
  }
  state.line.pop_front();
  state.isBusy = true;
}

SerialQueue::Turn::~Turn() {
  const std::lock_guard lock(state_.mutex);
  state_.isBusy = false;
  state_.dispatch();
}

}  // namespace vaultmere
