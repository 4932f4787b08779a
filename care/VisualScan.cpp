// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/VisualScan.h"

#include <fmt/format.h>

#include <algorithm>
#include <mutex>
#include <span>
#include <utility>

#include "catalog/CatalogError.h"
#include "catalog/VisualHashes.h"
#include "platform/Files.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

/// Cached thumbnails are no larger: they are hashed as they are, not scaled by a library.
constexpr int kMaxPixels = maxPixelsOf(Rendering::thumbnail);

void logFailure(const CatalogError& error) {
  logLine(fmt::format("Vaultmere: visual duplicates — {}", error.what()));
}

class Search : public std::enable_shared_from_this<Search> {
 public:
  Search(const VisualScan& scan, std::stop_token stop, VisualScan::Listener listener)
      : scan_(scan), stop_(std::move(stop)), listener_(std::move(listener)) {}

  void begin() {
    scan_.context->performAsync([self = shared_from_this()](Connection& connection) {
      self->fetch(connection);
      self->listener_.begun(self->unhashed_.size());
      self->nextBatch(connection);
    });
  }

 private:
  void fetch(Connection& connection) {
    try {
      const Interruptible interruptible(connection, stop_);
      pictures_ = fetchPictures(connection, scan_.filter);
    } catch (const CatalogError& error) {
      if (!stop_.stop_requested()) {
        logFailure(error);
      }
    }
    for (std::size_t i = 0; i < pictures_.size(); ++i) {
      if (!pictures_[i].hash) {
        unhashed_.push_back(i);
      }
    }
  }

  void nextBatch(Connection& connection) {
    const std::size_t end = std::min(next_ + VisualScan::kBatchSize, unhashed_.size());
    if (next_ == end || stop_.stop_requested()) {
      finish(connection);
      return;
    }
    const std::span batch(unhashed_.data() + next_, end - next_);
    next_ = end;
    std::vector<std::optional<Photo>> photos(batch.size());
    try {
      photos = fetchPhotosByKey(connection, keysOf(batch));
    } catch (const CatalogError& error) {
      logFailure(error);
    }
    waiting_ = batch.size();
    for (std::size_t i = 0; i < batch.size(); ++i) {
      if (photos[i]) {
        hash(batch[i], photoRefOf(*photos[i]));
      } else {
        record(batch[i], std::nullopt);
      }
    }
  }

  /// Makes the thumbnail if it is missing, and hashes it.
  void hash(std::size_t picture, const PhotoRef& ref) {
    scan_.thumbnails->ensureThumb(
        ref,
        [self = shared_from_this(), picture, id = ref.id](RenditionState state) {
          const auto file = self->scan_.thumbnails->thumbnailFile(id);
          if (state != RenditionState::made || !file) {
            self->record(picture, std::nullopt);
            return;
          }
          self->threads_->wait([self, picture, path = *file] {
            const auto hash = hashPicture(self->scan_.media, path);
            self->threads_->signal();
            self->record(picture, hash);
          });
        },
        Priority::background);
  }

  /// One picture of the batch is done; behind the last one goes on.
  void record(std::size_t picture, std::optional<std::uint64_t> hash) {
    {
      const std::lock_guard lock(mutex_);
      if (hash) {
        pictures_[picture].hash = hash;
        hashes_.push_back({pictures_[picture].key, *hash});
      }
      if (--waiting_ > 0) {
        return;
      }
    }
    scan_.context->performAsync([self = shared_from_this()](Connection& connection) {
      self->listener_.progressed(self->next_);
      self->nextBatch(connection);
    });
  }

  void finish(Connection& connection) {
    if (!hashes_.empty()) {
      try {
        storeHashes(connection, hashes_);
      } catch (const CatalogError& error) {
        logFailure(error);
      }
    }
    auto groups = group(connection);
    listener_.ended(stop_.stop_requested() ? std::nullopt : std::optional(std::move(groups)));
  }

  std::vector<VisualGroup> group(Connection& connection) {
    std::erase_if(pictures_, [](const PictureRow& picture) { return !picture.hash; });
    std::vector<HashedPicture> hashed;
    hashed.reserve(pictures_.size());
    for (const PictureRow& picture : pictures_) {
      hashed.push_back({*picture.hash, picture.width, picture.height});
    }
    std::vector<std::vector<DuplicateMember>> sets;
    for (const auto& copies : findCopies(hashed, stop_)) {
      auto members = membersOf(connection, keysOf(copies));
      if (members.size() > 1) {
        sets.push_back(std::move(members));
      }
    }
    return rankGroups(std::move(sets));
  }

  /// The rows as they are now, without those that have left since the search began.
  std::vector<DuplicateMember> membersOf(Connection& connection,
                                         const std::vector<std::int64_t>& keys) {
    std::vector<DuplicateMember> members;
    if (stop_.stop_requested()) {
      return members;
    }
    try {
      const auto photos = fetchPhotosByKey(connection, keys);
      for (std::size_t i = 0; i < keys.size(); ++i) {
        if (photos[i] && !photos[i]->trashedAt) {
          members.push_back(memberOf(keys[i], *photos[i]));
        }
      }
    } catch (const CatalogError& error) {
      logFailure(error);
      members.clear();
    }
    return members;
  }

  template <typename Numbers>
  [[nodiscard]] std::vector<std::int64_t> keysOf(const Numbers& pictures) const {
    std::vector<std::int64_t> keys;
    keys.reserve(pictures.size());
    for (const auto picture : pictures) {
      keys.push_back(pictures_[picture].key);
    }
    return keys;
  }

  const VisualScan scan_;
  const std::stop_token stop_;
  const VisualScan::Listener listener_;
  const std::shared_ptr<AsyncSemaphore> threads_ =
      std::make_shared<AsyncSemaphore>(scan_.pool, VisualScan::kHashThreads);
  // In the context's queue alone, between two batches.
  std::vector<std::size_t> unhashed_;  ///< numbers of pictures
  std::size_t next_ = 0;               ///< of those
  std::mutex mutex_;                   // guards the rest while a batch is under way
  std::vector<PictureRow> pictures_;
  std::vector<PictureHash> hashes_;  ///< the new ones
  std::size_t waiting_ = 0;          ///< pictures of the batch
};

}  // namespace

void VisualScan::run(std::stop_token stop, Listener listener) const {
  std::make_shared<Search>(*this, std::move(stop), std::move(listener))->begin();
}

std::optional<std::uint64_t> hashPicture(MediaService& media, const fs::path& file) {
  try {
    const MediaAnswer answer =
        media.read({File::openForReading(file)},
                   {.pictures = {{.maxPixels = kMaxPixels, .asHash = true}}}, Priority::background);
    const auto& picture = answer.pictures.front();
    return picture ? std::optional(picture->hash) : std::nullopt;
  } catch (const FileError&) {
    return std::nullopt;
  } catch (const MediaError&) {
    return std::nullopt;
  }
}

}  // namespace vaultmere
