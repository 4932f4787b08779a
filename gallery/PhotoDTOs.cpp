// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/PhotoDTOs.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>

#include "platform/Calendar.h"

namespace vaultmere {
namespace {

/// Sets the key if there is a value.
template <typename Value>
void set(Json& record, const char* key, const std::optional<Value>& value) {
  if (value) {
    record[key] = *value;
  }
}

/// JSON has no infinite numbers.
std::optional<double> finite(std::optional<double> number) {
  return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<std::string> stampOf(const std::optional<CatalogDate>& date) {
  return date ? std::optional(stampOf(*date)) : std::nullopt;
}

Json dimensions(const Photo& photo) {
  Json record = Json::object();
  set(record, "width", photo.width);
  set(record, "height", photo.height);
  return record;
}

Json place(const Photo& photo) {
  Json record = Json::object();
  set(record, "name", photo.placeName);
  set(record, "city", photo.placeCity);
  set(record, "country", photo.placeCountry);
  return record;
}

Json camera(const Photo& photo) {
  Json record = Json::object();
  set(record, "make", photo.cameraMake);
  set(record, "model", photo.cameraModel);
  return record;
}

std::optional<Json> averageColor(const Photo& photo) {
  if (!photo.avgHex || !photo.avgR || !photo.avgG || !photo.avgB) {
    return std::nullopt;
  }
  return Json{{"hex", *photo.avgHex}, {"rgb", {*photo.avgR, *photo.avgG, *photo.avgB}}};
}

std::optional<Json> gps(const Photo& photo) {
  const auto latitude = finite(photo.gpsLat);
  const auto longitude = finite(photo.gpsLon);
  return latitude && longitude ? std::optional(Json{{"lat", *latitude}, {"lon", *longitude}})
                               : std::nullopt;
}

Json sortedNames(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  return Json(std::move(names));
}

void appendString(std::string& text, std::string_view value) {
  const bool isPlain = std::all_of(value.begin(), value.end(), [](char c) {
    return c >= ' ' && c < '\x7f' && c != '"' && c != '\\';
  });
  if (isPlain) {
    text.append(1, '"').append(value).append(1, '"');
  } else {
    text += jsonText(Json(value));
  }
}

void appendNumber(std::string& text, double number) {
  std::array<char, 32> digits{};  // 24 are the most
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  text.append(digits.data(), end);
}

}  // namespace

std::string stampOf(CatalogDate date) {
  const CivilTime time = localTime(date.wholeSeconds());
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", time.year, time.month, time.day,
                     time.hour, time.minute, time.second);
}

Json photoRecord(const Photo& photo, std::vector<std::string> tags,
                 std::vector<std::string> labels) {
  Json record = Json::object();
  record["id"] = photo.id;
  record["original_filename"] = photo.originalFilename;
  record["media_type"] = photo.mediaType;
  set(record, "capture_date", stampOf(photo.captureDate));
  record["dimensions"] = dimensions(photo);
  record["favorite"] = photo.favorite;
  record["edited"] = photo.edited;
  record["place"] = place(photo);
  record["camera"] = camera(photo);
  record["tags"] = sortedNames(std::move(tags));
  record["ml_labels"] = sortedNames(std::move(labels));
  set(record, "aesthetic_score", finite(photo.aestheticScore));
  set(record, "average_color", averageColor(photo));
  record["size_bytes"] = photo.sizeBytes;
  set(record, "gps", gps(photo));
  record["extension"] = photo.ext;
  record["target_path"] = photo.targetPath;
  set(record, "processed_at", stampOf(photo.processedAt));
  return record;
}

Json facetRecords(const std::vector<FacetValue>& values, std::size_t limit) {
  Json records = Json::array();
  for (std::size_t i = 0; i < std::min(limit, values.size()); ++i) {
    records.push_back({{"id", values[i].value}, {"n", values[i].count}});
  }
  return records;
}

std::string jsonText(const Json& json) {
  return json.dump(-1, ' ', false, Json::error_handler_t::replace);
}

void appendColour(std::string& text, std::string_view id, std::string_view hex) {
  text += R"({"id":)";
  appendString(text, id);
  text += R"(,"hex":)";
  appendString(text, hex);
  text += '}';
}

void appendFeature(std::string& text, std::string_view id, double latitude, double longitude) {
  text += R"({"type":"Feature","geometry":{"type":"Point","coordinates":[)";
  appendNumber(text, longitude);
  text += ',';
  appendNumber(text, latitude);
  text += R"(]},"properties":{"id":)";
  appendString(text, id);
  text += "}}";
}

}  // namespace vaultmere
