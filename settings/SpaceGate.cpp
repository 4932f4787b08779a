// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SpaceGate.h"

#include <algorithm>

namespace vaultmere {

std::int64_t spaceMargin(std::int64_t marginFloor, std::int64_t total) {
  constexpr std::int64_t mostOfTheVolume = 50'000'000'000;
  return std::max(marginFloor, std::min(total / 20, mostOfTheVolume));
}

void SpaceGate::update(const State& state) {
  const std::lock_guard lock(mutex_);
  state_ = state;
  if (state.online) {
    lastOnline_ = state;
  }
}

bool SpaceGate::allows(std::int64_t bytes) const {
  const State now = state();
  // None of these is below 0, so the difference can't overflow.
  return now.online && now.capacity.available - std::max<std::int64_t>(bytes, 0) >=
                           spaceMargin(now.marginFloor, now.capacity.total);
}

std::optional<dev_t> SpaceGate::expectedDevice() const {
  const std::lock_guard lock(mutex_);
  return state_.online ? std::optional(state_.device) : std::nullopt;
}

std::optional<dev_t> SpaceGate::lastDeviceOf(const std::filesystem::path& root) const {
  const std::lock_guard lock(mutex_);
  return lastOnline_.online && lastOnline_.root == root ? std::optional(lastOnline_.device)
                                                        : std::nullopt;
}

SpaceGate::State SpaceGate::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

}  // namespace vaultmere
