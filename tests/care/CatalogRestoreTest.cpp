// SPDX-License-Identifier: GPL-3.0-or-later
#include "care/CatalogRestore.h"
#include "catalog/CatalogError.h"
#include "tests/care/CatalogFixture.h"

namespace vaultmere {
namespace {

/// A backup of five photos, and a live catalog of two others.
struct Restorable : CatalogFixture {
  Restorable() {
    addPhotos(1, 5);
    (void)backUp();
    startAnew();
    addPhotos(11, 12);
    catalog.reset();
  }
  /// The photos of each replaced catalog.
  [[nodiscard]] std::vector<std::int64_t> replaced() const {
    std::vector<std::int64_t> photos;
    for (const std::string& file : filesBelow(data() / "catalogs-replaced")) {
      photos.push_back(photosOf(data() / "catalogs-replaced" / file));
    }
    return photos;
  }
  /// Changes the backup as somebody else might.
  void tamper(const char* sql) const { Connection(backup()).execute(sql); }
};

class CatalogRestoreTest : public testing::Test {
 protected:
  Restorable archive_;
  const LogCapture log_;
};

TEST_F(CatalogRestoreTest, AppliesWhatIsStagedOnce) {
  const auto info = archive_.stage();
  EXPECT_EQ(info.photoCount, 1234);
  EXPECT_EQ(archive_.photosOf(archive_.live()), 2) << "nothing changes before the next start";
  EXPECT_EQ(archive_.photosAfterStart(), 5);
  EXPECT_TRUE(log_.contains("Vaultmere: applied pending catalog restore"));
  EXPECT_FALSE(fs::exists(archive_.staged().parent_path()));
  EXPECT_EQ(archive_.replaced(), (std::vector<std::int64_t>{2}));
  EXPECT_EQ(archive_.photosAfterStart(), 5);
  EXPECT_EQ(archive_.replaced().size(), 1U);
  EXPECT_EQ(archive_.photosOf(archive_.backup()), 5);
}

TEST_F(CatalogRestoreTest, RestoresWithoutAManifestAndWithoutALiveStore) {
  fs::remove(archive_.backup("catalog/manifest.json"));
  const CatalogBackup::Info unknown{"—", CatalogFixture::kNow, 0, 1};
  EXPECT_EQ(archive_.stage(), unknown);
  fs::remove_all(archive_.live());
  writeText(archive_.live().string() + "-wal", "of a store that is gone");
  EXPECT_EQ(archive_.photosAfterStart(), 5);
}

TEST_F(CatalogRestoreTest, AnEmptyFolderIsNothingToApply) {
  fs::create_directories(archive_.staged().parent_path());
  EXPECT_EQ(archive_.photosAfterStart(), 2);
  EXPECT_TRUE(fs::exists(archive_.staged().parent_path()));
}

TEST_F(CatalogRestoreTest, RefusesWhatIsNoCatalogOfThisProgram) {
  struct {
    const char* what;
    std::function<void()> damage;
    const char* words;
  } const cases[] = {
      {"later", [&] { archive_.tamper("PRAGMA user_version = 99"); }, "written by a newer version"},
      {"another's", [&] { archive_.tamper("PRAGMA user_version = 0"); }, "is no catalog"},
      {"empty", [&] { writeText(archive_.backup(), ""); }, "is no catalog"},
      {"garbage", [&] { writeText(archive_.backup(), std::string(9000, 'x')); }, "not a database"},
      {"truncated", [&] { truncateFile(archive_.backup(), fs::file_size(archive_.backup()) / 2); },
       "malformed"},
      {"damaged", [&] { overwriteBytes(archive_.backup(), 8192 + 100, std::string(8000, '\xee')); },
       ""},
      {"trigger",
       [&] {
         archive_.tamper("CREATE TRIGGER t AFTER INSERT ON Photo BEGIN DELETE FROM Photo; END");
       },
       "is no catalog"},
      {"view",
       [&] {
         archive_.tamper(
             "DROP TABLE Photo_tags; CREATE VIEW Photo_tags AS SELECT 1 AS photo, 1 AS tag");
       },
       "is no catalog"},
      {"column", [&] { archive_.tamper("ALTER TABLE Photo DROP COLUMN avgR"); }, "no such column"},
  };
  const std::string sound = slurp(archive_.backup());
  for (const auto& [what, damage, words] : cases) {
    SCOPED_TRACE(what);
    (void)archive_.stage();
    damage();
    try {
      (void)archive_.stage();
      ADD_FAILURE() << "staged";
    } catch (const CatalogError& error) {
      EXPECT_NE(std::string(error.what()).find(words), std::string::npos) << error.what();
    }
    EXPECT_FALSE(fs::exists(archive_.staged())) << "the earlier one neither";
    // The same by the time when it is applied.
    writeText(archive_.staged(), slurp(archive_.backup()));
    EXPECT_EQ(archive_.photosAfterStart(), 2);
    EXPECT_FALSE(fs::exists(archive_.staged()));
    for (const char* side : {"", "-wal", "-shm"}) {
      fs::remove(archive_.backup().string() + side);
    }
    writeText(archive_.backup(), sound);
  }
  EXPECT_TRUE(log_.contains("Vaultmere: pending restore failed — "));
}

TEST_F(CatalogRestoreTest, SaysThatThereIsNoBackup) {
  fs::remove(archive_.backup());
  EXPECT_THROW(archive_.stage(), CatalogBackup::NoBackup);
  fs::create_directories(archive_.backup());
  EXPECT_THROW(archive_.stage(), FileError) << "a folder in its place";
  fs::remove_all(archive_.root());
  EXPECT_THROW(archive_.stage(), CatalogBackup::NoBackup);
}

TEST_F(CatalogRestoreTest, OpensAnOlderBackup) {
  archive_.tamper(
      "PRAGMA user_version = 2;"
      "DROP INDEX allByAdded");
  (void)archive_.stage();
  EXPECT_EQ(archive_.photosAfterStart(), 5);
}

TEST_F(CatalogRestoreTest, KeepsTheThreeLatestReplacedCatalogsAndTheLargest) {
  archive_.addPhotos(100, 1000);
  for (int i = 0; i < 6; ++i) {
    archive_.catalog.reset();
    (void)archive_.stage();
    EXPECT_EQ(archive_.photosAfterStart(), 5);
  }
  EXPECT_EQ(archive_.replaced(), (std::vector<std::int64_t>{903, 5, 5, 5}));
}

TEST_F(CatalogRestoreTest, AStoreThatCantBeOpenedIsKeptWithItsSideFiles) {
  writeText(archive_.live(), "garbage");
  writeText(archive_.live().string() + "-wal", "its log");
  (void)archive_.stage();
  EXPECT_EQ(archive_.photosAfterStart(), 5);
  const fs::path replaced = archive_.data() / "catalogs-replaced";
  Strings bytes;
  for (const std::string& file : filesBelow(replaced)) {
    bytes.push_back(slurp(replaced / file));
  }
  EXPECT_EQ(bytes, (Strings{"garbage", "its log"}));
}

/// All that must hold after an interrupted start: both catalogs can be had.
void expectBoth(Restorable& archive, const char* when) {
  const std::int64_t photos = archive.photosAfterStart();
  EXPECT_TRUE(photos == 5 || photos == 2) << when << photos;
  if (photos == 5) {
    EXPECT_EQ(archive.replaced(), (std::vector<std::int64_t>{2})) << when;
  }
  EXPECT_EQ(archive.photosOf(archive.backup()), 5);
  EXPECT_FALSE(fs::exists(archive.data() / "catalogs-replaced/unfinished"));
  archive.catalog.reset();
}

TEST_F(CatalogRestoreTest, AnyStepMayFailOrBeTheLastOne) {
  for (const int code : {0, ENOSPC, EIO}) {
    bool wasHit = true;
    for (std::size_t number = 1; wasHit && !HasFailure(); ++number) {
      SCOPED_TRACE(number);
      Restorable archive;
      const auto restore = [&] {
        (void)archive.stage();
        archive.apply();
      };
      if (code == 0) {
        wasHit = archive.killAt(number, restore);
      } else {
        const auto plan = FaultPlan::failing(number, code);
        try {
          restore();
        } catch (const std::runtime_error&) {
          // the live store stays
        }
        wasHit = plan.wasHit();
      }
      expectBoth(archive, "after ");
      (void)archive.stage();
      EXPECT_EQ(archive.photosAfterStart(), 5);
    }
  }
}

}  // namespace
}  // namespace vaultmere
