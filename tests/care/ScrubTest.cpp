// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>

#include <functional>

#include "care/Scrub.h"
#include "tests/care/ScrubFixture.h"
#include "tests/support/FaultPlan.h"

namespace vaultmere {
namespace {

using End = ScrubResult::End;

std::string shortName(const std::string& id, const std::string& ext = ".jpg") {
  return id.substr(0, 6) + ext;
}

TEST(Scrub, FindsWhatBecameOfAFile) {
  const struct {
    const char* name;
    std::function<void(ScrubbedArchive&, const fs::path& file)> damage;
    const char* found;  ///< null for nothing
    bool isMarked;
  } rows[] = {
      {"sound", [](auto&, const auto&) {}, nullptr, false},
      {"a changed bit", [](auto&, const auto& file) { overwriteBytes(file, 1, "x"); },
       "other bytes ", true},
      {"cut off", [](auto&, const auto& file) { truncateFile(file, 2); }, "other bytes ", true},
      {"removed", [](auto&, const auto& file) { fs::remove(file); }, "missing ", false},
      {"removed, with its folder",
       [](auto&, const auto& file) { fs::remove_all(file.parent_path()); }, "missing ", false},
      {"a folder",
       [](auto&, const auto& file) {
         fs::remove(file);
         fs::create_directory(file);
       },
       "unreadable ", false},
      {"a FIFO",
       [](auto&, const auto& file) {
         fs::remove(file);
         ASSERT_EQ(::mkfifo(file.c_str(), 0600), 0);
       },
       "unreadable ", false},
      {"a link to its own bytes",
       [](ScrubbedArchive& archive, const auto& file) {
         fs::rename(file, archive.folder / "elsewhere");
         fs::create_symlink(archive.folder / "elsewhere", file);
       },
       "unreadable ", false},
      {"a folder that is a link",
       [](ScrubbedArchive& archive, const auto& file) {
         fs::rename(file.parent_path(), archive.folder / "elsewhere");
         fs::create_symlink(archive.folder / "elsewhere", file.parent_path());
       },
       "unreadable ", false},
      {"a target outside the archive",
       [](ScrubbedArchive& archive, const auto&) {
         archive.execute("UPDATE Photo SET targetPath = '../../etc/passwd'");
       },
       "unreadable ", false},
      {"no place at all",
       [](ScrubbedArchive& archive, const auto&) {
         archive.execute("UPDATE Photo SET targetPath = '', archivePath = NULL, sizeBytes = -1");
       },
       "missing ", false},
      {"trashed",
       [](ScrubbedArchive& archive, const auto& file) {
         fs::create_directory(archive.root() / "trash");
         fs::rename(file, archive.root() / "trash" / file.filename());
         archive.execute("UPDATE Photo SET trashedAt = 1");
       },
       nullptr, false},
      {"damaged in the trash",
       [](ScrubbedArchive& archive, const auto& file) {
         writeText(archive.root() / "trash" / file.filename(), "other");
         fs::remove(file);
         archive.execute("UPDATE Photo SET trashedAt = 1");
       },
       "other bytes ", true},
      {"deleted from the trash",
       [](ScrubbedArchive& archive, const auto& file) {
         fs::remove(file);
         archive.execute("UPDATE Photo SET trashedAt = 1");
       },
       nullptr, false},
      {"left in the trash by a killed restore",
       [](ScrubbedArchive& archive, const auto& file) {
         fs::create_directory(archive.root() / "trash");
         fs::rename(file, archive.root() / "trash" / file.filename());
       },
       nullptr, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ScrubbedArchive archive;
    const std::string id = archive.freeze("a.jpg", "picture");
    row.damage(archive, archive.fileOf(id));
    const Strings before = archive.files();
    const ScrubResult result = archive.scrub();
    EXPECT_EQ(result.end, End::complete) << result.error;
    EXPECT_EQ(result.items, 1);
    ASSERT_EQ(archive.findings.size(), row.found != nullptr ? 1U : 0U);
    if (row.found != nullptr) {
      EXPECT_TRUE(archive.findings[0].starts_with(row.found)) << archive.findings[0];
      EXPECT_TRUE(archive.log.contains("Vaultmere: scrub: "));
      const bool isTrashed = std::string_view(row.name).ends_with("trash");
      EXPECT_EQ(result.oldest == CatalogDate{1}, !isTrashed) << "as if it had never been read";
    }
    EXPECT_EQ(archive.marked().size(), row.isMarked ? 1U : 0U);
    EXPECT_EQ(archive.files(), before) << "nothing is touched";
  }
}

TEST(Scrub, LearnsTheHashOfAMotionFileAndComparesItFromThenOn) {
  ScrubbedArchive archive;
  const std::string id = archive.freeze("a.heic", "still", "moves");
  archive.execute("DELETE FROM Verification");
  overwriteBytes(archive.fileOf(id, ".mov"), 0, "M");
  EXPECT_EQ(archive.scrub().files, 2) << "what isn't known can't be compared";
  EXPECT_EQ(archive.scrub().files, 2);
  overwriteBytes(archive.fileOf(id, ".mov"), 0, "m");
  const ScrubResult result = archive.scrub();
  EXPECT_EQ(archive.findings, Strings{"other bytes " + shortName(id, ".mov")});
  EXPECT_EQ(archive.marked().at(0).motionMark, Archive::hashOf("moves"));
  EXPECT_EQ(result.files, 1) << "the still is sound";
  EXPECT_EQ(result.bytes, 15) << "the motion file was read twice";

  overwriteBytes(archive.fileOf(id, ".mov"), 0, "M");
  EXPECT_EQ(archive.scrub().otherBytes, 0);
  EXPECT_TRUE(archive.marked().empty()) << "a right reading takes the mark off";
}

TEST(Scrub, MarksNothingAfterTwoDifferentReadings) {
  for (const bool isRightInTheEnd : {false, true}) {
    ScrubbedArchive archive;
    const std::string id = archive.freeze("a.jpg", "picture");
    const fs::path file = archive.fileOf(id);
    overwriteBytes(file, 0, "X");
    Scrub::Options options = archive.scrubOptions();
    int calls = 0;
    options.clock = [&] {
      if (++calls == 3) {  // after two of the beginning: the first reading
        overwriteBytes(file, 0, isRightInTheEnd ? "p" : "Y");
      }
      return archive.ticks;
    };
    const ScrubResult result = archive.scrub(std::move(options));
    EXPECT_EQ(result.otherBytes, 0);
    EXPECT_EQ(result.unreadable, isRightInTheEnd ? 0 : 1);
    EXPECT_EQ(result.files, isRightInTheEnd ? 1 : 0);
    EXPECT_TRUE(archive.marked().empty());
  }
}

TEST(Scrub, CoversItsShareOldestFirstAndGoesOnWhereItStopped) {
  ScrubbedArchive archive;
  std::vector<std::string> ids;
  for (const char* bytes : {"aaaaaaaaaa", "bbbbbbbbbb", "cccccccccc", "dddddddddd"}) {
    ids.push_back(archive.freeze(std::string(1, *bytes) + ".jpg", bytes));
  }
  const auto run = [&](double share, TimePoint since) {
    Scrub::Options options = archive.scrubOptions();
    options.sharePercent = share;
    options.since = since;
    return archive.scrub(std::move(options));
  };
  const TimePoint day = archive.now;
  ScrubResult result = run(30, day);
  EXPECT_EQ(result.items, 2) << "the item in which the share ends is read";
  EXPECT_EQ(result.since, CatalogDate{1});
  EXPECT_EQ(result.oldest, CatalogDate{3});
  EXPECT_EQ(run(30, day).items, 0) << "the day's share is done";
  result = run(60, day);
  EXPECT_EQ(result.items, 1);
  EXPECT_EQ(result.since, CatalogDate{3});
  EXPECT_EQ(run(100, day).items, 1);
  result = run(1, archive.now + std::chrono::seconds(5));
  EXPECT_EQ(result.items, 1) << "the first one again, on another day";
  EXPECT_EQ(result.since, CatalogDate{1'000'001});
}

TEST(Scrub, UnreadableFilesDontStandInTheWayOfOthers) {
  ScrubbedArchive archive;
  const std::string lost = archive.freeze("a.jpg", "aaaaaaaaaa");
  (void)archive.freeze("b.jpg", "bbbbbbbbbb");
  fs::remove(archive.fileOf(lost));
  for (const int missing : {1, 0, 1}) {
    Scrub::Options options = archive.scrubOptions();
    options.sharePercent = 10;
    options.since = archive.now + std::chrono::seconds(5);
    EXPECT_EQ(archive.scrub(std::move(options)).missing, missing);
  }
}

TEST(Scrub, KeepsItsRateAndItsTimes) {
  ScrubbedArchive archive;
  constexpr std::size_t size = 3'000'000;
  for (int i = 0; i < 25; ++i) {
    archive.freeze(std::to_string(i) + ".jpg", std::string(size, static_cast<char>('a' + i)));
  }
  Scrub::Options options = archive.scrubOptions();
  options.bytesPerSecond = 1'000'000;
  std::stop_source stop;
  options.stop = stop.get_token();
  std::int64_t shown = 0;
  options.progress = [&](const ScrubProgress& progress) {
    EXPECT_EQ(progress.plannedBytes, std::int64_t{size} * 25);
    EXPECT_GE(progress.bytes, shown);
    shown = progress.bytes;
    if (shown > 40'000'000) {
      throw std::runtime_error("as if it had been killed here");
    }
  };
  EXPECT_THROW((void)archive.scrub(std::move(options)), std::runtime_error);
  const double seconds = std::chrono::duration<double>(archive.ticks.time_since_epoch()).count();
  EXPECT_NEAR(seconds, 40, 2);

  options = archive.scrubOptions();
  options.since = CatalogDate{1'000'000}.moment();
  const ScrubResult rest = archive.scrub(std::move(options));
  EXPECT_EQ(rest.items, 15) << "ten were done at the last time that they were kept";
}

TEST(Scrub, EndsWhenItIsStoppedAndKeepsWhatIsDone) {
  ScrubbedArchive archive;
  (void)archive.freeze("a.jpg", "first");
  (void)archive.freeze("b.jpg", std::string(3'000'000, 'b'));
  Scrub::Options options = archive.scrubOptions();
  std::stop_source stop;
  options.stop = stop.get_token();
  options.bytesPerSecond = 2'000'000;
  options.pause = [&](std::chrono::nanoseconds time, const auto&) {
    if (time > std::chrono::milliseconds(100)) {
      stop.request_stop();
    }
  };
  const ScrubResult result = archive.scrub(std::move(options));
  EXPECT_EQ(result.end, End::stopped);
  EXPECT_EQ(result.items, 1);
  EXPECT_EQ(result.oldest, CatalogDate{2});
}

TEST(Scrub, NamesNothingMissingWhenTheArchiveGoesAway) {
  const std::function<void(ScrubbedArchive&, Scrub::Options&)> losses[] = {
      [](ScrubbedArchive& archive, auto&) {
        fs::rename(archive.root(), archive.folder / "unplugged");
      },
      [](ScrubbedArchive& archive, auto&) {
        fs::rename(archive.root(), archive.folder / "unplugged");
        writeText(archive.root(), "a file");
      },
      [](auto&, Scrub::Options& options) {
        options.root.acceptsDevice = [](dev_t) { return false; };
      },
  };
  for (const auto& lose : losses) {
    ScrubbedArchive archive;
    (void)archive.freeze("a.jpg", "picture");
    Scrub::Options options = archive.scrubOptions();
    lose(archive, options);
    const ScrubResult result = archive.scrub(std::move(options));
    EXPECT_EQ(result.end, End::outOfReach);
    EXPECT_FALSE(result.error.empty());
    EXPECT_EQ(result.items, 0);
    EXPECT_TRUE(archive.findings.empty());
  }
}

TEST(Scrub, EndsOnADriveThatOnlyGivesErrors) {
  ScrubbedArchive archive;
  for (int i = 0; i < 60; ++i) {
    fs::create_directories(archive.root() / ("undated/" + std::to_string(i) + ".jpg"));
    archive.execute("INSERT INTO Photo (id, ext, targetPath) VALUES ('" + std::to_string(i) +
                    "', '.jpg', 'undated/" + std::to_string(i) + ".jpg')");
  }
  EXPECT_EQ(archive.scrub().end, End::outOfReach);
  EXPECT_EQ(archive.findings.size(), 50U);
  (void)archive.freeze("a.jpg", "picture");
  EXPECT_EQ(archive.scrub().files, 1) << "others come first in the next run";
}

TEST(Scrub, AReadErrorIsAFinding) {
  ScrubbedArchive archive;
  const std::string id = archive.freeze("a.jpg", "picture");
  const auto plan = FaultPlan::failing("read", 1, EIO);
  EXPECT_EQ(archive.scrub().unreadable, 1);
  EXPECT_TRUE(plan.wasHit());
  EXPECT_EQ(archive.findings, Strings{"unreadable " + shortName(id)});
}

}  // namespace
}  // namespace vaultmere
