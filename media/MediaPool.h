// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "media/MediaProcess.h"
#include "platform/AsyncSemaphore.h"

namespace vaultmere {

/// The media processes of the program: started when they are needed, used again,
/// ended when nobody needs them. Work in the background has processes of its own,
/// so that none in the foreground waits for it. Any thread.
///
/// A thread of the pool's own starts and ends the processes: they live no longer
/// than the thread that starts them.
class MediaPool {
 public:
  struct Options {
    MediaProcess::Options process{};
    std::size_t foreground = 2;  ///< processes at most, for each kind of work
    std::size_t background = 1;
    std::chrono::milliseconds idleTimeout{60'000};
    /// A process is replaced after so many files, or when it has so much memory
    /// in use between two of them: what libraries lose comes back.
    std::size_t maxRequests = 500;
    std::size_t maxIdleBytes = std::size_t{512} << 20;
  };

  /// A process for one request, given back when this is destroyed.
  class Lease {
   public:
    Lease(MediaPool& pool, Priority priority, std::unique_ptr<MediaProcess> process)
        : pool_(&pool), priority_(priority), process_(std::move(process)) {}
    ~Lease();
    Lease(Lease&&) = default;
    Lease& operator=(Lease&&) = delete;
    [[nodiscard]] MediaProcess& operator*() const { return *process_; }
    [[nodiscard]] MediaProcess* operator->() const { return process_.get(); }
    /// It failed, and isn't to be used again.
    void discard() { isUsable_ = false; }

   private:
    MediaPool* pool_;
    Priority priority_;
    std::unique_ptr<MediaProcess> process_;  // null once this has been moved from
    bool isUsable_ = true;
  };

  explicit MediaPool(Options options);
  /// Kills all processes. Nobody may hold a lease.
  ~MediaPool();
  MediaPool(const MediaPool&) = delete;
  MediaPool& operator=(const MediaPool&) = delete;

  /// Waits until a process is free, or has been started; it is ready. Throws
  /// MediaError when there can't be one.
  [[nodiscard]] Lease take(Priority priority);

 private:
  using Clock = std::chrono::steady_clock;
  struct Idle {
    std::unique_ptr<MediaProcess> process;
    Clock::time_point since;
  };
  /// The processes of one kind of work.
  struct Share {
    std::size_t limit = 0;
    std::size_t count = 0;     ///< idle and in use
    std::size_t waiting = 0;   ///< calls of `take`
    std::vector<Idle> idle;    ///< the one that was used last is at the end
    std::size_t failures = 0;  ///< starts that failed so far
    std::string lastFailure;
    [[nodiscard]] bool lacksProcess() const { return waiting > idle.size() && count < limit; }
  };

  [[nodiscard]] Share& shareOf(Priority priority) {
    return shares_.at(priority == Priority::foreground ? 0 : 1);
  }
  [[nodiscard]] std::unique_ptr<MediaProcess> takeIdle(Priority priority);
  void giveBack(Priority priority, std::unique_ptr<MediaProcess> process, bool isUsable);
  void supervise(const std::stop_token& stop);
  void startLacking(Share& share, std::unique_lock<std::mutex>& lock);
  [[nodiscard]] std::optional<Clock::time_point> retireIdle();

  const Options options_;
  std::mutex mutex_;  // guards the rest
  std::condition_variable freed_;
  std::condition_variable_any supervised_;
  std::array<Share, 2> shares_;
  std::vector<std::unique_ptr<MediaProcess>> retired_;  ///< to be ended
  std::jthread supervisor_;                             // last: it uses all of the above
};

}  // namespace vaultmere
