// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cerrno>
#include <latch>

#include "platform/Files.h"
#include "platform/SettingsFile.h"
#include "tests/support/FaultPlan.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using nlohmann::json;

class SettingsFileTest : public testing::Test {
 protected:
  [[nodiscard]] json stored() const { return json::parse(slurp(file_)); }

  const TemporaryFolder home_;
  const fs::path folder_ = home_ / "config/Vaultmere";
  const fs::path file_ = folder_ / "defaults.json";
  ThreadPool pool_{1};
};

TEST_F(SettingsFileTest, TellsMissingFromZeroAndFalseAndKeepsForeignKeys) {
  {
    SettingsFile store(folder_, pool_);
    EXPECT_TRUE(store.value("zero").is_null());
    EXPECT_FALSE(fs::exists(folder_)) << "reading makes nothing";
    store.set("zero", 0);
    store.set("no", false);
    store.set("gone", "x");
    store.set("password", "caf\xE9");
    store.remove("gone");
    store.remove("never there");
  }
  EXPECT_EQ(stored(), (json{{"no", false}, {"password", "caf\uFFFD"}, {"zero", 0}}));
  EXPECT_EQ(fileStatus(folder_)->permissions, 0700U);
  EXPECT_EQ(fileStatus(file_)->permissions, 0600U);
  EXPECT_EQ(filesBelow(folder_), std::vector<std::string>{"defaults.json"});
  SettingsFile(folder_, pool_).set("a", 1);
  EXPECT_EQ(stored(), (json{{"a", 1}, {"no", false}, {"password", "caf\uFFFD"}, {"zero", 0}}));
}

TEST_F(SettingsFileTest, KeepsAsideWhatItCannotRead) {
  for (const std::string bytes : {"", "{\"a\": 1", "[1]", "null", "{\"a\": \"\xFF\"}", "\x01"}) {
    fs::remove_all(folder_);
    writeText(file_, bytes);
    const LogCapture log;
    SettingsFile store(folder_, pool_);
    EXPECT_TRUE(store.value("a").is_null()) << bytes;
    store.set("b", 2);
    store.flush();

    const auto files = filesBelow(folder_);
    ASSERT_EQ(files.size(), 2U) << bytes;
    EXPECT_EQ(files[0], "defaults.json");
    EXPECT_EQ(files[1].rfind("defaults.json.unreadable-", 0), 0U);
    EXPECT_EQ(slurp(folder_ / files[1]), bytes);
    EXPECT_TRUE(log.contains("kept aside as")) << bytes;
    EXPECT_EQ(stored(), json({{"b", 2}}));
  }
}

TEST_F(SettingsFileTest, WritesRealChangesOnlyAndNotOnTheCallersThread) {
  SettingsFile store(folder_, pool_);
  std::latch mayWrite(1);
  pool_.post([&] { mayWrite.wait(); });
  for (int i = 0; i < 10; ++i) {
    store.set("a", i);
  }
  EXPECT_FALSE(fs::exists(file_));
  EXPECT_EQ(store.value("a"), json(9));
  {
    const auto full = FaultPlan::failing("write", 2, ENOSPC);
    mayWrite.count_down();
    pool_.waitUntilIdle();
    store.set("a", 9);
    store.flush();
    EXPECT_FALSE(full.wasHit()) << "ten changes are one write, and the same value is none";
    const LogCapture log;
    store.set("a", 9.0);
    store.flush();
    EXPECT_TRUE(log.contains("No space left on device"));
  }
  EXPECT_EQ(store.value("a").dump(), "9.0");
  EXPECT_EQ(stored().dump(), R"({"a":9})") << "the old file stands";
  store.set("b", 3);
  store.flush();
  EXPECT_EQ(stored().dump(), R"({"a":9.0,"b":3})");
}

}  // namespace
}  // namespace vaultmere
