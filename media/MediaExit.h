// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

namespace vaultmere {

/// With which a media process ends when a decoder wants more memory than there
/// is, where it would end in a crash.
inline constexpr int kMediaExitMemory = 12;

}  // namespace vaultmere
