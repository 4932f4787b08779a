// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/ArchiveRebuilder.h"
#include "catalog/PhotoSchema.h"
#include "tests/care/CatalogFixture.h"
#include "tests/support/ClipMaker.h"
#include "tests/support/StillMaker.h"

namespace vaultmere {
namespace {

class ArchiveRebuilderTest : public testing::Test {
 protected:
  ArchiveRebuilder::Result rebuild(CatalogFixture& archive, const std::stop_token& stop = {}) {
    if (!archive.catalog) {
      archive.open();
    }
    progress_.clear();
    return ArchiveRebuilder({.root = {archive.root(), nullptr},
                             .context = archive.catalog->newBackgroundContext(),
                             .media = testMedia(),
                             .neverScanned = {archive.data()}})
        .run([&](std::size_t done, std::size_t total) { progress_.emplace_back(done, total); },
             stop);
  }
  ArchiveRebuilder::Result rebuild() { return rebuild(archive_); }

  static std::vector<Photo> photosOf(CatalogFixture& archive) {
    return archive.catalog->viewContext().perform([](Connection& connection) {
      std::vector<Photo> photos;
      auto rows = connection.prepareOnce("SELECT " + photoColumns() + " FROM Photo ORDER BY id");
      while (rows.step()) {
        photos.push_back(photoFromRow(rows));
      }
      return photos;
    });
  }

  /// An archived file of these bytes.
  fs::path file(const std::string& folder, const std::string& bytes, const std::string& ext,
                const std::string& day = "2020-02-03") const {
    const fs::path path = archive_.root() / folder / (Archive::hashOf(bytes) + ext);
    writeText(path, bytes);
    setModified(path, parseCatalogDate(day + "T12:00:00Z")->moment());
    return path;
  }

  CatalogFixture archive_;
  const LogCapture log_;
  std::vector<std::pair<std::size_t, std::size_t>> progress_;
};

TEST_F(ArchiveRebuilderTest, GivesTheRowsThatAFreezeGave) {
  const auto at = [&](const char* name) { return archive_.sources() / name; };
  StillOptions dated;
  dated.metadata.exif = {{"Exif.Photo.DateTimeOriginal", "2021:06:01 10:11:12"},
                         {"Exif.Image.Make", "Acme"}};
  dated.metadata.gps = {46.5, 8.25};
  makeStill(at("dated.jpg"), dated);
  dated.format = StillFormat::heic;
  makeStill(at("live.heic"), dated);
  makeClip(at("live.mov"), {.container = ClipContainer::mov});
  makeClip(at("clip.mp4"), {.metadata = {{"creation_time", "2019-08-07T10:00:00Z"}}});
  makeStill(at("by time.png"), {.format = StillFormat::png});
  setModified(at("by time.png"), parseCatalogDate("2018-04-03T12:00:00Z")->moment());
  archive_.source("IMG_20170506_070809.jpg", "not a picture", "2020-02-03");
  (void)archive_.ingestor().ingestFolder(archive_.sources(), false);
  std::vector<Photo> before = photosOf(archive_);
  ASSERT_EQ(before.size(), 5U);

  archive_.startAnew();
  EXPECT_EQ(rebuild(), (ArchiveRebuilder::Result{5, 0}));
  const std::vector<Photo> after = photosOf(archive_);
  ASSERT_EQ(after.size(), before.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    if (before[i].captureDateSource == "filename") {
      before[i].captureDate = parseCatalogDate("2017-05-01T00:00:00");
      before[i].captureDateConfidence = "low";
    }
    before[i].originalFilename = before[i].id + before[i].ext;
    before[i].processedAt = after[i].processedAt;
    EXPECT_TRUE(after[i] == before[i]) << before[i].targetPath;
  }
  EXPECT_EQ(rebuild(), (ArchiveRebuilder::Result{0, 0}));
}

TEST_F(ArchiveRebuilderTest, TakesTheFolderForADateThatIsLost) {
  struct {
    const char* folder;
    const char* date;
    const char* source;
  } const cases[] = {
      {"2020/2020-02", "2020-02-03T12:00:00Z", "filemtime"},
      {"2017/2017-05", "2017-05-01T00:00:00", "filename"},
      {"2017/2017-13", "2020-02-03T12:00:00Z", "filemtime"},
      {"2016/2017-05", "2020-02-03T12:00:00Z", "filemtime"},
      {"undated", "2020-02-03T12:00:00Z", "filemtime"},
      {"2017-05-06 Berlin", "2020-02-03T12:00:00Z", "filemtime"},
  };
  for (const auto& [folder, date, source] : cases) {
    (void)file(folder, folder, ".jpg");
  }
  EXPECT_EQ(rebuild().added, std::size(cases));
  const auto photos = photosOf(archive_);
  for (const auto& [folder, date, source] : cases) {
    const auto found =
        std::find_if(photos.begin(), photos.end(),
                     [&, name = folder](const Photo& p) { return p.id == Archive::hashOf(name); });
    ASSERT_NE(found, photos.end());
    EXPECT_EQ(found->captureDate, parseCatalogDate(date)) << folder;
    EXPECT_EQ(found->captureDateSource, source) << folder;
  }
}

TEST_F(ArchiveRebuilderTest, PassesOverWhatIsntTheArchives) {
  (void)file("2020/2020-02", "a", ".jpg");
  writeText(archive_.root() / "holiday/own name.jpg", "b");
  for (const char* path : {"trash/x.jpg", "trash/damaged/y.jpg", "2020/@eaDir/z.jpg",
                           ".snapshot/z.jpg", "2020/.hidden.jpg", "notes.txt"}) {
    writeText(archive_.root() / path, path);
  }
  EXPECT_EQ(rebuild(), (ArchiveRebuilder::Result{2, 0}));
  EXPECT_TRUE(log_.contains("rebuild: 2 files in “" + (archive_.root() / "trash").string()));
  EXPECT_TRUE(log_.contains("left out — " + (archive_.root() / "2020/@eaDir").string()));
}

TEST_F(ArchiveRebuilderTest, CountsWhatCantBeRead) {
  const fs::path damaged = file("2020/2020-02", "a", ".jpg");
  writeText(damaged, "b");
  const fs::path alone = file("2020/2020-02", "its still is gone", ".mov");
  fs::rename(alone, alone.parent_path() / (Archive::hashOf("still") + ".mov"));
  const fs::path locked = file("2020/2020-02", "c", ".jpg");
  (void)file("2020/2020-02", "d", ".jpg");
  const auto plan = FaultPlan::failing("open", 1, EACCES, locked.filename().native());
  EXPECT_EQ(rebuild(), (ArchiveRebuilder::Result{1, 3}));
  EXPECT_TRUE(log_.contains("aren't those that its name tells — " + damaged.string()));
}

TEST_F(ArchiveRebuilderTest, TellsItsProgressAtEveryFifthFile) {
  using Reports = std::vector<std::pair<std::size_t, std::size_t>>;
  EXPECT_EQ(rebuild(), ArchiveRebuilder::Result{});
  EXPECT_EQ(progress_, (Reports{{0, 0}}));
  for (int i = 0; i < 7; ++i) {
    (void)file("undated", std::to_string(i), ".jpg");
  }
  EXPECT_EQ(rebuild().added, 7U);
  EXPECT_EQ(progress_, (Reports{{0, 7}, {5, 7}, {7, 7}}));
}

TEST_F(ArchiveRebuilderTest, EndsWithTheRootOrAStop) {
  for (int i = 0; i < 3; ++i) {
    (void)file("undated", std::to_string(i), ".jpg");
  }
  std::stop_source stop;
  archive_.open();
  {
    const auto stops = FaultPlan::doing("commit", 2, [&] { stop.request_stop(); });
    EXPECT_EQ(rebuild(archive_, stop.get_token()), (ArchiveRebuilder::Result{2, 0}));
  }
  archive_.startAnew();
  const auto leaves = FaultPlan::doing(
      "commit", 3, [&] { fs::rename(archive_.root(), archive_.folder / "unplugged"); });
  EXPECT_THROW((void)rebuild(), FileError);
  EXPECT_THROW((void)rebuild(), FileError);
}

TEST_F(ArchiveRebuilderTest, GoesOnWhereAKilledOneStopped) {
  for (int i = 0; i < 3; ++i) {
    (void)file("undated", std::to_string(i), ".jpg");
  }
  (void)file("undated", "live", ".heic");
  writeText(archive_.root() / "undated" / (Archive::hashOf("live") + ".mov"), "motion");
  (void)testMedia().problem();
  bool wasKilled = true;
  for (std::size_t number = 1; wasKilled && !HasFailure(); number += 7) {
    SCOPED_TRACE(number);
    archive_.startAnew();
    wasKilled = archive_.killAt(number, [&] { (void)rebuild(); });
    archive_.open();
    const std::size_t known = photosOf(archive_).size();
    StepRecorder recorder;
    EXPECT_EQ(rebuild().added, 4 - known);
    std::size_t opened = 0;
    for (const std::string& step : recorder.steps()) {
      opened += step.starts_with("open ") && step.size() > 64 ? 1U : 0U;
    }
    EXPECT_EQ(opened, 2 * (4 - known)) << "a known file isn't read: once to hash, once to analyse";
    EXPECT_EQ(photosOf(archive_).size(), 4U);
  }
}

}  // namespace
}  // namespace vaultmere
