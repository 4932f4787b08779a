// SPDX-License-Identifier: GPL-3.0-or-later
#include "analysis/MediaTypes.h"

#include <algorithm>
#include <array>

namespace vaultmere {
namespace {

constexpr std::array<std::string_view, 10> kVideoExtensions{"mov",  "mp4", "m4v", "avi", "mpg",
                                                            "mpeg", "3gp", "3g2", "mkv", "webm"};

constexpr std::array<std::string_view, 13> kRenderedExtensions{
    "jpg",  "jpeg", "png", "gif", "webp", "heic", "heif",
    "avif", "tiff", "tif", "bmp", "psd",  "jp2"};

constexpr std::array<std::string_view, 23> kRawExtensions{
    "dng", "cr2", "cr3", "nef", "nrw", "arw", "srf", "sr2", "raf", "orf", "rw2", "pef",
    "raw", "3fr", "fff", "iiq", "rwl", "mos", "mef", "erf", "kdc", "dcr", "x3f"};

bool contains(const auto& set, std::string_view extension) {
  return std::find(set.begin(), set.end(), extension) != set.end();
}

}  // namespace

MediaType mediaTypeOf(std::string_view extension) {
  if (contains(kRenderedExtensions, extension) || isRaw(extension)) {
    return MediaType::image;
  }
  if (contains(kVideoExtensions, extension)) {
    return MediaType::video;
  }
  return extension == "json" ? MediaType::sidecar : MediaType::junk;
}

bool isRaw(std::string_view extension) { return contains(kRawExtensions, extension); }

}  // namespace vaultmere
