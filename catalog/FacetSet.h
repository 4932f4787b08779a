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

/// A value, and how many photos have it.
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

/// Runs `SELECT what` over a predicate's rows, and gives the one row of it.
/// `what` is made of aggregates, among them "tally(column)", see
/// `SqlFunctions.h`; never of a text from outside. `matches`: as in PageRequest.
/// Throws CatalogError.
[[nodiscard]] Statement aggregate(Connection& connection, const Predicate& predicate,
                                  std::int64_t matches, std::string_view what);

/// What "tally(column)" gave: the values, ascending, with their counts; rows
/// without one don't count.
[[nodiscard]] std::vector<FacetValue> talliedValues(const Statement& row, int column);

/// Equal counts keep their order.
[[nodiscard]] std::vector<FacetValue> byCountDescending(std::vector<FacetValue> values);

}  // namespace vaultmere

template <>
struct std::hash<vaultmere::FacetValue> {
  std::size_t operator()(const vaultmere::FacetValue& facet) const noexcept {
    return std::hash<std::string>{}(facet.value) * 31 + std::hash<std::int64_t>{}(facet.count);
  }
};
