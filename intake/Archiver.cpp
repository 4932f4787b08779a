// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/Archiver.h"

#include <fmt/format.h>

#include "intake/ArchiveLayout.h"
#include "intake/FileHash.h"
#include "intake/VerifiedCopy.h"
#include "platform/Text.h"

namespace vaultmere {

Archiver::Archived Archiver::archive(const fs::path& source, const std::optional<fs::path>& motion,
                                     const AnalyzedPhoto& photo, bool sourcesGo) const {
  const fs::path relative = photo.targetPath;
  Archived archived;
  archived.archivePath = root_.path / relative;
  archived.wasThere = ensureArchived({source, relative, photo.id, sourcesGo}) == Presence::wasThere;
  if (motion) {
    const fs::path motionRelative = relative.parent_path() / motionFileName(photo.id);
    archived.liveMotionPath = root_.path / motionRelative;
    archived.motionDiffers =
        ensureArchived({*motion, motionRelative, std::nullopt, sourcesGo}) == Presence::differs;
    const auto status = root_.statusOf(motionRelative);
    archived.liveMotionSize = status ? status->stamp.size : 0;
  }
  return archived;
}

/// Sees to it that the target stands, and that it and its folders are durable.
Archiver::Presence Archiver::ensureArchived(const Item& item) const {
  const std::vector<OpenFolder> folders = root_.makeFolders(item.relative.parent_path());
  const fs::path name = item.relative.filename();
  const bool wasThere = folders.back().statusOf(name).has_value();
  Presence presence = Presence::copied;
  if (wasThere || !verifiedCopy(item.source, folders.back(), name, item.expectedHash, stop_)) {
    // A file that came while we copied may be another one's motion file.
    presence = adopt(item, folders.back(), item.sourceGoes || !wasThere);
  }
  for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
    flushes_->flush(*folder);
  }
  return presence;
}

/// Takes a file that has the target's name for the item, if it is.
Archiver::Presence Archiver::adopt(const Item& item, const OpenFolder& folder, bool readsIt) const {
  const fs::path name = item.relative.filename();
  const auto status = folder.statusOf(name);
  if (status && status->kind != FileKind::regular) {
    throw ArchiveError(fmt::format("not a regular file: {}", displayPath(folder.path() / name)));
  }
  File existing = folder.openForReading(name);
  // Before it is read, since only flushed pages can be dropped from the cache.
  existing.syncWrittenByOthers();
  if (!item.expectedHash) {
    const FileStatus source = requireStatus("open", item.source);
    const bool hasOtherBytes = existing.status().stamp.size != source.stamp.size ||
                               (readsIt && hashFile(existing, PageCache::bypass, stop_).hash !=
                                               hashFile(item.source, PageCache::use, stop_).hash);
    return hasOtherBytes ? Presence::differs : Presence::wasThere;
  }
  if (readsIt && hashFile(existing, PageCache::bypass, stop_).hash != *item.expectedHash) {
    throw ArchiveError::verifyFailed("hash", name);
  }
  return Presence::wasThere;
}

}  // namespace vaultmere
