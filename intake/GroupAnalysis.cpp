// SPDX-License-Identifier: GPL-3.0-or-later
#include "intake/GroupAnalysis.h"

#include "analysis/CaptureDate.h"
#include "analysis/ImageMetadata.h"
#include "analysis/MediaTypes.h"
#include "analysis/PixelStats.h"
#include "analysis/VideoMetadata.h"
#include "analysis/VisionAnalysis.h"
#include "intake/ArchiveLayout.h"
#include "intake/FileHash.h"
#include "platform/Calendar.h"
#include "platform/Text.h"

namespace vaultmere {
namespace {

void takeLibraryValues(AnalyzedPhoto& photo, const PhotosMeta& meta) {
  photo.photosUUID = meta.uuid;
  photo.favorite = meta.favorite.value_or(false);
  photo.tags = meta.albums;
  photo.photoTypeFlags = meta.photoTypeFlags;
}

std::optional<Bitmap> bitmapOf(const std::optional<MediaPicture>& picture) {
  return picture ? std::optional(Bitmap{picture->width, picture->height, picture->bytes})
                 : std::nullopt;
}

void takeColours(AnalyzedPhoto& photo, const std::optional<Bitmap>& sample) {
  if (const auto stats = sample ? PixelStats::analyze(*sample) : std::nullopt) {
    photo.avgHex = stats->hex;
    photo.avgR = stats->avgR;
    photo.avgG = stats->avgG;
    photo.avgB = stats->avgB;
    photo.colorFamily = stats->colorFamily;
    photo.isBW = stats->isBW;
  }
}

/// All that is wanted of a still, in one request.
ImageMetadata readStill(AnalyzedPhoto& photo, const MediaFile& file, MediaService& media,
                        const Vision* vision) {
  MediaRequest request{.kind = MediaKind::still,
                       .wantsProperties = true,
                       .pictures = {{.maxPixels = PixelStats::kSamplePixels}}};
  if (vision != nullptr) {
    request.pictures.push_back({.maxPixels = kVisionPixels});
  }
  const MediaAnswer answer = media.read(file, request);
  takeColours(photo, bitmapOf(answer.pictures.front()));
  if (const auto rendering = vision ? bitmapOf(answer.pictures.back()) : std::nullopt) {
    VisionAnalysis seen = analyzeVision(vision, *rendering, 1);
    photo.labels = std::move(seen.labels);
    photo.aestheticScore = seen.aestheticScore;
  }
  return answer.still ? ImageMetadata::of(*answer.still) : ImageMetadata{};
}

}  // namespace

GroupAnalysis analyzeGroup(const AssetGroup& group, const PhotosMeta* meta, MediaService& media,
                           const Vision* vision, const std::stop_token& stop) {
  GroupAnalysis analysis;
  AnalyzedPhoto& photo = analysis.photo;
  HashedFile hashed = hashFile(group.primary, PageCache::use, stop);
  analysis.primary = hashed.stamp;
  photo.id = std::move(hashed.hash);
  const std::string extension = lowerExtension(group.primary);
  photo.ext = "." + extension;
  const bool isVideo = mediaTypeOf(extension) == MediaType::video;
  photo.mediaType = isVideo ? "video" : group.motion ? "live_photo" : "image";
  photo.sizeBytes = hashed.size;
  photo.originalFilename = displayName(group.name.value_or(group.primary));
  photo.processedAt = rfc3339(std::chrono::system_clock::now());
  if (meta != nullptr) {
    takeLibraryValues(photo, *meta);
  }
  CaptureDateCandidates dates;
  const File opened = File::openForReading(group.primary);
  const MediaFile file{opened, photo.id};
  if (isVideo) {
    const VideoMetadata metadata = VideoMetadata::read(media, file);
    photo.file() = static_cast<const FileMetadata&>(metadata);
    dates.exif = metadata.captureDate;
  } else {
    const ImageMetadata metadata = readStill(photo, file, media, vision);
    photo.file() = static_cast<const FileMetadata&>(metadata);
    dates.exif = metadata.dateTimeOriginal;
    dates.gps = metadata.gpsDateTime;
  }
  if (meta != nullptr && meta->gpsLat) {
    photo.gpsLat = meta->gpsLat;
    photo.gpsLon = meta->gpsLon;
  }
  dates.photos = meta != nullptr ? meta->captureDate : std::nullopt;
  dates.filename = dateFromFilename(group.dateName.value_or(group.primary).filename().native());
  dates.filemtime = localDateString(hashed.stamp.modified());
  CaptureDate date = resolveCaptureDate(dates);
  photo.captureDate = std::move(date.captureDate);
  photo.captureDateSource = std::move(date.captureDateSource);
  photo.captureDateConfidence = std::move(date.captureDateConfidence);
  if (group.motion) {
    photo.liveMotionFile = motionFileName(photo.id);
    const auto status = fileStatus(*group.motion);
    photo.liveMotionSize = status ? status->stamp.size : 0;
    analysis.motion = status ? std::optional(status->stamp) : std::nullopt;
  }
  photo.targetPath = archivePathOf(photo.captureDate, photo.id, photo.ext);
  return analysis;
}

}  // namespace vaultmere
