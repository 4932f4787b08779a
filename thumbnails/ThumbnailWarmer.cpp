// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/ThumbnailWarmer.h"

#include <fmt/format.h>

#include <algorithm>
#include <atomic>
#include <exception>
#include <limits>
#include <mutex>
#include <optional>
#include <utility>
#include <vector>

namespace vaultmere {
namespace {

/// The last row of a page, as the order of pages sees it.
struct Place {
  std::optional<double> processedAt;  ///< the rows without one come last
  std::int64_t row = std::numeric_limits<std::int64_t>::max();
};
constexpr Place kBeforeAll{std::numeric_limits<double>::infinity()};
constexpr Place kBeforeUndated{};

struct Page {
  std::vector<PhotoRef> items;
  Place end = kBeforeAll;
};

std::optional<std::string> optionalText(const Statement& row, int column) {
  return row.isNull(column) ? std::nullopt : std::optional(row.text(column));
}

Page readPage(Statement rows) {
  Page page;
  while (rows.step()) {
    page.items.push_back({rows.text(0), bareExtension(rows.text(1)), optionalText(rows, 2),
                          optionalText(rows, 3), optionalText(rows, 4)});
    page.end.processedAt = rows.isNull(5) ? std::nullopt : std::optional(rows.real(5));
    page.end.row = rows.integer(6);
  }
  return page;
}

/// Pages go on from a place and not from an offset: each costs its own rows in
/// the index `allByAdded` however far it lies back, and rows that come or go
/// meanwhile shift nothing.
Page fetchPage(Connection& connection, const Place& after, std::size_t batchSize) {
  auto rows = connection.prepare(fmt::format(
      "SELECT id, ext, archivePath, targetPath, mediaType, processedAt, pk "
      "FROM Photo INDEXED BY allByAdded WHERE {} "
      "ORDER BY processedAt DESC, pk DESC LIMIT ?3",
      after.processedAt ? "(processedAt, pk) < (?1, ?2)" : "processedAt IS NULL AND pk < ?2"));
  if (after.processedAt) {
    rows.bind(1, *after.processedAt);
  }
  rows.bind(2, after.row).bind(3, static_cast<std::int64_t>(batchSize));
  Page page = readPage(std::move(rows));
  return page.items.empty() && after.processedAt ? fetchPage(connection, kBeforeUndated, batchSize)
                                                 : page;
}

/// The rows behind `after`, from the newest: their range in the table itself.
Page fetchNewer(Connection& connection, std::int64_t after, const Place& before,
                std::size_t batchSize) {
  auto rows = connection.prepare(
      "SELECT id, ext, archivePath, targetPath, mediaType, processedAt, pk "
      "FROM Photo WHERE pk > ?1 AND pk < ?2 ORDER BY pk DESC LIMIT ?3");
  rows.bind(1, after).bind(2, before.row).bind(3, static_cast<std::int64_t>(batchSize));
  return readPage(std::move(rows));
}

std::int64_t newestRow(Connection& connection) {
  auto row = connection.prepare("SELECT ifnull(max(pk), 0) FROM Photo");
  return row.step() ? row.integer(0) : 0;
}

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
    for (Place end = page_.end; !stop_.stop_requested();) {
      Page page = from_.row > 0 ? fetchNewer(connection, from_.row, end, warmer_.batchSize)
                                : fetchPage(connection, end, warmer_.batchSize);
      if (page.items.empty()) {
        return page;
      }
      std::erase_if(page.items,
                    [this](const PhotoRef& ref) { return provider_->isSettled(ref.id); });
      if (!page.items.empty()) {
        return page;
      }
      end = page.end;
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
