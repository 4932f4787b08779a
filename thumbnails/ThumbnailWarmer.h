// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <stop_token>

#include "catalog/CatalogContext.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// Fills the thumbnail cache in the background, the items first that were
/// archived last, those in the trash too. Opens an original only when its
/// thumbnail is missing and isn't known to be impossible. Holds one page of
/// items in memory, and no thread while it waits.
struct ThumbnailWarmer {
  std::shared_ptr<CatalogContext> context;  ///< of its own
  std::size_t maxConcurrent = static_cast<std::size_t>(kThumbnailSlots);
  std::size_t batchSize = 1000;  ///< items a page

  /// Goes through the catalog once, then calls `done` on a pool thread, exactly
  /// once. Behind a run of the same process that came to the end and found every
  /// original in reach, only newer rows are looked at.
  ///
  /// After a stop no more items are begun, and `done` comes when those under way
  /// have ended. A page that can't be fetched is the last one.
  void run(std::shared_ptr<ThumbnailProvider> provider, std::stop_token stop,
           std::function<void()> done) const;
};

}  // namespace vaultmere
