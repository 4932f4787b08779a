// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/PhotoSchema.h"

#include <fmt/format.h>

#include <array>
#include <nlohmann/json.hpp>

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

std::string columnDefinition(const PhotoAttribute& attribute) {
  const Photo fresh;
  const std::string type =
      attribute.name == "id"  // the only one without a default
          ? "TEXT NOT NULL UNIQUE"
          : std::visit([&](auto member) { return columnType(fresh.*member); }, attribute.member);
  return fmt::format("{} {}", attribute.name, type);
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
    return fmt::format("INSERT INTO Photo ({}) VALUES ({})", photoColumns(), marks);
  }();
  auto statement = connection.prepare(sql);
  int index = 1;
  for (const PhotoAttribute& attribute : kAttributes) {
    std::visit([&](auto member) { bindValue(statement, index, photo.*member); }, attribute.member);
    ++index;
  }
  statement.step();
  return connection.lastInsertedKey();
}

}  // namespace vaultmere
