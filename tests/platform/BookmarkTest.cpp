// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cerrno>
#include <nlohmann/json.hpp>

#include "platform/Bookmark.h"
#include "platform/Files.h"
#include "tests/platform/PrivateMounts.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using nlohmann::json;

int codeOf(const fs::path& folder) {
  try {
    static_cast<void>(Bookmark::of(folder));
    return 0;
  } catch (const FileError& error) {
    return error.code();
  }
}

TEST(Bookmark, IsOfAnExistingFolder) {
  const TemporaryFolder folder;
  writeText(folder / "file", "x");
  fs::create_directories(folder / "a/b");
  fs::create_directory_symlink(folder / "a", folder / "link");

  EXPECT_EQ(codeOf(folder / "missing"), ENOENT);
  EXPECT_EQ(codeOf(folder / "file"), ENOTDIR);
  EXPECT_EQ(codeOf(folder / "file/below"), ENOENT);

  EXPECT_EQ(Bookmark::of(folder / "a/b/").path, folder / "a/b");
  EXPECT_EQ(Bookmark::of(folder / "link/b").path, folder / "link/b");
  EXPECT_EQ(Bookmark::of(folder / "link/../a").path, folder / "a");
  EXPECT_EQ(Bookmark::of("/").path, "/");
  EXPECT_EQ(Bookmark::of(folder / "link/b").below, Bookmark::of(folder / "a/b").below)
      << "where it lies on the drive doesn't depend on links";
}

TEST(Bookmark, SurvivesBeingStored) {
  const VolumeIdentity drive{"1234-ABCD", "exfat", "/dev/sdb1"};
  const Bookmark rows[] = {
      {"/plain", std::nullopt, {}},
      {"/media/me/Drive", drive, ""},
      {"/media/me/Drive/Archive", drive, "Archive"},
      {"/media/caf\xE9/100%/a\nb", drive, "caf\xE9/\xFF"},
      {"/nas/\u00FCber", VolumeIdentity{"", "cifs", "//nas/photos"}, "\u00FCber"},
  };
  for (const Bookmark& bookmark : rows) {
    const std::string text = bookmark.toJson().dump();
    EXPECT_EQ(Bookmark::fromJson(json::parse(text)), bookmark) << text;
  }
}

TEST(Bookmark, ToleratesWhatOthersHaveStored) {
  for (const char* stored : {"null", R"("/a")", "{}", R"({"path": 7})", R"({"path": "relative"})",
                             R"({"path": "/a\u0000b"})"}) {
    EXPECT_FALSE(Bookmark::fromJson(json::parse(stored))) << stored;
  }
  const struct {
    const char* stored;
    const char* path;
    bool knowsVolume;
  } rows[] = {
      {R"({"path": "/a"})", "/a", false},
      {R"({"path": "/a", "pathBytes": "%2"})", "/a", false},
      {R"({"path": "/a", "pathBytes": "/%C3%A9"})", "/\u00E9", false},
      {R"({"path": "/a", "volume": []})", "/a", false},
      {R"({"path": "/a", "volume": {"uuid": 7}, "below": ""})", "/a", false},
      {R"({"path": "/a", "volume": {"source": "x"}, "below": ""})", "/a", false},
      {R"({"path": "/a", "volume": {"uuid": "X"}})", "/a", false},
      {R"({"path": "/a", "volume": {"uuid": "X"}, "below": "b/../../c"})", "/a", false},
      {R"({"path": "/a", "volume": {"uuid": "X"}, "below": "/etc"})", "/a", false},
      {R"({"path": "/a", "volume": {"uuid": "X"}, "below": "b"})", "/a", true},
  };
  for (const auto& row : rows) {
    const auto bookmark = Bookmark::fromJson(json::parse(row.stored));
    ASSERT_TRUE(bookmark) << row.stored;
    EXPECT_EQ(bookmark->path, row.path) << row.stored;
    EXPECT_EQ(bookmark->volume.has_value(), row.knowsVolume) << row.stored;
  }
}

TEST(Bookmark, OfAPathAloneResolvesAndIsCompleted) {
  const TemporaryFolder folder;
  const Bookmark known = Bookmark::of(folder.path());
  const Bookmark alone{folder.path(), std::nullopt, {}};
  EXPECT_EQ(alone.resolve(), folder.path());
  EXPECT_EQ(alone.completed(folder.path()), known);
  EXPECT_FALSE((Bookmark{folder / "missing", std::nullopt, {}}).resolve());
  Bookmark renamed = known;
  ASSERT_TRUE(renamed.volume);
  renamed.volume->uuid = "1234-ABCD";
  renamed.volume->source = "/dev/before";
  EXPECT_EQ(renamed.completed(folder.path()).volume, renamed.volume) << "the UUID stays";
}

TEST(Bookmark, KnowsAnEmptyMountPointFromItsDrive) {
  withPrivateMounts([] {
    const TemporaryFolder folder;
    const fs::path here = folder / "here";
    const fs::path elsewhere = folder / "elsewhere";
    fs::create_directories(here / "Archive");
    fs::create_directories(elsewhere);
    const Bookmark covered = Bookmark::of(here / "Archive");
    plugIn(here, "my drive");
    fs::create_directories(here / "Archive");
    EXPECT_FALSE(covered.resolve()) << "a drive lies over it";
    const Bookmark archive = Bookmark::of(here / "Archive");
    const Bookmark whole = Bookmark::of(here);
    EXPECT_EQ(archive.resolve(), here / "Archive");

    unplug(here);
    EXPECT_FALSE(archive.resolve()) << "the folder of that name below the mount point isn't it";
    EXPECT_FALSE(whole.resolve());
    EXPECT_EQ(covered.resolve(), here / "Archive");

    plugIn(here, "another drive");
    fs::create_directories(here / "Archive");
    EXPECT_FALSE(archive.resolve());

    plugIn(elsewhere, "my drive");
    EXPECT_EQ(whole.resolve(), elsewhere);
    EXPECT_FALSE(archive.resolve()) << "the drive is there, the folder is gone";
    fs::create_directories(elsewhere / "Archive");
    EXPECT_EQ(archive.resolve(), elsewhere / "Archive");
    EXPECT_EQ(archive.completed(elsewhere / "Archive"),
              (Bookmark{elsewhere / "Archive", archive.volume, "Archive"}));

    unplug(here);
    plugIn(here, "my drive");
    fs::create_directories(here / "Archive");
    EXPECT_EQ(archive.resolve(), here / "Archive");
  });
}

TEST(Bookmark, FindsItsFolderInAPartOfTheDrive) {
  withPrivateMounts([] {
    const TemporaryFolder folder;
    for (const char* name : {"drive", "other part", "part"}) {
      fs::create_directories(folder / name);
    }
    plugIn(folder / "drive", "my drive");
    fs::create_directories(folder / "drive/Photos/Archive");
    fs::create_directories(folder / "drive/Music");
    const Bookmark archive = Bookmark::of(folder / "drive/Photos/Archive");
    bindMount(folder / "drive/Music", folder / "other part");
    bindMount(folder / "drive/Photos", folder / "part");
    unplug(folder / "drive");
    EXPECT_EQ(archive.resolve(), folder / "part/Archive");
    EXPECT_EQ(Bookmark::of(folder / "part/Archive").below, "Photos/Archive");
  });
}

}  // namespace
}  // namespace vaultmere
