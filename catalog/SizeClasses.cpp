// SPDX-License-Identifier: GPL-3.0-or-later
#include "catalog/SizeClasses.h"

#include <algorithm>
#include <array>

namespace vaultmere {
namespace {

constexpr std::array kSizes{
    SizeClass{"<500 KB", 0, 512'000},
    SizeClass{"500 KB–1 MB", 512'000, 1'048'576},
    SizeClass{"1–2 MB", 1'048'576, 2'097'152},
    SizeClass{"2–5 MB", 2'097'152, 5'242'880},
    SizeClass{"5–10 MB", 5'242'880, 10'485'760},
    SizeClass{"10–50 MB", 10'485'760, 52'428'800},
    SizeClass{"50 MB+", 52'428'800, 1'000'000'000'000'000},
};

}  // namespace

std::span<const SizeClass> sizeClasses() { return kSizes; }

const SizeClass* findSizeClass(std::string_view label) {
  const auto found = std::find_if(kSizes.begin(), kSizes.end(),
                                  [&](const SizeClass& size) { return size.label == label; });
  return found == kSizes.end() ? nullptr : found;
}

}  // namespace vaultmere
