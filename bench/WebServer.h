// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bench/Commands.h"

namespace vaultmere::bench {

/// A server in a process of its own, bound to the first processor, as long as
/// this lives. It listens on this machine from the start. Throws
/// std::runtime_error where something goes wrong.
class WebServer {
 public:
  WebServer(std::vector<std::string> command, std::uint16_t port);

  /// The body of the answer. Any thread.
  [[nodiscard]] std::string get(const std::string& path) const;

  /// How long one answer takes while `clients` at once, in one thread bound to
  /// the last processor, ask for the paths of a file in turn, each path on a
  /// connection of its own. Takes two seconds.
  [[nodiscard]] double secondsAnAnswer(int clients, const std::filesystem::path& paths) const;

 private:
  const std::uint16_t port_;
  BackgroundProcess process_;
};

/// The gallery of a data folder. One thread waits for sockets, as in any such
/// server; queries take turns on a pool.
[[nodiscard]] std::unique_ptr<WebServer> startGallery(const std::filesystem::path& support);

/// nginx with one worker, which sends the files of a folder, one a connection.
/// Writes its configuration into the folder.
[[nodiscard]] std::unique_ptr<WebServer> startNginx(const std::filesystem::path& folder);

}  // namespace vaultmere::bench
