// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <map>
#include <string>

#include "tests/support/Painter.h"

namespace vaultmere {

enum class ClipContainer { mp4, mov, mkv, webm, threeGp, avi, mpeg };

struct ClipOptions {
  ClipContainer container = ClipContainer::mp4;
  int width = 64;  ///< as stored, before any rotation; even
  int height = 48;
  double seconds = 1;
  int framesPerSecond = 10;  ///< 25 for MPEG, which has few to choose from
  /// What a player rotates the picture by, degrees clockwise: 0, 90, 180 or 270.
  /// MP4, MOV and 3GP only.
  int rotation = 0;
  /// The first frame; the later ones are it, moved to the left bit by bit.
  Painter painter = gradient({20, 60, 200}, {240, 200, 40});
  bool picture = true;  ///< false for a file with nothing but sound
  bool sound = false;   ///< a quiet tone (AAC; not for WebM)
  /// The container's own, by libavformat's names: {"creation_time",
  /// "2021-06-01T10:11:12Z"}, {"location", "+37.3317-122.0307/"},
  /// {"com.apple.quicktime.creationdate", "2021-06-01T12:11:12+0200"},
  /// {"com.apple.quicktime.location.ISO6709", "+37.3317-122.0307+012.123/"}.
  /// With a key of the latter kind all of them are written as keyed items.
  std::map<std::string, std::string> metadata{};
};

/// Makes or replaces a clip; the same options give the same bytes. Throws
/// std::runtime_error with the library's words.
void makeClip(const std::filesystem::path& path, const ClipOptions& options = {});

}  // namespace vaultmere
