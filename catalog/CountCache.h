// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/Predicate.h"

namespace vaultmere {

/// The totals of the last lists that were counted, for clients that read one
/// page by page. Exact: a commit of any other connection drops them all. For one
/// connection, which doesn't write.
class CountCache {
 public:
  /// Counts, or looks up. Inside a Snapshot this is the number of its state.
  /// Throws CatalogError.
  [[nodiscard]] std::int64_t count(Connection& connection, const Predicate& predicate);

 private:
  using Key = std::pair<std::string, std::vector<Predicate::Argument>>;

  std::int64_t version_ = 0;
  std::map<Key, std::int64_t> counts_;
};

}  // namespace vaultmere
