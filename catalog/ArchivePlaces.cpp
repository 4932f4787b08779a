// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/ArchivePlaces.h"

#include "catalog/Connection.h"

namespace vaultmere {

void forEachArchivePlace(Connection& connection,
                         const std::function<void(ArchivePlace&& place)>& visit) {
  auto rows = connection.prepare(
      "SELECT id, archivePath, targetPath, originalFilename, sizeBytes, liveMotionFile IS NOT NULL"
      " FROM Photo ORDER BY pk");
  while (rows.step()) {
    visit({rows.text(0), rows.isNull(1) ? std::nullopt : std::optional(rows.text(1)), rows.text(2),
           rows.text(3), rows.integer(4), rows.integer(5) != 0});
  }
}

}  // namespace vaultmere
