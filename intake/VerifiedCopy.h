// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <optional>
#include <stop_token>
#include <string>

#include "intake/ArchiveError.h"
#include "platform/OpenFolder.h"

namespace vaultmere {

/// Copies a file to a name that nothing in `folder` has yet, and proves the copy
/// equal to its source before it takes that name: temporary file, flush, drop of
/// its cached pages, hash read back and compared, rename. Permission bits and
/// modification time are kept as far as the file system can.
///
/// With `expectedHash` the copy must have that hash, else the one that was read
/// while copying. False when something has taken the name meanwhile. The
/// folder's entry isn't durable yet: flush the folder before relying on it. A
/// failed copy removes its temporary file; only a killed process leaves one,
/// hidden by its leading dot. Throws FileError (ECANCELED after a stop) and
/// ArchiveError. Any thread.
[[nodiscard]] bool verifiedCopy(const fs::path& source, const OpenFolder& folder,
                                const fs::path& name,
                                const std::optional<std::string>& expectedHash,
                                const std::stop_token& stop);
/// The same of an open file, from its start.
[[nodiscard]] bool verifiedCopy(File source, const OpenFolder& folder, const fs::path& name,
                                const std::optional<std::string>& expectedHash,
                                const std::stop_token& stop);

}  // namespace vaultmere
