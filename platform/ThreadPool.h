// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace vaultmere {

/// The processors that this process may run on, at least 1.
[[nodiscard]] unsigned activeProcessors();

/// The background threads that the whole program shares. Any thread may post;
/// a task does work, it doesn't wait for another task.
class ThreadPool {
 public:
  explicit ThreadPool(unsigned threads);
  /// Waits for the tasks that were posted.
  ~ThreadPool();
  ThreadPool(const ThreadPool&) = delete;
  ThreadPool& operator=(const ThreadPool&) = delete;

  void post(std::function<void()> task);
  /// Waits until every posted task, also those that tasks post, has ended. Not
  /// to be called by a task.
  void waitUntilIdle();
  /// The same for at most `timeout`; false when tasks are still running then.
  [[nodiscard]] bool waitUntilIdle(std::chrono::milliseconds timeout);
  /// Waits until every posted task, also those that tasks post, has ended.
  /// Nothing may be posted from outside afterwards.
  void join();

 private:
  struct Threads;
  std::unique_ptr<Threads> threads_;
};

}  // namespace vaultmere
