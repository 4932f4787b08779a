// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <filesystem>
#include <mutex>
#include <optional>

#include "platform/Volumes.h"

namespace vaultmere {

/// The bytes that a volume of `total` bytes (at least 0) must keep free: the
/// larger of the user's floor and 5% of the volume, of which no more than 50
/// GB count.
[[nodiscard]] std::int64_t spaceMargin(std::int64_t marginFloor, std::int64_t total);

/// What workers know about the destination: whether a copy may go ahead, and
/// on which device. The destination monitor keeps it up to date. Any thread.
class SpaceGate {
 public:
  struct State {
    bool online = false;
    std::filesystem::path root;  ///< meaningful when online, as all below
    dev_t device = 0;            ///< the file system that the root lies on
    VolumeCapacity capacity;
    std::int64_t marginFloor = 0;  ///< bytes
    bool operator==(const State&) const = default;
  };

  void update(const State& state);

  /// True when the destination is online and keeps its margin after a copy of
  /// so many bytes.
  [[nodiscard]] bool allows(std::int64_t bytes) const;
  /// The device of the archive's root; absent unless online.
  [[nodiscard]] std::optional<dev_t> expectedDevice() const;
  /// The device that `root` lay on when it was last online: a drive that doesn't
  /// answer for a while isn't gone. Absent when another root has been online
  /// since, or none.
  [[nodiscard]] std::optional<dev_t> lastDeviceOf(const std::filesystem::path& root) const;
  /// One consistent look at everything.
  [[nodiscard]] State state() const;

 private:
  mutable std::mutex mutex_;
  State state_;       // guarded by mutex_
  State lastOnline_;  // guarded by mutex_
};

}  // namespace vaultmere
