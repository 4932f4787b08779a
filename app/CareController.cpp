// SPDX-License-Identifier: GPL-3.0-or-later
#include "app/CareController.h"

#include <fmt/format.h>

#include <utility>

#include "care/CatalogRestore.h"
#include "platform/CountText.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr const char* kNoDestination = "Set an archive destination first.";

std::string grouped(std::size_t count) { return groupedCount(static_cast<std::int64_t>(count)); }

}  // namespace

/// How a backup or its restore ended: with what it wrote or read, or with an error.
struct CareController::Finished {
  std::optional<CatalogBackup::Info> info;
  std::string error;

  template <typename Work>
  static Finished of(Work&& work) {
    try {
      return {work(), {}};
    } catch (const std::exception& error) {
      return {std::nullopt, validUtf8(error.what())};
    }
  }
};

CareController::CareController(Dependencies dependencies)
    : dependencies_(std::move(dependencies)), toMain_(dependencies_.main) {}

ArchiveRoot CareController::archiveRoot() const {
  return {*root_,
          [gate = dependencies_.gate](dev_t device) { return gate->expectedDevice() == device; }};
}

void CareController::setArchive(const std::optional<std::filesystem::path>& root, bool isOnline) {
  const bool isAnother = root != root_;
  if (!isAnother && isOnline == isOnline_) {
    return;
  }
  root_ = root;
  isOnline_ = isOnline;
  if (isAnother) {
    check_.request_stop();
    ++checks_;
    isChecking_ = false;
    integrity_.reset();
  }
  loadBackupInfo();
}

void CareController::loadBackupInfo() {
  const std::uint64_t number = ++infoReads_;
  const auto show = [this, number](const std::optional<CatalogBackup::Info>& info) {
    if (number == infoReads_ && std::exchange(backupInfo_, info) != info) {
      dependencies_.changed.notify();
    }
  };
  if (!root_ || !isOnline_) {
    show(std::nullopt);
    return;
  }
  dependencies_.pool.post(
      [root = archiveRoot(), tell = toMain_(show)] { tell(CatalogBackup::readInfo(root)); });
}

bool CareController::mayWork(const char* failure) {
  if (!root_) {
    say(kNoDestination);
    return false;
  }
  if (!catalog_) {
    say(fmt::format("{}the catalog isn't open", failure));
    return false;
  }
  return true;
}

void CareController::say(std::string message) {
  backupMessage_ = std::move(message);
  dependencies_.changed.notify();
}

// MARK: Backup and restore

void CareController::backUp() {
  if (backupBusy_ || isStaging_ || !mayWork("Backup failed: ")) {
    return;
  }
  backupBusy_ = true;
  say("Backing up…");
  const auto now = std::chrono::floor<std::chrono::seconds>(dependencies_.main.now());
  dependencies_.pool.post(
      [catalog = catalog_, root = archiveRoot(), count = dependencies_.photoCount(), now,
       stop = process_.get_token(),
       tell = toMain_([this](const Finished& finished) { endBackup(finished); })] {
        tell(Finished::of([&] { return CatalogBackup::backUp(*catalog, root, count, now, stop); }));
      });
}

void CareController::endBackup(const Finished& finished) {
  backupBusy_ = false;
  if (finished.info) {
    loadBackupInfo();  // of the present archive, which may be another one by now
    say(fmt::format("Backed up {} photos to the archive.",
                    groupedCount(finished.info->photoCount)));
  } else {
    say(fmt::format("Backup failed: {}", finished.error));
  }
}

void CareController::stageRestore() {
  if (backupBusy_ || isStaging_ || !mayWork("Restore failed: ")) {
    return;
  }
  isStaging_ = true;
  const auto now = std::chrono::floor<std::chrono::seconds>(dependencies_.main.now());
  dependencies_.pool.post(
      [store = catalog_->store(), root = archiveRoot(), now, stop = process_.get_token(),
       tell = toMain_([this](const Finished& finished) { endStaging(finished); })] {
        tell(Finished::of([&] { return CatalogRestore::stage(root, store, now, stop); }));
      });
}

void CareController::endStaging(const Finished& finished) {
  isStaging_ = false;
  restorePending_ = finished.info;
  if (!finished.info) {
    backupMessage_ = fmt::format("Restore failed: {}", finished.error);
  }
  dependencies_.changed.notify();
}

// MARK: Rebuild

void CareController::rebuild() {
  if (isRebuilding_ || !mayWork("Rebuild failed: ")) {
    return;
  }
  isRebuilding_ = true;
  rebuildProcessed_ = 0;
  rebuildTotal_ = 0;
  dependencies_.changed.notify();
  const auto progress = toMain_([this](std::size_t done, std::size_t total) {
    rebuildProcessed_ = done;
    rebuildTotal_ = total;
    dependencies_.changed.notify();
  });
  dependencies_.pool.post(
      [catalog = catalog_, root = archiveRoot(), &media = dependencies_.media,
       vision = dependencies_.vision, ownFolders = dependencies_.ownFolders,
       stop = process_.get_token(), progress,
       tell = toMain_([this](const ArchiveRebuilder::Result& result, const std::string& error) {
         endRebuild(result, error);
       })] {
        try {
          const ArchiveRebuilder rebuilder(
              {root, catalog->newBackgroundContext(), media, vision, ownFolders});
          tell(rebuilder.run(progress, stop), std::string());
        } catch (const std::exception& error) {
          tell(ArchiveRebuilder::Result{}, validUtf8(error.what()));
        }
      });
}

void CareController::endRebuild(const ArchiveRebuilder::Result& result, const std::string& error) {
  isRebuilding_ = false;
  dependencies_.rebuilt();
  if (!error.empty()) {
    say(fmt::format("Rebuild failed: {}", error));
    return;
  }
  std::string text = fmt::format("Rebuilt {} photos from the archive", grouped(result.added));
  text += result.unreadable > 0 ? fmt::format(" ({} couldn't be read).", grouped(result.unreadable))
                                : ".";
  say(std::move(text));
}

// MARK: Integrity

void CareController::checkIntegrity() {
  if (isChecking_ || !root_ || !isOnline_ || !catalog_) {
    return;
  }
  isChecking_ = true;
  checkProgress_ = {};
  check_ = std::stop_source();
  dependencies_.changed.notify();
  const std::uint64_t number = ++checks_;
  const auto progress = toMain_([this, number](const IntegrityProgress& seen) {
    if (number == checks_) {
      checkProgress_ = seen;
      dependencies_.changed.notify();
    }
  });
  using Report = std::shared_ptr<const IntegrityReport>;
  dependencies_.pool.post([catalog = catalog_, root = archiveRoot(), stop = check_.get_token(),
                           progress, tell = toMain_([this, number](const Report& report) {
                                       if (number == checks_) {
                                         isChecking_ = false;
                                         integrity_ = report;
                                         dependencies_.changed.notify();
                                       }
                                     })] {
    Report made;
    try {
      const auto context = catalog->newBackgroundContext();
      if (auto report = vaultmere::checkIntegrity(*context, root, stop, progress)) {
        made = std::make_shared<const IntegrityReport>(*std::move(report));
      }
    } catch (const std::exception& error) {
      logLine(fmt::format("Vaultmere: integrity check: {}", error.what()));
    }
    tell(made);
  });
}

void CareController::shutDown() {
  check_.request_stop();
  process_.request_stop();
}

}  // namespace vaultmere
