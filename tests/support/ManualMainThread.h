// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <condition_variable>
#include <deque>
#include <map>
#include <mutex>

#include "platform/MainThread.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// A main thread that a test runs by hand, with a clock of its own: time
/// passes only in `advance`, and costs nothing.
class ManualMainThread final : public MainThread {
 public:
  explicit ManualMainThread(TimePoint start);

  void post(Task task) override;
  [[nodiscard]] Timer after(Duration delay, Task task) override;
  [[nodiscard]] Timer every(Duration interval, Task task) override;
  [[nodiscard]] TimePoint now() const override;

  /// Runs what has been posted, including what that posts. Returns whether
  /// there was anything.
  bool runPosted();
  /// Runs posted tasks until neither they nor the pool's have anything left to
  /// do but what waits for time.
  void settle(ThreadPool& pool);
  /// Lets virtual time pass: due timers fire in order, each at its own moment,
  /// with what is posted run in between.
  void advance(Duration time);
  /// Runs posted tasks as other threads post them, until `done` holds. Returns
  /// false when nothing made it hold within a minute of real time.
  [[nodiscard]] bool runUntil(const std::function<bool()>& done);

 private:
  struct Pending {
    std::weak_ptr<void> alive;
    Task task;
    Duration interval{};  ///< zero for a single shot
  };
  Timer schedule(Duration delay, Duration interval, Task task);

  std::multimap<TimePoint, Pending> timers_;
  mutable std::mutex mutex_;  // guards the two below
  TimePoint now_;
  std::deque<Task> posted_;
  std::condition_variable arrived_;
};

}  // namespace vaultmere
