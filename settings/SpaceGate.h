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
    std::filesystem::path root;     ///< where it is or was last seen; empty: never
    std::optional<dev_t> device{};  ///< the file system that the root lies, or lay, on
    VolumeCapacity capacity;        ///< meaningful when online
    std::int64_t marginFloor = 0;   ///< bytes
    bool operator==(const State&) const = default;
  };

  void update(const State& state);

  /// True when the destination is online and keeps its margin after a copy of
  /// so many bytes.
  [[nodiscard]] bool allows(std::int64_t bytes) const;
  /// True once when a copy that `allows` has refused would be allowed now: room
  /// has come back, and what was turned away is worth another try.
  [[nodiscard]] bool roomHasComeBack();
  /// The device of the archive's root, as last known: a drive that gives no
  /// answer for a while isn't gone for copies under way, and one that was pulled
  /// out doesn't have its device number at the root any more. Absent until the
  /// destination has been found once.
  [[nodiscard]] std::optional<dev_t> expectedDevice() const;
  /// One consistent look at everything.
  [[nodiscard]] State state() const;

 private:
  mutable std::mutex mutex_;
  State state_;                                  // guarded by mutex_, as the next
  mutable std::optional<std::int64_t> refused_;  ///< the bytes of the smallest refused copy
};

}  // namespace vaultmere
