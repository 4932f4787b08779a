// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "catalog/PhotoMetadata.h"

namespace vaultmere {

/// All that was learnt about one item, on its way from the analysis into the
/// catalog. Dates are strings, and nothing in it touches the store.
struct AnalyzedPhoto : PhotoMetadata {
  std::optional<std::string> captureDate;  ///< "2021-03-05T10:11:12", local wall clock
  std::string processedAt;                 ///< internet date-time form, UTC
  std::vector<std::string> tags;           ///< names of albums
  std::vector<std::string> labels;         ///< best first
  /// SHA-256 of the motion file at `liveMotionPath`, if it has just been read there.
  std::optional<std::string> liveMotionHash;
  std::map<std::string, bool> photoTypeFlags;  ///< "screenshot", "selfie", …

  bool operator==(const AnalyzedPhoto&) const = default;
};

}  // namespace vaultmere
