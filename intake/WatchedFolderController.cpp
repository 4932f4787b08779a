// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/WatchedFolderController.h"

#include <algorithm>
#include <utility>

namespace vaultmere {

WatchedFolderController::WatchedFolderController(MainThread& main, ThreadPool& pool, Drain drain)
    : main_(main), pool_(pool), drain_(std::move(drain)), hop_(main) {}

void WatchedFolderController::watch(const std::optional<Bookmark>& inbox) {
  if (inbox == inbox_) {
    return;
  }
  stop();
  inbox_ = inbox;
  watcher_.reset();
  redrain_.stop();
  isPassing_ = false;
  wantsPass_ = false;
  settling_.reset();
  hop_.forget();
  if (!inbox) {
    return;
  }
  // Finding the folder may touch a drive that doesn't answer.
  pool_.post([bookmark = *inbox, found = hop_([this](const std::filesystem::path& folder) {
                                   open(folder);
                                 })] { found(bookmark.resolve().value_or(bookmark.path)); });
}

void WatchedFolderController::open(const std::filesystem::path& folder) {
  watcher_ = std::make_unique<InboxWatcher>(main_, pool_, folder, [this] { pass(); });
  watcher_->start();
}

void WatchedFolderController::stop() {
  stop_.request_stop();
  stop_ = std::stop_source();
}

/// Another drive may be mounted at the folder's path by now, or its own one
/// elsewhere: each pass looks first.
void WatchedFolderController::pass() {
  if (!watcher_) {
    return;
  }
  if (std::exchange(isPassing_, true)) {
    wantsPass_ = true;
    return;
  }
  pool_.post(
      [bookmark = *inbox_, found = hop_([this](const std::optional<std::filesystem::path>& folder) {
                             drain(folder);
                           })] { found(bookmark.resolve()); });
}

void WatchedFolderController::drain(const std::optional<std::filesystem::path>& folder) {
  if (folder && folder != watcher_->path()) {
    isPassing_ = false;
    open(*folder);
    return;
  }
  const bool isDraining =
      folder &&
      drain_(*folder, stop_.get_token(),
             hop_([this](const IngestCoordinator::BatchResult& batch) { passed(batch); }));
  if (!isDraining) {
    passed({});
  }
}

void WatchedFolderController::passed(const IngestCoordinator::BatchResult& batch) {
  isPassing_ = false;
  if (batch.unsettled == 0) {
    settling_.reset();
  } else {
    scheduleRedrain(batch.listing);
  }
  if (std::exchange(wantsPass_, false)) {
    pass();
  }
}

/// What has changed is looked at again soon; what hasn't, ever later.
void WatchedFolderController::scheduleRedrain(std::uint64_t listing) {
  const bool isStill = std::exchange(settling_, listing) == listing;
  if (redrain_ && (isStill || redrainPause_ == kRedrainPause)) {
    return;
  }
  redrainPause_ = isStill ? std::min(2 * redrainPause_, kLongestPause) : kRedrainPause;
  redrain_ = main_.after(redrainPause_, [this] {
    redrain_.stop();
    pass();
  });
}

}  // namespace vaultmere
