// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/TrashQueries.h"

#include <fmt/format.h>

#include "catalog/PhotoSchema.h"

namespace vaultmere {
namespace {

bool hasRow(Statement&& found, std::string_view id) { return found.bind(1, id).step(); }

bool isKept(Connection& connection, std::string_view id) {
  return hasRow(connection.prepare("SELECT 1 FROM Photo WHERE id = ? AND trashedAt IS NULL"), id);
}

std::vector<std::string> stackedBelow(Connection& connection, std::string_view id) {
  std::vector<std::string> ids;
  auto rows = connection.prepare("SELECT id FROM Photo WHERE stackedUnder = ? AND id <> ?1");
  rows.bind(1, id);
  while (rows.step()) {
    ids.push_back(rows.text(0));
  }
  return ids;
}

}  // namespace

std::optional<std::vector<std::string>> markTrashed(Connection& connection, std::string_view id,
                                                    CatalogDate since,
                                                    const std::optional<std::string>& keeper) {
  Transaction transaction(connection);
  if (keeper && !isKept(connection, *keeper)) {
    return std::nullopt;
  }
  if (!hasRow(connection.prepare("SELECT 1 FROM Photo WHERE id = ?"), id)) {
    return std::vector<std::string>();
  }
  std::vector<std::string> changed{std::string(id)};
  for (std::string& freed : stackedBelow(connection, id)) {
    changed.push_back(std::move(freed));
  }
  connection.prepare("UPDATE Photo SET stackedUnder = NULL WHERE stackedUnder = ?")
      .bind(1, id)
      .step();
  connection
      .prepare(
          "UPDATE Photo SET trashedAt = ifnull(trashedAt, ?2), stackedUnder = NULL WHERE id = ?1")
      .bind(1, id)
      .bind(2, since.seconds)
      .step();
  transaction.commit();
  return changed;
}

std::vector<std::string> markRestored(Connection& connection, std::string_view id) {
  Transaction transaction(connection);
  if (!hasRow(connection.prepare("SELECT 1 FROM Photo WHERE id = ? AND trashedAt IS NOT NULL"),
              id)) {
    return {};
  }
  connection.prepare("UPDATE Photo SET trashedAt = NULL WHERE id = ?").bind(1, id).step();
  transaction.commit();
  return {std::string(id)};
}

void insertUnlessKnown(Connection& connection, const Photo& photo) {
  Transaction transaction(connection);
  if (!hasRow(connection.prepare("SELECT 1 FROM Photo WHERE id = ?"), photo.id)) {
    insertPhoto(connection, photo);
    transaction.commit();
  }
}

std::vector<Photo> fetchTrashed(Connection& connection, int limit) {
  static const std::string sql = fmt::format(
      "SELECT {} FROM Photo INDEXED BY byTrashedAt WHERE trashedAt IS NOT NULL"
      " ORDER BY trashedAt DESC, pk DESC LIMIT ?",
      photoColumns());
  auto rows = connection.prepare(sql);
  rows.bind(1, limit);
  std::vector<Photo> photos;
  while (rows.step()) {
    photos.push_back(photoFromRow(rows));
  }
  return photos;
}

}  // namespace vaultmere
