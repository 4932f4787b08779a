// SPDX-License-Identifier: GPL-3.0-or-later
#include "media/MediaMessages.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <limits>
#include <nlohmann/json.hpp>
#include <type_traits>

#include "platform/Text.h"

namespace vaultmere {
namespace {

using nlohmann::json;

constexpr std::size_t kMaxTextBytes = 1024;
constexpr std::size_t kMaxTags = 64;    ///< of one dictionary
constexpr std::size_t kMaxListed = 16;  ///< dates, positions, numbers of one tag

/// What breaks the form of a message.
struct BadMessage {};

void require(bool holds) {
  if (!holds) {
    throw BadMessage();
  }
}

// MARK: Writing

bool isShort(const std::string& text) { return text.size() <= kMaxTextBytes; }

/// The text as it arrives: bytes that are no UTF-8 take more room then. Absent when
/// it is too long.
std::optional<std::string> sendable(const std::string& text) {
  std::string valid = validUtf8(text);
  return isShort(valid) ? std::optional(std::move(valid)) : std::nullopt;
}

json listOf(const std::vector<double>& numbers) {
  json list = json::array();
  for (const double number : numbers) {
    if (std::isfinite(number) && list.size() < kMaxListed) {
      list.push_back(number);
    }
  }
  return list;
}

json dictionaryJson(const PropertyDictionary& dictionary) {
  json tags = json::object();
  for (const auto& [name, value] : dictionary) {
    const auto key = sendable(name);
    if (tags.size() == kMaxTags || !key) {
      continue;
    }
    if (const auto* text = std::get_if<std::string>(&value)) {
      if (auto valid = sendable(*text)) {
        tags[*key] = std::move(*valid);
      }
    } else if (const auto* number = std::get_if<double>(&value)) {
      if (std::isfinite(*number)) {
        tags[*key] = *number;
      }
    } else {
      tags[*key] = listOf(std::get<std::vector<double>>(value));
    }
  }
  return tags;
}

void put(json& object, const char* key, const std::optional<double>& number) {
  if (number && std::isfinite(*number)) {
    object[key] = *number;
  }
}

json stillJson(const ImageProperties& properties) {
  json still{{"exif", dictionaryJson(properties.exif)},
             {"tiff", dictionaryJson(properties.tiff)},
             {"gps", dictionaryJson(properties.gps)},
             {"exifAux", dictionaryJson(properties.exifAux)}};
  if (const auto type = properties.mimeType ? sendable(*properties.mimeType) : std::nullopt) {
    still["mimeType"] = *type;
  }
  put(still, "width", properties.pixelWidth);
  put(still, "height", properties.pixelHeight);
  put(still, "orientation", properties.orientation);
  return still;
}

json videoJson(const VideoProperties& properties) {
  json video{{"created", json::array()}, {"locations", json::array()}};
  put(video, "duration", properties.duration);
  if (const auto& track = properties.track) {
    const std::array numbers{track->width, track->height, track->a, track->b, track->c, track->d};
    if (track->width > 0 && track->height > 0 &&
        std::all_of(numbers.begin(), numbers.end(), [](double n) { return std::isfinite(n); })) {
      video["track"] = numbers;
    }
  }
  for (const std::string& date : properties.created) {
    const auto text = sendable(date);
    if (text && video["created"].size() < kMaxListed) {
      video["created"].push_back(*text);
    }
  }
  for (const auto& [key, text] : properties.locations) {
    if (video["locations"].size() < kMaxListed) {
      // One that is too long still counts as the first.
      video["locations"].push_back({sendable(key).value_or(""), sendable(text).value_or("")});
    }
  }
  return video;
}

json replyJson(const MediaReply& reply) {
  return std::visit(
      [](const auto& part) -> json {
        using Part = std::decay_t<decltype(part)>;
        if constexpr (std::is_same_v<Part, MediaReady>) {
          return {{"ready", {{"decoders", part.decoders}, {"lacking", part.lacking}}}};
        } else if constexpr (std::is_same_v<Part, MediaFacts>) {
          json facts = json::object();
          if (part.still) {
            facts["still"] = stillJson(*part.still);
          }
          if (part.video) {
            facts["video"] = videoJson(*part.video);
          }
          return {{"facts", std::move(facts)}};
        } else if constexpr (std::is_same_v<Part, MediaPictureHead>) {
          return {{"picture", {part.width, part.height, part.bytes}}};
        } else if constexpr (std::is_same_v<Part, MediaPictureHash>) {
          return {{"hash", std::bit_cast<std::int64_t>(part.hash)}};
        } else {
          return {{"picture", json::array()}};
        }
      },
      reply);
}

std::string textOf(json message) {
  message["v"] = kMediaMessageVersion;
  return message.dump(-1, ' ', false, json::error_handler_t::replace);
}

// MARK: Reading

const json& member(const json& object, const char* key) {
  require(object.is_object());
  const auto found = object.find(key);
  require(found != object.end());
  return *found;
}

double finiteNumber(const json& value) {
  require(value.is_number());
  const auto number = value.get<double>();
  require(std::isfinite(number));
  return number;
}

/// A whole number between two bounds.
template <typename Number>
Number wholeNumber(const json& value, Number low, Number high) {
  require(value.is_number_integer() &&
          (!value.is_number_unsigned() || value.get<std::uint64_t>() <= INT64_MAX));
  const auto number = value.get<std::int64_t>();
  require(number >= static_cast<std::int64_t>(low) && number <= static_cast<std::int64_t>(high));
  return static_cast<Number>(number);
}

const std::string& shortText(const json& value) {
  require(value.is_string());
  const auto& text = value.get_ref<const std::string&>();
  require(isShort(text));
  return text;
}

const json& shortList(const json& value, std::size_t most = kMaxListed) {
  require(value.is_array() && value.size() <= most);
  return value;
}

std::optional<double> optionalNumber(const json& object, const char* key) {
  const auto found = object.find(key);
  return found == object.end() ? std::nullopt : std::optional(finiteNumber(*found));
}

std::vector<double> numbersOf(const json& list, std::size_t most = kMaxListed) {
  std::vector<double> numbers;
  for (const json& number : shortList(list, most)) {
    numbers.push_back(finiteNumber(number));
  }
  return numbers;
}

PropertyDictionary dictionaryOf(const json& tags) {
  require(tags.is_object() && tags.size() <= kMaxTags);
  PropertyDictionary dictionary;
  for (const auto& [key, value] : tags.items()) {
    require(isShort(key));
    if (value.is_string()) {
      dictionary.emplace(key, shortText(value));
    } else if (value.is_array()) {
      dictionary.emplace(key, numbersOf(value));
    } else {
      dictionary.emplace(key, finiteNumber(value));
    }
  }
  return dictionary;
}

ImageProperties stillOf(const json& value) {
  ImageProperties properties;
  properties.exif = dictionaryOf(member(value, "exif"));
  properties.tiff = dictionaryOf(member(value, "tiff"));
  properties.gps = dictionaryOf(member(value, "gps"));
  properties.exifAux = dictionaryOf(member(value, "exifAux"));
  if (value.contains("mimeType")) {
    properties.mimeType = shortText(value["mimeType"]);
  }
  properties.pixelWidth = optionalNumber(value, "width");
  properties.pixelHeight = optionalNumber(value, "height");
  properties.orientation = optionalNumber(value, "orientation");
  return properties;
}

VideoProperties videoOf(const json& value) {
  VideoProperties properties;
  require(value.is_object());
  properties.duration = optionalNumber(value, "duration");
  if (value.contains("track")) {
    const auto numbers = numbersOf(value["track"]);
    require(numbers.size() == 6 && numbers[0] > 0 && numbers[1] > 0);
    properties.track = {numbers[0], numbers[1], numbers[2], numbers[3], numbers[4], numbers[5]};
  }
  for (const json& date : shortList(member(value, "created"))) {
    properties.created.push_back(shortText(date));
  }
  for (const json& location : shortList(member(value, "locations"))) {
    require(location.is_array() && location.size() == 2);
    properties.locations.push_back({shortText(location[0]), shortText(location[1])});
  }
  return properties;
}

MediaReply pictureOf(const json& value) {
  require(value.is_array());
  if (value.empty()) {
    return MediaNoPicture();
  }
  require(value.size() == 3);
  return MediaPictureHead{wholeNumber(value[0], 1, kMaxPictureSide),
                          wholeNumber(value[1], 1, kMaxPictureSide),
                          wholeNumber<std::uint64_t>(value[2], 1, kMaxPictureBytes)};
}

MediaReply replyOf(const json& message) {
  if (message.contains("picture")) {
    return pictureOf(message["picture"]);
  }
  if (message.contains("hash")) {
    using Limits = std::numeric_limits<std::int64_t>;
    return MediaPictureHash{
        std::bit_cast<std::uint64_t>(wholeNumber(message["hash"], Limits::min(), Limits::max()))};
  }
  if (message.contains("facts")) {
    const json& value = message["facts"];
    require(value.is_object());
    MediaFacts facts;
    if (value.contains("still")) {
      facts.still = stillOf(value["still"]);
    }
    if (value.contains("video")) {
      facts.video = videoOf(value["video"]);
    }
    return facts;
  }
  const json& value = member(message, "ready");
  MediaReady ready{shortText(member(value, "decoders")), {}};
  for (const json& protection : shortList(member(value, "lacking"))) {
    ready.lacking.push_back(shortText(protection));
  }
  return ready;
}

PictureRequest pictureRequestOf(const json& value) {
  PictureRequest picture;
  picture.maxPixels = wholeNumber(member(value, "maxPixels"), 1, std::numeric_limits<int>::max());
  const json& embedded = member(value, "mayBeEmbedded");
  require(embedded.is_boolean());
  picture.mayBeEmbedded = embedded.get<bool>();
  picture.seconds = numbersOf(member(value, "seconds"), kMaxFrameTimes);
  picture.jpegQuality = optionalNumber(value, "jpegQuality");
  if (const auto asHash = value.find("asHash"); asHash != value.end()) {
    require(asHash->is_boolean() && !picture.jpegQuality);
    picture.asHash = asHash->get<bool>();
  }
  return picture;
}

MediaRequest requestOf(const json& message) {
  MediaRequest request;
  const std::string& kind = shortText(member(message, "kind"));
  require(kind == "still" || kind == "video");
  request.kind = kind == "still" ? MediaKind::still : MediaKind::video;
  const json& wanted = member(message, "properties");
  require(wanted.is_boolean());
  request.wantsProperties = wanted.get<bool>();
  for (const json& picture : shortList(member(message, "pictures"), kMaxPictures)) {
    request.pictures.push_back(pictureRequestOf(picture));
  }
  return request;
}

/// What `read` makes of a message; absent when either breaks its form.
template <typename Read>
auto parsed(std::string_view text, Read read) -> std::optional<decltype(read(json()))> {
  if (text.size() > kMaxMediaMessageBytes) {
    return std::nullopt;
  }
  try {
    const json message = json::parse(text, nullptr, false);
    require(message.is_object() && member(message, "v") == kMediaMessageVersion);
    return read(message);
  } catch (const BadMessage&) {
    return std::nullopt;
  }
}

}  // namespace

std::string encodeMediaRequest(const MediaRequest& request) {
  json pictures = json::array();
  for (const PictureRequest& picture : request.pictures) {
    json wanted{{"maxPixels", picture.maxPixels},
                {"mayBeEmbedded", picture.mayBeEmbedded},
                {"seconds", picture.seconds}};
    put(wanted, "jpegQuality", picture.jpegQuality);
    if (picture.asHash) {
      wanted["asHash"] = true;
    }
    pictures.push_back(std::move(wanted));
  }
  return textOf({{"kind", request.kind == MediaKind::still ? "still" : "video"},
                 {"properties", request.wantsProperties},
                 {"pictures", std::move(pictures)}});
}

std::string encodeMediaReply(const MediaReply& reply) {
  std::string text = textOf(replyJson(reply));
  if (text.size() <= kMaxMediaMessageBytes) {
    return text;
  }
  // Tags of control characters only, which take six bytes each.
  MediaFacts facts = std::get<MediaFacts>(reply);
  if (facts.still) {
    facts.still->exif.clear();
    facts.still->tiff.clear();
    facts.still->gps.clear();
    facts.still->exifAux.clear();
  }
  if (facts.video) {
    facts.video->created.clear();
    facts.video->locations.clear();
  }
  return textOf(replyJson(facts));
}

std::optional<MediaRequest> parseMediaRequest(std::string_view message) {
  return parsed(message, requestOf);
}

std::optional<MediaReply> parseMediaReply(std::string_view message) {
  return parsed(message, replyOf);
}

}  // namespace vaultmere
