// SPDX-License-Identifier: GPL-3.0-or-later
#include "tests/support/ManualMainThread.h"

namespace vaultmere {

ManualMainThread::ManualMainThread(TimePoint start) : now_(start) {}

void ManualMainThread::post(Task task) {
  const std::lock_guard lock(mutex_);
  posted_.push_back(std::move(task));
  arrived_.notify_all();
}

Timer ManualMainThread::schedule(Duration delay, Duration interval, Task task) {
  auto alive = std::make_shared<int>();
  timers_.emplace(now() + delay, Pending{alive, std::move(task), interval});
  return Timer(std::move(alive));
}

Timer ManualMainThread::after(Duration delay, Task task) {
  return schedule(delay, Duration::zero(), std::move(task));
}

Timer ManualMainThread::every(Duration interval, Task task) {
  return schedule(interval, interval, std::move(task));
}

TimePoint ManualMainThread::now() const {
  const std::lock_guard lock(mutex_);
  return now_;
}

bool ManualMainThread::runPosted() {
  for (bool ran = false;; ran = true) {
    Task task;
    {
      const std::lock_guard lock(mutex_);
      if (posted_.empty()) {
        return ran;
      }
      task = std::move(posted_.front());
      posted_.pop_front();
    }
    task();
  }
}

void ManualMainThread::settle(ThreadPool& pool) {
  do {
    pool.waitUntilIdle();
  } while (runPosted());
}

void ManualMainThread::advance(Duration time) {
  const TimePoint end = now() + time;
  runPosted();
  while (!timers_.empty() && timers_.begin()->first <= end) {
    auto entry = timers_.extract(timers_.begin());
    {
      const std::lock_guard lock(mutex_);
      now_ = entry.key();
    }
    Pending& pending = entry.mapped();
    if (pending.alive.expired()) {
      continue;
    }
    if (pending.interval > Duration::zero()) {
      timers_.emplace(entry.key() + pending.interval, pending);
    }
    pending.task();
    runPosted();
  }
  const std::lock_guard lock(mutex_);
  now_ = end;
}

bool ManualMainThread::runUntil(const std::function<bool()>& done) {
  const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(1);
  for (;;) {
    runPosted();
    if (done()) {
      return true;
    }
    std::unique_lock lock(mutex_);
    if (!arrived_.wait_until(lock, deadline, [this] { return !posted_.empty(); })) {
      return false;
    }
  }
}

}  // namespace vaultmere
