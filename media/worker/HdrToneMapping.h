// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vaultmere {

/// The transfer function of a video.
enum class TransferFunction {
  standard,  ///< approximately that of sRGB
  hlg,       ///< hybrid log-gamma of ITU-R BT.2100
  pq,        ///< perceptual quantisation of ITU-R BT.2100
};

/// Red, green and blue of 16 bits, in the wide colours of BT.2020, as 8-bit
/// sRGB. Light above paper white is compressed into the range above it, and
/// colours outside of sRGB are clipped.
[[nodiscard]] std::vector<std::uint8_t> srgbOfWideColours(std::span<const std::uint16_t> pixels,
                                                          TransferFunction light);

}  // namespace vaultmere
