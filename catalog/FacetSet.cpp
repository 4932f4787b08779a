// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/FacetSet.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "catalog/ColourFamilies.h"
#include "catalog/PhotoQueries.h"
#include "catalog/SizeClasses.h"

namespace vaultmere {
namespace {

constexpr std::size_t kMaxNames = 40;

/// The number of a row's size class, NULL beyond it, as SQL.
const std::string& sizePosition() {
  static const std::string sql = [] {
    std::string cases = fmt::format("CASE WHEN sizeBytes < {} THEN NULL", sizeClasses()[0].lower);
    for (std::size_t i = 0; i < sizeClasses().size(); ++i) {
      cases += fmt::format(" WHEN sizeBytes < {} THEN {}", sizeClasses()[i].upper, i);
    }
    return cases + " END";
  }();
  return sql;
}

std::vector<FacetValue> sizesFromPositions(std::vector<FacetValue> positions) {
  for (FacetValue& size : positions) {
    size.value = sizeClasses()[std::stoul(size.value)].label;
  }
  return positions;
}

std::vector<FacetValue> reversed(std::vector<FacetValue> values) {
  std::reverse(values.begin(), values.end());
  return values;
}

std::vector<FacetValue> inColourOrder(std::vector<FacetValue> values) {
  std::stable_sort(values.begin(), values.end(), [](const FacetValue& a, const FacetValue& b) {
    return colourPosition(a.value) < colourPosition(b.value);
  });
  return values;
}

/// One of the two kinds of names that photos are linked with.
struct Relation {
  const char* links;
  const char* target;
  const char* nameOfTarget;
};
constexpr Relation kTags{"Photo_tags", "tag", "SELECT name FROM Tag WHERE pk = ?"};
constexpr Relation kLabels{"Photo_labels", "label", "SELECT name FROM Label WHERE pk = ?"};

/// The names that occur, most first, those of equal counts in the order in
/// which they came into the catalog.
std::vector<FacetValue> relationCounts(Connection& connection, const Predicate& predicate,
                                       std::int64_t matches, const Relation& relation) {
  std::vector<FacetValue> values;
  {
    // The links of the photos, not the photos of the links: both tables are
    // read in the order in which they were written.
    auto row = connection.prepareOnce(fmt::format(
        "SELECT tally({}) FROM (SELECT pk AS shown FROM {} {}) CROSS JOIN {} ON photo = shown",
        relation.target, photoSource(predicate, matches), whereClause(predicate.gathering),
        relation.links));
    predicate.bindTo(row);
    row.step();
    values = byCountDescending(talliedValues(row, 0));
  }
  values.resize(std::min(values.size(), kMaxNames));
  for (FacetValue& value : values) {
    auto name = connection.prepare(relation.nameOfTarget);
    name.bind(1, std::int64_t{std::stoll(value.value)});
    name.step();
    value.value = name.text(0);
  }
  return values;
}

}  // namespace

FacetSet computeFacets(Connection& connection, const Predicate& predicate) {
  const Snapshot snapshot(connection);
  FacetSet facets;
  facets.total = countPhotos(connection, predicate);
  {
    const auto row =
        aggregate(connection, predicate, facets.total,
                  fmt::format("tally(year), tally(mediaType), tally(ext), tally(colorFamily),"
                              " tally(placeCountry), tally({}), tally(cameraModel),"
                              " count(*) FILTER (WHERE cameraModel IS NULL),"
                              " count(*) FILTER (WHERE favorite = 1)",
                              sizePosition()));
    const auto values = [&](int column) { return talliedValues(row, column); };
    facets.years = reversed(values(0));
    facets.mediaTypes = values(1);
    facets.fileTypes = byCountDescending(values(2));
    facets.colors = inColourOrder(values(3));
    facets.countries = byCountDescending(values(4));
    facets.sizes = sizesFromPositions(values(5));
    facets.cameras = byCountDescending(values(6));
    facets.noCameraCount = row.integer(7);
    facets.favorites = row.integer(8);
  }
  facets.albums = relationCounts(connection, predicate, facets.total, kTags);
  facets.labels = relationCounts(connection, predicate, facets.total, kLabels);
  return facets;
}

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
