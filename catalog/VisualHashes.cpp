// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/VisualHashes.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <limits>

#include "catalog/PhotoQueries.h"
#include "catalog/PhotoSchema.h"

namespace vaultmere {
namespace {

int boundedSide(std::int64_t side) {
  return static_cast<int>(
      std::clamp<std::int64_t>(side, 0, std::numeric_limits<std::int32_t>::max()));
}

}  // namespace

std::vector<PictureRow> fetchPictures(Connection& connection, const PhotoFilter& filter) {
  Predicate predicate =
      Predicate::onTable("trashedAt IS NULL AND mediaType <> 'video' AND width IS NOT NULL");
  if (filter.isActive()) {
    predicate = filter.predicate() && predicate;
  }
  auto rows = connection.prepareOnce(
      fmt::format("SELECT pk, width, height, phash FROM {} {} ORDER BY pk",
                  photoSource(predicate, 0), whereClause(predicate.gathering)));
  predicate.bindTo(rows);
  std::vector<PictureRow> pictures;
  while (rows.step()) {
    PictureRow picture{
        rows.integer(0), boundedSide(rows.integer(1)), boundedSide(rows.integer(2)), {}};
    if (!rows.isNull(3)) {
      picture.hash = std::bit_cast<std::uint64_t>(rows.integer(3));
    }
    pictures.push_back(picture);
  }
  return pictures;
}

void storeHashes(Connection& connection, std::span<const PictureHash> hashes) {
  Transaction transaction(connection);
  for (const PictureHash& each : hashes) {
    auto update = connection.prepare("UPDATE Photo SET phash = ?2 WHERE pk = ?1");
    update.bind(1, each.key).bind(2, std::bit_cast<std::int64_t>(each.hash)).step();
  }
  transaction.commit();
}

std::vector<std::optional<Photo>> fetchPhotosByKey(Connection& connection,
                                                   std::span<const std::int64_t> keys) {
  static const std::string sql = fmt::format("SELECT {} FROM Photo WHERE pk = ?", photoColumns());
  std::vector<std::optional<Photo>> photos;
  photos.reserve(keys.size());
  for (const std::int64_t key : keys) {
    auto row = connection.prepare(sql);
    row.bind(1, key);
    photos.push_back(row.step() ? std::optional(photoFromRow(row)) : std::nullopt);
  }
  return photos;
}

}  // namespace vaultmere
