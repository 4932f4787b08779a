// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/ArchiveRoot.h"

#include <cerrno>

namespace vaultmere {

OpenFolder ArchiveRoot::open() const {
  OpenFolder root = OpenFolder::open(path);
  if (acceptsDevice && !acceptsDevice(root.status().stamp.device)) {
    throw FileError("open archive", path, ENODEV);
  }
  return root;
}

std::vector<OpenFolder> ArchiveRoot::makeFolders(const fs::path& relative) const {
  std::vector<OpenFolder> folders;
  folders.push_back(open());
  for (const fs::path& component : relative) {
    folders.push_back(folders.back().makeFolder(component));
  }
  return folders;
}

std::optional<FileStatus> ArchiveRoot::statusOf(const fs::path& relative) const {
  OpenFolder folder = open();
  for (const fs::path& component : relative.parent_path()) {
    folder = folder.folder(component);
  }
  return folder.statusOf(relative.filename());
}

}  // namespace vaultmere
