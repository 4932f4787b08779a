// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <optional>

namespace vaultmere {

/// Counts the stills that go with one motion file. Any thread.
class MotionRefCount {
 public:
  explicit MotionRefCount(int stills) : pending_(stills) {}

  /// One still is done. True for the last of them when all have succeeded:
  /// only then may the motion file go.
  [[nodiscard]] bool finish(bool succeeded) {
    if (!succeeded) {
      allSucceeded_ = false;
    }
    return --pending_ == 0 && allSucceeded_;
  }

 private:
  std::atomic<int> pending_;
  std::atomic<bool> allSucceeded_{true};
};

/// One unit of work: a still with or without its motion file, or a video. What
/// is said about its name serves files whose own name isn't the item's.
struct AssetGroup {
  std::filesystem::path primary;                   ///< its bytes give the `id`
  std::optional<std::filesystem::path> motion;     ///< the video half of a Live Photo
  bool isVideo = false;                            ///< the primary is a video
  std::shared_ptr<MotionRefCount> motionRefCount;  ///< null when no other still shares `motion`
  /// What to record as the item's name; absent: the primary's last path component.
  std::optional<std::filesystem::path> name{};
  /// The name that is read for a date, empty for none: a hash isn't a date, nor
  /// is what staging has added to a name. Absent: the primary's last path component.
  std::optional<std::filesystem::path> dateName{};
};

}  // namespace vaultmere
