// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <filesystem>
#include <stop_token>

#include "care/CatalogBackup.h"
#include "intake/ArchiveRoot.h"

namespace vaultmere {

/// Brings the backup of the catalog back. A store that is in use can't be replaced:
/// it is staged beside the live one now, and takes its place before the store is
/// opened the next time. See docs/catalog-format.md.
class CatalogRestore {
 public:
  /// Copies the backup on the archive to `restore-pending` beside the live store,
  /// in place of what was staged before, and checks it. Gives what its manifest
  /// says; without one a text of nothing but the moment `now`. Throws NoBackup,
  /// CatalogError for what isn't a sound catalog that this program can open, and
  /// FileError; nothing is staged then. Blocks for as long as the drive does.
  static CatalogBackup::Info stage(const ArchiveRoot& root, const std::filesystem::path& liveStore,
                                   std::chrono::sys_seconds now, const std::stop_token& stop);

  /// Puts what is staged in the place of the live store, which nobody may have open,
  /// and keeps the replaced one in `catalogs-replaced`: the three latest ones and
  /// the largest. What is staged is gone afterwards, whatever became of it; after a
  /// failure the live store is as before. Goes on where a killed process stopped.
  /// Logs and never throws.
  static void applyPending(const std::filesystem::path& liveStore,
                           std::chrono::sys_seconds now) noexcept;
};

}  // namespace vaultmere
