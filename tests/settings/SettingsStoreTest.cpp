// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <limits>
#include <optional>
#include <set>

#include "platform/Calendar.h"
#include "platform/Files.h"
#include "settings/SettingsStore.h"
#include "tests/support/FileTools.h"
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
    defaults_.emplace(folder_.path());
    settings_.emplace(*defaults_, now_);
    settings_->changed().connect([this] { ++changes_; });
    return *settings_;
  }
  [[nodiscard]] json stored() const { return json::parse(slurp(folder_ / "defaults.json")); }

  const TemporaryFolder folder_;
  TimePoint now_ = *parseInternetDateTime("2021-06-01T10:11:12Z");
  int changes_ = 0;
  std::optional<SettingsFile> defaults_;
  std::optional<SettingsStore> settings_;
};

TEST_F(SettingsStoreTest, AFirstStartHasTheDefaults) {
  const SettingsStore& settings = restart();
  EXPECT_EQ(settings.marginGB(), 10);
  EXPECT_EQ(settings.streamCapGB(), 20);
  EXPECT_EQ(settings.streamIntervalHours(), 24);
  EXPECT_EQ(settings.serverPassword(), "");
  EXPECT_EQ(settings.serverPort(), 2525);
  EXPECT_FALSE(settings.streamUsesDailyTime());
  EXPECT_EQ(rfc3339(settings.streamDailyTime()), "2021-06-01T01:00:00Z");
  EXPECT_EQ(settings.streamWeekdays(), (std::set<int>{1, 2, 3, 4, 5, 6, 7}));
  EXPECT_FALSE(settings.deleteSourceAfterIntake());
  EXPECT_TRUE(settings.autoStackPairs());
  EXPECT_FALSE(settings.destination());
  EXPECT_FALSE(settings.inbox());
  EXPECT_FALSE(settings.streamLastFired());
  EXPECT_TRUE(filesBelow(folder_.path()).empty()) << "defaults aren't stored";
}

TEST_F(SettingsStoreTest, OddStoredValuesGiveWhatIsPromised) {
  const std::set<int> all = {1, 2, 3, 4, 5, 6, 7};
  const auto margin = [](const SettingsStore& s) { return json(s.marginGB()); };
  const auto port = [](const SettingsStore& s) { return json(s.serverPort()); };
  const auto password = [](const SettingsStore& s) { return json(s.serverPassword()); };
  const auto hosts = [](const SettingsStore& s) { return json(s.serverHosts()); };
  const auto daily = [](const SettingsStore& s) { return json(s.streamUsesDailyTime()); };
  const auto stack = [](const SettingsStore& s) { return json(s.autoStackPairs()); };
  const auto deletes = [](const SettingsStore& s) { return json(s.deleteSourceAfterIntake()); };
  const auto days = [](const SettingsStore& s) { return json(s.streamWeekdays()); };
  const auto time = [](const SettingsStore& s) { return json(rfc3339(s.streamDailyTime())); };
  const auto inbox = [](const SettingsStore& s) { return json(s.inbox() ? s.inbox()->path : "-"); };
  const struct {
    const char* key;
    json stored;
    std::function<json(const SettingsStore&)> read;
    json value;
  } rows[] = {
      {"setting.marginGB", 0, margin, 0},
      {"setting.marginGB", -5, margin, -5},
      {"setting.marginGB", nullptr, margin, 10},
      {"setting.marginGB", "12", margin, 10},
      {"setting.marginGB", 12.5, margin, 10},
      {"setting.marginGB", true, margin, 10},
      {"setting.marginGB", std::numeric_limits<std::uint64_t>::max(), margin, 10},
      {"setting.serverPort", 99999, port, 99999},
      {"setting.serverPort", json::array(), port, 2525},
      {"setting.serverPassword", "hunter2", password, "hunter2"},
      {"setting.serverPassword", 1234, password, "1234"},
      {"setting.serverPassword", json::object(), password, ""},
      {"setting.serverHosts", {"a.example", 1, "b.example"}, hosts, {"a.example", "b.example"}},
      {"setting.serverHosts", "a.example", hosts, json::array({"a.example"})},
      {"setting.serverHosts", nullptr, hosts, json::array()},
      {"setting.serverHosts", 1, hosts, json::array()},
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
      {"setting.streamWeekdays", 3, days, all},
      {"setting.streamDailyTime", "2020-02-02T05:30:00Z", time, "2020-02-02T05:30:00Z"},
      {"setting.streamDailyTime", "05:30", time, "2021-06-01T01:00:00Z"},
      {"setting.streamDailyTime", 600000000, time, "2021-06-01T01:00:00Z"},
      {"bookmark.inbox", {{"path", "/somewhere"}}, inbox, "/somewhere"},
      {"bookmark.inbox", "/somewhere", inbox, "-"},
  };
  for (const auto& row : rows) {
    const SettingsStore& settings = startWith({{row.key, row.stored}});
    EXPECT_EQ(row.read(settings), row.value) << row.key << ' ' << row.stored;
  }
}

TEST_F(SettingsStoreTest, ChangesAreStoredAtOnceUnderTheirKeys) {
  SettingsStore& settings = restart();
  settings.setMarginGB(0);
  settings.setStreamCapGB(21);
  settings.setStreamIntervalHours(6);
  settings.setServerPassword("hunter2");
  settings.setServerPort(8080);
  settings.setServerHosts({"a.example"});
  settings.setStreamUsesDailyTime(true);
  settings.setStreamDailyTime(now_);
  settings.setStreamWeekdays({});
  settings.setDeleteSourceAfterIntake(true);
  settings.setAutoStackPairs(false);
  EXPECT_EQ(changes_, 11);
  settings.setAutoStackPairs(false);
  settings.setStreamLastFired(now_ + std::chrono::milliseconds(700));
  EXPECT_EQ(changes_, 11) << "the same value is no change, and a firing is no choice";
  EXPECT_EQ(stored(), json::parse(R"({
    "setting.marginGB": 0,
    "setting.streamCapGB": 21,
    "setting.streamIntervalHours": 6,
    "setting.serverPassword": "hunter2",
    "setting.serverPort": 8080,
    "setting.serverHosts": ["a.example"],
    "setting.streamUsesDailyTime": true,
    "setting.streamDailyTime": "2021-06-01T10:11:12Z",
    "setting.streamWeekdays": [],
    "setting.deleteSourceAfterIntake": true,
    "setting.autoStackPairs": false,
    "setting.streamLastFired": "2021-06-01T10:11:12Z"})"));

  const SettingsStore& again = restart();
  EXPECT_EQ(again.marginGB(), 0);
  EXPECT_EQ(again.serverPassword(), "hunter2");
  EXPECT_EQ(again.streamDailyTime(), now_);
  EXPECT_EQ(again.streamWeekdays(), std::set<int>{});
  EXPECT_FALSE(again.autoStackPairs());
  EXPECT_EQ(again.streamLastFired(), now_);
}

TEST_F(SettingsStoreTest, TheDefaultChosenOnPurposeIsStored) {
  SettingsStore& settings = startWith({{"setting.marginGB", 10.0}, {"setting.serverPort", "x"}});
  settings.setMarginGB(10);
  settings.setServerPort(2525);
  EXPECT_EQ(stored().dump(), R"({"setting.marginGB":10,"setting.serverPort":2525})");
}

TEST_F(SettingsStoreTest, LocationsAreBookmarks) {
  const TemporaryFolder drive;
  fs::create_directories(drive / "Archive");
  SettingsStore& settings = restart();
  settings.setDestinationRoot(drive / "Archive");
  settings.setInbox(drive.path());
  EXPECT_EQ(changes_, 2);
  EXPECT_EQ(settings.destination(), Bookmark::of(drive / "Archive"));

  const json before = stored();
  EXPECT_THROW(settings.setInbox(drive / "missing"), FileError);
  EXPECT_THROW(settings.setDestinationRoot(drive / "missing"), FileError);
  EXPECT_EQ(stored(), before);
  EXPECT_EQ(settings.inbox(), Bookmark::of(drive.path()));
  EXPECT_EQ(changes_, 2);

  settings.setInbox(std::nullopt);
  EXPECT_FALSE(settings.inbox());
  EXPECT_FALSE(stored().contains("bookmark.inbox"));
  EXPECT_EQ(changes_, 3);

  Bookmark moved = *settings.destination();
  moved.path = drive / "mounted elsewhere";
  settings.updateDestination(moved);
  settings.updateDestination(moved);
  EXPECT_EQ(changes_, 4);
  EXPECT_EQ(restart().destination(), moved) << "also while its drive isn't there";
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
