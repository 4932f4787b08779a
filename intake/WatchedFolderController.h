// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "intake/InboxWatcher.h"
#include "intake/IngestCoordinator.h"
#include "platform/Bookmark.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/Volumes.h"

namespace vaultmere {

/// Archives what appears in the watched folder: runs a pass over it whenever
/// something may have changed, and again while files there still settle.
///
/// A pass has two halves. The look finds the folder and scans it, on a thread of
/// its own, since its drive may hang; the drain archives what the look has found,
/// in the coordinator's turn. Main thread only, which waits for neither.
class WatchedFolderController {
 public:
  /// After a pass that left files to settle, the next one comes in so long; in
  /// twice as long each time that nothing has changed meanwhile, up to the
  /// longest pause.
  static constexpr std::chrono::seconds kRedrainPause{6};
  static constexpr std::chrono::seconds kLongestPause{300};
  /// A look that takes longer hangs: the log says so, and a change of the mount
  /// table starts another one. Its answer, should it come, still counts until
  /// then. A drive that spins up takes a quarter of this.
  static constexpr std::chrono::seconds kLookTimeout{60};
  /// Looks that may hang at the same time.
  static constexpr unsigned kMaxLooks = 4;

  using Scan = IngestCoordinator::InboxScan;
  using Scanner = IngestCoordinator::InboxScanner;
  using Done = std::function<void(const IngestCoordinator::BatchResult&)>;

  /// How files get from the folder into the archive.
  struct Pipeline {
    /// Gives what scans the folder, to be called on a thread that may outlive
    /// everything; null when nobody could archive what it finds.
    std::function<Scanner()> scanner;
    /// Archives the groups of a scan until it is stopped; calls `Done` on any
    /// thread. False when there is nobody to do it, and then `Done` isn't called.
    std::function<bool(Scan scan, std::stop_token stop, Done done)> drain;
  };

  WatchedFolderController(MainThread& main, Pipeline pipeline, WatchDependencies dependencies = {});
  WatchedFolderController(const WatchedFolderController&) = delete;
  WatchedFolderController& operator=(const WatchedFolderController&) = delete;

  ~WatchedFolderController() { stop(); }

  /// Watches another folder, or none; what is done in the old one ends. The
  /// same one goes on being watched.
  void watch(const std::optional<Bookmark>& inbox);

  /// Runs a pass; when one is under way, one more follows it.
  void pass();

  /// Looks again because the mount table has changed: at a folder that was away,
  /// at another one that covers it, or in place of a look that hangs.
  void mountsChanged();

  /// So many bytes may be written to the destination now. Runs a pass if the last
  /// one turned files away that may fit.
  void destinationHasRoom(std::int64_t bytes);

  /// The files go into another archive from now on. A pass that is under way ends,
  /// as by `stop`, and another one follows it.
  void destinationChanged();

  /// Ends the pass that is under way: files already done stay done, and what a
  /// look finds is dropped.
  void stop();

 private:
  enum class State { idle, looking, draining };

  /// What a look has found; no folder when its drive isn't there.
  struct Look {
    std::optional<std::filesystem::path> folder;
    Scan scan;
  };

  void open(const std::filesystem::path& folder);
  void startLook();
  void onTimeout();
  void onLook(Look look);
  void finishPass(const IngestCoordinator::BatchResult& batch);
  void scheduleRedrain(std::uint64_t listing);

  MainThread& main_;
  const Pipeline pipeline_;
  const WatchDependencies dependencies_;
  std::optional<Bookmark> inbox_;
  MainThreadCallback toMain_;  ///< forgets with the folder: answers about another are dropped
  std::unique_ptr<InboxWatcher> watcher_;

  State state_ = State::idle;
  bool wantsPass_ = false;
  bool isAway_ = false;        ///< the last look found no folder
  std::uint64_t looks_ = 0;    ///< started so far; the answer to the last one counts
  unsigned runningLooks_ = 0;  ///< with those that nobody waits for any more
  Timer lookTimeout_;
  std::stop_source stop_;

  Timer redrain_;
  std::chrono::seconds redrainPause_ = kRedrainPause;
  std::optional<std::uint64_t> settling_;   ///< the listing at the last re-drain's planning
  std::int64_t leastBytes_ = 0;             ///< of the groups that are drained
  std::optional<std::int64_t> turnedAway_;  ///< as many bytes may make room for one
  std::unique_ptr<MountWatcher> mounts_;    // last: it stops before the rest goes
};

}  // namespace vaultmere
