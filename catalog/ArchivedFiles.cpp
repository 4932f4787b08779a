// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/ArchivedFiles.h"

#include "catalog/Connection.h"

namespace vaultmere {
namespace {

#define COLUMNS "SELECT id, ext, archivePath, targetPath, mediaType, processedAt, pk FROM Photo "
constexpr const char* kDated = COLUMNS
    "INDEXED BY allByAdded WHERE (processedAt, pk) < (?3, ?1)"
    " ORDER BY processedAt DESC, pk DESC LIMIT ?2";
constexpr const char* kUndated =
    COLUMNS "INDEXED BY allByAdded WHERE processedAt IS NULL AND pk < ?1 ORDER BY pk DESC LIMIT ?2";
constexpr const char* kInsertedSince =
    COLUMNS "WHERE pk < ?1 AND pk > ?3 ORDER BY pk DESC LIMIT ?2";
#undef COLUMNS

ArchivedFilePage readPage(Statement rows, std::int64_t before, std::size_t limit) {
  rows.bind(1, before).bind(2, static_cast<std::int64_t>(limit));
  ArchivedFilePage page;
  while (rows.step()) {
    page.files.push_back({rows.text(0), rows.text(1),
                          rows.isNull(2) ? std::nullopt : std::optional(rows.text(2)), rows.text(3),
                          rows.text(4)});
    page.end = {rows.isNull(5) ? std::nullopt : std::optional(rows.real(5)), rows.integer(6)};
  }
  return page;
}

}  // namespace

ArchivedFilePage fetchArchivedFiles(Connection& connection, const ArchivedFilePosition& after,
                                    std::size_t limit) {
  if (after.processedAt) {
    auto dated = connection.prepare(kDated);
    dated.bind(3, *after.processedAt);
    ArchivedFilePage page = readPage(std::move(dated), after.row, limit);
    if (!page.files.empty()) {
      return page;
    }
  }
  const std::int64_t before =
      after.processedAt ? std::numeric_limits<std::int64_t>::max() : after.row;
  return readPage(connection.prepare(kUndated), before, limit);
}

ArchivedFilePage fetchFilesInsertedSince(Connection& connection, std::int64_t since,
                                         const ArchivedFilePosition& after, std::size_t limit) {
  auto rows = connection.prepare(kInsertedSince);
  rows.bind(3, since);
  return readPage(std::move(rows), after.row, limit);
}

std::int64_t newestRow(Connection& connection) {
  auto row = connection.prepare("SELECT ifnull(max(pk), 0) FROM Photo");
  row.step();
  return row.integer(0);
}

}  // namespace vaultmere
