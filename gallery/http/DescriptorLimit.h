// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstddef>

namespace vaultmere {

/// Descriptors that clients never get: they are for the archive's own work.
inline constexpr std::size_t kOwnDescriptors = 256;

/// Raises the process's limit of open descriptors as far as it may go, and
/// gives how many of them the gallery's connections may take.
[[nodiscard]] std::size_t raiseDescriptorLimit();

}  // namespace vaultmere
