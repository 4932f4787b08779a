// SPDX-License-Identifier: GPL-3.0-or-later
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "platform/PowerSource.h"
#include "tests/support/FileTools.h"
#include "tests/support/TemporaryFolder.h"

namespace vaultmere {
namespace {

TEST(PowerSource, TellsABatteryThatDischargesWithoutASupply) {
  using Attributes = std::vector<std::pair<std::string, std::string>>;
  const Attributes discharging{{"BAT0/type", "Battery\n"}, {"BAT0/status", "Discharging\n"}};
  const Attributes mains{{"AC/type", "Mains\n"}, {"AC/online", "1\n"}};
  const struct {
    const char* name;
    std::vector<Attributes> supplies;
    bool expected;
  } rows[] = {
      {"no supplies at all", {}, false},
      {"a discharging battery", {discharging}, true},
      {"mains that isn't connected",
       {discharging, {{"AC/type", "Mains\n"}, {"AC/online", "0\n"}}},
       true},
      {"mains that doesn't suffice", {discharging, mains}, false},
      {"USB that is connected", {discharging, {{"U/type", "USB\n"}, {"U/online", "1\n"}}}, false},
      {"a full battery", {{{"BAT0/type", "Battery\n"}, {"BAT0/status", "Full\n"}}}, false},
      {"two batteries",
       {{{"BAT1/type", "Battery\n"}, {"BAT1/status", "Not charging\n"}}, discharging},
       true},
      {"a mouse's battery",
       {{{"M/type", "Battery\n"}, {"M/status", "Discharging\n"}, {"M/scope", "Device\n"}}},
       false},
      {"a mouse that is plugged in",
       {discharging, {{"M/type", "USB\n"}, {"M/online", "1\n"}, {"M/scope", "Device\n"}}},
       true},
      {"attributes that can't be read", {{{"BAT0/type/x", ""}, {"BAT0/status/x", ""}}}, false},
  };
  for (const auto& row : rows) {
    const TemporaryFolder folder;
    for (const auto& supply : row.supplies) {
      for (const auto& [name, text] : supply) {
        writeText(folder / "supplies" / name, text);
      }
    }
    EXPECT_EQ(runsOnBattery(folder / "supplies"), row.expected) << row.name;
  }
}

}  // namespace
}  // namespace vaultmere
