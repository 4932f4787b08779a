// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <mutex>

namespace vaultmere {

/// Up to which row of the catalog warm-ups have found nothing left to do, so
/// that the next one looks at newer rows only. Any thread.
class WarmUpMark {
 public:
  struct Position {
    std::int64_t row = 0;          ///< the largest `pk` that is done; 0 for none
    std::uint64_t generation = 0;  ///< of the cache
    bool operator==(const Position&) const = default;
  };

  [[nodiscard]] Position position() const {
    const std::lock_guard lock(mutex_);
    return position_;
  }
  /// Does nothing when the cache has been cleared since `from` was read.
  void advance(const Position& from, std::int64_t row) {
    const std::lock_guard lock(mutex_);
    if (from.generation == position_.generation) {
      position_.row = row;
    }
  }
  /// The cache has been cleared.
  void reset() {
    const std::lock_guard lock(mutex_);
    position_ = {0, position_.generation + 1};
  }

 private:
  mutable std::mutex mutex_;
  Position position_;  // guarded by mutex_
};

}  // namespace vaultmere
