// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/RequestHandler.h"

#include <fmt/format.h>

#include <functional>
#include <utility>

#include "gallery/http/CachedPath.h"
#include "gallery/http/HttpRequest.h"
#include "gallery/http/ResponseHead.h"
#include "thumbnails/ThumbnailProvider.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

/// Missing thumbnails that are being made, or queued for it. A client that asks
/// for more will ask again.
constexpr std::size_t kMaxThumbnailsInWork = 1000;

/// Longer texts are no photo's id.
constexpr std::size_t kMaxId = 255;

constexpr std::string_view kConfig = "window.VAULTMERE_CONFIG = { mapboxToken: \"\" };";
constexpr std::string_view kJson = "application/json";
constexpr std::string_view kJpeg = "image/jpeg";
constexpr std::string_view kEmptyObject = "{}";

HttpResponse shortResponse(std::string bytes) { return {.head = std::move(bytes)}; }

HttpResponse jsonResponse(std::shared_ptr<const std::string> json) {
  std::string head = okHead(kJson, json->size());
  return {.head = std::move(head), .body = std::move(json)};
}

HttpResponse fileResponse(std::string head, std::shared_ptr<File> file, std::uint64_t size) {
  return {.head = std::move(head), .file = std::move(file), .fileSize = size};
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

/// 404 for null and for an empty file, which no picture is: a power cut leaves
/// such ones of files that weren't flushed.
HttpResponse pictureResponse(std::string_view type, std::shared_ptr<File> file) {
  const std::uint64_t size = sizeOf(file);
  return size == 0 ? shortResponse(notFoundResponse())
                   : fileResponse(pictureHead(type, size), std::move(file), size);
}

}  // namespace

RequestHandler::RequestHandler(std::shared_ptr<GalleryBackend> backend, const WorkQueues& queues,
                               const Options& options)
    : backend_(std::move(backend)),
      options_(options),
      hosts_(options.hosts),
      catalogReads_(queues.catalog),
      localReads_(queues.local),
      archiveReads_(queues.archive),
      renditions_(queues.renditions),
      thumbnails_(queues.thumbnails),
      stats_(std::make_shared<StatsCache>(
          [this] {
            try {
              return backend_->stats();
            } catch (const std::exception& error) {
              failures_.write(fmt::format("statistics failed — {}", error.what()));
              return GalleryAPI::Statistics{std::string(kEmptyObject), false};
            }
          },
          [this](std::function<void()> task) {
            enqueue(catalogReads_, [task = std::move(task)](const Permit&) { task(); });
          },
          options.clock)),
      guesses_(options.guessDelay),
      password_(std::make_shared<const Password>("")) {}

void RequestHandler::setPassword(const std::string& password) {
  auto hashed = std::make_shared<const Password>(password);
  const std::lock_guard lock(mutex_);
  password_ = std::move(hashed);
}

template <typename Work>
void RequestHandler::enqueue(const Queue& queue, const PendingRequest& pending, Work work) {
  queue->submit(pending,
                [self = shared_from_this(), pending, work = std::move(work)](const Permit& permit) {
                  const auto request = pending.request();
                  if (request != nullptr && !self->isShutDown_) {
                    work(*request, permit);
                  }
                });
}

template <typename Work>
void RequestHandler::enqueue(const Queue& queue, Work work) {
  queue->submit([self = shared_from_this(), work = std::move(work)](const Permit& permit) {
    if (!self->isShutDown_) {
      work(permit);
    }
  });
}

// MARK: Admission

void RequestHandler::handle(const PendingRequest& pending) {
  if (isFromKnownHost(*pending.request())) {
    authenticate(pending);
  } else {
    pending.respond(shortResponse(notFoundResponse()));
  }
}

bool RequestHandler::isFromKnownHost(const HttpRequest& request) {
  if (!request.host || hosts_.allows(*request.host)) {
    return true;
  }
  constexpr std::size_t kMaxLogged = 100;
  refusedHosts_.write(
      fmt::format("refused a request for the host “{}”: add it to "
                  "setting.serverHosts if that is this machine's name",
                  request.host->substr(0, kMaxLogged)));
  return false;
}

void RequestHandler::authenticate(const PendingRequest& pending) {
  std::unique_lock lock(mutex_);
  const std::shared_ptr<const Password> password = password_;
  lock.unlock();
  const auto& offered = pending.request()->authorization;
  if (!password->isRequired()) {
    return respond(pending);
  }
  if (!offered) {
    return pending.respond(shortResponse(unauthorisedResponse()));
  }
  const PeerAddress& client = pending.client();
  const bool isRight = password->accepts(*offered);
  const auto delay = guesses_.record(client, isRight, options_.clock());
  if (!delay) {
    return pending.respond(std::nullopt);
  }
  const auto proceed = [self = shared_from_this(), pending, isRight] {
    if (!isRight) {
      pending.respond(shortResponse(unauthorisedResponse()));
    } else if (pending.state() != PendingRequest::State::disconnected) {
      self->respond(pending);
    }
  };
  if (delay->count() == 0) {
    return proceed();
  }
  guessedPasswords_.write(
      fmt::format("too many wrong passwords from {}; its requests are delayed", client.text()));
  options_.after(*delay, [self = shared_from_this(), client, proceed] {
    self->guesses_.responded(client);
    proceed();
  });
}

void RequestHandler::respond(const PendingRequest& pending) {
  using Kind = Route::Kind;
  const auto request = pending.request();
  const Route route = routeOf(request->path);
  switch (route.kind) {
    case Kind::thumbnail:
      return sendThumbnail(route.id, pending);
    case Kind::display:
      return sendDisplayImage(route.id, pending);
    case Kind::file:
      return sendPageFile(route, pending);
    case Kind::config:
      return pending.respond(
          shortResponse(okHead("application/javascript", kConfig.size()).append(kConfig)));
    case Kind::stats:
      return sendStats(pending);
    case Kind::photos:
      return sendQuery(pending, std::mem_fn(&GalleryBackend::photos));
    case Kind::colours:
      return sendQuery(pending, std::mem_fn(&GalleryBackend::colours));
    case Kind::geo:
      return sendQuery(pending, std::mem_fn(&GalleryBackend::geo));
    case Kind::nothing:
      return pending.respond(shortResponse(notFoundResponse()));
  }
}

// MARK: Files

template <typename Then>
void RequestHandler::open(const fs::path& path, const PendingRequest& pending, Then then) {
  if (isPathInMemory(path)) {
    return then(openFile(path));
  }
  enqueue(localReads_, pending, [path, then = std::move(then)](const HttpRequest&, const Permit&) {
    then(openFile(path));
  });
}

void RequestHandler::sendPageFile(const Route& route, const PendingRequest& pending) {
  open(options_.page / route.file, pending,
       [type = route.type, pending](std::shared_ptr<File> file) {
         if (file == nullptr) {
           return pending.respond(shortResponse(notFoundResponse()));
         }
         const std::uint64_t size = sizeOf(file);
         pending.respond(fileResponse(okHead(type, size), std::move(file), size));
       });
}

void RequestHandler::sendThumbnail(std::string_view id, const PendingRequest& pending) {
  const auto path = backend_->thumbnailFile(id);
  if (!path) {
    return pending.respond(shortResponse(notFoundResponse()));
  }
  open(*path, pending,
       [self = shared_from_this(), id = std::string(id), pending](std::shared_ptr<File> file) {
         HttpResponse response = pictureResponse(kJpeg, std::move(file));
         const bool isMissing = response.file == nullptr;
         pending.respond(std::move(response));
         if (isMissing) {
           self->makeThumbnail(id);
         }
       });
}

// MARK: Display images

void RequestHandler::sendDisplayImage(std::string_view id, const PendingRequest& pending) {
  if (id.size() > kMaxId) {
    return pending.respond(shortResponse(notFoundResponse()));
  }
  enqueue(catalogReads_, pending,
          [self = shared_from_this(), id = std::string(id), pending](const HttpRequest&,
                                                                     const Permit&) {
            const auto ref = self->backend_->photo(id);
            if (!ref) {
              return pending.respond(shortResponse(notFoundResponse()));
            }
            const bool showsOriginal = !browserMimeType(ref->ext).empty();
            const bool isOnline = self->backend_->isArchiveOnline();
            auto file = showsOriginal && isOnline ? nullptr : self->backend_->openRendition(*ref);
            if (sizeOf(file) > 0 || !isOnline) {
              return pending.respond(pictureResponse(kJpeg, std::move(file)));
            }
            self->sendOriginal(*ref, pending);
          });
}

void RequestHandler::sendOriginal(const PhotoRef& ref, const PendingRequest& pending) {
  enqueue(archiveReads_, pending,
          [self = shared_from_this(), ref, pending](const HttpRequest&, const Permit&) {
            const auto original = self->backend_->openOriginal(ref);
            const std::string_view type = browserMimeType(ref.ext);
            if (!original) {
              return self->sendRendition(ref, pending);
            }
            if (type.empty()) {
              return self->sendNewRendition(original->ref, pending);
            }
            HttpResponse response = pictureResponse(type, original->file);
            response.isArchived = true;
            pending.respond(std::move(response));
          });
}

void RequestHandler::sendNewRendition(const PhotoRef& ref, const PendingRequest& pending) {
  enqueue(renditions_, pending,
          [self = shared_from_this(), ref, pending](const HttpRequest&, const Permit& permit) {
            self->backend_->makeRendition(
                ref, [self, ref, pending, permit] { self->sendRendition(ref, pending); });
          });
}

void RequestHandler::sendRendition(const PhotoRef& ref, const PendingRequest& pending) {
  pending.respond(pictureResponse(kJpeg, backend_->openRendition(ref)));
}

// MARK: Missing thumbnails

/// A missing thumbnail, from its request until it has been made or can't be.
struct RequestHandler::ThumbnailWork {
  ThumbnailWork(std::shared_ptr<RequestHandler> theHandler, std::string theId)
      : handler(std::move(theHandler)), id(std::move(theId)) {}
  ~ThumbnailWork() {
    const std::lock_guard lock(handler->mutex_);
    handler->thumbnailsInWork_.erase(id);
  }
  ThumbnailWork(const ThumbnailWork&) = delete;
  ThumbnailWork& operator=(const ThumbnailWork&) = delete;

  const std::shared_ptr<RequestHandler> handler;
  const std::string id;
  Permit permit;
};

void RequestHandler::makeThumbnail(const std::string& id) {
  {
    const std::lock_guard lock(mutex_);
    if (!backend_->isArchiveOnline() || thumbnailsInWork_.size() >= kMaxThumbnailsInWork ||
        !thumbnailsInWork_.insert(id).second) {
      return;
    }
  }
  const auto work = std::make_shared<ThumbnailWork>(shared_from_this(), id);
  enqueue(thumbnails_, [this, work](const Permit& permit) {
    work->permit = permit;
    makeThumbnail(work);
  });
}

void RequestHandler::makeThumbnail(const std::shared_ptr<ThumbnailWork>& work) {
  const auto ref = backend_->photo(work->id);
  if (!ref) {
    return;
  }
  enqueue(archiveReads_, [this, work, ref = *ref](const Permit&) {
    const auto original = backend_->openOriginal(ref);
    if (!original) {
      return;
    }
    enqueue(renditions_, [this, work, found = original->ref](const Permit& permit) {
      backend_->makeThumbnail(found, [work, permit] {});
    });
  });
}

// MARK: JSON

void RequestHandler::sendStats(const PendingRequest& pending) {
  stats_->get(
      [pending](StatsCache::Bytes bytes) { pending.respond(jsonResponse(std::move(bytes))); });
}

template <typename Ask>
void RequestHandler::sendQuery(const PendingRequest& pending, Ask ask) {
  enqueue(catalogReads_, pending,
          [self = shared_from_this(), pending, ask](const HttpRequest& request, const Permit&) {
            std::optional<std::string> json;
            try {
              json = ask(*self->backend_, parseQuery(request.query));
            } catch (const std::exception& error) {
              self->failures_.write(fmt::format("a query failed — {}", error.what()));
              json = std::string(kEmptyObject);
            }
            pending.respond(json ? std::optional(jsonResponse(
                                       std::make_shared<const std::string>(*std::move(json))))
                                 : std::nullopt);
          });
}

}  // namespace vaultmere
