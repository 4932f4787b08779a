// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "care/DuplicateMember.h"

namespace vaultmere {
namespace {

DuplicateMember member(const char* id, int width, const char* ext, const char* type = "image") {
  DuplicateMember member;
  member.id = id;
  member.ext = ext;
  member.width = width;
  member.height = 10;
  member.isRaw = std::string(ext) == ".dng";
  member.ref.mediaType = type;
  return member;
}

std::string idsOf(const std::vector<DuplicateMember>& members) {
  std::string ids;
  for (const auto& member : members) {
    ids += member.id;
  }
  return ids;
}

TEST(DuplicateMember, TheMostOriginalRanksFirst) {
  auto library = member("b", 20, ".jpg");
  library.fromPhotos = true;
  auto large = member("c", 20, ".jpg");
  large.sizeBytes = 9;
  auto camera = member("d", 20, ".jpg");
  camera.hasCamera = true;
  std::vector members{member("z", 10, ".dng"),
                      large,
                      camera,
                      member("g", 20, ".png"),
                      member("f", 20, ".heic"),
                      member("e", 20, ".dng"),
                      library,
                      member("a", 30, ".jpg"),
                      member("x", 20, ".jpg"),
                      member("y", 20, ".gif")};
  rankMembers(members);
  EXPECT_EQ(idsOf(members), "abefgdcxyz");
}

TEST(DuplicateMember, ARenderedFileStaysVisible) {
  EXPECT_EQ(stackTarget({member("a", 9, ".dng"), member("b", 8, ".jpg"),
                         member("c", 7, ".heic", "live_photo")})
                .id,
            "c");
  EXPECT_EQ(stackTarget({member("a", 9, ".dng"), member("b", 8, ".jpg")}).id, "b");
  EXPECT_EQ(stackTarget({member("a", 9, ".dng"), member("b", 8, ".dng")}).id, "a");
}

}  // namespace
}  // namespace vaultmere
