// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace vaultmere {

/// Whether the computer runs on its battery: one is discharging, and no mains or
/// USB supply is connected. Batteries of mice and the like don't count. False
/// when it can't be told. Asks the firmware, which may take some milliseconds:
/// not for the main thread. `supplies` is where the kernel describes them.
[[nodiscard]] bool runsOnBattery(const std::filesystem::path& supplies = "/sys/class/power_supply");

}  // namespace vaultmere
