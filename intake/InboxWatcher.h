// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "intake/FolderListing.h"
#include "platform/DetachedThread.h"
#include "platform/FolderNotifier.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"

namespace vaultmere {

/// What watching a folder needs from outside; tests put their own in.
struct WatchDependencies {
  /// Runs what touches the folder, since its drive may hang.
  Background background = runDetached;
  /// Whether changes of the mount table start a look.
  bool watchMounts = true;
  /// Whether the kernel's notices do; without them the poll is left.
  bool watchFolder = true;
};

/// Watches the folder whose files are frozen by themselves. Says only that
/// something may have changed: the listener looks at the folder itself.
///
/// Notices come from the kernel, and from a poll of the folder's listing for
/// file systems of which the kernel knows nothing. Main thread only, which
/// never waits for the folder.
class InboxWatcher {
 public:
  /// At most one call of `onChange` in so long a time.
  static constexpr std::chrono::seconds kLatency{1};
  /// The time between two looks at the listing.
  static constexpr std::chrono::seconds kPollInterval{30};
  /// Looks that may hang at the same time.
  static constexpr unsigned kMaxLooks = 4;

  /// `onChange` comes on the main thread.
  InboxWatcher(MainThread& main, std::filesystem::path path, std::function<void()> onChange,
               WatchDependencies dependencies);
  InboxWatcher(const InboxWatcher&) = delete;
  InboxWatcher& operator=(const InboxWatcher&) = delete;

  /// Starts watching, and calls `onChange` at once for what lies there already.
  void start();

  /// Looks at the listing at once, also when the last look hangs: another folder
  /// may be at the path by now. It is then watched in place of the old one.
  void mountsChanged();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  void watchNotices();
  void noticed();
  void look();
  void compare(const FolderListing& listing);

  MainThread& main_;
  const std::filesystem::path path_;
  const std::function<void()> onChange_;
  const WatchDependencies dependencies_;
  MainThreadCallback toMain_{main_};
  std::unique_ptr<FolderNotifier> notifier_;
  Timer poll_;
  Timer coalescing_;
  bool noticedMeanwhile_ = false;
  std::uint64_t looks_ = 0;  ///< started so far; the last one counts
  unsigned running_ = 0;     ///< with those whose answer nobody waits for any more
  bool isLooking_ = false;   ///< the last one has given no answer yet
  std::optional<FolderListing> listing_;
};

}  // namespace vaultmere
