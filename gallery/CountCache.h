// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/Predicate.h"

namespace vaultmere {

/// How many photos the last few lists had, for a client that leafs through one
/// page by page. Exact: the first commit of anybody else drops them all. For
/// one connection, which doesn't write.
class CountCache {
 public:
  /// Counts, or remembers. Inside a Snapshot this is the number of its state.
  /// Throws CatalogError.
  [[nodiscard]] std::int64_t of(Connection& connection, const Predicate& predicate);

 private:
  using Key = std::pair<std::string, std::vector<Predicate::Argument>>;

  std::int64_t version_ = 0;
  std::map<Key, std::int64_t> totals_;
};

}  // namespace vaultmere
