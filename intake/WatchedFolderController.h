// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "intake/InboxWatcher.h"
#include "intake/IngestCoordinator.h"
#include "platform/Bookmark.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// The watched folder as a door of the archive: runs a pass over it whenever
/// something may have changed, and again while files there still settle.
/// Main thread only.
class WatchedFolderController {
 public:
  /// After a pass that left files to settle, the next one comes in so long; in
  /// twice as long each time that nothing has changed meanwhile, up to the
  /// longest pause.
  static constexpr std::chrono::seconds kRedrainPause{6};
  static constexpr std::chrono::seconds kLongestPause{300};

  using Done = std::function<void(const IngestCoordinator::BatchResult&)>;
  /// Drains a folder until it is stopped; calls `Done` on any thread. False when
  /// there is nobody to do it, and then `Done` isn't called.
  using Drain =
      std::function<bool(const std::filesystem::path& folder, std::stop_token stop, Done done)>;

  WatchedFolderController(MainThread& main, ThreadPool& pool, Drain drain);
  WatchedFolderController(const WatchedFolderController&) = delete;
  WatchedFolderController& operator=(const WatchedFolderController&) = delete;

  ~WatchedFolderController() { stop(); }

  /// Watches another folder, or none; what is done in the old one ends. The
  /// same one goes on being watched.
  void watch(const std::optional<Bookmark>& inbox);

  /// Runs a pass; when one is under way, one more follows it.
  void pass();

  /// Ends the pass that is under way: files already done stay done.
  void stop();

 private:
  void open(const std::filesystem::path& folder);
  void drain(const std::optional<std::filesystem::path>& folder);
  void passed(const IngestCoordinator::BatchResult& batch);
  void scheduleRedrain(std::uint64_t listing);

  MainThread& main_;
  ThreadPool& pool_;
  const Drain drain_;
  std::optional<Bookmark> inbox_;
  MainThreadCallback hop_;  ///< forgets with the folder: answers about another are dropped
  std::unique_ptr<InboxWatcher> watcher_;
  bool isPassing_ = false;
  bool wantsPass_ = false;
  std::stop_source stop_;
  Timer redrain_;
  std::chrono::seconds redrainPause_ = kRedrainPause;
  std::optional<std::uint64_t> settling_;  ///< the listing at the last re-drain's planning
};

}  // namespace vaultmere
