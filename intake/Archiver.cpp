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
  static_cast<void>(ensureArchived({source, relative, photo.id, sourcesGo}));
  if (motion) {
    const fs::path motionRelative = relative.parent_path() / motionFileName(photo.id);
    archived.liveMotionPath = root_.path / motionRelative;
    Ensured ensured = ensureArchived({*motion, motionRelative, std::nullopt, sourcesGo});
    archived.motionDiffers = ensured.presence == Presence::differs;
    archived.liveMotionHash = std::move(ensured.hash);
    const auto status = root_.statusOf(motionRelative);
    archived.liveMotionSize = status ? status->stamp.size : 0;
  }
  return archived;
}

/// Sees to it that the target stands, and that it and its folders are durable.
Archiver::Ensured Archiver::ensureArchived(const Item& item) const {
  const std::vector<OpenFolder> folders = root_.makeFolders(item.relative.parent_path());
  const fs::path name = item.relative.filename();
  const bool wasThere = folders.back().statusOf(name).has_value();
  Ensured ensured{Presence::copied, std::nullopt};
  if (!wasThere) {
    ensured.hash = verifiedCopy(item.source, folders.back(), name, item.expectedHash, stop_);
  }
  if (!ensured.hash) {
    // A file that came while we copied may be another one's motion file.
    ensured = adopt(item, folders.back(), item.sourceGoes || !wasThere);
  }
  for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
    flushes_->flush(*folder);
  }
  return ensured;
}

/// Takes a file that has the target's name for the item, if it is.
Archiver::Ensured Archiver::adopt(const Item& item, const OpenFolder& folder, bool readsIt) const {
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
    if (existing.status().stamp.size != source.stamp.size) {
      return {Presence::differs, std::nullopt};
    }
    if (!readsIt) {
      return {Presence::wasThere, std::nullopt};
    }
    std::string hash = hashFile(existing, PageCache::bypass, stop_).hash;
    return hash == hashFile(item.source, PageCache::use, stop_).hash
               ? Ensured{Presence::wasThere, std::move(hash)}
               : Ensured{Presence::differs, std::nullopt};
  }
  if (readsIt && hashFile(existing, PageCache::bypass, stop_).hash != *item.expectedHash) {
    throw ArchiveError::verifyFailed("hash", name);
  }
  return {Presence::wasThere, item.expectedHash};
}

}  // namespace vaultmere
