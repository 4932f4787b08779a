// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace vaultmere {

class Connection;

/// What a walk over the archived files takes from each row, trashed and stacked
/// ones included.
struct ArchivedFile {
  std::string id;
  std::string ext;  ///< as in the row: "." and the lower-cased extension
  std::optional<std::string> archivePath;
  std::string targetPath;
  std::string mediaType;
  bool operator==(const ArchivedFile&) const = default;
};

/// The place of a row in the walk. A new one stands before all rows. Pages go on
/// from a position and not from an offset: each costs its own rows however far
/// back it lies, and rows that come or go meanwhile shift nothing.
struct ArchivedFilePosition {
  /// Seconds, see CatalogDate; the rows without one come last.
  std::optional<double> processedAt = std::numeric_limits<double>::infinity();
  std::int64_t row = std::numeric_limits<std::int64_t>::max();  ///< primary key
};

struct ArchivedFilePage {
  std::vector<ArchivedFile> files;  ///< empty behind the last row
  ArchivedFilePosition end;         ///< of the last of them
};

// All throw CatalogError.

/// The next rows behind `after`, the latest addition first.
[[nodiscard]] ArchivedFilePage fetchArchivedFiles(Connection& connection,
                                                  const ArchivedFilePosition& after,
                                                  std::size_t limit);

/// The next rows behind `after` of those that were inserted behind the row
/// `since`, the latest insertion first.
[[nodiscard]] ArchivedFilePage fetchFilesInsertedSince(Connection& connection, std::int64_t since,
                                                       const ArchivedFilePosition& after,
                                                       std::size_t limit);

/// The primary key of the row that was inserted last; 0 in an empty catalog.
[[nodiscard]] std::int64_t newestRow(Connection& connection);

}  // namespace vaultmere
