// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>

namespace vaultmere {

/// True for the name of a folder that counts as one file: a library, project
/// or application bundle of another program, known by its extension in any
/// case. Looks at the name alone.
[[nodiscard]] bool isPackageName(const std::filesystem::path& folder);

}  // namespace vaultmere
