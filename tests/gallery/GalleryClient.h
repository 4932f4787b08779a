// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
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

/// A client of the gallery on this machine, as a test wants it: it sends and
/// waits for whatever it likes. A wait that is in vain ends after a minute,
/// with an exception.
class GalleryClient {
 public:
  explicit GalleryClient(std::uint16_t port, int receiveBuffer = 0)
      : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    const timeval patience{60, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_RCVTIMEO, &patience, sizeof patience);
    ::setsockopt(socket_, SOL_SOCKET, SO_SNDTIMEO, &patience, sizeof patience);
    if (receiveBuffer > 0) {
      ::setsockopt(socket_, SOL_SOCKET, SO_RCVBUF, &receiveBuffer, sizeof receiveBuffer);
    }
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(port);
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      const int error = errno;
      leave();
      throw std::system_error(error, std::generic_category(), "connect");
    }
  }
  ~GalleryClient() { leave(); }
  GalleryClient(GalleryClient&& other) noexcept : socket_(std::exchange(other.socket_, -1)) {}
  GalleryClient& operator=(GalleryClient&& other) noexcept {
    std::swap(socket_, other.socket_);
    return *this;
  }

  /// False when the server has gone.
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

  /// Says that nothing more will be sent.
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

  void leave() {
    if (const int socket = std::exchange(socket_, -1); socket >= 0) {
      ::close(socket);
    }
  }

  /// Goes without a farewell, as when the process is killed with bytes unread.
  void vanish() {
    const linger abruptly{1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &abruptly, sizeof abruptly);
    leave();
  }

 private:
  int socket_ = -1;
  bool wasReset_ = false;
};

}  // namespace vaultmere
