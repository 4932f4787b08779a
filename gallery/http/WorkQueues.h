// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <memory>

#include "gallery/http/AdmissionQueue.h"

namespace vaultmere {

/// The gallery's threads: each kind of work has its own, so that a drive that
/// doesn't answer delays only what needs that drive.
class WorkQueues {
 public:
  /// How long the end waits for reads of the archive.
  static constexpr std::chrono::milliseconds kArchiveTimeout{2000};

  explicit WorkQueues(std::chrono::milliseconds archiveTimeout = kArchiveTimeout);
  /// Waits for running work. Threads that read the archive are left behind after
  /// the timeout: their drive may never answer.
  ~WorkQueues();
  WorkQueues(const WorkQueues&) = delete;
  WorkQueues& operator=(const WorkQueues&) = delete;

  /// Drops all work that hasn't begun. Any thread.
  void shutDown();

 private:
  std::unique_ptr<ThreadPool> catalogThreads_;
  std::unique_ptr<ThreadPool> localThreads_;
  std::unique_ptr<ThreadPool> archiveThreads_;
  const std::chrono::milliseconds archiveTimeout_;

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
