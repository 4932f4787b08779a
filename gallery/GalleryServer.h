// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "gallery/GalleryBackend.h"
#include "gallery/http/ListeningSockets.h"
#include "gallery/http/PeerAddress.h"

namespace vaultmere {

/// Serves the archive to phones and other machines of the local network: an
/// HTTP/1.1 server that reads one request a connection, answers it and closes.
///
/// It has a thread that waits for sockets, and a few for what may have to wait
/// for the catalog or a disk. Called on one thread, that of its owner. When this
/// is destroyed, responses on their way are dropped, and queued work is never
/// begun.
class GalleryServer {
 public:
  struct Options {
    std::filesystem::path page{};      ///< the folder with the files of the web page
    std::vector<std::string> hosts{};  ///< names in `Host` that pass beside the usual ones
    std::size_t requestBytes = std::size_t{64} << 20;  ///< of all unfinished requests together
    /// Of all responses that clients have still to take, the system's buffers
    /// included.
    std::size_t responseBytes = std::size_t{512} << 20;
    /// Connections with the files that they send; 0: as many as the system
    /// grants, less 256 for the archive's own work.
    std::size_t descriptors = 0;
    /// A connection that takes nothing of its response for so long is ended.
    std::chrono::milliseconds stall{30'000};
    /// The first delay of responses to a client that guesses passwords.
    std::chrono::milliseconds guessDelay{1000};
    /// The networks of this machine, whose addresses are served beside private
    /// ones. Called on the server's thread.
    std::function<std::vector<Network>()> networks = &ownNetworks;
  };

  GalleryServer(std::shared_ptr<GalleryBackend> backend, const Options& options);
  /// Closes all connections. Waits for running work; at most two seconds for a
  /// drive that doesn't answer.
  ~GalleryServer();
  GalleryServer(const GalleryServer&) = delete;
  GalleryServer& operator=(const GalleryServer&) = delete;

  /// Listens on all addresses of the machine; when it was listening, at the
  /// new port instead of the old one. Open connections go on. Port 0 is one
  /// that the system chooses. An empty password admits everyone. Throws
  /// ServerError, and then doesn't listen.
  void start(int port, const std::string& password);

  /// Accepts no connection any more. Open ones go on to their ends.
  void stop();

  /// Holds for every request that is read from now on.
  void setPassword(const std::string& password);

  /// 0 when not listening.
  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }

 private:
  struct Parts;
  std::uint16_t port_ = 0;
  std::unique_ptr<Parts> parts_;
};

}  // namespace vaultmere
