// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <utility>

#include "catalog/Connection.h"
#include "catalog/CountCache.h"
#include "gallery/http/HttpRequest.h"

namespace vaultmere {

/// The connection that a request reads the catalog through.
struct CatalogReader {
  Connection& connection;
  CountCache& counts;
};

/// Answers the gallery's four questions to the catalog, as the JSON that goes
/// out. A read that fails gives nothing: 0, an empty list, an absent key. On
/// the thread that calls; takes from milliseconds to, for a million photos,
/// some seconds.
class GalleryAPI {
 public:
  /// Runs a query on a connection to the catalog. True when it has ended without
  /// a CatalogError; its provider logs those.
  using Query = std::function<void(CatalogReader&)>;
  using Read = std::function<bool(const Query&)>;

  explicit GalleryAPI(Read read) : read_(std::move(read)) {}

  /// One page of the photos that the query narrows to. Absent when the page
  /// lies beyond what 64 bits can count.
  [[nodiscard]] std::optional<std::string> photos(const HttpQuery& query);

  /// The numbers of the whole library, of one state of it.
  struct Statistics {
    std::string json;
    bool isComplete = false;  ///< false when a read has failed
  };
  [[nodiscard]] Statistics stats();

  /// The mean colour of each photo that has one, in no order.
  [[nodiscard]] std::string colours(const HttpQuery& query);

  /// The place of each photo that has one, in no order, as GeoJSON (RFC 7946).
  [[nodiscard]] std::string geo(const HttpQuery& query);

 private:
  const Read read_;
};

}  // namespace vaultmere
