// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/IngestCoordinator.h"

#include <algorithm>

#include "intake/Batch.h"
#include "intake/InboxWatcher.h"
#include "platform/FileLease.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {
namespace {

constexpr const char* kJunkDetail = "not an image or video — left in place";

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

void IngestCoordinator::drainInbox(fs::path folder, std::stop_token stop, Observer observer,
                                   Done done) {
  options_.queue.async([self = shared_from_this(), folder = std::move(folder),
                        stop = std::move(stop), observer = std::move(observer),
                        done = std::move(done)](std::shared_ptr<TurnQueue::Turn> turn) {
    if (stop.stop_requested()) {
      done({});
      return;
    }
    std::vector<AssetGroup> groups =
        scanFolder(folder, self->options_.ingestor.unscannedFolders()).groups;
    const auto firstUnsettled =
        std::stable_partition(groups.begin(), groups.end(),
                              [&](const AssetGroup& group) { return self->isSettled(group); });
    const auto unsettled = static_cast<std::size_t>(groups.end() - firstUnsettled);
    groups.erase(firstUnsettled, groups.end());
    const std::uint64_t listing = unsettled > 0 ? listingFingerprint(folder) : 0;
    if (groups.empty()) {
      done({.unsettled = unsettled, .listing = listing});
      return;
    }
    if (observer.started) {
      observer.started();
    }
    std::make_shared<Batch>(
        Batch::Options{
            self, self->options_.ingestor, *self->options_.log, self->options_.now,
            self->options_.pool, std::move(groups), true, "inbox", stop, BatchProgress{},
            observer.progress,
            [done, unsettled, listing](std::vector<Ingestor::Result> results) {
              done({.results = std::move(results), .unsettled = unsettled, .listing = listing});
            },
            std::move(turn)})
        ->start();
  });
}

bool IngestCoordinator::isSettled(const AssetGroup& group) const {
  const TimePoint now = options_.now();
  const auto settled = [&](const fs::path& file) {
    const auto status = fileStatus(file);
    return status && now - status->stamp.modified() >= options_.settleSeconds &&
           !isBeingWritten(file);
  };
  return settled(group.primary) && (!group.motion || settled(*group.motion));
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
