// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <memory>
#include <vector>

#include "gallery/http/ConnectionTable.h"
#include "gallery/http/IoLoop.h"

namespace vaultmere {

/// Accepts connections from the local networks until it is destroyed; others are
/// closed at once. On the loop's thread; loop and table outlive it.
class Listener {
 public:
  /// Gives the networks of this machine. Called for each connection from an
  /// address that isn't private, so it has to be quick.
  using Networks = std::function<std::vector<Network>()>;

  /// Takes over sockets that listen and don't block.
  Listener(IoLoop& loop, ConnectionTable& table, const std::vector<int>& sockets,
           const Networks& networks);

 private:
  /// One socket. Shared with the tasks that wait for it.
  struct Acceptor;
  std::vector<std::shared_ptr<Acceptor>> acceptors_;
};

}  // namespace vaultmere
