// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "analysis/PixelStats.h"

namespace vaultmere {

/// A painted landscape: a thumbnail, and for some the picture or clip that it is of.
struct Scene {
  std::filesystem::path thumbnail;  ///< a JPEG, 400 pixels on its longer side
  std::optional<std::filesystem::path> original;
  std::optional<std::filesystem::path> clip;
  PixelStats::Result colour;
  int width = 0;  ///< of the picture, as a camera would have stored it
  int height = 0;
};

/// Paints `count` scenes into a folder, the same ones each time: all hues, light
/// and dark, upright and lying ones, some black and white. Each `kOriginalEvery`th
/// has an original, each `kClipEvery`th a clip.
[[nodiscard]] std::vector<Scene> paintScenes(const std::filesystem::path& folder, int count);

inline constexpr int kOriginalEvery = 12;
inline constexpr int kClipEvery = 48;

}  // namespace vaultmere
