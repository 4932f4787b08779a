// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>

#include "gallery/http/AdmissionQueue.h"

namespace vaultmere {

/// The gallery's threads: each kind of work has its own, so that a drive that
/// doesn't answer delays only what needs that drive.
class WorkQueues {
 public:
  WorkQueues();
  /// Waits for running work; for what an absent drive holds up, at most two
  /// seconds, after which its threads are left behind.
  ~WorkQueues();
  WorkQueues(const WorkQueues&) = delete;
  WorkQueues& operator=(const WorkQueues&) = delete;

  /// Drops all work that hasn't begun. Any thread.
  void shutDown();

 private:
  std::unique_ptr<ThreadPool> catalogThreads_;
  std::unique_ptr<ThreadPool> localThreads_;
  std::unique_ptr<ThreadPool> archiveThreads_;

 public:
  const std::shared_ptr<AdmissionQueue> catalog;     ///< reads of the catalog
  const std::shared_ptr<AdmissionQueue> local;       ///< files in the program's folders
  const std::shared_ptr<AdmissionQueue> archive;     ///< originals
  const std::shared_ptr<AdmissionQueue> renditions;  ///< starts the making of pictures
  /// Missing thumbnails, from their request until they are made. They take one
  /// of these before they wait for `renditions`, so that a thousand of them
  /// aren't ahead of a picture that somebody waits for.
  const std::shared_ptr<AdmissionQueue> thumbnails;
};

}  // namespace vaultmere
