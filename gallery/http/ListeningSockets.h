// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

namespace vaultmere {

/// The gallery can't be started: what was tried, and the system's own words.
class ServerError : public std::runtime_error {
 public:
  enum class Kind {
    badPort,      ///< no number of a port
    unavailable,  ///< taken by another program, or not allowed
  };
  ServerError(Kind kind, const std::string& text) : std::runtime_error(text), kind_(kind) {}
  [[nodiscard]] Kind kind() const noexcept { return kind_; }

 private:
  Kind kind_;
};

/// Sockets that listen on one port, on all of the machine's addresses of both
/// families. Closes those that haven't been taken.
class ListeningSockets {
 public:
  /// Binds and listens. `port` 0 lets the system choose. A machine without one
  /// of the two families is served by the other one. Throws ServerError.
  explicit ListeningSockets(int port);
  ~ListeningSockets() { close(); }
  ListeningSockets(const ListeningSockets&) = delete;
  ListeningSockets& operator=(const ListeningSockets&) = delete;

  /// The port that it has become.
  [[nodiscard]] std::uint16_t port() const noexcept { return port_; }
  /// Hands the non-blocking descriptors over.
  [[nodiscard]] std::vector<int> take();

 private:
  /// Gives the errno of a failure, else 0.
  [[nodiscard]] int open(int family);
  void close();

  std::uint16_t port_ = 0;
  std::vector<int> sockets_;
};

}  // namespace vaultmere
