// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>

namespace vaultmere {

/// A client of the gallery on this machine that sends any bytes. Waiting for a
/// response throws after a minute.
class GalleryClient {
 public:
  /// `address` is one of this machine's IPv4 loopback addresses, to connect from.
  explicit GalleryClient(std::uint16_t port, int receiveBuffer = 0,
                         const char* address = "127.0.0.1")
      : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval timeout{60, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &timeout, sizeof timeout);
    ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
    if (receiveBuffer > 0) {
      ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    }
    const int on = 1;  // many clients may then use the same port for different servers
    ::setsockopt(socket_, IPPROTO_IP, IP_BIND_ADDRESS_NO_PORT, &on, sizeof on);
    const sockaddr_in own = endpoint(address, 0);
    const sockaddr_in server = endpoint("127.0.0.1", port);
    if (::bind(socket_, reinterpret_cast<const sockaddr*>(&own), sizeof own) != 0 ||
        ::connect(socket_, reinterpret_cast<const sockaddr*>(&server), sizeof server) != 0) {
      const int error = errno;
      close();
      throw std::system_error(error, std::generic_category(), "connect");
    }
  }
  ~GalleryClient() { close(); }
  GalleryClient(GalleryClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
  GalleryClient& operator=(GalleryClient&& other) noexcept {
    std::swap(socket_, other.socket_);
    return *this;
  }

  /// False when the server has closed.
  bool send(std::string_view bytes) {
    while (!bytes.empty()) {
      const ssize_t count = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (count < 0) {
        return false;
      }
      bytes.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
  }

  /// Half-closes: nothing more will be sent.
  void finishSending() { ::shutdown(socket_, SHUT_WR); }

  /// Up to `size` bytes; fewer at the end of the connection.
  std::string receive(std::size_t size) {
    std::string bytes;
    std::array<char, 65536> buffer{};
    while (bytes.size() < size) {
      const ssize_t count =
          ::recv(socket_, buffer.data(), std::min(buffer.size(), size - bytes.size()), 0);
      if (count < 0 && errno == EAGAIN) {
        throw std::runtime_error("the gallery doesn't answer");
      }
      if (count <= 0) {
        wasReset_ = count < 0;
        break;
      }
      bytes.append(buffer.data(), static_cast<std::size_t>(count));
    }
    return bytes;
  }

  /// All up to the end of the connection.
  std::string receiveAll() { return receive(std::string().max_size()); }

  /// The connection ended with an error instead of an end.
  [[nodiscard]] bool wasReset() const { return wasReset_; }

  /// Waits until the server closes; true when it sent nothing before.
  bool isDropped() { return receiveAll().empty(); }

  void close() {
    if (const int socket = std::exchange(socket_, -1); socket >= 0) {
      ::close(socket);
    }
  }

  /// Resets the connection, as when the process is killed with bytes unread.
  void reset() {
    const linger reset{1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &reset, sizeof reset);
    close();
  }

  /// Waits, without reading, until the server has reset the connection; false
  /// after a minute.
  bool waitUntilReset() {
    pollfd poll{socket_, 0, 0};
    return ::poll(&poll, 1, 60'000) == 1 && (poll.revents & POLLERR) != 0;
  }

 private:
  static sockaddr_in endpoint(const char* address, std::uint16_t port) {
    sockaddr_in endpoint{};
    endpoint.sin_family = AF_INET;
    endpoint.sin_port = htons(port);
    ::inet_pton(AF_INET, address, &endpoint.sin_addr);
    return endpoint;
  }

  int socket_ = -1;
  bool wasReset_ = false;
};

}  // namespace vaultmere
