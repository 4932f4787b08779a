// SPDX-License-Identifier: GPL-3.0-or-later
#include "platform/BundleExtensions.h"

#include <algorithm>
#include <array>
#include <string_view>

#include "platform/Text.h"

namespace vaultmere {
namespace {

constexpr std::array<std::string_view, 32> kPackageExtensions{
    "app",           "appex",         "aplibrary", "band",      "bundle",       "cocatalog",
    "component",     "dmgpart",       "dvdproj",   "fcpbundle", "fcpproject",   "framework",
    "imovielibrary", "imovieproject", "iphoto",    "key",       "kext",         "logicx",
    "lrdata",        "lrlibrary",     "mpkg",      "numbers",   "pages",        "photolibrary",
    "photoslibrary", "pkg",           "plugin",    "rtfd",      "sparsebundle", "theater",
    "tvlibrary",     "xcodeproj"};

}  // namespace

bool isPackageName(const std::filesystem::path& folder) {
  return std::find(kPackageExtensions.begin(), kPackageExtensions.end(), lowerExtension(folder)) !=
         kPackageExtensions.end();
}

}  // namespace vaultmere
