// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <deque>
#include <functional>
#include <mutex>

#include "platform/ThreadPool.h"

namespace vaultmere {

/// A number of permits, for tasks that hold no thread while they wait. One that
/// is given back goes straight to whoever has waited longest. Any thread.
///
/// Lives as long as its pool works. There is no way to stop waiting: a task
/// that has lost its purpose finds that out when its permit comes, and passes
/// it on.
class AsyncSemaphore {
 public:
  AsyncSemaphore(ThreadPool& pool, int permits) : pool_(pool), available_(permits) {}

  /// Posts `resume` to the pool once there is a permit for it, in the order of
  /// the calls. Each run of a `resume` needs its `signal` later.
  void wait(std::function<void()> resume);

  /// Gives a permit back.
  void signal();

 private:
  ThreadPool& pool_;
  std::mutex mutex_;  // guards the rest
  int available_;
  std::deque<std::function<void()>> waiters_;
};

}  // namespace vaultmere
