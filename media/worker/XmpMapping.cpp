// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/XmpMapping.h"

#include <re2/re2.h>

#include <algorithm>
#include <charconv>
#include <cmath>
#include <exiv2/exiv2.hpp>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "platform/Text.h"

namespace vaultmere {
namespace {

using Keys = std::initializer_list<const char*>;

/// The first of several XMP properties that is there; empty ones don't count.
std::string xmpText(const Exiv2::XmpData& data, Keys keys) {
  for (const char* key : keys) {
    try {
      const auto at = data.findKey(Exiv2::XmpKey(key));
      if (at != data.end() && at->count() > 0) {
        std::string text = validUtf8(at->value().toString(0));
        if (!text.empty()) {
          return text;
        }
      }
    } catch (const std::exception&) {
      continue;  // a namespace that this version of the library doesn't know
    }
  }
  return {};
}

template <typename T>
void putMissing(PropertyDictionary& dictionary, const char* key, const std::optional<T>& value) {
  if (value) {
    dictionary.try_emplace(key, *value);
  }
}

void putMissing(PropertyDictionary& dictionary, const char* key, const std::string& text) {
  if (!text.empty()) {
    dictionary.try_emplace(key, text);
  }
}

/// "2021-06-01T10:11:12.50+02:00", of which the end may be missing, as EXIF has
/// it: the wall clock, whatever zone follows. Empty without a whole day.
std::string exifDate(const std::string& xmp) {
  static const RE2 form(R"((\d{4})-(\d{2})-(\d{2})(?:T(\d{2}:\d{2})(:\d{2})?.*)?)");
  std::string year;
  std::string month;
  std::string day;
  std::string time;
  std::string seconds;
  if (!RE2::FullMatch(xmp, form, &year, &month, &day, &time, &seconds)) {
    return {};
  }
  return year + ":" + month + ":" + day + " " + (time.empty() ? "00:00" : time) +
         (seconds.empty() ? ":00" : seconds);
}

/// "7/2" or "3.5".
std::optional<double> xmpNumber(const std::string& text) {
  const auto number = [](std::string_view digits) -> std::optional<double> {
    double value = 0;
    const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
    return error == std::errc() && end == digits.data() + digits.size() && std::isfinite(value)
               ? std::optional(value)
               : std::nullopt;
  };
  const std::size_t slash = text.find('/');
  const auto numerator = number(std::string_view(text).substr(0, slash));
  if (slash == std::string::npos || !numerator) {
    return numerator;
  }
  const auto denominator = number(std::string_view(text).substr(slash + 1));
  return denominator && *denominator != 0 ? std::optional(*numerator / *denominator) : std::nullopt;
}

/// "48,8.25N" or "48,8,15N": degrees, minutes, perhaps seconds, reference.
void mapXmpAngle(const std::string& text, const char* key, const char* referenceKey,
                 PropertyDictionary& gps) {
  static const RE2 form(R"((\d{1,3}),(\d{1,2}(?:\.\d+)?)(?:,(\d{1,2}(?:\.\d+)?))?([NSEW]))");
  std::string whole;
  std::string minutes;
  std::string seconds;
  std::string reference;
  if (!RE2::FullMatch(text, form, &whole, &minutes, &seconds, &reference)) {
    return;
  }
  gps.insert_or_assign(key, xmpNumber(whole).value_or(0) + xmpNumber(minutes).value_or(0) / 60 +
                                xmpNumber(seconds).value_or(0) / 3600);
  gps.insert_or_assign(referenceKey, reference);
}

/// Both angles, where EXIF lacks one of them: references belong to their numbers.
void mapXmpPosition(const Exiv2::XmpData& data, PropertyDictionary& gps) {
  if (gps.contains("Latitude") && gps.contains("Longitude")) {
    return;
  }
  PropertyDictionary position;
  mapXmpAngle(xmpText(data, {"Xmp.exif.GPSLatitude"}), "Latitude", "LatitudeRef", position);
  mapXmpAngle(xmpText(data, {"Xmp.exif.GPSLongitude"}), "Longitude", "LongitudeRef", position);
  if (position.size() == 4) {
    position.merge(gps);
    gps = std::move(position);
  }
}

/// Cameras without a set clock write blanks or zeros.
bool hasDate(const PropertyDictionary& exif) {
  return std::any_of(exif.begin(), exif.end(), [](const auto& entry) {
    const auto* const text = std::get_if<std::string>(&entry.second);
    return entry.first.starts_with("DateTime") && text != nullptr && !text->starts_with("0000") &&
           text->find_first_of("0123456789") != std::string::npos;
  });
}

}  // namespace

void mapXmp(const Exiv2::XmpData& data, ImageProperties& properties) {
  if (!hasDate(properties.exif)) {
    properties.exif.erase("DateTimeOriginal");
    properties.exif.erase("DateTimeDigitized");
    putMissing(properties.exif, "DateTimeOriginal",
               exifDate(xmpText(data, {"Xmp.exif.DateTimeOriginal", "Xmp.photoshop.DateCreated"})));
    putMissing(properties.exif, "DateTimeDigitized",
               exifDate(xmpText(data, {"Xmp.exif.DateTimeDigitized", "Xmp.xmp.CreateDate"})));
  }
  putMissing(properties.exif, "LensModel", xmpText(data, {"Xmp.exifEX.LensModel"}));
  for (const char* tag : {"FNumber", "ApertureValue", "ExposureTime", "FocalLength"}) {
    putMissing(properties.exif, tag,
               xmpNumber(xmpText(data, {(std::string("Xmp.exif.") + tag).c_str()})));
  }
  const auto iso =
      xmpNumber(xmpText(data, {"Xmp.exif.ISOSpeedRatings", "Xmp.exifEX.PhotographicSensitivity"}));
  putMissing(properties.exif, "ISOSpeedRatings",
             iso ? std::optional(std::vector<double>{*iso}) : std::nullopt);
  for (const char* tag : {"Make", "Model"}) {
    putMissing(properties.tiff, tag, xmpText(data, {(std::string("Xmp.tiff.") + tag).c_str()}));
  }
  putMissing(properties.tiff, "Software", xmpText(data, {"Xmp.xmp.CreatorTool"}));
  mapXmpPosition(data, properties.gps);
  putMissing(properties.exifAux, "LensModel", xmpText(data, {"Xmp.aux.Lens"}));
}

}  // namespace vaultmere
