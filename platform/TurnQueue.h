// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>

#include "platform/AsyncSemaphore.h"

namespace vaultmere {

/// Operations that never overlap, in the order in which they came, and may go on
/// beyond their own return: the next one starts when the token that the
/// operation was given is destroyed. So an operation that waits for others holds
/// no thread. Nobody can wait for a turn on a thread; see SerialQueue for that.
///
/// Any thread. The queue may be destroyed while turns are out.
class TurnQueue {
 public:
  /// The turn of one operation; destroyed on any thread.
  class Turn {
   public:
    explicit Turn(std::shared_ptr<AsyncSemaphore> permit) : permit_(std::move(permit)) {}
    ~Turn() { permit_->signal(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

   private:
    std::shared_ptr<AsyncSemaphore> permit_;
  };

  explicit TurnQueue(ThreadPool& pool) : permit_(std::make_shared<AsyncSemaphore>(pool, 1)) {}

  /// Posts an operation to the pool once its turn has come.
  void async(std::function<void(std::shared_ptr<Turn>)> operation) {
    permit_->wait([permit = permit_, operation = std::move(operation)] {
      operation(std::make_shared<Turn>(permit));
    });
  }

 private:
  std::shared_ptr<AsyncSemaphore> permit_;
};

}  // namespace vaultmere
