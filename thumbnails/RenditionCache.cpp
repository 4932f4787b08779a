// SPDX-License-Identifier: GPL-3.0-or-later
#include "thumbnails/RenditionCache.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <exception>
#include <system_error>
#include <vector>

#include "analysis/MediaTypes.h"
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

MediaRequest requestFor(Rendering rendering, const PhotoRef& ref) {
  PictureRequest picture{.maxPixels = maxPixelsOf(rendering)};
  const bool isDisplay = rendering == Rendering::display;
  if (mediaTypeOf(ref.ext) == MediaType::video) {
    picture.seconds = {kFrameSeconds, 0};
    picture.jpegQuality = kFrameQuality;
    return {.kind = MediaKind::video, .pictures = {picture}};
  }
  picture.mayBeEmbedded = !isDisplay;
  picture.jpegQuality = kStillQuality;
  return {.pictures = {picture},
          .timeout = isDisplay && isRaw(ref.ext) ? kRawDisplayTimeout : kMediaTimeout};
}

/// Whether a file can be read, and is still the one that `stamp` is of.
bool canBeRead(const File& file, const FileStamp& stamp) {
  try {
    std::vector<std::byte> buffer(kFileChunk);
    for (std::int64_t done = 0; done < kMaxProof;) {
      const std::size_t count = file.readAt(done, buffer);
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

/// The bytes of a JPEG.
std::string_view textOf(const PixelBuffer& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace

RenditionCache::RenditionCache(fs::path folder, MediaService& media)
    : folder_(std::move(folder)),
      media_(media),
      undecodable_(folder_ / "undecodable.txt", [&media] { return media.decoderVersion(); }) {}

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
                                    const std::optional<File>& original, Priority priority) {
  try {
    const auto target = file(rendering, ref.id);
    if (!target || !original) {
      return undecodable_.contains(rendering, ref.id) ? RenditionState::undecodable
                                                      : RenditionState::unavailable;
    }
    const FileStamp stamp = original->status().stamp;
    if (undecodable_.contains(rendering, ref.id, stamp)) {
      return RenditionState::undecodable;
    }
    const MediaFile source{*original, ref.id};
    const MediaRequest request = requestFor(rendering, ref);
    MediaAnswer answer = media_.read(source, request, priority);
    if (answer.failure == MediaFailure::tookTooLong || answer.failure == MediaFailure::unreadable) {
      return RenditionState::unavailable;  // its drive may be the reason
    }
    if (!answer.pictures.front()) {
      // The decoders don't tell a file that they can't read from one that they
      // don't understand: read it, which also puts it in memory, and try again.
      if (!canBeRead(*original, stamp)) {
        return RenditionState::unavailable;
      }
      answer = media_.read(source, request, priority);  // after a failure the same again
    }
    const auto& picture = answer.pictures.front();
    if (!picture) {
      undecodable_.add(rendering, ref.id, stamp);
      return RenditionState::undecodable;
    }
    makeDirectories(folderOf(rendering), 0700);
    writeFileAtomically(*target, textOf(picture->bytes), Durability::crash);
    return RenditionState::made;
  } catch (const std::exception&) {
    return RenditionState::unavailable;
  }
}

bool RenditionCache::isSettled(Rendering rendering, const std::string& id) {
  return existing(rendering, id) || undecodable_.contains(rendering, id);
}

bool RenditionCache::isUndecodable(Rendering rendering, const std::string& id,
                                   const File& original) {
  return undecodable_.contains(rendering, id, original.status().stamp);
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
