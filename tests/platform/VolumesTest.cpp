// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "platform/Volumes.h"
#include "tests/platform/PrivateMounts.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

TEST(Volumes, AreKnownByUuidElseByTypeAndSource) {
  const VolumeIdentity a{"A", "ext4", "/dev/sdb1"};
  const VolumeIdentity unnamed{"", "ext4", "/dev/sdb1"};
  const VolumeIdentity share{"", "cifs", "//nas/photos"};
  const struct {
    const char* name;
    VolumeIdentity one, other;
    bool match;
  } rows[] = {
      {"one drive at two device names", a, {"A", "ext4", "/dev/sdc1"}, true},
      {"two drives at one device name", a, {"B", "ext4", "/dev/sdb1"}, false},
      {"UUID known on one side", a, unnamed, true},
      {"UUID known on one side, elsewhere", {"A", "ext4", "/dev/sdc1"}, unnamed, false},
      {"one share", share, share, true},
      {"two shares", share, {"", "cifs", "//nas/music"}, false},
      {"two types", share, {"", "nfs4", "//nas/photos"}, false},
      {"nothing known", {}, {}, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.one.matches(row.other), row.match) << row.name;
    EXPECT_EQ(row.other.matches(row.one), row.match) << row.name << ", reversed";
  }
}

TEST(Volumes, AreFoundForPathsThroughLinksOddNamesAndCoveredMounts) {
  withPrivateMounts([] {
    const TemporaryFolder folder;
    const fs::path drive = folder / "my drive\n\\040";
    fs::create_directories(drive);
    plugIn(drive, "drive one");
    fs::create_directories(drive / "a/b");
    fs::create_symlink(drive / "a", folder / "link");

    const auto volume = volumeOf(folder / "link" / "b");
    ASSERT_TRUE(volume);
    EXPECT_EQ(volume->mountPoint, drive);
    EXPECT_EQ(volume->mountedFolder, "/");
    EXPECT_EQ(volume->identity, (VolumeIdentity{"", "tmpfs", "drive one"}));
    EXPECT_EQ(mountedVolumes().back().mountPoint, drive);
    EXPECT_NE(volumeOf(folder.path())->mountPoint, drive);
    EXPECT_FALSE(volumeOf(drive / "missing"));

    fs::create_directories(folder / "m/deep");
    plugIn(folder / "m/deep", "below");
    plugIn(folder / "m", "above");
    fs::create_directories(folder / "m/deep");
    EXPECT_EQ(volumeOf(folder / "m/deep")->identity.source, "above") << "hides the longer path";
  });
}

TEST(Volumes, CapacityIsWhatTheUserMayUse) {
  EXPECT_FALSE(capacityOf("/nowhere/at/all"));
  EXPECT_FALSE(capacityOf("/proc")) << "a file system without a size";
  withPrivateMounts([] {
    const TemporaryFolder folder;
    plugIn(folder.path(), "drive");
    const auto empty = capacityOf(folder.path());
    ASSERT_TRUE(empty);
    EXPECT_EQ(empty->total, 1 << 20);
    writeNoise(folder / "file", 256 * 1024);
    EXPECT_EQ(capacityOf(folder / "file")->available, empty->available - 256 * 1024);
  });
}

}  // namespace
}  // namespace vaultmere
