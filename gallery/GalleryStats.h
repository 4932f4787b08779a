// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include "catalog/Connection.h"
#include "gallery/PhotoDTOs.h"

namespace vaultmere {

/// The record of `/api/stats`: counts of the shown photos, and when the last of
/// all was imported. All of it is read from one state of the store. Throws
/// CatalogError.
[[nodiscard]] Json galleryStats(Connection& connection);

/// The same record of an empty catalog.
[[nodiscard]] Json emptyStats();

}  // namespace vaultmere
