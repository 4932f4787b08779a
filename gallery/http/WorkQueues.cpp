// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/WorkQueues.h"

#include <mutex>
#include <utility>
#include <vector>

#include "gallery/http/ConcurrencyLimits.h"

namespace vaultmere {
namespace {

/// Leaves a pool behind whose threads a system call holds that may never return.
void detach(std::unique_ptr<ThreadPool> pool) {
  static std::mutex mutex;
  static auto& abandoned = *new std::vector<std::unique_ptr<ThreadPool>>;  // never destroyed
  const std::lock_guard lock(mutex);
  abandoned.push_back(std::move(pool));
}

std::unique_ptr<ThreadPool> threadsFor(const AdmissionQueue::Limits& limits) {
  return std::make_unique<ThreadPool>(static_cast<unsigned>(limits.atOnce));
}

std::shared_ptr<AdmissionQueue> queueOn(ThreadPool& pool, const AdmissionQueue::Limits& limits) {
  return std::make_shared<AdmissionQueue>(pool, limits);
}

/// As many as are made at once; no client waits for them.
AdmissionQueue::Limits thumbnailLimits() {
  const int atOnce = renditionLimits().atOnce;
  return {atOnce, atOnce};
}

}  // namespace

WorkQueues::WorkQueues(std::chrono::milliseconds archiveTimeout)
    : catalogThreads_(threadsFor(kCatalogReads)),
      localThreads_(threadsFor(kLocalReads)),
      archiveThreads_(threadsFor(kArchiveReads)),
      archiveTimeout_(archiveTimeout),
      catalog(queueOn(*catalogThreads_, kCatalogReads)),
      local(queueOn(*localThreads_, kLocalReads)),
      archive(queueOn(*archiveThreads_, kArchiveReads)),
      renditions(queueOn(*localThreads_, renditionLimits())),
      thumbnails(queueOn(*catalogThreads_, thumbnailLimits())) {}

WorkQueues::~WorkQueues() {
  shutDown();
  if (!archiveThreads_->waitUntilIdle(archiveTimeout_)) {
    detach(std::move(archiveThreads_));
  }
}

void WorkQueues::shutDown() {
  for (const auto& queue : {catalog, local, archive, renditions, thumbnails}) {
    queue->shutDown();
  }
}

}  // namespace vaultmere
