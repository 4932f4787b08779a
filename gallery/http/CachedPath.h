// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace vaultmere {

/// True when the system has all in memory that it takes to open the file, so
/// that this waits for no disk. False also for what isn't there, and where the
/// system can't tell (before Linux 5.12).
[[nodiscard]] bool isPathInMemory(const std::filesystem::path& path);

}  // namespace vaultmere
