// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <filesystem>
#include <span>

namespace vaultmere {

/// Takes all rights to files, TCP ports and other processes' signals and abstract
/// sockets from the calling thread and those that it starts, as far as the kernel
/// knows them. What the media libraries load at run time stays readable, and what
/// `readable` names. Needs no_new_privs.
///
/// Gives the version of the kernel's interface, 0 when it has none; throws
/// std::system_error for any other failure.
[[nodiscard]] int restrictFiles(std::span<const std::filesystem::path> readable);

}  // namespace vaultmere
