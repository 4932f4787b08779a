// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <mutex>

namespace vaultmere {

/// Decodes that take more memory than this wait for one another, so that a
/// folder of panoramas doesn't take the memory of all of them at once.
inline constexpr std::uint64_t kLargeDecodeBytes = std::uint64_t{128} << 20;

/// Admits one decode, of a still or a video, that takes about so much memory. A
/// large one waits for the others and holds the lock until it is destroyed; one
/// thread holds one at a time. Any thread.
[[nodiscard]] std::unique_lock<std::mutex> admitDecode(std::uint64_t bytes);

}  // namespace vaultmere
