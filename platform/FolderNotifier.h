// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <memory>

namespace vaultmere {

/// Tells of changes among a folder's own entries, by inotify, on a thread of its
/// own. A folder that is missing, goes away or is replaced is watched as soon as
/// it is there again, at most a second later, and that counts as a change.
///
/// Says nothing of what another machine does on a network mount: the kernel
/// doesn't know.
class FolderNotifier {
 public:
  /// `onEvent` comes once when the watch has begun, then once for each burst
  /// that the kernel hands over, and never again once the destructor has
  /// returned.
  FolderNotifier(const std::filesystem::path& folder, std::function<void()> onEvent);
  /// Waits for a running `onEvent`, never for the file system.
  ~FolderNotifier();
  FolderNotifier(const FolderNotifier&) = delete;
  FolderNotifier& operator=(const FolderNotifier&) = delete;

 private:
  struct State;
  std::shared_ptr<State> state_;
};

}  // namespace vaultmere
