// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/FolderListing.h"

#include <functional>
#include <string>

#include "platform/Files.h"

namespace vaultmere {

FolderListing listingOf(const fs::path& folder) {
  const auto own = fileStatus(folder);
  if (!own) {
    return {};
  }
  FolderListing listing{own->stamp.device, own->stamp.inode, 0};
  try {
    for (const DirectoryEntry& entry : listDirectory(folder)) {
      const auto status = linkStatus(entry.path);
      const FileStamp stamp = status ? status->stamp : FileStamp{};
      // Added up, so that the order of the listing doesn't matter.
      listing.fingerprint += std::hash<std::string>{}(entry.path.filename().native() + '\0' +
                                                      std::to_string(stamp.size) + '\0' +
                                                      std::to_string(stamp.modifiedNanoseconds));
    }
  } catch (const FileError&) {
    return {};
  }
  return listing;
}

}  // namespace vaultmere
