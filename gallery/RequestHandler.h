// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>

#include "gallery/Answer.h"
#include "gallery/GalleryContent.h"
#include "gallery/Route.h"
#include "gallery/StatsCache.h"
#include "platform/AsyncSemaphore.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// Makes the answer to a request: asks for the password, finds the route, and
/// gets the content. Kept in a shared_ptr, which the work on its way shares.
class RequestHandler : public std::enable_shared_from_this<RequestHandler> {
 public:
  /// `page` is the folder with the files of the web page.
  RequestHandler(std::shared_ptr<GalleryContent> content, std::filesystem::path page,
                 ThreadPool& pool, const StatsCache::Clock& clock);

  /// From now on requests need this password; empty lets everybody in. Any
  /// thread.
  void setPassword(std::string password);

  /// Answers the request with this head, at once or from a pool thread. On the
  /// server's thread, which isn't held up.
  void handle(std::string head, Reply reply);

 private:
  void respond(const std::string& head, const Reply& reply);
  void sendPageFile(const Route& route, const Reply& reply);
  void sendThumbnail(std::string_view id, const Reply& reply);
  void makeThumbnail(std::string_view id);
  void sendPicture(std::string_view id, const Reply& reply);
  void sendStats(const Reply& reply);
  /// Runs a query of the content on the pool, and sends what it gives.
  void sendQuery(std::function<std::optional<std::string>(GalleryContent&)> query, Reply reply);

  const std::shared_ptr<GalleryContent> content_;
  const std::filesystem::path page_;
  ThreadPool& pool_;

  // The gallery never takes the whole pool: the archive's work goes on.
  const std::shared_ptr<AsyncSemaphore> queries_;
  const std::shared_ptr<AsyncSemaphore> pictures_;
  const std::shared_ptr<StatsCache> stats_;

  std::mutex mutex_;  // guards the rest
  std::string password_;
  std::unordered_set<std::string> thumbnailsInWork_;
};

}  // namespace vaultmere
