// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <utility>

#include "catalog/Connection.h"
#include "platform/SerialQueue.h"

namespace vaultmere {

/// A connection with its queue: its operations never overlap. Contexts see
/// each other's commits at once. Any thread; kept in a shared_ptr, since work
/// that waits for its turn keeps it alive.
class CatalogContext : public std::enable_shared_from_this<CatalogContext> {
 public:
  /// Throws CatalogError.
  CatalogContext(const std::filesystem::path& store, ThreadPool& pool)
      : connection_(store), queue_(pool) {}

  /// Runs `operation(Connection&)` on this thread in its turn; gives its value.
  template <typename Operation>
  decltype(auto) perform(Operation&& operation) {
    return queue_.perform([&]() -> decltype(auto) { return operation(connection_); });
  }

  /// Runs `operation(Connection&)` on a pool thread in its turn.
  void performAsync(std::function<void(Connection&)> operation) {
    queue_.async([self = shared_from_this(), operation = std::move(operation)] {
      operation(self->connection_);
    });
  }

 private:
  Connection connection_;
  SerialQueue queue_;
};

}  // namespace vaultmere
