// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/GalleryStats.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "catalog/CatalogError.h"
#include "catalog/ColourFamilies.h"
#include "catalog/FacetSet.h"

namespace vaultmere {
namespace {

constexpr std::size_t kAll = static_cast<std::size_t>(-1);
constexpr std::size_t kMaxFormats = 20;
constexpr std::size_t kMaxPlaces = 25;
constexpr std::size_t kMaxCameras = 15;
constexpr std::size_t kMaxNames = 25;

/// What takes a look at the rows themselves: no index knows it.
struct Totals {
  std::int64_t edited = 0;
  std::int64_t blackAndWhite = 0;
  std::int64_t coloured = 0;
  double red = 0;  ///< sums over the coloured ones
  double green = 0;
  double blue = 0;
  std::vector<FacetValue> families;  ///< of the coloured ones
};

/// The query's value; an empty one when it fails.
template <typename Query>
auto valueOf(Query&& query) -> decltype(query()) {
  try {
    return query();
  } catch (const CatalogError&) {
    return {};
  }
}

/// In one go: each look at all rows costs as much as many queries of indexes.
Totals totalsOf(Connection& connection) {
  constexpr const char* kColoured = "avgHex IS NOT NULL AND isBW = 0";
  const Predicate predicate =
      predicates::shown() && Predicate::onTable("(edited = 1 OR avgHex IS NOT NULL)");
  const auto row =
      aggregate(connection, predicate, 0,
                fmt::format("count(*) FILTER (WHERE edited = 1),"
                            " count(*) FILTER (WHERE avgHex IS NOT NULL AND isBW = 1),"
                            " count(avgR) FILTER (WHERE {0}), total(avgR) FILTER (WHERE {0}),"
                            " total(avgG) FILTER (WHERE {0}), total(avgB) FILTER (WHERE {0}),"
                            " tally(colorFamily) FILTER (WHERE {0})",
                            kColoured));
  return {row.integer(0), row.integer(1), row.integer(2),       row.real(3),
          row.real(4),    row.real(5),    talliedValues(row, 6)};
}

int channelOf(double sum, std::int64_t count) {
  return static_cast<int>(std::lround(sum / static_cast<double>(count)));
}

std::optional<std::string> lastImport(Connection& connection) {
  auto row = connection.prepare("SELECT max(processedAt) FROM Photo");
  row.step();
  return row.isNull(0) ? std::nullopt : std::optional(stampOf(CatalogDate{row.real(0)}));
}

std::vector<FacetValue> byText(std::vector<FacetValue> values) {
  std::sort(values.begin(), values.end(),
            [](const FacetValue& a, const FacetValue& b) { return a.value < b.value; });
  return values;
}

Json colourRecords(const std::vector<FacetValue>& families) {
  Json records = Json::array();
  for (const ColourFamily& family : kColourFamilies) {
    const auto found =
        std::find_if(families.begin(), families.end(),
                     [&](const FacetValue& counted) { return counted.value == family.name; });
    if (found != families.end()) {
      records.push_back({{"name", family.name}, {"hex", family.swatch}, {"n", found->count}});
    }
  }
  return records;
}

}  // namespace

Json galleryStats(Connection& connection) {
  const FacetSet facets = valueOf([&] { return computeFacets(connection, predicates::shown()); });
  const Totals totals = valueOf([&] { return totalsOf(connection); });
  Json stats;
  stats["totals"] = {
      {"total", facets.total}, {"favorites", facets.favorites}, {"edited", totals.edited}};
  stats["by_year"] = facetRecords(byText(facets.years), kAll);
  stats["by_media"] = facetRecords(byCountDescending(facets.mediaTypes), kAll);
  stats["by_format"] = facetRecords(facets.fileTypes, kMaxFormats);
  stats["top_albums"] = facetRecords(facets.albums, kMaxNames);
  stats["top_labels"] = facetRecords(facets.labels, kMaxNames);
  stats["top_places"] = facetRecords(facets.countries, kMaxPlaces);
  stats["cameras"] = facetRecords(facets.cameras, kMaxCameras);
  stats["no_camera"] = facets.noCameraCount;
  stats["by_size"] = facetRecords(facets.sizes, kAll);
  if (const auto last = valueOf([&] { return lastImport(connection); })) {
    stats["last_import"] = *last;
  }
  stats["colors"] = colourRecords(totals.families);
  if (totals.coloured > 0) {
    stats["avg_color"] = fmt::format("#{:02x}{:02x}{:02x}", channelOf(totals.red, totals.coloured),
                                     channelOf(totals.green, totals.coloured),
                                     channelOf(totals.blue, totals.coloured));
  }
  stats["color_split"] = {{"color", totals.coloured}, {"bw", totals.blackAndWhite}};
  return stats;
}

}  // namespace vaultmere
