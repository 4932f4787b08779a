// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <functional>
#include <mutex>

#include "platform/ThreadPool.h"

namespace vaultmere {

/// Whether somebody is waiting for a task's result on a screen.
enum class Priority { foreground, background };

/// A number of permits, for tasks that hold no thread while they wait. A permit
/// that is given back goes to the foreground task that has waited longest, and
/// to a background task only when no other waits. Any thread.
///
/// Lives as long as its pool works. There is no way to stop waiting: a task
/// that has lost its purpose finds that out when its permit comes, and passes
/// it on.
class AsyncSemaphore {
 public:
  /// Of `permits`, the last `reserved` ones are never given to a background
  /// task, so that a foreground task doesn't wait for one to end.
  explicit AsyncSemaphore(ThreadPool& pool, int permits, int reserved = 0)
      : pool_(pool), reserved_(reserved), available_(permits) {}

  /// Posts `resume` to the pool once there is a permit for it, in the order of
  /// the calls of one priority. Each run of a `resume` needs its `signal` later.
  void wait(std::function<void()> resume, Priority priority = Priority::foreground);

  /// Gives a permit back.
  void signal();

 private:
  void resumeWaiters();

  ThreadPool& pool_;
  const int reserved_;
  std::mutex mutex_;  // guards the rest
  int available_;
  std::deque<std::function<void()>> foreground_;
  std::deque<std::function<void()>> background_;
};

}  // namespace vaultmere
