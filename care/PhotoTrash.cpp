// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/PhotoTrash.h"

#include <fmt/format.h>

#include <cerrno>
#include <span>
#include <utility>

#include "care/TrashMove.h"
#include "catalog/PhotoQueries.h"
#include "catalog/TrashQueries.h"
#include "intake/ArchiveLayout.h"
#include "platform/BeneathRoot.h"
#include "platform/Log.h"

namespace vaultmere {
namespace {

/// A photo's places in the archive, the likelier one first.
std::vector<fs::path> homesOf(const Photo& photo, const ArchiveRoot& root) {
  std::vector<fs::path> homes;
  if (photo.archivePath && !photo.archivePath->empty()) {
    homes.emplace_back(*photo.archivePath);
  }
  if (staysBelow(photo.targetPath)) {
    homes.push_back(root.path / photo.targetPath);
  }
  return homes;
}

fs::path nameInTrash(const Photo& photo, const ArchiveRoot& root) {
  const std::string name = photo.id + photo.ext;
  if (!isSingleName(name)) {
    throw FileError("move to", root.path / kTrashFolder / name, EINVAL);
  }
  return name;
}

std::optional<FilePlace> findInTrash(const Photo& photo, const ArchiveRoot& root) {
  return findFile(root, root.path / kTrashFolder / nameInTrash(photo, root));
}

/// A place below the root, in a folder that stands durably.
FilePlace makePlace(const ArchiveRoot& root, const fs::path& relative) {
  std::vector<OpenFolder> folders = root.makeFolders(relative.parent_path());
  for (auto folder = folders.rbegin() + 1; folder != folders.rend(); ++folder) {
    folder->sync();
  }
  return {std::move(folders.back()), relative.filename()};
}

std::optional<FilePlace> findOrLog(const ArchiveRoot& root, const fs::path& motion) {
  try {
    return findFile(root, motion);
  } catch (const FileError& error) {
    logLine(fmt::format("Vaultmere: motion file not moved — {}", error.what()));
    return std::nullopt;
  }
}

/// The motion file of a photo whose original has been moved already.
std::optional<FilePlace> findLeftMotion(const Photo& photo, const ArchiveRoot& root) {
  for (const fs::path& home : homesOf(photo, root)) {
    if (auto place = findOrLog(root, home.parent_path() / motionFileName(photo.id))) {
      return place;
    }
  }
  return std::nullopt;
}

/// A file that a killed run has moved, perhaps without a flush.
void flushMoved(const FilePlace& place) {
  File file = place.folder->openForReading(place.name);
  file.syncWrittenByOthers();
  place.folder->sync();
}

}  // namespace

TrashError TrashError::originalNotFound(const Photo& photo) {
  return TrashError(photo.originalFilename + ": original not found — is the destination online?");
}

std::optional<FilePlace> findOriginal(const Photo& photo, const ArchiveRoot& root) {
  std::optional<FileError> failure;
  for (const fs::path& home : homesOf(photo, root)) {
    try {
      if (auto place = findFile(root, home)) {
        return place;
      }
    } catch (const FileError& error) {
      failure = error;  // the other place may still do
    }
  }
  if (failure) {
    throw FileError(*failure);
  }
  return std::nullopt;
}

const ArchiveRoot& PhotoTrash::chosenRoot() const {
  if (!options_.root) {
    throw TrashError("No destination set.");
  }
  return *options_.root;
}

std::optional<Photo> PhotoTrash::fetch(const std::string& id) const {
  return options_.catalog->perform([&](Connection& connection) {
    auto found = fetchPhotos(connection, std::span(&id, 1));
    return found.empty() ? std::nullopt : std::optional(std::move(found.front()));
  });
}

void PhotoTrash::checkKeeper(const std::string& keeper) const {
  const auto photo = fetch(keeper);
  if (!photo) {
    throw TrashError::originalNotFound({});
  }
  const bool isDamaged = options_.isDamaged && options_.isDamaged(keeper);
  const auto original =
      photo->trashedAt || isDamaged ? std::nullopt : findOriginal(*photo, chosenRoot());
  const auto status = original ? original->regularFile() : std::nullopt;
  if (!status || status->stamp.size != photo->sizeBytes) {
    throw TrashError::originalNotFound(*photo);
  }
}

PhotoTrash::ChangedIds PhotoTrash::moveToTrash(const std::string& id,
                                               const std::optional<std::string>& keeper) const {
  const ArchiveRoot& root = chosenRoot();
  const auto photo = fetch(id);
  if (!photo || id == keeper) {
    return {};
  }
  if (!isInReach(root)) {
    throw TrashError::originalNotFound(*photo);
  }
  if (keeper) {
    checkKeeper(*keeper);
  }
  const auto original = findOriginal(*photo, root);
  if (!original && photo->trashedAt) {
    return {};
  }
  if (!original && !findInTrash(*photo, root)) {
    throw TrashError::originalNotFound(*photo);
  }
  const CatalogDate now = options_.now();
  const TrashMove move = mover(*photo, now);
  const FilePlace inTrash = makePlace(root, fs::path(kTrashFolder) / nameInTrash(*photo, root));
  if (original) {
    move.movePrimary(*original, inTrash);
  } else {
    flushMoved(inTrash);
  }
  if (const auto from = original ? original : findLeftMotion(*photo, root)) {
    move.moveMotion(*from, inTrash, now);
  }
  auto changed = options_.catalog->perform(
      [&](Connection& connection) { return markTrashed(connection, id, now, keeper); });
  if (!changed) {  // the keeper has been trashed meanwhile
    if (original) {
      move.movePrimary(inTrash, *original);
      move.moveMotion(inTrash, *original, std::nullopt);
    }
    throw TrashError::originalNotFound(fetch(*keeper).value_or(Photo()));
  }
  return *std::move(changed);
}

PhotoTrash::ChangedIds PhotoTrash::restore(const std::string& id) const {
  const ArchiveRoot& root = chosenRoot();
  const auto photo = fetch(id);
  if (!photo) {
    return {};
  }
  const fs::path target = photo->targetPath;
  const bool mayBeTarget = staysBelow(target) && isSingleName(target.filename().native());
  const bool isThere = isInReach(root);
  const auto inTrash = isThere ? findInTrash(*photo, root) : std::nullopt;
  const bool isRestored =
      isThere && !inTrash && mayBeTarget && findFile(root, root.path / target).has_value();
  if (!inTrash && !isRestored) {
    throw TrashError(photo->originalFilename + ": no longer in the trash folder.");
  }
  if (!mayBeTarget) {
    throw FileError("move to", root.path / target, EINVAL);
  }
  const TrashMove move = mover(*photo, options_.now());
  const FilePlace place = makePlace(root, target);
  if (inTrash) {
    move.movePrimary(*inTrash, place);
  } else {
    flushMoved(place);
  }
  const fs::path motion = root.path / kTrashFolder / motionFileName(id);
  if (const auto from = inTrash ? inTrash : findOrLog(root, motion)) {
    move.moveMotion(*from, place, std::nullopt);
  }
  return options_.catalog->perform(
      [&](Connection& connection) { return markRestored(connection, id); });
}

TrashMove PhotoTrash::mover(const Photo& photo, CatalogDate now) const {
  return TrashMove({photo, *options_.root, now, options_.stop, [this](const Photo& video) {
                      options_.catalog->perform(
                          [&](Connection& connection) { insertUnlessKnown(connection, video); });
                    }});
}

}  // namespace vaultmere
