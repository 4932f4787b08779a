// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <algorithm>

#include "platform/ThreadPool.h"

// How many threads of the pool the gallery takes at most, for each kind of work.
// Together they are fewer than the program's pool has on any machine (5 threads
// on one or two processors), so that visitors never stop the archive's work.
namespace vaultmere {

/// For what lies in the program's own folders: queries of the catalog, files
/// that aren't in memory.
inline constexpr int kQueriesAtOnce = 2;

/// For pieces of originals, which may lie on a drive that has to start first.
inline constexpr int kSlowReadsAtOnce = 1;

/// For finding and making pictures.
[[nodiscard]] inline int picturesAtOnce() {
  return static_cast<int>(std::clamp(activeProcessors() / 2, 1U, 4U));
}

}  // namespace vaultmere
