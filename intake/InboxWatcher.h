// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>

#include "platform/FolderNotifier.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// Watches the folder whose files are frozen by themselves. Says only that
/// something may have changed: whoever listens looks at the folder itself.
///
/// Notices come from the kernel, and from a slow look at the folder's listing
/// for file systems of which the kernel knows nothing. Main thread only.
class InboxWatcher {
 public:
  /// At most one call of `onChange` in so long a time.
  static constexpr std::chrono::seconds kLatency{1};
  /// The time between two looks at the listing.
  static constexpr std::chrono::seconds kPollInterval{30};

  /// `onChange` comes on the main thread.
  InboxWatcher(MainThread& main, ThreadPool& pool, std::filesystem::path path,
               std::function<void()> onChange);
  ~InboxWatcher();
  InboxWatcher(const InboxWatcher&) = delete;
  InboxWatcher& operator=(const InboxWatcher&) = delete;

  /// Starts watching, and calls `onChange` at once for what lies there already.
  void start();
  /// No `onChange` comes after this. Nothing happens when nothing runs.
  void stop();

  [[nodiscard]] const std::filesystem::path& path() const { return path_; }

 private:
  void noticed();
  void lookAtListing();

  MainThread& main_;
  ThreadPool& pool_;
  const std::filesystem::path path_;
  const std::function<void()> onChange_;
  MainThreadCallback hop_{main_};
  std::unique_ptr<FolderNotifier> notifier_;
  Timer poll_;
  Timer coalescing_;
  bool noticedMeanwhile_ = false;
  bool isLooking_ = false;
  std::optional<std::uint64_t> listing_;
};

/// A number that changes with the names, sizes and modification times of a
/// folder's own entries; 0 when it can't be listed.
[[nodiscard]] std::uint64_t listingFingerprint(const std::filesystem::path& folder);

}  // namespace vaultmere
