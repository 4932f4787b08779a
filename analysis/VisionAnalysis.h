// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/Bitmap.h"
#include "media/Vision.h"

namespace vaultmere {

/// The longest side, in pixels, of what the service gets to see.
inline constexpr int kVisionPixels = 1024;

struct VisionAnalysis {
  std::vector<std::string> labels;       ///< at most ten identifiers, best first
  std::optional<double> aestheticScore;  ///< on the service's own scale
  bool operator==(const VisionAnalysis&) const = default;
};

/// Asks the service what is in a picture and how good it looks. A null service
/// gives nothing, and so does a failing one, after a line in the log.
/// `orientation` is the EXIF code of the pixels, 1 when they are upright. Never
/// fails. Any thread.
[[nodiscard]] VisionAnalysis analyzeVision(const Vision* service, const Bitmap& image,
                                           int orientation);

}  // namespace vaultmere
