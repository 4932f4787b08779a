// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/ThreadPool.h"

namespace vaultmere {

/// Operations that never overlap, in the order in which they came.
///
/// A turn is a token: whoever holds it is alone. `perform` waits for its turn
/// and runs on the calling thread; `async` runs on a pool thread when its turn
/// comes, and may keep the turn beyond its own return, so that an operation
/// that waits for others holds no thread. Any thread; a turn may be dropped on
/// any thread. The queue may be destroyed while turns are out.
class SerialQueue {
  struct State;

 public:
  /// Alone until destroyed or `end`ed.
  class Turn {
   public:
    explicit Turn(std::shared_ptr<State> state) : state_(std::move(state)) {}
    Turn(Turn&&) noexcept = default;
    Turn& operator=(Turn&& other) noexcept;
    ~Turn() { end(); }
    void end();

   private:
    std::shared_ptr<State> state_;
  };

  explicit SerialQueue(ThreadPool& pool);

  /// Posts an operation; it gets its turn, and drops it when it's done.
  void async(std::function<void(std::shared_ptr<Turn>)> operation);

  /// Waits for a turn on this thread. Never inside a turn of the same queue.
  [[nodiscard]] Turn wait();

  /// Runs `operation` on this thread, in its turn; gives its value and lets
  /// its exceptions through.
  template <typename Operation>
  decltype(auto) perform(Operation&& operation) {
    const Turn turn = wait();
    return std::forward<Operation>(operation)();
  }

 private:
  std::shared_ptr<State> state_;
};

}  // namespace vaultmere
