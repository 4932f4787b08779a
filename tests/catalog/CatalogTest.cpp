// SPDX-License-Identifier: GPL-3.0-or-later
#include <SQLiteCpp/SQLiteCpp.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <thread>

#include "catalog/CatalogError.h"
#include "catalog/CatalogWriter.h"
#include "catalog/PhotoSchema.h"
#include "catalog/StoreFile.h"
#include "catalog/VaultmereCatalog.h"
#include "platform/Files.h"
#include "tests/catalog/FirstSchema.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

class CatalogTest : public testing::Test {
 protected:
  VaultmereCatalog open() {
    return VaultmereCatalog(
        {folder_.path(), nullptr, [this](std::chrono::milliseconds time) { slept_ += time; }},
        pool_);
  }

  static AnalyzedPhoto record(const std::string& id) {
    AnalyzedPhoto photo;
    photo.id = id;
    photo.mediaType = "image";
    photo.originalFilename = "a.jpg";
    photo.ext = ".jpg";
    photo.processedAt = "2024-05-06T07:08:09Z";
    return photo;
  }

  static Photo row(CatalogContext& context, const std::string& id) {
    return context.perform([&](Connection& connection) {
      auto rows = connection.prepare("SELECT " + photoColumns() + " FROM Photo WHERE id = ?");
      rows.bind(1, std::string_view(id));
      EXPECT_TRUE(rows.step());
      return photoFromRow(rows);
    });
  }

  static std::vector<std::string> list(CatalogContext& context, const char* sql) {
    return context.perform([&](Connection& connection) {
      std::vector<std::string> values;
      auto rows = connection.prepare(sql);
      while (rows.step()) {
        values.push_back(rows.text(0));
      }
      return values;
    });
  }

  TemporaryFolder folder_;
  ThreadPool pool_{2};
  std::chrono::milliseconds slept_{0};
};

constexpr auto kInserted = CatalogWriter::Outcome::inserted;
constexpr auto kDuplicate = CatalogWriter::Outcome::duplicate;

TEST_F(CatalogTest, ReadsDefaultsFromANewRow) {
  const auto catalog = open();
  catalog.viewContext().perform(
      [](Connection& connection) { connection.execute("INSERT INTO Photo (id) VALUES ('x')"); });
  Photo expected;
  expected.id = "x";
  EXPECT_EQ(row(catalog.viewContext(), "x"), expected);
  EXPECT_THROW(catalog.viewContext().perform([](Connection& connection) {
    connection.execute("INSERT INTO Photo (id) VALUES ('x')");
  }),
               CatalogError);
}

TEST_F(CatalogTest, StoresARecordWithItsTagsAndLabels) {
  const auto catalog = open();
  const CatalogWriter writer(catalog.newBackgroundContext());
  AnalyzedPhoto photo = record("1");
  photo.captureDate = "2021-03-05T10:11:12Z";
  photo.tags = {"Trip", "", "Trip", "Home"};
  photo.labels = {"sky", "cat", "sky"};
  photo.photoTypeFlags = {{"slow_mo", true}, {"hdr", false}, {"unknown", true}};
  EXPECT_EQ(writer.write(photo), kInserted);
  const Photo stored = row(catalog.viewContext(), "1");
  EXPECT_EQ(stored.year, 2021);
  EXPECT_TRUE(stored.ptSlowMo);
  EXPECT_FALSE(stored.ptHDR);
  EXPECT_EQ(list(catalog.viewContext(), "SELECT name FROM Tag ORDER BY name"),
            (std::vector<std::string>{"Home", "Trip"}));
  EXPECT_EQ(list(catalog.viewContext(),
                 "SELECT name FROM Photo_labels JOIN Label ON label = pk "
                 "ORDER BY Photo_labels.rowid"),
            (std::vector<std::string>{"sky", "cat"}));
  // A deleted photo takes its links along, and no tag.
  catalog.viewContext().perform(
      [](Connection& connection) { connection.execute("DELETE FROM Photo"); });
  EXPECT_EQ(list(catalog.viewContext(), "SELECT name FROM Tag").size(), 2U);
  EXPECT_TRUE(list(catalog.viewContext(), "SELECT photo FROM Photo_tags").empty());
}

TEST_F(CatalogTest, MergesOnlyTheLibraryIdentifierOfASecondCopy) {
  const auto catalog = open();
  const CatalogWriter writer(catalog.newBackgroundContext());
  ASSERT_EQ(writer.write(record("1")), kInserted);
  catalog.viewContext().perform([](Connection& connection) {
    connection.execute("UPDATE Photo SET trashedAt = 5, stackedUnder = 'top'");
  });
  struct Step {
    std::optional<std::string> uuid;
    std::string primary;
    std::vector<std::string> aliases;
  };
  for (const Step& step :
       {Step{{}, "", {}}, Step{"A", "A", {}}, Step{"A", "A", {}}, Step{"B", "A", {"B"}},
        Step{"B", "A", {"B"}}, Step{{}, "A", {"B"}}, Step{"C", "A", {"B", "C"}}}) {
    AnalyzedPhoto again = record("1");
    again.photosUUID = step.uuid;
    again.favorite = true;
    again.tags = {"Late"};
    EXPECT_EQ(writer.write(again), kDuplicate);
    const Photo stored = row(catalog.viewContext(), "1");
    EXPECT_EQ(stored.photosUUID.value_or(""), step.primary);
    EXPECT_EQ(stored.aliasUUIDs, step.aliases);
    EXPECT_FALSE(stored.favorite);
    EXPECT_EQ(stored.stackedUnder, "top");
    EXPECT_EQ(stored.trashedAt, CatalogDate{5});
  }
  EXPECT_TRUE(list(catalog.viewContext(), "SELECT name FROM Tag").empty());
}

TEST_F(CatalogTest, ReadsDatesWithAZoneOrAsLocalTime) {
  ::setenv("TZ", "America/New_York", 1);
  for (const char* text :
       {"2001-01-01T00:00:00Z", "2001-01-01T01:00:00+01:00", "2000-12-31T19:00:00"}) {
    EXPECT_EQ(parseCatalogDate(text), CatalogDate{0}) << text;
  }
  for (const char* text : {"", "2021-02-31T10:00:00", "2021-03-05", "2021-03-05T10:00:00x"}) {
    EXPECT_FALSE(parseCatalogDate(text)) << text;
  }
  // The year is the local one.
  const auto catalog = open();
  AnalyzedPhoto photo = record("1");
  photo.captureDate = "2021-01-01T03:00:00Z";
  (void)CatalogWriter(catalog.newBackgroundContext()).write(photo);
  EXPECT_EQ(row(catalog.viewContext(), "1").year, 2020);
  ::unsetenv("TZ");
}

TEST_F(CatalogTest, UpgradesStoresOfEachEarlierVersion) {
  constexpr const char* kColumns =
      "SELECT name || ' ' || type || ' ' || \"notnull\" || ' ' || ifnull(dflt_value, '-') "
      "FROM pragma_table_info('Photo') ORDER BY name";
  constexpr const char* kIndexes =
      "SELECT name || coalesce(sql, '') FROM sqlite_master"
      " WHERE type = 'index' OR name = 'Verification' ORDER BY name";
  const auto fresh = open();
  EXPECT_EQ(
      list(fresh.viewContext(),
           "SELECT name FROM sqlite_master WHERE type = 'index' AND name LIKE 'by%' "
           "ORDER BY rowid"),
      (std::vector<std::string>{"byCaptureDate", "byYear", "byColorFamily", "byMediaType",
                                "byFavorite", "byPhotosUUID", "byTrashedAt", "byStackedUnder"}));
  for (int version = 1; version < kSchemaVersion; ++version) {
    const fs::path store = folder_ / std::to_string(version) / "Vaultmere.sqlite";
    fs::create_directories(store.parent_path());
    {
      Connection connection(store);
      connection.execute(kFirstSchema);
      connection.execute("INSERT INTO Photo (id, year) VALUES ('old', 1999)");
      connection.execute("ALTER TABLE Photo DROP COLUMN caption");  // as if it were a later one
      prepareSchema(connection, version);
      ASSERT_EQ(schemaVersion(connection), version);
    }
    const VaultmereCatalog catalog({store.parent_path(), nullptr, nullptr}, pool_);
    EXPECT_EQ(list(catalog.viewContext(), kColumns), list(fresh.viewContext(), kColumns));
    EXPECT_EQ(list(catalog.viewContext(), kIndexes), list(fresh.viewContext(), kIndexes));
    const Photo photo = row(catalog.viewContext(), "old");
    EXPECT_EQ(photo.year, 1999);
    EXPECT_EQ(photo.mediaType, "image");
  }
}

TEST_F(CatalogTest, BacksUpIntoOneCompleteFileOrNone) {
  const auto catalog = open();
  const CatalogWriter writer(catalog.newBackgroundContext());
  ASSERT_EQ(writer.write(record("1")), kInserted);
  const fs::path file = folder_ / "copy?#%.sqlite";
  const auto backUp = [&](bool isStopped) {
    std::stop_source stop;
    if (isStopped) {
      stop.request_stop();
    }
    catalog.viewContext().perform(
        [&](Connection& connection) { connection.backUpTo(file, stop.get_token()); });
  };
  EXPECT_THROW(backUp(true), CatalogError);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 3) << "nothing is left";
  EXPECT_THROW((void)schemaVersion(file), CatalogError);

  backUp(false);
  EXPECT_EQ(std::distance(fs::directory_iterator(folder_.path()), {}), 4) << "one file";
  EXPECT_EQ(schemaVersion(file), kSchemaVersion);
  EXPECT_EQ(SQLite::Database(file.string()).execAndGet("SELECT id FROM Photo").getString(), "1");
  EXPECT_THROW(backUp(false), CatalogError) << "an existing file stays";
  EXPECT_EQ(schemaVersion(file), kSchemaVersion);
}

TEST_F(CatalogTest, TriesAnUnreadableStoreThreeTimesAndKeepsIt) {
  const LogCapture log;
  writeText(folder_ / "Vaultmere.sqlite", std::string(5000, 'x'));
  EXPECT_THROW(open(), CatalogError);
  EXPECT_EQ(slept_, std::chrono::milliseconds(1500));
  const auto lines = log.lines();
  ASSERT_EQ(lines.size(), 3U);
  for (std::size_t i = 0; i < 3; ++i) {
    EXPECT_TRUE(lines[i].starts_with("Vaultmere: catalog open attempt " + std::to_string(i + 1) +
                                     " failed — "))
        << lines[i];
  }
  // What is there is left as it is: it may be the user's only catalog.
  EXPECT_EQ(slurp(folder_ / "Vaultmere.sqlite"), std::string(5000, 'x'));
}

TEST_F(CatalogTest, RefusesTheStoreOfANewerProgram) {
  Connection(folder_ / "Vaultmere.sqlite").execute("PRAGMA user_version = 1000");
  EXPECT_THROW(open(), CatalogError);
}

TEST_F(CatalogTest, RestoresBeforeTheStoreIsOpened) {
  bool wasFirst = false;
  const VaultmereCatalog catalog(
      {folder_.path(), [&](const fs::path& store) { wasFirst = !fs::exists(store); }, [](auto) {}},
      pool_);
  EXPECT_TRUE(wasFirst);
}

TEST_F(CatalogTest, RollsBackAFailedSaveAndTakesTheNext) {
  const auto catalog = open();
  const CatalogWriter writer(catalog.newBackgroundContext());
  AnalyzedPhoto photo = record("1");
  photo.tags = {"Trip"};
  {
    const auto plan = FaultPlan::failing("commit", 1, EIO);
    EXPECT_THROW((void)writer.write(photo), CatalogError);
  }
  EXPECT_TRUE(list(catalog.viewContext(), "SELECT name FROM Tag").empty());
  EXPECT_EQ(writer.write(photo), kInserted);
}

TEST_F(CatalogTest, StoresOneRowForRacingWriters) {
  const auto catalog = open();
  std::atomic<int> inserted{0};
  {
    std::vector<std::jthread> threads;
    for (int t = 0; t < 4; ++t) {
      threads.emplace_back([&] {
        const CatalogWriter writer(catalog.newBackgroundContext());
        for (int i = 0; i < 20; ++i) {
          AnalyzedPhoto photo = record(std::to_string(i));
          photo.tags = {"shared"};
          inserted += writer.write(photo) == kInserted ? 1 : 0;
        }
      });
    }
  }
  EXPECT_EQ(inserted, 20);
  EXPECT_EQ(mediaBreakdown(catalog.viewContext()), (std::vector<MediaTotal>{{"image", 20, 0}}));
}

}  // namespace
}  // namespace vaultmere
