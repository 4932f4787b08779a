// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/AnswerRequest.h"

#include <algorithm>
#include <string>
#include <utility>

#include "media/worker/ImageDecoder.h"
#include "media/worker/ImageProperties.h"
#include "media/worker/JpegEncoder.h"
#include "media/worker/VideoFile.h"

namespace vaultmere {
namespace {

std::optional<Bitmap> frameOf(const File& file, const PictureRequest& request) {
  for (const double seconds : request.seconds) {
    if (auto frame = videoFrame(file, seconds, request.maxPixels)) {
      return frame;
    }
  }
  return std::nullopt;
}

std::optional<Bitmap> pictureOf(const File& file, MediaKind kind, const PictureRequest& request) {
  if (kind == MediaKind::video) {
    return frameOf(file, request);
  }
  return request.mayBeEmbedded ? decodeThumbnail(file, request.maxPixels)
                               : decodeScaled(file, request.maxPixels);
}

/// The bytes that are to be sent of a picture; absent when there are none.
std::optional<MemoryFile> bytesOf(Bitmap picture, const PictureRequest& request) {
  if (!request.jpegQuality) {
    const auto pixels = picture.pixels.file();
    return pixels ? std::optional(std::move(*pixels)) : std::nullopt;
  }
  const std::string jpeg = encodeJpeg(picture, *request.jpegQuality);
  if (jpeg.empty()) {
    return std::nullopt;
  }
  MemoryFile bytes(jpeg.size());
  std::copy(jpeg.begin(), jpeg.end(), bytes.bytes().begin());
  return bytes;
}

}  // namespace

void answerRequest(const File& file, const MediaRequest& request, const SendReply& send) {
  if (request.wantsProperties) {
    MediaFacts facts;
    if (request.kind == MediaKind::video) {
      facts.video = readVideoProperties(file);
    } else {
      facts.still = readImageProperties(file);
    }
    send(facts, std::nullopt);
  }
  for (const PictureRequest& wanted : request.pictures) {
    auto picture = pictureOf(file, request.kind, wanted);
    auto bytes = picture ? bytesOf(*picture, wanted) : std::nullopt;
    if (!bytes) {
      send(MediaNoPicture(), std::nullopt);
      continue;
    }
    const MediaPictureHead head{picture->width, picture->height, bytes->bytes().size()};
    picture.reset();
    send(head, std::move(bytes));
  }
}

}  // namespace vaultmere
