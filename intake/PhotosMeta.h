// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

namespace vaultmere {

/// What the photo library knows about an item and its file doesn't.
struct PhotosMeta {
  std::optional<std::string> uuid;
  std::optional<bool> favorite;
  std::optional<std::string> captureDate;  ///< "2021-03-05T10:11:12", local wall clock
  std::optional<double> gpsLat;
  std::optional<double> gpsLon;
  std::vector<std::string> albums;
  std::map<std::string, bool> photoTypeFlags;
};

}  // namespace vaultmere
