// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/SourceRemover.h"

#include "intake/ArchiveLayout.h"
#include "intake/FolderScan.h"
#include "platform/FileLease.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {

bool SourceRemover::remove(const ArchivedSource& source) const {
  std::string reason;
  try {
    const char* inArchive = reasonInArchive(source);
    // Nobody can start to write between the last look and the removal, where
    // leases are known.
    const FileLease lease(source.path);
    const auto now = fileStatus(source.path);
    if (inArchive != nullptr) {
      reason = inArchive;
    } else if (lease.isRefusedByWriter() || lease.isWanted()) {
      reason = "it is open for writing";
    } else if (!now || now->stamp != source.asRead) {
      reason = "it has changed since it was read";
    } else {
      removeFile(source.path);
      return true;
    }
  } catch (const std::exception& error) {
    reason = error.what();
  }
  logLine("Vaultmere: source not removed — " + displayPath(source.path) + ": " + reason);
  return false;
}

/// Why the archive wants the source to stay; null when it may go.
const char* SourceRemover::reasonInArchive(const ArchivedSource& source) const {
  const auto archived = options_.root.statusOf(source.archived);
  if (!archived || archived->kind != FileKind::regular) {
    return "its archived file is out of reach";
  }
  if (source.asRead && archived->stamp.size != source.asRead->size) {
    return "its archived file has another size";
  }
  const auto now = fileStatus(source.path);
  std::vector<fs::path> folders = options_.neverRemoved;
  folders.push_back(options_.root.path);
  if ((now && archived->stamp.sameFile(now->stamp)) ||
      ProtectedFolders(folders).cover(source.path)) {
    return "it lies in the archive";
  }
  return isNamedLikeArchived(source) ? "its name is that of an archived file" : nullptr;
}

/// Another file system may show the archive's own files under other device and
/// inode numbers, but not under other names.
bool SourceRemover::isNamedLikeArchived(const ArchivedSource& source) const {
  const auto hash = hashInName(source.path);
  return hash && (hash == source.id || options_.holds(*hash));
}

}  // namespace vaultmere
