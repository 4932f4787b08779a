// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_set>
#include <vector>

#include "gallery/GalleryBackend.h"
#include "gallery/Route.h"
#include "gallery/StatsCache.h"
#include "gallery/http/Authentication.h"
#include "gallery/http/HostFilter.h"
#include "gallery/http/HttpResponse.h"
#include "gallery/http/LimitedLog.h"
#include "gallery/http/PasswordGuesses.h"
#include "gallery/http/WorkQueues.h"

namespace vaultmere {

/// Makes the response to a request: checks host and password, finds the route,
/// and gets the content. Kept in a shared_ptr, which its tasks share.
class RequestHandler : public std::enable_shared_from_this<RequestHandler> {
 public:
  struct Options {
    std::filesystem::path page;                  ///< the folder with the files of the web page
    std::vector<std::string> hosts;              ///< more names for HostFilter
    std::chrono::milliseconds guessDelay{1000};  ///< the unit of PasswordGuesses
    StatsCache::Clock clock = &std::chrono::steady_clock::now;
    /// Runs a task on the server's thread, so much later.
    std::function<void(std::chrono::milliseconds, std::function<void()>)> after;
  };

  /// `queues` outlives the server's thread.
  RequestHandler(std::shared_ptr<GalleryBackend> backend, const WorkQueues& queues,
                 const Options& options);

  /// From now on requests need this password; empty admits everyone. Any
  /// thread.
  void setPassword(const std::string& password);

  /// Responds to the request, at once or from another thread. On the server's
  /// thread, which isn't held up.
  void handle(const PendingRequest& pending);

  /// No task that is still queued begins. Any thread.
  void shutDown() { isShutDown_ = true; }

 private:
  using Permit = AdmissionQueue::Permit;
  using Queue = std::shared_ptr<AdmissionQueue>;

  /// Runs `work(request, permit)` once the queue admits it, unless the client
  /// has disconnected by then.
  template <typename Work>
  void enqueue(const Queue& queue, const PendingRequest& pending, Work work);
  /// The same without a client: `work(permit)`.
  template <typename Work>
  void enqueue(const Queue& queue, Work work);

  [[nodiscard]] bool isFromKnownHost(const HttpRequest& request);
  void authenticate(const PendingRequest& pending);
  void respond(const PendingRequest& pending);

  /// Opens a file for `then`, which gets null when that fails: at once, or on
  /// a thread of the queue when a disk has to be read.
  template <typename Then>
  void open(const std::filesystem::path& path, const PendingRequest& pending, Then then);
  void sendPageFile(const Route& route, const PendingRequest& pending);
  void sendThumbnail(std::string_view id, const PendingRequest& pending);
  void sendDisplayImage(std::string_view id, const PendingRequest& pending);
  void sendOriginal(const PhotoRef& ref, const PendingRequest& pending);
  void sendNewRendition(const PhotoRef& ref, const PendingRequest& pending);
  /// The rendition that has been made; 404 when there is none.
  void sendRendition(const PhotoRef& ref, const PendingRequest& pending);

  struct ThumbnailWork;
  void makeThumbnail(const std::string& id);
  void makeThumbnail(const std::shared_ptr<ThumbnailWork>& work);

  void sendStats(const PendingRequest& pending);
  /// Has the backend answer the request's query: `ask(backend, query)`.
  template <typename Ask>
  void sendQuery(const PendingRequest& pending, Ask ask);

  const std::shared_ptr<GalleryBackend> backend_;
  const Options options_;
  const HostFilter hosts_;
  const Queue catalogReads_;
  const Queue localReads_;
  const Queue archiveReads_;
  const Queue renditions_;
  const Queue thumbnails_;
  const std::shared_ptr<StatsCache> stats_;
  LimitedLog refusedHosts_;
  LimitedLog guessedPasswords_;
  LimitedLog failures_;

  PasswordGuesses guesses_;  // on the server's thread

  std::atomic<bool> isShutDown_ = false;
  std::mutex mutex_;  // guards the rest
  std::shared_ptr<const Password> password_;
  std::unordered_set<std::string> thumbnailsInWork_;
};

}  // namespace vaultmere
