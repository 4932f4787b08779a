// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/FolderScan.h"

#include <algorithm>
#include <iterator>
#include <map>
#include <string>

#include "analysis/MediaTypes.h"
#include "platform/BundleExtensions.h"
#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

bool isHidden(const fs::path& path) { return path.filename().native().starts_with('.'); }

}  // namespace

void ScanResult::append(ScanResult other) {
  std::move(other.groups.begin(), other.groups.end(), std::back_inserter(groups));
  std::move(other.junk.begin(), other.junk.end(), std::back_inserter(junk));
}

ScanResult groupFiles(std::vector<fs::path> files) {
  std::stable_sort(files.begin(), files.end(), [](const fs::path& a, const fs::path& b) {
    return a.filename().native() < b.filename().native();
  });
  ScanResult result;
  std::vector<fs::path> images;
  struct Video {
    fs::path path;
    int stills = 0;
    std::shared_ptr<MotionRefCount> use;
  };
  std::vector<Video> videos;
  for (fs::path& file : files) {
    switch (mediaTypeOf(lowerExtension(file))) {
      case MediaType::image:
        images.push_back(std::move(file));
        break;
      case MediaType::video:
        videos.push_back({std::move(file), 0, nullptr});
        break;
      case MediaType::junk:
        result.junk.push_back(std::move(file));
        break;
      case MediaType::sidecar:
        break;
    }
  }
  std::map<std::string, Video*> firstOfStem;
  for (Video& video : videos) {
    firstOfStem.try_emplace(video.path.stem().native(), &video);
  }
  const auto motionOf = [&](const fs::path& image) {
    const auto found = firstOfStem.find(image.stem().native());
    return found == firstOfStem.end() ? nullptr : found->second;
  };
  for (const fs::path& image : images) {
    if (Video* motion = motionOf(image)) {
      ++motion->stills;
    }
  }
  for (fs::path& image : images) {
    AssetGroup group;
    if (Video* motion = motionOf(image)) {
      group.motion = motion->path;
      if (motion->stills > 1 && !motion->use) {
        motion->use = std::make_shared<MotionRefCount>(motion->stills);
      }
      group.motionRefCount = motion->use;
    }
    group.primary = std::move(image);
    result.groups.push_back(std::move(group));
  }
  for (Video& video : videos) {
    if (video.stills == 0) {
      result.groups.push_back({std::move(video.path), std::nullopt, true, nullptr});
    }
  }
  return result;
}

ProtectedFolders::ProtectedFolders(const std::vector<fs::path>& folders) {
  for (const fs::path& folder : folders) {
    if (const auto status = fileStatus(folder)) {
      folders_.emplace(status->stamp.device, status->stamp.inode);
    }
  }
}

bool ProtectedFolders::contains(const fs::path& folder) const {
  if (folders_.empty()) {
    return false;
  }
  const auto status = fileStatus(folder);
  return status && folders_.contains({status->stamp.device, status->stamp.inode});
}

bool ProtectedFolders::cover(const fs::path& path) const {
  std::error_code error;
  fs::path place = fs::canonical(path, error);
  if (error) {
    return false;
  }
  for (;; place = place.parent_path()) {
    if (contains(place)) {
      return true;
    }
    if (place == place.root_path()) {
      return false;
    }
  }
}

FolderContent readFolder(const fs::path& folder, const ProtectedFolders& protect) {
  FolderContent content;
  try {
    for (DirectoryEntry& entry : listDirectory(folder)) {
      if (isHidden(entry.path)) {
        continue;
      }
      if (entry.kind == FileKind::regular) {
        content.files.push_back(std::move(entry.path));
      } else if (entry.kind == FileKind::directory && !isPackageName(entry.path) &&
                 !protect.contains(entry.path)) {
        content.folders.push_back(std::move(entry.path));
      }
    }
  } catch (const FileError& error) {
    logLine(std::string("Vaultmere: folder skipped — ") + error.what());
  }
  return content;
}

ScanResult scanFolder(const fs::path& folder, const ProtectedFolders& protect) {
  return protect.cover(folder) ? ScanResult{} : groupFiles(readFolder(folder, protect).files);
}

ScanResult scanTree(const fs::path& folder, const ProtectedFolders& protect,
                    const std::stop_token& stop) {
  ScanResult result;
  if (protect.cover(folder)) {
    return result;
  }
  // Depth first, in listing order: what is found goes on top of what waits.
  std::vector<fs::path> waiting{folder};
  while (!waiting.empty() && !stop.stop_requested()) {
    const fs::path next = std::move(waiting.back());
    waiting.pop_back();
    FolderContent content = readFolder(next, protect);
    result.append(groupFiles(std::move(content.files)));
    std::move(content.folders.rbegin(), content.folders.rend(), std::back_inserter(waiting));
  }
  return result;
}

}  // namespace vaultmere
