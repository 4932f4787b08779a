// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/ThumbnailWarmer.h"

#include <algorithm>
#include <atomic>
#include <exception>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

#include "catalog/ArchivedFiles.h"

namespace vaultmere {
namespace {

struct Page {
  std::vector<PhotoRef> items;
  ArchivedFilePosition end;
};

class WarmUp : public std::enable_shared_from_this<WarmUp> {
 public:
  WarmUp(ThumbnailWarmer warmer, std::shared_ptr<ThumbnailProvider> provider, std::stop_token stop,
         std::function<void()> done)
      : warmer_(std::move(warmer)),
        width_(std::max<std::size_t>(1, warmer_.maxConcurrent)),
        provider_(std::move(provider)),
        stop_(std::move(stop)),
        done_(std::move(done)),
        from_(provider_->warmUpMark().position()) {}

  /// Goes on to the next page on which something is missing.
  void nextPage() {
    warmer_.context->performAsync([self = shared_from_this()](Connection& connection) {
      Page page;
      try {
        page = self->fetchMissing(connection);
      } catch (const std::exception&) {
        self->isThrough_ = false;
      }
      if (page.items.empty()) {
        self->finish();
      } else {
        self->begin(std::move(page));
      }
    });
  }

 private:
  Page fetchMissing(Connection& connection) {
    if (!newest_) {
      newest_ = newestRow(connection);
    }
    for (ArchivedFilePosition end = page_.end; !stop_.stop_requested();) {
      ArchivedFilePage page =
          from_.row > 0 ? fetchFilesInsertedSince(connection, from_.row, end, warmer_.batchSize)
                        : fetchArchivedFiles(connection, end, warmer_.batchSize);
      if (page.files.empty()) {
        return {};
      }
      end = page.end;
      std::vector<PhotoRef> missing;
      for (ArchivedFile& file : page.files) {
        if (!provider_->isSettled(file.id)) {
          missing.push_back({std::move(file.id), bareExtension(file.ext),
                             std::move(file.archivePath), std::move(file.targetPath),
                             std::move(file.mediaType)});
        }
      }
      if (!missing.empty()) {
        return {std::move(missing), end};
      }
    }
    isThrough_ = false;
    return {};
  }

  void finish() {
    if (isThrough_) {
      provider_->warmUpMark().advance(from_, *newest_);
    }
    done_();
  }

  void begin(Page page) {
    {
      const std::lock_guard lock(mutex_);
      page_ = std::move(page);
      next_ = 0;
    }
    advance(0);
  }

  /// Starts as many as there is room for, once `finished` have ended; behind
  /// the last one goes on to the next page.
  void advance(std::size_t finished) {
    std::vector<PhotoRef> started;
    bool isOver = false;
    {
      const std::lock_guard lock(mutex_);
      running_ -= finished;
      while (running_ < width_ && next_ < page_.items.size() && !stop_.stop_requested()) {
        started.push_back(std::move(page_.items[next_]));
        ++next_;
        ++running_;
      }
      isOver = running_ == 0;
    }
    for (const PhotoRef& ref : started) {
      provider_->ensureThumb(
          ref,
          [self = shared_from_this()](RenditionState state) {
            if (state == RenditionState::unavailable) {
              self->isThrough_ = false;
            }
            self->advance(1);
          },
          Priority::background);
    }
    if (isOver) {
      nextPage();
    }
  }

  const ThumbnailWarmer warmer_;
  const std::size_t width_;
  const std::shared_ptr<ThumbnailProvider> provider_;
  const std::stop_token stop_;
  const std::function<void()> done_;
  const WarmUpMark::Position from_;
  std::optional<std::int64_t> newest_;  // the context's queue alone
  std::atomic<bool> isThrough_{true};   ///< nothing that another run could do was left out
  std::mutex mutex_;                    // guards the rest
  Page page_;
  std::size_t next_ = 0;     ///< of the page's items
  std::size_t running_ = 0;  ///< items under way
};

}  // namespace

void ThumbnailWarmer::run(std::shared_ptr<ThumbnailProvider> provider, std::stop_token stop,
                          std::function<void()> done) const {
  std::make_shared<WarmUp>(*this, std::move(provider), std::move(stop), std::move(done))
      ->nextPage();
}

}  // namespace vaultmere
