// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <memory>
#include <vector>

#include "gallery/http/ConnectionTable.h"
#include "gallery/http/IoLoop.h"

namespace vaultmere {

/// Accepts clients until it is destroyed. On the loop's thread; both arguments
/// outlive it.
class Listener {
 public:
  /// Takes over sockets that listen and don't block.
  Listener(IoLoop& loop, ConnectionTable& table, const std::vector<int>& sockets);

 private:
  /// One socket. Shared with the tasks that wait for it.
  struct Door;
  std::vector<std::shared_ptr<Door>> doors_;
};

}  // namespace vaultmere
