// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>
#include <functional>
#include <memory>
#include <optional>
#include <stop_token>
#include <vector>

#include "care/VisualGrouping.h"
#include "catalog/CatalogContext.h"
#include "catalog/PhotoFilter.h"
#include "media/MediaService.h"
#include "platform/AsyncSemaphore.h"
#include "platform/ThreadPool.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {

/// One search of the catalog for copies of pictures: hashes what isn't hashed yet, from
/// the cached thumbnails, and groups all.
///
/// Hashing works on 32 pictures at a time, with the priority of background work. It waits
/// for thumbnails without a thread, and for a media process with `kHashThreads` at most.
/// Hashes are stored once, when hashing ends, also because of a stop; the next search goes
/// on from there. No failure of one picture ends a search.
struct VisualScan {
  static constexpr std::size_t kBatchSize = 32;
  static constexpr int kHashThreads = 2;

  std::shared_ptr<CatalogContext> context;  ///< of its own
  std::shared_ptr<ThumbnailProvider> thumbnails;
  MediaService& media;  ///< outlives the search
  ThreadPool& pool;     ///< reads the cached thumbnails; outlives the search
  PhotoFilter filter;

  /// Called on pool threads, one at a time.
  struct Listener {
    /// How many pictures are to be hashed.
    std::function<void(std::size_t count)> begun;
    /// How many of them have been gone through, with or without a hash.
    std::function<void(std::size_t count)> progressed;
    /// The last call, exactly once: the groups, or nothing when the search was stopped.
    std::function<void(std::optional<std::vector<VisualGroup>>)> ended;
  };

  /// Begins the search and returns.
  void run(std::stop_token stop, Listener listener) const;
};

/// The hash of a picture in a file; absent when it can't be decoded now. Waits for a media
/// process.
[[nodiscard]] std::optional<std::uint64_t> hashPicture(MediaService& media,
                                                       const std::filesystem::path& file);

}  // namespace vaultmere
