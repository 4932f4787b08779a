// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <string_view>

// Where things lie below the archive's root: see docs/archive-format.md.
namespace vaultmere {

/// An item's path: "2021/2021-03/<id><ext>" by the first seven characters of the
/// capture date, as they stand; "undated/<id><ext>" when there are fewer, or the
/// year or month isn't made of digits.
[[nodiscard]] std::string archivePathOf(const std::optional<std::string>& captureDate,
                                        std::string_view id, std::string_view ext);

/// The name of a motion file: its still's `id` and ".mov".
[[nodiscard]] std::string motionFileName(std::string_view id);

/// The hash that a file's name without its extension is, as the names of
/// archived files are; absent for other names. Letters of either case count, for
/// file systems that have only one.
[[nodiscard]] std::optional<std::string> hashInName(const std::filesystem::path& file);

}  // namespace vaultmere
