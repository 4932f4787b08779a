// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/DuplicateScan.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <set>
#include <utility>

#include "analysis/MediaTypes.h"

namespace vaultmere {
namespace {

constexpr double kLeastPlain = 1e-4;      // smaller instants have an exponent
constexpr double kLeastWithPower = 1e16;  // so have those from here on

DuplicateMember memberOf(const DatedPhoto& photo) {
  const std::string_view ext = photo.ext;
  return {.objectID = photo.key,
          .id = photo.id,
          .filename = photo.originalFilename,
          .ext = photo.ext,
          .sizeBytes = photo.sizeBytes,
          .width = photo.width,
          .height = photo.height,
          .isRaw = isRaw(ext.substr(ext.empty() ? 0 : 1)),
          .burst = photo.ptBurst,
          .exempt = photo.stackExempt,
          .fromPhotos = photo.isFromPhotos,
          .hasCamera = photo.hasCamera,
          .stackedUnder = photo.stackedUnder,
          .ref = {photo.id, bareExtension(photo.ext), photo.archivePath, photo.targetPath,
                  photo.mediaType}};
}

bool isVideo(const DuplicateMember& member) { return member.ref.mediaType == "video"; }

std::int64_t pixels(const DuplicateMember& member) {
  return std::int64_t{member.width} * member.height;
}

DuplicateKind kindOf(const std::vector<DuplicateMember>& members) {
  if (std::all_of(members.begin(), members.end(), isVideo)) {
    return DuplicateKind::video;  // also those of two formats
  }
  std::set<std::string_view> extensions;
  for (const DuplicateMember& member : members) {
    extensions.insert(member.ext);
  }
  if (extensions.size() < 2) {
    return DuplicateKind::reencode;
  }
  return std::any_of(members.begin(), members.end(),
                     [](const auto& member) { return member.isRaw; })
             ? DuplicateKind::rawPair
             : DuplicateKind::formatPair;
}

DuplicateGroup groupOf(std::string id, CatalogDate instant, std::vector<DuplicateMember> members) {
  const auto largest =
      std::max_element(members.begin(), members.end(),
                       [](const auto& a, const auto& b) { return pixels(a) < pixels(b); });
  DuplicateGroup group{std::move(id),   instant,         largest->width,
                       largest->height, kindOf(members), std::move(members)};
  rankMembers(group.members);
  return group;
}

bool hasRawAndRendered(const std::vector<DuplicateMember>& members) {
  const auto isRendered = [](const auto& member) { return !isVideo(member) && !member.isRaw; };
  const auto isRawImage = [](const auto& member) { return !isVideo(member) && member.isRaw; };
  return std::any_of(members.begin(), members.end(), isRawImage) &&
         std::any_of(members.begin(), members.end(), isRendered);
}

}  // namespace

std::string_view duplicateKindText(DuplicateKind kind) {
  constexpr std::array<std::string_view, 4> texts{"RAW + rendered", "Format pair", "Re-encoded",
                                                  "Video"};
  return texts.at(static_cast<std::size_t>(kind));
}

bool DuplicateGroup::isStacked() const {
  return std::any_of(members.begin(), members.end(),
                     [](const auto& member) { return member.stackedUnder.has_value(); });
}

std::string instantText(CatalogDate instant) {
  const double magnitude = std::abs(instant.seconds);
  const bool isPlain = magnitude == 0 || (magnitude >= kLeastPlain && magnitude < kLeastWithPower);
  std::array<char, 32> text{};  // 24 characters are the most
  const auto end =
      std::to_chars(text.data(), text.data() + text.size(), instant.seconds,
                    isPlain ? std::chars_format::fixed : std::chars_format::scientific);
  std::string result(text.data(), end.ptr);
  if (isPlain && result.find('.') == std::string::npos) {
    result += ".0";
  }
  return result;
}

std::vector<DuplicateGroup> groupsOfInstant(const std::vector<DatedPhoto>& photos) {
  std::vector<DuplicateMember> members;
  for (const DatedPhoto& photo : photos) {
    members.push_back(memberOf(photo));
  }
  if (members.size() < 2) {
    return {};
  }
  const CatalogDate instant = photos.front().captureDate;
  const std::string text = instantText(instant);
  std::vector<DuplicateGroup> groups;
  if (hasRawAndRendered(members)) {
    groups.push_back(groupOf("raw|" + text, instant, std::move(members)));
    return groups;
  }
  std::stable_sort(members.begin(), members.end(), [](const auto& a, const auto& b) {
    return std::pair(a.width, a.height) < std::pair(b.width, b.height);
  });
  for (auto first = members.begin(); first != members.end();) {
    const auto last = std::find_if(first, members.end(), [&](const auto& member) {
      return member.width != first->width || member.height != first->height;
    });
    if (last - first > 1) {
      groups.push_back(groupOf(fmt::format("{}|{}x{}", text, first->width, first->height), instant,
                               {std::move_iterator(first), std::move_iterator(last)}));
    }
    first = last;
  }
  return groups;
}

std::vector<DuplicateGroup> scanDuplicates(Connection& connection) {
  std::vector<DuplicateGroup> groups;
  forEachSharedInstant(connection, [&](const std::vector<DatedPhoto>& photos) {
    auto found = groupsOfInstant(photos);
    groups.insert(groups.end(), std::move_iterator(found.begin()), std::move_iterator(found.end()));
  });
  std::stable_sort(groups.begin(), groups.end(),
                   [](const auto& a, const auto& b) { return a.captureDate > b.captureDate; });
  return groups;
}

}  // namespace vaultmere
