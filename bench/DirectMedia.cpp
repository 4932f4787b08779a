// SPDX-License-Identifier: GPL-3.0-or-later
//
// The media service of a program that decodes in its own process: the reference for
// the one with processes. A program that links this file has it instead of that one.
#include "media/MediaService.h"
#include "media/worker/DecoderVersion.h"
#include "media/worker/ImageDecoder.h"
#include "media/worker/ImageProperties.h"
#include "media/worker/JpegEncoder.h"
#include "media/worker/VideoFile.h"

namespace vaultmere {
namespace {

std::optional<Bitmap> frameOf(VideoFile& video, const PictureRequest& request) {
  for (const double seconds : request.seconds) {
    if (auto frame = video.frame(seconds, request.maxPixels)) {
      return frame;
    }
  }
  return std::nullopt;
}

std::optional<MediaPicture> asWanted(const std::optional<Bitmap>& bitmap,
                                     const PictureRequest& request) {
  if (!bitmap) {
    return std::nullopt;
  }
  if (!request.jpegQuality) {
    return MediaPicture{bitmap->width, bitmap->height, bitmap->pixels};
  }
  const std::string jpeg = encodeJpeg(*bitmap, *request.jpegQuality);
  return MediaPicture{bitmap->width, bitmap->height,
                      std::vector<std::uint8_t>(jpeg.begin(), jpeg.end())};
}

}  // namespace

std::optional<std::string> MediaService::problem() { return std::nullopt; }

std::string MediaService::decoderVersion() { return vaultmere::decoderVersion(); }

MediaAnswer MediaService::read(const MediaFile& file, const MediaRequest& request,
                               Priority /*priority*/) {
  MediaAnswer answer;
  StillFile still(file.file);
  VideoFile video(file.file);
  const bool isVideo = request.kind == MediaKind::video;
  if (request.wantsProperties && isVideo) {
    answer.video = video.properties();
  } else if (request.wantsProperties) {
    answer.still = readImageProperties(still);
  }
  for (const PictureRequest& picture : request.pictures) {
    const auto bitmap = isVideo                 ? frameOf(video, picture)
                        : picture.mayBeEmbedded ? decodeThumbnail(still, picture.maxPixels)
                                                : decodeScaled(still, picture.maxPixels);
    answer.pictures.push_back(asWanted(bitmap, picture));
  }
  return answer;
}

std::optional<Bitmap> MediaService::scaled(const MediaFile& file, int maxPixels) {
  StillFile still(file.file);
  return decodeScaled(still, maxPixels);
}

}  // namespace vaultmere
