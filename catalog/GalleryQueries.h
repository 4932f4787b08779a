// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "catalog/Connection.h"
#include "catalog/FacetSet.h"
#include "catalog/Photo.h"
#include "catalog/Predicate.h"

// What the gallery of the local network asks of the store beside pages and
// counts. All run on the connection's thread and throw CatalogError; none is
// for the main thread.
namespace vaultmere {

/// The names of one kind that photos are linked with, in no order: an element
/// for each photo.
using NamesOfPhotos = std::vector<std::vector<std::string>>;
[[nodiscard]] NamesOfPhotos tagNames(Connection& connection, const std::vector<Photo>& photos);
[[nodiscard]] NamesOfPhotos labelNames(Connection& connection, const std::vector<Photo>& photos);

/// Calls back with id and `avgHex` of each photo of the list that has both, in no
/// order. `matches`: the number of photos in the list, as in PageRequest.
void forEachColour(
    Connection& connection, const Predicate& list, std::int64_t matches,
    const std::function<void(const std::string& id, const std::string& hex)>& callback);

/// The same with latitude and longitude, in degrees as they are stored.
void forEachPosition(
    Connection& connection, const Predicate& list, std::int64_t matches,
    const std::function<void(const std::string& id, double latitude, double longitude)>& callback);

/// What only the rows themselves tell of the shown photos. The coloured ones are
/// those with a mean colour that isn't black and white.
struct ColourTotals {
  std::int64_t edited = 0;
  std::int64_t blackAndWhite = 0;
  std::int64_t coloured = 0;
  double red = 0;  ///< sums of `avgR`, `avgG`, `avgB` over the coloured ones
  double green = 0;
  double blue = 0;
  std::vector<FacetValue> families;  ///< of the coloured ones

  bool operator==(const ColourTotals&) const = default;
};
[[nodiscard]] ColourTotals colourTotals(Connection& connection);

/// The latest `processedAt` of all rows, also of trashed and stacked ones.
[[nodiscard]] std::optional<CatalogDate> lastImport(Connection& connection);

}  // namespace vaultmere
