// SPDX-License-Identifier: GPL-3.0-or-later
#include <sys/stat.h>

#include "catalog/CatalogError.h"
#include "tests/care/CatalogFixture.h"

namespace vaultmere {
namespace {

class CatalogBackupTest : public testing::Test {
 protected:
  CatalogFixture archive_;
  const LogCapture log_;
};

TEST_F(CatalogBackupTest, LeavesOneStoreAndOneManifest) {
  archive_.addPhotos(1, 3);
  (void)archive_.backUp();
  archive_.addPhotos(4, 5);
  const auto info = archive_.backUp();
  EXPECT_EQ(archive_.files(),
            (Strings{".vaultmere/catalog/Vaultmere.sqlite", ".vaultmere/catalog/manifest.json"}));
  EXPECT_EQ(archive_.photosOf(archive_.backup()), 5);
  EXPECT_EQ(slurp(archive_.backup("catalog/manifest.json")),
            "{\n  \"appVersion\": \"" VAULTMERE_VERSION
            "\",\n  \"date\": \"2030-03-17T17:46:40Z\",\n  \"photoCount\": 1234,\n"
            "  \"schema\": 1\n}");
  EXPECT_EQ(CatalogBackup::readInfo({archive_.root(), nullptr}), info);
  EXPECT_FALSE(fs::exists(archive_.data() / "backup-making"));
}

TEST_F(CatalogBackupTest, IsAsReadableAsTheRoot) {
  archive_.addPhotos(1, 1);
  const mode_t old = ::umask(077);
  fs::permissions(archive_.root(), static_cast<fs::perms>(0755));
  (void)archive_.backUp();
  ::umask(old);
  const auto modeOf = [&](const char* name) {
    return fileStatus(archive_.backup(name))->permissions;
  };
  EXPECT_EQ(modeOf("catalog"), 0755U);
  EXPECT_EQ(modeOf("catalog/Vaultmere.sqlite"), 0644U);
  EXPECT_EQ(modeOf("catalog/manifest.json"), 0644U);
}

TEST_F(CatalogBackupTest, ReadsManifests) {
  const CatalogBackup::Info info{"1.2", CatalogFixture::kNow, 7, 1};
  const auto with = [](const char* rest) {
    return std::string(R"({"appVersion":"1.2","date":"2030-03-17T17:46:40Z")") + rest;
  };
  EXPECT_EQ(CatalogBackup::manifestFromText(CatalogBackup::manifestText(info)), info);
  EXPECT_EQ(CatalogBackup::manifestFromText(with(R"(,"photoCount":7,"schema":1,"x":[{}]})")), info);
  for (const std::string& bad :
       {std::string(), std::string("garbage"), std::string("[]"), std::string(100'000, '['),
        with("}"), with(R"(,"photoCount":"7","schema":1})"), with(R"(,"photoCount":7})"),
        with(R"(,"photoCount":7,"schema":1)"),
        with(",\"photoCount\":7,\"schema\":1,\"x\":\"\xff\"}"),
        std::string(R"({"appVersion":"","date":"yesterday","photoCount":7,"schema":1})")}) {
    EXPECT_FALSE(CatalogBackup::manifestFromText(bad)) << bad.substr(0, 80);
    fs::create_directories(archive_.backup("catalog"));
    writeText(archive_.backup("catalog/manifest.json"), bad);
    EXPECT_FALSE(CatalogBackup::readInfo({archive_.root(), nullptr}));
  }
}

TEST_F(CatalogBackupTest, KeepsABackupThatHoldsMore) {
  struct {
    const char* what;
    int first, last;  // of the new catalog, after one of photos 1 to 5
    std::int64_t kept;
  } const cases[] = {
      {"fewer", 1, 4, 5},
      {"others", 11, 19, 5},
      {"none", 1, 0, 5},
      {"the same", 1, 5, -1},
      {"one of them and more", 5, 9, -1},
  };
  for (const auto& [what, first, last, kept] : cases) {
    SCOPED_TRACE(what);
    CatalogFixture archive;
    archive.addPhotos(1, 5);
    (void)archive.backUp();
    archive.startAnew();
    archive.open();
    archive.addPhotos(first, last);
    (void)archive.backUp();
    EXPECT_EQ(archive.photosOf(archive.backup()), last - first + 1);
    EXPECT_EQ(archive.photosOf(archive.backup("catalog-before/Vaultmere.sqlite")), kept);
    EXPECT_EQ(fs::exists(archive.backup("catalog-before/manifest.json")), kept >= 0);
  }
}

TEST_F(CatalogBackupTest, OnlyALargerOneReplacesTheOneThatIsKept) {
  const fs::path before = archive_.backup("catalog-before/Vaultmere.sqlite");
  for (const auto& [photos, kept] : {std::pair{5, -1}, {3, 5}, {2, 5}, {9, 5}, {8, 9}}) {
    archive_.startAnew();
    archive_.addPhotos(1, photos);
    (void)archive_.backUp();
    EXPECT_EQ(archive_.photosOf(before), kept) << photos;
  }
  archive_.addPhotos(9, 12);
  writeText(archive_.backup(), "garbage that may be worth something");
  fs::remove_all(archive_.backup("catalog-before"));
  (void)archive_.backUp();
  EXPECT_EQ(slurp(before), "garbage that may be worth something");
  EXPECT_EQ(archive_.photosOf(archive_.backup()), 12);
}

TEST_F(CatalogBackupTest, RefusesWhatStandsInItsWay) {
  archive_.addPhotos(1, 1);
  fs::create_directory_symlink(archive_.sources(), archive_.root() / ".vaultmere");
  EXPECT_THROW(archive_.backUp(), FileError);
  EXPECT_TRUE(filesBelow(archive_.sources()).empty());
  fs::remove(archive_.root() / ".vaultmere");
  fs::create_directories(archive_.backup() / "a folder");
  EXPECT_THROW(archive_.backUp(), FileError);
  EXPECT_TRUE(archive_.files().empty());
  fs::remove_all(archive_.backup());
  fs::rename(archive_.root(), archive_.folder / "unplugged");
  EXPECT_THROW(archive_.backUp(), FileError);
  EXPECT_FALSE(fs::exists(archive_.root()));
  std::stop_source stop;
  stop.request_stop();
  fs::create_directories(archive_.root());
  EXPECT_THROW(archive_.backUp(stop.get_token()), CatalogError);
  EXPECT_FALSE(fs::exists(archive_.data() / "backup-making"));
}

/// What holds after a backup that didn't come to its end.
void expectOldOrNew(CatalogFixture& archive) {
  const std::int64_t photos = archive.photosOf(archive.backup());
  EXPECT_TRUE(photos == 3 || photos == 2) << photos;
  EXPECT_TRUE(photos == 3 ||
              archive.photosOf(archive.backup("catalog-before/Vaultmere.sqlite")) == 3)
      << "the only one with these photos";
  EXPECT_TRUE(CatalogBackup::readInfo({archive.root(), nullptr}));
}

/// Prepares a backup of three photos and a catalog with two of them.
void prepare(CatalogFixture& archive) {
  archive.addPhotos(1, 3);
  (void)archive.backUp();
  archive.startAnew();
  archive.addPhotos(1, 2);
}

void expectDone(CatalogFixture& archive) {
  EXPECT_EQ(archive.photosOf(archive.backup()), 2);
  EXPECT_EQ(archive.photosOf(archive.backup("catalog-before/Vaultmere.sqlite")), 3);
  for (const std::string& file : archive.files()) {
    EXPECT_FALSE(fs::path(file).filename().native().starts_with('.')) << file;
  }
}

TEST_F(CatalogBackupTest, AnyStepMayFail) {
  for (const int code : {ENOSPC, EROFS}) {
    bool wasHit = true;
    for (std::size_t number = 1; wasHit && !HasFailure(); ++number) {
      SCOPED_TRACE(number);
      CatalogFixture archive;
      prepare(archive);
      {
        const auto plan = FaultPlan::failing(number, code);
        try {
          (void)archive.backUp();
        } catch (const std::runtime_error&) {
          // what matters is what it leaves behind
        }
        wasHit = plan.wasHit();
      }
      expectOldOrNew(archive);
      (void)archive.backUp();
      expectDone(archive);
    }
  }
}

TEST_F(CatalogBackupTest, TheProcessMayBeKilledAtAnyStep) {
  bool wasKilled = true;
  for (std::size_t number = 1; wasKilled && !HasFailure(); ++number) {
    SCOPED_TRACE(number);
    CatalogFixture archive;
    prepare(archive);
    archive.catalog.reset();
    wasKilled = archive.killAt(number, [&] {
      archive.open();
      (void)archive.backUp();
    });
    expectOldOrNew(archive);
    archive.open();
    (void)archive.backUp();
    expectDone(archive);
  }
}

}  // namespace
}  // namespace vaultmere
