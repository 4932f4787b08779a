// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/Photo.h"
#include "catalog/Predicate.h"

// Queries over the photos. All run on the connection's thread, and throw
// CatalogError. Only `fetchPhotos` of a few ids is quick enough for the main
// thread.
namespace vaultmere {

/// Each ends with the row's order of insertion, in the direction of its first
/// key, so that no two rows ever change places between two pages. Absent dates
/// are the oldest.
enum class SortOrder {
  added,   ///< latest `processedAt` first, then latest `captureDate`
  newest,  ///< latest `captureDate` first, then latest `processedAt`
  oldest,  ///< earliest `captureDate` first, then earliest `processedAt`
};

/// The order's name, as it is kept and sent: never change these.
[[nodiscard]] std::string_view sortOrderName(SortOrder sort);
[[nodiscard]] std::optional<SortOrder> sortOrderOf(std::string_view name);

struct PageRequest {
  SortOrder sort = SortOrder::added;
  std::int64_t offset = 0;
  int limit = 0;
  /// How many rows there are in all, from `countPhotos`. Only the access path
  /// depends on it: a wrong number costs time, not rows.
  std::int64_t matches = 0;
};

[[nodiscard]] std::int64_t countPhotos(Connection& connection, const Predicate& predicate);

/// The rows from `offset` on, at most `limit`, in their order.
[[nodiscard]] std::vector<Photo> fetchPage(Connection& connection, const Predicate& predicate,
                                           const PageRequest& request);

/// The rows with these ids, in the order of the ids; unknown ones are left out.
[[nodiscard]] std::vector<Photo> fetchPhotos(Connection& connection,
                                             std::span<const std::string> ids);

/// The FROM clause of a query over all of a predicate's rows in any order, with
/// `predicate.gathering` as its WHERE clause: "Photo" and the index to use. `matches`: as in
/// PageRequest. `isCounting`: the query looks at no column but those of the predicate.
[[nodiscard]] std::string photoSource(const Predicate& predicate, std::int64_t matches,
                                      bool isCounting = false);

/// "WHERE " and the condition; nothing when there is none.
[[nodiscard]] std::string whereClause(std::string_view condition);

}  // namespace vaultmere
