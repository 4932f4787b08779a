// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

namespace vaultmere {

/// One value of a property dictionary.
using PropertyValue = std::variant<std::string, double, std::vector<double>>;
using PropertyDictionary = std::map<std::string, PropertyValue, std::less<>>;

/// The embedded properties of a file's first image, as dictionaries with
/// EXIF's own tag names as keys.
///
/// Dates and GPS stamps are strings ("2021:06:01", "10:11:12.50"), rationals
/// are numbers, `ISOSpeedRatings` is a list of numbers, and the GPS latitude
/// and longitude are unsigned decimal degrees beside their reference letters.
struct ImageProperties {
  std::optional<std::string> mimeType;  ///< of the detected container
  std::optional<double> pixelWidth;     ///< as stored, before any rotation
  std::optional<double> pixelHeight;
  std::optional<double> orientation;  ///< EXIF code, 1 to 8
  PropertyDictionary exif;            ///< DateTimeOriginal, LensModel, FNumber, …
  PropertyDictionary tiff;            ///< Make, Model, Software
  PropertyDictionary gps;             ///< Latitude, LatitudeRef, DateStamp, …
  PropertyDictionary exifAux;         ///< LensModel
};

}  // namespace vaultmere
