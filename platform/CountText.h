// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace vaultmere {

/// A count for a screen, its digits in groups of three as the user's locale
/// separates them: "1,234". Locales that separate nothing, and ones that aren't
/// installed, get commas. Never for years, ports, files and logs. Any thread.
[[nodiscard]] std::string groupedCount(std::int64_t count);

/// The same with a separator.
[[nodiscard]] std::string groupedCount(std::int64_t count, std::string_view separator);

}  // namespace vaultmere
