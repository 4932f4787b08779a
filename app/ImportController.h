// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "catalog/CatalogContext.h"
#include "intake/IngestCoordinator.h"
#include "intake/WatchedFolderController.h"
#include "media/MediaService.h"
#include "media/Vision.h"
#include "platform/ChangeSignal.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/ThreadPool.h"
#include "platform/TurnQueue.h"
#include "settings/SpaceGate.h"

namespace vaultmere {

/// The counters of a batch, as shown.
struct ImportStats {
  std::size_t added = 0;
  std::size_t duplicate = 0;
  std::size_t skipped = 0;
  std::size_t failed = 0;
  std::size_t noImage = 0;  ///< junk
  bool operator==(const ImportStats&) const = default;
};

/// What a batch was started by.
enum class ImportSource { drop, watch };

/// Runs drops and passes of the watched folder through the coordinator of the
/// present destination, and turns their progress into observable state and
/// messages. Main thread only; the work is done on the pool.
///
/// A drop is shown once its batch gets its turn. One that was stopped before
/// that is never shown, nor is a pass that finds nothing to take.
class ImportController {
 public:
  struct Dependencies {
    MainThread& main;
    ThreadPool& pool;
    std::shared_ptr<SpaceGate> gate;
    std::shared_ptr<ImportLog> log;
    std::vector<std::filesystem::path> protectedFolders;  ///< never scanned
    MediaService& media;
    const Vision* vision = nullptr;
    ChangeSignal& changed;
    /// An import is about to use the drives.
    std::function<void()> begins;
    /// It is over; `added` rows have come in.
    std::function<void(std::size_t added)> ended;
  };

  explicit ImportController(Dependencies dependencies);
  ImportController(const ImportController&) = delete;
  ImportController& operator=(const ImportController&) = delete;

  /// The last message about an import.
  [[nodiscard]] const std::string& status() const { return status_; }
  [[nodiscard]] bool isImporting() const { return source_.has_value(); }
  /// Groups done, and in all, of the running batch.
  [[nodiscard]] std::size_t processed() const { return processed_; }
  [[nodiscard]] std::size_t total() const { return total_; }
  /// Of the running batch, and of the last one that ended.
  [[nodiscard]] const std::optional<ImportStats>& live() const { return live_; }
  [[nodiscard]] const std::optional<ImportStats>& last() const { return last_; }
  [[nodiscard]] std::optional<ImportSource> source() const { return source_; }

  /// Takes files into another archive from now on, through `context`; null or
  /// no root: into none. The user's drops into the old one are cancelled; a pass
  /// over the watched folder is its controller's to end. The same root changes
  /// nothing, and gives false.
  bool configure(const std::shared_ptr<CatalogContext>& context,
                 const std::optional<std::filesystem::path>& root);
  [[nodiscard]] bool isConfigured() const { return coordinator_ != nullptr; }

  /// Freezes dropped files and folders, or says in `status` why not.
  void importDropped(std::vector<std::filesystem::path> locations, bool deleteSource);
  /// Stops the user's drops, the running one and those that wait: files already
  /// done are kept, the rest are left untouched.
  void cancel();

  /// The two halves of a pass over the watched folder; see
  /// WatchedFolderController::Pipeline.
  [[nodiscard]] IngestCoordinator::InboxScanner watchedFolderScanner() const;
  bool drainWatchedFolder(IngestCoordinator::InboxScan scan, std::stop_token stop,
                          WatchedFolderController::Done done);

  /// Ends the work in progress for the end of the process, copies included.
  void shutDown();

 private:
  struct Run;
  [[nodiscard]] IngestCoordinator::Observer observerOf(const std::shared_ptr<Run>& run);
  void begin(Run& run);
  void showProgress(const Run& run, const BatchProgress& progress);
  void endDrop(const Run& run, const IngestCoordinator::BatchResult& batch);
  void endPass(const Run& run, const IngestCoordinator::BatchResult& batch);
  void finish(const IngestCoordinator::BatchResult& batch, const char* label);
  void refuse(const std::string& why);
  void clear();

  const Dependencies dependencies_;
  const MainThreadCallback toMain_;
  TurnQueue queue_;  ///< of all coordinators, so that no two ever work at once

  std::string status_;
  std::size_t processed_ = 0;
  std::size_t total_ = 0;
  std::optional<ImportStats> live_;
  std::optional<ImportStats> last_;
  std::optional<ImportSource> source_;

  std::shared_ptr<IngestCoordinator> coordinator_;
  std::optional<std::filesystem::path> root_;  ///< of `coordinator_`
  std::stop_source drops_;
  std::stop_source process_;
};

}  // namespace vaultmere
