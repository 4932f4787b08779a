// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/AsyncSemaphore.h"

#include <utility>

namespace vaultmere {

// Tasks are posted under the lock, so that the pool gets them in order.

void AsyncSemaphore::wait(std::function<void()> resume) {
  const std::lock_guard lock(mutex_);
  if (available_ < 1) {
    waiters_.push_back(std::move(resume));
    return;
  }
  --available_;
  pool_.post(std::move(resume));
}

void AsyncSemaphore::signal() {
  const std::lock_guard lock(mutex_);
  if (waiters_.empty()) {
    ++available_;
    return;
  }
  pool_.post(std::move(waiters_.front()));
  waiters_.pop_front();
}

}  // namespace vaultmere
