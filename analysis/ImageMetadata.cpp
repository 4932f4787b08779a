// SPDX-License-Identifier: GPL-3.0-or-later
#include "analysis/ImageMetadata.h"

#include <algorithm>
#include <limits>
#include <string_view>
#include <vector>

#include "platform/Text.h"

namespace vaultmere {
namespace {

/// The text's code points, each as its bytes.
std::vector<std::string_view> characters(std::string_view text) {
  std::vector<std::string_view> list;
  while (!text.empty()) {
    std::size_t length = 1;
    while (length < text.size() && (static_cast<unsigned char>(text[length]) & 0xC0U) == 0x80U) {
      ++length;
    }
    list.push_back(text.substr(0, length));
    text.remove_prefix(length);
  }
  return list;
}

bool isSpaceOrNewline(std::string_view character) {
  if (character.size() == 1) {
    return character == " " || (character >= "\t" && character <= "\r");
  }
  // NEL, no-break and ogham space, the spaces of U+2000 to U+200B, line and
  // paragraph separator, narrow, mathematical and ideographic space.
  return character == "\xC2\x85" || character == "\xC2\xA0" || character == "\xE1\x9A\x80" ||
         (character >= "\xE2\x80\x80" && character <= "\xE2\x80\x8B") ||
         character == "\xE2\x80\xA8" || character == "\xE2\x80\xA9" ||
         character == "\xE2\x80\xAF" || character == "\xE2\x81\x9F" || character == "\xE3\x80\x80";
}

/// Without white space and newlines at either end; absent when nothing is left.
std::optional<std::string> trimmedText(const std::optional<std::string>& text) {
  const auto list = characters(text ? std::string_view(*text) : std::string_view());
  const auto first = std::find_if_not(list.begin(), list.end(), isSpaceOrNewline);
  const auto last = std::find_if_not(list.rbegin(), list.rend(), isSpaceOrNewline).base();
  if (first == list.end()) {
    return std::nullopt;
  }
  std::string result;
  std::for_each(first, last, [&](std::string_view character) { result += character; });
  return result;
}

/// An EXIF date as "2021-06-01T10:11:12". Only the fifth character is looked at,
/// and the year "0000", by which cameras without a clock stand out.
std::optional<std::string> normalisedDate(const std::optional<std::string>& text) {
  const auto list = characters(trimmed(text ? std::string_view(*text) : std::string_view(), " \t"));
  if (list.size() < 19) {
    return std::nullopt;
  }
  const auto part = [&](std::size_t at, std::size_t count) {
    std::string result;
    for (std::size_t i = at; i < at + count; ++i) {
      result += list[i];
    }
    return result;
  };
  const std::string year = part(0, 4);
  if (year == "0000" || (list[4] != ":" && list[4] != "-")) {
    return std::nullopt;
  }
  return year + "-" + part(5, 2) + "-" + part(8, 2) + "T" + part(11, 2) + ":" + part(14, 2) + ":" +
         part(17, 2);
}

template <typename T>
std::optional<T> valueAt(const PropertyDictionary& dictionary, std::string_view key) {
  const auto at = dictionary.find(key);
  if (at == dictionary.end() || !std::holds_alternative<T>(at->second)) {
    return std::nullopt;
  }
  return std::get<T>(at->second);
}

std::optional<std::string> textAt(const PropertyDictionary& dictionary, std::string_view key) {
  return valueAt<std::string>(dictionary, key);
}

std::optional<double> numberAt(const PropertyDictionary& dictionary, std::string_view key) {
  return valueAt<double>(dictionary, key);
}

std::optional<int> integer(const std::optional<double>& number) {
  if (!number || !(*number >= std::numeric_limits<int>::min()) ||
      !(*number <= std::numeric_limits<int>::max())) {
    return std::nullopt;
  }
  return static_cast<int>(*number);
}

std::optional<int> firstInteger(const PropertyDictionary& dictionary, std::string_view key) {
  const auto list = valueAt<std::vector<double>>(dictionary, key);
  return list && !list->empty() ? integer(list->front()) : std::nullopt;
}

std::optional<std::string> stampsOf(const PropertyDictionary& gps) {
  auto date = textAt(gps, "DateStamp");
  if (!date || characters(*date).size() <= 9) {
    return std::nullopt;
  }
  std::replace(date->begin(), date->end(), ':', '-');
  std::string time = "00:00:00";
  if (const auto stamp = textAt(gps, "TimeStamp")) {
    const auto list = characters(*stamp);
    if (list.size() > 7) {
      time.clear();
      std::for_each(list.begin(), list.begin() + 8,
                    [&](std::string_view character) { time += character; });
    }
  }
  return *date + "T" + time;
}

void setPosition(ImageMetadata& metadata, const PropertyDictionary& gps) {
  const auto latitude = numberAt(gps, "Latitude");
  const auto longitude = numberAt(gps, "Longitude");
  if (latitude && longitude) {
    metadata.gpsLat = textAt(gps, "LatitudeRef") == "S" ? -*latitude : *latitude;
    metadata.gpsLon = textAt(gps, "LongitudeRef") == "W" ? -*longitude : *longitude;
  }
}

bool isEmpty(const ImageProperties& properties) {
  return !properties.pixelWidth && !properties.pixelHeight && !properties.orientation &&
         properties.exif.empty() && properties.tiff.empty() && properties.gps.empty() &&
         properties.exifAux.empty();
}

}  // namespace

ImageMetadata ImageMetadata::read(MediaService& media, const MediaFile& file) {
  const auto answer = media.read(file, {.kind = MediaKind::still, .wantsProperties = true});
  return answer.still ? of(*answer.still) : ImageMetadata{};
}

ImageMetadata ImageMetadata::of(const ImageProperties& properties) {
  ImageMetadata metadata;
  metadata.mimeType = properties.mimeType;
  if (isEmpty(properties)) {
    return metadata;
  }
  metadata.width = integer(properties.pixelWidth);
  metadata.height = integer(properties.pixelHeight);
  if (metadata.width && metadata.height) {
    metadata.megapixels = static_cast<double>(*metadata.width) * *metadata.height / 1'000'000;
  }
  metadata.orientation = integer(properties.orientation).value_or(1);

  const PropertyDictionary& exif = properties.exif;
  metadata.dateTimeOriginal = normalisedDate(textAt(exif, "DateTimeOriginal"));
  if (!metadata.dateTimeOriginal) {
    metadata.dateTimeOriginal = normalisedDate(textAt(exif, "DateTimeDigitized"));
  }
  metadata.gpsDateTime = stampsOf(properties.gps);
  metadata.cameraMake = trimmedText(textAt(properties.tiff, "Make"));
  metadata.cameraModel = trimmedText(textAt(properties.tiff, "Model"));
  metadata.software = trimmedText(textAt(properties.tiff, "Software"));
  metadata.cameraLens = trimmedText(textAt(exif, "LensModel"));
  if (!metadata.cameraLens) {
    metadata.cameraLens = trimmedText(textAt(properties.exifAux, "LensModel"));
  }
  metadata.iso = firstInteger(exif, "ISOSpeedRatings");
  metadata.aperture = numberAt(exif, "FNumber");
  if (!metadata.aperture) {
    metadata.aperture = numberAt(exif, "ApertureValue");
  }
  metadata.shutter = numberAt(exif, "ExposureTime");
  metadata.focalLength = numberAt(exif, "FocalLength");
  setPosition(metadata, properties.gps);
  return metadata;
}

}  // namespace vaultmere
