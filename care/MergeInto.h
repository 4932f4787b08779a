// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <vector>

namespace vaultmere {

/// What came of moving a duplicate to the trash.
struct MergedPhoto {
  std::vector<std::string> changedIds;  ///< of rows
  std::optional<std::string> error;     ///< in words for the user; absent when it was moved
};

/// Moves the photo `id` to the trash in favour of `keeper`, if that one is in a state to
/// be kept. Reads both rows again, and waits for the archive's drive: never on the main
/// thread. Doesn't throw.
using MergeInto = std::function<MergedPhoto(const std::string& keeper, const std::string& id)>;

}  // namespace vaultmere
