// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/StorageFolders.h"

#include <algorithm>
#include <array>

namespace vaultmere {

bool isStorageFolder(std::string_view name) {
  static constexpr std::array<std::string_view, 6> kNames{".snapshot", ".snapshots", ".zfs",
                                                          "@eaDir",    "#recycle",   "lost+found"};
  return std::find(kNames.begin(), kNames.end(), name) != kNames.end() ||
         name.starts_with(".Trash-");
}

}  // namespace vaultmere
