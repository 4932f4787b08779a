// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "catalog/CatalogDate.h"

namespace vaultmere {

/// One row of the catalog: one distinct file content in the archive. A plain
/// value, in the order of the store's attributes; a new row's defaults are
/// those of a new record.
struct Photo {
  std::string id;                         ///< SHA-256 of the primary file, 64 hex digits; unique
  std::optional<std::string> photosUUID;  ///< identifier in the photo library, first one seen
  std::vector<std::string> aliasUUIDs;    ///< other library identifiers of the same bytes
  std::string mediaType = "image";        ///< "image", "video" or "live_photo"
  std::string originalFilename;           ///< as received
  std::string ext;                        ///< "." and the lower-cased extension
  std::optional<std::string> mimeType;
  std::int64_t sizeBytes = 0;              ///< of the primary file
  std::string targetPath;                  ///< relative to the archive's root
  std::optional<std::string> archivePath;  ///< absolute, at the time of the copy
  std::optional<std::string> storage;      ///< "archive" for a row of the pipeline
  std::optional<CatalogDate> processedAt;  ///< when the analysis ran
  std::optional<std::string> warnings;
  std::optional<CatalogDate> trashedAt;     ///< set while the file lies in the trash
  std::optional<std::string> stackedUnder;  ///< `id` of the stack's top photo
  bool stackExempt = false;                 ///< split off by the user: never stacked by itself
  std::optional<std::int64_t> phash;        ///< perceptual hash
  std::optional<CatalogDate> captureDate;
  std::optional<int> year;  ///< of `captureDate`, in the local zone
  std::optional<std::string> captureDateSource;
  std::optional<std::string> captureDateConfidence;
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
  bool ptScreenshot = false;
  bool ptSelfie = false;
  bool ptPortrait = false;
  bool ptPanorama = false;
  bool ptSlowMo = false;
  bool ptTimeLapse = false;
  bool ptHDR = false;
  bool ptBurst = false;
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
  std::optional<std::string> liveMotionPath;  ///< absolute, at the time of the copy
  std::optional<std::int64_t> liveMotionSize;

  bool operator==(const Photo&) const = default;
};

}  // namespace vaultmere
