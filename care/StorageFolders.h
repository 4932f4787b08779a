// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <string_view>

namespace vaultmere {

/// True for the names of folders that file systems and network storage keep for
/// themselves in a shared folder: snapshots, indexes, recycle bins. What lies in
/// them isn't the archive's.
[[nodiscard]] bool isStorageFolder(std::string_view name);

}  // namespace vaultmere
