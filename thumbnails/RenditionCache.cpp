// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/RenditionCache.h"

#include <algorithm>
#include <array>
#include <exception>
#include <system_error>

#include "analysis/MediaTypes.h"
#include "media/ImageDecoder.h"
#include "media/ImageWriter.h"
#include "media/VideoFile.h"
#include "platform/Files.h"

namespace vaultmere {
namespace {

constexpr double kStillQuality = 0.82;
constexpr double kFrameQuality = 0.85;

/// Past the black that many videos begin with.
constexpr double kFrameSeconds = 1.0;

constexpr std::array kRenderings{Rendering::thumbnail, Rendering::display};

bool isContentHash(std::string_view id) {
  return id.size() == 64 && id.find_first_not_of("0123456789abcdef") == std::string_view::npos;
}

std::optional<Bitmap> frameOf(const fs::path& video, int maxPixels) {
  auto frame = videoFrame(video, kFrameSeconds, maxPixels);
  return frame ? std::move(frame) : videoFrame(video, 0, maxPixels);
}

std::optional<Bitmap> stillOf(const fs::path& still, Rendering rendering) {
  const int maxPixels = maxPixelsOf(rendering);
  return rendering == Rendering::thumbnail ? decodeThumbnail(still, maxPixels)
                                           : decodeScaled(still, maxPixels);
}

}  // namespace

fs::path RenditionCache::folderOf(Rendering rendering) const {
  return folder_ / (rendering == Rendering::thumbnail ? "thumbs" : "display");
}

std::optional<fs::path> RenditionCache::file(Rendering rendering, std::string_view id) const {
  if (!isContentHash(id)) {
    return std::nullopt;
  }
  return folderOf(rendering) / (std::string(id) + ".jpg");
}

std::optional<fs::path> RenditionCache::existing(Rendering rendering, std::string_view id) const {
  auto path = file(rendering, id);
  const auto status = path ? fileStatus(*path) : std::nullopt;
  // An empty file is what a power cut can leave of one that wasn't flushed.
  const bool isThere = status && status->kind == FileKind::regular && status->stamp.size > 0;
  return isThere ? path : std::nullopt;
}

bool RenditionCache::make(Rendering rendering, const PhotoRef& ref,
                          const std::optional<fs::path>& archiveRoot) const {
  try {
    const auto target = file(rendering, ref.id);
    const auto original = target ? originalOf(ref, archiveRoot) : std::nullopt;
    if (!original) {
      return false;
    }
    const bool isVideo = mediaTypeOf(ref.ext) == MediaType::video;
    const auto picture =
        isVideo ? frameOf(*original, maxPixelsOf(rendering)) : stillOf(*original, rendering);
    if (!picture) {
      return false;
    }
    makeDirectories(folderOf(rendering), 0700);
    writeJpeg(*picture, *target, isVideo ? kFrameQuality : kStillQuality, Durability::crash);
    return true;
  } catch (const std::exception&) {
    return false;
  }
}

std::uint64_t RenditionCache::size() const {
  std::uint64_t total = 0;
  for (const Rendering rendering : kRenderings) {
    std::error_code error;
    fs::recursive_directory_iterator entry(folderOf(rendering),
                                           fs::directory_options::skip_permission_denied, error);
    for (; !error && entry != fs::recursive_directory_iterator(); entry.increment(error)) {
      const auto status = linkStatus(entry->path());
      if (status && status->kind == FileKind::regular) {
        total += static_cast<std::uint64_t>(status->stamp.size);
      }
    }
  }
  return total;
}

void RenditionCache::clear() const {
  for (const Rendering rendering : kRenderings) {
    std::error_code ignored;
    fs::remove_all(folderOf(rendering), ignored);
    fs::create_directories(folderOf(rendering), ignored);
  }
}

}  // namespace vaultmere
