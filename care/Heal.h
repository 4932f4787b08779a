// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <stop_token>
#include <string>

#include "catalog/CatalogWriter.h"
#include "intake/ArchiveRoot.h"
#include "platform/MainThread.h"

namespace vaultmere {

/// What became of one marked file.
struct HealOutcome {
  std::string id;
  ArchivedPart part = ArchivedPart::primary;
  std::string path;                   ///< for the user, see displayPath
  bool isHealed = false;              ///< it has the right bytes now, and no mark
  std::optional<std::string> reason;  ///< why not
};

/// Replaces the files that scrubs have marked by sound copies from the other of their
/// two places: of an archived file the one in the trash, of a trashed file the one
/// that stands at its target. The copy stays where it is. See replaceDamaged for the
/// order of steps.
struct Heal {
  struct Options {
    std::shared_ptr<CatalogContext> context;
    ArchiveRoot root;
    std::function<TimePoint()> now = std::chrono::system_clock::now;
    std::stop_token stop;
    std::function<void(const HealOutcome&)> outcome;  ///< one for each marked file; may be null
  };

  /// The number of files that were healed. What hinders one is its outcome; a stop
  /// ends it early. Not for the main thread. Throws CatalogError.
  static std::int64_t run(const Options& options);
};

}  // namespace vaultmere
