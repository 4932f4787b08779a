// SPDX-License-Identifier: GPL-3.0-or-later
#include "gallery/GalleryStats.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "catalog/ColourFamilies.h"
#include "catalog/FacetSet.h"
#include "catalog/GalleryQueries.h"

namespace vaultmere {
namespace {

constexpr std::size_t kAll = static_cast<std::size_t>(-1);
constexpr std::size_t kMaxFormats = 20;
constexpr std::size_t kMaxPlaces = 25;
constexpr std::size_t kMaxCameras = 15;
constexpr std::size_t kMaxNames = 25;

int channelOf(double sum, std::int64_t count) {
  return static_cast<int>(std::lround(sum / static_cast<double>(count)));
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

Json recordOf(const FacetSet& facets, const ColourTotals& totals, std::optional<CatalogDate> last) {
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
  if (last) {
    stats["last_import"] = stampOf(*last);
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

}  // namespace

Json galleryStats(Connection& connection) {
  const Snapshot snapshot(connection);
  return recordOf(computeFacets(connection, predicates::shown()), colourTotals(connection),
                  lastImport(connection));
}

Json emptyStats() { return recordOf({}, {}, std::nullopt); }

}  // namespace vaultmere
