// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/ArchiveRebuilder.h"

#include <fmt/format.h>

#include <algorithm>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>

#include "care/StorageFolders.h"
#include "catalog/ArchivePlaces.h"
#include "catalog/CatalogDate.h"
#include "catalog/CatalogError.h"
#include "catalog/CatalogWriter.h"
#include "intake/ArchiveLayout.h"
#include "intake/FolderScan.h"
#include "intake/GroupAnalysis.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::size_t kProgressStep = 5;
constexpr const char* kTrash = "trash";

/// What the rows say of the files, by their paths below the root.
struct KnownFile {
  std::int64_t size = 0;
  bool hasMotionFile = false;
};
using KnownFiles = std::unordered_map<std::string, KnownFile>;

KnownFiles knownFiles(CatalogContext& context) {
  return context.perform([](Connection& connection) {
    KnownFiles known;
    forEachArchivePlace(connection, [&](ArchivePlace&& place) {
      known.insert_or_assign(std::move(place.targetPath),
                             KnownFile{place.sizeBytes, place.hasMotionFile});
    });
    return known;
  });
}

/// The first day of the month that a folder of the archive stands for; absent for
/// other folders, and for months that no calendar has.
std::optional<std::string> firstDayOf(const fs::path& folder) {
  const std::string month = folder.filename().native();
  const std::string date = month + "-01T00:00:00";
  const bool isOfArchive = archivePathOf(date, "", "") == folder.generic_string() + "/";
  return isOfArchive && parseCatalogDate(date) ? std::optional(date) : std::nullopt;
}

/// A name that staging or the camera gave is gone, but the folder still tells of it.
void takeDateOfFolder(AnalyzedPhoto& photo, const fs::path& folder) {
  const auto firstDay = firstDayOf(folder);
  constexpr std::size_t month = 7;  // "2021-06"
  if (firstDay && photo.captureDateSource == "filemtime" && photo.captureDate &&
      photo.captureDate->substr(0, month) != firstDay->substr(0, month)) {
    photo.captureDate = firstDay;
    photo.captureDateSource = "filename";
    photo.captureDateConfidence = "low";
  }
}

std::size_t countFiles(const fs::path& folder) {
  std::size_t count = 0;
  std::vector<fs::path> waiting{folder};
  while (!waiting.empty()) {
    const fs::path next = std::move(waiting.back());
    waiting.pop_back();
    try {
      for (DirectoryEntry& entry : listDirectory(next)) {
        count += entry.kind == FileKind::regular ? 1 : 0;
        if (entry.kind == FileKind::directory) {
          waiting.push_back(std::move(entry.path));
        }
      }
    } catch (const FileError& error) {
      logLine(fmt::format("Vaultmere: rebuild: {}", error.what()));
    }
  }
  return count;
}

class Rebuild {
 public:
  Rebuild(const ArchiveRebuilder::Options& options, const std::stop_token& stop)
      : options_(options),
        stop_(stop),
        root_(options.root.path.lexically_normal()),
        writer_(options.context),
        known_(knownFiles(*options.context)) {}

  ArchiveRebuilder::Result run(const ArchiveRebuilder::Progress& progress) {
    (void)options_.root.open();
    const std::vector<AssetGroup> groups = walk();
    progress(0, groups.size());
    for (std::size_t done = 0; done < groups.size();) {
      if (stop_.stop_requested()) {
        break;
      }
      take(groups[done]);
      ++done;
      if (done % kProgressStep == 0 || done == groups.size()) {
        progress(done, groups.size());
      }
    }
    return result_;
  }

 private:
  [[nodiscard]] std::vector<AssetGroup> walk() const {
    const fs::path trash = root_ / kTrash;
    if (linkStatus(trash)) {
      logLine(fmt::format("Vaultmere: rebuild: {} files in “{}” passed over", countFiles(trash),
                          displayPath(trash)));
    }
    std::vector<fs::path> unscanned{trash};
    for (const fs::path& folder : options_.neverScanned) {
      if (!ProtectedFolders({folder}).cover(root_)) {  // else it would cover all of it
        unscanned.push_back(folder);
      }
    }
    std::vector<AssetGroup> groups = scanTree(root_, ProtectedFolders(unscanned), stop_).groups;
    std::set<fs::path> leftOut;
    std::erase_if(groups, [&](const AssetGroup& group) {
      const auto folder = storageFolderOf(group.primary);
      return folder && (leftOut.insert(*folder), true);
    });
    for (const fs::path& folder : leftOut) {
      logLine("Vaultmere: rebuild: the storage's own folder left out — " + displayPath(folder));
    }
    return groups;
  }

  [[nodiscard]] std::optional<fs::path> storageFolderOf(const fs::path& file) const {
    fs::path folder = root_;
    for (const fs::path& component : file.parent_path().lexically_relative(root_)) {
      folder /= component;
      if (isStorageFolder(component.native())) {
        return folder;
      }
    }
    return std::nullopt;
  }

  void take(AssetGroup group) {
    const fs::path relative = group.primary.lexically_relative(root_);
    if (isKnown(group, relative)) {
      return;
    }
    const auto expected = hashInName(group.primary);
    if (expected) {
      group.dateName = fs::path();
    }
    try {
      AnalyzedPhoto photo =
          analyzeGroup(group, nullptr, options_.media, options_.vision, stop_).photo;
      if (expected && photo.id != *expected) {
        ++result_.unreadable;
        logLine("Vaultmere: rebuild: its bytes aren't those that its name tells — " +
                displayPath(group.primary));
        return;
      }
      fillIn(photo, group, relative);
      insert(photo);
    } catch (const FileError& error) {
      if (stop_.stop_requested()) {
        return;
      }
      (void)options_.root.open();  // a drive that has gone is no file that can't be read
      ++result_.unreadable;
      logLine(fmt::format("Vaultmere: rebuild: {}", error.what()));
    }
  }

  [[nodiscard]] bool isKnown(const AssetGroup& group, const fs::path& relative) const {
    const auto found = known_.find(displayPath(relative));
    if (found == known_.end() || (group.motion && !found->second.hasMotionFile)) {
      return false;
    }
    const auto status = linkStatus(group.primary);
    return status && status->stamp.size == found->second.size;
  }

  static void fillIn(AnalyzedPhoto& photo, const AssetGroup& group, const fs::path& relative) {
    takeDateOfFolder(photo, relative.parent_path());
    photo.targetPath = displayPath(relative);
    photo.archivePath = displayPath(group.primary);
    photo.storage = "archive";
    if (group.motion) {
      photo.liveMotionFile = displayName(*group.motion);
      photo.liveMotionPath = displayPath(*group.motion);
    }
  }

  void insert(const AnalyzedPhoto& photo) {
    try {
      if (writer_.write(photo) == CatalogWriter::Outcome::inserted) {
        ++result_.added;
      }
    } catch (const CatalogError& error) {
      logLine(fmt::format("Vaultmere: rebuild: {}: {}", photo.targetPath, error.what()));
    }
  }

  const ArchiveRebuilder::Options& options_;
  const std::stop_token& stop_;
  const fs::path root_;
  const CatalogWriter writer_;
  const KnownFiles known_;
  ArchiveRebuilder::Result result_;
};

}  // namespace

ArchiveRebuilder::Result ArchiveRebuilder::run(const Progress& progress,
                                               const std::stop_token& stop) const {
  return Rebuild(options_, stop).run(progress);
}

}  // namespace vaultmere
