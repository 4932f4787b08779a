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

void append(std::string& text, std::string_view value) {
  const bool isPlain = std::all_of(value.begin(), value.end(), [](char c) {
    return c >= ' ' && c < '\x7f' && c != '"' && c != '\\';
  });
  if (isPlain) {
    text.append(1, '"').append(value).append(1, '"');
  } else {
    text += jsonText(Json(value));
  }
}

template <typename Number>
void appendNumber(std::string& text, Number number) {
  std::array<char, 32> digits{};  // 24 are the most
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  text.append(digits.data(), end);
}

void append(std::string& text, double number) { appendNumber(text, number); }
void append(std::string& text, int number) { appendNumber(text, number); }
void append(std::string& text, std::int64_t number) { appendNumber(text, number); }
void append(std::string& text, bool value) { text += value ? "true" : "false"; }

template <typename Value>
void append(std::string& text, const std::vector<Value>& values) {
  text += '[';
  for (const Value& value : values) {
    if (&value != &values.front()) {
      text += ',';
    }
    append(text, value);
  }
  text += ']';
}

/// An object that ends with its scope. One inside another ends before the other
/// goes on.
class Record {
 public:
  explicit Record(std::string& text) : text_(text) { text_ += '{'; }
  ~Record() { text_ += '}'; }
  Record(const Record&) = delete;
  Record& operator=(const Record&) = delete;

  /// The text where the key's value is to be written.
  std::string& at(std::string_view key) {
    if (text_.back() != '{') {
      text_ += ',';
    }
    text_.append(1, '"').append(key).append("\":");
    return text_;
  }

  template <typename Value>
  void set(std::string_view key, const Value& value) {
    append(at(key), value);
  }
  /// Leaves the key out if there is no value.
  template <typename Value>
  void set(std::string_view key, const std::optional<Value>& value) {
    if (value) {
      set(key, *value);
    }
  }

 private:
  std::string& text_;
};

/// JSON has no infinite numbers.
std::optional<double> finite(std::optional<double> number) {
  return number && std::isfinite(*number) ? number : std::nullopt;
}

std::optional<std::string> stampOf(const std::optional<CatalogDate>& date) {
  return date ? std::optional(stampOf(*date)) : std::nullopt;
}

std::vector<std::string> sorted(std::vector<std::string> names) {
  std::sort(names.begin(), names.end());
  return names;
}

void setDimensions(Record& record, const Photo& photo) {
  Record dimensions(record.at("dimensions"));
  dimensions.set("width", photo.width);
  dimensions.set("height", photo.height);
}

void setPlace(Record& record, const Photo& photo) {
  Record place(record.at("place"));
  place.set("name", photo.placeName);
  place.set("city", photo.placeCity);
  place.set("country", photo.placeCountry);
}

void setCamera(Record& record, const Photo& photo) {
  Record camera(record.at("camera"));
  camera.set("make", photo.cameraMake);
  camera.set("model", photo.cameraModel);
}

void setAverageColor(Record& record, const Photo& photo) {
  if (photo.avgHex && photo.avgR && photo.avgG && photo.avgB) {
    Record colour(record.at("average_color"));
    colour.set("hex", *photo.avgHex);
    colour.set("rgb", std::vector{*photo.avgR, *photo.avgG, *photo.avgB});
  }
}

void setGps(Record& record, const Photo& photo) {
  const auto latitude = finite(photo.gpsLat);
  const auto longitude = finite(photo.gpsLon);
  if (latitude && longitude) {
    Record gps(record.at("gps"));
    gps.set("lat", *latitude);
    gps.set("lon", *longitude);
  }
}

}  // namespace

std::string stampOf(CatalogDate date) {
  const CivilTime time = localTime(date.wholeSeconds());
  return fmt::format("{:04}-{:02}-{:02}T{:02}:{:02}:{:02}", time.year, time.month, time.day,
                     time.hour, time.minute, time.second);
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

void appendPhoto(std::string& text, const Photo& photo, std::vector<std::string> tags,
                 std::vector<std::string> labels) {
  Record record(text);
  record.set("id", photo.id);
  record.set("original_filename", photo.originalFilename);
  record.set("media_type", photo.mediaType);
  record.set("capture_date", stampOf(photo.captureDate));
  setDimensions(record, photo);
  record.set("favorite", photo.favorite);
  record.set("edited", photo.edited);
  setPlace(record, photo);
  setCamera(record, photo);
  record.set("tags", sorted(std::move(tags)));
  record.set("ml_labels", sorted(std::move(labels)));
  record.set("aesthetic_score", finite(photo.aestheticScore));
  setAverageColor(record, photo);
  record.set("size_bytes", photo.sizeBytes);
  setGps(record, photo);
  record.set("extension", photo.ext);
  record.set("target_path", photo.targetPath);
  record.set("processed_at", stampOf(photo.processedAt));
}

void appendColour(std::string& text, std::string_view id, std::string_view hex) {
  Record record(text);
  record.set("id", id);
  record.set("hex", hex);
}

void appendFeature(std::string& text, std::string_view id, double latitude, double longitude) {
  text += R"({"type":"Feature","geometry":{"type":"Point","coordinates":[)";
  append(text, longitude);
  text += ',';
  append(text, latitude);
  text += R"(]},"properties":{"id":)";
  append(text, id);
  text += "}}";
}

}  // namespace vaultmere
