// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/IngestCoordinator.h"

#include <algorithm>
#include <optional>

#include "intake/Batch.h"
#include "intake/FolderListing.h"
#include "platform/FileLease.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {
namespace {

constexpr const char* kJunkDetail = "not an image or video — left in place";

bool isSettled(const AssetGroup& group, TimePoint now, std::chrono::seconds settle) {
  const auto settled = [&](const fs::path& file) {
    const auto status = fileStatus(file);
    return status && now - status->stamp.modified() >= settle && !isBeingWritten(file);
  };
  return settled(group.primary) && (!group.motion || settled(*group.motion));
}

/// Leaves out the groups that aren't settled, or are gone, and counts them.
void keepSettled(IngestCoordinator::InboxScan& scan, TimePoint now, std::chrono::seconds settle) {
  scan.unsettled += std::erase_if(
      scan.groups, [&](const AssetGroup& group) { return !isSettled(group, now, settle); });
}

std::int64_t leastBytes(const std::vector<AssetGroup>& groups) {
  const auto bytesOf = [](const fs::path& file) {
    const auto status = fileStatus(file);
    return status ? status->stamp.size : 0;
  };
  std::optional<std::int64_t> least;
  for (const AssetGroup& group : groups) {
    const std::int64_t bytes = bytesOf(group.primary) + (group.motion ? bytesOf(*group.motion) : 0);
    least = std::min(least.value_or(bytes), bytes);
  }
  return least.value_or(0);
}

}  // namespace

unsigned batchWidth(unsigned processors) {
  return std::clamp(processors > 0 ? processors - 1 : 0U, 2U, 8U);
}

IngestCoordinator::IngestCoordinator(Options options) : options_(std::move(options)) {}

void IngestCoordinator::ingestDropped(std::vector<fs::path> locations, bool deleteSource,
                                      std::stop_token stop, Observer observer, Done done) {
  options_.queue.async([self = shared_from_this(), locations = std::move(locations), deleteSource,
                        stop = std::move(stop), observer = std::move(observer),
                        done = std::move(done)](std::shared_ptr<TurnQueue::Turn> turn) {
    if (stop.stop_requested()) {
      done({});
      return;
    }
    if (auto problem = self->options_.ingestor.problem()) {
      done({.refusal = std::move(problem)});
      return;
    }
    if (observer.started) {
      observer.started();
    }
    const ProtectedFolders protect = self->options_.ingestor.unscannedFolders();
    ScanResult found;
    std::vector<fs::path> loose;
    for (const fs::path& location : locations) {
      const auto status = fileStatus(location);
      if (status && status->kind == FileKind::directory) {
        found.append(scanTree(location, protect, stop));
      } else if (status && !protect.cover(location)) {
        loose.push_back(location);
      }
    }
    found.append(groupFiles(std::move(loose)));
    self->logJunk(found.junk);
    const std::size_t junk = found.junk.size();
    std::make_shared<Batch>(Batch::Options{self, self->options_.ingestor, *self->options_.log,
                                           self->options_.now, self->options_.pool,
                                           std::move(found.groups), deleteSource, "intake", stop,
                                           BatchProgress{.junk = junk}, observer.progress,
                                           [done, junk](std::vector<Ingestor::Result> results) {
                                             done({.results = std::move(results), .junk = junk});
                                           },
                                           std::move(turn)})
        ->start();
  });
}

IngestCoordinator::InboxScanner IngestCoordinator::inboxScanner() const {
  return [protect = options_.ingestor.unscannedPaths(), now = options_.now(),
          settle = options_.settleSeconds](const fs::path& folder) {
    InboxScan scan;
    scan.groups = scanFolder(folder, ProtectedFolders(protect)).groups;
    keepSettled(scan, now, settle);
    scan.listing = scan.unsettled > 0 ? listingOf(folder).fingerprint : 0;
    scan.leastBytes = leastBytes(scan.groups);
    return scan;
  };
}

void IngestCoordinator::drainInbox(InboxScan scan, std::stop_token stop, Observer observer,
                                   Done done) {
  options_.queue.async([self = shared_from_this(), scan = std::move(scan), stop = std::move(stop),
                        observer = std::move(observer),
                        done = std::move(done)](std::shared_ptr<TurnQueue::Turn> turn) mutable {
    if (stop.stop_requested()) {
      done({});
      return;
    }
    // The batches before this one may have taken a while.
    keepSettled(scan, self->options_.now(), self->options_.settleSeconds);
    const auto result = [unsettled = scan.unsettled,
                         listing = scan.listing](std::vector<Ingestor::Result> results) {
      return BatchResult{std::move(results), 0, unsettled, listing, std::nullopt};
    };
    if (scan.groups.empty()) {
      done(result({}));
      return;
    }
    if (auto problem = self->options_.ingestor.problem()) {
      done({.unsettled = scan.unsettled + scan.groups.size(),
            .listing = scan.listing,
            .refusal = std::move(problem)});
      return;
    }
    if (observer.started) {
      observer.started();
    }
    std::make_shared<Batch>(Batch::Options{self, self->options_.ingestor, *self->options_.log,
                                           self->options_.now, self->options_.pool,
                                           std::move(scan.groups), true, "inbox", stop,
                                           BatchProgress{}, observer.progress,
                                           [done, result](std::vector<Ingestor::Result> results) {
                                             done(result(std::move(results)));
                                           },
                                           std::move(turn)})
        ->start();
  });
}

void IngestCoordinator::logJunk(const std::vector<fs::path>& junk) const {
  const TimePoint now = options_.now();
  std::vector<ImportLogEntry> entries;
  entries.reserve(junk.size());
  for (const fs::path& file : junk) {
    entries.push_back(
        {newUuid(), now, "junk", displayName(file), displayPath(file), kJunkDetail, "intake"});
  }
  options_.log->append(entries);
}

}  // namespace vaultmere
