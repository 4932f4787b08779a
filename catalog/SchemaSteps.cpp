// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/SchemaSteps.h"

#include <fmt/format.h>

#include <array>
#include <set>
#include <string>
#include <string_view>

#include "catalog/CatalogError.h"
#include "catalog/PhotoSchema.h"

namespace vaultmere {
namespace {

struct Index {
  int since;  ///< the schema version that added it
  const char* name;
  const char* columns;
  const char* condition = "";  ///< of the rows that stand in it; empty: all
};
// What the screens list: neither trashed nor below a stack. The two columns
// also end each index: the store reads the row itself for a column that it
// doesn't find there, whatever the condition says.
#define SHOWN "trashedAt IS NULL AND stackedUnder IS NULL"
#define SHOWN_COLUMNS ", trashedAt, stackedUnder"
#define FILTERED "year, mediaType, ext, colorFamily, placeCountry, cameraModel, sizeBytes, favorite"
#define BY_CAPTURE "captureDate, processedAt, pk"
// The first eight serve whatever else asks for one attribute. Then, named by
// `PhotoQueries.cpp`: the two sorts with all that a filter looks at, so that a
// page and a facet are found without reading rows; each single filter in the
// order of capture; the texts of the search. Last, the order in which
// thumbnails are made.
constexpr std::array kIndexes{
    Index{1, "byCaptureDate", "captureDate"},
    Index{1, "byYear", "year"},
    Index{1, "byColorFamily", "colorFamily"},
    Index{1, "byMediaType", "mediaType"},
    Index{1, "byFavorite", "favorite"},
    Index{1, "byPhotosUUID", "photosUUID"},
    Index{1, "byTrashedAt", "trashedAt"},
    Index{1, "byStackedUnder", "stackedUnder"},
    Index{2, "shownByAdded", "processedAt, captureDate, pk, " FILTERED SHOWN_COLUMNS, SHOWN},
    Index{2, "shownByCapture", BY_CAPTURE ", " FILTERED SHOWN_COLUMNS, SHOWN},
    Index{2, "shownByYear", "year, " BY_CAPTURE SHOWN_COLUMNS, SHOWN},
    Index{2, "shownByExt", "ext, " BY_CAPTURE SHOWN_COLUMNS, SHOWN},
    Index{2, "shownByColor", "colorFamily, " BY_CAPTURE SHOWN_COLUMNS,
          SHOWN " AND colorFamily IS NOT NULL"},
    Index{2, "shownByCountry", "placeCountry, " BY_CAPTURE SHOWN_COLUMNS,
          SHOWN " AND placeCountry IS NOT NULL"},
    Index{2, "shownByCamera", "cameraModel, " BY_CAPTURE SHOWN_COLUMNS, SHOWN},
    Index{2, "shownBySize", "sizeBytes, " BY_CAPTURE SHOWN_COLUMNS, SHOWN},
    Index{2, "shownFavorites", BY_CAPTURE ", favorite" SHOWN_COLUMNS, SHOWN " AND favorite = 1"},
    Index{2, "shownTexts", "placeName, caption, originalFilename" SHOWN_COLUMNS, SHOWN},
    Index{2, "allByMediaType", "mediaType, " BY_CAPTURE ", sizeBytes" SHOWN_COLUMNS},
    Index{3, "allByAdded", "processedAt, pk"},
};
#undef SHOWN
#undef SHOWN_COLUMNS
#undef FILTERED
#undef BY_CAPTURE

// The link tables keep the order of their rows: labels stand best first.
constexpr const char* kOtherTables = R"(
CREATE TABLE IF NOT EXISTS Tag (
  pk INTEGER PRIMARY KEY,
  name TEXT NOT NULL DEFAULT '' UNIQUE);
CREATE TABLE IF NOT EXISTS Label (
  pk INTEGER PRIMARY KEY,
  name TEXT NOT NULL DEFAULT '' UNIQUE);
CREATE TABLE IF NOT EXISTS Photo_tags (
  photo INTEGER NOT NULL REFERENCES Photo(pk) ON DELETE CASCADE,
  tag INTEGER NOT NULL REFERENCES Tag(pk) ON DELETE CASCADE,
  UNIQUE (photo, tag));
CREATE TABLE IF NOT EXISTS Photo_labels (
  photo INTEGER NOT NULL REFERENCES Photo(pk) ON DELETE CASCADE,
  label INTEGER NOT NULL REFERENCES Label(pk) ON DELETE CASCADE,
  UNIQUE (photo, label));
CREATE INDEX IF NOT EXISTS Photo_tags_byTag ON Photo_tags (tag, photo);
CREATE INDEX IF NOT EXISTS Photo_labels_byLabel ON Photo_labels (label, photo);
)";

// What is known about an item's files beyond its row. A table of its own, so that
// the rows and their indexes stay as they are when a file is verified.
constexpr const char* kVerificationTable = R"(
CREATE TABLE IF NOT EXISTS Verification (
  photo INTEGER PRIMARY KEY REFERENCES Photo(pk) ON DELETE CASCADE,
  motionHash TEXT,
  primaryMark TEXT,
  motionMark TEXT);
CREATE INDEX IF NOT EXISTS markedFiles ON Verification (photo)
  WHERE primaryMark IS NOT NULL OR motionMark IS NOT NULL;
)";

std::set<std::string, std::less<>> existingColumns(Connection& connection) {
  std::set<std::string, std::less<>> names;
  auto statement = connection.prepare("SELECT name FROM pragma_table_info('Photo')");
  while (statement.step()) {
    names.insert(statement.text(0));
  }
  return names;
}

void addTables(Connection& connection) {
  std::string columns = "pk INTEGER PRIMARY KEY";
  for (const PhotoAttribute& attribute : photoAttributes()) {
    if (attribute.since == 1) {
      columns += ", " + columnDefinition(attribute);
    }
  }
  connection.execute(fmt::format("CREATE TABLE IF NOT EXISTS Photo ({})", columns).c_str());
  connection.execute(kOtherTables);
}

void addColumns(Connection& connection, int version) {
  const auto existing = existingColumns(connection);
  for (const PhotoAttribute& attribute : photoAttributes()) {
    if (attribute.since <= version && !existing.contains(attribute.name)) {
      connection.execute(
          fmt::format("ALTER TABLE Photo ADD COLUMN {}", columnDefinition(attribute)).c_str());
    }
  }
}

void addIndexes(Connection& connection, int version) {
  for (const Index& index : kIndexes) {
    if (index.since == version) {
      const std::string_view condition = index.condition;
      connection.execute(fmt::format("CREATE INDEX IF NOT EXISTS {} ON Photo ({}){}{}", index.name,
                                     index.columns, condition.empty() ? "" : " WHERE ", condition)
                             .c_str());
    }
  }
}

}  // namespace

void prepareSchema(Connection& connection, int version) {
  const int present = schemaVersion(connection);
  if (present > version) {
    throw CatalogError(fmt::format(
        "the catalog was written by a newer version (its form is {}, this program knows {})",
        present, version));
  }
  if (present == version) {
    return;
  }
  Transaction transaction(connection);
  for (int step = present + 1; step <= version; ++step) {
    if (step == 1) {
      addTables(connection);
    }
    if (step == 4) {
      connection.execute(kVerificationTable);
    }
    addColumns(connection, step);
    addIndexes(connection, step);
  }
  connection.execute(fmt::format("PRAGMA user_version = {}", version).c_str());
  transaction.commit();
}

int schemaVersion(Connection& connection) {
  auto statement = connection.prepare("PRAGMA user_version");
  statement.step();
  return static_cast<int>(statement.integer(0));
}

}  // namespace vaultmere
