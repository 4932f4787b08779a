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
    file_.emplace(folder_.path(), pool_);
    settings_.emplace(*file_, main_, background_);
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
  std::optional<SettingsFile> file_;
  std::optional<SettingsStore> settings_;
};

/// Everything that the settings say, under its key.
json allOf(const SettingsStore& settings) {
  const auto path = [](const auto& folder) { return folder ? json(folder->path) : json(); };
  const auto fired = settings.streamLastFired();
  return {{"setting.marginGB", settings.marginGB()},
          {"setting.streamCapGB", settings.streamCapGB()},
          {"setting.streamIntervalHours", settings.streamIntervalHours()},
          {"setting.serverPassword", settings.serverPassword()},
          {"setting.serverPort", settings.serverPort()},
          {"setting.serverHosts", settings.serverHosts()},
          {"setting.streamUsesDailyTime", settings.streamUsesDailyTime()},
          {"setting.streamDailyTime", rfc3339(settings.streamDailyTime())},
          {"setting.streamWeekdays", settings.streamWeekdays()},
          {"setting.deleteSourceAfterIntake", settings.deleteSourceAfterIntake()},
          {"setting.autoStackPairs", settings.autoStackPairs()},
          {"setting.streamLastFired", fired ? json(rfc3339(*fired)) : json()},
          {"bookmark.destination", path(settings.destination())},
          {"bookmark.inbox", path(settings.inbox())}};
}

const json kDefaults = json::parse(R"({
    "setting.marginGB": 10, "setting.streamCapGB": 20, "setting.streamIntervalHours": 24,
    "setting.serverPassword": "", "setting.serverPort": 2525, "setting.serverHosts": [],
    "setting.streamUsesDailyTime": false, "setting.streamDailyTime": "2021-06-01T01:00:00Z",
    "setting.streamWeekdays": [1, 2, 3, 4, 5, 6, 7], "setting.deleteSourceAfterIntake": false,
    "setting.autoStackPairs": true, "setting.streamLastFired": null,
    "bookmark.destination": null, "bookmark.inbox": null})");

TEST_F(SettingsStoreTest, ReadsOddStoredValuesAndDefaultsForMissingOnes) {
  EXPECT_EQ(allOf(restart()), kDefaults);
  const struct {
    const char* key;
    json stored;
    json value;
  } rows[] = {
      {"setting.marginGB", 0, 0},
      {"setting.marginGB", -5, -5},
      {"setting.marginGB", "12", 10},
      {"setting.marginGB", 12.5, 10},
      {"setting.marginGB", std::numeric_limits<std::uint64_t>::max(), 10},
      {"setting.serverPort", 99999, 99999},
      {"setting.serverPassword", "hunter2", "hunter2"},
      {"setting.serverPassword", 1234, "1234"},
      {"setting.serverPassword", json::object(), ""},
      {"setting.serverHosts", {"a.example", 1, "b.example"}, {"a.example", "b.example"}},
      {"setting.serverHosts", "a.example", json::array({"a.example"})},
      {"setting.serverHosts", 1, json::array()},
      {"setting.streamUsesDailyTime", true, true},
      {"setting.streamUsesDailyTime", "yes", false},
      {"setting.autoStackPairs", false, false},
      {"setting.autoStackPairs", 0, true},
      {"setting.deleteSourceAfterIntake", 1, false},
      {"setting.streamWeekdays", json::array(), json::array()},
      {"setting.streamWeekdays", {2, 1, 2}, {1, 2}},
      {"setting.streamWeekdays", {9}, {9}},
      {"setting.streamWeekdays", {1, "2"}, kDefaults["setting.streamWeekdays"]},
      {"setting.streamWeekdays", {1, 1LL << 40}, kDefaults["setting.streamWeekdays"]},
      {"setting.streamDailyTime", "2020-02-02T05:30:00Z", "2020-02-02T05:30:00Z"},
      {"setting.streamDailyTime", "05:30", "2021-06-01T01:00:00Z"},
      {"bookmark.inbox", {{"path", "/somewhere"}}, "/somewhere"},
      {"bookmark.inbox", "/somewhere", nullptr},
  };
  for (const auto& row : rows) {
    json expected = kDefaults;
    expected[row.key] = row.value;
    EXPECT_EQ(allOf(startWith({{row.key, row.stored}})), expected) << row.key << ' ' << row.stored;
    EXPECT_EQ(stored(), (json{{row.key, row.stored}})) << "reading stores nothing";
  }
}

TEST_F(SettingsStoreTest, StoresChangesUnderTheirKeys) {
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
  settings.setServerHosts({"a.example"});
  settings.setStreamUsesDailyTime(true);
  settings.setStreamDailyTime(main_.now());
  settings.setStreamWeekdays({});
  settings.setDeleteSourceAfterIntake(true);
  settings.setAutoStackPairs(false);
  EXPECT_EQ(changes_, 11);
  settings.setAutoStackPairs(false);
  settings.setStreamLastFired(main_.now() + std::chrono::milliseconds(700));
  EXPECT_EQ(changes_, 11) << "the same value is no change, and a firing is no choice";
  json expected = json::parse(R"({
    "setting.marginGB": 0, "setting.streamCapGB": 21, "setting.streamIntervalHours": 6,
    "setting.serverPassword": "hunter2", "setting.serverPort": 8080,
    "setting.serverHosts": ["a.example"],
    "setting.streamUsesDailyTime": true, "setting.streamDailyTime": "2021-06-01T10:11:12Z",
    "setting.streamWeekdays": [], "setting.deleteSourceAfterIntake": true,
    "setting.autoStackPairs": false, "setting.streamLastFired": "2021-06-01T10:11:12Z"})");
  EXPECT_EQ(stored(), expected);
  expected.update({{"bookmark.destination", nullptr}, {"bookmark.inbox", nullptr}});
  EXPECT_EQ(allOf(restart()), expected);
}

TEST_F(SettingsStoreTest, StoresLocationsAsBookmarks) {
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

TEST_F(SettingsStoreTest, StoresNoFolderWhoseDriveDoesNotAnswer) {
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

TEST_F(SettingsStoreTest, ConvertsGigabytesToBytesWithoutOverflow) {
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
