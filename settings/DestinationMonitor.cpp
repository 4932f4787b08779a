// SPDX-License-Identifier: GPL-3.0-or-later
#include "settings/DestinationMonitor.h"

#include <exception>
#include <string>
#include <system_error>
#include <utility>

#include "platform/Files.h"
#include "platform/Log.h"

namespace vaultmere {

std::optional<ProbeResult> probeDestination(const Bookmark& bookmark) {
  const auto root = bookmark.resolve();
  const auto status = root ? fileStatus(*root) : std::nullopt;
  const auto capacity = root ? capacityOf(*root) : std::nullopt;
  if (!status || !capacity) {
    return std::nullopt;
  }
  // Asked again: had the drive gone in between, these would be the numbers of
  // what its mount point lies on.
  if (bookmark.resolve() != root) {
    return std::nullopt;
  }
  return ProbeResult{*root, status->stamp.device, *capacity, bookmark.completed(*root)};
}

DestinationMonitor::DestinationMonitor(MainThread& main, std::function<std::int64_t()> marginFloor,
                                       Notify notify, std::shared_ptr<SpaceGate> gate,
                                       DestinationDependencies dependencies)
    : main_(main),
      marginFloor_(std::move(marginFloor)),
      notify_(std::move(notify)),
      gate_(std::move(gate)),
      dependencies_(std::move(dependencies)) {
  updateGate();
  poll_ = main_.every(kPollInterval, [this] { refresh(); });
  if (dependencies_.watchMounts) {
    watcher_ = std::make_unique<MountWatcher>(toMain_([this] { mountsChanged(); }));
  }
}

void DestinationMonitor::setDestination(const std::optional<Bookmark>& destination) {
  if (destination == given_ || destination == destination_) {
    return;
  }
  given_ = destination;
  destination_ = destination;
  // Whatever is on its way is about another place.
  outstanding_.reset();
  again_ = false;
  timeout_.stop();
  found_ = {};
  updateGate();
  url_ = destination ? std::optional(destination->path) : std::nullopt;
  // What was known is about another place, and nobody has lost it.
  if (isOnline()) {
    status_ = Offline{};
  }
  changed_.emit();
}

void DestinationMonitor::refresh() {
  updateGate();
  if (!destination_) {
    publish(Unset{});
  } else if (outstanding_) {
    again_ = true;
  } else {
    startProbe();
  }
}

void DestinationMonitor::mountsChanged() {
  if (outstanding_ && !timeout_ && running_ < kMaxProbes) {
    outstanding_.reset();
  }
  refresh();
}

void DestinationMonitor::startProbe() {
  const std::uint64_t number = ++probes_;
  outstanding_ = number;
  const auto tell = toMain_(
      [this, number](const std::optional<ProbeResult>& result) { onAnswer(number, result); });
  try {
    dependencies_.background([probe = dependencies_.probe, bookmark = *destination_, tell] {
      try {
        tell(probe(bookmark));
      } catch (const std::exception&) {
        tell(std::optional<ProbeResult>());
      }
    });
    ++running_;
  } catch (const std::system_error& error) {
    // Nothing is known of the drive; the next poll tries again.
    outstanding_.reset();
    logLine(std::string("Vaultmere: can't look for the destination — ") + error.what());
    return;
  }
  // Posted when it is due, so that an answer that has come while the main
  // thread was busy gets its turn first.
  timeout_ = main_.after(kTimeout, toMain_([this, number] { onNoAnswer(number); }));
}

void DestinationMonitor::onAnswer(std::uint64_t number, const std::optional<ProbeResult>& result) {
  --running_;
  if (outstanding_ != number) {
    return;
  }
  outstanding_.reset();
  timeout_.stop();
  const bool again = std::exchange(again_, false);
  if (result) {
    becomeOnline(*result);
  } else {
    becomeOffline();
  }
  if (again) {
    refresh();
  }
}

void DestinationMonitor::onNoAnswer(std::uint64_t number) {
  if (outstanding_ == number) {
    timeout_.stop();
    becomeOffline();
  }
}

void DestinationMonitor::becomeOnline(const ProbeResult& result) {
  found_ = {true, result.root, result.device, result.capacity, 0};
  updateGate();
  const bool moved = url_ != result.root || destination_ != result.bookmark;
  url_ = result.root;
  destination_ = result.bookmark;
  const Status online = Online{result.capacity};
  const bool differs = std::exchange(status_, online) != online;
  if (moved || differs) {
    changed_.emit();
  }
}

void DestinationMonitor::becomeOffline() {
  found_.online = false;
  updateGate();
  if (isOnline()) {
    postNotification();
  }
  publish(Offline{});
}

void DestinationMonitor::publish(const Status& status) {
  if (std::exchange(status_, status) != status) {
    changed_.emit();
  }
}

void DestinationMonitor::updateGate() {
  found_.marginFloor = marginFloor_();
  gate_->update(found_);
}

void DestinationMonitor::postNotification() {
  try {
    dependencies_.background([notify = notify_] {
      notify("Destination offline", "Vaultmere paused — reconnect the drive to resume backing up.");
    });
  } catch (const std::system_error&) {
    // The status says it too.
  }
}

}  // namespace vaultmere
