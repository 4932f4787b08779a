// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <sigc++/connection.h>

#include <utility>

namespace vaultmere {

/// A connection to a signal that ends with its owner: keep it as a member of the
/// object that the connected function belongs to. The signal may go first.
class ScopedConnection {
 public:
  ScopedConnection() = default;
  ScopedConnection(const sigc::connection& connection)  // NOLINT(google-explicit-constructor)
      : connection_(connection) {}
  ScopedConnection(ScopedConnection&& other) noexcept
      : connection_(std::exchange(other.connection_, {})) {}
  ScopedConnection& operator=(ScopedConnection&& other) noexcept {
    if (this != &other) {
      connection_.disconnect();
      connection_ = std::exchange(other.connection_, {});
    }
    return *this;
  }
  ~ScopedConnection() { connection_.disconnect(); }

  void disconnect() { connection_.disconnect(); }

 private:
  sigc::connection connection_;
};

}  // namespace vaultmere
