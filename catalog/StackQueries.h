// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "catalog/Connection.h"

// How photos are stacked. All throw CatalogError; each is one durable transaction,
// which reads the rows again before it changes them, and of which nothing stays
// after a failure. A trashed photo is never stacked.
namespace vaultmere {

/// Photos of which one stays visible.
struct Stack {
  std::string target;                ///< `id` of the visible one
  std::vector<std::string> members;  ///< all ids, the target's too
};

enum class StackedBy {
  user,    ///< overrides an earlier split, and forgets it
  program  ///< leaves a stack alone of which a photo is stacked or was split off
};

/// What has become of the stacks that were asked for.
struct StackedRows {
  std::vector<std::string> changed;  ///< ids of the rows that were changed
  std::vector<std::size_t>
      withoutTarget;       ///< numbers of the stacks whose target is trashed or gone
  std::size_t hidden = 0;  ///< photos that were not below this target before
};

/// Hides the members of each stack below its target. A stack whose target is
/// trashed or has no row stays as it is.
[[nodiscard]] StackedRows stackPhotos(Connection& connection, std::span<const Stack> stacks,
                                      StackedBy by);

/// Shows the photos by themselves, and keeps them from being stacked by the
/// program. Gives the ids of the rows that there are.
[[nodiscard]] std::vector<std::string> unstackPhotos(Connection& connection,
                                                     std::span<const std::string> ids);

}  // namespace vaultmere
