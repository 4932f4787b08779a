// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/FacetSet.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "catalog/ColourOrder.h"
#include "catalog/PhotoQueries.h"
#include "catalog/SizeTable.h"

namespace vaultmere {
namespace {

constexpr std::size_t kMostNames = 40;

/// The result of `tally`: pairs of a value and its count.
std::vector<FacetValue> talliedValues(const std::string& json) {
  std::vector<FacetValue> values;
  for (const auto& pair : nlohmann::json::parse(json)) {
    const auto& value = pair.at(0);
    values.push_back({value.is_string() ? value.get<std::string>() : value.dump(),
                      pair.at(1).get<std::int64_t>()});
  }
  return values;
}

/// The position of a row's size in the size table, NULL beyond it, as SQL.
const std::string& sizePosition() {
  static const std::string sql = [] {
    std::string cases = fmt::format("CASE WHEN sizeBytes < {} THEN NULL", sizeTable()[0].lower);
    for (std::size_t i = 0; i < sizeTable().size(); ++i) {
      cases += fmt::format(" WHEN sizeBytes < {} THEN {}", sizeTable()[i].upper, i);
    }
    return cases + " END";
  }();
  return sql;
}

std::vector<FacetValue> sizesFromPositions(std::vector<FacetValue> positions) {
  for (FacetValue& size : positions) {
    size.value = sizeTable()[std::stoul(size.value)].label;
  }
  return positions;
}

/// Runs `SELECT what FROM photos` and gives its one row.
Statement aggregate(Connection& connection, const Predicate& predicate, std::int64_t matches,
                    std::string_view what) {
  auto row = connection.prepareOnce(fmt::format("SELECT {} FROM {} {}", what,
                                                photoSource(predicate, matches),
                                                whereClause(predicate.gathering)));
  predicate.bindTo(row);
  row.step();
  return row;
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

std::vector<FacetValue> relationCountsOf(Connection& connection, const Predicate& predicate,
                                         std::int64_t matches, Relation relation,
                                         std::size_t limit) {
  const bool isTag = relation == Relation::tags;
  std::vector<FacetValue> values;
  {
    // The links of the photos, not the photos of the links: both tables are
    // read in the order in which they were written.
    auto row = connection.prepareOnce(fmt::format(
        "SELECT tally({}) FROM (SELECT pk AS shown FROM {} {}) CROSS JOIN {} ON photo = shown",
        isTag ? "tag" : "label", photoSource(predicate, matches), whereClause(predicate.gathering),
        isTag ? "Photo_tags" : "Photo_labels"));
    predicate.bindTo(row);
    row.step();
    values = mostFirst(talliedValues(row.text(0)));
  }
  values.resize(std::min(values.size(), limit));
  for (FacetValue& value : values) {
    auto name = connection.prepare(isTag ? "SELECT name FROM Tag WHERE pk = ?"
                                         : "SELECT name FROM Label WHERE pk = ?");
    name.bind(1, std::int64_t{std::stoll(value.value)});
    name.step();
    value.value = name.text(0);
  }
  return values;
}

}  // namespace

std::vector<FacetValue> mostFirst(std::vector<FacetValue> values) {
  std::stable_sort(values.begin(), values.end(),
                   [](const FacetValue& a, const FacetValue& b) { return a.count > b.count; });
  return values;
}

std::vector<FacetValue> groupCounts(Connection& connection, const Predicate& predicate,
                                    const char* column) {
  return talliedValues(aggregate(connection, predicate, countPhotos(connection, predicate),
                                 fmt::format("tally({})", column))
                           .text(0));
}

std::vector<FacetValue> sizeCounts(Connection& connection, const Predicate& predicate) {
  return sizesFromPositions(
      talliedValues(aggregate(connection, predicate, countPhotos(connection, predicate),
                              fmt::format("tally({})", sizePosition()))
                        .text(0)));
}

std::vector<FacetValue> relationCounts(Connection& connection, const Predicate& predicate,
                                       Relation relation, std::size_t limit) {
  return relationCountsOf(connection, predicate, countPhotos(connection, predicate), relation,
                          limit);
}

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
    const auto values = [&](int column) { return talliedValues(row.text(column)); };
    facets.years = reversed(values(0));
    facets.mediaTypes = values(1);
    facets.fileTypes = mostFirst(values(2));
    facets.colors = inColourOrder(values(3));
    facets.countries = mostFirst(values(4));
    facets.sizes = sizesFromPositions(values(5));
    facets.cameras = mostFirst(values(6));
    facets.noCameraCount = row.integer(7);
    facets.favorites = row.integer(8);
  }
  facets.albums = relationCountsOf(connection, predicate, facets.total, Relation::tags, kMostNames);
  facets.labels =
      relationCountsOf(connection, predicate, facets.total, Relation::labels, kMostNames);
  return facets;
}

}  // namespace vaultmere
