// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/WatchedFolderController.h"

#include <algorithm>
#include <system_error>
#include <utility>

#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {

WatchedFolderController::WatchedFolderController(MainThread& main, Pipeline pipeline,
                                                 WatchDependencies dependencies)
    : main_(main),
      pipeline_(std::move(pipeline)),
      dependencies_(std::move(dependencies)),
      toMain_(main) {}

void WatchedFolderController::watch(const std::optional<Bookmark>& inbox) {
  if (inbox == inbox_) {
    return;
  }
  stop();
  toMain_.forget();
  mounts_.reset();
  watcher_.reset();
  redrain_.stop();
  inbox_ = inbox;
  state_ = State::idle;
  wantsPass_ = false;
  isAway_ = false;
  runningLooks_ = 0;
  settling_.reset();
  turnedAway_.reset();
  if (!inbox) {
    return;
  }
  if (dependencies_.watchMounts) {
    mounts_ = std::make_unique<MountWatcher>(toMain_([this] { mountsChanged(); }));
  }
  open(inbox->path);
}

void WatchedFolderController::open(const std::filesystem::path& folder) {
  watcher_ = std::make_unique<InboxWatcher>(
      main_, folder, [this] { pass(); }, dependencies_);
  watcher_->start();
}

void WatchedFolderController::stop() {
  stop_.request_stop();
  stop_ = std::stop_source();
  if (state_ == State::looking) {
    ++looks_;
    state_ = State::idle;
    lookTimeout_.stop();
  }
}

void WatchedFolderController::destinationChanged() {
  if (state_ != State::idle) {
    stop();
    pass();
  }
}

void WatchedFolderController::pass() {
  if (state_ != State::idle) {
    wantsPass_ = true;
  } else if (inbox_) {
    startLook();
  }
}

void WatchedFolderController::mountsChanged() {
  if (!watcher_) {
    return;
  }
  const bool hangs = state_ == State::looking && !lookTimeout_;
  if (hangs && runningLooks_ < kMaxLooks) {
    state_ = State::idle;
  }
  if (hangs || isAway_) {
    pass();
  }
  watcher_->mountsChanged();
}

void WatchedFolderController::destinationHasRoom(std::int64_t bytes) {
  if (turnedAway_ && *turnedAway_ <= bytes) {
    turnedAway_.reset();
    pass();
  }
}

/// Another drive may be mounted at the folder's path by now, or its own one
/// elsewhere: each look finds the folder first.
void WatchedFolderController::startLook() {
  Scanner scan = pipeline_.scanner();
  if (!scan) {
    return;
  }
  const std::uint64_t number = ++looks_;
  auto answer = toMain_([this, number](const Look& look) {
    --runningLooks_;
    if (number == looks_) {
      onLook(look);
    }
  });
  try {
    dependencies_.background([bookmark = *inbox_, watched = watcher_->path(),
                              scan = std::move(scan), answer = std::move(answer)] {
      Look look{bookmark.resolve(), {}};
      if (look.folder == watched) {
        look.scan = scan(watched);
      }
      answer(std::move(look));
    });
  } catch (const std::system_error& error) {
    logLine(std::string("Vaultmere: watched folder not scanned — ") + error.what());
    return;
  }
  ++runningLooks_;
  state_ = State::looking;
  lookTimeout_ = main_.after(kLookTimeout, [this] { onTimeout(); });
}

void WatchedFolderController::onTimeout() {
  lookTimeout_.stop();
  logLine("Vaultmere: watched folder not scanned — no answer from " +
          displayPath(watcher_->path()));
}

void WatchedFolderController::onLook(Look look) {
  lookTimeout_.stop();
  state_ = State::idle;
  isAway_ = !look.folder;
  turnedAway_.reset();
  if (look.folder && look.folder != watcher_->path()) {
    open(*look.folder);
    return;
  }
  IngestCoordinator::BatchResult nothingDone;
  nothingDone.unsettled = look.scan.unsettled;
  nothingDone.listing = look.scan.listing;
  if (!look.scan.groups.empty()) {
    leastBytes_ = look.scan.leastBytes;
    state_ = State::draining;
    if (pipeline_.drain(
            std::move(look.scan), stop_.get_token(),
            toMain_([this](const IngestCoordinator::BatchResult& batch) { finishPass(batch); }))) {
      return;
    }
  }
  finishPass(nothingDone);
}

void WatchedFolderController::finishPass(const IngestCoordinator::BatchResult& batch) {
  state_ = State::idle;
  if (std::any_of(batch.results.begin(), batch.results.end(), [](const Ingestor::Result& result) {
        return result.outcome == IngestOutcome::skipped;
      })) {
    turnedAway_ = leastBytes_;
  }
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
