// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

#include "media/ImageFormat.h"
#include "media/ImageProperties.h"
#include "platform/Files.h"

// Exiv2 for the image files of this directory. What can't be read is left out;
// nothing is thrown.
namespace vaultmere {

/// Adds what a file's EXIF and XMP say, and its size where the container's
/// header tells that of the first image.
void readEmbeddedMetadata(const File& file, const ImageFormat& format, ImageProperties& properties);

/// The same for blocks that another reader has found. `exif` begins with "Exif"
/// and two zero bytes or with the TIFF header; each may be empty.
void readMetadataBlocks(std::string_view exif, std::string_view xmp, ImageProperties& properties);

}  // namespace vaultmere
