// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "catalog/VaultmereCatalog.h"
#include "catalog/Verification.h"
#include "catalog/VerificationTimes.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

constexpr CatalogDate kNow{1000};
constexpr double kNever = -std::numeric_limits<double>::infinity();

class VerificationTest : public testing::Test {
 protected:
  void execute(const char* sql) { connection().execute(sql); }
  Connection& connection() {
    if (!connection_) {
      connection_ = std::make_unique<Connection>(catalog_.store());
    }
    return *connection_;
  }
  std::optional<VerifiableItem> item(std::int64_t row) {
    return fetchVerifiableItem(connection(), row);
  }

  TemporaryFolder folder_;
  ThreadPool pool_{1};
  VaultmereCatalog catalog_{{folder_.path(), nullptr, [](auto) {}}, pool_};
  std::unique_ptr<Connection> connection_;
};

TEST_F(VerificationTest, KeepsMarksAndHashesUntilTheyAreReplaced) {
  execute("INSERT INTO Photo (id, liveMotionFile) VALUES ('a', 'a.mov'), ('b', NULL)");
  EXPECT_TRUE(item(1)->hasMotion);
  EXPECT_FALSE(item(2)->hasMotion);
  EXPECT_TRUE(fetchMarkedItems(connection()).empty());

  markFile(connection(), 2, ArchivedPart::primary, "x");
  learnMotionHash(connection(), 1, "first");
  learnMotionHash(connection(), 1, "second");
  markFile(connection(), 1, ArchivedPart::motion, "y");
  markFile(connection(), 1, ArchivedPart::motion, "z");
  EXPECT_EQ(fetchMarkedItem(connection(), "b")->primaryMark, "x");
  EXPECT_EQ(fetchMarkedItems(connection()).size(), 2U);
  EXPECT_EQ(item(1)->motionHash, "first") << "what is known stays";
  EXPECT_EQ(item(1)->mark(ArchivedPart::motion), "z");

  clearMark(connection(), 1, ArchivedPart::primary);
  EXPECT_TRUE(fetchMarkedItem(connection(), "a")) << "the other file's mark";
  recordMotionHash(connection(), 1, "third");
  EXPECT_EQ(item(1)->motionHash, "third");
  EXPECT_FALSE(fetchMarkedItem(connection(), "a"));
}

TEST_F(VerificationTest, ForgetsARowThatIsGone) {
  execute("INSERT INTO Photo (id) VALUES ('a')");
  markFile(connection(), 1, ArchivedPart::primary, "x");
  execute("DELETE FROM Photo");
  EXPECT_TRUE(fetchMarkedItems(connection()).empty());
  markFile(connection(), 1, ArchivedPart::primary, "x");
  learnMotionHash(connection(), 1, "x");
  EXPECT_FALSE(item(1));
}

TEST_F(VerificationTest, PlansTheOldestFirst) {
  execute(
      "INSERT INTO Photo (id, processedAt, sizeBytes, liveMotionSize) VALUES"
      " ('frozen late', 500, 10, NULL), ('no date', NULL, 20, 5), ('future', 2000, 9e18, 9e18),"
      " ('verified', 100, 40, NULL), ('tried', 90, -80, NULL), ('today', 900, 1, NULL)");
  VerificationTimes times(catalog_.store());
  EXPECT_EQ(times.oldest(kNow), std::nullopt) << "one has no date";
  const VerificationTimes::Entry entries[] = {
      {"verified", {600}, true}, {"tried", {700}, false}, {"gone", {800}, true}};
  times.write(entries);
  const auto rows = [&](CatalogDate since) {
    std::vector<std::pair<std::int64_t, double>> list;
    for (const auto& planned : times.plan(since, kNow).items) {
      list.emplace_back(planned.row, planned.triedAt.seconds);
    }
    return list;
  };
  using Rows = std::vector<std::pair<std::int64_t, double>>;
  EXPECT_EQ(rows({800}), (Rows{{2, kNever}, {3, kNever}, {1, 500}, {4, 600}, {5, 700}}));
  const auto plan = times.plan({550}, kNow);
  EXPECT_EQ(plan.items.size(), 3U);
  EXPECT_EQ(plan.triedBytes, 40) << "what was frozen since wasn't tried; sizes below 0 don't count";
  EXPECT_LT(plan.bytes, 1e16) << "absurd sizes are bounded";

  execute("DELETE FROM Photo WHERE id IN ('no date', 'future')");
  EXPECT_EQ(times.oldest(kNow), CatalogDate{90}) << "an attempt isn't a verification";
  execute("UPDATE Photo SET trashedAt = 1 WHERE id = 'tried'");
  EXPECT_EQ(times.oldest(kNow), CatalogDate{500});
  execute("DELETE FROM Photo");
  EXPECT_EQ(times.oldest(kNow), kNow);
}

TEST_F(VerificationTest, TimesDisturbNoTotals) {
  execute("INSERT INTO Photo (id) VALUES ('a')");
  VerificationTimes times(catalog_.store());
  const auto version = [&] {
    auto row = connection().prepare("PRAGMA data_version");
    row.step();
    return row.integer(0);
  };
  const auto before = version();
  const VerificationTimes::Entry entry{"a", {600}, true};
  times.write({&entry, 1});
  (void)times.plan(kNow, kNow);
  times.write({&entry, 1});
  EXPECT_EQ(version(), before);
  EXPECT_EQ(VerificationTimes(catalog_.store()).oldest(kNow), CatalogDate{600}) << "it is kept";
}

TEST_F(VerificationTest, BeginsAnewWithoutItsStore) {
  execute("INSERT INTO Photo (id, processedAt) VALUES ('a', 100)");
  const VerificationTimes::Entry entry{"a", {600}, true};
  const std::filesystem::path file = folder_ / "Verification.sqlite";
  const std::function<void()> damages[] = {
      [&] { writeText(file, std::string(5000, 'x')); },
      [&] { truncateFile(file, 5000); },
      [&] { Connection(file).execute("PRAGMA user_version = 7"); },
  };
  for (const auto& damage : damages) {
    const LogCapture log;
    VerificationTimes(catalog_.store()).write({&entry, 1});
    damage();
    VerificationTimes times(catalog_.store());
    EXPECT_EQ(times.oldest(kNow), CatalogDate{100});
    EXPECT_TRUE(log.contains("begin anew"));
  }
}

}  // namespace
}  // namespace vaultmere
