// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>
#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

#include "platform/AppDirectories.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

void setVariable(const char* name, const char* value) {
  if (value == nullptr) {
    ::unsetenv(name);
  } else {
    ::setenv(name, value, 1);
  }
}

TEST(AppDirectories, FollowTheBaseDirectoryRules) {
  const std::string ownHome = ::getpwuid(::getuid())->pw_dir;
  const struct {
    const char* name;
    const char* home;
    const char* dataHome;
    const char* configHome;
    std::string data, settings;
  } rows[] = {
      {"all unset but HOME", "/home/me", nullptr, nullptr, "/home/me/.local/share/Vaultmere",
       "/home/me/.config/Vaultmere"},
      {"both set", "/home/me", "/d", "/c/", "/d/Vaultmere", "/c/Vaultmere"},
      {"empty counts as unset", "/home/me", "", "", "/home/me/.local/share/Vaultmere",
       "/home/me/.config/Vaultmere"},
      {"relative counts as unset", "/home/me", "d", "./c", "/home/me/.local/share/Vaultmere",
       "/home/me/.config/Vaultmere"},
      {"no HOME", nullptr, nullptr, "/c", ownHome + "/.local/share/Vaultmere", "/c/Vaultmere"},
      {"relative HOME", "me", nullptr, "/c", ownHome + "/.local/share/Vaultmere", "/c/Vaultmere"},
  };
  for (const auto& row : rows) {
    setVariable("HOME", row.home);
    setVariable("XDG_DATA_HOME", row.dataHome);
    setVariable("XDG_CONFIG_HOME", row.configHome);
    const AppDirectories folders = AppDirectories::ofUser();
    EXPECT_EQ(folders.data, row.data) << row.name;
    EXPECT_EQ(folders.settings, row.settings) << row.name;
  }
}

TEST(InstanceLock, IsHeldByOneAtATime) {
  const TemporaryFolder home;
  const fs::path folder = home / "share/Vaultmere";
  {
    auto first = InstanceLock::acquire(folder);
    ASSERT_TRUE(first);
    EXPECT_EQ(fileStatus(folder)->permissions, 0700U);
    const InstanceLock moved = *std::move(first);
    EXPECT_FALSE(InstanceLock::acquire(folder));
  }
  EXPECT_TRUE(InstanceLock::acquire(folder)) << "free again";

  writeText(home / "file", "x");
  EXPECT_THROW(static_cast<void>(InstanceLock::acquire(home / "file")), FileError);
}

}  // namespace
}  // namespace vaultmere
