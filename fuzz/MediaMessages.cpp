// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/MediaMessages.h"

#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <string>
#include <string_view>

#include "platform/Text.h"

// The messages between the program and its media processes, both ways: what one
// side reads of foreign bytes, and that whatever the other one writes is read.

namespace {

using namespace vaultmere;

void require(bool holds) {
  if (!holds) {
    std::abort();
  }
}

/// What is made of the input's bytes, one after the other.
class Values {
 public:
  explicit Values(std::string_view bytes) : rest_(bytes) {}

  unsigned below(unsigned bound) { return static_cast<unsigned char>(take(1)[0]) % bound; }
  std::string text() {
    const unsigned kind = below(3);
    const std::string some = take(below(32));
    std::string text = some;
    while (kind == 2 && !some.empty() && text.size() < 1000) {
      text += some;
    }
    return text;
  }
  double number() {
    static constexpr double kNumbers[] = {0,
                                          -1,
                                          0.1,
                                          1e308,
                                          4e-324,
                                          std::numeric_limits<double>::infinity(),
                                          std::numeric_limits<double>::quiet_NaN(),
                                          9007199254740993.0};
    return kNumbers[below(8)];
  }
  PropertyDictionary dictionary() {
    PropertyDictionary dictionary;
    for (unsigned count = below(100); count > 0; --count) {
      const unsigned kind = below(3);
      PropertyValue value = kind == 0   ? PropertyValue(text())
                            : kind == 1 ? PropertyValue(number())
                                        : PropertyValue(std::vector<double>(below(40), number()));
      dictionary[text()] = std::move(value);
    }
    return dictionary;
  }

 private:
  std::string take(std::size_t count) {
    std::string taken(rest_.substr(0, count));
    rest_.remove_prefix(taken.size());
    taken.resize(count);
    return taken;
  }

  std::string_view rest_;
};

MediaFacts factsOf(Values values) {
  MediaFacts facts;
  if (values.below(2) == 0) {
    ImageProperties& still = facts.still.emplace();
    still.mimeType = values.text();
    still.pixelWidth = values.number();
    still.exif = values.dictionary();
    still.tiff = values.dictionary();
    still.gps = values.dictionary();
  } else {
    VideoProperties& video = facts.video.emplace();
    video.duration = values.number();
    video.track = VideoTrack{values.number(), values.number(), values.number(),
                             values.number(), values.number(), values.number()};
    video.created.assign(values.below(40), values.text());
    video.locations.assign(values.below(40), {values.text(), values.text()});
  }
  return facts;
}

void requireText(const std::string& text) { require(validUtf8(text) == text); }

void requireSound(const PropertyDictionary& dictionary) {
  for (const auto& [key, value] : dictionary) {
    requireText(key);
    if (const auto* text = std::get_if<std::string>(&value)) {
      requireText(*text);
    } else if (const auto* number = std::get_if<double>(&value)) {
      require(std::isfinite(*number));
    }
  }
}

/// What is read keeps the bounds, and can be written and read again.
void readReply(std::string_view message) {
  const auto reply = parseMediaReply(message);
  if (!reply) {
    return;
  }
  if (const auto* head = std::get_if<MediaPictureHead>(&*reply)) {
    require(head->width >= 1 && head->width <= kMaxPictureSide && head->height >= 1 &&
            head->height <= kMaxPictureSide && head->bytes >= 1 && head->bytes <= kMaxPictureBytes);
  } else if (const auto* facts = std::get_if<MediaFacts>(&*reply); facts && facts->still) {
    requireSound(facts->still->exif);
    requireSound(facts->still->gps);
  }
  const std::string written = encodeMediaReply(*reply);
  require(written.size() <= kMaxMediaMessageBytes);
  const auto again = parseMediaReply(written);
  require(again && again->index() == reply->index() && encodeMediaReply(*again) == written);
}

void readRequest(std::string_view message) {
  const auto request = parseMediaRequest(message);
  if (!request) {
    return;
  }
  require(request->pictures.size() <= kMaxPictures);
  for (const PictureRequest& picture : request->pictures) {
    require(picture.maxPixels >= 1 && picture.seconds.size() <= kMaxFrameTimes);
  }
  require(parseMediaRequest(encodeMediaRequest(*request)) == request);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  readRequest(bytes);
  readReply(bytes);
  const std::string written = encodeMediaReply(factsOf(Values(bytes)));
  require(written.size() <= kMaxMediaMessageBytes);
  const auto read = parseMediaReply(written);
  require(read && std::holds_alternative<MediaFacts>(*read));
  return 0;
}
