// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace vaultmere {

/// How a video codes light, as far as it isn't that of sRGB.
enum class TransferFunction {
  standard,  ///< as sRGB does, near enough
  hlg,       ///< hybrid log-gamma of ITU-R BT.2100
  pq,        ///< perceptual quantisation of ITU-R BT.2100
};

/// Red, green and blue of 16 bits, in the wide colours of BT.2020, as 8-bit
/// sRGB. What is brighter than paper white is pressed into the little room above
/// it, and what is more colourful than sRGB is cut off.
[[nodiscard]] std::vector<std::uint8_t> srgbOfWideColours(std::span<const std::uint16_t> pixels,
                                                          TransferFunction light);

}  // namespace vaultmere
