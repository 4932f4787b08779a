// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/Tally.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "catalog/PhotoQueries.h"

namespace vaultmere {

Statement aggregate(Connection& connection, const Predicate& predicate, std::int64_t matches,
                    std::string_view what) {
  auto row = connection.prepareOnce(fmt::format("SELECT {} FROM {} {}", what,
                                                photoSource(predicate, matches),
                                                whereClause(predicate.gathering)));
  predicate.bindTo(row);
  row.step();
  return row;
}

std::vector<FacetValue> talliedValues(const Statement& row, int column) {
  std::vector<FacetValue> values;
  for (const auto& pair : nlohmann::json::parse(row.text(column))) {
    const auto& value = pair.at(0);
    values.push_back({value.is_string() ? value.get<std::string>() : value.dump(),
                      pair.at(1).get<std::int64_t>()});
  }
  return values;
}

std::vector<FacetValue> byCountDescending(std::vector<FacetValue> values) {
  std::stable_sort(values.begin(), values.end(),
                   [](const FacetValue& a, const FacetValue& b) { return a.count > b.count; });
  return values;
}

}  // namespace vaultmere
