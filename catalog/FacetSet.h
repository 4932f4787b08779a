// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/Predicate.h"

namespace vaultmere {

/// A choice of the filter, and how many of the present photos have it.
struct FacetValue {
  std::string value;
  std::int64_t count = 0;
  bool operator==(const FacetValue&) const = default;
};

/// The counts beside the choices of the filter, all under one and the same
/// condition: a facet is narrowed by its own choice too.
struct FacetSet {
  std::vector<FacetValue> years;       ///< latest first
  std::vector<FacetValue> mediaTypes;  ///< by name
  std::vector<FacetValue> fileTypes;   ///< most first
  std::vector<FacetValue> colors;      ///< in the order of the colour families
  std::vector<FacetValue> countries;   ///< most first
  std::vector<FacetValue> sizes;       ///< ascending; those that occur
  std::vector<FacetValue> albums;      ///< most first, at most 40
  std::vector<FacetValue> labels;      ///< most first, at most 40
  std::vector<FacetValue> cameras;     ///< most first
  std::int64_t noCameraCount = 0;
  std::int64_t favorites = 0;
  std::int64_t total = 0;
  bool operator==(const FacetSet&) const = default;
};

/// Counts everything, all of it in one state of the store. Takes as long as a
/// few reads of the whole table; throws CatalogError.
[[nodiscard]] FacetSet computeFacets(Connection& connection, const Predicate& predicate);

/// One column's values with their counts, ascending by value; rows without one
/// don't count. `column` is a name of ours, never a text from outside.
[[nodiscard]] std::vector<FacetValue> groupCounts(Connection& connection,
                                                  const Predicate& predicate, const char* column);

/// The classes of the size table that occur, ascending.
[[nodiscard]] std::vector<FacetValue> sizeCounts(Connection& connection,
                                                 const Predicate& predicate);

enum class Relation { tags, labels };

/// The names that occur, most first, those of equal counts in the order in
/// which they came into the catalog; at most `limit`.
[[nodiscard]] std::vector<FacetValue> relationCounts(Connection& connection,
                                                     const Predicate& predicate, Relation relation,
                                                     std::size_t limit);

/// Most first; equal ones stay as they are.
[[nodiscard]] std::vector<FacetValue> mostFirst(std::vector<FacetValue> values);

}  // namespace vaultmere

template <>
struct std::hash<vaultmere::FacetValue> {
  std::size_t operator()(const vaultmere::FacetValue& facet) const noexcept {
    return std::hash<std::string>{}(facet.value) * 31 + std::hash<std::int64_t>{}(facet.count);
  }
};
