// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace vaultmere {

using TimePoint = std::chrono::system_clock::time_point;
using Duration = std::chrono::system_clock::duration;

/// A pending timer; destroying or `stop`ping it means that it never fires
/// again. Used on the main thread only. Outliving its `MainThread` is fine.
class Timer {
 public:
  Timer() = default;
  /// `alive` is what the main thread looks at before it fires.
  explicit Timer(std::shared_ptr<void> alive) : alive_(std::move(alive)) {}
  void stop() { alive_.reset(); }
  [[nodiscard]] explicit operator bool() const { return alive_ != nullptr; }

 private:
  std::shared_ptr<void> alive_;
};

/// The thread that owns all observable state. Everything but `post` and `now`
/// is called on it alone.
class MainThread {
 public:
  using Task = std::function<void()>;

  virtual ~MainThread() = default;

  /// Runs the task on the main thread, in the order of posting. Any thread.
  virtual void post(Task task) = 0;
  /// Runs the task once, `delay` from now.
  [[nodiscard]] virtual Timer after(Duration delay, Task task) = 0;
  /// Runs the task again and again, first in one `interval`. Ticks that a busy
  /// thread has missed are dropped, not made up for.
  [[nodiscard]] virtual Timer every(Duration interval, Task task) = 0;
  /// The wall clock; virtual in tests. Any thread.
  [[nodiscard]] virtual TimePoint now() const = 0;
};

}  // namespace vaultmere
