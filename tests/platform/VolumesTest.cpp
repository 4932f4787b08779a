// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <chrono>
#include <future>
#include <mutex>

#include "platform/Volumes.h"
#include "tests/platform/PrivateMounts.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

namespace fs = std::filesystem;

TEST(Volumes, AreKnownByUuidElseByTypeAndSource) {
  const struct {
    const char* name;
    VolumeIdentity one, other;
    bool match;
  } rows[] = {
      {"one drive at two device names",
       {"A", "ext4", "/dev/sdb1"},
       {"A", "ext4", "/dev/sdc1"},
       true},
      {"two drives at one device name",
       {"A", "ext4", "/dev/sdb1"},
       {"B", "ext4", "/dev/sdb1"},
       false},
      {"UUID known on one side", {"A", "ext4", "/dev/sdb1"}, {"", "ext4", "/dev/sdb1"}, true},
      {"UUID known on one side, elsewhere",
       {"A", "ext4", "/dev/sdb1"},
       {"", "ext4", "/dev/sdc1"},
       false},
      {"one share", {"", "cifs", "//nas/photos"}, {"", "cifs", "//nas/photos"}, true},
      {"two shares", {"", "cifs", "//nas/photos"}, {"", "cifs", "//nas/music"}, false},
      {"two types", {"", "cifs", "//nas/photos"}, {"", "nfs4", "//nas/photos"}, false},
      {"nothing known", {}, {}, false},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.one.matches(row.other), row.match) << row.name;
    EXPECT_EQ(row.other.matches(row.one), row.match) << row.name << ", reversed";
  }
}

TEST(Volumes, HoldPathsThroughLinksAndOddNames) {
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
  });
}

TEST(Volumes, AnotherMountMayHideTheLongerPath) {
  withPrivateMounts([] {
    const TemporaryFolder folder;
    fs::create_directories(folder / "m/deep");
    plugIn(folder / "m/deep", "below");
    plugIn(folder / "m", "above");
    fs::create_directories(folder / "m/deep");
    const auto volume = volumeOf(folder / "m/deep");
    ASSERT_TRUE(volume);
    EXPECT_EQ(volume->identity.source, "above");
  });
}

TEST(Volumes, PartsOfAFileSystemAreMountedToo) {
  withPrivateMounts([] {
    const TemporaryFolder folder;
    fs::create_directories(folder / "drive");
    fs::create_directories(folder / "part");
    plugIn(folder / "drive", "whole");
    fs::create_directories(folder / "drive/a/b");
    bindMount(folder / "drive/a", folder / "part");
    const auto volume = volumeOf(folder / "part/b");
    ASSERT_TRUE(volume);
    EXPECT_EQ(volume->mountPoint, folder / "part");
    EXPECT_EQ(volume->mountedFolder, "/a");
    EXPECT_TRUE(volume->identity.matches(volumeOf(folder / "drive")->identity));
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

TEST(MountWatcher, TellsOfChangesUntilItGoes) {
  withPrivateMounts([] {
    const TemporaryFolder folder;
    std::promise<void> told;
    std::once_flag once;
    {
      const MountWatcher watcher([&] { std::call_once(once, [&] { told.set_value(); }); });
      plugIn(folder.path(), "drive");
      EXPECT_EQ(told.get_future().wait_for(std::chrono::minutes(1)), std::future_status::ready);
    }
    unplug(folder.path());
  });
}

}  // namespace
}  // namespace vaultmere
