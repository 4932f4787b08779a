// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string>
#include <string_view>

#include "media/worker/ImageFormat.h"
#include "media/worker/ImageProperties.h"
#include "platform/Files.h"

// Exiv2 for the image files of this directory. What can't be read is left out;
// nothing is thrown.
namespace vaultmere {

/// Adds the values of a file's EXIF, and of XMP those that EXIF lacks; its size
/// where the container's header has that of the first image, and of a RAW file that
/// of the directory with the sensor's data.
void readEmbeddedMetadata(const File& file, const ImageFormat& format, ImageProperties& properties);

/// The largest JPEG inside a RAW file, wherever its directories have it; empty
/// when there is none.
[[nodiscard]] std::string largestPreview(const File& file, const ImageFormat& format);

/// Adds the values of a JPEG in memory.
void readMetadataOfJpeg(std::string_view jpeg, ImageProperties& properties);

/// The same for blocks that another reader has found. `exif` begins with "Exif"
/// and two zero bytes or with the TIFF header; each may be empty.
void readMetadataBlocks(std::string_view exif, std::string_view xmp, ImageProperties& properties);

}  // namespace vaultmere
