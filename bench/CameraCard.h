// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace vaultmere::bench {

struct CardPicture {
  std::filesystem::path file;
  std::string month;  ///< where the archive files it: "2023/2023-05"
};

/// Fills a folder with `count` JPEGs of 4000 × 3000 pixels and 3 to 5 MB, with
/// what a camera writes into them, taken over a year; no two have the same
/// bytes. Uses all processors for a while. Throws std::runtime_error.
[[nodiscard]] std::vector<CardPicture> makeCameraCard(const std::filesystem::path& folder,
                                                      int count);

}  // namespace vaultmere::bench
