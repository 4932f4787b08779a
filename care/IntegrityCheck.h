// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>
#include <vector>

#include "catalog/CatalogContext.h"
#include "intake/ArchiveRoot.h"

namespace vaultmere {

/// A row without its file, or a file without its row.
struct Discrepancy {
  std::string id;     ///< the row's, or the file's name without its extension
  std::string label;  ///< a name to show
  std::string path;   ///< where the file should be, or is; empty for a row without a path
  bool operator==(const Discrepancy&) const = default;
};

struct IntegrityReport {
  std::int64_t dbEntries = 0;        ///< rows
  std::int64_t diskFiles = 0;        ///< files below the root that count
  std::vector<Discrepancy> missing;  ///< in the rows' order of insertion
  std::vector<Discrepancy> orphans;  ///< in the order of the walk
  /// Why folders below the root couldn't be read, in words that name them. What
  /// lies in them isn't in `diskFiles` and `orphans`.
  std::vector<std::string> unreadable;
  bool operator==(const IntegrityReport&) const = default;
};

struct IntegrityProgress {
  std::int64_t files = 0;  ///< found so far
  std::int64_t rows = 0;   ///< compared so far, after all files
};

/// Compares the catalog with the archive's folder by names alone: no file is
/// opened and nothing changes.
///
/// A row is fine when there is a file at its `archivePath` or at its `targetPath`
/// below the root; links are followed. A file is accounted for when its name
/// without the extension is the id of a row, wherever it lies, as those of motion
/// files are. Files whose name begins with "." or ends in ".tmp" don't count, and
/// folders that belong to the storage are passed over; the log names both those
/// and the ones that can't be read.
///
/// Absent after a stop, and when the root isn't the same folder on the same
/// device throughout. A catalog that can't be read counts as empty. Blocks for as
/// long as the drive does; `progress` is called on this thread.
[[nodiscard]] std::optional<IntegrityReport> checkIntegrity(
    CatalogContext& catalog, const ArchiveRoot& root, const std::stop_token& stop,
    const std::function<void(const IntegrityProgress&)>& progress = nullptr);

}  // namespace vaultmere
