// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <string_view>
#include <vector>

#include "catalog/AnalyzedPhoto.h"
#include "platform/Calendar.h"
#include "tests/support/DeterministicRandom.h"
#include "tests/web/Scenery.h"

namespace vaultmere {

/// The folders of a generated library.
struct LibraryFolders {
  std::filesystem::path thumbnails;
  std::filesystem::path archive;
};

/// Generates the records of years of photography: journeys of some dozens of pictures,
/// not imported in order of time, with every kind of value, each of which is sometimes
/// absent. The first few have names that a page must show as text. The same each time.
///
/// Most pictures have a thumbnail; some have only their original in the archive, some
/// neither.
class MadeLibrary {
 public:
  /// `scenes` must not be empty.
  MadeLibrary(LibraryFolders folders, std::vector<Scene> scenes);

  /// The next record, once its files are there.
  [[nodiscard]] AnalyzedPhoto next();

 private:
  struct Spot;
  struct Camera;
  /// What the pictures of one journey have in common.
  struct Journey {
    int left = 0;      ///< pictures still to be taken
    sys_seconds time;  ///< of the next one
    const Spot* spot = nullptr;
    const Camera* camera = nullptr;
    std::string_view album;
  };

  [[nodiscard]] Journey nextJourney();
  void addKind(AnalyzedPhoto& photo);
  void addTaking(AnalyzedPhoto& photo);
  void addNames(AnalyzedPhoto& photo);
  void addPicture(AnalyzedPhoto& photo);

  const LibraryFolders folders_;
  const std::vector<Scene> scenes_;
  DeterministicRandom random_{20'250'607};
  Journey journey_;
  sys_seconds imported_;
  int made_ = 0;
};

}  // namespace vaultmere
