// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/DamagedFile.h"

#include <fmt/format.h>

#include <cerrno>
#include <utility>
#include <vector>

#include "intake/ArchivedPlace.h"
#include "intake/FileHash.h"
#include "intake/VerifiedCopy.h"
#include "platform/BeneathRoot.h"
#include "platform/Calendar.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr const char* kDamaged = "trash/damaged";

void flush(const std::vector<OpenFolder>& folders) {
  for (auto folder = folders.rbegin(); folder != folders.rend(); ++folder) {
    folder->sync();
  }
}

/// Whether the file has the right bytes, which are durable then. One that can't be
/// read has not.
bool isSound(const OpenFolder& folder, const fs::path& name, const std::string& expected,
             const std::stop_token& stop) {
  try {
    File file = folder.openForReading(name);
    file.syncWrittenByOthers();
    return hashFile(file, PageCache::bypass, stop).hash == expected;
  } catch (const FileError& error) {
    if (error.code() == ECANCELED) {
      throw;
    }
    return false;
  }
}

/// "<id>.20210601T101112Z<ext>", or with "-2" and so on behind the time, if
/// something has that name.
fs::path freeName(const OpenFolder& folder, const fs::path& file, TimePoint now) {
  const CivilTime t = utcTime(now);
  const std::string stem = fmt::format("{}.{:04}{:02}{:02}T{:02}{:02}{:02}Z", file.stem().native(),
                                       t.year, t.month, t.day, t.hour, t.minute, t.second);
  fs::path name = stem + file.extension().native();
  for (int number = 2; folder.statusOf(name); ++number) {
    name = fmt::format("{}-{}{}", stem, number, file.extension().native());
  }
  return name;
}

/// Moves a file to the folder of damaged ones. The move is durable.
void setAside(const ArchiveRoot& root, const OpenFolder& folder, const fs::path& name,
              TimePoint now, const std::stop_token& stop) {
  const std::vector<OpenFolder> aside = root.makeFolders(kDamaged);
  const fs::path kept = freeName(aside.back(), name, now);
  try {
    folder.renameInto(name, aside.back(), kept);
    flush(aside);
  } catch (const FileError& error) {
    if (error.code() != EXDEV) {
      throw;
    }
    if (!verifiedCopy(folder.openForReading(name), aside.back(), kept, std::nullopt, stop)) {
      throw FileError("copy to", aside.back().path() / kept, EEXIST);
    }
    flush(aside);
    folder.remove(name);
  }
  folder.sync();
  logLine(fmt::format("Vaultmere: a damaged file is kept as {}",
                      displayPath(aside.back().path() / kept)));
}

}  // namespace

void replaceDamaged(const ArchiveRoot& root, const VerifiableItem& item, ArchivedPart part,
                    File source, TimePoint now, const std::stop_token& stop) {
  const fs::path place = placeOf(item, part);
  const std::string expected =
      part == ArchivedPart::primary ? item.id : item.motionHash.value_or("");
  if (!isHash(item.id) || !isHash(expected) || !staysBelow(place)) {
    throw ArchiveError("no place below the archive, or no hash: " + displayPath(place));
  }
  const std::vector<OpenFolder> folders = root.makeFolders(place.parent_path());
  const OpenFolder& folder = folders.back();
  const fs::path name = place.filename();
  const auto status = folder.statusOf(name);
  if (status && status->kind != FileKind::regular) {
    throw ArchiveError("not a regular file: " + displayPath(folder.path() / name));
  }
  if (!status || !isSound(folder, name, expected, stop)) {
    const auto makeRoom = [&] {
      if (status) {
        setAside(root, folder, name, now, stop);
      }
    };
    if (!verifiedCopy(std::move(source), folder, name, expected, stop, makeRoom)) {
      throw FileError("copy to", folder.path() / name, EEXIST);
    }
    logLine("Vaultmere: healed — " + displayPath(folder.path() / name));
  }
  flush(folders);
}

}  // namespace vaultmere
