// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/TrashMove.h"

#include <fmt/format.h>

#include "intake/ArchiveLayout.h"
#include "intake/FileHash.h"
#include "intake/VerifiedCopy.h"
#include "platform/BeneathRoot.h"
#include "platform/Calendar.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

/// A name that nothing in the folder has: "<stem>.20261123T164109Z<extension>", with
/// a number behind the time when that is taken.
fs::path freeName(const OpenFolder& folder, const fs::path& name, CatalogDate now) {
  std::string time = rfc3339(now.wholeSeconds());
  std::erase_if(time, [](char c) { return c == ':' || c == '-'; });  // FAT takes no colon
  for (int number = 1;; ++number) {
    fs::path candidate = name.stem();
    candidate += "." + time + (number == 1 ? "" : fmt::format("-{}", number));
    candidate += name.extension();
    if (!folder.statusOf(candidate)) {
      return candidate;
    }
  }
}

/// The row of a video that was the motion file of another photo: it has that
/// one's date and place.
Photo videoOf(const Photo& still, const std::string& hash, std::int64_t size,
              const fs::path& rootPath, CatalogDate now) {
  Photo video;
  video.id = hash;
  video.mediaType = "video";
  video.originalFilename = fs::path(still.originalFilename).replace_extension(".mov").string();
  video.ext = ".mov";
  video.sizeBytes = size;
  const fs::path folder =
      staysBelow(still.targetPath) ? fs::path(still.targetPath).parent_path() : "undated";
  video.targetPath = (folder / (hash + ".mov")).string();
  video.archivePath = (rootPath / video.targetPath).string();
  video.storage = "archive";
  video.processedAt = now;
  video.captureDate = still.captureDate;
  video.year = still.year;
  video.captureDateSource = still.captureDateSource;
  video.captureDateConfidence = still.captureDateConfidence;
  video.gpsLat = still.gpsLat;
  video.gpsLon = still.gpsLon;
  return video;
}

}  // namespace

void TrashMove::movePrimary(const FilePlace& from, const FilePlace& to) const {
  const Encounter met = compareForMove(from, to, options_.stop);
  if (met.kind == Encounter::Kind::otherBytes) {
    if (met.presentHash == options_.photo.id) {
      setAside(from);
      to.folder->sync();
      return;
    }
    setAside(to);
  }
  moveFile(from, to, options_.stop);
}

void TrashMove::moveMotion(const FilePlace& from, const FilePlace& to,
                           const std::optional<CatalogDate>& since) const noexcept {
  const auto& name = options_.photo.liveMotionFile;
  // Under another name it would be another photo's file.
  if (!name || *name != motionFileName(options_.photo.id)) {
    return;
  }
  try {
    const FilePlace source = from.sibling(*name);
    const FilePlace target = to.sibling(*name);
    if (!source.regularFile()) {
      return;
    }
    const Encounter met = compareForMove(source, target, options_.stop);
    if (met.kind == Encounter::Kind::otherBytes) {
      keepAsVideo(target, met.presentHash, since);
    }
    moveFile(source, target, options_.stop);
  } catch (const std::exception& error) {
    logLine(fmt::format("Vaultmere: motion file not moved — {}", error.what()));
  }
}

void TrashMove::setAside(const FilePlace& file) const {
  std::vector<OpenFolder> folders =
      options_.root.makeFolders(fs::path(kTrashFolder) / kDamagedFolder);
  const fs::path name = freeName(folders.back(), file.name, options_.now);
  const FilePlace aside{std::move(folders.back()), name};
  folders.pop_back();
  moveFile(file, aside, options_.stop);
  for (auto parent = folders.rbegin(); parent != folders.rend(); ++parent) {
    parent->sync();
  }
  logLine(fmt::format("Vaultmere: {} had the name of a file with other bytes; it is kept as {}",
                      displayPath(file.path()), displayPath(aside.path())));
}

/// The copy under the file's own hash comes first, then the row; the old name
/// goes when the other file takes it.
void TrashMove::keepAsVideo(const FilePlace& motion, const std::string& hash,
                            const std::optional<CatalogDate>& since) const {
  const fs::path name = hash + ".mov";
  if (!motion.folder->statusOf(name) && !verifiedCopy(motion.folder->openForReading(motion.name),
                                                      *motion.folder, name, hash, options_.stop)) {
    throw FileError("copy to", motion.folder->path() / name, EEXIST);
  }
  File own = motion.folder->openForReading(name);
  own.syncWrittenByOthers();
  const HashedFile read = hashFile(own, PageCache::bypass, options_.stop);
  if (read.hash != hash) {
    throw ArchiveError::verifyFailed("hash", name);
  }
  motion.folder->sync();
  Photo video = videoOf(options_.photo, hash, read.size, options_.root.path, options_.now);
  video.trashedAt = since;
  options_.record(video);
  logLine(fmt::format("Vaultmere: {} is now a video of its own, {}", displayPath(motion.path()),
                      displayPath(name)));
}

}  // namespace vaultmere
