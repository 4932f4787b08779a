// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "platform/ThreadPool.h"

namespace vaultmere {

/// Operations that never overlap, in the order in which they came.
///
/// `async` runs an operation on a pool thread. `perform` runs one on the calling
/// thread; while it waits, it runs the posted operations ahead of it itself, so
/// that it ends even when no thread of the pool is free. An operation ends when
/// it returns; see TurnQueue for those that go on beyond that. Any thread. The
/// queue may be destroyed while posted operations wait: they run all the same.
class SerialQueue {
 public:
  explicit SerialQueue(ThreadPool& pool);

  /// Posts an operation, which must not throw.
  void async(std::function<void()> operation);

  /// Runs `operation` on this thread, after all that came before it; gives its
  /// value and lets its exceptions through. Never inside an operation of the
  /// same queue.
  template <typename Operation>
  decltype(auto) perform(Operation&& operation) {
    const Turn turn(*state_);
    return std::forward<Operation>(operation)();
  }

 private:
  struct State;
  /// The calling thread's turn: waits for it when made, ends it when destroyed.
  class Turn {
   public:
    explicit Turn(State& state);
    ~Turn();
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    State& state_;
  };

  std::shared_ptr<State> state_;
};

}  // namespace vaultmere
