// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/Predicate.h"

// Counting all of a list's values in one go through its rows.
namespace vaultmere {

/// A value, and how many photos have it.
struct FacetValue {
  std::string value;
  std::int64_t count = 0;
  bool operator==(const FacetValue&) const = default;
};

/// Runs `SELECT what` over a predicate's rows, and gives the one row of it.
/// `what` is made of aggregates, among them "tally(column)"; never of a text
/// from outside. `matches`: as in PageRequest. Throws CatalogError.
[[nodiscard]] Statement aggregate(Connection& connection, const Predicate& predicate,
                                  std::int64_t matches, std::string_view what);

/// What "tally(column)" gave: the values, ascending, with their counts; rows
/// without one don't count.
[[nodiscard]] std::vector<FacetValue> talliedValues(const Statement& row, int column);

/// Most first; equal ones stay as they are.
[[nodiscard]] std::vector<FacetValue> byCountDescending(std::vector<FacetValue> values);

}  // namespace vaultmere

template <>
struct std::hash<vaultmere::FacetValue> {
  std::size_t operator()(const vaultmere::FacetValue& facet) const noexcept {
    return std::hash<std::string>{}(facet.value) * 31 + std::hash<std::int64_t>{}(facet.count);
  }
};
