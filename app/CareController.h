// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "care/ArchiveRebuilder.h"
#include "care/CatalogBackup.h"
#include "care/IntegrityCheck.h"
#include "catalog/VaultmereCatalog.h"
#include "media/MediaService.h"
#include "media/Vision.h"
#include "platform/ChangeSignal.h"
#include "platform/MainThread.h"
#include "platform/MainThreadCallback.h"
#include "platform/ThreadPool.h"
#include "settings/SpaceGate.h"

namespace vaultmere {

/// What the user does for the soundness of the archive: backup and restore of the
/// catalog, its rebuild, the integrity check. Turns their results into observable
/// state. Main thread only; the work is done on `pool`, whose threads a dead drive
/// may hold.
class CareController {
 public:
  struct Dependencies {
    MainThread& main;
    ThreadPool& pool;
    MediaService& media;
    const Vision* vision = nullptr;
    std::shared_ptr<SpaceGate> gate;
    std::vector<std::filesystem::path> ownFolders;  ///< never taken for an archive's
    ChangeSignal& changed;
    std::function<std::int64_t()> photoCount;  ///< as shown now
    std::function<void()> rebuilt;             ///< rows may have come in
  };

  explicit CareController(Dependencies dependencies);
  CareController(const CareController&) = delete;
  CareController& operator=(const CareController&) = delete;

  void setCatalog(std::shared_ptr<const VaultmereCatalog> catalog) {
    catalog_ = std::move(catalog);
  }
  /// The archive that all of this is about, and whether its drive is there. Another
  /// one drops the last report and stops a check; both changes read the state of
  /// the backup.
  void setArchive(const std::optional<std::filesystem::path>& root, bool isOnline);

  /// The backup on the archive; absent when there is none that can be read.
  [[nodiscard]] const std::optional<CatalogBackup::Info>& backupInfo() const { return backupInfo_; }
  [[nodiscard]] bool backupBusy() const { return backupBusy_; }
  /// What became of the last backup, restore or rebuild; empty at first.
  [[nodiscard]] const std::string& backupMessage() const { return backupMessage_; }
  /// What the next start puts in the catalog's place.
  [[nodiscard]] const std::optional<CatalogBackup::Info>& restorePending() const {
    return restorePending_;
  }
  [[nodiscard]] bool isRebuilding() const { return isRebuilding_; }
  [[nodiscard]] std::size_t rebuildProcessed() const { return rebuildProcessed_; }
  [[nodiscard]] std::size_t rebuildTotal() const { return rebuildTotal_; }
  [[nodiscard]] bool isChecking() const { return isChecking_; }
  [[nodiscard]] const IntegrityProgress& checkProgress() const { return checkProgress_; }
  /// Of the last check; null without one, and when the archive changed meanwhile.
  [[nodiscard]] const std::shared_ptr<const IntegrityReport>& integrity() const {
    return integrity_;
  }

  void loadBackupInfo();
  void backUp();
  /// Stages the backup for the next start.
  void stageRestore();
  void rebuild();
  void checkIntegrity();

  /// Ends the work in progress for the end of the process.
  void shutDown();

 private:
  struct Finished;
  [[nodiscard]] ArchiveRoot archiveRoot() const;
  /// Whether there is an archive and a catalog; else says in words what is missing.
  [[nodiscard]] bool mayWork(const char* failure);
  void endBackup(const Finished& finished);
  void endStaging(const Finished& finished);
  void endRebuild(const ArchiveRebuilder::Result& result, const std::string& error);
  void say(std::string message);

  const Dependencies dependencies_;
  const MainThreadCallback toMain_;
  std::shared_ptr<const VaultmereCatalog> catalog_;
  std::optional<std::filesystem::path> root_;
  bool isOnline_ = false;

  std::optional<CatalogBackup::Info> backupInfo_;
  std::uint64_t infoReads_ = 0;  ///< only the answer to the last one counts
  bool backupBusy_ = false;
  bool isStaging_ = false;
  std::string backupMessage_;
  std::optional<CatalogBackup::Info> restorePending_;
  bool isRebuilding_ = false;
  std::size_t rebuildProcessed_ = 0;
  std::size_t rebuildTotal_ = 0;
  bool isChecking_ = false;
  IntegrityProgress checkProgress_;
  std::shared_ptr<const IntegrityReport> integrity_;
  std::uint64_t checks_ = 0;  ///< likewise

  std::stop_source check_;
  std::stop_source process_;
};

}  // namespace vaultmere
