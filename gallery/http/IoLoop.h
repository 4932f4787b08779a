// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <functional>
#include <memory>

namespace vaultmere {

/// A thread that waits for sockets and runs what their readiness calls for. All
/// that it runs is short: nothing on it may wait. Kept in a shared_ptr, so that
/// work elsewhere can post its result whatever has ended meanwhile. Tasks of the
/// loop don't hold it: those that never run would keep it for ever.
class IoLoop : public std::enable_shared_from_this<IoLoop> {
 public:
  using Task = std::function<void()>;

  /// Starts the thread.
  IoLoop();
  /// Stops, unless that was done. May run on any thread but the loop's own.
  ~IoLoop();
  IoLoop(const IoLoop&) = delete;
  IoLoop& operator=(const IoLoop&) = delete;

  /// Runs the task on the loop's thread, in the order of posting. Any thread.
  /// Tasks that come after `stop` never run.
  void post(Task task);
  /// The same; on the loop's own thread it runs at once.
  void dispatch(Task task);
  /// The same, waiting until it has run, and with its exceptions let through.
  /// Not from the loop's own thread, not after `stop`.
  void perform(const Task& task);
  /// Runs the task once, `delay` from now. On the loop's thread.
  void after(std::chrono::steady_clock::duration delay, Task task);

  /// Ends the thread once the task that it is running has ended, and waits for
  /// that. Not from the loop's own thread.
  void stop();

 private:
  friend class Descriptor;
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

/// A non-blocking descriptor of a socket, and the waiting for it. On the loop's
/// thread; goes before its loop does, or with a task of the loop.
class Descriptor {
 public:
  /// Takes the descriptor over.
  Descriptor(IoLoop& loop, int number);
  /// Closes it. Tasks that wait for it don't run any more, but for one whose
  /// turn has come at this very moment.
  ~Descriptor();
  Descriptor(const Descriptor&) = delete;
  Descriptor& operator=(const Descriptor&) = delete;

  [[nodiscard]] int number() const noexcept;

  /// Runs the task once, when reading or writing would not wait, or fail.
  void whenReadable(IoLoop::Task task);
  void whenWritable(IoLoop::Task task);
  /// Runs the task once, when the connection has broken.
  void whenBroken(IoLoop::Task task);

 private:
  struct Impl;
  std::unique_ptr<Impl> impl_;
};

}  // namespace vaultmere
