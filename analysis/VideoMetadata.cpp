// SPDX-License-Identifier: GPL-3.0-or-later
#include "analysis/VideoMetadata.h"

#include <re2/re2.h>

#include <charconv>
#include <cmath>
#include <limits>
#include <string_view>

#include "analysis/CaptureDate.h"
#include "platform/Calendar.h"

namespace vaultmere {
namespace {

/// Rounded to the nearest, halves away from zero; the sign is that of a rotation.
std::optional<int> pixels(double side) {
  const double rounded = std::round(std::abs(side));
  if (!(rounded >= 1) || rounded > std::numeric_limits<int>::max()) {
    return std::nullopt;
  }
  return static_cast<int>(rounded);
}

void setSize(VideoMetadata& metadata, const VideoTrack& track) {
  const auto width = pixels(track.a * track.width + track.c * track.height);
  const auto height = pixels(track.b * track.width + track.d * track.height);
  if (width && height) {
    metadata.width = width;
    metadata.height = height;
    metadata.megapixels = static_cast<double>(*width) * *height / 1'000'000;
  }
}

/// The moment of a text such as "2021-06-01T12:11:12+0200"; containers write the
/// zone's colon or not, fractions or not, and some no zone at all.
std::optional<sys_seconds> momentOf(const std::string& text) {
  static const RE2 form(
      R"(\s*(\d{4}-\d{2}-\d{2})[T ](\d{2}:\d{2}:\d{2})(?:[.,]\d+)?\s*(?:(Z)|([+-]\d{2}):?(\d{2}))?\s*)");
  std::string day;
  std::string time;
  std::string utc;
  std::string hours;
  std::string minutes;
  if (!RE2::FullMatch(text, form, &day, &time, &utc, &hours, &minutes)) {
    return std::nullopt;
  }
  const std::string wall = day + "T" + time;
  if (!utc.empty() || !hours.empty()) {
    return parseInternetSeconds(wall + (hours.empty() ? utc : hours + ":" + minutes));
  }
  const auto asUtc = parseInternetSeconds(wall + "Z");
  return asUtc ? secondsOfLocalTime(utcTime(*asUtc)) : std::nullopt;
}

std::optional<double> number(std::string_view text) {
  if (text.starts_with('+')) {
    text.remove_prefix(1);
  }
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  return error == std::errc() ? std::optional(value) : std::nullopt;
}

void setPosition(VideoMetadata& metadata, const std::string& text) {
  static const RE2 form(R"(([+-]\d+(?:\.\d+)?)([+-]\d+(?:\.\d+)?))");
  std::string latitudeText;
  std::string longitudeText;
  if (!RE2::PartialMatch(text, form, &latitudeText, &longitudeText)) {
    return;
  }
  const auto latitude = number(latitudeText);
  const auto longitude = number(longitudeText);
  if (latitude && longitude) {
    metadata.gpsLat = latitude;
    metadata.gpsLon = longitude;
  }
}

}  // namespace

VideoMetadata VideoMetadata::read(MediaService& media, const MediaFile& file) {
  const auto answer = media.read(file, {.kind = MediaKind::video, .wantsProperties = true});
  return answer.video ? of(*answer.video) : VideoMetadata{};
}

VideoMetadata VideoMetadata::of(const VideoProperties& properties) {
  VideoMetadata metadata;
  metadata.duration = properties.duration;
  if (properties.track) {
    setSize(metadata, *properties.track);
  }
  for (const std::string& date : properties.created) {
    if (const auto moment = momentOf(date)) {
      metadata.captureDate = localDateString(*moment);
      break;
    }
  }
  if (!properties.locations.empty()) {
    setPosition(metadata, properties.locations.front().text);
  }
  return metadata;
}

}  // namespace vaultmere
