// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

#include "gallery/http/AdmissionQueue.h"
#include "platform/ThreadPool.h"

// How much of each kind of work the gallery does at once. All but the making of
// pictures runs on threads of the gallery's own.
namespace vaultmere {

/// Reads of the catalog. One client keeps two threads busy, and leaves one.
inline constexpr AdmissionQueue::Limits kCatalogReads{3, 2};

/// Reads of files in the program's own folders that aren't in memory.
inline constexpr AdmissionQueue::Limits kLocalReads{2, 1};

/// Reads of originals. Their drive may have to start first, or never answer.
inline constexpr AdmissionQueue::Limits kArchiveReads{2, 1};

/// Display images and thumbnails that are being made, on the program's pool.
[[nodiscard]] inline AdmissionQueue::Limits renditionLimits() {
  const int atOnce = static_cast<int>(std::clamp(activeProcessors() / 2, 1U, 4U));
  return {atOnce, std::max(1, atOnce - 1)};
}

}  // namespace vaultmere
