// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/StatsCache.h"

#include <utility>

namespace vaultmere {

void StatsCache::get(std::function<void(Bytes)> callback) {
  std::unique_lock lock(mutex_);
  if (bytes_ != nullptr && clock_() - madeAt_ < kLifetime) {
    const Bytes bytes = bytes_;
    lock.unlock();
    callback(bytes);
    return;
  }
  waiting_.push_back(std::move(callback));
  if (waiting_.size() == 1) {
    lock.unlock();
    post_([self = shared_from_this()] { self->refresh(); });
  }
}

void StatsCache::refresh() {
  auto made = compute_();
  const auto bytes = std::make_shared<const std::string>(std::move(made.json));
  std::vector<std::function<void(Bytes)>> waiting;
  {
    const std::lock_guard lock(mutex_);
    bytes_ = made.isComplete ? bytes : nullptr;
    madeAt_ = clock_();
    waiting = std::exchange(waiting_, {});
  }
  for (const auto& callback : waiting) {
    callback(bytes);
  }
}

}  // namespace vaultmere
