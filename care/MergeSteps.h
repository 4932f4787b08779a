// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
#include <optional>
#include <string>

namespace vaultmere {

/// What a merge of duplicates does to each photo. Both take the photo's `id`, and give
/// nothing when all is well, else the reason in words for the user. They read the row
/// again, and may wait for a drive: never on the main thread.
struct MergeSteps {
  using Step = std::function<std::optional<std::string>(const std::string& id)>;

  /// Whether the photo can stand for the others: not in the trash, its file whole as far
  /// as that is known. Asked before each of the others goes.
  Step checkKeeper;
  /// Moves the photo to the trash, and announces the rows that this has changed.
  Step trash;
};

}  // namespace vaultmere
