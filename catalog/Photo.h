// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "catalog/CatalogDate.h"
#include "catalog/PhotoMetadata.h"

namespace vaultmere {

/// One row of the catalog: one distinct file content in the archive. A plain
/// value; a new row's defaults are those of a new record. `PhotoSchema.cpp` has
/// the order of the store's attributes.
struct Photo : PhotoMetadata {
  std::vector<std::string> aliasUUIDs;      ///< other library identifiers of the same bytes
  std::optional<CatalogDate> processedAt;   ///< when the analysis ran
  std::optional<CatalogDate> trashedAt;     ///< set while the file lies in the trash
  std::optional<std::string> stackedUnder;  ///< `id` of the stack's top photo
  bool stackExempt = false;                 ///< split off by the user: never stacked by itself
  std::optional<std::int64_t> phash;        ///< perceptual hash
  std::optional<CatalogDate> captureDate;
  std::optional<int> year;  ///< of `captureDate`, in the local zone
  bool ptScreenshot = false;
  bool ptSelfie = false;
  bool ptPortrait = false;
  bool ptPanorama = false;
  bool ptSlowMo = false;
  bool ptTimeLapse = false;
  bool ptHDR = false;
  bool ptBurst = false;

  bool operator==(const Photo&) const = default;
};

}  // namespace vaultmere
