// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdlib>
#include <functional>
#include <limits>
#include <optional>
#include <set>
#include <vector>

#include "platform/Calendar.h"
#include "platform/Files.h"
#include "settings/SettingsStore.h"
#include "tests/support/FileTools.h"
#include "tests/support/ManualMainThread.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using nlohmann::json;

class SettingsStoreTest : public testing::Test {
 protected:
  SettingsStoreTest() { ::setenv("TZ", "Europe/Berlin", 1); }

  /// The settings of a program that starts with this stored.
  SettingsStore& startWith(const json& stored) {
    writeText(folder_ / "defaults.json", stored.dump());
    return restart();
  }
  SettingsStore& restart() {
    settings_.reset();
    defaults_.emplace(folder_.path(), pool_);
    settings_.emplace(*defaults_, main_, background_);
    settings_->changed().connect([this] { ++changes_; });
    return *settings_;
  }
  [[nodiscard]] json stored() {
    main_.settle(pool_);
    return json::parse(slurp(folder_ / "defaults.json"));
  }
  /// Takes note of what came of a chosen folder: the errno, 0 for none.
  SettingsStore::Done note() {
    return [this](const auto& failure) { outcomes_.push_back(failure ? failure->code() : 0); };
  }

  const TemporaryFolder folder_;
  ThreadPool pool_{1};
  ManualMainThread main_{*parseInternetDateTime("2021-06-01T10:11:12Z")};
  Background background_ = [this](auto job) { pool_.post(std::move(job)); };
  int changes_ = 0;
  std::vector<int> outcomes_;
  std::optional<SettingsFile> defaults_;
  std::optional<SettingsStore> settings_;
};

TEST_F(SettingsStoreTest, MissingAndOddStoredValuesGiveWhatIsPromised) {
  const std::set<int> all = {1, 2, 3, 4, 5, 6, 7};
  const auto margin = [](const SettingsStore& s) { return json(s.marginGB()); };
  const auto port = [](const SettingsStore& s) { return json(s.serverPort()); };
  const auto password = [](const SettingsStore& s) { return json(s.serverPassword()); };
  const auto daily = [](const SettingsStore& s) { return json(s.streamUsesDailyTime()); };
  const auto stack = [](const SettingsStore& s) { return json(s.autoStackPairs()); };
  const auto deletes = [](const SettingsStore& s) { return json(s.deleteSourceAfterIntake()); };
  const auto days = [](const SettingsStore& s) { return json(s.streamWeekdays()); };
  const auto time = [](const SettingsStore& s) { return json(rfc3339(s.streamDailyTime())); };
  const auto inbox = [](const SettingsStore& s) { return json(s.inbox() ? s.inbox()->path : "-"); };
  const auto cap = [](const SettingsStore& s) { return json(s.streamCapGB()); };
  const auto hours = [](const SettingsStore& s) { return json(s.streamIntervalHours()); };
  const auto fired = [](const SettingsStore& s) { return json(s.streamLastFired().has_value()); };
  const struct {
    const char* key;
    json stored;
    std::function<json(const SettingsStore&)> read;
    json value;
  } rows[] = {
      {"-", nullptr, margin, 10},
      {"-", nullptr, cap, 20},
      {"-", nullptr, hours, 24},
      {"-", nullptr, port, 2525},
      {"-", nullptr, password, ""},
      {"-", nullptr, daily, false},
      {"-", nullptr, time, "2021-06-01T01:00:00Z"},
      {"-", nullptr, days, all},
      {"-", nullptr, deletes, false},
      {"-", nullptr, stack, true},
      {"-", nullptr, inbox, "-"},
      {"-", nullptr, fired, false},
      {"setting.marginGB", 0, margin, 0},
      {"setting.marginGB", -5, margin, -5},
      {"setting.marginGB", "12", margin, 10},
      {"setting.marginGB", 12.5, margin, 10},
      {"setting.marginGB", std::numeric_limits<std::uint64_t>::max(), margin, 10},
      {"setting.serverPort", 99999, port, 99999},
      {"setting.serverPassword", "hunter2", password, "hunter2"},
      {"setting.serverPassword", 1234, password, "1234"},
      {"setting.serverPassword", json::object(), password, ""},
      {"setting.streamUsesDailyTime", true, daily, true},
      {"setting.streamUsesDailyTime", "yes", daily, false},
      {"setting.autoStackPairs", false, stack, false},
      {"setting.autoStackPairs", 0, stack, true},
      {"setting.deleteSourceAfterIntake", true, deletes, true},
      {"setting.deleteSourceAfterIntake", 1, deletes, false},
      {"setting.streamWeekdays", json::array(), days, json::array()},
      {"setting.streamWeekdays", {2, 1, 2}, days, {1, 2}},
      {"setting.streamWeekdays", {9}, days, {9}},
      {"setting.streamWeekdays", {1, "2"}, days, all},
      {"setting.streamWeekdays", {1, 2.5}, days, all},
      {"setting.streamWeekdays", {1, 1LL << 40}, days, all},
      {"setting.streamDailyTime", "2020-02-02T05:30:00Z", time, "2020-02-02T05:30:00Z"},
      {"setting.streamDailyTime", "05:30", time, "2021-06-01T01:00:00Z"},
      {"bookmark.inbox", {{"path", "/somewhere"}}, inbox, "/somewhere"},
      {"bookmark.inbox", "/somewhere", inbox, "-"},
  };
  for (const auto& row : rows) {
    const SettingsStore& settings = startWith({{row.key, row.stored}});
    EXPECT_EQ(row.read(settings), row.value) << row.key << ' ' << row.stored;
    EXPECT_EQ(stored(), (json{{row.key, row.stored}})) << "reading stores nothing";
  }
}

TEST_F(SettingsStoreTest, ChangesAreStoredUnderTheirKeys) {
  SettingsStore& settings = startWith({{"setting.marginGB", 10.0}, {"setting.serverPort", "x"}});
  settings.setMarginGB(10);
  settings.setServerPort(2525);
  EXPECT_EQ(stored().dump(), R"({"setting.marginGB":10,"setting.serverPort":2525})")
      << "defaults that were chosen on purpose";
  EXPECT_EQ(changes_, 0);
  settings.setMarginGB(0);
  settings.setStreamCapGB(21);
  settings.setStreamIntervalHours(6);
  settings.setServerPassword("hunter2");
  settings.setServerPort(8080);
  settings.setStreamUsesDailyTime(true);
  settings.setStreamDailyTime(main_.now());
  settings.setStreamWeekdays({});
  settings.setDeleteSourceAfterIntake(true);
  settings.setAutoStackPairs(false);
  EXPECT_EQ(changes_, 10);
  settings.setAutoStackPairs(false);
  settings.setStreamLastFired(main_.now() + std::chrono::milliseconds(700));
  EXPECT_EQ(changes_, 10) << "the same value is no change, and a firing is no choice";
  EXPECT_EQ(stored(), json::parse(R"({
    "setting.marginGB": 0,
    "setting.streamCapGB": 21,
    "setting.streamIntervalHours": 6,
    "setting.serverPassword": "hunter2",
    "setting.serverPort": 8080,
    "setting.streamUsesDailyTime": true,
    "setting.streamDailyTime": "2021-06-01T10:11:12Z",
    "setting.streamWeekdays": [],
    "setting.deleteSourceAfterIntake": true,
    "setting.autoStackPairs": false,
    "setting.streamLastFired": "2021-06-01T10:11:12Z"})"));

  const SettingsStore& again = restart();
  EXPECT_EQ(again.marginGB(), 0);
  EXPECT_EQ(again.serverPassword(), "hunter2");
  EXPECT_EQ(again.streamDailyTime(), main_.now());
  EXPECT_EQ(again.streamWeekdays(), std::set<int>{});
  EXPECT_FALSE(again.autoStackPairs());
  EXPECT_EQ(again.streamLastFired(), main_.now());
}

TEST_F(SettingsStoreTest, LocationsAreBookmarks) {
  const TemporaryFolder drive;
  fs::create_directories(drive / "Archive");
  SettingsStore& settings = restart();
  settings.setDestinationRoot(drive / "Archive", note());
  settings.setInbox(drive.path(), note());
  EXPECT_FALSE(settings.destination()) << "the drive is asked off the main thread";
  const json before = stored();
  EXPECT_EQ(changes_, 2);
  EXPECT_EQ(settings.destination(), Bookmark::of(drive / "Archive"));

  settings.setInbox(drive / "missing", note());
  settings.setDestinationRoot(drive / "missing", note());
  EXPECT_EQ(stored(), before);
  EXPECT_EQ(settings.inbox(), Bookmark::of(drive.path()));
  EXPECT_EQ(changes_, 2);

  settings.setInbox(drive / "Archive", note());
  settings.setInbox(std::nullopt, note());
  EXPECT_FALSE(stored().contains("bookmark.inbox"));
  EXPECT_FALSE(settings.inbox()) << "the later choice stands";
  EXPECT_EQ(outcomes_, (std::vector{0, 0, ENOENT, ENOENT, 0}));
  EXPECT_EQ(changes_, 3);

  Bookmark moved = *settings.destination();
  moved.path = drive / "mounted elsewhere";
  settings.updateDestination(moved);
  settings.updateDestination(moved);
  EXPECT_EQ(changes_, 4);
  EXPECT_EQ(restart().destination(), moved) << "also while its drive isn't there";
}

TEST_F(SettingsStoreTest, AFolderWhoseDriveGivesNoAnswerIsNotStored) {
  std::function<void()> hanging;
  background_ = [&](auto job) { hanging = std::move(job); };
  SettingsStore& settings = restart();
  settings.setDestinationRoot(folder_.path(), note());
  main_.advance(SettingsStore::kTimeout);
  EXPECT_EQ(outcomes_, std::vector{ETIMEDOUT});
  hanging();
  main_.runPosted();
  EXPECT_FALSE(settings.destination());
}

TEST_F(SettingsStoreTest, BytesOfGigabytesDoNotOverflow) {
  SettingsStore& settings = restart();
  EXPECT_EQ(settings.marginBytes(), 10'000'000'000);
  EXPECT_EQ(settings.streamCapBytes(), 20'000'000'000);
  settings.setMarginGB(10'000'000'000);
  settings.setStreamCapGB(std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(settings.marginBytes(), std::numeric_limits<std::int64_t>::max());
  EXPECT_EQ(settings.streamCapBytes(), std::numeric_limits<std::int64_t>::min());
}

}  // namespace
}  // namespace vaultmere
