// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "media/ImageProperties.h"
#include "media/worker/ImageFormat.h"
#include "platform/Files.h"

// Exiv2 for the image files of this directory. What can't be read is left out;
// nothing is thrown.
namespace vaultmere {

/// What a file holds, read once.
class EmbeddedMetadata {
 public:
  /// `file` must stay open.
  EmbeddedMetadata(const File& file, const ImageFormat& format);
  ~EmbeddedMetadata();

  /// Adds the values of the file's EXIF, and of XMP those that EXIF lacks; its size
  /// where the container's header has that of the first image, and of a RAW file
  /// that of the directory with the sensor's data.
  void addTo(ImageProperties& properties) const;

  /// The largest JPEG inside a RAW file, wherever its directories have it; empty
  /// when there is none.
  [[nodiscard]] std::string largestPreview() const;

 private:
  struct Opened;
  ImageContainer container_;
  std::unique_ptr<Opened> opened_;  ///< null for what the library doesn't read
};

/// Adds the values of a JPEG in memory.
void readMetadataOfJpeg(std::string_view jpeg, ImageProperties& properties);

/// The same for blocks that another reader has found. `exif` begins with "Exif"
/// and two zero bytes or with the TIFF header; each may be empty.
void readMetadataBlocks(std::string_view exif, std::string_view xmp, ImageProperties& properties);

}  // namespace vaultmere
