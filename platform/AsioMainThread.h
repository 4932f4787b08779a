// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <initializer_list>
#include <memory>

#include "platform/MainThread.h"

namespace vaultmere {

/// The main thread of a run without a screen: the thread that calls `run`.
class AsioMainThread final : public MainThread {
 public:
  AsioMainThread();
  ~AsioMainThread() override;

  void post(Task task) override;
  [[nodiscard]] Timer after(Duration delay, Task task) override;
  [[nodiscard]] Timer every(Duration interval, Task task) override;
  [[nodiscard]] TimePoint now() const override;

  /// Runs `task` on this thread at each of these signals, from now on.
  void onSignals(std::initializer_list<int> numbers, const Task& task);
  /// Runs tasks and timers until `stop`.
  void run();
  /// Ends `run` after the running task. Any thread.
  void stop();

 private:
  struct Loop;
  std::shared_ptr<Loop> loop_;
};

}  // namespace vaultmere
