// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "catalog/Connection.h"
#include "gallery/PhotoDTOs.h"

namespace vaultmere {

/// The record of `/api/stats`: counts of the shown photos, and when the last
/// of all was taken in. Each query that fails leaves zeros and empty lists.
[[nodiscard]] Json galleryStats(Connection& connection);

}  // namespace vaultmere
