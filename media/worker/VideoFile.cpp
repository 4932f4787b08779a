// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/worker/VideoFile.h"

#include <algorithm>
#include <cmath>
#include <exception>
#include <string_view>

#include "media/worker/FrameConverter.h"
#include "media/worker/RenderImage.h"
#include "media/worker/VideoContainer.h"
#include "media/worker/VideoDecoder.h"
#include "platform/Text.h"

extern "C" {
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
}

namespace vaultmere {
namespace {

/// Longer texts are neither dates nor positions.
constexpr std::size_t kMaxTextBytes = 4096;

std::string_view textAt(const AVDictionary* dictionary, const char* key) {
  const AVDictionaryEntry* entry = av_dict_get(dictionary, key, nullptr, 0);
  const std::string_view text = entry == nullptr ? "" : entry->value;
  return text.size() <= kMaxTextBytes ? text : "";
}

std::optional<double> durationOf(const VideoContainer& container) {
  const AVFormatContext& format = container.format();
  // What the library reckons from a bit rate is a guess.
  if (format.duration == AV_NOPTS_VALUE || container.boxes().endless ||
      format.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE) {
    return std::nullopt;
  }
  return static_cast<double>(format.duration) / AV_TIME_BASE;
}

/// Saves a search, where the length is known and isn't the zero of a container
/// that was written as it went.
bool isBehindEnd(const VideoContainer& container, double seconds) {
  const double duration = durationOf(container).value_or(0);
  const bool reckoned = container.format().duration_estimation_method == AVFMT_DURATION_FROM_PTS;
  return duration > 0 && !reckoned && seconds >= duration;
}

/// A field that was never filled in: the moment from which the container counts.
bool isUnset(std::string_view created, bool matroska) {
  return created.starts_with("1904-01-01T00:00:00") || created.starts_with("1970-01-01T00:00:00") ||
         (matroska && created.starts_with("2001-01-01T00:00:00"));
}

/// The dates that devices write with their zone: keyed metadata, Matroska's tag,
/// user data (where others keep a mere year). Then the container's own, in UTC.
std::vector<std::string> creationDates(const VideoContainer& container) {
  std::vector<std::string> dates;
  for (const char* key :
       {"com.apple.quicktime.creationdate", "DATE_RECORDED", "date", "creation_time"}) {
    const std::string_view date = textAt(container.format().metadata, key);
    if (!date.empty() && !isUnset(date, container.isMatroska())) {
      dates.emplace_back(date);
    }
  }
  return dates;
}

/// Those of Matroska and the other containers without boxes.
std::vector<VideoText> taggedLocations(const AVDictionary* dictionary) {
  std::vector<VideoText> locations;
  const AVDictionaryEntry* entry = nullptr;
  while ((entry = av_dict_get(dictionary, "", entry, AV_DICT_IGNORE_SUFFIX)) != nullptr) {
    const std::string key = asciiLower(entry->key);
    if (key == "location" || key == "com.apple.quicktime.location.iso6709") {
      const std::string_view text = entry->value;
      locations.push_back({entry->key, std::string(text.size() <= kMaxTextBytes ? text : "")});
    }
  }
  return locations;
}

}  // namespace

VideoFile::VideoFile(const File& file) : file_(file) {}

VideoFile::~VideoFile() = default;

VideoContainer* VideoFile::container() {
  return (container_ ? *container_ : container_.emplace(VideoContainer::open(file_))).get();
}

VideoProperties VideoFile::properties() {
  VideoProperties properties;
  try {
    const VideoContainer* container = this->container();
    if (container == nullptr) {
      return properties;
    }
    properties.duration = durationOf(*container);
    properties.track = container->track();
    properties.created = creationDates(*container);
    properties.locations = container->isMovie() ? container->boxes().locations
                                                : taggedLocations(container->format().metadata);
  } catch (const std::exception&) {  // what was read before stands
  }
  return properties;
}

std::optional<Bitmap> VideoFile::frame(double seconds, int maxPixels) {
  try {
    VideoContainer* container = maxPixels < 1 ? nullptr : this->container();
    const auto track = container != nullptr ? container->track() : std::nullopt;
    if (!track || isBehindEnd(*container, seconds)) {
      return std::nullopt;
    }
    // Another frame is found in a container that is at its start again, as the first is.
    const std::unique_ptr<VideoContainer> used = std::move(*container_);
    container_.reset();
    const auto decoder = VideoDecoder::open(*used);
    const auto frame = decoder ? decoder->frameAt(seconds) : nullptr;
    if (!frame) {
      return std::nullopt;
    }
    const double width = std::max(1.0, std::round(frame->width * used->pixelWidth()));
    const PixelSize size = fitted({static_cast<int>(width), frame->height}, maxPixels, 1);
    return bitmapOfFrame(*frame, size.width, size.height, track->orientation());
  } catch (const std::exception&) {
    return std::nullopt;
  }
}

}  // namespace vaultmere
