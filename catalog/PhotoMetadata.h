// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

// The attributes that keep their name, type and meaning from the reader of a
// file to its row. The records on that way derive from these structs, and a
// step hands them on with one assignment. A member here, a line in
// `PhotoSchema.cpp` and a schema step are all that a new attribute needs beside
// the code that reads it.
namespace vaultmere {

/// What a file tells about itself. What it doesn't tell is absent.
struct FileMetadata {
  std::optional<std::string> mimeType;
  std::optional<int> width;          ///< pixels: of a still before rotation, of a video as shown
  std::optional<int> height;         ///< pixels, likewise
  std::optional<double> megapixels;  ///< not rounded
  std::optional<int> orientation;    ///< EXIF code; 1 when a readable image gives none
  std::optional<double> duration;    ///< seconds
  std::optional<double> gpsLat;      ///< degrees, north positive
  std::optional<double> gpsLon;      ///< degrees, east positive
  std::optional<std::string> cameraMake;
  std::optional<std::string> cameraModel;
  std::optional<std::string> cameraLens;
  std::optional<int> iso;
  /// The f-number; of a file that only holds the APEX value, that value as it is.
  std::optional<double> aperture;
  std::optional<double> shutter;      ///< seconds
  std::optional<double> focalLength;  ///< millimetres, as stored
  std::optional<std::string> software;

  bool operator==(const FileMetadata&) const = default;
};

/// What is known about one item, as far as the analysis and the catalog write
/// it in the same form. Names that aren't UTF-8 stand with U+FFFD.
struct PhotoMetadata : FileMetadata {
  std::string id;                          ///< SHA-256 of the primary file, 64 hex digits; unique
  std::optional<std::string> photosUUID;   ///< identifier in the photo library, first one seen
  std::string mediaType = "image";         ///< "image", "video" or "live_photo"
  std::string originalFilename;            ///< as received
  std::string ext;                         ///< "." and the lower-cased extension
  std::int64_t sizeBytes = 0;              ///< of the primary file
  std::string targetPath;                  ///< relative to the archive's root
  std::optional<std::string> archivePath;  ///< absolute, at the time of the copy
  std::optional<std::string> storage;      ///< "archive" for a row of the pipeline
  std::optional<std::string> warnings;
  std::optional<std::string> captureDateSource;
  std::optional<std::string> captureDateConfidence;
  std::optional<std::string> avgHex;  ///< the mean colour, "#rrggbb"
  std::optional<int> avgR;            ///< 0 to 255
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
  std::optional<std::string> liveMotionFile;  ///< `id` and ".mov"
  std::optional<std::string> liveMotionPath;  ///< absolute, at the time of the copy
  std::optional<std::int64_t> liveMotionSize;

  [[nodiscard]] FileMetadata& file() { return *this; }
  bool operator==(const PhotoMetadata&) const = default;
};

}  // namespace vaultmere
