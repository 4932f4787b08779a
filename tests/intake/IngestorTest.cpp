// SPDX-License-Identifier: GPL-3.0-or-later
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "intake/Ingestor.h"
#include "tests/intake/Archive.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/LogCapture.h"
#include "tests/support/StillMaker.h"

namespace vaultmere {
namespace {

using Outcome = IngestOutcome;

TEST(Archiver, FilesUnderTheDateAsItStands) {
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
    EXPECT_EQ(Archiver::targetPath(c.date, "abc", ".jpg"), std::string(c.folder) + "abc.jpg");
  }
}

TEST(Ingestor, FreezesAFolderAndKnowsItAgain) {
  Archive archive;
  makeStill(archive.sources() / "real.jpg",
            {.metadata = {.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"}}}});
  archive.source("copy/IMG_20220102_030405.jpg", "other");
  archive.source("copy/again.png", "other", "2022-01-09");
  archive.source("empty.jpg", "");
  archive.source("text.jpg", "just words");
  archive.source("notes.txt", "junk");
  archive.source("a.json", "{}");
  const Ingestor ingestor = archive.ingestor();
  EXPECT_EQ(outcomes(ingestor.ingestFolder(archive.sources(), false)),
            (Strings{"IMG_20220102_030405.jpg inserted", "again.png duplicate",
                     "empty.jpg inserted", "real.jpg inserted", "text.jpg inserted"}));
  const Strings frozen = archive.files();
  EXPECT_EQ(frozen.size(), 5U);  // two bytes-alike under two extensions
  EXPECT_EQ(archive.rows().size(), 4U);
  EXPECT_TRUE(std::find(frozen.begin(), frozen.end(),
                        "2020/2020-02/" + Archive::hashOf("") + ".jpg") != frozen.end());
  archive.expectSound();
  for (const auto& result : ingestor.ingestFolder(archive.sources(), false)) {
    EXPECT_EQ(result.outcome, Outcome::duplicate);
  }
  EXPECT_EQ(archive.files(), frozen);
}

TEST(Ingestor, ACopyKeepsTimeAndModeAndLeavesNoTrace) {
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

TEST(Ingestor, ALivePhotoTravelsWhole) {
  Archive archive;
  const fs::path still = archive.source("a.heic", "still");
  const fs::path twin = archive.source("a.jpg", "twin");
  const fs::path motion = archive.source("a.mov", "moves");
  std::vector<std::int64_t> asked;
  auto options = archive.options();
  options.gate = [&](std::int64_t bytes) {
    asked.push_back(bytes);
    return true;
  };
  const auto results = Ingestor(options).ingestFolder(archive.sources(), true);
  EXPECT_EQ(outcomes(results), (Strings{"a.heic inserted", "a.jpg inserted"}));
  EXPECT_EQ(asked, (std::vector<std::int64_t>{10, 9}));
  EXPECT_EQ(results[0].photo->mediaType, "live_photo");
  EXPECT_EQ(results[0].photo->liveMotionFile, Archive::hashOf("still") + ".mov");
  EXPECT_EQ(slurp(*results[0].photo->liveMotionPath), "moves");
  EXPECT_EQ(slurp(*results[1].photo->liveMotionPath), "moves");
  EXPECT_TRUE(filesBelow(archive.sources()).empty());
  // A still whose motion file is missing in the archive gets just that.
  fs::remove(*results[0].photo->liveMotionPath);
  archive.source("a.heic", "still");
  archive.source("a.mov", "moves");
  EXPECT_EQ(outcomes(archive.ingestor().ingestFolder(archive.sources(), false)),
            Strings{"a.heic duplicate"});
  EXPECT_EQ(slurp(*results[0].photo->liveMotionPath), "moves");
}

TEST(Ingestor, ASharedMotionFileStaysWhileAStillHasFailed) {
  Archive archive;
  archive.source("a.heic", "still");
  archive.source("a.jpg", "twin");
  archive.source("a.mov", "moves");
  fs::create_directories(archive.root() / "2020/2020-02" / (Archive::hashOf("twin") + ".jpg"));
  EXPECT_EQ(outcomes(archive.ingestor().ingestFolder(archive.sources(), true)),
            (Strings{"a.heic inserted", "a.jpg failed"}));
  EXPECT_EQ(filesBelow(archive.sources()), (Strings{"a.jpg", "a.mov"}));
}

TEST(Ingestor, EqualStillsWithDifferentMotionFilesLoseNone) {
  Archive archive;
  archive.source("a.jpg", "stub");
  archive.source("a.mov", "runs");
  archive.source("b.jpg", "stub");
  archive.source("b.mov", "jumps");
  for (const bool sourcesGo : {false, true}) {
    EXPECT_EQ(outcomes(archive.ingestor().ingestFolder(archive.sources(), sourcesGo)),
              (Strings{sourcesGo ? "a.jpg duplicate" : "a.jpg inserted", "b.jpg failed"}));
  }
  EXPECT_EQ(filesBelow(archive.sources()), (Strings{"b.jpg", "b.mov"}));
}

TEST(Ingestor, AFileThatTakesTheNameMeanwhileStays) {
  Archive archive;
  const fs::path still = archive.source("a.jpg", "stub");
  const fs::path motion = archive.source("a.mov", "runs");
  const fs::path taken = archive.root() / "2020/2020-02" / (Archive::hashOf("stub") + ".mov");
  const Ingestor ingestor = archive.ingestor();
  const FaultPlan other = FaultPlan::doing("rename", 2, [&] { writeText(taken, "jumps"); });
  const auto result = ingestor.process({still, motion, false, {}}, true);
  EXPECT_EQ(result.outcome, Outcome::failed);
  EXPECT_EQ(result.error, "hash mismatch for " + taken.filename().string());
  EXPECT_EQ(slurp(taken), "jumps");
  EXPECT_TRUE(fs::exists(still) && fs::exists(motion));
  EXPECT_EQ(archive.files().size(), 2U);
}

TEST(Ingestor, ASourceThatIsStillBeingWrittenStays) {
  Archive archive;
  const fs::path source = archive.source("a.jpg", "so far");
  const int writer = ::open(source.c_str(), O_WRONLY | O_CLOEXEC);
  EXPECT_EQ(archive.ingestor().process({source, {}, false, {}}, true).outcome, Outcome::inserted);
  ::close(writer);
  EXPECT_TRUE(fs::exists(source));
}

TEST(Ingestor, TheGateKeepsTheSource) {
  Archive archive;
  archive.source("a.jpg", "x");
  auto options = archive.options();
  options.gate = [](std::int64_t) { return false; };
  const auto results = Ingestor(options).ingestFolder(archive.sources(), true);
  ASSERT_EQ(outcomes(results), Strings{"a.jpg skipped"});
  EXPECT_EQ(results[0].error, "destination offline or below margin");
  EXPECT_TRUE(archive.files().empty());
  EXPECT_EQ(filesBelow(archive.sources()), Strings{"a.jpg"});
}

TEST(Ingestor, ASourceGoesOnlyWhenTheArchivesBytesAreKnown) {
  Archive archive;
  const fs::path source = archive.source("a.jpg", "good");
  const Ingestor ingestor = archive.ingestor();
  ASSERT_EQ(ingestor.process({source, {}, false, {}}, false).outcome, Outcome::inserted);
  const fs::path target = archive.root() / archive.rows()[0];
  writeText(target, "rott");
  // Copying trusts what is there; moving reads it.
  EXPECT_EQ(ingestor.process({source, {}, false, {}}, false).outcome, Outcome::duplicate);
  const auto moved = ingestor.process({source, {}, false, {}}, true);
  EXPECT_EQ(moved.outcome, Outcome::failed);
  EXPECT_EQ(moved.error, "hash mismatch for " + target.filename().string());
  EXPECT_TRUE(fs::exists(source));
  fs::remove(target);
  fs::create_symlink(source, target);
  EXPECT_EQ(ingestor.process({source, {}, false, {}}, false).outcome, Outcome::failed);
}

TEST(Ingestor, TheArchivedFileIsNeverTakenForASource) {
  Archive archive;
  const fs::path source = archive.source("a.jpg", "good");
  const Ingestor ingestor = archive.ingestor();
  (void)ingestor.process({source, {}, false, {}}, true);
  const fs::path target = archive.root() / archive.rows()[0];
  ASSERT_TRUE(fs::exists(target));
  ASSERT_FALSE(fs::exists(source));
  // A hard link beside the sources, and the archive's own file by another path.
  fs::create_hard_link(target, source);
  setModified(source, fileStatus(source)->stamp.modified());
  (void)ingestor.process({source, {}, false, {}}, true);
  EXPECT_TRUE(fs::exists(source));
  fs::remove(source);
  fs::create_directory_symlink(archive.root(), archive.folder / "alias");
  (void)ingestor.process({archive.folder / "alias" / archive.rows()[0], {}, false, {}}, true);
  EXPECT_TRUE(fs::exists(target));
  EXPECT_TRUE(ingestor.ingestFolder(archive.root(), true).empty());
}

TEST(Ingestor, ASourceThatIsRewrittenMeanwhileStays) {
  struct Case {
    std::string_view step;
    Outcome outcome;
  };
  for (const Case& c : {Case{"create", Outcome::failed}, Case{"rename", Outcome::inserted},
                        Case{"commit", Outcome::inserted}}) {
    Archive archive;
    const fs::path source = archive.source("a.jpg", "old bytes");
    const Ingestor ingestor = archive.ingestor();
    const FaultPlan rewrites = FaultPlan::doing(c.step, 1, [&] { writeText(source, "new bytes"); });
    const auto result = ingestor.process({source, {}, false, {}}, true);
    EXPECT_EQ(result.outcome, c.outcome) << c.step;
    EXPECT_EQ(slurp(source), "new bytes") << c.step;
    archive.expectSound();
  }
}

TEST(Ingestor, TheDestinationIsNotMadeAndNotMistaken) {
  Archive archive;
  const fs::path source = archive.source("a.jpg", "x");
  auto options = archive.options();
  options.acceptsDevice = [](dev_t) { return false; };
  auto result = Ingestor(options).process({source, {}, false, {}}, true);
  EXPECT_NE(result.error.value_or("").find("No such device"), std::string::npos);
  fs::remove_all(archive.root());
  result = archive.ingestor().process({source, {}, false, {}}, true);
  EXPECT_NE(result.error.value_or("").find("No such file"), std::string::npos);
  EXPECT_FALSE(fs::exists(archive.root()));
  EXPECT_TRUE(fs::exists(source));
}

TEST(Ingestor, OddSourcesFailAloneOrGoThrough) {
  Archive archive;
  ::mkfifo((archive.sources() / "pipe.jpg").c_str(), 0600);
  const std::string latin1 = "caf\xE9 \n.jpg";
  archive.source(latin1, "odd");
  const Ingestor ingestor = archive.ingestor();
  EXPECT_EQ(ingestor.process({archive.sources() / "pipe.jpg", {}, false, {}}, true).outcome,
            Outcome::failed);
  EXPECT_EQ(ingestor.process({archive.sources() / "gone.jpg", {}, false, {}}, true).outcome,
            Outcome::failed);
  EXPECT_EQ(ingestor.process({"/dev/zero", {}, false, {}}, true).outcome, Outcome::failed);
  const auto result = ingestor.process({archive.sources() / latin1, {}, false, {}}, true);
  EXPECT_EQ(result.outcome, Outcome::inserted);
  EXPECT_EQ(result.photo->originalFilename, "caf\xEF\xBF\xBD \n.jpg");
  EXPECT_EQ(slurp(*result.photo->archivePath), "odd");
  EXPECT_FALSE(fs::exists(archive.sources() / latin1));
}

TEST(Ingestor, AStopEndsACopyWithoutATrace) {
  Archive archive;
  const fs::path source = archive.source("a.jpg", "x");
  std::stop_source stop;
  auto options = archive.options();
  options.stop = stop.get_token();
  stop.request_stop();
  EXPECT_EQ(Ingestor(options).process({source, {}, false, {}}, true).outcome, Outcome::failed);
  EXPECT_TRUE(archive.files().empty());
  EXPECT_TRUE(fs::exists(source));
}

TEST(Ingestor, TheLibrarysWordGoesFirst) {
  Archive archive;
  const fs::path source = archive.sources() / "IMG_20220102_030405.jpg";
  makeStill(source, {.metadata = {.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"}},
                                  .gps = GpsPosition{1, 2}}});
  const PhotosMeta meta{"uuid", true, "2015-01-02T03:04:05", 48.5, 2.25, {"Trip"}, {{"hdr", true}}};
  const auto photo = archive.ingestor().process({source, {}, false, {}}, false, &meta).photo;
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
