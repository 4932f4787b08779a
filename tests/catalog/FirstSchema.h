// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vaultmere {

/// A store as version 1 of the schema made it.
inline constexpr const char* kFirstSchema = R"(
CREATE TABLE Photo (pk INTEGER PRIMARY KEY, id TEXT NOT NULL UNIQUE, photosUUID TEXT, aliasUUIDs
TEXT, mediaType TEXT NOT NULL DEFAULT 'image', originalFilename TEXT NOT NULL DEFAULT '', ext TEXT
NOT NULL DEFAULT '', mimeType TEXT, sizeBytes INTEGER NOT NULL DEFAULT 0, targetPath TEXT NOT NULL
DEFAULT '', archivePath TEXT, storage TEXT, processedAt REAL, warnings TEXT, trashedAt REAL,
stackedUnder TEXT, stackExempt INTEGER NOT NULL DEFAULT 0, phash INTEGER, captureDate REAL, year
INTEGER, captureDateSource TEXT, captureDateConfidence TEXT, width INTEGER, height INTEGER,
megapixels REAL, orientation INTEGER, duration REAL, avgHex TEXT, avgR INTEGER, avgG INTEGER, avgB
INTEGER, colorFamily TEXT, isBW INTEGER NOT NULL DEFAULT 0, favorite INTEGER NOT NULL DEFAULT 0,
edited INTEGER NOT NULL DEFAULT 0, aestheticScore REAL, caption TEXT, ptScreenshot INTEGER NOT
NULL DEFAULT 0, ptSelfie INTEGER NOT NULL DEFAULT 0, ptPortrait INTEGER NOT NULL DEFAULT 0,
ptPanorama INTEGER NOT NULL DEFAULT 0, ptSlowMo INTEGER NOT NULL DEFAULT 0, ptTimeLapse INTEGER
NOT NULL DEFAULT 0, ptHDR INTEGER NOT NULL DEFAULT 0, ptBurst INTEGER NOT NULL DEFAULT 0,
placeName TEXT, placeCity TEXT, placeState TEXT, placeCountry TEXT, placeAddress TEXT, gpsLat
REAL, gpsLon REAL, cameraMake TEXT, cameraModel TEXT, cameraLens TEXT, iso INTEGER, aperture REAL,
shutter REAL, focalLength REAL, software TEXT, liveMotionFile TEXT, liveMotionPath TEXT,
liveMotionSize INTEGER);
CREATE TABLE Tag (pk INTEGER PRIMARY KEY, name TEXT NOT NULL DEFAULT '' UNIQUE);
CREATE TABLE Label (pk INTEGER PRIMARY KEY, name TEXT NOT NULL DEFAULT '' UNIQUE);
CREATE TABLE Photo_tags (
  photo INTEGER NOT NULL REFERENCES Photo(pk) ON DELETE CASCADE,
  tag INTEGER NOT NULL REFERENCES Tag(pk) ON DELETE CASCADE, UNIQUE (photo, tag));
CREATE TABLE Photo_labels (
  photo INTEGER NOT NULL REFERENCES Photo(pk) ON DELETE CASCADE,
  label INTEGER NOT NULL REFERENCES Label(pk) ON DELETE CASCADE, UNIQUE (photo, label));
CREATE INDEX Photo_tags_byTag ON Photo_tags (tag, photo);
CREATE INDEX Photo_labels_byLabel ON Photo_labels (label, photo);
CREATE INDEX byCaptureDate ON Photo (captureDate);
CREATE INDEX byYear ON Photo (year);
CREATE INDEX byColorFamily ON Photo (colorFamily);
CREATE INDEX byMediaType ON Photo (mediaType);
CREATE INDEX byFavorite ON Photo (favorite);
CREATE INDEX byPhotosUUID ON Photo (photosUUID);
CREATE INDEX byTrashedAt ON Photo (trashedAt);
CREATE INDEX byStackedUnder ON Photo (stackedUnder);
PRAGMA user_version = 1;
)";

}  // namespace vaultmere
