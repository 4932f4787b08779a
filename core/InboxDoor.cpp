// SPDX-License-Identifier: GPL-3.0-or-later
#include "core/InboxDoor.h"

#include <algorithm>
#include <utility>

namespace vaultmere {

InboxDoor::InboxDoor(MainThread& main, ThreadPool& pool, Drain drain)
    : main_(main), pool_(pool), drain_(std::move(drain)) {}

void InboxDoor::watch(const std::optional<Bookmark>& inbox) {
  if (inbox == inbox_) {
    return;
  }
  inbox_ = inbox;
  watcher_.reset();
  redrain_.stop();
  isPassing_ = false;
  wantsPass_ = false;
  alive_ = std::make_shared<bool>(true);
  if (!inbox) {
    return;
  }
  // Finding the folder may touch a drive that doesn't answer.
  pool_.post([this, &main = main_, bookmark = *inbox, weak = std::weak_ptr<bool>(alive_)] {
    const std::filesystem::path folder = bookmark.resolve().value_or(bookmark.path);
    main.post([this, weak, folder] {
      if (weak.lock()) {
        open(folder);
      }
    });
  });
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
  isPassing_ = drain_(watcher_->path(), [this, weak = std::weak_ptr<bool>(alive_)](
                                            const IngestCoordinator::BatchResult& batch) {
    if (weak.lock()) {
      passed(batch);
    }
  });
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
