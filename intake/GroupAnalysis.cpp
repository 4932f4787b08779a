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

void takePixels(AnalyzedPhoto& photo, const fs::path& file, const Vision* vision) {
  if (const auto small = PixelStats::downscaled(file, PixelStats::kSamplePixels)) {
    if (const auto stats = PixelStats::analyze(*small)) {
      photo.avgHex = stats->hex;
      photo.avgR = stats->avgR;
      photo.avgG = stats->avgG;
      photo.avgB = stats->avgB;
      photo.colorFamily = stats->colorFamily;
      photo.isBW = stats->isBW;
    }
  }
  if (vision == nullptr) {
    return;
  }
  if (const auto rendering = PixelStats::downscaled(file, kVisionPixels)) {
    VisionAnalysis seen = analyzeVision(vision, *rendering, 1);
    photo.labels = std::move(seen.labels);
    photo.aestheticScore = seen.aestheticScore;
  }
}

}  // namespace

GroupAnalysis analyzeGroup(const AssetGroup& group, const PhotosMeta* meta, const Vision* vision,
                           const std::stop_token& stop) {
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
  if (isVideo) {
    const VideoMetadata metadata = VideoMetadata::read(group.primary);
    photo.file() = static_cast<const FileMetadata&>(metadata);
    dates.exif = metadata.captureDate;
  } else {
    const ImageMetadata metadata = ImageMetadata::read(group.primary);
    photo.file() = static_cast<const FileMetadata&>(metadata);
    takePixels(photo, group.primary, vision);
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
