// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vaultmere {

/// All that was learnt about one item, on its way from the analysis into the
/// catalog. Dates are strings, and nothing in it touches the store. Names that
/// aren't UTF-8 stand with U+FFFD.
struct AnalyzedPhoto {
  std::string id;                         ///< SHA-256 of the primary file, 64 hex digits
  std::optional<std::string> photosUUID;  ///< identifier in the photo library
  std::string mediaType;                  ///< "image", "video" or "live_photo"
  std::string originalFilename;
  std::string ext;  ///< "." and the lower-cased extension
  std::optional<std::string> mimeType;
  std::int64_t sizeBytes = 0;
  std::optional<std::string> captureDate;  ///< "2021-03-05T10:11:12", local wall clock
  std::string captureDateSource;
  std::string captureDateConfidence;
  std::optional<int> width;   ///< pixels
  std::optional<int> height;  ///< pixels
  std::optional<double> megapixels;
  std::optional<int> orientation;  ///< EXIF code
  std::optional<double> duration;  ///< seconds
  std::optional<std::string> avgHex;
  std::optional<int> avgR;
  std::optional<int> avgG;
  std::optional<int> avgB;
  std::optional<std::string> colorFamily;
  bool isBW = false;
  bool favorite = false;
  bool edited = false;
  std::optional<double> aestheticScore;
  std::optional<std::string> caption;
  std::optional<std::string> placeName;
  std::optional<std::string> placeCity;
  std::optional<std::string> placeState;
  std::optional<std::string> placeCountry;
  std::optional<std::string> placeAddress;
  std::optional<double> gpsLat;  ///< degrees, north positive
  std::optional<double> gpsLon;  ///< degrees, east positive
  std::optional<std::string> cameraMake;
  std::optional<std::string> cameraModel;
  std::optional<std::string> cameraLens;
  std::optional<int> iso;
  std::optional<double> aperture;
  std::optional<double> shutter;      ///< seconds
  std::optional<double> focalLength;  ///< millimetres
  std::optional<std::string> software;
  std::optional<std::string> liveMotionFile;  ///< `id` and ".mov"
  std::optional<std::string> liveMotionPath;  ///< absolute
  std::optional<std::int64_t> liveMotionSize;
  std::string targetPath;                  ///< relative to the archive's root
  std::optional<std::string> archivePath;  ///< absolute
  std::optional<std::string> storage;
  std::string processedAt;  ///< internet date-time form, UTC
  std::optional<std::string> warnings;
  std::vector<std::string> tags;
  std::vector<std::string> labels;             ///< best first
  std::map<std::string, bool> photoTypeFlags;  ///< "screenshot", "selfie", …

  bool operator==(const AnalyzedPhoto&) const = default;
};

}  // namespace vaultmere
