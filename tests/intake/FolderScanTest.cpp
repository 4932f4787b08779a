// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "intake/FolderScan.h"
#include "platform/Files.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

/// "still+motion" for each group, then "!junk".
std::string told(const ScanResult& result) {
  std::string text;
  for (const AssetGroup& group : result.groups) {
    text += group.primary.filename().string();
    if (group.motion) {
      text += "+" + group.motion->filename().string();
    }
    text += group.isVideo ? "(v) " : " ";
  }
  for (const fs::path& file : result.junk) {
    text += "!" + file.filename().string() + " ";
  }
  return text;
}

TEST(FolderScan, GroupsByExtensionAndStem) {
  const struct {
    const char* name;
    std::vector<fs::path> files;
    const char* expected;
  } rows[] = {
      {"live photo", {"b.mov", "b.heic"}, "b.heic+b.mov "},
      {"one video, two stills", {"c.mov", "c.JPG", "c.HEIC"}, "c.HEIC+c.mov c.JPG+c.mov "},
      {"stems in other case", {"IMG_1.heic", "img_1.mov"}, "IMG_1.heic img_1.mov(v) "},
      {"first video pairs", {"a.mp4", "a.jpg", "a.MOV"}, "a.jpg+a.MOV a.mp4(v) "},
      {"images come first", {"a.mp4", "z.png"}, "z.png a.mp4(v) "},
      {"silent sidecars", {"a.json", "a.JSON", "b.zip", "noext", "c.jpg.json"}, "!b.zip !noext "},
      {"only the last extension goes", {"a.b.jpg", "a.mov"}, "a.b.jpg a.mov(v) "},
      {"name order across folders", {"x/b.jpg", "y/a.jpg"}, "a.jpg b.jpg "},
      {"loose files of two folders pair", {"x/b.jpg", "y/b.mov"}, "b.jpg+b.mov "},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(told(groupFiles(row.files)), row.expected) << row.name;
  }
}

TEST(FolderScan, WalksWhatMayBeWalked) {
  const TemporaryFolder folder;
  for (const char* file : {"a.jpg", ".hidden.jpg", "sub/b.jpg", "sub/deep/c.jpg", ".git/d.jpg",
                           "Old.photoslibrary/e.jpg", "archive/2021/f.jpg", "real/g.jpg"}) {
    fs::create_directories((folder / file).parent_path());
    writeText(folder / file, "x");
  }
  fs::create_directory_symlink(folder / "real", folder / "link");
  fs::create_symlink(folder / "a.jpg", folder / "linked.jpg");
  fs::create_directory_symlink(folder / "archive", folder / "other name");
  const ProtectedFolders protect({folder / "archive"});
  ScanResult found = scanTree(folder.path(), protect, {});
  std::vector<std::string> names;
  for (const AssetGroup& group : found.groups) {
    names.push_back(group.primary.filename());
  }
  std::sort(names.begin(), names.end());
  EXPECT_EQ(names, (std::vector<std::string>{"a.jpg", "b.jpg", "c.jpg", "g.jpg"}));
  EXPECT_EQ(told(scanFolder(folder.path(), protect)), "a.jpg ");
  // Inside the archive there is nothing to take, by whatever name one came.
  EXPECT_TRUE(scanTree(folder / "archive/2021", protect, {}).groups.empty());
  EXPECT_TRUE(scanTree(folder / "other name", protect, {}).groups.empty());
  EXPECT_TRUE(protect.cover(folder / "other name/2021/f.jpg"));
  EXPECT_FALSE(protect.cover(folder / "a.jpg"));
}

TEST(FolderScan, LogsTheNameOfAFolderThatCannotBeListed) {
  const TemporaryFolder folder;
  const LogCapture log;
  EXPECT_TRUE(scanTree(folder / "absent", {}, {}).groups.empty());
  EXPECT_TRUE(log.contains("absent”: No such file or directory"));
}

}  // namespace
}  // namespace vaultmere
