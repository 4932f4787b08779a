// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/RequestHandler.h"

#include <functional>
#include <utility>

#include "gallery/http/Authentication.h"
#include "gallery/http/CachedPath.h"
#include "gallery/http/ConcurrencyLimits.h"
#include "gallery/http/HttpRequest.h"
#include "gallery/http/ResponseHead.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

/// Missing thumbnails that are being made, or wait for it. A client that asks
/// for more will ask again.
constexpr std::size_t kThumbnailsInWork = 1000;

/// Longer heads, of up to a million bytes, are read on the pool.
constexpr std::size_t kShortHead = 16384;

constexpr std::string_view kConfig = "window.VAULTMERE_CONFIG = { mapboxToken: \"\" };";
constexpr std::string_view kJson = "application/json";

HttpResponse shortAnswer(std::string bytes) { return {std::move(bytes), nullptr, nullptr, 0}; }

HttpResponse jsonAnswer(std::shared_ptr<const std::string> json) {
  std::string head = okHead(kJson, json->size());
  return {std::move(head), std::move(json), nullptr, 0};
}

HttpResponse fileAnswer(std::string head, std::shared_ptr<File> file, std::uint64_t size) {
  return {std::move(head), nullptr, std::move(file), size};
}

/// Null when that fails.
std::shared_ptr<File> openFile(const fs::path& path) {
  try {
    return std::make_shared<File>(File::openForReading(path));
  } catch (const FileError&) {
    return nullptr;
  }
}

/// 0 for null, and when it can't be told.
std::uint64_t sizeOf(const std::shared_ptr<File>& file) {
  try {
    return file == nullptr ? 0 : static_cast<std::uint64_t>(file->status().stamp.size);
  } catch (const FileError&) {
    return 0;
  }
}

constexpr std::string_view kEmptyObject = "{}";

/// The statistics; an empty object when something throws.
GalleryBackend::Statistics statsOf(GalleryBackend& content) {
  try {
    return content.stats();
  } catch (const std::exception&) {
    return {std::string(kEmptyObject), false};
  }
}

}  // namespace

RequestHandler::RequestHandler(std::shared_ptr<GalleryBackend> content, fs::path page,
                               ThreadPool& pool, const StatsCache::Clock& clock)
    : content_(std::move(content)),
      page_(std::move(page)),
      queries_(std::make_shared<AsyncSemaphore>(pool, kQueriesAtOnce)),
      pictures_(std::make_shared<AsyncSemaphore>(pool, picturesAtOnce())),
      thumbnails_(std::make_shared<AsyncSemaphore>(pool, picturesAtOnce())),
      stats_(std::make_shared<StatsCache>([content = content_] { return statsOf(*content); },
                                          [this](std::function<void()> task) {
                                            queries_->wait([self = shared_from_this(),
                                                            task = std::move(task)] {
                                              const Permit permit = permitOf(self->queries_);
                                              if (!self->isShutDown_) {
                                                task();
                                              }
                                            });
                                          },
                                          clock)) {}

void RequestHandler::setPassword(std::string password) {
  const std::lock_guard lock(mutex_);
  password_ = std::move(password);
}

RequestHandler::Permit RequestHandler::permitOf(const std::shared_ptr<AsyncSemaphore>& permits) {
  return {nullptr, [permits](void*) { permits->signal(); }};
}

template <typename Work>
void RequestHandler::later(const std::shared_ptr<AsyncSemaphore>& permits,
                           const PendingRequest& reply, Work work) {
  permits->wait([self = shared_from_this(), permits, reply, work = std::move(work)] {
    const Permit permit = permitOf(permits);
    const auto head = reply.head();
    if (head != nullptr && !self->isShutDown_) {
      work(*head, permit);
    }
  });
}

void RequestHandler::handle(const PendingRequest& reply) {
  const auto head = reply.head();
  if (head->size() <= kShortHead) {
    return respond(*head, reply);
  }
  later(queries_, reply,
        [self = shared_from_this(), reply](const std::string& text, const Permit&) {
          self->respond(text, reply);
        });
}

void RequestHandler::respond(const std::string& head, const PendingRequest& reply) {
  const auto request = parseRequest(head);
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
      return sendPicture(reply);
    case Kind::file:
      return sendPageFile(route, reply);
    case Kind::config:
      return reply(shortAnswer(okHead("application/javascript", kConfig.size()).append(kConfig)));
    case Kind::stats:
      return sendStats(reply);
    case Kind::photos:
      return sendQuery(reply, std::mem_fn(&GalleryBackend::photos));
    case Kind::colours:
      return sendQuery(reply, std::mem_fn(&GalleryBackend::colours));
    case Kind::geo:
      return sendQuery(reply, std::mem_fn(&GalleryBackend::geo));
    case Kind::nothing:
      return reply(shortAnswer(notFoundAnswer()));
  }
}

// MARK: Files

template <typename Then>
void RequestHandler::open(const fs::path& path, const PendingRequest& reply, Then then) {
  if (isPathInMemory(path)) {
    return then(openFile(path));
  }
  later(queries_, reply, [path, then = std::move(then)](const std::string&, const Permit&) {
    then(openFile(path));
  });
}

void RequestHandler::sendPageFile(const Route& route, const PendingRequest& reply) {
  open(page_ / route.file, reply, [type = route.type, reply](std::shared_ptr<File> file) {
    if (file == nullptr) {
      return reply(shortAnswer(notFoundAnswer()));
    }
    const std::uint64_t size = sizeOf(file);
    reply(fileAnswer(okHead(type, size), std::move(file), size));
  });
}

void RequestHandler::sendThumbnail(std::string_view id, const PendingRequest& reply) {
  const auto path = content_->thumbnailFile(id);
  if (!path) {
    return reply(shortAnswer(notFoundAnswer()));
  }
  const auto send = [self = shared_from_this(), id = std::string(id),
                     reply](std::shared_ptr<File> file) {
    // An empty file is what a power cut can leave of one that wasn't flushed.
    const std::uint64_t size = sizeOf(file);
    if (size > 0) {
      return reply(fileAnswer(pictureHead("image/jpeg", size), std::move(file), size));
    }
    reply(shortAnswer(notFoundAnswer()));
    self->makeThumbnail(id);
  };
  open(*path, reply, send);
}

// MARK: Pictures

void RequestHandler::makeThumbnail(const std::string& id) {
  {
    const std::lock_guard lock(mutex_);
    if (thumbnailsInWork_.size() >= kThumbnailsInWork || !thumbnailsInWork_.insert(id).second) {
      return;
    }
  }
  thumbnails_->wait([self = shared_from_this(), id] {
    const Permit place = permitOf(self->thumbnails_);
    self->pictures_->wait([self, id, place] {
      const Permit permit = permitOf(self->pictures_);
      if (self->isShutDown_) {
        return;
      }
      self->content_->makeThumbnail(id, [self, id, place, permit] {
        const std::lock_guard lock(self->mutex_);
        self->thumbnailsInWork_.erase(id);
      });
    });
  });
}

void RequestHandler::sendPicture(const PendingRequest& reply) {
  later(pictures_, reply,
        [self = shared_from_this(), reply](const std::string& head, const Permit& permit) {
          const auto request = parseRequest(head);
          self->content_->displayImage(
              std::string(routeOf(request->path).id),
              [reply, permit](const std::optional<GalleryBackend::Picture>& picture) {
                auto file = picture ? openFile(picture->path) : nullptr;
                if (file == nullptr) {
                  return reply(shortAnswer(notFoundAnswer()));
                }
                const std::uint64_t size = sizeOf(file);
                reply(fileAnswer(pictureHead(picture->mimeType, size), std::move(file), size));
              });
        });
}

// MARK: JSON

void RequestHandler::sendStats(const PendingRequest& reply) {
  stats_->get([reply](StatsCache::Bytes bytes) { reply(jsonAnswer(std::move(bytes))); });
}

template <typename Ask>
void RequestHandler::sendQuery(const PendingRequest& reply, Ask ask) {
  later(queries_, reply,
        [self = shared_from_this(), reply, ask](const std::string& head, const Permit&) {
          std::optional<std::string> json;
          try {
            json = ask(*self->content_, parseQuery(parseRequest(head)->query));
          } catch (const std::exception&) {
            json = std::string(kEmptyObject);
          }
          reply(json ? std::optional(
                           jsonAnswer(std::make_shared<const std::string>(*std::move(json))))
                     : std::nullopt);
        });
}

}  // namespace vaultmere
