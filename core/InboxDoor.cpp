// SPDX-License-Identifier: GPL-3.0-or-later
#include "core/InboxDoor.h"

#include <algorithm>
#include <utility>

namespace vaultmere {

InboxDoor::InboxDoor(MainThread& main, ThreadPool& pool, Drain drain)
    : main_(main), pool_(pool), drain_(std::move(drain)), hop_(main) {}

void InboxDoor::watch(const std::optional<Bookmark>& inbox) {
  if (inbox == inbox_) {
    return;
  }
  inbox_ = inbox;
  watcher_.reset();
  redrain_.stop();
  isPassing_ = false;
  wantsPass_ = false;
  hop_.forget();
  if (!inbox) {
    return;
  }
  // Finding the folder may touch a drive that doesn't answer.
  pool_.post([bookmark = *inbox, found = hop_([this](const std::filesystem::path& folder) {
                                   open(folder);
                                 })] { found(bookmark.resolve().value_or(bookmark.path)); });
}

void InboxDoor::open(const std::filesystem::path& folder) {
  watcher_ = std::make_unique<InboxWatcher>(main_, pool_, folder, [this] { pass(); });
  watcher_->start();
}

void InboxDoor::pass() {
  if (!watcher_) {
    return;
  }
  if (isPassing_) {
    wantsPass_ = true;
    return;
  }
  isPassing_ = drain_(watcher_->path(),
                      hop_([this](const IngestCoordinator::BatchResult& batch) { passed(batch); }));
}

void InboxDoor::passed(const IngestCoordinator::BatchResult& batch) {
  isPassing_ = false;
  if (batch.unsettled > 0 && !redrain_) {
    scheduleRedrain(batch.listing);
  }
  if (std::exchange(wantsPass_, false)) {
    pass();
  }
}

void InboxDoor::scheduleRedrain(std::uint64_t listing) {
  const bool isStill = settling_ == listing;
  redrainPause_ = isStill ? std::min(2 * redrainPause_, kLongestPause) : kRedrainPause;
  settling_ = listing;
  redrain_ = main_.after(redrainPause_, [this] {
    redrain_.stop();
    pass();
  });
}

}  // namespace vaultmere
