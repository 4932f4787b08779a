// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sigc++/signal.h>

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "app/DiagnosticEnvironment.h"
#include "catalog/PhotoBrowserModel.h"
#include "catalog/VaultmereCatalog.h"
#include "gallery/GalleryServer.h"
#include "intake/IngestCoordinator.h"
#include "intake/WatchedFolderController.h"
#include "media/Vision.h"
#include "platform/AppDirectories.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/Notifications.h"
#include "platform/SettingsFile.h"
#include "platform/ThreadPool.h"
#include "settings/DestinationMonitor.h"
#include "settings/SettingsStore.h"
#include "settings/SpaceGate.h"
#include "thumbnails/ThumbnailProvider.h"

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

/// The door through which a batch came.
enum class ImportSource { drop, watch };

/// The totals of the whole catalog.
struct ArchiveBreakdown {
  std::int64_t count = 0;
  std::int64_t photos = 0;
  std::int64_t videos = 0;
  std::int64_t bytes = 0;
  std::int64_t photoBytes = 0;
  std::int64_t videoBytes = 0;
  bool operator==(const ArchiveBreakdown&) const = default;
};

/// The root of the running program: owns settings, destination, catalog and
/// workers, turns their results into observable state, and holds every status
/// text. Lives as long as the process, with or without screens.
///
/// Main thread only. Workers know nothing of it: they call back, and the calls
/// hop here. `changed` is emitted when anything that a getter shows has
/// changed.
class AppModel {
 public:
  struct Options {
    MainThread& main;
    ThreadPool& pool;
    AppDirectories folders;
    DiagnosticEnvironment hooks;
    Notify notify;
    const Vision* vision = nullptr;  ///< null: nobody looks at the pictures
    /// Waits between attempts to open the catalog.
    std::function<void(std::chrono::milliseconds)> pause;
    DestinationDependencies destination;
  };

  /// Starts everything up; see `status` for how the catalog fared.
  explicit AppModel(Options options);
  ~AppModel();
  AppModel(const AppModel&) = delete;
  AppModel& operator=(const AppModel&) = delete;

  [[nodiscard]] sigc::signal<void()>& changed() { return changed_; }

  /// "Starting…", "Ready", or "Catalog error: " and why.
  [[nodiscard]] const std::string& status() const { return status_; }
  [[nodiscard]] std::int64_t photoCount() const { return archive_.count; }
  /// The last intake message.
  [[nodiscard]] const std::string& intakeStatus() const { return intakeStatus_; }
  [[nodiscard]] bool isImporting() const { return importingSource_.has_value(); }
  [[nodiscard]] std::size_t importProcessed() const { return importProcessed_; }
  [[nodiscard]] std::size_t importTotal() const { return importTotal_; }
  [[nodiscard]] const std::optional<ImportStats>& liveImport() const { return liveImport_; }
  [[nodiscard]] const std::optional<ImportStats>& lastImport() const { return lastImport_; }
  [[nodiscard]] std::optional<ImportSource> importingSource() const { return importingSource_; }
  [[nodiscard]] const ArchiveBreakdown& archive() const { return archive_; }

  [[nodiscard]] SettingsStore& settings() { return settings_; }
  [[nodiscard]] DestinationMonitor& destination() { return destination_; }
  /// Null when it couldn't be opened; the browser is null with it.
  [[nodiscard]] const std::shared_ptr<const VaultmereCatalog>& catalog() const { return catalog_; }
  [[nodiscard]] PhotoBrowserModel* browser() const { return browser_.get(); }
  [[nodiscard]] const std::shared_ptr<ThumbnailProvider>& thumbnails() const { return thumbnails_; }

  /// Freezes dropped files and folders, or says in `intakeStatus` why not.
  void importDropped(std::vector<std::filesystem::path> locations);
  /// Stops the user's drops, the running one and those that wait: files already
  /// done are kept, the rest are left untouched.
  void cancelImport();

  /// Opens the gallery to the local network, at the port and with the password
  /// of the settings; a new password holds at once while it is open. Does
  /// nothing without a catalog. A failure is in the log.
  void startServer();
  void stopServer();
  [[nodiscard]] bool serverRunning() const { return serverUrl_.has_value(); }
  /// Where other machines find the gallery; absent while it is closed.
  [[nodiscard]] const std::optional<std::string>& serverURL() const { return serverUrl_; }

  /// Ends the work in progress for the end of the process, copies included.
  void shutDown();

 private:
  void startCatalog();
  void configurePipeline();
  void settingsChanged();
  [[nodiscard]] std::string galleryPassword() const;
  void destinationChanged();
  bool drainInbox(IngestCoordinator::InboxScan scan, std::stop_token stop,
                  WatchedFolderController::Done done);
  void beginImport(ImportSource source);
  void clearImport();
  void showProgress(const BatchProgress& progress);
  void finishImport(const IngestCoordinator::BatchResult& batch, const std::string& label);
  void refreshArchive();
  void warmThumbnails();
  void stopWarming();

  const Options options_;
  sigc::signal<void()> changed_;
  const MainThreadCallback hop_{options_.main};
  SettingsFile defaults_;
  SettingsStore settings_;
  const std::shared_ptr<SpaceGate> gate_ = std::make_shared<SpaceGate>();
  DestinationMonitor destination_;
  const std::shared_ptr<ImportLog> importLog_;
  const std::shared_ptr<ThumbnailProvider> thumbnails_;
  SerialQueue ingestQueue_;
  std::stop_source processStop_;

  std::string status_ = "Starting…";
  std::string intakeStatus_;
  std::size_t importProcessed_ = 0;
  std::size_t importTotal_ = 0;
  std::optional<ImportStats> liveImport_;
  std::optional<ImportStats> lastImport_;
  std::optional<ImportSource> importingSource_;
  ArchiveBreakdown archive_;

  std::shared_ptr<const VaultmereCatalog> catalog_;
  std::unique_ptr<PhotoBrowserModel> browser_;
  std::unique_ptr<GalleryServer> server_;  ///< null until it is started first
  std::optional<std::string> serverUrl_;
  std::shared_ptr<CatalogContext> ingestContext_;
  std::shared_ptr<std::stop_source> warming_;  ///< null while no thumbnails are warmed
  bool totalsRunning_ = false;                 ///< a refresh of `archive_` is under way
  bool totalsWanted_ = false;                  ///< another one has been asked for meanwhile
  std::shared_ptr<IngestCoordinator> coordinator_;
  std::optional<std::filesystem::path> configuredRoot_;
  std::stop_source importStop_;  ///< the user's drops
  bool wasOnline_ = false;
  WatchedFolderController inbox_;
  Timer statsTimer_;
};

}  // namespace vaultmere
