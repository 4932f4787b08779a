// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/Verification.h"

#include "catalog/Connection.h"

namespace vaultmere {
namespace {

#define ITEMS                                                                             \
  "SELECT p.pk, p.id, p.ext, p.targetPath, p.archivePath, p.trashedAt, p.liveMotionFile," \
  " p.liveMotionPath, v.motionHash, v.primaryMark, v.motionMark FROM Photo p "
#define IS_MARKED "(v.primaryMark IS NOT NULL OR v.motionMark IS NOT NULL)"
constexpr const char* kOneItem = ITEMS "LEFT JOIN Verification v ON v.photo = p.pk WHERE p.pk = ?";
constexpr const char* kMarkedItem =
    ITEMS "JOIN Verification v ON v.photo = p.pk WHERE p.id = ? AND " IS_MARKED;
constexpr const char* kMarkedItems =
    ITEMS "JOIN Verification v INDEXED BY markedFiles ON v.photo = p.pk WHERE " IS_MARKED
          " ORDER BY p.pk";
#undef ITEMS
#undef IS_MARKED

std::optional<std::string> optionalText(const Statement& row, int column) {
  return row.isNull(column) ? std::nullopt : std::optional(row.text(column));
}

VerifiableItem itemFrom(const Statement& row) {
  return {.row = row.integer(0),
          .id = row.text(1),
          .ext = row.text(2),
          .targetPath = row.text(3),
          .archivePath = optionalText(row, 4),
          .isTrashed = !row.isNull(5),
          .hasMotion = !row.isNull(6) && !row.text(6).empty(),
          .liveMotionPath = optionalText(row, 7),
          .motionHash = optionalText(row, 8),
          .primaryMark = optionalText(row, 9),
          .motionMark = optionalText(row, 10)};
}

std::optional<VerifiableItem> firstOf(Statement rows) {
  return rows.step() ? std::optional(itemFrom(rows)) : std::nullopt;
}

}  // namespace

std::optional<VerifiableItem> fetchVerifiableItem(Connection& connection, std::int64_t row) {
  auto rows = connection.prepare(kOneItem);
  rows.bind(1, row);
  return firstOf(std::move(rows));
}

std::optional<VerifiableItem> fetchMarkedItem(Connection& connection, std::string_view id) {
  auto rows = connection.prepare(kMarkedItem);
  rows.bind(1, id);
  return firstOf(std::move(rows));
}

std::vector<VerifiableItem> fetchMarkedItems(Connection& connection) {
  std::vector<VerifiableItem> items;
  auto rows = connection.prepare(kMarkedItems);
  while (rows.step()) {
    items.push_back(itemFrom(rows));
  }
  return items;
}

void markFile(Connection& connection, std::int64_t row, ArchivedPart part,
              std::string_view readHash) {
  connection
      .prepare(part == ArchivedPart::primary
                   ? "INSERT INTO Verification (photo, primaryMark)"
                     " SELECT pk, ?2 FROM Photo WHERE pk = ?1"
                     " ON CONFLICT (photo) DO UPDATE SET primaryMark = excluded.primaryMark"
                   : "INSERT INTO Verification (photo, motionMark)"
                     " SELECT pk, ?2 FROM Photo WHERE pk = ?1"
                     " ON CONFLICT (photo) DO UPDATE SET motionMark = excluded.motionMark")
      .bind(1, row)
      .bind(2, readHash)
      .step();
}

void clearMark(Connection& connection, std::int64_t row, ArchivedPart part) {
  connection
      .prepare(part == ArchivedPart::primary
                   ? "UPDATE Verification SET primaryMark = NULL WHERE photo = ?"
                   : "UPDATE Verification SET motionMark = NULL WHERE photo = ?")
      .bind(1, row)
      .step();
}

void recordMotionHash(Connection& connection, std::int64_t row, std::string_view hash) {
  connection
      .prepare(
          "INSERT INTO Verification (photo, motionHash) VALUES (?, ?) ON CONFLICT (photo)"
          " DO UPDATE SET motionHash = excluded.motionHash, motionMark = NULL")
      .bind(1, row)
      .bind(2, hash)
      .step();
}

void learnMotionHash(Connection& connection, std::int64_t row, std::string_view hash) {
  connection
      .prepare(
          "INSERT INTO Verification (photo, motionHash) SELECT pk, ?2 FROM Photo WHERE pk = ?1"
          " ON CONFLICT (photo)"
          " DO UPDATE SET motionHash = coalesce(motionHash, excluded.motionHash)")
      .bind(1, row)
      .bind(2, hash)
      .step();
}

}  // namespace vaultmere
