// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Sha256.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

TEST(Files, CreatingANewFileReplacesNeitherFileNorLink) {
  const TemporaryFolder folder;
  fs::create_symlink("nowhere", folder / "dangling");
  writeText(folder / "there", "x");
  EXPECT_THROW((void)File::createNew(folder / "dangling"), FileError);
  EXPECT_THROW((void)File::createNew(folder / "there"), FileError);
}

TEST(Files, AtomicWriteLeavesOldOrNewBytesWhateverFails) {
  const TemporaryFolder folder;
  const fs::path file = folder / "settings.json";
  for (const int code : {ENOSPC, EIO}) {
    bool wasHit = true;
    for (std::size_t number = 1; wasHit; ++number) {
      writeText(file, "old");
      bool threw = false;
      {
        const auto plan = FaultPlan::failing(number, code);
        try {
          writeFileAtomically(file, "new");
        } catch (const FileError& error) {
          threw = true;
          EXPECT_EQ(error.code(), code);
        }
        wasHit = plan.wasHit();
      }
      EXPECT_EQ(threw, wasHit) << number;
      EXPECT_TRUE(slurp(file) == "old" || slurp(file) == "new");
      EXPECT_EQ(filesBelow(folder.path()), std::vector<std::string>{"settings.json"}) << number;
    }
    EXPECT_EQ(slurp(file), "new");
  }
}

TEST(Files, IgnoresFoldersWithoutFlushButReportsFailedOnes) {
  const LogCapture quiet;
  const TemporaryFolder folder;
  const fs::path file = folder / "a";
  writeText(file, "x");
  const std::pair<int, bool> rows[] = {
      {EINVAL, false}, {ENOSYS, false}, {EIO, true}, {EROFS, true}};  // EROFS: see isRefusal
  for (const auto& [code, throws] : rows) {
    SCOPED_TRACE(code);
    const auto failed = [&, code = code](const char* step, auto&& flush) {
      const auto plan = FaultPlan::failing(step, 1, code);
      try {
        flush();
      } catch (const FileError&) {
        return true;
      }
      EXPECT_TRUE(plan.wasHit());
      return false;
    };
    EXPECT_EQ(failed("fsyncdir", [&] { syncDirectory(folder.path()); }), throws);
    EXPECT_EQ(failed("fsync", [&] { File::openForReading(file).syncWrittenByOthers(); }), throws);
  }
}

TEST(Files, ReadsWholeFilesUpToALimit) {
  const TemporaryFolder folder;
  const std::string bytes(10'000, 'z');
  writeText(folder / "a", bytes);
  EXPECT_EQ(readFile(folder / "a", 10'000), bytes);
  EXPECT_THROW((void)readFile(folder / "a", 9'999), FileError);
}

TEST(Sha256, HashesBytesInPieces) {
  Sha256 hash;
  hash.update(std::as_bytes(std::span(std::string_view("a"))));
  hash.update(std::as_bytes(std::span(std::string_view("bc"))));
  EXPECT_EQ(hash.hexDigest(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Log, EscapesLineBreaks) {
  testing::internal::CaptureStderr();
  logLine("SELFTEST_BEGIN dir=a\nb");
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_NE(line.find("] SELFTEST_BEGIN dir=a\\nb\n"), std::string::npos);
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
}

}  // namespace
}  // namespace vaultmere
