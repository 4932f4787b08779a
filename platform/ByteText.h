// SPDX-License-Identifier: GPL-3.0-or-later
#pragma once

#include <cstdint>
#include <string>

// Numbers of bytes as a person reads them, in decimal units. All texts of this
// kind come from here: "0 MB", "12.3 MB", "5 GB", "1.25 TB".
//
// - A megabyte is 1,000,000 bytes, a gigabyte 1,000,000,000, a terabyte a
//   thousand times that, which is the largest unit.
// - MB have at most one decimal, GB and TB at most two; zeros at the end are left
//   out, and the point with them.
// - Halves are rounded away from zero. So less than 50,000 bytes is "0 MB".
// - The unit is the smallest that leaves less than 1000 after rounding:
//   999,949,999 bytes is "999.9 MB", 999,950,000 is "1 GB".
// - Less than nothing has a hyphen before it: "-1.5 GB". There is no "-0 MB".
// - The point and the missing grouping don't depend on the locale.
namespace vaultmere {

[[nodiscard]] std::string byteText(std::int64_t bytes);

/// The same, with whole KB of 1,000 bytes below a megabyte: "500 KB", "12.3 MB".
/// Less than 500 bytes is "0 KB".
[[nodiscard]] std::string byteTextWithKB(std::int64_t bytes);

}  // namespace vaultmere
