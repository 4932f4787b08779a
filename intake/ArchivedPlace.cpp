// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/ArchivedPlace.h"

#include <cerrno>

#include "intake/ArchiveLayout.h"
#include "platform/BeneathRoot.h"

namespace vaultmere {
namespace {

fs::path placeInTrash(const VerifiableItem& item, ArchivedPart part) {
  return fs::path("trash") /
         (part == ArchivedPart::primary ? item.id + item.ext : motionFileName(item.id));
}

fs::path placeAtTarget(const VerifiableItem& item, ArchivedPart part) {
  const fs::path target = item.targetPath;
  return part == ArchivedPart::primary || target.empty()
             ? target
             : target.parent_path() / motionFileName(item.id);
}

/// What `open` opens; absent when nothing is there.
template <typename Open>
std::optional<File> ifThere(Open&& open) {
  try {
    return open();
  } catch (const FileError& error) {
    if (error.code() == ENOENT || error.code() == ENOTDIR) {
      return std::nullopt;
    }
    throw;
  }
}

}  // namespace

fs::path placeOf(const VerifiableItem& item, ArchivedPart part) {
  return item.isTrashed ? placeInTrash(item, part) : placeAtTarget(item, part);
}

fs::path otherPlaceOf(const VerifiableItem& item, ArchivedPart part) {
  return item.isTrashed ? placeAtTarget(item, part) : placeInTrash(item, part);
}

std::optional<File> openArchived(const ArchiveRoot& root, const VerifiableItem& item,
                                 ArchivedPart part) {
  (void)root.open();  // the right device
  const auto openBelow = [&](const fs::path& relative) {
    return relative.empty() ? std::nullopt
                            : ifThere([&] { return openBeneath(root.path, relative); });
  };
  for (const fs::path& relative : {placeOf(item, part), otherPlaceOf(item, part)}) {
    if (auto file = openBelow(relative)) {
      return file;
    }
  }
  const fs::path frozen =
      (part == ArchivedPart::primary ? item.archivePath : item.liveMotionPath).value_or("");
  if (!frozen.is_absolute()) {
    return std::nullopt;
  }
  const auto below = pathBelow(root.path, frozen);
  return below ? openBelow(*below) : ifThere([&] { return File::openForReading(frozen); });
}

}  // namespace vaultmere
