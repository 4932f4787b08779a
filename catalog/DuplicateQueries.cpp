// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/DuplicateQueries.h"

#include <fmt/format.h>

#include "catalog/PhotoQueries.h"

namespace vaultmere {
namespace {

std::vector<double> sharedInstants(Connection& connection) {
  std::vector<double> instants;
  auto rows = connection.prepare(
      "SELECT captureDate FROM Photo INDEXED BY byCaptureDate WHERE captureDate IS NOT NULL"
      " GROUP BY captureDate HAVING count(*) > 1");
  while (rows.step()) {
    instants.push_back(rows.real(0));
  }
  return instants;
}

std::optional<std::string> optionalText(const Statement& row, int column) {
  return row.isNull(column) ? std::nullopt : std::optional(row.text(column));
}

std::vector<DatedPhoto> photosOf(Connection& connection, double instant) {
  auto row = connection.prepare(
      "SELECT pk, id, originalFilename, ext, sizeBytes, captureDate, width, height, mediaType,"
      " ptBurst, stackExempt, photosUUID IS NOT NULL, cameraModel IS NOT NULL, stackedUnder,"
      " archivePath, targetPath FROM Photo INDEXED BY byCaptureDate WHERE captureDate = ?"
      " AND trashedAt IS NULL AND width IS NOT NULL AND height IS NOT NULL ORDER BY pk");
  row.bind(1, instant);
  std::vector<DatedPhoto> photos;
  while (row.step()) {
    photos.push_back({.key = row.integer(0),
                      .id = row.text(1),
                      .originalFilename = row.text(2),
                      .ext = row.text(3),
                      .sizeBytes = row.integer(4),
                      .captureDate = {row.real(5)},
                      .width = static_cast<int>(row.integer(6)),
                      .height = static_cast<int>(row.integer(7)),
                      .mediaType = row.text(8),
                      .ptBurst = row.integer(9) != 0,
                      .stackExempt = row.integer(10) != 0,
                      .isFromPhotos = row.integer(11) != 0,
                      .hasCamera = row.integer(12) != 0,
                      .stackedUnder = optionalText(row, 13),
                      .archivePath = optionalText(row, 14),
                      .targetPath = row.text(15)});
  }
  return photos;
}

}  // namespace

void forEachSharedInstant(Connection& connection,
                          const std::function<void(std::vector<DatedPhoto>)>& use) {
  const Snapshot snapshot(connection);
  for (const double instant : sharedInstants(connection)) {
    auto photos = photosOf(connection, instant);
    if (photos.size() > 1) {
      use(std::move(photos));
    }
  }
}

std::vector<std::int64_t> fetchKeys(Connection& connection, const Predicate& predicate) {
  auto rows = connection.prepareOnce(fmt::format(
      "SELECT pk FROM {} {}", photoSource(predicate, 0, true), whereClause(predicate.gathering)));
  predicate.bindTo(rows);
  std::vector<std::int64_t> keys;
  while (rows.step()) {
    keys.push_back(rows.integer(0));
  }
  return keys;
}

}  // namespace vaultmere
