// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/RequestHandler.h"

#include <fmt/format.h>

#include <utility>

#include "gallery/Authentication.h"
#include "gallery/HttpResponse.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

/// Threads of the pool that queries of the catalog, and the finding of
/// pictures, take at most, each.
constexpr int kQueriesAtOnce = 2;
constexpr int kPicturesAtOnce = 2;

/// Missing thumbnails that are being made, or wait for it. A client that asks
/// for more will ask again.
constexpr std::size_t kThumbnailsInWork = 1000;

/// Longer heads, which may hold a million parameters, are read on the pool.
constexpr std::size_t kShortHead = 16384;

constexpr std::string_view kConfig = "window.VAULTMERE_CONFIG = { mapboxToken: \"\" };";
constexpr std::string_view kJson = "application/json";

Answer shortAnswer(std::string bytes) { return {std::move(bytes), nullptr, nullptr, 0}; }

Answer jsonAnswer(std::shared_ptr<const std::string> json) {
  std::string head = okHead(kJson, json->size());
  return {std::move(head), std::move(json), nullptr, 0};
}

/// An answer with a file behind its head, or the 404 when it can't be opened.
template <typename Head>
Answer fileAnswer(const fs::path& path, std::string_view type, Head&& head) {
  try {
    auto file = std::make_shared<File>(File::openForReading(path));
    const auto size = static_cast<std::uint64_t>(file->status().stamp.size);
    return {head(type, size), nullptr, std::move(file), size};
  } catch (const FileError&) {
    return shortAnswer(notFoundAnswer());
  }
}

/// The query's JSON; an empty object when something throws.
template <typename Query>
auto guarded(Query&& query) -> decltype(query()) {
  try {
    return query();
  } catch (const std::exception& error) {
    nsLog(fmt::format("Vaultmere: gallery query failed — {}", error.what()));
    return std::string("{}");
  }
}

}  // namespace

RequestHandler::RequestHandler(std::shared_ptr<GalleryContent> content, fs::path page,
                               ThreadPool& pool, const StatsCache::Clock& clock)
    : content_(std::move(content)),
      page_(std::move(page)),
      pool_(pool),
      queries_(std::make_shared<AsyncSemaphore>(pool, kQueriesAtOnce)),
      pictures_(std::make_shared<AsyncSemaphore>(pool, kPicturesAtOnce)),
      stats_(std::make_shared<StatsCache>(
          [content = content_] { return guarded([&] { return content->stats(); }); },
          [queries = queries_](std::function<void()> task) {
            queries->wait([queries, task = std::move(task)] {
              task();
              queries->signal();
            });
          },
          clock)) {}

void RequestHandler::setPassword(std::string password) {
  const std::lock_guard lock(mutex_);
  password_ = std::move(password);
}

void RequestHandler::handle(std::string head, Reply reply) {
  if (head.size() <= kShortHead) {
    return respond(head, reply);
  }
  pool_.post([self = shared_from_this(), head = std::move(head), reply = std::move(reply)] {
    self->respond(head, reply);
  });
}

void RequestHandler::respond(const std::string& head, const Reply& reply) {
  auto request = parseRequest(head);
  if (!request) {
    return reply(std::nullopt);
  }
  std::unique_lock lock(mutex_);
  const std::string password = password_;
  lock.unlock();
  if (!isAuthorised(head, password)) {
    return reply(shortAnswer(unauthorisedAnswer()));
  }
  using Kind = Route::Kind;
  const Route route = routeOf(request->path);
  switch (route.kind) {
    case Kind::thumbnail:
      return sendThumbnail(route.id, reply);
    case Kind::display:
      return sendPicture(route.id, reply);
    case Kind::file:
      return sendPageFile(route, reply);
    case Kind::config:
      return reply(shortAnswer(okHead("application/javascript", kConfig.size()).append(kConfig)));
    case Kind::stats:
      return sendStats(reply);
    case Kind::photos:
      return sendQuery([query = std::move(request->query)](
                           GalleryContent& content) { return content.photos(query); },
                       reply);
    case Kind::colours:
      return sendQuery([query = std::move(request->query)](
                           GalleryContent& content) { return content.colours(query); },
                       reply);
    case Kind::geo:
      return sendQuery([query = std::move(request->query)](
                           GalleryContent& content) { return content.geo(query); },
                       reply);
    case Kind::nothing:
      return reply(shortAnswer(notFoundAnswer()));
  }
}

void RequestHandler::sendPageFile(const Route& route, const Reply& reply) {
  pool_.post([path = page_ / route.file, type = route.type, reply] {
    reply(fileAnswer(path, type, okHead));
  });
}

// MARK: Pictures

void RequestHandler::sendThumbnail(std::string_view id, const Reply& reply) {
  const auto path = content_->thumbnailFile(id);
  Answer answer =
      path ? fileAnswer(*path, "image/jpeg", pictureHead) : shortAnswer(notFoundAnswer());
  const bool isMissing = answer.file == nullptr;
  reply(std::move(answer));
  if (path && isMissing) {
    makeThumbnail(id);
  }
}

void RequestHandler::makeThumbnail(std::string_view id) {
  {
    const std::lock_guard lock(mutex_);
    if (thumbnailsInWork_.size() >= kThumbnailsInWork || !thumbnailsInWork_.emplace(id).second) {
      return;
    }
  }
  pictures_->wait([self = shared_from_this(), id = std::string(id)] {
    self->content_->makeThumbnail(id, [self, id] {
      const std::lock_guard lock(self->mutex_);
      self->thumbnailsInWork_.erase(id);
    });
    self->pictures_->signal();
  });
}

void RequestHandler::sendPicture(std::string_view id, const Reply& reply) {
  pictures_->wait([self = shared_from_this(), id = std::string(id), reply] {
    self->content_->displayImage(
        id, [self, reply](const std::optional<GalleryContent::Picture>& picture) {
          reply(picture ? fileAnswer(picture->path, picture->mimeType, pictureHead)
                        : shortAnswer(notFoundAnswer()));
          self->pictures_->signal();
        });
  });
}

// MARK: JSON

void RequestHandler::sendStats(const Reply& reply) {
  stats_->get([reply](StatsCache::Bytes bytes) { reply(jsonAnswer(std::move(bytes))); });
}

void RequestHandler::sendQuery(std::function<std::optional<std::string>(GalleryContent&)> query,
                               Reply reply) {
  queries_->wait([self = shared_from_this(), query = std::move(query), reply = std::move(reply)] {
    auto json = guarded([&]() -> std::optional<std::string> { return query(*self->content_); });
    self->queries_->signal();
    reply(json ? std::optional(jsonAnswer(std::make_shared<const std::string>(*std::move(json))))
               : std::nullopt);
  });
}

}  // namespace vaultmere
