// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include "catalog/PhotoMetadata.h"
#include "media/MediaService.h"
#include "media/VideoProperties.h"

namespace vaultmere {

/// The few facts that are kept about a video: its size as it is shown, its
/// length and position, and a date. What the container doesn't tell, or can't
/// be read, is absent.
struct VideoMetadata : FileMetadata {
  std::optional<std::string> captureDate;  ///< see `localDateString`
  bool operator==(const VideoMetadata&) const = default;

  /// Reads a file. All fields are absent for one that is no video. Throws
  /// MediaError. Any thread but the main one.
  [[nodiscard]] static VideoMetadata read(MediaService& media, const MediaFile& file);

  /// The record of properties that have been read already. Of several positions
  /// only the first counts, even when it can't be understood; of several dates
  /// the first that can. A date without a zone is taken for the machine's own.
  [[nodiscard]] static VideoMetadata of(const VideoProperties& properties);
};

}  // namespace vaultmere
