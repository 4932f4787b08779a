// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/IntegrityCheck.h"
#include "tests/intake/Archive.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/LogCapture.h"

namespace vaultmere {
namespace {

class IntegrityCheckTest : public testing::Test {
 protected:
  IntegrityCheckTest() { archive_.open(); }

  void row(const std::string& id, std::optional<std::string> archivePath, std::string targetPath,
           std::string filename = "IMG.jpg") {
    AnalyzedPhoto photo;
    photo.id = id;
    photo.archivePath = std::move(archivePath);
    photo.targetPath = std::move(targetPath);
    photo.originalFilename = std::move(filename);
    photo.sizeBytes = -1;
    (void)CatalogWriter(archive_.catalog->newBackgroundContext()).write(photo);
  }
  void file(const std::string& path) const { writeText(archive_.root() / path, ""); }
  [[nodiscard]] std::string full(const std::string& path) const {
    return (archive_.root() / path).string();
  }
  std::optional<IntegrityReport> check(const ArchiveRoot& root, const std::stop_token& stop = {}) {
    return checkIntegrity(archive_.catalog->viewContext(), root, stop);
  }
  IntegrityReport check() { return check({archive_.root(), nullptr}).value(); }

  Archive archive_;
  const LogCapture log_;
};

TEST_F(IntegrityCheckTest, AnEmptyArchiveHasNothingToReport) {
  EXPECT_EQ(check(), IntegrityReport{});
}

TEST_F(IntegrityCheckTest, FindsARowsFileAtEitherPlace) {
  writeText(archive_.folder / "elsewhere.jpg", "");
  file("2020/2020-02/b.jpg");
  file("d.jpg/inside.txt");
  fs::create_symlink(archive_.folder / "elsewhere.jpg", archive_.root() / "link.jpg");
  row("a", archive_.folder / "elsewhere.jpg", "gone.jpg");
  row("b", full("moved.jpg"), "2020/2020-02/b.jpg");
  row("by link", {}, "link.jpg");
  row("c", full("c.jpg"), "2020/c.jpg", "");
  row("d", {}, "d.jpg", "replaced by a folder");
  row("e", "", "", "without a place");
  row("f", full("b.jpg") + std::string("\0", 1), "../../../../../etc/hostname/x", "absurd");
  const IntegrityReport report = check();
  EXPECT_EQ(report.dbEntries, 7);
  EXPECT_EQ(report.missing,
            (std::vector<Discrepancy>{{"c", "c", full("c.jpg")},
                                      {"d", "replaced by a folder", full("d.jpg")},
                                      {"e", "without a place", ""},
                                      {"f", "absurd", full("b.jpg") + std::string("\0", 1)}}));
}

TEST_F(IntegrityCheckTest, AccountsForFilesByTheirNamesWithoutTheExtension) {
  row("id", {}, "2020/id.heic");
  struct {
    const char* path;
    bool isCounted;
    bool isOrphan;
  } const cases[] = {
      {"2020/id.heic", true, false},
      {"2020/id.mov", true, false},
      {"copies/of/it/id.jpeg", true, false},
      {"trash/id.heic", true, false},
      {"id", true, false},
      {"id.jpg.tmp", false, false},
      {".id.jpg", false, false},
      {"id.tmp.jpg", true, true},
      {"ID.jpg", true, true},
      {"2020/other.jpg", true, true},
      {".vaultmere/catalog/manifest.json", true, true},
      {".snapshot/hourly/x.jpg", false, false},
      {"2020/@eaDir/x.jpg", false, false},
      {"#recycle/x.jpg", false, false},
      {".Trash-1000/files/x.jpg", false, false},
      {"recycle/lost+found", true, true},
  };
  std::int64_t counted = 0;
  Strings orphans;
  for (const auto& [path, isCounted, isOrphan] : cases) {
    file(path);
    counted += isCounted ? 1 : 0;
    if (isOrphan) {
      orphans.push_back(full(path));
    }
  }
  const IntegrityReport report = check();
  EXPECT_EQ(report.diskFiles, counted);
  Strings found;
  for (const Discrepancy& orphan : report.orphans) {
    EXPECT_EQ(orphan.label, fs::path(orphan.path).filename());
    EXPECT_EQ(orphan.id, fs::path(orphan.path).stem());
    found.push_back(orphan.path);
  }
  std::sort(found.begin(), found.end());
  std::sort(orphans.begin(), orphans.end());
  EXPECT_EQ(found, orphans);
  EXPECT_TRUE(report.missing.empty());
  EXPECT_TRUE(log_.contains("left out — " + full("2020/@eaDir")));
}

TEST_F(IntegrityCheckTest, NamesFoldersThatCantBeRead) {
  file("2020/a.jpg");
  file("2021/b.jpg");
  row("a", {}, "2020/a.jpg");
  const auto plan = FaultPlan::failing("open", 1, EACCES, "2020");
  const IntegrityReport report = check();
  const std::string words = "open “" + full("2020") + "”: Permission denied";
  EXPECT_EQ(report.unreadable, Strings{words});
  EXPECT_TRUE(log_.contains("Vaultmere: integrity check: folder skipped — " + words));
  EXPECT_EQ(report.diskFiles, 1);
  EXPECT_TRUE(report.missing.empty()) << "it can be asked for by its path";
}

TEST_F(IntegrityCheckTest, ARootThatIsntThereHasNoFiles) {
  row("a", {}, "a.jpg");
  fs::remove(archive_.root());
  EXPECT_EQ(check().missing.size(), 1U);
  EXPECT_FALSE(check({archive_.root(), [](dev_t) { return true; }}));
}

TEST_F(IntegrityCheckTest, GivesNoReportOfAnotherDriveOrAfterAStop) {
  row("a", {}, "a.jpg");
  int asked = 0;
  EXPECT_FALSE(check({archive_.root(), [&](dev_t) { return ++asked == 1; }}))
      << "changed meanwhile";
  EXPECT_EQ(asked, 2);
  {
    const auto leaves = FaultPlan::doing("readdir", 1, [&] {
      fs::rename(archive_.root(), archive_.folder / "away");
      fs::create_directories(archive_.root());
    });
    EXPECT_FALSE(check({archive_.root(), nullptr})) << "another folder in its place";
  }
  std::stop_source stop;
  stop.request_stop();
  EXPECT_FALSE(check({archive_.root(), nullptr}, stop.get_token()));
}

TEST_F(IntegrityCheckTest, ACatalogThatCantBeReadHasNoRows) {
  file("a.jpg");
  row("a", {}, "a.jpg");
  archive_.catalog->viewContext().perform(
      [](Connection& store) { store.execute("ALTER TABLE Photo RENAME TO Lost"); });
  const IntegrityReport report = check();
  EXPECT_EQ(report.dbEntries, 0);
  EXPECT_EQ(report.orphans.size(), 1U);
}

}  // namespace
}  // namespace vaultmere
