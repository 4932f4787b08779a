// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace vaultmere {

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

}  // namespace vaultmere
