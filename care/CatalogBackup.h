// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <stdexcept>
#include <stop_token>
#include <string>

#include "catalog/VaultmereCatalog.h"
#include "intake/ArchiveRoot.h"

namespace vaultmere {

/// The copy of the catalog that travels with the archive, below its root in
/// `.vaultmere/catalog`: the store and a small manifest. There is one; each new
/// one replaces it. See docs/archive-format.md. Any thread; all of this blocks for
/// as long as the drive does.
class CatalogBackup {
 public:
  /// What the manifest says.
  struct Info {
    std::string appVersion;         ///< "—" when unknown
    std::chrono::sys_seconds date;  ///< when the backup was made
    std::int64_t photoCount = 0;    ///< as shown to the user then
    std::int64_t schema = 1;        ///< the manifest's own form
    bool operator==(const Info&) const = default;
  };

  /// There is nothing to restore.
  class NoBackup : public std::runtime_error {
   public:
    NoBackup() : std::runtime_error("No catalog backup found on the archive.") {}
  };

  // Names below the archive's root: never change them.
  static constexpr const char* kFolder = ".vaultmere";
  static constexpr const char* kCatalog = "catalog";
  static constexpr const char* kCatalogBefore = "catalog-before";
  static constexpr const char* kStore = "Vaultmere.sqlite";
  static constexpr const char* kManifest = "manifest.json";

  /// Backs up the catalog while it is in use, as it is at one moment. The copy is
  /// made and checked beside the live store first, then copied to the archive and
  /// compared there, and renamed. A backup that is there and holds more photos, or
  /// none of the same, is kept in `.vaultmere/catalog-before`, where only one with
  /// more photos replaces it.
  ///
  /// Throws CatalogError, FileError or ArchiveError; the backup that was there is
  /// whole then, as it is after the end of the process at any step. Of the new one
  /// the store stands before its manifest.
  static Info backUp(const VaultmereCatalog& catalog, const ArchiveRoot& root,
                     std::int64_t photoCount, std::chrono::sys_seconds now,
                     const std::stop_token& stop);

  /// What the archive's manifest says; absent when it can't be read or decoded.
  [[nodiscard]] static std::optional<Info> readInfo(const ArchiveRoot& root);

  /// The manifest as text, and back; unknown keys are passed over.
  [[nodiscard]] static std::string manifestText(const Info& info);
  [[nodiscard]] static std::optional<Info> manifestFromText(const std::string& text);
};

}  // namespace vaultmere
