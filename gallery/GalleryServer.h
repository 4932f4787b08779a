// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>

#include "gallery/GalleryBackend.h"
#include "gallery/http/ListeningSockets.h"
#include "platform/ThreadPool.h"

namespace vaultmere {

/// Lets phones and other machines of the local network browse the archive: an
/// HTTP/1.1 server that reads one request a connection, answers it and closes.
///
/// Clients cost a thread of its own, which waits for sockets, and tasks on the
/// pool, which outlives this. Called on one thread, that of its owner. When
/// this is destroyed, work that is being done for clients ends unheard, and
/// work that waits is never begun.
class GalleryServer {
 public:
  struct Options {
    std::filesystem::path page;                     ///< the folder with the files of the web page
    std::size_t headBytes = std::size_t{64} << 20;  ///< of all unfinished requests together
    std::size_t answerBytes = std::size_t{512} << 20;  ///< of all answers that wait to be taken
    /// Connections with the files that they send; 0: as many as the system
    /// grants, less 256 for the archive's own work.
    std::size_t descriptors = 0;
  };

  GalleryServer(std::shared_ptr<GalleryBackend> content, ThreadPool& pool, const Options& options);
  /// Closes all connections.
  ~GalleryServer();
  GalleryServer(const GalleryServer&) = delete;
  GalleryServer& operator=(const GalleryServer&) = delete;

  /// Listens on all addresses of the machine; when it was listening, at the
  /// new port instead of the old one. Open connections go on. Port 0 is one
  /// that the system chooses. An empty password lets everybody in. Throws
  /// ServerError, and then doesn't listen.
  void start(int port, std::string password);

  /// Lets nobody in any more. Open connections go on to their ends.
  void stop();

  /// Holds for every request that is read from now on.
  void setPassword(std::string password);

  /// 0 when not listening.
  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

 private:
  struct Parts;
  std::uint16_t port_ = 0;
  std::unique_ptr<Parts> parts_;
};

}  // namespace vaultmere
