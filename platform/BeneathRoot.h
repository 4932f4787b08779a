// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>

#include "platform/Files.h"

// Access to what lies below a folder, without leaving it: nothing below the
// folder is reached through a symbolic link. Links in the folder's own path are
// followed, and file systems mounted below it are entered.
namespace vaultmere {

/// Opens the regular file `root`/`relative` read-only, without blocking. Throws
/// FileError: ELOOP when the file or a folder on the way is a symbolic link,
/// EINVAL when `relative` is empty, absolute or has "..", else as
/// File::openForReading. Any thread.
[[nodiscard]] File openBeneath(const fs::path& root, const fs::path& relative);

/// Whether a path can't leave the folder that it is joined to: relative, not
/// empty, without "..".
[[nodiscard]] bool staysBelow(const fs::path& relative);

/// The path of a file below a folder, by their names alone; absent when it lies
/// elsewhere.
[[nodiscard]] std::optional<fs::path> pathBelow(const fs::path& root, const fs::path& file);

}  // namespace vaultmere
