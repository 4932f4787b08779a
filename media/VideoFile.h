// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "media/Bitmap.h"

// Video files: the metadata of their container, and single frames. Read are MP4, MOV
// and 3GP, AVI, MPEG program and transport streams, Matroska and WebM,
// recognised by their content. Nothing but the file itself is
// opened, and nothing is sent or fetched. Any thread.
namespace vaultmere {

/// No real file takes this long to be read, or to give a frame.
inline constexpr std::chrono::seconds kMaxVideoTime{10};

/// A piece of metadata as the container holds it.
struct VideoText {
  std::string key;   ///< the container's name for it, such as "©xyz"
  std::string text;  ///< empty when it isn't readable as text
  bool operator==(const VideoText&) const = default;
};

/// How a picture track is to be shown: its size in square pixels and the rotation
/// that follows, which takes a point (x, y) to (a·x + c·y, b·x + d·y).
struct VideoTrack {
  double width = 0;   ///< before the rotation, above 0
  double height = 0;  ///< before the rotation, above 0
  double a = 1;
  double b = 0;
  double c = 0;
  double d = 1;
  bool operator==(const VideoTrack&) const = default;

  /// The EXIF code that is nearest to the rotation.
  [[nodiscard]] int orientation() const;
};

/// The metadata of a container; what it lacks or can't be read is absent.
struct VideoProperties {
  std::optional<double> duration;    ///< seconds; finite, else as the container has it
  std::optional<VideoTrack> track;   ///< the first with pictures; a cover isn't one
  std::vector<std::string> created;  ///< dates, the most trustworthy first
  std::vector<VideoText> locations;  ///< of the whole file, in its order
};

/// Reads a container. All is absent for a file that can't be opened or is no
/// video; of a damaged one, what precedes the damage is read. Never fails.
[[nodiscard]] VideoProperties readVideoProperties(const std::filesystem::path& path);

/// The frame that is shown `seconds` after the start (of several the last), the
/// first one when the pictures start later. It is upright, opaque, in sRGB with
/// square pixels, and both its sides are at most `maxPixels`; small pictures keep
/// their size.
///
/// Absent at and behind the last frame's end, for sides that come to more than
/// 16,384 × 16,384 pixels, and for a file that can't be decoded in the memory of
/// `kMaxDecodeBytes` and in `kMaxVideoTime`. Large decodes wait for one another.
[[nodiscard]] std::optional<Bitmap> videoFrame(const std::filesystem::path& path, double seconds,
                                               int maxPixels);

}  // namespace vaultmere
