// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/WorkQueues.h"

#include "gallery/http/ConcurrencyLimits.h"

namespace vaultmere {
namespace {

/// How long the end of the gallery waits for reads of the archive.
constexpr std::chrono::seconds kArchiveTimeout{2};

std::unique_ptr<ThreadPool> threadsFor(const AdmissionQueue::Limits& limits) {
  return std::make_unique<ThreadPool>(static_cast<unsigned>(limits.atOnce));
}

std::shared_ptr<AdmissionQueue> queueOn(ThreadPool& pool, const AdmissionQueue::Limits& limits) {
  return std::make_shared<AdmissionQueue>(pool, limits);
}

/// As many as are made at once, all for whoever asks.
AdmissionQueue::Limits thumbnailLimits() {
  const int atOnce = renditionLimits().atOnce;
  return {atOnce, atOnce};
}

}  // namespace

WorkQueues::WorkQueues()
    : catalogThreads_(threadsFor(kCatalogReads)),
      localThreads_(threadsFor(kLocalReads)),
      archiveThreads_(threadsFor(kArchiveReads)),
      catalog(queueOn(*catalogThreads_, kCatalogReads)),
      local(queueOn(*localThreads_, kLocalReads)),
      archive(queueOn(*archiveThreads_, kArchiveReads)),
      renditions(queueOn(*localThreads_, renditionLimits())),
      thumbnails(queueOn(*catalogThreads_, thumbnailLimits())) {}

WorkQueues::~WorkQueues() {
  shutDown();
  if (!archiveThreads_->waitUntilIdle(kArchiveTimeout)) {
    (void)archiveThreads_.release();  // a system call that may never return holds them
  }
}

void WorkQueues::shutDown() {
  for (const auto& queue : {catalog, local, archive, renditions, thumbnails}) {
    queue->shutDown();
  }
}

}  // namespace vaultmere
