// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/AnswerRequest.h"

#include <algorithm>
#include <new>
#include <span>
#include <string>
#include <utility>

#include "media/DifferenceHash.h"
#include "media/worker/ImageDecoder.h"
#include "media/worker/ImageProperties.h"
#include "media/worker/JpegEncoder.h"
#include "media/worker/VideoFile.h"

namespace vaultmere {
namespace {

MediaFacts factsOf(StillFile& still) { return {.still = readImageProperties(still), .video = {}}; }

MediaFacts factsOf(VideoFile& video) { return {.still = {}, .video = video.properties()}; }

std::optional<Bitmap> pictureOf(StillFile& still, const PictureRequest& request) {
  return request.mayBeEmbedded ? decodeThumbnail(still, request.maxPixels)
                               : decodeScaled(still, request.maxPixels);
}

std::optional<Bitmap> pictureOf(VideoFile& video, const PictureRequest& request) {
  for (const double seconds : request.seconds) {
    if (auto frame = video.frame(seconds, request.maxPixels)) {
      return frame;
    }
  }
  return std::nullopt;
}

/// Throws std::bad_alloc when there is no memory for it.
MemoryFile copyOf(std::span<const std::uint8_t> bytes) {
  try {
    MemoryFile file(bytes.size());
    file.write(0, bytes);
    return file;
  } catch (const FileError&) {
    throw std::bad_alloc();
  }
}

/// The bytes that are to be sent of a picture; absent when there are none.
std::optional<MemoryFile> bytesOf(const Bitmap& picture, const PictureRequest& request) {
  if (!request.jpegQuality) {
    const auto& made = picture.pixels.file();
    return made ? std::move(*made) : copyOf(picture.pixels.bytes());
  }
  const std::string jpeg = encodeJpeg(picture, *request.jpegQuality);
  return jpeg.empty() ? std::nullopt
                      : std::optional(copyOf(
                            {reinterpret_cast<const std::uint8_t*>(jpeg.data()), jpeg.size()}));
}

template <typename Opened>
void answer(Opened& opened, const MediaRequest& request, const SendReply& send) {
  if (request.wantsProperties) {
    send(factsOf(opened), std::nullopt);
  }
  for (const PictureRequest& wanted : request.pictures) {
    auto picture = pictureOf(opened, wanted);
    if (picture && wanted.asHash) {
      send(MediaPictureHash{differenceHash(*picture)}, std::nullopt);
      continue;
    }
    auto bytes = picture ? bytesOf(*picture, wanted) : std::nullopt;
    if (!bytes) {
      send(MediaNoPicture(), std::nullopt);
      continue;
    }
    const MediaPictureHead head{picture->width, picture->height, bytes->size()};
    picture.reset();
    send(head, std::move(bytes));
  }
}

}  // namespace

void answerRequest(const File& file, const MediaRequest& request, const SendReply& send) {
  if (request.kind == MediaKind::video) {
    VideoFile video(file);
    answer(video, request, send);
  } else {
    StillFile still(file);
    answer(still, request, send);
  }
}

}  // namespace vaultmere
