// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "catalog/CatalogDate.h"
#include "catalog/Verification.h"

namespace vaultmere {

/// A file that isn't what it was when it was frozen, or that can't be read.
struct ScrubFinding {
  enum class Kind {
    otherBytes,  ///< read twice, alike: it is marked
    unreadable,  ///< or read twice with two results
    missing
  };
  Kind kind = Kind::otherBytes;
  std::string id;
  ArchivedPart part = ArchivedPart::primary;
  std::string path;    ///< for the user, see displayPath
  std::string detail;  ///< the hash that was read, or the system's words
  bool operator==(const ScrubFinding&) const = default;
};

/// What a scrub has covered, and what it found.
struct ScrubResult {
  enum class End {
    complete,    ///< all that it was to cover
    stopped,     ///< by its stop token
    outOfReach,  ///< the archive has gone away meanwhile: see `error`
  };
  End end = End::complete;
  std::string error;
  std::int64_t items = 0;  ///< that were looked at
  std::int64_t files = 0;  ///< that had the right bytes, or whose hash was learnt
  std::int64_t bytes = 0;  ///< that were read, second readings included
  std::int64_t otherBytes = 0;
  std::int64_t unreadable = 0;
  std::int64_t missing = 0;
  /// When the first of the items had been verified before; absent: never, or none
  /// was looked at.
  std::optional<CatalogDate> since;
  /// When the item was verified that has waited longest now; absent: never.
  std::optional<CatalogDate> oldest;
};

/// How far a scrub has come.
struct ScrubProgress {
  std::int64_t files = 0;
  std::int64_t bytes = 0;
  std::int64_t plannedBytes = 0;  ///< by the catalog; 0: not known yet
};

}  // namespace vaultmere
