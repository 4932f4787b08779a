// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/PhotoSchema.h"

#include <fmt/format.h>

#include <array>
#include <nlohmann/json.hpp>
#include <set>

#include "catalog/CatalogError.h"

namespace vaultmere {
namespace {

#define ATTRIBUTE(name) \
  PhotoAttribute { #name, &Photo::name }
const std::array kAttributes{
    ATTRIBUTE(id),
    ATTRIBUTE(photosUUID),
    ATTRIBUTE(aliasUUIDs),
    ATTRIBUTE(mediaType),
    ATTRIBUTE(originalFilename),
    ATTRIBUTE(ext),
    ATTRIBUTE(mimeType),
    ATTRIBUTE(sizeBytes),
    ATTRIBUTE(targetPath),
    ATTRIBUTE(archivePath),
    ATTRIBUTE(storage),
    ATTRIBUTE(processedAt),
    ATTRIBUTE(warnings),
    ATTRIBUTE(trashedAt),
    ATTRIBUTE(stackedUnder),
    ATTRIBUTE(stackExempt),
    ATTRIBUTE(phash),
    ATTRIBUTE(captureDate),
    ATTRIBUTE(year),
    ATTRIBUTE(captureDateSource),
    ATTRIBUTE(captureDateConfidence),
    ATTRIBUTE(width),
    ATTRIBUTE(height),
    ATTRIBUTE(megapixels),
    ATTRIBUTE(orientation),
    ATTRIBUTE(duration),
    ATTRIBUTE(avgHex),
    ATTRIBUTE(avgR),
    ATTRIBUTE(avgG),
    ATTRIBUTE(avgB),
    ATTRIBUTE(colorFamily),
    ATTRIBUTE(isBW),
    ATTRIBUTE(favorite),
    ATTRIBUTE(edited),
    ATTRIBUTE(aestheticScore),
    ATTRIBUTE(caption),
    ATTRIBUTE(ptScreenshot),
    ATTRIBUTE(ptSelfie),
    ATTRIBUTE(ptPortrait),
    ATTRIBUTE(ptPanorama),
    ATTRIBUTE(ptSlowMo),
    ATTRIBUTE(ptTimeLapse),
    ATTRIBUTE(ptHDR),
    ATTRIBUTE(ptBurst),
    ATTRIBUTE(placeName),
    ATTRIBUTE(placeCity),
    ATTRIBUTE(placeState),
    ATTRIBUTE(placeCountry),
    ATTRIBUTE(placeAddress),
    ATTRIBUTE(gpsLat),
    ATTRIBUTE(gpsLon),
    ATTRIBUTE(cameraMake),
    ATTRIBUTE(cameraModel),
    ATTRIBUTE(cameraLens),
    ATTRIBUTE(iso),
    ATTRIBUTE(aperture),
    ATTRIBUTE(shutter),
    ATTRIBUTE(focalLength),
    ATTRIBUTE(software),
    ATTRIBUTE(liveMotionFile),
    ATTRIBUTE(liveMotionPath),
    ATTRIBUTE(liveMotionSize),
};
#undef ATTRIBUTE

struct Index {
  const char* name;
  const char* columns;
  const char* condition;  ///< of the rows that stand in it; empty: all
};
constexpr std::array kIndexes{
    Index{"byCaptureDate", "captureDate", ""}, Index{"byYear", "year", ""},
    Index{"byColorFamily", "colorFamily", ""}, Index{"byMediaType", "mediaType", ""},
    Index{"byFavorite", "favorite", ""},       Index{"byPhotosUUID", "photosUUID", ""},
    Index{"byTrashedAt", "trashedAt", ""},     Index{"byStackedUnder", "stackedUnder", ""},
};

// What the screens list: neither trashed nor below a stack. The two columns
// also end each index: the store reads the row itself for a column that it
// doesn't find there, whatever the condition says.
#define SHOWN "trashedAt IS NULL AND stackedUnder IS NULL"
#define SHOWN_COLUMNS ", trashedAt, stackedUnder"
#define FILTERED "year, mediaType, ext, colorFamily, placeCountry, cameraModel, sizeBytes, favorite"
#define BY_CAPTURE "captureDate, processedAt, pk"
// The two sorts with all that a filter looks at, so that a page and a facet
// are found without reading rows; each single filter in the order of capture;
// the texts of the search. `PhotoQueries.cpp` names them. Last, the
// order in which thumbnails are made.
constexpr std::array kListIndexes{
    Index{"shownByAdded", "processedAt, captureDate, pk, " FILTERED SHOWN_COLUMNS, SHOWN},
    Index{"shownByCapture", BY_CAPTURE ", " FILTERED SHOWN_COLUMNS, SHOWN},
    Index{"shownByYear", "year, " BY_CAPTURE SHOWN_COLUMNS, SHOWN},
    Index{"shownByExt", "ext, " BY_CAPTURE SHOWN_COLUMNS, SHOWN},
    Index{"shownByColor", "colorFamily, " BY_CAPTURE SHOWN_COLUMNS,
          SHOWN " AND colorFamily IS NOT NULL"},
    Index{"shownByCountry", "placeCountry, " BY_CAPTURE SHOWN_COLUMNS,
          SHOWN " AND placeCountry IS NOT NULL"},
    Index{"shownByCamera", "cameraModel, " BY_CAPTURE SHOWN_COLUMNS, SHOWN},
    Index{"shownBySize", "sizeBytes, " BY_CAPTURE SHOWN_COLUMNS, SHOWN},
    Index{"shownFavorites", BY_CAPTURE ", favorite" SHOWN_COLUMNS, SHOWN " AND favorite = 1"},
    Index{"shownTexts", "placeName, caption, originalFilename" SHOWN_COLUMNS, SHOWN},
    Index{"allByMediaType", "mediaType, " BY_CAPTURE ", sizeBytes" SHOWN_COLUMNS, ""},
    Index{"allByAdded", "processedAt, pk", ""},
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

// What each type of member is as a column. Required columns take the default
// of a new record.
std::string columnType(const std::string& initial) {
  return fmt::format("TEXT NOT NULL DEFAULT '{}'", initial);
}
std::string columnType(std::int64_t initial) {
  return fmt::format("INTEGER NOT NULL DEFAULT {}", initial);
}
std::string columnType(bool initial) {
  return fmt::format("INTEGER NOT NULL DEFAULT {:d}", initial);
}
std::string columnType(const std::optional<std::string>&) { return "TEXT"; }
std::string columnType(const std::optional<std::int64_t>&) { return "INTEGER"; }
std::string columnType(const std::optional<int>&) { return "INTEGER"; }
std::string columnType(const std::optional<double>&) { return "REAL"; }
std::string columnType(const std::optional<CatalogDate>&) { return "REAL"; }
std::string columnType(const std::vector<std::string>&) { return "TEXT"; }

/// "sizeBytes INTEGER NOT NULL DEFAULT 0"
std::string columnDefinition(const PhotoAttribute& attribute) {
  const Photo fresh;
  const std::string type =
      attribute.name == "id"  // the only one without a default
          ? "TEXT NOT NULL UNIQUE"
          : std::visit([&](auto member) { return columnType(fresh.*member); }, attribute.member);
  return fmt::format("{} {}", attribute.name, type);
}

std::set<std::string> existingColumns(Connection& connection) {
  std::set<std::string> names;
  auto statement = connection.prepare("SELECT name FROM pragma_table_info('Photo')");
  while (statement.step()) {
    names.insert(statement.text(0));
  }
  return names;
}

void addIndex(Connection& connection, const Index& index) {
  const std::string_view condition = index.condition;
  connection.execute(fmt::format("CREATE INDEX IF NOT EXISTS {} ON Photo ({}){}{}", index.name,
                                 index.columns, condition.empty() ? "" : " WHERE ", condition)
                         .c_str());
}

int storedVersion(Connection& connection) {
  auto statement = connection.prepare("PRAGMA user_version");
  statement.step();
  return static_cast<int>(statement.integer(0));
}

void bindValue(Statement& statement, int index, const std::string& value) {
  statement.bind(index, std::string_view(value));
}
void bindValue(Statement& statement, int index, std::int64_t value) {
  statement.bind(index, value);
}
void bindValue(Statement& statement, int index, bool value) { statement.bind(index, value); }
void bindValue(Statement& statement, int index, int value) { statement.bind(index, value); }
void bindValue(Statement& statement, int index, double value) { statement.bind(index, value); }
void bindValue(Statement& statement, int index, CatalogDate value) {
  statement.bind(index, value.seconds);
}
void bindValue(Statement& statement, int index, const std::vector<std::string>& list) {
  if (list.empty()) {
    statement.bind(index, nullptr);
  } else {
    bindValue(statement, index, stringListText(list));
  }
}
template <typename Value>
void bindValue(Statement& statement, int index, const std::optional<Value>& value) {
  if (value) {
    bindValue(statement, index, *value);
  } else {
    statement.bind(index, nullptr);
  }
}

void readValue(const Statement& row, int column, std::string& value) { value = row.text(column); }
void readValue(const Statement& row, int column, std::int64_t& value) {
  value = row.integer(column);
}
void readValue(const Statement& row, int column, bool& value) { value = row.integer(column) != 0; }
void readValue(const Statement& row, int column, int& value) {
  value = static_cast<int>(row.integer(column));
}
void readValue(const Statement& row, int column, double& value) { value = row.real(column); }
void readValue(const Statement& row, int column, CatalogDate& value) {
  value.seconds = row.real(column);
}
void readValue(const Statement& row, int column, std::vector<std::string>& list) {
  list = stringListFromText(row.text(column));
}
template <typename Value>
void readValue(const Statement& row, int column, std::optional<Value>& value) {
  readValue(row, column, value.emplace());
}

}  // namespace

std::span<const PhotoAttribute> photoAttributes() { return kAttributes; }

void prepareSchema(Connection& connection) {
  const int version = storedVersion(connection);
  if (version > kSchemaVersion) {
    throw CatalogError(fmt::format(
        "the catalog was written by a newer version (its form is {}, this program knows {})",
        version, kSchemaVersion));
  }
  if (version == kSchemaVersion) {
    return;
  }
  Transaction transaction(connection);
  std::string definitions;
  for (const PhotoAttribute& attribute : kAttributes) {
    definitions.append(", ").append(columnDefinition(attribute));
  }
  connection.execute(
      fmt::format("CREATE TABLE IF NOT EXISTS Photo (pk INTEGER PRIMARY KEY{})", definitions)
          .c_str());
  const auto columns = existingColumns(connection);
  for (const PhotoAttribute& attribute : kAttributes) {
    if (!columns.contains(std::string(attribute.name))) {
      connection.execute(
          fmt::format("ALTER TABLE Photo ADD COLUMN {}", columnDefinition(attribute)).c_str());
    }
  }
  connection.execute(kOtherTables);
  for (const std::span<const Index> indexes :
       {std::span<const Index>(kIndexes), std::span<const Index>(kListIndexes)}) {
    for (const Index& index : indexes) {
      addIndex(connection, index);
    }
  }
  connection.execute(fmt::format("PRAGMA user_version = {}", kSchemaVersion).c_str());
  transaction.commit();
}

std::string stringListText(const std::vector<std::string>& list) {
  return nlohmann::json(list).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
}

std::vector<std::string> stringListFromText(std::string_view text) {
  std::vector<std::string> list;
  const auto json = nlohmann::json::parse(text, nullptr, false);
  if (json.is_array()) {
    for (const auto& element : json) {
      if (element.is_string()) {
        list.push_back(element.get<std::string>());
      }
    }
  }
  return list;
}

const std::string& photoColumns() {
  static const std::string columns = [] {
    std::string list;
    for (const PhotoAttribute& attribute : kAttributes) {
      list.append(list.empty() ? "" : ", ").append(attribute.name);
    }
    return list;
  }();
  return columns;
}

Photo photoFromRow(const Statement& row, int firstColumn) {
  Photo photo;
  int column = firstColumn;
  for (const PhotoAttribute& attribute : kAttributes) {
    if (!row.isNull(column)) {
      std::visit([&](auto member) { readValue(row, column, photo.*member); }, attribute.member);
    }
    ++column;
  }
  return photo;
}

std::int64_t insertPhoto(Connection& connection, const Photo& photo) {
  static const std::string sql = [] {
    std::string marks;
    for (std::size_t i = 0; i < kAttributes.size(); ++i) {
      marks.append(i == 0 ? "?" : ", ?");
    }
    return fmt::format("INSERT INTO Photo ({}) VALUES ({}) RETURNING pk", photoColumns(), marks);
  }();
  auto statement = connection.prepare(sql);
  int index = 1;
  for (const PhotoAttribute& attribute : kAttributes) {
    std::visit([&](auto member) { bindValue(statement, index, photo.*member); }, attribute.member);
    ++index;
  }
  statement.step();
  return statement.integer(0);
}

}  // namespace vaultmere
