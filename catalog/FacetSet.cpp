// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/FacetSet.h"

#include <fmt/format.h>

#include <algorithm>

#include "catalog/ColourFamilies.h"
#include "catalog/PhotoQueries.h"
#include "catalog/SizeClasses.h"

namespace vaultmere {
namespace {

constexpr std::size_t kMaxNames = 40;

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

}  // namespace vaultmere
