// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/InboxWatcher.h"

#include <system_error>
#include <utility>

namespace vaultmere {

InboxWatcher::InboxWatcher(MainThread& main, std::filesystem::path path,
                           std::function<void()> onChange, WatchDependencies dependencies)
    : main_(main),
      path_(std::move(path)),
      onChange_(std::move(onChange)),
      dependencies_(std::move(dependencies)) {}

void InboxWatcher::start() {
  watchNotices();
  poll_ = main_.every(kPollInterval, [this] {
    if (!isLooking_) {  // else the last look hangs
      look();
    }
  });
  look();
  noticed();
}

void InboxWatcher::mountsChanged() {
  if (running_ < kMaxLooks) {
    look();
  }
}

void InboxWatcher::watchNotices() {
  if (dependencies_.watchFolder) {
    notifier_ = std::make_unique<FolderNotifier>(path_, toMain_([this] { noticed(); }));
  }
}

/// Calls at once, and then once more a second later if there was more.
void InboxWatcher::noticed() {
  if (coalescing_) {
    noticedMeanwhile_ = true;
    return;
  }
  coalescing_ = main_.after(kLatency, [this] {
    coalescing_.stop();
    if (std::exchange(noticedMeanwhile_, false)) {
      noticed();
    }
  });
  onChange_();
}

void InboxWatcher::look() {
  const std::uint64_t number = ++looks_;
  auto answer = toMain_([this, number](const FolderListing& listing) {
    --running_;
    if (number == looks_) {
      isLooking_ = false;
      compare(listing);
    }
  });
  try {
    dependencies_.background(
        [path = path_, answer = std::move(answer)] { answer(listingOf(path)); });
    ++running_;
    isLooking_ = true;
  } catch (const std::system_error&) {
    // No thread: the next poll tries again.
  }
}

void InboxWatcher::compare(const FolderListing& listing) {
  // The first look is what later ones are compared with.
  const auto before = std::exchange(listing_, listing);
  if (!before || *before == listing) {
    return;
  }
  if (!before->isOfSameFolder(listing)) {
    watchNotices();
  }
  noticed();
}

}  // namespace vaultmere
