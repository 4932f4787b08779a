// SPDX-License-Identifier: GPL-3.0-or-later
#include "bench/WebServer.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <array>
#include <chrono>
#include <stdexcept>
#include <thread>
#include <utility>

#include "tests/support/FileTools.h"

namespace vaultmere::bench {
namespace fs = std::filesystem;

namespace {

constexpr std::chrono::seconds kTimeout{30};

sockaddr_in localAddress(std::uint16_t port) {
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_port = htons(port);
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  return address;
}

/// One connection, or none.
class Socket {
 public:
  Socket() : number_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {}
  ~Socket() { ::close(number_); }
  Socket(const Socket&) = delete;
  Socket& operator=(const Socket&) = delete;

  [[nodiscard]] bool connect(std::uint16_t port) const {
    const sockaddr_in address = localAddress(port);
    return ::connect(number_, reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
  }

  /// A port that nobody listens at just now; 0 when there is none.
  [[nodiscard]] std::uint16_t anyPort() const {
    sockaddr_in address = localAddress(0);
    socklen_t size = sizeof address;
    auto* const any = reinterpret_cast<sockaddr*>(&address);
    const bool isBound = ::bind(number_, any, size) == 0 && ::getsockname(number_, any, &size) == 0;
    return isBound ? ntohs(address.sin_port) : std::uint16_t{0};
  }

  /// Sends a short text and gives all that comes back.
  [[nodiscard]] std::string exchange(const std::string& text) const {
    std::string answer;
    std::array<char, 65536> buffer{};
    ssize_t count = ::send(number_, text.data(), text.size(), MSG_NOSIGNAL);
    while (count > 0) {
      count = ::recv(number_, buffer.data(), buffer.size(), 0);
      answer.append(buffer.data(), count > 0 ? static_cast<std::size_t>(count) : 0);
    }
    return answer;
  }

 private:
  const int number_;
};

std::uint16_t freePort() {
  if (const std::uint16_t port = Socket().anyPort(); port > 0) {
    return port;
  }
  throw std::runtime_error("there is no free port");
}

}  // namespace

WebServer::WebServer(std::vector<std::string> command, std::uint16_t port)
    : port_(port), process_(std::move(command), usableProcessors().front()) {
  const auto end = std::chrono::steady_clock::now() + kTimeout;
  while (!Socket().connect(port_)) {
    process_.checkRunning();
    if (std::chrono::steady_clock::now() > end) {
      throw std::runtime_error(fmt::format("nobody listens at port {}", port_));
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
}

std::string WebServer::get(const std::string& path) const {
  const Socket socket;
  const std::string answer =
      socket.connect(port_) ? socket.exchange(fmt::format("GET {} HTTP/1.1\r\n\r\n", path)) : "";
  const auto end = answer.find("\r\n\r\n");
  if (!answer.starts_with("HTTP/1.1 200 ") || end == std::string::npos) {
    throw std::runtime_error(fmt::format("no answer to {}: {}", path, answer.substr(0, end)));
  }
  return answer.substr(end + 4);
}

double WebServer::secondsAnAnswer(int clients, const fs::path& paths) const {
  const std::string output = outputOf(
      fmt::format("taskset -c {} wrk -t 1 -c {} -d 2 -s '{}' -H 'Connection: close' "
                  "http://127.0.0.1:{} -- '{}'",
                  usableProcessors().back(), clients, VAULTMERE_WRK_SCRIPT, port_, paths.string()));
  const std::string mark = "Requests/sec:";
  const auto found = output.find(mark);
  const bool isClean = output.find("Non-2xx") == std::string::npos &&
                       output.find("Socket errors") == std::string::npos;
  if (found == std::string::npos || !isClean) {
    throw std::runtime_error(fmt::format("wrk: {}", output));
  }
  return 1 / std::stod(output.substr(found + mark.size()));
}

std::unique_ptr<WebServer> startGallery(const fs::path& support) {
  const std::uint16_t port = freePort();
  const std::vector<std::string> command{VAULTMERE_SERVE_GALLERY, "--support", support.string(),
                                         "--port", std::to_string(port)};
  return std::make_unique<WebServer>(command, port);
}

std::unique_ptr<WebServer> startNginx(const fs::path& folder) {
  const std::uint16_t port = freePort();
  writeText(folder / "nginx.conf", fmt::format(R"(# One process: the worker.
daemon off;
master_process off;
pid nginx.pid;
events {{ worker_connections 1024; }}
http {{
  access_log off;
  keepalive_timeout 0;
  sendfile on;
  tcp_nopush on;
  default_type image/jpeg;
  client_body_temp_path unused;
  proxy_temp_path unused;
  fastcgi_temp_path unused;
  uwsgi_temp_path unused;
  scgi_temp_path unused;
  server {{ listen 127.0.0.1:{}; root '{}'; }}
}}
)",
                                               port, folder.string()));
  const std::vector<std::string> command{
      "nginx", "-e", "stderr", "-p", folder.string(), "-c", (folder / "nginx.conf").string()};
  return std::make_unique<WebServer>(command, port);
}

}  // namespace vaultmere::bench
