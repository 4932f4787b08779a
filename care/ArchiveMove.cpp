// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/ArchiveMove.h"

#include <fmt/format.h>

#include <cerrno>

#include "intake/FileHash.h"
#include "intake/VerifiedCopy.h"
#include "platform/BeneathRoot.h"
#include "platform/Log.h"
#include "platform/Text.h"
#include "platform/Uuid.h"

namespace vaultmere {
namespace {

OpenFolder folderOf(const ArchiveRoot& root, const fs::path& path) {
  const auto below = pathBelow(root.path, path);
  if (!below) {
    return OpenFolder::open(path.parent_path());
  }
  if (!staysBelow(*below)) {
    throw FileError("open", path, ENOENT);
  }
  OpenFolder folder = root.open();
  for (const fs::path& component : below->parent_path()) {
    folder = folder.folder(component);
  }
  return folder;
}

/// Whether two places are one entry of one folder, perhaps in two spellings on a
/// file system that makes no difference between them.
bool isSameEntry(const FilePlace& a, const FilePlace& b) {
  if (a.folder->status().stamp.sameFile(b.folder->status().stamp) && a.name == b.name) {
    return true;
  }
  const auto first = a.regularFile();
  const auto second = b.regularFile();
  return first && second && first->stamp.sameFile(second->stamp) && first->links == 1;
}

void removeCopy(const OpenFolder& folder, const fs::path& name) {
  try {
    folder.remove(name);
  } catch (const FileError& error) {
    logLine(fmt::format("Vaultmere: temporary file left — {}", error.what()));
  }
}

/// The copy gets the name before its source goes.
void copyAndRemove(const FilePlace& from, const FilePlace& to, const std::stop_token& stop) {
  File source = from.folder->openForReading(from.name);
  const FileStamp stamp = source.status().stamp;
  const fs::path copy = fmt::format(".{}.move", newUuid());
  if (!verifiedCopy(std::move(source), *to.folder, copy, std::nullopt, stop)) {
    throw FileError("copy to", to.folder->path() / copy, EEXIST);
  }
  try {
    to.folder->renameInto(copy, *to.folder, to.name);
  } catch (const FileError&) {
    removeCopy(*to.folder, copy);
    throw;
  }
  to.folder->sync();
  const auto now = from.folder->statusOf(from.name);
  if (now && now->stamp == stamp) {
    from.folder->remove(from.name);
  } else {
    logLine("Vaultmere: not removed after its move, since it is another file by now — " +
            displayPath(from.path()));
  }
}

}  // namespace

std::optional<FileStatus> FilePlace::regularFile() const {
  const auto status = folder->statusOf(name);
  return status && status->kind == FileKind::regular ? status : std::nullopt;
}

bool isSingleName(const std::string& name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string::npos;
}

bool isInReach(const ArchiveRoot& root) {
  try {
    (void)root.open();
    return true;
  } catch (const FileError& error) {
    if (error.code() == ENOENT || error.code() == ENODEV || error.code() == ENOTDIR) {
      return false;
    }
    throw;
  }
}

std::optional<FilePlace> findFile(const ArchiveRoot& root, const fs::path& path) {
  if (!path.is_absolute() || !isSingleName(path.filename().native())) {
    return std::nullopt;
  }
  try {
    FilePlace place{folderOf(root, path), path.filename()};
    return place.regularFile() ? std::optional(std::move(place)) : std::nullopt;
  } catch (const FileError& error) {
    const int code = error.code();
    if (code == ENOENT || code == ENOTDIR || code == ELOOP || code == ENAMETOOLONG) {
      return std::nullopt;
    }
    throw;
  }
}

Encounter compareForMove(const FilePlace& from, const FilePlace& to, const std::stop_token& stop) {
  const auto present = to.folder->statusOf(to.name);
  if (!present) {
    return {};
  }
  if (present->kind != FileKind::regular) {
    throw FileError("move to", to.path(), present->kind == FileKind::directory ? EISDIR : EEXIST);
  }
  const auto moved = from.folder->statusOf(from.name);
  if (moved && moved->stamp.sameFile(present->stamp)) {
    return {Encounter::Kind::sameBytes, {}, {}};
  }
  const auto hashOf = [&](const FilePlace& place) {
    File file = place.folder->openForReading(place.name);
    return hashFile(file, PageCache::bypass, stop).hash;
  };
  const std::string movedHash = hashOf(from);
  const std::string presentHash = hashOf(to);
  return {movedHash == presentHash ? Encounter::Kind::sameBytes : Encounter::Kind::otherBytes,
          movedHash, presentHash};
}

void moveFile(const FilePlace& from, const FilePlace& to, const std::stop_token& stop) {
  if (!isSameEntry(from, to)) {
    try {
      from.folder->renameInto(from.name, *to.folder, to.name);
      // Of two names of one file, rename(2) leaves both.
      const auto first = from.regularFile();
      const auto second = to.regularFile();
      if (first && second && first->stamp.sameFile(second->stamp) && first->links > 1) {
        from.folder->remove(from.name);
      }
    } catch (const FileError& error) {
      if (error.code() != EXDEV) {
        throw;
      }
      copyAndRemove(from, to, stop);
    }
  }
  to.folder->sync();
  from.folder->sync();
}

}  // namespace vaultmere
