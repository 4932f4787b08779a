// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "catalog/Photo.h"
#include "thumbnails/PhotoRef.h"

namespace vaultmere {

/// One photo of a group of duplicates, as it was when the group was made.
struct DuplicateMember {
  std::int64_t objectID = 0;  ///< the row's key in the store
  std::string id;
  std::string filename;  ///< empty when the row has none
  std::string ext;       ///< as stored, with its dot; empty when the row has none
  std::int64_t sizeBytes = 0;
  int width = 0;  ///< pixels
  int height = 0;
  bool isRaw = false;
  bool burst = false;
  bool exempt = false;      ///< unstacked by the user
  bool fromPhotos = false;  ///< from the photo library
  bool hasCamera = false;
  std::optional<std::string> stackedUnder;  ///< `id` of the stack's top photo
  PhotoRef ref;                             ///< finds the file and the thumbnail
  bool operator==(const DuplicateMember&) const = default;
};

/// The member that a row makes. A size below 0 or above any file's counts as the nearest
/// that there can be, so that sums stay in range.
[[nodiscard]] DuplicateMember memberOf(std::int64_t objectID, const Photo& photo);

/// What members are ranked by, the most original first: pixels, origin in the photo
/// library, format (RAW 4; HEIC, HEIF and AVIF 3; PNG and TIFF 2; others 1), a known
/// camera, bytes. Each is compared only when those before it are equal; more is
/// better.
using KeeperRank = std::array<std::int64_t, 5>;
[[nodiscard]] KeeperRank keeperRank(const DuplicateMember& member);

/// Sorts members, best first; equal ones keep their order. The first one is the
/// keeper: a merge keeps it.
void rankMembers(std::vector<DuplicateMember>& members);

/// The member that stays visible when ranked members are stacked: the first Live
/// Photo, else the first that isn't RAW, else the first. There must be one.
[[nodiscard]] const DuplicateMember& stackTarget(const std::vector<DuplicateMember>& members);

/// The bytes of all members but the first.
[[nodiscard]] std::int64_t reclaimableBytes(const std::vector<DuplicateMember>& members);

}  // namespace vaultmere
