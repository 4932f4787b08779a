// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/AsyncSemaphore.h"

#include <utility>

namespace vaultmere {

void AsyncSemaphore::wait(std::function<void()> resume, Priority priority) {
  const std::lock_guard lock(mutex_);
  (priority == Priority::foreground ? foreground_ : background_).push_back(std::move(resume));
  resumeWaiters();
}

void AsyncSemaphore::signal() {
  const std::lock_guard lock(mutex_);
  ++available_;
  resumeWaiters();
}

/// Tasks are posted under the lock, so that the pool gets them in order.
void AsyncSemaphore::resumeWaiters() {
  const auto resumeFrom = [this](std::deque<std::function<void()>>& waiters, int spared) {
    for (; available_ > spared && !waiters.empty(); --available_) {
      pool_.post(std::move(waiters.front()));
      waiters.pop_front();
    }
  };
  resumeFrom(foreground_, 0);
  resumeFrom(background_, reserved_);
}

}  // namespace vaultmere
