// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "app/CareController.h"
#include "app/CatalogTotals.h"
#include "app/DiagnosticEnvironment.h"
#include "app/GalleryController.h"
#include "app/ImportController.h"
#include "app/ThumbnailController.h"
#include "care/AutoStacker.h"
#include "catalog/PhotoBrowserModel.h"
#include "catalog/VaultmereCatalog.h"
#include "intake/WatchedFolderController.h"
#include "media/MediaService.h"
#include "media/Vision.h"
#include "platform/AppDirectories.h"
#include "platform/ChangeSignal.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/Notifications.h"
#include "platform/ScopedConnection.h"
#include "platform/SettingsFile.h"
#include "platform/ThreadPool.h"
#include "settings/DestinationMonitor.h"
#include "settings/SettingsStore.h"
#include "settings/SpaceGate.h"

namespace vaultmere {

/// The root of the running program: makes settings, destination, catalog and
/// controllers, connects them, and ends them. The controllers own their state;
/// this class knows what follows from what. Lives as long as the process, with
/// or without screens.
///
/// Main thread only. Workers know nothing of it: they call back, and the calls
/// are posted here. `changed` is emitted when anything that a getter here or of
/// a controller shows has changed, at most once a turn of the event loop.
class AppModel {
 public:
  struct Options {
    MainThread& main;
    ThreadPool& pool;           ///< imports and all short work
    ThreadPool& catalogPool;    ///< reads of the catalog and of the caches
    ThreadPool& originalsPool;  ///< reads of archived originals, which a dead drive may hold
    MediaService& media;
    AppDirectories directories;
    DiagnosticEnvironment environment;
    Notify notify;
    const Vision* vision = nullptr;  ///< null: nobody looks at the pictures
    /// Waits between attempts to open the catalog; called on the pool.
    std::function<void(std::chrono::milliseconds)> pause;
    DestinationDependencies destination;
  };

  /// Starts everything up. The catalog is opened on the pool: `status` says how
  /// it fared, and until then there is none.
  explicit AppModel(Options options);
  ~AppModel();
  AppModel(const AppModel&) = delete;
  AppModel& operator=(const AppModel&) = delete;

  [[nodiscard]] ChangeSignal& changed() { return changed_; }

  /// "Starting…", "Ready", or why the program isn't: "Catalog error: " and the
  /// reason, or that no photo can be read.
  [[nodiscard]] const std::string& status() const {
    return catalog_ && mediaProblem_ ? *mediaProblem_ : status_;
  }
  [[nodiscard]] const ArchiveBreakdown& archive() const { return totals_.archive(); }

  [[nodiscard]] SettingsStore& settings() { return settings_; }
  [[nodiscard]] DestinationMonitor& destination() { return destination_; }
  [[nodiscard]] ImportController& imports() { return imports_; }
  [[nodiscard]] GalleryController& gallery() { return gallery_; }
  [[nodiscard]] ThumbnailController& thumbnails() { return thumbnails_; }
  [[nodiscard]] WatchedFolderController& watchedFolder() { return watchedFolder_; }
  [[nodiscard]] CareController& care() { return care_; }
  /// Null unless it could be opened; the browser is null with it.
  [[nodiscard]] const std::shared_ptr<const VaultmereCatalog>& catalog() const { return catalog_; }
  [[nodiscard]] PhotoBrowserModel* browser() const { return browser_.get(); }

  /// Freezes dropped files and folders, as the settings say.
  void importDropped(std::vector<std::filesystem::path> locations);

  /// Ends the work in progress for the end of the process, copies included, and
  /// writes the settings.
  void shutDown();

 private:
  struct OpenedCatalog;
  void checkMedia();
  void openCatalog();
  void useCatalog(const OpenedCatalog& opened);
  void settingsChanged();
  void destinationChanged();
  void importEnded(std::size_t added);
  void rebuildEnded();
  void stackPairs();
  [[nodiscard]] bool mayWarmThumbnails() const;

  const Options options_;
  ChangeSignal changed_;
  SettingsFile settingsFile_;
  SettingsStore settings_;
  const std::shared_ptr<SpaceGate> gate_ = std::make_shared<SpaceGate>();
  DestinationMonitor destination_;
  std::stop_source processStop_;

  std::string status_ = "Starting…";
  std::optional<std::string> mediaProblem_;
  bool wasOnline_ = false;
  std::shared_ptr<const VaultmereCatalog> catalog_;
  std::shared_ptr<CatalogContext> ingestContext_;
  std::unique_ptr<PhotoBrowserModel> browser_;

  CatalogTotals totals_;
  ThumbnailController thumbnails_;
  GalleryController gallery_;
  ImportController imports_;
  WatchedFolderController watchedFolder_;
  CareController care_;
  AutoStacker autoStacker_;

  Timer statsTimer_;
  std::vector<ScopedConnection> connections_;
  const MainThreadCallback toMain_{options_.main};  // last: no answer comes once this goes
};

}  // namespace vaultmere
