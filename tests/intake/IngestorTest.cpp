// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>
#include <unistd.h>

#include "catalog/Verification.h"
#include "intake/ArchiveLayout.h"
#include "intake/Ingestor.h"
#include "tests/intake/Archive.h"
#include "tests/platform/PrivateMounts.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StillMaker.h"

namespace vaultmere {
namespace {

using Outcome = IngestOutcome;

TEST(ArchiveLayout, FilesUnderTheDateAsItStands) {
  using Date = std::optional<std::string>;
  struct Case {
    Date date;
    const char* folder;
  };
  for (const Case& c :
       {Case{"2021-03-05T10:11:12", "2021/2021-03/"}, Case{"2021-03", "2021/2021-03/"},
        Case{"2021-13-99", "2021/2021-13/"}, Case{"2021-0", "undated/"}, Case{{}, "undated/"},
        Case{"", "undated/"}, Case{"../..-/.T00:00:00", "undated/"}, Case{"2021-/x-01", "undated/"},
        Case{"20.1-03-05", "undated/"}}) {
    EXPECT_EQ(archivePathOf(c.date, "abc", ".jpg"), std::string(c.folder) + "abc.jpg");
  }
}

TEST(Ingestor, ArchivesAFolderOnceAndThenReportsDuplicates) {
  Archive archive;
  makeStill(archive.sources() / "real.jpg",
            {.metadata = {.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"}}}});
  archive.source("copy/IMG_20220102_030405.jpg", "other");
  archive.source("copy/again.png", "other", "2022-01-09");
  archive.source("empty.jpg", "");
  archive.source("notes.txt", "junk");
  archive.source("a.json", "{}");
  const Ingestor ingestor = archive.ingestor();
  EXPECT_EQ(outcomes(ingestor.ingestFolder(archive.sources(), false)),
            (Strings{"IMG_20220102_030405.jpg inserted", "again.png duplicate",
                     "empty.jpg inserted", "real.jpg inserted"}));
  const Strings archived = archive.files();
  EXPECT_EQ(archived.size(), 4U);  // two bytes-alike under two extensions
  EXPECT_EQ(archive.rows().size(), 3U);
  EXPECT_TRUE(std::find(archived.begin(), archived.end(),
                        "2020/2020-02/" + Archive::hashOf("") + ".jpg") != archived.end());
  archive.expectSound();
  for (const auto& result : ingestor.ingestFolder(archive.sources(), false)) {
    EXPECT_EQ(result.outcome, Outcome::duplicate);
  }
  EXPECT_EQ(archive.files(), archived);
}

TEST(Ingestor, KeepsTimeAndModeOfCopies) {
  Archive archive;
  const fs::path source = archive.source("a.jpg", "bytes", "2019-08-07");
  ::chmod(source.c_str(), 0440);
  const auto result = archive.ingestor().process({source, {}, false, {}}, false);
  ASSERT_TRUE(result.photo) << *result.error;
  const auto copy = fileStatus(*result.photo->archivePath);
  ASSERT_TRUE(copy);
  EXPECT_EQ(copy->stamp.modifiedNanoseconds, fileStatus(source)->stamp.modifiedNanoseconds);
  EXPECT_EQ(copy->permissions, 0440U);
  EXPECT_EQ(result.photo->storage, "archive");
  EXPECT_EQ(result.photo->targetPath, "2019/2019-08/" + Archive::hashOf("bytes") + ".jpg");
}

TEST(Ingestor, ArchivesALivePhotoWhole) {
  Archive archive;
  archive.source("a.heic", "still");
  archive.source("a.jpg", "twin");
  archive.source("a.mov", "moves");
  std::vector<std::int64_t> asked;
  auto options = archive.options();
  options.gate = [&](std::int64_t bytes) {
    asked.push_back(bytes);
    return true;
  };
  const auto results = archive.ingestor(options).ingestFolder(archive.sources(), true);
  EXPECT_EQ(outcomes(results), (Strings{"a.heic inserted", "a.jpg inserted"}));
  EXPECT_EQ(asked, (std::vector<std::int64_t>{10, 9}));
  EXPECT_EQ(results[0].photo->mediaType, "live_photo");
  EXPECT_EQ(results[0].photo->liveMotionFile, Archive::hashOf("still") + ".mov");
  EXPECT_EQ(slurp(*results[0].photo->liveMotionPath), "moves");
  EXPECT_EQ(slurp(*results[1].photo->liveMotionPath), "moves");
  EXPECT_TRUE(filesBelow(archive.sources()).empty());
}

TEST(Ingestor, AddsAMotionFileThatComesLaterOrIsMissingInTheArchive) {
  Archive archive;
  archive.source("a.heic", "still");
  const Ingestor ingestor = archive.ingestor();
  (void)ingestor.ingestFolder(archive.sources(), true);
  EXPECT_EQ(archive.motionOf("still"), "image");
  const fs::path motion = archive.root() / "2020/2020-02" / (Archive::hashOf("still") + ".mov");
  for (int i = 0; i < 2; ++i) {
    archive.source("a.heic", "still");
    archive.source("a.mov", "moves");
    EXPECT_EQ(outcomes(ingestor.ingestFolder(archive.sources(), true)),
              Strings{"a.heic duplicate"});
    EXPECT_EQ(archive.motionOf("still"),
              "live_photo " + motion.filename().string() + " " + motion.string() + " 5");
    EXPECT_EQ(slurp(motion), "moves");
    EXPECT_TRUE(filesBelow(archive.sources()).empty());
    fs::remove(motion);
  }
}

TEST(Ingestor, KeepsTheHashOfAMotionFileThatItHasRead) {
  const LogCapture quiet;
  const struct {
    const char* name;
    const char* there;  ///< the motion file in the archive, whose hash isn't known
    bool isTrashed;     ///< the row
    bool moves;
    const char* expected;  ///< the bytes whose hash is known afterwards; null for none
  } rows[] = {
      {"copied", nullptr, false, false, "moves"},
      {"trusted unread", "moves", false, false, nullptr},
      {"compared", "moves", false, true, "moves"},
      {"another one", "runs!", false, true, nullptr},
      {"not the row's place", nullptr, true, false, nullptr},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Archive archive;
    const Ingestor ingestor = archive.ingestor();
    const fs::path still = archive.source("a.heic", "still");
    const fs::path motion = archive.source("a.mov", "moves");
    const std::string id = Archive::hashOf("still");
    const fs::path archived = archive.root() / "2020/2020-02" / (id + ".mov");
    ASSERT_EQ(ingestor.process({still, motion, false, {}}, false).outcome, Outcome::inserted);
    const auto item = [&] {
      return archive.catalog->viewContext().perform(
          [](Connection& connection) { return fetchVerifiableItem(connection, 1); });
    };
    EXPECT_EQ(item()->motionHash, Archive::hashOf("moves"));
    archive.catalog->viewContext().perform([&](Connection& connection) {
      connection.execute("DELETE FROM Verification");
      if (row.isTrashed) connection.execute("UPDATE Photo SET trashedAt = 1");
    });
    fs::remove(archived);
    if (row.there != nullptr) {
      writeText(archived, row.there);
    }
    ASSERT_EQ(ingestor.process({still, motion, false, {}}, row.moves).outcome, Outcome::duplicate);
    EXPECT_EQ(item()->motionHash, row.expected != nullptr
                                      ? std::optional(Archive::hashOf(row.expected))
                                      : std::nullopt);
  }
}

TEST(Ingestor, ArchivesAnotherMotionFileOfTheSameStillAsAVideo) {
  const struct {
    const char* name;
    bool sourcesGo;
    std::string there, comes;
    bool becomesVideo;
  } rows[] = {
      {"copy, other size", false, "runs", "jumps", true},
      {"move, other size", true, "runs", "jumps", true},
      {"move, same size", true, "runs", "hops", true},
      {"copy, same size: trusted unread", false, "runs", "hops", false},
      {"move, same bytes", true, "runs", "runs", false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    const LogCapture quiet;
    Archive archive;
    const Ingestor ingestor = archive.ingestor();
    archive.source("a.jpg", "stub");
    archive.source("a.mov", row.there);
    (void)ingestor.ingestFolder(archive.sources(), false);
    archive.source("b.jpg", "stub");
    archive.source("b.mov", row.comes);
    for (const char* file : {"a.jpg", "a.mov"}) {
      fs::remove(archive.sources() / file);
    }
    const auto results = ingestor.ingestFolder(archive.sources(), row.sourcesGo);
    EXPECT_EQ(outcomes(results), Strings{"b.jpg duplicate"});
    const std::string id = Archive::hashOf("stub");
    EXPECT_EQ(slurp(archive.root() / "2020/2020-02" / (id + ".mov")), row.there);
    EXPECT_EQ(results[0].photo->liveMotionSize, static_cast<std::int64_t>(row.there.size()));
    const fs::path video = archive.root() / "2020/2020-02" / (Archive::hashOf(row.comes) + ".mov");
    EXPECT_EQ(fs::exists(video) && slurp(video) == row.comes, row.becomesVideo);
    EXPECT_EQ(archive.rows().size(), row.becomesVideo ? 2U : 1U);
    EXPECT_EQ(filesBelow(archive.sources()).empty(), row.sourcesGo);
  }
}

TEST(Ingestor, ArchivesAMotionFileWhoseNameIsTakenMeanwhileAsAVideo) {
  const LogCapture quiet;
  Archive archive;
  const fs::path still = archive.source("a.jpg", "stub");
  const fs::path motion = archive.source("a.mov", "runs");
  const fs::path taken = archive.root() / "2020/2020-02" / (Archive::hashOf("stub") + ".mov");
  const Ingestor ingestor = archive.ingestor();
  const FaultPlan other = FaultPlan::doing("rename", 2, [&] { writeText(taken, "hops"); });
  EXPECT_EQ(ingestor.process({still, motion, false, {}}, true).outcome, Outcome::inserted);
  EXPECT_EQ(slurp(taken), "hops");
  EXPECT_EQ(slurp(taken.parent_path() / (Archive::hashOf("runs") + ".mov")), "runs");
  EXPECT_TRUE(filesBelow(archive.sources()).empty());
}

TEST(Ingestor, KeepsASharedMotionFileWhenOneOfItsStillsFails) {
  Archive archive;
  archive.source("a.heic", "still");
  archive.source("a.jpg", "twin");
  archive.source("a.mov", "moves");
  fs::create_directories(archive.root() / "2020/2020-02" / (Archive::hashOf("twin") + ".jpg"));
  EXPECT_EQ(outcomes(archive.ingestor().ingestFolder(archive.sources(), true)),
            (Strings{"a.heic inserted", "a.jpg failed"}));
  EXPECT_EQ(filesBelow(archive.sources()), (Strings{"a.jpg", "a.mov"}));
}

TEST(Ingestor, FlushesAdoptedFilesBeforeTheirRow) {
  for (const bool sourcesGo : {false, true}) {
    SCOPED_TRACE(sourcesGo);
    Archive archive;
    const fs::path still = archive.source("a.heic", "still");
    const fs::path motion = archive.source("a.mov", "moves");
    const std::string id = Archive::hashOf("still");
    const fs::path month = archive.root() / "2020/2020-02";
    // As another run leaves them that is killed before it has flushed anything.
    writeText(month / (id + ".heic"), "still");
    writeText(month / (id + ".mov"), "moves");
    const Ingestor ingestor = archive.ingestor();
    const StepRecorder recorder;
    ASSERT_EQ(ingestor.process({still, motion, false, {}}, sourcesGo).outcome, Outcome::inserted);
    const Strings steps = recorder.steps();
    const auto at = [&](const std::string& step) {
      return std::find(steps.begin(), steps.end(), step) - steps.begin();
    };
    const auto row =
        std::find_if(steps.begin(), steps.end(),
                     [](const std::string& step) { return step.starts_with("commit"); }) -
        steps.begin();
    for (const std::string& step :
         {"fsync " + id + ".heic", "fsync " + id + ".mov", std::string("fsyncdir 2020-02"),
          std::string("fsyncdir 2020"), std::string("fsyncdir archive")}) {
      EXPECT_LT(at(step), row) << step;
    }
  }
}

TEST(Ingestor, WritesNothingThroughLinksBelowTheRoot) {
  for (const std::string& link : {std::string("2020"), std::string("2020/2020-02"),
                                  "2020/2020-02/" + Archive::hashOf("x") + ".jpg"}) {
    SCOPED_TRACE(link);
    Archive archive;
    const fs::path source = archive.source("a.jpg", "x");
    fs::create_directories((archive.root() / link).parent_path());
    fs::create_directories(archive.folder / "elsewhere/2020-02");
    fs::create_symlink(archive.folder / "elsewhere", archive.root() / link);
    EXPECT_EQ(archive.ingestor().process({source, {}, false, {}}, true).outcome, Outcome::failed);
    EXPECT_TRUE(fs::exists(source));
    EXPECT_TRUE(archive.rows().empty());
    EXPECT_TRUE(filesBelow(archive.folder / "elsewhere").empty());
  }
}

TEST(Ingestor, ArchivesIntoAFolderOnAnotherFileSystem) {
  withPrivateMounts([] {
    Archive archive;
    fs::create_directories(archive.root() / "2020");
    plugIn(archive.root() / "2020", "sub-volume");
    const fs::path source = archive.source("a.jpg", "x");
    auto options = archive.options();
    const dev_t device = fileStatus(archive.root())->stamp.device;
    options.root.acceptsDevice = [device](dev_t now) { return now == device; };
    EXPECT_EQ(archive.ingestor(options).process({source, {}, false, {}}, true).outcome,
              Outcome::inserted);
    EXPECT_FALSE(fs::exists(source)) << "its archived file is in reach";
    archive.pool.join();
  });
}

TEST(Ingestor, LogsRefusedModesAndTimesOnceEach) {
  // In a process of its own, since the lines come once a process.
  GTEST_FLAG_SET(death_test_style, "threadsafe");
  const auto copy = [] {
    Archive archive;
    const LogCapture log;
    const auto archives = [&](const std::string& name, StepRecorder& faults) {
      const auto result =
          archive.ingestor().process({archive.source(name, name), {}, false, {}}, true);
      return result.outcome == Outcome::inserted && faults.hitAll();
    };
    bool isGood = true;
    for (const char* name : {"a.jpg", "b.jpg"}) {
      StepRecorder faults({{"fchmod", EPERM}, {"futimens", EPERM}});
      isGood = isGood && archives(name, faults);
    }
    // Without the call the time is that of the copy, which is looked at as well.
    int lines = 0;
    for (const std::string& line : log.lines()) {
      lines += line.find("isn't kept") != std::string::npos ? 1 : 0;
    }
    ::_exit(isGood && lines == 3 ? 0 : 1);
  };
  EXPECT_EXIT(copy(), testing::ExitedWithCode(0), "");
}

TEST(Ingestor, LeavesWhatCannotBeArchivedInPlaceAndSaysWhy) {
  struct Row {
    const char* error;
    std::string source = "a.jpg";
    bool isGateOpen = true, isRootThere = true, isDriveRight = true;
  };
  for (const Row& row : {
           Row{.error = "destination offline or below margin", .isGateOpen = false},
           Row{.error = "No such file", .isRootThere = false},
           Row{.error = "No such device", .isDriveRight = false},
           Row{"gone.jpg”: No such file", "gone.jpg"},
           Row{"Invalid argument", "pipe.jpg"},
           Row{"Is a directory", "folder.jpg"},
           Row{"Invalid argument", "/dev/zero"},
       }) {
    SCOPED_TRACE(row.error + (" " + row.source));
    Archive archive;
    archive.source("a.jpg", "x");
    fs::create_directory(archive.sources() / "folder.jpg");
    ASSERT_EQ(::mkfifo((archive.sources() / "pipe.jpg").c_str(), 0600), 0);
    if (!row.isRootThere) {
      fs::remove_all(archive.root());
    }
    auto options = archive.options();
    options.gate = [&](std::int64_t) { return row.isGateOpen; };
    options.root.acceptsDevice = [&](dev_t) { return row.isDriveRight; };
    const auto result =
        archive.ingestor(options).process({archive.sources() / row.source, {}, false, {}}, true);
    EXPECT_EQ(result.outcome, row.isGateOpen ? Outcome::failed : Outcome::skipped);
    EXPECT_NE(result.error.value_or("").find(row.error), std::string::npos);
    EXPECT_TRUE(fs::exists(archive.sources() / "a.jpg"));
    EXPECT_TRUE(fs::exists(archive.sources() / "pipe.jpg"));
    EXPECT_EQ(fs::exists(archive.root()), row.isRootThere);
    EXPECT_TRUE(archive.files().empty());
    EXPECT_TRUE(archive.rows().empty());
  }
}

TEST(Ingestor, ArchivesSourcesWhoseNamesAreNotUtf8) {
  Archive archive;
  const fs::path source = archive.source("caf\xE9 \n.jpg", "odd");
  const auto result = archive.ingestor().process({source, {}, false, {}}, true);
  EXPECT_EQ(result.outcome, Outcome::inserted);
  EXPECT_EQ(result.photo->originalFilename, "caf\xEF\xBF\xBD \n.jpg");
  EXPECT_EQ(slurp(*result.photo->archivePath), "odd");
  EXPECT_FALSE(fs::exists(source));
}

TEST(Ingestor, CancelsAtAnyStepWithoutATrace) {
  const struct {
    const char* name;
    std::string_view step;
    std::size_t number;
  } rows[] = {
      {"before it is read", "open", 1},
      {"while it is hashed", "read", 2},
      {"in the middle of the copy", "write", 2},
      {"before the copy is read back", "fsync", 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    Archive archive;
    const fs::path source = archive.source("a.jpg", std::string(3 * kFileChunk, 'x'));
    std::stop_source stop;
    auto options = archive.options();
    options.stop = stop.get_token();
    const Ingestor ingestor = archive.ingestor(options);
    const auto plan = FaultPlan::doing(row.step, row.number, [&] { stop.request_stop(); });
    EXPECT_EQ(ingestor.process({source, {}, false, {}}, true).outcome, Outcome::cancelled);
    EXPECT_TRUE(plan.wasHit());
    EXPECT_TRUE(archive.files().empty());
    EXPECT_TRUE(archive.rows().empty());
    EXPECT_TRUE(fs::exists(source));
    EXPECT_TRUE(ingestor.ingestFolder(archive.sources(), true).empty());
  }
}

TEST(Ingestor, DescribesVideosByTheirContainerElseByTheirName) {
  ::setenv("TZ", "UTC", 1);
  Archive archive;
  const Ingestor ingestor = archive.ingestor();
  const auto described = [&](const fs::path& file) {
    return ingestor.process({file, {}, true, {}}, false).photo.value();
  };
  const fs::path clip = archive.sources() / "VID_20190102_030405.MP4";
  makeClip(clip, {.width = 1920,
                  .height = 1080,
                  .seconds = 0.5,
                  .rotation = 90,
                  .metadata = {{"creation_time", "2021-06-01T10:11:12Z"}}});
  AnalyzedPhoto photo = described(clip);
  EXPECT_EQ(photo.mediaType, "video");
  EXPECT_EQ(photo.megapixels, 2.0736);
  EXPECT_EQ(photo.duration, 0.5);
  EXPECT_EQ(photo.captureDate, "2021-06-01T10:11:12");
  EXPECT_EQ(photo.captureDateSource, "exif");
  photo = described(archive.source("VID_20190102_030405.mkv", "no video"));
  EXPECT_EQ(photo.mediaType, "video");
  EXPECT_FALSE(photo.width || photo.height || photo.megapixels || photo.duration || photo.gpsLat);
  EXPECT_EQ(photo.captureDate, "2019-01-02T03:04:05");
  EXPECT_EQ(photo.captureDateSource, "filename");
  ::unsetenv("TZ");
}

TEST(Ingestor, PrefersAGroupsNamesAndTheLibrarysValuesToTheFiles) {
  Archive archive;
  const Ingestor ingestor = archive.ingestor();
  AssetGroup group;
  group.primary = archive.source("20210304_050607-1.jpg", "x");
  group.name = "IMG_1.jpg";
  group.dateName = "IMG_20190102_030405.jpg";
  auto photo = ingestor.process(group, false).photo;
  ASSERT_TRUE(photo);
  EXPECT_EQ(photo->originalFilename, "IMG_1.jpg");
  EXPECT_EQ(photo->captureDate, "2019-01-02T03:04:05");
  group.dateName = "";
  photo = ingestor.process(group, false).photo;
  ASSERT_TRUE(photo);
  EXPECT_EQ(photo->captureDateSource, "filemtime");

  makeStill(group.primary,
            {.metadata = {.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"}},
                          .gps = GpsPosition{1, 2}}});
  const PhotosMeta meta{"uuid", true, "2015-01-02T03:04:05", 48.5, 2.25, {"Trip"}, {{"hdr", true}}};
  photo = ingestor.process(group, false, &meta).photo;
  ASSERT_TRUE(photo);
  EXPECT_EQ(photo->captureDateSource, "photos");
  EXPECT_EQ(photo->targetPath.substr(0, 13), "2015/2015-01/");
  EXPECT_EQ(photo->gpsLat, 48.5);
  EXPECT_EQ(photo->gpsLon, 2.25);
  EXPECT_TRUE(photo->favorite);
  EXPECT_EQ(photo->tags, Strings{"Trip"});
}

}  // namespace
}  // namespace vaultmere
