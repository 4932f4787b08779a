// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>

#include "gallery/GalleryBackend.h"
#include "gallery/Route.h"
#include "gallery/StatsCache.h"
#include "gallery/http/HttpResponse.h"
#include "platform/AsyncSemaphore.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// Makes the answer to a request: asks for the password, finds the route, and
/// gets the content. Kept in a shared_ptr, which the work on its way shares.
class RequestHandler : public std::enable_shared_from_this<RequestHandler> {
 public:
  /// `page` is the folder with the files of the web page.
  RequestHandler(std::shared_ptr<GalleryBackend> content, std::filesystem::path page,
                 ThreadPool& pool, const StatsCache::Clock& clock);

  /// From now on requests need this password; empty lets everybody in. Any
  /// thread.
  void setPassword(std::string password);

  /// Answers the request, at once or from a pool thread. On the server's thread,
  /// which isn't held up.
  void handle(const PendingRequest& reply);

  /// Begins nothing more of what waits for its turn, answers included. Any
  /// thread.
  void shutDown() { isShutDown_ = true; }

 private:
  /// Given back when its last copy goes.
  using Permit = std::shared_ptr<void>;
  static Permit permitOf(const std::shared_ptr<AsyncSemaphore>& permits);
  /// Runs `work(head, permit)` on the pool once it is permitted, unless the
  /// client has left by then.
  template <typename Work>
  void later(const std::shared_ptr<AsyncSemaphore>& permits, const PendingRequest& reply,
             Work work);

  void respond(const std::string& head, const PendingRequest& reply);
  /// Opens a file for `then`, which gets null when that fails: at once, or on
  /// the pool when it takes a disk.
  template <typename Then>
  void open(const std::filesystem::path& path, const PendingRequest& reply, Then then);
  void sendPageFile(const Route& route, const PendingRequest& reply);
  void sendThumbnail(std::string_view id, const PendingRequest& reply);
  void makeThumbnail(const std::string& id);
  void sendPicture(const PendingRequest& reply);
  void sendStats(const PendingRequest& reply);
  /// Has the content answer the request's query: `ask(content, query)`.
  template <typename Ask>
  void sendQuery(const PendingRequest& reply, Ask ask);

  const std::shared_ptr<GalleryBackend> content_;
  const std::filesystem::path page_;

  const std::shared_ptr<AsyncSemaphore> queries_;
  const std::shared_ptr<AsyncSemaphore> pictures_;
  /// Thumbnails take one of these before they wait for one of `pictures_`, so
  /// that a thousand missing ones aren't ahead of a visitor's picture.
  const std::shared_ptr<AsyncSemaphore> thumbnails_;
  const std::shared_ptr<StatsCache> stats_;

  std::atomic<bool> isShutDown_ = false;
  std::mutex mutex_;  // guards the rest
  std::string password_;
  std::unordered_set<std::string> thumbnailsInWork_;
};

}  // namespace vaultmere
