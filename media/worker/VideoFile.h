// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <memory>
#include <optional>

#include "media/Bitmap.h"
#include "media/VideoProperties.h"
#include "platform/Files.h"
#include "platform/Sanitizer.h"

// Video files: the metadata of their container, and single frames. Read are MP4, MOV
// and 3GP, AVI, MPEG program and transport streams, Matroska and WebM,
// recognised by their content. Nothing but the file itself is
// opened, and nothing is sent or fetched.
namespace vaultmere {

class VideoContainer;

/// No real file takes this long to be read, or to give a frame. Below the time
/// after which the process is killed.
inline constexpr std::chrono::seconds kMaxVideoTime{8 * kSanitizerSlowdown};

/// A video that is open: its container is read once for its properties and the first
/// frame. One thread at a time. Never fails.
class VideoFile {
 public:
  /// `file` must stay open.
  explicit VideoFile(const File& file);
  ~VideoFile();
  VideoFile(const VideoFile&) = delete;
  VideoFile& operator=(const VideoFile&) = delete;

  /// All is absent for a file that is no video; of a damaged one, what precedes the
  /// damage is read.
  [[nodiscard]] VideoProperties properties();

  /// The frame that is shown `seconds` after the start (of several the last), the
  /// first one when the pictures start later. It is upright, opaque, in sRGB with
  /// square pixels, and both its sides are at most `maxPixels`; small pictures keep
  /// their size.
  ///
  /// Absent at and behind the last frame's end, for sides that come to more than
  /// 16,384 × 16,384 pixels, and for a file that can't be decoded in the memory of
  /// `kMaxDecodeBytes` and in `kMaxVideoTime`.
  [[nodiscard]] std::optional<Bitmap> frame(double seconds, int maxPixels);

 private:
  [[nodiscard]] VideoContainer* container();

  const File& file_;
  std::optional<std::unique_ptr<VideoContainer>> container_;
};

}  // namespace vaultmere
