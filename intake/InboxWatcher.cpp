// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/InboxWatcher.h"

#include <functional>
#include <string>
#include <utility>

#include "platform/Files.h"

namespace vaultmere {

std::uint64_t listingFingerprint(const fs::path& folder) {
  std::uint64_t sum = 0;
  try {
    for (const DirectoryEntry& entry : listDirectory(folder)) {
      const auto status = linkStatus(entry.path);
      const FileStamp stamp = status ? status->stamp : FileStamp{};
      // Added up, so that the order of the listing doesn't matter.
      sum += std::hash<std::string>{}(entry.path.filename().native() + '\0' +
                                      std::to_string(stamp.size) + '\0' +
                                      std::to_string(stamp.modifiedNanoseconds));
    }
  } catch (const FileError&) {
    return 0;
  }
  return sum;
}

InboxWatcher::InboxWatcher(MainThread& main, ThreadPool& pool, fs::path path,
                           std::function<void()> onChange)
    : main_(main), pool_(pool), path_(std::move(path)), onChange_(std::move(onChange)) {}

InboxWatcher::~InboxWatcher() { stop(); }

void InboxWatcher::start() {
  stop();
  notifier_ = std::make_unique<FolderNotifier>(path_, hop_([this] { noticed(); }));
  poll_ = main_.every(kPollInterval, [this] { lookAtListing(); });
  lookAtListing();
  noticed();
}

void InboxWatcher::stop() {
  hop_.forget();
  notifier_.reset();
  poll_.stop();
  coalescing_.stop();
  noticedMeanwhile_ = false;
  isLooking_ = false;
  listing_.reset();
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

void InboxWatcher::lookAtListing() {
  if (std::exchange(isLooking_, true)) {
    return;  // the last look hangs
  }
  auto compare = hop_([this](std::uint64_t listing) {
    isLooking_ = false;
    // The first look is what later ones are compared with.
    const auto before = std::exchange(listing_, listing);
    if (before && before != listing) {
      noticed();
    }
  });
  pool_.post([path = path_, compare = std::move(compare)] { compare(listingFingerprint(path)); });
}

}  // namespace vaultmere
