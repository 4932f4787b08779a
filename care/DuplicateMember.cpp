// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/DuplicateMember.h"

#include <algorithm>
#include <numeric>
#include <string_view>

#include "analysis/MediaTypes.h"

namespace vaultmere {
namespace {

constexpr std::int64_t kMaxFileBytes = std::int64_t{1} << 43;

std::string_view withoutDot(std::string_view ext) { return ext.substr(ext.empty() ? 0 : 1); }

std::int64_t formatRank(std::string_view ext) {
  ext = withoutDot(ext);
  if (isRaw(ext)) {
    return 4;
  }
  if (ext == "heic" || ext == "heif" || ext == "avif") {
    return 3;
  }
  return ext == "png" || ext == "tiff" || ext == "tif" ? 2 : 1;
}

}  // namespace

DuplicateMember memberOf(std::int64_t objectID, const Photo& photo) {
  DuplicateMember member;
  member.objectID = objectID;
  member.id = photo.id;
  member.filename = photo.originalFilename;
  member.ext = photo.ext;
  member.sizeBytes = std::clamp<std::int64_t>(photo.sizeBytes, 0, kMaxFileBytes);
  member.width = std::max(photo.width.value_or(0), 0);
  member.height = std::max(photo.height.value_or(0), 0);
  member.isRaw = isRaw(withoutDot(photo.ext));
  member.burst = photo.ptBurst;
  member.exempt = photo.stackExempt;
  member.fromPhotos = photo.photosUUID.has_value();
  member.hasCamera = photo.cameraModel.has_value();
  member.stackedUnder = photo.stackedUnder;
  member.ref = photoRefOf(photo);
  return member;
}

KeeperRank keeperRank(const DuplicateMember& member) {
  return {std::int64_t{member.width} * member.height, member.fromPhotos ? 1 : 0,
          formatRank(member.ext), member.hasCamera ? 1 : 0, member.sizeBytes};
}

void rankMembers(std::vector<DuplicateMember>& members) {
  std::stable_sort(members.begin(), members.end(),
                   [](const auto& a, const auto& b) { return keeperRank(a) > keeperRank(b); });
}

const DuplicateMember& stackTarget(const std::vector<DuplicateMember>& members) {
  const auto live = std::find_if(members.begin(), members.end(), [](const auto& member) {
    return member.ref.mediaType == "live_photo";
  });
  if (live != members.end()) {
    return *live;
  }
  const auto rendered = std::find_if(members.begin(), members.end(),
                                     [](const auto& member) { return !member.isRaw; });
  return rendered != members.end() ? *rendered : members.front();
}

std::int64_t reclaimableBytes(const std::vector<DuplicateMember>& members) {
  return std::accumulate(
      members.begin() + (members.empty() ? 0 : 1), members.end(), std::int64_t{0},
      [](std::int64_t sum, const auto& member) { return sum + member.sizeBytes; });
}

}  // namespace vaultmere
