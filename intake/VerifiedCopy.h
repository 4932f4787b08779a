// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <functional>
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
/// while copying. Gives the hash, or nothing when something has taken the name
/// meanwhile. The
/// folder's entry isn't durable yet: flush the folder before relying on it. A
/// failed copy removes its temporary file; only a killed process leaves one,
/// hidden by its leading dot. Throws FileError (ECANCELED after a stop) and
/// ArchiveError. Any thread.
[[nodiscard]] std::optional<std::string> verifiedCopy(
    const fs::path& source, const OpenFolder& folder, const fs::path& name,
    const std::optional<std::string>& expectedHash, const std::stop_token& stop);

/// The same of an open file, from its beginning. `makeRoom` is called when the copy
/// has been proved, before it takes its name; what it throws ends the copy. It may
/// be null.
[[nodiscard]] std::optional<std::string> verifiedCopy(
    File source, const OpenFolder& folder, const fs::path& name,
    const std::optional<std::string>& expectedHash, const std::stop_token& stop,
    const std::function<void()>& makeRoom = nullptr);

}  // namespace vaultmere
