// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <string>

#include "catalog/Connection.h"
#include "gallery/CountCache.h"
#include "gallery/http/HttpRequest.h"

namespace vaultmere {

/// Answers the gallery's four questions to the catalog, as the JSON that goes
/// out. A query of the store that fails gives nothing: 0, an empty list, an
/// absent key. On the connection's thread; takes from milliseconds to, for a
/// million photos, some seconds.
class GalleryAPI {
 public:
  GalleryAPI(Connection& connection, CountCache& totals)
      : connection_(connection), totals_(totals) {}

  /// One page of the photos that the query narrows to. Absent when the page
  /// lies beyond what 64 bits can count.
  [[nodiscard]] std::optional<std::string> photos(const HttpQuery& query);

  /// The numbers of the whole library.
  [[nodiscard]] std::string stats();

  /// The mean colour of each photo that has one, in no order.
  [[nodiscard]] std::string colours(const HttpQuery& query);

  /// The place of each photo that has one, in no order, as GeoJSON (RFC 7946).
  [[nodiscard]] std::string geo(const HttpQuery& query);

 private:
  /// Has `append` write each photo that the query narrows to and that fulfils
  /// the condition behind `list`. A failure leaves no photos there.
  template <typename Append>
  void appendRows(std::string& list, const HttpQuery& query, const char* columns,
                  const char* condition, Append&& append);

  Connection& connection_;
  CountCache& totals_;
};

}  // namespace vaultmere
