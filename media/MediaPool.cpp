// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/MediaPool.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace vaultmere {
namespace {

/// How often a killed process is looked at until it is over. One that hangs in a
/// call to a dead drive takes long, and then less often.
constexpr std::chrono::milliseconds kEndInterval{5};
constexpr std::chrono::milliseconds kMaxEndInterval{5000};

}  // namespace

MediaPool::Lease::~Lease() {
  if (process_) {
    pool_->giveBack(priority_, std::move(process_), isUsable_);
  }
}

MediaPool::MediaPool(Options options) : options_(std::move(options)) {
  shares_[0].limit = std::max<std::size_t>(1, options_.foreground);
  shares_[1].limit = std::max<std::size_t>(1, options_.background);
  supervisor_ = std::jthread([this](const std::stop_token& stop) { supervise(stop); });
}

MediaPool::~MediaPool() = default;

MediaPool::Lease MediaPool::take(Priority priority) {
  for (;;) {
    Lease lease(*this, priority, takeIdle(priority));
    if (!lease->isUsable()) {
      lease.discard();  // it has ended since it was used last
      continue;
    }
    try {
      lease->awaitReady();
    } catch (const MediaError&) {
      lease.discard();
      throw;
    }
    return lease;
  }
}

/// One that nobody uses; it need not be ready.
std::unique_ptr<MediaProcess> MediaPool::takeIdle(Priority priority) {
  std::unique_lock lock(mutex_);
  Share& share = shareOf(priority);
  const std::size_t failures = share.failures;
  ++share.waiting;
  supervised_.notify_all();
  freed_.wait(lock, [&] { return !share.idle.empty() || share.failures != failures; });
  if (share.failures == failures) {
    --share.waiting;  // a failure has counted all that waited
  }
  if (share.idle.empty()) {
    throw MediaError(share.lastFailure);
  }
  auto process = std::move(share.idle.back().process);
  share.idle.pop_back();
  return process;
}

void MediaPool::giveBack(Priority priority, std::unique_ptr<MediaProcess> process, bool isUsable) {
  const bool isKept = isUsable && process->isUsable() &&
                      process->requests() < options_.maxRequests &&
                      process->residentBytes() <= options_.maxIdleBytes;
  const std::lock_guard lock(mutex_);
  Share& share = shareOf(priority);
  if (isKept) {
    share.idle.push_back({std::move(process), Clock::now()});
    freed_.notify_all();
  } else {
    --share.count;
    retired_.push_back(std::move(process));
  }
  supervised_.notify_all();
}

void MediaPool::supervise(const std::stop_token& stop) {
  std::vector<std::unique_ptr<MediaProcess>> ending;  // killed
  auto endInterval = kEndInterval;
  std::unique_lock lock(mutex_);
  while (!stop.stop_requested()) {
    for (Share& share : shares_) {
      startLacking(share, lock);
    }
    auto next = retireIdle();
    if (!retired_.empty()) {
      std::move(retired_.begin(), retired_.end(), std::back_inserter(ending));
      retired_.clear();
      endInterval = kEndInterval;
    }
    lock.unlock();
    // Waits for none of them: others are to be started meanwhile.
    std::erase_if(ending, [](const auto& process) { return process->end({}); });
    lock.lock();
    if (!ending.empty()) {
      next = std::min(next.value_or(Clock::time_point::max()), Clock::now() + endInterval);
      endInterval = std::min(endInterval * 2, kMaxEndInterval);
    }
    const auto hasWork = [this, isDue = next.has_value()] {
      return !retired_.empty() ||
             std::any_of(shares_.begin(), shares_.end(), [&](const Share& share) {
               return share.lacksProcess() || (!isDue && !share.idle.empty());
             });
    };
    if (next) {
      supervised_.wait_until(lock, stop, *next, hasWork);
    } else {
      supervised_.wait(lock, stop, hasWork);
    }
  }
}

/// Starts as many as are waited for, until one can't be started.
void MediaPool::startLacking(Share& share, std::unique_lock<std::mutex>& lock) {
  while (share.lacksProcess()) {
    ++share.count;
    lock.unlock();
    std::unique_ptr<MediaProcess> process;
    std::string failure;
    try {
      MediaProcess::Options options = options_.process;
      if (&share == &shareOf(Priority::background)) {
        options.arguments.emplace_back(kBackgroundArgument);
      }
      process = std::make_unique<MediaProcess>(std::move(options));
    } catch (const std::exception& error) {
      failure = error.what();
    }
    lock.lock();
    if (process) {
      share.idle.push_back({std::move(process), Clock::now()});
    } else {
      --share.count;
      ++share.failures;
      share.lastFailure = std::move(failure);
      share.waiting = 0;
    }
    freed_.notify_all();
  }
}

/// Gives up those that nobody has used for long; when the next one is due.
std::optional<MediaPool::Clock::time_point> MediaPool::retireIdle() {
  std::optional<Clock::time_point> next;
  const auto now = Clock::now();
  for (Share& share : shares_) {
    auto first = share.idle.begin();
    while (first != share.idle.end() && first->since + options_.idleTimeout <= now) {
      retired_.push_back(std::move(first->process));
      --share.count;
      ++first;
    }
    share.idle.erase(share.idle.begin(), first);
    if (!share.idle.empty()) {
      const auto due = share.idle.front().since + options_.idleTimeout;
      next = next ? std::min(*next, due) : due;
    }
  }
  return next;
}

}  // namespace vaultmere
