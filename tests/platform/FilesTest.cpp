// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include "platform/Files.h"
#include "platform/Log.h"
#include "platform/Sha256.h"
#include "platform/Text.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

TEST(Files, OnlyRegularFilesOpenAndNothingBlocks) {
  const TemporaryFolder folder;
  ASSERT_EQ(::mkfifo((folder / "pipe.jpg").c_str(), 0600), 0);
  writeText(folder / "real", "x");
  EXPECT_NO_THROW((void)File::openForReading(folder / "real"));
  EXPECT_THROW((void)File::openForReading(folder / "pipe.jpg"), FileError);
  EXPECT_THROW((void)File::openForReading(folder.path()), FileError);
  EXPECT_THROW((void)File::openForReading("/dev/zero"), FileError);
  try {
    (void)File::openForReading(folder / "gone.jpg");
    FAIL();
  } catch (const FileError& error) {
    EXPECT_EQ(error.code(), ENOENT);
    EXPECT_NE(std::string(error.what()).find("gone.jpg”: No such file"), std::string::npos);
  }
}

TEST(Files, ANewFileReplacesNothing) {
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

TEST(Files, OnlyUnknownFlushesArePassedOver) {
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

TEST(Text, NamesOfAnyBytesBecomeText) {
  EXPECT_EQ(validUtf8("caf\xC3\xA9"), "caf\xC3\xA9");
  EXPECT_EQ(validUtf8("caf\xE9.jpg"), "caf\xEF\xBF\xBD.jpg");
  EXPECT_EQ(oneLine("a\nb\rc"), "a\\nb\\rc");
  EXPECT_EQ(lowerExtension("a.JPG"), "jpg");
  EXPECT_EQ(lowerExtension(".hidden"), "");
  EXPECT_EQ(lowerExtension("archive.tar.GZ"), "gz");
}

TEST(Sha256, KnownAnswers) {
  Sha256 hash;
  hash.update(std::as_bytes(std::span(std::string_view("a"))));
  hash.update(std::as_bytes(std::span(std::string_view("bc"))));
  EXPECT_EQ(hash.hexDigest(), "ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
}

TEST(Log, ARecordStaysOnOneLine) {
  testing::internal::CaptureStderr();
  logLine("SELFTEST_BEGIN dir=a\nb");
  const std::string line = testing::internal::GetCapturedStderr();
  EXPECT_NE(line.find("] SELFTEST_BEGIN dir=a\\nb\n"), std::string::npos);
  EXPECT_EQ(std::count(line.begin(), line.end(), '\n'), 1);
}

}  // namespace
}  // namespace vaultmere
