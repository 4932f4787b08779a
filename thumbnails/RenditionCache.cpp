// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/RenditionCache.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <system_error>
#include <vector>

#include "analysis/MediaTypes.h"
#include "media/DecoderVersion.h"
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

/// How much of a file is read to tell that its drive isn't the reason why it can't
/// be decoded. Stills are smaller; what a video's first frame needs is seldom
/// further behind.
constexpr std::int64_t kMaxProof = std::int64_t{256} << 20;

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

std::optional<Bitmap> pictureOf(const fs::path& original, Rendering rendering, bool isVideo) {
  return isVideo ? frameOf(original, maxPixelsOf(rendering)) : stillOf(original, rendering);
}

/// Whether a file can be read, and is still the one that `stamp` is of.
bool canBeRead(const fs::path& path, const FileStamp& stamp) {
  try {
    File file = File::openForReading(path);
    std::vector<std::byte> buffer(kFileChunk);
    for (std::int64_t done = 0; done < kMaxProof;) {
      const std::size_t count = file.read(buffer);
      if (count == 0) {
        break;
      }
      done += static_cast<std::int64_t>(count);
    }
    return file.status().stamp == stamp;
  } catch (const FileError&) {
    return false;
  }
}

}  // namespace

RenditionCache::RenditionCache(fs::path folder)
    : folder_(std::move(folder)), undecodable_(folder_ / "undecodable.txt", decoderVersion) {}

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

RenditionState RenditionCache::make(Rendering rendering, const PhotoRef& ref,
                                    const std::optional<fs::path>& original) {
  try {
    const auto target = file(rendering, ref.id);
    const auto status = target && original ? fileStatus(*original) : std::nullopt;
    if (!status) {
      return undecodable_.contains(rendering, ref.id) ? RenditionState::undecodable
                                                      : RenditionState::unavailable;
    }
    if (undecodable_.contains(rendering, ref.id, status->stamp)) {
      return RenditionState::undecodable;
    }
    const bool isVideo = mediaTypeOf(ref.ext) == MediaType::video;
    auto picture = pictureOf(*original, rendering, isVideo);
    if (!picture) {
      // The decoders don't tell a file that they can't read from one that they
      // don't understand: read it, which also puts it in memory, and try again.
      if (!canBeRead(*original, status->stamp)) {
        return RenditionState::unavailable;
      }
      picture = pictureOf(*original, rendering, isVideo);
    }
    if (!picture) {
      undecodable_.add(rendering, ref.id, status->stamp);
      return RenditionState::undecodable;
    }
    makeDirectories(folderOf(rendering), 0700);
    writeJpeg(*picture, *target, isVideo ? kFrameQuality : kStillQuality, Durability::crash);
    return RenditionState::made;
  } catch (const std::exception&) {
    return RenditionState::unavailable;
  }
}

bool RenditionCache::isSettled(Rendering rendering, const std::string& id) {
  return existing(rendering, id) || undecodable_.contains(rendering, id);
}

bool RenditionCache::isUndecodable(Rendering rendering, const std::string& id,
                                   const fs::path& original) {
  const auto status = fileStatus(original);
  return status && undecodable_.contains(rendering, id, status->stamp);
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

void RenditionCache::clear() {
  undecodable_.clear();
  for (const Rendering rendering : kRenderings) {
    std::error_code ignored;
    fs::remove_all(folderOf(rendering), ignored);
    fs::create_directories(folderOf(rendering), ignored);
  }
}

}  // namespace vaultmere
