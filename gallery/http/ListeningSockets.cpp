// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/http/ListeningSockets.h"

#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>
#include <utility>

namespace vaultmere {
namespace {

constexpr int kMaxPort = 65535;

/// An address of either family, as the system's calls want it.
struct Address {
  sockaddr_storage storage{};
  socklen_t size = sizeof(sockaddr_storage);

  [[nodiscard]] sockaddr* get() { return reinterpret_cast<sockaddr*>(&storage); }
  [[nodiscard]] std::uint16_t port() const {
    sockaddr_in internet{};  // the port is at the same place in both families
    std::memcpy(&internet, &storage, sizeof internet);
    return ntohs(internet.sin_port);
  }
};

Address anyAddress(int family, std::uint16_t port) {
  Address address;
  if (family == AF_INET6) {
    sockaddr_in6 internet{};
    internet.sin6_family = AF_INET6;
    internet.sin6_port = htons(port);
    internet.sin6_addr = in6addr_any;
    address.size = sizeof internet;
    std::memcpy(&address.storage, &internet, sizeof internet);
  } else {
    sockaddr_in internet{};
    internet.sin_family = AF_INET;
    internet.sin_port = htons(port);
    internet.sin_addr.s_addr = htonl(INADDR_ANY);
    address.size = sizeof internet;
    std::memcpy(&address.storage, &internet, sizeof internet);
  }
  return address;
}

/// Bytes that the system buffers of a response; it takes twice that of memory.
/// Without a limit a client that reads nothing gets megabytes.
constexpr int kSendBuffer = 128 * 1024;

/// A client that acknowledges nothing for so long has vanished.
constexpr int kUserTimeout = 30'000;  // milliseconds

/// How long an idle connection goes unchecked.
constexpr int kKeepAlive = 60;  // seconds

bool set(int socket, int level, int option, int value) {
  return ::setsockopt(socket, level, option, &value, sizeof value) == 0;
}

bool switchOn(int socket, int level, int option) { return set(socket, level, option, 1); }

/// What accepted sockets take over from the listening one.
bool setConnectionOptions(int socket) {
  return switchOn(socket, SOL_SOCKET, SO_KEEPALIVE) &&
         set(socket, IPPROTO_TCP, TCP_KEEPIDLE, kKeepAlive) &&
         set(socket, SOL_SOCKET, SO_SNDBUF, kSendBuffer) &&
         set(socket, IPPROTO_TCP, TCP_USER_TIMEOUT, kUserTimeout);
}

/// Makes the socket listen; gives the errno of what failed, else 0.
int listenOn(int socket, int family, std::uint16_t port) {
  Address address = anyAddress(family, port);
  // Each family has a socket of its own.
  const bool isReady = switchOn(socket, SOL_SOCKET, SO_REUSEADDR) && setConnectionOptions(socket) &&
                       (family != AF_INET6 || switchOn(socket, IPPROTO_IPV6, IPV6_V6ONLY)) &&
                       ::bind(socket, address.get(), address.size) == 0 &&
                       ::listen(socket, SOMAXCONN) == 0;
  return isReady ? 0 : errno;
}

bool isMissingFamily(int code) { return code == EAFNOSUPPORT || code == EADDRNOTAVAIL; }

std::uint16_t portOf(int socket) {
  Address address;
  return ::getsockname(socket, address.get(), &address.size) == 0 ? address.port()
                                                                  : std::uint16_t{0};
}

}  // namespace

ListeningSockets::ListeningSockets(int port) {
  if (port < 0 || port > kMaxPort) {
    throw ServerError(ServerError::Kind::badPort, fmt::format("{} is not a port", port));
  }
  port_ = static_cast<std::uint16_t>(port);
  int error = open(AF_INET);
  if (error == 0 || isMissingFamily(error)) {
    const int second = open(AF_INET6);
    error = isMissingFamily(second) ? error : second;
  }
  if (error != 0) {
    close();
    throw ServerError(ServerError::Kind::unavailable,
                      fmt::format("port {}: {}", port, std::generic_category().message(error)));
  }
}

int ListeningSockets::open(int family) {
  const int socket = ::socket(family, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
  if (socket < 0) {
    return errno;
  }
  sockets_.push_back(socket);
  const int error = listenOn(socket, family, port_);
  if (error == 0) {
    port_ = portOf(socket);
  } else {
    ::close(socket);
    sockets_.pop_back();
  }
  return error;
}

void ListeningSockets::close() {
  for (const int socket : sockets_) {
    ::close(socket);
  }
  sockets_.clear();
}

std::vector<int> ListeningSockets::take() { return std::exchange(sockets_, {}); }

}  // namespace vaultmere
