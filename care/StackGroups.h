// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <span>
#include <stop_token>
#include <string>
#include <vector>

#include "care/DuplicateScan.h"
#include "catalog/CatalogContext.h"
#include "catalog/StackQueries.h"
#include "intake/ArchiveRoot.h"

namespace vaultmere {

struct StackedGroups {
  std::vector<std::string> changed;  ///< ids of the rows that were changed
  std::vector<std::string> done;     ///< ids of the groups that were taken
  std::size_t hidden = 0;            ///< photos that were shown before
  std::optional<std::string> error;  ///< why the first of the others wasn't
};

/// Hides the members of each group below its stack target, some hundred groups in
/// one transaction. A group whose target is trashed, or isn't in an archive that
/// is in reach, is left alone. No file moves. Touches the drive: not for the main
/// thread. A failure or a stop ends it; what was done before stands.
[[nodiscard]] StackedGroups stackGroups(CatalogContext& catalog,
                                        const std::optional<ArchiveRoot>& root,
                                        std::span<const DuplicateGroup> groups, StackedBy by,
                                        const std::stop_token& stop);

}  // namespace vaultmere
