// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "media/Bitmap.h"

namespace vaultmere {

struct Classification {
  std::string identifier;
  float confidence = 0;  ///< 0 to 1
};

struct VisionObservations {
  std::vector<Classification> classifications;
  std::vector<float> overallScores;
};

/// A service that looks at pictures. Any thread may call it.
class Vision {
 public:
  virtual ~Vision() = default;
  /// Runs the classification and the aesthetics request together. `orientation`
  /// is the EXIF code of the pixels; 1 when they are upright. Throws a
  /// std::exception when the service fails.
  [[nodiscard]] virtual VisionObservations perform(const Bitmap& image, int orientation) const = 0;
};

}  // namespace vaultmere
