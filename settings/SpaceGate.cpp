// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/SpaceGate.h"

#include <algorithm>

namespace vaultmere {
namespace {

bool hasRoom(const SpaceGate::State& state, std::int64_t bytes) {
  // None of these is below 0, so the difference can't overflow.
  return state.online && state.capacity.available - std::max<std::int64_t>(bytes, 0) >=
                             spaceMargin(state.marginFloor, state.capacity.total);
}

}  // namespace

std::int64_t spaceMargin(std::int64_t marginFloor, std::int64_t total) {
  constexpr std::int64_t maxPartOfTheVolume = 50'000'000'000;
  return std::max(marginFloor, std::min(total / 20, maxPartOfTheVolume));
}

void SpaceGate::update(const State& state) {
  const std::lock_guard lock(mutex_);
  state_ = state;
}

bool SpaceGate::allows(std::int64_t bytes) const {
  const std::lock_guard lock(mutex_);
  const bool isAllowed = hasRoom(state_, bytes);
  if (!isAllowed) {
    refused_ = std::min(refused_.value_or(bytes), bytes);
  }
  return isAllowed;
}

bool SpaceGate::roomHasComeBack() {
  const std::lock_guard lock(mutex_);
  if (!refused_ || !hasRoom(state_, *refused_)) {
    return false;
  }
  refused_.reset();
  return true;
}

std::optional<dev_t> SpaceGate::expectedDevice() const {
  const std::lock_guard lock(mutex_);
  return state_.device;
}

SpaceGate::State SpaceGate::state() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

}  // namespace vaultmere
