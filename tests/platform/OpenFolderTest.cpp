// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <chrono>

#include "platform/FileLease.h"
#include "platform/OpenFolder.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

TEST(OpenFolder, MakesFoldersAndSaysWhyItCannot) {
  const TemporaryFolder folder;
  const OpenFolder root = OpenFolder::open(folder.path());
  (void)root.makeFolder("2021").makeFolder("2021-03");
  (void)root.makeFolder("2021").makeFolder("2021-03");
  EXPECT_TRUE(fs::is_directory(folder / "2021/2021-03"));
  writeText(folder / "file", "x");
  fs::create_directory_symlink("2021", folder / "link");
  const struct {
    const char* name;
    std::string folder;
    std::vector<std::pair<std::string, int>> faults;
    int code;
  } rows[] = {
      {"file in the way", "file", {}, ENOTDIR},
      {"link in the way", "link", {}, ELOOP},
      {"file system that can only be read", "new", {{"mkdir", EROFS}}, EROFS},
      {"disk full", "new", {{"mkdir", ENOSPC}}, ENOSPC},
      {"drive that fails", "2021", {{"open", EIO}}, EIO},
  };
  for (const auto& row : rows) {
    const StepRecorder faults(row.faults);
    try {
      (void)root.makeFolder(row.folder);
      ADD_FAILURE() << row.name;
    } catch (const FileError& error) {
      EXPECT_EQ(error.code(), row.code) << row.name;
      EXPECT_NE(std::string(error.what()).find("/" + row.folder + "”: "), std::string::npos);
    }
  }
  EXPECT_FALSE(fs::exists(folder / "new"));
}

TEST(OpenFolder, StaysInItsFolderWhenThePathIsTaken) {
  const TemporaryFolder folder;
  fs::create_directory(folder / "drive");
  const OpenFolder drive = OpenFolder::open(folder / "drive");
  fs::rename(folder / "drive", folder / "gone");
  fs::create_directory(folder / "drive");
  drive.createNew("a.tmp").close();
  EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"gone/a.tmp"});
}

TEST(OpenFolder, ANameThatIsTakenIsNeverReplaced) {
  const LogCapture quiet;
  const struct {
    const char* name;
    std::vector<std::pair<std::string, int>> faults;
  } rows[] = {
      {"rename that doesn't replace", {}},
      {"no such rename", {{"rename", EINVAL}}},
      {"kernel without the call", {{"rename", ENOSYS}}},
      {"no links either", {{"rename", EINVAL}, {"link", EPERM}}},
      {"no locks either", {{"rename", ENOSYS}, {"link", ENOSYS}, {"flock", ENOLCK}}},
      {"first name can't be removed", {{"rename", EINVAL}, {"unlink", EIO}}},
  };
  for (const auto& row : rows) {
    for (const bool isTaken : {false, true}) {
      SCOPED_TRACE(std::string(row.name) + (isTaken ? ", taken" : ", free"));
      const TemporaryFolder folder;
      writeText(folder / ".tmp", "new");
      if (isTaken) {
        writeText(folder / "name", "old");
      }
      const StepRecorder faults(row.faults);
      EXPECT_EQ(OpenFolder::open(folder.path()).renameNoReplace(".tmp", "name"), !isTaken);
      EXPECT_TRUE(faults.hitAll() || isTaken);
      EXPECT_EQ(slurp(folder / "name"), isTaken ? "old" : "new");
      if (isTaken) {
        EXPECT_EQ(slurp(folder / ".tmp"), "new");
      }
    }
  }
}

TEST(FolderFlushes, FlushOnlyWhatHasChangedSince) {
  const TemporaryFolder folder;
  const OpenFolder open = OpenFolder::open(folder.path());
  const auto past = std::chrono::system_clock::now() - std::chrono::hours(1);
  FolderFlushes flushes;
  const auto flushed = [&] {
    const StepRecorder recorder;
    flushes.flush(open);
    const auto steps = recorder.steps();
    return std::any_of(steps.begin(), steps.end(),
                       [](const std::string& step) { return step.starts_with("fsyncdir "); });
  };
  EXPECT_TRUE(flushed());
  EXPECT_TRUE(flushed()) << "it has just changed: something may follow within a clock's tick";
  setModified(folder.path(), past);
  EXPECT_TRUE(flushed());
  EXPECT_FALSE(flushed());
  writeText(folder / "new", "x");
  EXPECT_TRUE(flushed());
  setModified(folder.path(), past);
  const FaultPlan plan = FaultPlan::failing("fsyncdir", 1, EIO);
  EXPECT_THROW(flushes.flush(open), FileError);
  EXPECT_NO_THROW(flushes.flush(open)) << "a flush that failed must not count";
  setModified(folder.path(), {});  // as FAT shows its root folder, whatever changes there
  EXPECT_TRUE(flushed());
  EXPECT_TRUE(flushed());
}

TEST(FileLease, KnowsWritersWhereLeasesSaySomething) {
  const TemporaryFolder folder;
  const fs::path file = folder / "a";
  writeText(file, "x");
  EXPECT_FALSE(isBeingWritten(file));
  EXPECT_FALSE(isBeingWritten(folder / "gone"));
  {
    const Descriptor writer(::open(file.c_str(), O_WRONLY | O_CLOEXEC));
    EXPECT_TRUE(isBeingWritten(file));
    for (const char* step : {"fstatfs", "lease"}) {
      const auto plan = FaultPlan::failing(step, 1, ENOSYS);
      EXPECT_FALSE(isBeingWritten(file)) << "nothing is known without " << step;
    }
  }
  const FileLease lease(file);
  EXPECT_FALSE(lease.isWanted());
  const Descriptor writer(::open(file.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC));
  EXPECT_EQ(writer.get(), -1) << "a writer has to wait";
  EXPECT_TRUE(lease.isWanted());
}

}  // namespace
}  // namespace vaultmere
