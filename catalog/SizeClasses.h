// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace vaultmere {

/// A class of file sizes: bytes in [lower, upper). The labels are what filters,
/// screens and the wire say: never change them.
struct SizeClass {
  std::string_view label;
  std::int64_t lower = 0;
  std::int64_t upper = 0;
};

/// The seven classes, ascending; each begins where the one before ends.
[[nodiscard]] std::span<const SizeClass> sizeClasses();

/// Null for a label that isn't among them.
[[nodiscard]] const SizeClass* findSizeClass(std::string_view label);

}  // namespace vaultmere
