// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/Predicate.h"
#include "catalog/Tally.h"

namespace vaultmere {

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

}  // namespace vaultmere
