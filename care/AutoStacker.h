// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <optional>
#include <stop_token>

#include "care/DuplicateScan.h"
#include "catalog/VaultmereCatalog.h"
#include "intake/ArchiveRoot.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// Whether the program may hide a group's members without being asked: a RAW or
/// format pair in which nothing is stacked or was split off by the user. Not a group
/// of burst frames alone, and not one that looks like a series within one second:
/// two files of one extension whose names end in different numbers.
[[nodiscard]] bool mayStackByItself(const DuplicateGroup& group);

/// Stacks pairs in the background, so that the library shows one photo a shot. No
/// file moves. Main thread only; the work runs on a pool.
class AutoStacker {
 public:
  AutoStacker(MainThread& main, ThreadPool& pool) : pool_(pool), toMain_(main) {}
  ~AutoStacker() { stop(); }
  AutoStacker(const AutoStacker&) = delete;
  AutoStacker& operator=(const AutoStacker&) = delete;

  /// Starts a run, unless one is under way; then nothing happens. `done` gets the
  /// number of photos that were hidden, after their rows have been announced.
  /// `root` is where the archive is, absent without one. Failures leave photos
  /// as they are, and a line in the log.
  void run(std::shared_ptr<const VaultmereCatalog> catalog, std::optional<ArchiveRoot> root,
           std::function<void(std::size_t hidden)> done);
  /// Ends a run for the end of the process.
  void stop() { stop_.request_stop(); }

 private:
  ThreadPool& pool_;
  std::stop_source stop_;
  bool isRunning_ = false;
  const MainThreadCallback toMain_;  // last: no answer comes once this goes
};

}  // namespace vaultmere
