// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <cerrno>

#include "platform/FaultPoint.h"
#include "platform/Files.h"
#include "platform/SettingsFile.h"
#include "tests/support/FileTools.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

using nlohmann::json;

class DefaultsStoreTest : public testing::Test {
 protected:
  ~DefaultsStoreTest() override { setFaultHook(nullptr); }

  const TemporaryFolder home_;
  const fs::path folder_ = home_ / "config/Vaultmere";
  const fs::path file_ = folder_ / "defaults.json";
};

TEST_F(DefaultsStoreTest, TellsMissingFromZeroAndFalse) {
  {
    SettingsFile store(folder_);
    EXPECT_TRUE(store.value("zero").is_null());
    EXPECT_FALSE(fs::exists(folder_)) << "reading makes nothing";
    store.set("zero", 0);
    store.set("no", false);
    store.set("gone", "x");
    store.remove("gone");
    store.remove("never there");
  }
  const SettingsFile store(folder_);
  EXPECT_EQ(store.value("zero"), json(0));
  EXPECT_EQ(store.value("no"), json(false));
  EXPECT_TRUE(store.value("gone").is_null());
  EXPECT_EQ(fileStatus(folder_)->permissions, 0700U);
  EXPECT_EQ(fileStatus(file_)->permissions, 0600U);
  EXPECT_EQ(filesBelow(folder_), std::vector<std::string>{"defaults.json"});
}

TEST_F(DefaultsStoreTest, KeepsAsideWhatItCannotRead) {
  for (const std::string bytes : {"", "{\"a\": 1", "[1]", "null", "{\"a\": \"\xFF\"}", "\x01"}) {
    fs::remove_all(folder_);
    writeText(file_, bytes);
    const LogCapture log;
    SettingsFile store(folder_);
    EXPECT_TRUE(store.value("a").is_null()) << bytes;
    store.set("b", 2);

    const auto files = filesBelow(folder_);
    ASSERT_EQ(files.size(), 2U) << bytes;
    EXPECT_EQ(files[0], "defaults.json");
    EXPECT_EQ(files[1].rfind("defaults.json.unreadable-", 0), 0U);
    EXPECT_EQ(slurp(folder_ / files[1]), bytes);
    EXPECT_TRUE(log.contains("kept aside as")) << bytes;
    EXPECT_EQ(SettingsFile(folder_).value("b"), json(2));
  }
}

TEST_F(DefaultsStoreTest, LeavesKeysOfOthersAlone) {
  writeText(file_, R"({"from a later version": {"x": [1, 2]}})");
  SettingsFile(folder_).set("a", 1);
  EXPECT_EQ(json::parse(slurp(file_)),
            json::parse(R"({"a": 1, "from a later version": {"x": [1, 2]}})"));
}

TEST_F(DefaultsStoreTest, AFailedWriteIsLoggedAndTheValueHolds) {
  SettingsFile store(folder_);
  store.set("a", 1);
  const LogCapture log;
  setFaultHook([](std::string_view step, const fs::path&) { return step == "write" ? ENOSPC : 0; });
  store.set("a", 2);
  EXPECT_TRUE(log.contains("No space left on device"));
  EXPECT_EQ(store.value("a"), json(2));
  EXPECT_EQ(SettingsFile(folder_).value("a"), json(1)) << "the old file stands";
  setFaultHook(nullptr);
  store.set("b", 3);
  EXPECT_EQ(SettingsFile(folder_).value("a"), json(2));
}

TEST_F(DefaultsStoreTest, StoresTextThatIsNotUtf8) {
  SettingsFile store(folder_);
  store.set("password", "caf\xE9");
  store.set("b", 1);
  EXPECT_EQ(SettingsFile(folder_).value("password"), json("caf\uFFFD"));
}

}  // namespace
}  // namespace vaultmere
